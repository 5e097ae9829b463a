// What the page knows: the channels, their latest states, the connection, and commands on their way. Views listen to it
// and change nothing in it but by its commands.
import { ApiError, channelPath, get, put } from "./api";
import { clockText } from "./format";
import { Item, Pending } from "./pending";
import { Plate, platesOf, Reading, readingOf } from "./plates";
import { Recent } from "./recent";
import { Stream } from "./events";
import {
    ChannelDescription,
    ChannelList,
    ChannelState,
    Changes,
    CommandRecord,
    HealthKind,
    StateEvent,
    TrendTable,
} from "./types";

type Topic = {
    /** Channels, their order or their descriptions are others than before. */
    structure: void;
    /** Names of the channels whose state changed. */
    states: Set<string>;
    connection: void;
    command: CommandRecord;
    /** A message of one channel appeared or went. */
    message: string;
};

export type Connection = { kind: "connecting" } | { kind: "live" } | { kind: "lost"; since: number };

/** How long a message about a refused command stays. */
const MESSAGE_MS = 12000;

function merge(target: Changes, changes: Changes): void {
    for (const [member, value] of Object.entries(changes)) {
        const before = target[member];
        const both = [before, value].every((one) => typeof one === "object" && one !== null && !Array.isArray(one));
        if (both) merge(before as Changes, value as Changes);
        else target[member] = value;
    }
}

export class Model {
    title = "";
    virtual = false;
    interval_ms = 100;
    channels: ChannelDescription[] = [];
    plates: Plate[] = [];
    connection: Connection = { kind: "connecting" };
    /** The server's time of the last event, in ms since 1970. */
    now = Date.now();
    readonly pending = new Pending();
    readonly recent = new Map<string, Recent>();
    readonly stream: Stream;

    private readonly states = new Map<string, ChannelState>();
    private readonly messages = new Map<string, string>();
    private readonly listeners = new Map<string, Set<(data: never) => void>>();
    private description = "";

    constructor() {
        this.stream = new Stream({
            prepare: () => this.load(),
            snapshot: (event) => this.take(event, true),
            changes: (event) => this.take(event, false),
            command: (record) => this.emit("command", record),
            lost: () => this.lose(),
        });
    }

    /** Listens to a topic until the returned function is called. */
    on<T extends keyof Topic>(topic: T, listener: (data: Topic[T]) => void): () => void {
        const set = this.listeners.get(topic) ?? new Set();
        this.listeners.set(topic, set);
        set.add(listener as (data: never) => void);
        return () => set.delete(listener as (data: never) => void);
    }

    private emit<T extends keyof Topic>(topic: T, data: Topic[T]): void {
        for (const listener of [...(this.listeners.get(topic) ?? [])]) (listener as (data: Topic[T]) => void)(data);
    }

    channel(name: string): ChannelDescription | undefined {
        return this.channels.find((channel) => channel.name === name);
    }

    state(channel: string): ChannelState | undefined {
        return this.states.get(channel);
    }

    reading(plate: Plate): Reading | null {
        const state = this.states.get(plate.channel);
        return state ? readingOf(plate, state, this.interval_ms) : null;
    }

    /** Kind of health of a channel; "stale" if it is ok but its values, or those of an inner loop, are too old. */
    healthOf(channel: string): HealthKind | "stale" {
        const kind = this.states.get(channel)?.health.kind ?? "waiting";
        if (kind !== "ok") return kind;
        const own = this.plates.filter((plate) => plate.channel === channel);
        return own.some((plate) => (this.reading(plate)?.age ?? null) !== null) ? "stale" : "ok";
    }

    message(channel: string): string | null {
        return this.messages.get(channel) ?? null;
    }

    get live(): boolean {
        return this.connection.kind === "live";
    }

    // -- commands

    async setSetPoint(channel: string, value: number): Promise<void> {
        await this.send(channel, { setPoint: value }, "set-point", { value });
    }

    async setEnabled(channel: string, value: boolean): Promise<void> {
        await this.send(channel, { enabled: value }, "enabled", { value });
    }

    async setManual(channel: string, value: boolean): Promise<void> {
        await this.send(channel, { manual: value }, "manual", { value });
    }

    async setControlValue(channel: string, value: number): Promise<void> {
        await this.send(channel, { controlValue: value }, "manual", { controlValue: value });
    }

    private async send(
        channel: string,
        items: { [item in Item]?: number | boolean },
        resource: string,
        body: unknown,
    ): Promise<void> {
        const entries = Object.entries(items) as [Item, number | boolean][];
        this.say(channel, null);
        for (const [item, value] of entries) this.pending.begin(channel, item, value);
        this.emit("states", new Set([channel]));
        try {
            if (!this.live) throw new ApiError("no connection to the server; nothing was changed", 0, null);
            await put(channelPath(channel, resource), body);
            for (const [item] of entries) this.pending.accept(channel, item);
        } catch (error) {
            for (const [item] of entries) this.pending.drop(channel, item);
            this.say(channel, error instanceof Error ? error.message : String(error));
        }
        this.emit("states", new Set([channel]));
    }

    /** Shows a message at a channel, for some seconds; null takes it away. */
    say(channel: string, text: string | null): void {
        if (text === null) {
            if (!this.messages.delete(channel)) return;
        } else {
            this.messages.set(channel, text);
            window.setTimeout(() => {
                if (this.messages.get(channel) === text) this.say(channel, null);
            }, MESSAGE_MS);
        }
        this.emit("message", channel);
    }

    // -- what the server sends

    private async load(): Promise<void> {
        const list = await get<ChannelList>("/api/channels");
        const description = JSON.stringify([list.title, list.channels.map((channel) => ({ ...channel, state: null }))]);
        this.title = list.title;
        this.virtual = list.virtual;
        this.interval_ms = list.interval_ms;
        this.now = Date.parse(list.time);
        this.states.clear();
        for (const channel of list.channels) this.states.set(channel.name, channel.state);
        if (description !== this.description) {
            this.description = description;
            this.channels = list.channels;
            this.plates = list.channels.flatMap(platesOf);
            this.recent.clear();
            for (const plate of this.plates) this.recent.set(plate.key, new Recent());
            this.emit("structure", undefined);
        }
        this.remember();
        void this.loadRecent();
    }

    private async loadRecent(): Promise<void> {
        try {
            const trend = await get<{ channels: { [name: string]: TrendTable } }>("/api/trend?seconds=600&points=150");
            for (const [name, table] of Object.entries(trend.channels)) this.recent.get(name)?.prepend(table);
            this.emit("states", new Set(this.states.keys()));
        } catch {
            // without it the short trends begin now
        }
    }

    private take(event: StateEvent, whole: boolean): void {
        this.now = Date.parse(event.time);
        const changed = new Set<string>();
        for (const [name, changes] of Object.entries(event.states)) {
            const state = this.states.get(name);
            if (whole || !state) this.states.set(name, changes as unknown as ChannelState);
            else merge(state as unknown as Changes, changes);
            changed.add(name);
        }
        this.confirm();
        this.remember();
        if (this.connection.kind !== "live") {
            this.connection = { kind: "live" };
            for (const name of this.states.keys()) changed.add(name);
            this.emit("connection", undefined);
        }
        this.emit("states", changed);
    }

    private confirm(): void {
        for (const [name, state] of this.states) {
            const { setPoint, controlValue, manual, enabled } = state;
            const different = this.pending.confirm(name, { setPoint, controlValue, manual, enabled });
            if (different.length > 0) this.say(name, "the server reports another value than the one commanded");
        }
    }

    private remember(): void {
        for (const plate of this.plates) {
            const reading = this.reading(plate);
            if (reading) this.recent.get(plate.key)?.add(this.now, reading.actualValue, reading.setPoint);
        }
    }

    private lose(): void {
        if (this.connection.kind === "lost") return;
        this.connection = { kind: "lost", since: Date.now() };
        this.pending.clear();
        this.emit("connection", undefined);
        this.emit("states", new Set(this.states.keys()));
    }

    /** "live", or since when there has been no connection. */
    get connectionText(): string {
        if (this.connection.kind === "live") return "live";
        if (this.connection.kind === "connecting") return "connecting";
        return `no connection since ${clockText(this.connection.since)}`;
    }
}
