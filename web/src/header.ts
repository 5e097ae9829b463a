// The head line: title, counts that jump to what they count, connection, time, theme.
import { Cell, h } from "./dom";
import { clockText } from "./format";
import { Model } from "./model";
import { healthWords } from "./plates";
import { showKeys } from "./dialog";
import { nextTheme, onThemeChange, theme } from "./theme";

const kinds = ["fault", "badInput", "waiting", "stale", "off"];
const themeWords = { system: "Theme: system", light: "Theme: light", dark: "Theme: dark" };

/** Called with the name of a channel to bring into view and focus. */
export type Jump = (channel: string) => void;

export class Header {
    private readonly title = new Cell(h("h1"));
    private readonly total = new Cell(h("span", { class: "total" }));
    private readonly normal = new Cell(h("span"));
    private readonly connection = new Cell(h("span", { class: "connection" }));
    private readonly connectionText = new Cell(h("span"));
    private readonly clock = new Cell(h("time", { "aria-label": "time of the server" }));
    private readonly counts = new Map<string, { cell: Cell; channels: string[]; next: number }>();
    private readonly pages: HTMLAnchorElement[];
    private readonly page = new Cell(document.documentElement);
    private readonly virtual = new Cell(h("span", { class: "virtual none" }, "virtual time"));

    constructor(
        element: HTMLElement,
        private readonly model: Model,
        private readonly jump: Jump,
    ) {
        const counts = h("p", { class: "counts" }, this.total.element, this.normal.element);
        for (const kind of kinds) {
            const button = h("button", { type: "button", class: `count ${kind} none` });
            const count = { cell: new Cell(button), channels: [] as string[], next: 0 };
            button.addEventListener("click", () => this.jumpTo(kind));
            this.counts.set(kind, count);
            counts.append(button);
        }
        this.pages = [h("a", { href: "#/" }, "Overview"), h("a", { href: "#/devices" }, "Devices")];
        const themeButton = h("button", { type: "button", class: "quiet" }, themeWords[theme()]);
        themeButton.addEventListener("click", nextTheme);
        onThemeChange(() => (themeButton.textContent = themeWords[theme()]));
        const keys = h("button", { type: "button", class: "quiet", "aria-keyshortcuts": "?" }, "Keys");
        keys.addEventListener("click", showKeys);
        this.connection.element.append(h("b", { class: "icon", "aria-hidden": "true" }), this.connectionText.element);
        element.append(
            h("div", { class: "head-main" }, this.title.element, this.virtual.element, counts),
            h("nav", { "aria-label": "Pages" }, ...this.pages),
            h("div", { class: "head-state" }, this.connection.element, this.clock.element, themeButton, keys),
        );
    }

    /** Marks the page that is shown. */
    setPage(hash: string): void {
        for (const page of this.pages) {
            if (page.getAttribute("href") === hash) page.setAttribute("aria-current", "page");
            else page.removeAttribute("aria-current");
        }
    }

    update(): void {
        const { model } = this;
        this.title.set(model.title || "Controllers");
        this.virtual.className(model.virtual ? "virtual" : "virtual none");
        this.clock.set(clockText(model.now));
        this.clock.attribute("datetime", new Date(model.now).toISOString());
        const kind = model.connection.kind;
        this.page.attribute("data-connection", kind);
        this.connection.className(`connection ${kind}`);
        this.connectionText.set(model.connectionText);

        const found = new Map<string, string[]>();
        for (const channel of model.channels) {
            const health = model.healthOf(channel.name);
            const list = found.get(health) ?? [];
            list.push(channel.name);
            found.set(health, list);
        }
        const count = model.channels.length;
        this.total.set(`${count} ${count === 1 ? "controller" : "controllers"}`);
        this.normal.set(`${found.get("ok")?.length ?? 0} normal`);
        for (const name of kinds) {
            const entry = this.counts.get(name);
            if (!entry) continue;
            entry.channels = found.get(name) ?? [];
            const number = entry.channels.length;
            entry.cell.className(`count ${name}${number === 0 ? " none" : ""}`);
            if (number > 0) {
                entry.cell.set(`${number} ${healthWords[name]}${name === "fault" && number > 1 ? "s" : ""}`);
            }
        }
        const text = this.titleText(found);
        if (document.title !== text) document.title = text;
    }

    private titleText(found: Map<string, string[]>): string {
        const title = this.model.title || "Controllers";
        if (this.model.connection.kind === "lost") return `no connection \u2013 ${title}`;
        const bad = (found.get("fault")?.length ?? 0) + (found.get("badInput")?.length ?? 0);
        return bad > 0 ? `(${bad}) ${title}` : title;
    }

    /** Jumps to the next channel in this state; again from the first after the last. */
    private jumpTo(kind: string): void {
        const entry = this.counts.get(kind);
        if (!entry || entry.channels.length === 0) return;
        this.jump(entry.channels[entry.next++ % entry.channels.length]);
    }
}
