// The stream of events. It is opened again for as long as the server is lost, and a stream that stays silent counts as
// lost: the server sends one event per interval even if nothing changed.
import { ApiError } from "./api";
import { CommandRecord, StateEvent } from "./types";

export interface StreamHandler {
    /** Called before each attempt to open the stream; fetches what does not change. A failure counts as no server. */
    prepare(): Promise<void>;
    snapshot(event: StateEvent): void;
    changes(event: StateEvent): void;
    command(record: CommandRecord): void;
    lost(): void;
}

const INTERVAL_MS = 500;
const SILENCE_MS = 3000;
const RETRY_MS = 1000;

export class Stream {
    private source: EventSource | null = null;
    private silence = 0;
    private retry = 0;
    private paused = false;

    constructor(private readonly handler: StreamHandler) {}

    /** Opens the stream now, whatever went before. */
    start(): void {
        this.paused = false;
        this.close();
        void this.open();
    }

    /** Stops until start(): while the token is asked for. */
    pause(): void {
        this.paused = true;
        this.close();
    }

    private async open(): Promise<void> {
        try {
            await this.handler.prepare();
        } catch (error) {
            // without a token nothing is tried again until there is one
            if (!(error instanceof ApiError && error.status === 401)) this.fail();
            return;
        }
        if (this.paused) return;
        const source = new EventSource(`/api/events?interval_ms=${INTERVAL_MS}`);
        this.source = source;
        const on = <T>(name: string, use: (data: T) => void): void => {
            source.addEventListener(name, (event) => {
                if (this.source !== source) return;
                this.listen();
                use(JSON.parse((event as MessageEvent<string>).data) as T);
            });
        };
        on<StateEvent>("snapshot", (event) => this.handler.snapshot(event));
        on<StateEvent>("changes", (event) => this.handler.changes(event));
        on<CommandRecord>("command", (record) => this.handler.command(record));
        source.onerror = () => {
            if (this.source === source) this.fail();
        };
        this.listen();
    }

    /** Begins the time within which the next event is due. */
    private listen(): void {
        window.clearTimeout(this.silence);
        this.silence = window.setTimeout(() => this.fail(), SILENCE_MS);
    }

    private fail(): void {
        this.close();
        if (this.paused) return;
        this.handler.lost();
        this.retry = window.setTimeout(() => void this.open(), RETRY_MS);
    }

    private close(): void {
        window.clearTimeout(this.silence);
        window.clearTimeout(this.retry);
        this.source?.close();
        this.source = null;
    }
}
