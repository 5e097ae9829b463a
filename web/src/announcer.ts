// What a screen reader is given without being asked: changes of state, never values.
import { Model } from "./model";
import { healthWords } from "./plates";

/** More changes than this at once are counted instead of named. */
const NAMED = 3;

export class Announcer {
    private readonly before = new Map<string, string>();
    private texts: string[] = [];
    private timer = 0;

    constructor(
        private readonly element: HTMLElement,
        private readonly model: Model,
    ) {
        model.on("states", (names) => this.compare(names));
        model.on("connection", () => {
            if (model.connection.kind === "lost") this.add(model.connectionText);
            else if (this.before.size > 0) this.add("connected");
        });
        model.on("message", (channel) => {
            const message = model.message(channel);
            if (message !== null) this.add(`${channel}: ${message}`);
        });
    }

    private compare(names: Set<string>): void {
        for (const name of names) {
            const state = this.model.state(name);
            if (!state) continue;
            const health = state.health.kind === "off" ? "" : (healthWords[state.health.kind] ?? state.health.kind);
            const text = [state.mode === "auto" ? "automatic" : state.mode, health].filter(Boolean).join(", ");
            const before = this.before.get(name);
            this.before.set(name, text);
            if (before !== undefined && before !== text) this.add(`${name}: ${text}`);
        }
    }

    private add(text: string): void {
        this.texts.push(text);
        if (this.timer) return;
        this.timer = window.setTimeout(() => {
            const { texts } = this;
            this.timer = 0;
            this.texts = [];
            this.element.textContent =
                texts.length > NAMED
                    ? `${texts.length} changes of state; the last one: ${texts[texts.length - 1]}`
                    : texts.join("; ");
        }, 300);
    }
}
