// The long trend of a channel: actual value and set point on the left axis, control value on the right one, marks for
// commands and faults; zoom by dragging, the wheel or buttons, and a range selector below.
import { h, nextFrame } from "./dom";
import { Area, Dygraph, DygraphClass, Row, loadDygraphs } from "./dygraphs";
import { clockText, momentText, numberText, quantity } from "./format";
import { Model } from "./model";
import { Plate } from "./plates";
import { colour, onThemeChange } from "./theme";
import { TrendData } from "./trend-data";
import { HistoryEvent, Range } from "./types";
import { query } from "./api";

const POINTS = 1000;
const DRAW_MS = 900; // of events that come twice a second, every second one
const REFINE_MS = 300;
const MINUTE = 60000;
/** The least share of its range that a vertical axis spans. */
const LEAST_SHARE = 0.05;
/** The least that is shown of a run that has only begun. */
const LEAST_MS = MINUTE;

const spans: [string, number][] = [
    ["10 min", 10 * MINUTE],
    ["1 h", 60 * MINUTE],
    ["8 h", 480 * MINUTE],
    ["1 day", 1440 * MINUTE],
    ["1 week", 10080 * MINUTE],
];

export interface Mark {
    time: number;
    fault: boolean;
}

export class TrendView {
    readonly element: HTMLElement;
    readonly exportLink = h("a", { class: "action", download: true }, "Export CSV");
    readonly reportLink = h("a", { class: "action", download: true, hidden: true }, "Report");
    private readonly box = h("div", { class: "trend-box" });
    private readonly status = h("p", { class: "status", role: "status" }, "Loading …");
    private readonly legend = h("p", { class: "legend" });
    private readonly data: TrendData;
    private graph: Dygraph | null = null;
    private library: DygraphClass | null = null;
    private span = 60 * MINUTE;
    private window: [number, number] | null = null;
    /** What was asked to be drawn last: the chosen part, or all up to that moment. */
    private shown: [number, number] = [0, 0];
    /** A button of the mouse is down: drawing anew would end what is being dragged. */
    private held = false;
    private drawn = 0;
    private refining = 0;
    private closed = false;
    private readonly release: () => void;
    private readonly resized: ResizeObserver;

    constructor(
        private readonly plate: Plate,
        private readonly model: Model,
        private readonly marks: () => Mark[],
        private readonly events: (events: HistoryEvent[]) => void,
    ) {
        this.data = new TrendData(plate.channel);
        const select = h("select", { "aria-label": "Time shown" });
        for (const [name, span] of spans)
            select.append(h("option", { value: span, selected: span === this.span }, name));
        select.addEventListener("change", () => {
            this.span = Number(select.value);
            this.window = null;
            void this.load();
        });
        const tool = (name: string, label: string, act: () => void): HTMLButtonElement => {
            const button = h("button", { type: "button", class: "action", "aria-label": label, title: label }, name);
            button.addEventListener("click", act);
            return button;
        };
        const tools = h(
            "div",
            { class: "trend-tools" },
            select,
            tool("◀", "earlier", () => this.move(-0.5, 1)),
            tool("▶", "later", () => this.move(0.5, 1)),
            tool("+", "zoom in", () => this.move(0, 0.5)),
            tool("−", "zoom out", () => this.move(0, 2)),
            tool("Live", "Live: all of the time up to now", () => this.setWindow(null)),
            this.exportLink,
            this.reportLink,
        );
        const key = (name: string, className: string): HTMLElement =>
            h("span", {}, h("b", { class: `sample ${className}`, "aria-hidden": "true" }), name);
        const keys = h(
            "p",
            { class: "legend" },
            key("actual value", "actual"),
            key("set point", "setpoint"),
            key("output (right)", "output"),
            key("command", "command"),
            key("fault", "mark-fault"),
        );
        this.element = h(
            "section",
            { class: "long-trend", "aria-label": "Trend" },
            tools,
            this.box,
            keys,
            this.legend,
            this.status,
        );
        this.box.setAttribute("role", "img");
        this.box.setAttribute("aria-label", `Trend of ${plate.title}: actual value, set point and output`);
        this.release = onThemeChange(() => this.recolour());
        this.resized = new ResizeObserver(() => this.graph?.resize());
        this.resized.observe(this.box);
        this.box.addEventListener("mousedown", this.hold, true);
        document.addEventListener("mouseup", this.letGo, true);
        this.setExport();
        this.showPresent();
        void this.load();
    }

    private readonly hold = (): void => {
        this.held = true;
    };

    private readonly letGo = (): void => {
        // after the library has used the event
        window.setTimeout(() => (this.held = false));
    };

    close(): void {
        this.closed = true;
        document.removeEventListener("mouseup", this.letGo, true);
        this.release();
        this.resized.disconnect();
        window.clearTimeout(this.refining);
        this.graph?.destroy();
        this.graph = null;
    }

    private async load(): Promise<void> {
        try {
            const now = this.model.now;
            const [dygraphs, events] = await Promise.all([loadDygraphs(), this.data.load(now, this.span, POINTS)]);
            if (this.closed) return;
            this.library = dygraphs;
            if (this.data.rows().length === 0) this.append();
            this.status.textContent = "";
            this.draw();
            this.events(events);
        } catch (error) {
            this.status.textContent = `The trend is not available: ${(error as Error).message}`;
        }
    }

    private options(dygraphs: DygraphClass): object {
        const axis = { axisLabelFontSize: 12 };
        return {
            labels: ["time", "set point", "actual value", "output"],
            customBars: true,
            series: {
                "set point": { stepPlot: true, strokePattern: [6, 3], strokeWidth: 1.25 },
                "actual value": { strokeWidth: 2, showInRangeSelector: true },
                output: { axis: "y2", strokeWidth: 1 },
            },
            axes: {
                x: { ...axis, axisLabelFormatter: (value: Date | number) => this.timeLabel(Number(value)) },
                y: { ...axis, axisLabelWidth: 56, axisLabelFormatter: (value: number) => this.tick(value, 0) },
                y2: {
                    ...axis,
                    axisLabelWidth: 56,
                    independentTicks: true,
                    drawGrid: false,
                    axisLabelFormatter: (value: number) => this.tick(value, 1),
                },
            },
            connectSeparatedPoints: false,
            fillAlpha: 0.18,
            highlightCircleSize: 3,
            showRangeSelector: true,
            // with a range selector the library would pan where it zooms otherwise
            interactionModel: dygraphs.defaultInteractionModel,
            rangeSelectorHeight: 36,
            underlayCallback: (context: CanvasRenderingContext2D, area: Area, graph: Dygraph) =>
                this.drawMarks(context, area, graph),
            zoomCallback: (from: number, to: number) => this.zoomed(from, to),
            drawCallback: (graph: Dygraph, first: boolean) => {
                if (!first) this.followSelector(graph);
            },
            highlightCallback: (_event: unknown, time: number, points: { name: string; yval: number }[]) =>
                this.showValues(time, points),
            unhighlightCallback: () => this.showPresent(),
            ...this.colours(),
        };
    }

    /** Label of a vertical axis, with as many decimals as the steps of what is shown need. */
    private tick(value: number, axis: number): string {
        const [low, high] = this.graph?.yAxisRange(axis) ?? [0, 100];
        const step = (high - low) / 10;
        return numberText(value, step > 0 ? Math.max(0, Math.min(4, Math.ceil(-Math.log10(step)))) : 0);
    }

    private timeLabel(time: number): string {
        const range = this.graph?.xAxisRange();
        const shown = range ? range[1] - range[0] : this.span;
        const clock = clockText(time);
        if (shown > 36 * 60 * MINUTE) return momentText(time, 0).slice(5, 16);
        return shown > 20 * MINUTE ? clock.slice(0, 5) : clock;
    }

    private colours(): object {
        return {
            colors: [colour("trend-setpoint"), colour("trend-actual"), colour("trend-output")],
            gridLineColor: colour("line"),
            axisLineColor: colour("line-strong"),
            rangeSelectorPlotStrokeColor: colour("muted"),
            rangeSelectorPlotFillColor: colour("line"),
            rangeSelectorForegroundStrokeColor: colour("muted"),
            rangeSelectorBackgroundStrokeColor: colour("line-strong"),
        };
    }

    private recolour(): void {
        this.graph?.updateOptions(this.colours());
    }

    /** Takes the present state; draws it at most once per second. */
    update(): void {
        this.append();
        const time = performance.now();
        if (time - this.drawn < DRAW_MS) return;
        this.drawn = time;
        nextFrame(() => this.draw());
    }

    private append(): void {
        const reading = this.model.reading(this.plate);
        if (!reading || !this.model.live) return;
        const { setPoint, actualValue, controlValue } = reading;
        this.data.append(this.model.now, [setPoint, actualValue, controlValue], this.model.now - this.span);
    }

    private draw(): void {
        if (this.held) return;
        this.shown = this.window ?? this.present();
        const rows = this.data.rows();
        if (!this.graph) {
            // the library takes no empty table
            if (!this.library || rows.length === 0) return;
            this.graph = new this.library(this.box, rows, this.options(this.library));
            // the handles of the range selector, which only a pointer moves
            for (const image of this.box.querySelectorAll("img")) image.alt = "";
        }
        const y = { valueRange: this.stretch(rows, [1, 2], this.plate.scale) };
        const y2 = { valueRange: this.stretch(rows, [3], this.plate.controlRange) };
        this.graph.updateOptions({ file: rows, dateWindow: this.shown, axes: { y, y2 } });
        this.setExport();
    }

    /** What a vertical axis spans: the values in sight, but at least a share of the range, so that noise stays small. */
    private stretch(rows: Row[], columns: number[], range: Range): [number, number] | null {
        const [from, to] = this.shown;
        let [low, high] = [Infinity, -Infinity];
        for (const row of rows) {
            const time = row[0].getTime();
            if (time < from || time > to) continue;
            for (const column of columns) {
                const [least, , most] = row[column] as [number | null, number | null, number | null];
                if (least !== null && least < low) low = least;
                if (most !== null && most > high) high = most;
            }
        }
        if (low > high) return null;
        const whole = range.minimum !== null && range.maximum !== null ? range.maximum - range.minimum : 0;
        const half = Math.max((high - low) * 0.55, whole * LEAST_SHARE * 0.5);
        return half > 0 ? [(low + high) / 2 - half, (low + high) / 2 + half] : null;
    }

    redrawMarks(): void {
        nextFrame(() => this.draw());
    }

    // -- what part of the time is shown

    /** All of the time up to now, but not more than there are values: a young run would be a stroke at its edge. */
    private present(): [number, number] {
        const now = this.model.now;
        const first = this.data.first() ?? now;
        return [Math.max(now - this.span, Math.min(first, now - LEAST_MS)), now];
    }

    private setWindow(window: [number, number] | null): void {
        this.window = window;
        if (window === null) this.data.coarsen();
        else this.refineSoon();
        this.draw();
    }

    /** Shifts by a share of what is shown and stretches it by a factor. */
    private move(shift: number, factor: number): void {
        const [first, now] = this.present();
        const [from, to] = this.window ?? [first, now];
        const length = Math.min(now - first, Math.max(5000, (to - from) * factor));
        const end = Math.min(now, (from + to) / 2 + shift * (to - from) + length / 2);
        const start = Math.max(first, end - length);
        this.setWindow(length >= now - first ? null : [start, Math.max(end, start + length)]);
    }

    private zoomed(from: number, to: number): void {
        const [first, now] = this.present();
        const all = to - from >= (now - first) * 0.99;
        this.setWindow(all ? null : [from, to]);
    }

    /** The range selector and panning move the axis without a zoom. */
    private followSelector(graph: Dygraph): void {
        const [from, to] = graph.xAxisRange();
        const slack = Math.max(1, (to - from) / 1000);
        if (Math.abs(from - this.shown[0]) < slack && Math.abs(to - this.shown[1]) < slack) return;
        const [first, now] = this.present();
        this.shown = [from, to];
        this.window = to - from >= (now - first) * 0.99 ? null : [from, to];
        if (this.window) this.refineSoon();
    }

    private refineSoon(): void {
        window.clearTimeout(this.refining);
        this.refining = window.setTimeout(() => {
            if (!this.window) return;
            const [from, to] = this.window;
            this.data
                .refine(from, Math.min(to, this.model.now), POINTS)
                .then(() => this.draw())
                .catch(() => undefined); // the coarse values stay
        }, REFINE_MS);
    }

    private setExport(): void {
        const [from, to] = this.window ?? this.present();
        const iso = (time: number): string => new Date(time).toISOString();
        const members = { channel: this.plate.channel, from: iso(from), to: iso(to), points: 5000, format: "csv" };
        this.exportLink.href = "/api/history" + query(members);
        const { channel, from: begin, to: end } = members;
        this.reportLink.href = "/api/report" + query({ channel, from: begin, to: end });
        this.reportLink.hidden = !this.data.isKept;
    }

    // -- what is drawn besides

    private drawMarks(context: CanvasRenderingContext2D, area: Area, graph: Dygraph): void {
        const [from, to] = graph.xAxisRange();
        for (const { time, fault } of this.marks()) {
            if (time < from || time > to) continue;
            const x = Math.round(graph.toDomXCoord(time)) + 0.5;
            const bottom = area.y + area.h;
            context.strokeStyle = context.fillStyle = colour(fault ? "red" : "muted");
            context.lineWidth = 1;
            context.setLineDash([2, 3]);
            context.beginPath();
            context.moveTo(x, area.y);
            context.lineTo(x, bottom);
            context.stroke();
            context.setLineDash([]);
            context.beginPath();
            if (fault) context.rect(x - 4, bottom - 8, 8, 8);
            else {
                context.moveTo(x - 5, bottom);
                context.lineTo(x + 5, bottom);
                context.lineTo(x, bottom - 8);
            }
            context.fill();
        }
    }

    private showValues(time: number, points: { name: string; yval: number }[]): void {
        const value = (name: string): number | null => points.find((point) => point.name === name)?.yval ?? null;
        const { decimals, controlDecimals, unit, controlUnit } = this.plate;
        this.legend.textContent = [
            momentText(time, this.model.now),
            `actual ${quantity(value("actual value"), decimals, unit)}`,
            `set point ${quantity(value("set point"), decimals, unit)}`,
            `output ${quantity(value("output"), controlDecimals, controlUnit)}`,
        ].join("   ");
    }

    private showPresent(): void {
        this.legend.textContent = "Drag to zoom, Shift and drag to pan, double click for all of it.";
    }
}
