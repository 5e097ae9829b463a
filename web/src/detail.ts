// One channel: its faceplates, the long trend, the loop graph with live values, parameters, parts and timing of every
// loop, and what happened.
import { Card } from "./card";
import { channelPath, get } from "./api";
import { h, nextFrame } from "./dom";
import { LoopGraphView } from "./graph";
import { HappenedView } from "./happened";
import { Model } from "./model";
import { ParametersView } from "./parameters";
import { platesOf } from "./plates";
import { TermsView } from "./terms";
import { onThemeChange } from "./theme";
import { TrendView } from "./trend";
import { ChannelDescription } from "./types";
import { View } from "./view";

export class Detail implements View {
    readonly element = h("div", { class: "detail" });
    private cards: Card[] = [];
    private terms: TermsView[] = [];
    private parameters: ParametersView[] = [];
    private graph: LoopGraphView | null = null;
    private trend: TrendView | null = null;
    private happened: HappenedView | null = null;
    private release: (() => void)[] = [];
    private readonly update = (): void => this.write();

    constructor(
        private readonly model: Model,
        private readonly name: string,
    ) {
        this.release = [
            model.on("structure", () => this.build()),
            model.on("states", (names) => {
                if (names.has(name) || !model.live) nextFrame(this.update);
            }),
            model.on("message", (channel) => {
                if (channel === name) nextFrame(this.update);
            }),
            model.on("connection", () => {
                nextFrame(this.update);
                if (!model.live) return;
                void this.happened?.load();
                for (const view of this.parameters) void view.load();
            }),
            model.on("command", (record) => {
                if (record.channel !== name) return;
                this.happened?.add(record);
                for (const view of this.parameters) void view.load();
            }),
            onThemeChange(() => this.cards.forEach((card) => card.draw())),
        ];
        this.build();
    }

    title(): string {
        return this.name;
    }

    close(): void {
        for (const release of this.release) release();
        this.trend?.close();
    }

    private build(): void {
        const { model, name } = this;
        this.trend?.close();
        this.trend = null;
        const channel = model.channel(name);
        const back = h("a", { href: "#/", class: "back" }, "‹ Overview");
        if (!channel) {
            const text = model.channels.length > 0 ? `There is no controller ${name}.` : "Loading …";
            this.element.replaceChildren(back, h("p", { class: "empty" }, text));
            return;
        }
        const plates = platesOf(channel);
        this.cards = plates.map((plate) => new Card(plate, model, false));
        for (const card of this.cards) {
            card.setReachable(true);
            card.element.removeAttribute("tabindex");
        }
        this.happened = new HappenedView(name, model, () => this.trend?.redrawMarks());
        this.trend = new TrendView(
            plates[0],
            model,
            () => this.happened?.marks() ?? [],
            (events) => this.happened?.addEvents(events),
        );
        this.parameters = channel.loops.map((loop) => new ParametersView(name, loop.index, loop.name || name));
        this.terms = channel.loops.map((loop) => new TermsView(loop));
        const graph = h("section", { "aria-label": "Loop graph" }, h("h2", {}, "Loop graph"));
        void this.loadGraph(graph);

        const title = h("div", { class: "detail-head" }, back, h("h2", { class: "page-title" }, name));
        if (channel.description) title.append(h("p", { class: "by" }, channel.description));
        const plateList = h("div", { class: "detail-plates" }, ...this.cards.map((card) => card.element));
        const section = (heading: string, ...content: HTMLElement[]): HTMLElement =>
            h(
                "section",
                { "aria-label": heading },
                h("h2", {}, heading),
                h("div", { class: "side-by-side" }, ...content),
            );
        this.element.replaceChildren(
            title,
            h("div", { class: "detail-top" }, this.trend.element, plateList),
            graph,
            section("Parameters", ...this.parameters.map((view) => view.element)),
            section("Parts and timing", ...this.terms.map((view) => view.element)),
            this.happened.element,
        );
        nextFrame(this.update);
    }

    private async loadGraph(section: HTMLElement): Promise<void> {
        try {
            const channel = await get<ChannelDescription>(channelPath(this.name));
            if (!channel.graph) throw new Error("the server gives no graph");
            this.graph = new LoopGraphView(channel);
            section.append(this.graph.element);
            nextFrame(this.update);
        } catch (error) {
            section.append(h("p", { class: "status wrong" }, (error as Error).message));
        }
    }

    private write(): void {
        const state = this.model.state(this.name);
        if (!state) return;
        for (const card of this.cards) card.update();
        this.graph?.update(state);
        this.trend?.update();
        state.loops.forEach((loop, index) => this.terms[index]?.update(loop, this.model.now));
    }

    key(event: KeyboardEvent): boolean {
        switch (event.key) {
            case "e":
            case "E":
                this.cards[0]?.edit();
                return this.cards.length > 0;
            case "m":
            case "M":
                this.cards[0]?.toggleManual();
                return this.cards.length > 0;
            case "Escape":
                location.hash = "#/";
                return true;
            default:
                return false;
        }
    }
}
