// P, I and D parts of a loop with their course while this page is open, its limit, and its timing.
import { Cell, h } from "./dom";
import { decimalsOf, durationText, numberText, quantity } from "./format";
import { drawLines } from "./spark";
import { colour } from "./theme";
import { LoopDescription, LoopState } from "./types";

const KEPT_MS = 300000;
const names = ["P", "I", "D"] as const;

export class TermsView {
    readonly element: HTMLElement;
    private readonly values = names.map(() => new Cell(h("dd", { class: "number" })));
    private readonly limit = new Cell(h("dd"));
    private readonly period = new Cell(h("dd"));
    private readonly late = new Cell(h("dd"));
    private readonly overruns = new Cell(h("dd"));
    private readonly steps = new Cell(h("dd"));
    private readonly canvas = h("canvas", {
        class: "terms-trend",
        role: "img",
        "aria-label": "Course of the P, I and D parts while this page is open",
    });
    private readonly times: number[] = [];
    private readonly courses: (number | null)[][] = [[], [], []];
    private readonly decimals: number;
    private readonly hasTerms: boolean;

    constructor(private readonly loop: LoopDescription) {
        this.decimals = decimalsOf(loop.controlRange);
        this.hasTerms = /PID/.test(loop.type);
        const terms = h("dl", { class: "figures" });
        names.forEach((name, index) => {
            const sample = h("b", { class: `sample ${name.toLowerCase()}`, "aria-hidden": "true" });
            terms.append(h("div", {}, h("dt", {}, sample, name), this.values[index].element));
        });
        const figures = h("dl", { class: "figures" });
        const add = (name: string, cell: Cell): void => figures.append(h("div", {}, h("dt", {}, name), cell.element));
        add("output at its limit", this.limit);
        add("period", this.period);
        add("worst deviation", this.late);
        add("overruns", this.overruns);
        add("steps", this.steps);
        this.element = h(
            "section",
            { class: "terms", "aria-label": `Parts and timing of ${loop.name}` },
            h("h3", {}, loop.name),
        );
        if (this.hasTerms) this.element.append(terms, this.canvas);
        this.element.append(figures);
    }

    update(state: LoopState, now: number): void {
        [state.p, state.i, state.d].forEach((value, index) => {
            this.values[index].set(numberText(value, this.decimals));
        });
        this.limit.set(state.saturation === "free" ? "no" : `at ${state.saturation}`);
        const set = this.loop.sampleTime_ms;
        if (set === null) this.period.set(numberText(null, 0));
        else {
            const mean = state.meanPeriodError_ms === null ? null : set + state.meanPeriodError_ms;
            this.period.set(`${quantity(mean, 1, "ms")} (${set})`);
        }
        this.late.set(quantity(state.worstPeriodError_ms, 1, "ms"));
        this.overruns.set(String(state.overruns));
        const since = state.sinceStep_ms === null ? "" : `, the last ${durationText(state.sinceStep_ms)} ago`;
        this.steps.set(String(state.steps) + since);
        if (!this.hasTerms) return;
        if (this.times.length > 0 && now <= this.times[this.times.length - 1]) return;
        this.times.push(now);
        [state.p, state.i, state.d].forEach((value, index) => this.courses[index].push(value));
        while (this.times[0] < now - KEPT_MS) {
            this.times.shift();
            for (const course of this.courses) course.shift();
        }
        this.draw(now);
    }

    private draw(now: number): void {
        const { minimum, maximum } = this.loop.controlRange;
        const least = minimum !== null && maximum !== null ? (maximum - minimum) / 20 : 0;
        const from = Math.min(this.times[0], now - 10000);
        const colours = ["term-p", "term-i", "term-d"];
        const dashes = [[], [6, 3], [2, 2]];
        const lines = this.courses.map((values, index) => ({
            times: this.times,
            values,
            colour: colour(colours[index]),
            dashes: dashes[index],
            width: 1.5,
        }));
        drawLines(this.canvas, lines, from, now, least);
    }
}
