// What happened to a channel: commands and faults, the latest first.
import { get, query } from "./api";
import { h } from "./dom";
import { momentText } from "./format";
import { Model } from "./model";
import { CommandRecord, HistoryEvent, Records } from "./types";

const SHOWN = 100;

interface Entry {
    time: number;
    text: string;
    by: string;
    refused: boolean;
}

export class HappenedView {
    readonly element: HTMLElement;
    private readonly list = h("ol", { class: "happened" });
    private readonly entries = new Map<string, Entry>();

    constructor(
        private readonly channel: string,
        private readonly model: Model,
        private readonly changed: () => void,
    ) {
        this.element = h("section", { "aria-label": "What happened" }, h("h2", {}, "What happened"), this.list);
        this.show();
        void this.load();
    }

    /** Fetches the commands since the server's start. */
    async load(): Promise<void> {
        try {
            const path = "/api/commands" + query({ channel: this.channel, limit: SHOWN });
            const { records } = await get<Records>(path);
            for (const record of records) this.take(record);
            this.show();
        } catch {
            // what happens from now on is shown all the same
        }
    }

    add(record: CommandRecord): void {
        if (record.channel !== this.channel) return;
        this.take(record);
        this.show();
    }

    /** Takes what the history holds besides commands: faults and their ends. */
    addEvents(events: HistoryEvent[]): void {
        for (const { time, kind, text } of events) {
            if (kind === "command") continue;
            this.entries.set(`${time} ${text}`, { time: Date.parse(time), text, by: "", refused: false });
        }
        this.show();
    }

    private take(record: CommandRecord): void {
        const change = record.old === "" ? record.new : `${record.old} → ${record.new}`;
        const text = `${record.what} ${change}`.trim();
        const refused = record.refusal !== null;
        this.entries.set(`${record.time} ${text}`, {
            time: Date.parse(record.time),
            text: refused ? `refused: ${text}: ${record.refusal}` : text,
            by: record.source,
            refused,
        });
    }

    private show(): void {
        const latest = [...this.entries.values()].sort((one, other) => other.time - one.time).slice(0, SHOWN);
        const rows = latest.map(({ time, text, by, refused }) =>
            h(
                "li",
                { class: refused ? "refused" : "" },
                h("time", { datetime: new Date(time).toISOString() }, momentText(time, this.model.now)),
                h("span", {}, text),
                h("span", { class: "by" }, by ? `by ${by}` : ""),
            ),
        );
        this.list.replaceChildren(...(rows.length > 0 ? rows : [h("li", { class: "by" }, "Nothing yet.")]));
        this.changed();
    }

    /** Times of what is listed, for marks in the trend. */
    marks(): { time: number; fault: boolean }[] {
        return [...this.entries.values()].map(({ time, by }) => ({ time, fault: by === "" }));
    }
}
