// The overview: all faceplates in a grid, by group, filtered; only those in sight are written.
import { Card } from "./card";
import { Cell, h, nextFrame } from "./dom";
import { Model } from "./model";
import { isNotNormal } from "./plates";
import { onThemeChange } from "./theme";
import { View } from "./view";

/** What the reader chose, kept while other pages are open. */
const choice = { group: "", filter: "", notNormal: false, current: "" };

export class Overview implements View {
    readonly element = h("div", { class: "overview" });
    private readonly grid = h("section", { class: "grid", id: "grid", "aria-label": "Controllers" });
    private readonly tabs = h("div", { class: "tabs", role: "tablist", "aria-label": "Groups" });
    private readonly filter = h("input", {
        type: "search",
        class: "filter",
        placeholder: "filter",
        "aria-label": "Filter by name",
    });
    private readonly notNormal = h("input", { type: "checkbox", id: "notnormal" });
    private readonly empty = new Cell(h("p", { class: "empty none" }));
    private cards: Card[] = [];
    private byElement = new Map<Element, Card>();
    private readonly visible = new Set<Card>();
    private readonly stale = new Set<Card>();
    private readonly observer: IntersectionObserver;
    private readonly release: (() => void)[];
    private readonly flush = (): void => this.write();

    constructor(private readonly model: Model) {
        this.observer = new IntersectionObserver((entries) => this.seen(entries), { rootMargin: "100px" });
        this.filter.value = choice.filter;
        this.notNormal.checked = choice.notNormal;
        this.filter.addEventListener("input", () => {
            choice.filter = this.filter.value;
            this.select();
        });
        this.filter.addEventListener("keydown", (event) => {
            if (event.key === "Enter" || event.key === "Escape") {
                if (event.key === "Escape") this.filter.value = choice.filter = "";
                this.select();
                this.focusFirst();
                event.preventDefault();
                event.stopPropagation();
            }
        });
        this.notNormal.addEventListener("change", () => {
            choice.notNormal = this.notNormal.checked;
            this.select();
        });
        this.grid.addEventListener("focusin", (event) => {
            const element = (event.target as Element).closest(".plate");
            const card = element ? this.byElement.get(element) : undefined;
            if (card) this.setCurrent(card);
        });
        const box = h("label", { class: "box" }, this.notNormal, "not normal");
        const tools = h("div", { class: "tools" }, this.tabs, this.filter, box);
        this.element.append(tools, this.grid, this.empty.element);
        this.release = [
            model.on("structure", () => this.build()),
            model.on("states", (names) => this.mark(names)),
            model.on("message", (channel) => this.mark(new Set([channel]))),
            onThemeChange(() => this.visible.forEach((card) => card.draw())),
        ];
        this.build();
    }

    title(): string {
        return "Overview";
    }

    close(): void {
        this.observer.disconnect();
        for (const release of this.release) release();
    }

    private build(): void {
        this.observer.disconnect();
        this.visible.clear();
        this.stale.clear();
        this.cards = this.model.plates.map((plate) => new Card(plate, this.model));
        this.byElement = new Map(this.cards.map((card) => [card.element, card]));
        this.grid.replaceChildren(...this.cards.map((card) => card.element));
        for (const card of this.cards) {
            card.setReachable(false);
            this.observer.observe(card.element);
        }
        this.buildTabs();
        this.select();
        const current = this.cards.find((card) => card.plate.key === choice.current) ?? this.shown()[0];
        if (current) this.setCurrent(current);
    }

    private buildTabs(): void {
        const groups = [...new Set(this.model.channels.map((channel) => channel.group).filter(Boolean))];
        if (!groups.includes(choice.group)) choice.group = "";
        this.tabs.hidden = groups.length === 0;
        const tab = (name: string, group: string): HTMLButtonElement => {
            const chosen = choice.group === group;
            const button = h(
                "button",
                {
                    type: "button",
                    role: "tab",
                    "aria-selected": String(chosen),
                    "aria-controls": "grid",
                    tabindex: chosen ? 0 : -1,
                },
                name,
            );
            button.addEventListener("click", () => {
                choice.group = group;
                for (const other of this.tabs.children) {
                    other.setAttribute("aria-selected", String(other === button));
                    (other as HTMLElement).tabIndex = other === button ? 0 : -1;
                }
                this.select();
            });
            return button;
        };
        this.tabs.replaceChildren(tab("All", ""), ...groups.map((group) => tab(group, group)));
        this.tabs.onkeydown = (event) => {
            const step = event.key === "ArrowRight" ? 1 : event.key === "ArrowLeft" ? -1 : 0;
            if (step === 0) return;
            const all = [...this.tabs.children] as HTMLElement[];
            const next = all[(all.indexOf(document.activeElement as HTMLElement) + step + all.length) % all.length];
            next.focus();
            next.click();
            event.preventDefault();
            event.stopPropagation();
        };
    }

    /** Shows the cards that group, filter and box leave. */
    private select(): void {
        const words = choice.filter.toLowerCase().split(/\s+/).filter(Boolean);
        let count = 0;
        for (const { plate, element } of this.cards) {
            const text = `${plate.title} ${plate.description} ${plate.channel} ${plate.group}`.toLowerCase();
            const reading = this.model.reading(plate);
            const shown =
                (choice.group === "" || plate.group === choice.group) &&
                words.every((word) => text.includes(word)) &&
                (!choice.notNormal || !reading || isNotNormal(reading));
            if (element.hidden === shown) element.hidden = !shown;
            if (shown) count++;
        }
        this.empty.className(count === 0 ? "empty" : "empty none");
        if (count === 0) {
            const all = choice.notNormal && !choice.filter;
            this.empty.set(all ? "Every controller is normal." : "No controller goes with this filter.");
        }
        const current = this.current();
        if (!current || current.element.hidden) {
            const first = this.shown()[0];
            if (first) this.setCurrent(first);
        }
    }

    private seen(entries: IntersectionObserverEntry[]): void {
        for (const entry of entries) {
            const card = this.byElement.get(entry.target);
            if (!card) continue;
            if (entry.isIntersecting) {
                this.visible.add(card);
                this.stale.add(card);
            } else this.visible.delete(card);
        }
        nextFrame(this.flush);
    }

    private mark(names: Set<string>): void {
        for (const card of this.cards) if (names.has(card.plate.channel)) this.stale.add(card);
        nextFrame(this.flush);
    }

    /** Writes the cards in sight that changed; the others keep their mark until they come into sight. */
    private write(): void {
        for (const card of this.visible) {
            if (!this.stale.delete(card)) continue;
            card.update();
        }
        if (choice.notNormal) this.select();
    }

    // -- moving about

    private shown(): Card[] {
        return this.cards.filter((card) => !card.element.hidden);
    }

    private current(): Card | undefined {
        return this.cards.find((card) => card.plate.key === choice.current);
    }

    private setCurrent(card: Card): void {
        const before = this.current();
        if (before && before !== card) before.setReachable(false);
        choice.current = card.plate.key;
        card.setReachable(true);
    }

    private focus(card: Card | undefined): void {
        if (!card) return;
        this.setCurrent(card);
        card.element.focus();
        card.element.scrollIntoView({ block: "nearest" });
    }

    focusFirst(): void {
        const current = this.current();
        this.focus(current && !current.element.hidden ? current : this.shown()[0]);
    }

    /** Brings a channel's card into view, taking away a filter that hides it. */
    jump(channel: string): void {
        const card = this.cards.find((one) => one.plate.channel === channel);
        if (!card) return;
        if (card.element.hidden) {
            choice.group = choice.filter = this.filter.value = "";
            choice.notNormal = this.notNormal.checked = false;
            this.buildTabs();
            this.select();
        }
        this.focus(card);
    }

    /** Handles a key; returns true if it was one of the overview's. */
    key(event: KeyboardEvent): boolean {
        const onCard = document.activeElement?.closest(".plate") ?? null;
        const card = onCard ? this.byElement.get(onCard) : undefined;
        switch (event.key) {
            case "ArrowRight":
            case "ArrowLeft":
            case "ArrowUp":
            case "ArrowDown":
            case "Home":
            case "End":
                if (!card && document.activeElement !== document.body && document.activeElement?.id !== "main")
                    return false;
                this.move(event.key, card);
                return true;
            case "Enter":
                if (!card || document.activeElement !== card.element) return false;
                location.hash = `#/channel/${encodeURIComponent(card.plate.channel)}`;
                return true;
            case "e":
            case "E":
                card?.edit();
                return card !== undefined;
            case "m":
            case "M":
                card?.toggleManual();
                return card !== undefined;
            case "n":
            case "N":
                this.nextNotNormal(card);
                return true;
            case "/":
                this.filter.focus();
                this.filter.select();
                return true;
            case "Escape":
                if (card) card.element.focus();
                return card !== undefined;
            default:
                return false;
        }
    }

    private move(key: string, card: Card | undefined): void {
        const shown = this.shown();
        if (!card) return this.focusFirst();
        const index = shown.indexOf(card);
        const columns = Math.max(1, getComputedStyle(this.grid).gridTemplateColumns.split(" ").length);
        const steps: { [key: string]: number } = {
            ArrowRight: 1,
            ArrowLeft: -1,
            ArrowDown: columns,
            ArrowUp: -columns,
            Home: -index,
            End: shown.length - 1 - index,
        };
        this.focus(shown[index + steps[key]]);
    }

    private nextNotNormal(card: Card | undefined): void {
        const shown = this.shown();
        const from = card ? shown.indexOf(card) + 1 : 0;
        const around = [...shown.slice(from), ...shown.slice(0, from)];
        this.focus(
            around.find((one) => {
                const reading = this.model.reading(one.plate);
                return reading !== null && isNotNormal(reading);
            }),
        );
    }
}
