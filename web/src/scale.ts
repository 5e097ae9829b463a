// The bars of a faceplate: actual value (●) and set point (▼) on one scale with the permitted range shaded, and the
// control value as a filled bar.
import { Cell, h, unseen } from "./dom";
import { numberText, quantity } from "./format";
import { Range } from "./types";

/** Ends of a scale, for what the configuration leaves open: found from the values, growing only, at round numbers. */
export class Ends {
    low: number;
    high: number;
    private readonly open: boolean;

    constructor(range: Range) {
        this.open = range.minimum === null || range.maximum === null || range.maximum <= range.minimum;
        this.low = range.minimum ?? NaN;
        this.high = range.maximum ?? NaN;
        if (!this.open) return;
        this.low = this.high = NaN;
    }

    /** Makes room for a value. Returns true if the ends moved. */
    include(value: number | null): boolean {
        if (!this.open || value === null || (value >= this.low && value <= this.high)) return false;
        const low = isNaN(this.low) ? Math.min(0, value) : Math.min(this.low, value);
        const high = isNaN(this.high) ? Math.max(0, value) : Math.max(this.high, value);
        const step = Math.pow(10, Math.floor(Math.log10(Math.max(high - low, 1e-6))));
        this.low = Math.floor(low / step) * step;
        this.high = Math.max(Math.ceil(high / step) * step, this.low + step);
        return true;
    }

    /** Place of a value on the scale in percent, held at its ends. */
    percent(value: number): number {
        const span = this.high - this.low;
        if (!(span > 0)) return 0;
        return Math.max(0, Math.min(100, ((value - this.low) / span) * 100));
    }

    contains(value: number): boolean {
        return value >= this.low && value <= this.high;
    }
}

/** Scale of actual value and set point. */
export class ValueScale {
    readonly element: HTMLElement;
    private readonly ends: Ends;
    private readonly actual = new Cell(h("i", { class: "mark actual" }, h("b")));
    private readonly setPoint = new Cell(h("i", { class: "mark setpoint" }, h("b")));
    private readonly permitted = h("i", { class: "permitted" });
    private readonly low = new Cell(h("span", { class: "end low", "aria-hidden": "true" }));
    private readonly high = new Cell(h("span", { class: "end high", "aria-hidden": "true" }));
    private readonly meter: Cell;

    constructor(
        label: string,
        scale: Range,
        private readonly range: Range,
        private readonly decimals: number,
        private readonly unit: string,
    ) {
        this.ends = new Ends(scale);
        const track = h("div", { class: "track", role: "meter", "aria-label": label }, this.permitted);
        track.append(this.setPoint.element, this.actual.element);
        this.meter = new Cell(track);
        this.element = h("div", { class: "scale" }, this.low.element, track, this.high.element);
        this.drawEnds();
    }

    private drawEnds(): void {
        const { low, high } = this.ends;
        if (isNaN(low)) return;
        // as many decimals as the ends need
        const decimals = [low, high].every((end) => Number.isInteger(end)) ? 0 : Math.min(this.decimals, 2);
        this.low.set(numberText(low, decimals));
        this.high.set(numberText(high, decimals));
        this.meter.attribute("aria-valuemin", String(low));
        this.meter.attribute("aria-valuemax", String(high));
        const from = this.range.minimum === null ? 0 : this.ends.percent(this.range.minimum);
        const to = this.range.maximum === null ? 100 : this.ends.percent(this.range.maximum);
        this.permitted.style.left = `${from}%`;
        this.permitted.style.width = `${Math.max(0, to - from)}%`;
    }

    /** `words` is the state, said after the value. */
    set(actual: number | null, setPoint: number | null, words: string): void {
        const grown = this.ends.include(actual);
        if (this.ends.include(setPoint) || grown) this.drawEnds();
        const beyond = actual !== null && !this.ends.contains(actual);
        this.actual.className(`mark actual${actual === null ? " none" : ""}${beyond ? " beyond" : ""}`);
        this.setPoint.className(`mark setpoint${setPoint === null ? " none" : ""}`);
        if (actual !== null) this.actual.shift(this.ends.percent(actual));
        if (setPoint !== null) this.setPoint.shift(this.ends.percent(setPoint));
        const held = actual === null || isNaN(this.ends.low) ? this.ends.low : actual;
        this.meter.attribute("aria-valuenow", isNaN(held) ? "0" : String(held));
        this.meter.attribute("aria-valuetext", `${quantity(actual, this.decimals, this.unit)}, ${words}`);
    }
}

/** Bar of the control value, with a note where it is at its limit. */
export class OutputBar {
    readonly element: HTMLElement;
    readonly limit: HTMLElement;
    private readonly ends: Ends;
    private readonly fill = new Cell(h("i", { class: "fill" }));
    private readonly meter: Cell;
    private readonly limitText = new Cell(h("span"));
    private readonly limitCell: Cell;

    constructor(
        label: string,
        range: Range,
        private readonly decimals: number,
        private readonly unit: string,
    ) {
        this.ends = new Ends(range);
        this.element = h("div", { class: "track bar", role: "meter", "aria-label": label }, this.fill.element);
        this.meter = new Cell(this.element);
        this.limit = h("span", { class: "limit none" }, unseen("output "), this.limitText.element);
        this.limitCell = new Cell(this.limit);
    }

    set(value: number | null, saturation: "free" | "minimum" | "maximum"): void {
        this.ends.include(value);
        const { low, high } = this.ends;
        this.fill.stretch(value === null ? 0 : this.ends.percent(value) / 100);
        if (!isNaN(low)) {
            this.meter.attribute("aria-valuemin", String(low));
            this.meter.attribute("aria-valuemax", String(high));
        }
        const limited = saturation !== "free";
        this.limitCell.className(limited ? "limit" : "limit none");
        if (limited) this.limitText.set(`at ${saturation}`);
        this.meter.attribute("aria-valuenow", String(value ?? (isNaN(low) ? 0 : low)));
        const text = quantity(value, this.decimals, this.unit);
        this.meter.attribute("aria-valuetext", limited ? `${text}, at ${saturation}` : text);
    }
}
