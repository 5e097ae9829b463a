// A faceplate. It is made once; update() writes what differs from what it shows.
import { confirmDespite } from "./dialog";
import { Cell, h, unseen } from "./dom";
import { NumberEditor } from "./editor";
import { durationText, numberText, unitText } from "./format";
import { Model } from "./model";
import { healthText, healthWords, isNotNormal, Mode, Plate, Reading } from "./plates";
import { OutputBar, ValueScale } from "./scale";
import { drawSpark } from "./spark";
import { Toggle } from "./toggle";

const modeWords: { [mode in Mode]: string } = {
    OFF: "off",
    MANUAL: "manual",
    AUTO: "automatic",
    CASCADE: "cascade",
};

/** The symbol that goes with a state which is not normal; colour is never the only cue. */
const icons: { [kind: string]: string } = { badInput: "warning", fault: "stop", waiting: "waiting", stale: "waiting" };

/** The short trend is drawn anew at most this often. */
const SPARK_MS = 900;

let ids = 0;

export class Card {
    readonly element: HTMLElement;
    readonly setPoint: NumberEditor;
    readonly output: NumberEditor;
    private readonly scale: ValueScale;
    private readonly bar: OutputBar;
    private readonly manual: Toggle;
    private readonly enabled: Toggle;
    private readonly card: Cell;
    private readonly mode = new Cell(h("span", { class: "mode" }));
    private readonly note = new Cell(h("span", { class: "words" }));
    private readonly noteIcon = new Cell(h("b", { class: "icon none", "aria-hidden": "true" }));
    private readonly number = new Cell(h("span", { class: "number" }));
    private readonly numberState = new Cell(unseen());
    private readonly message = new Cell(h("p", { class: "message none" }));
    private readonly canvas = h("canvas", { class: "spark", "aria-hidden": "true" });
    private drawn = 0;
    private stops: HTMLElement[] = [];

    constructor(
        readonly plate: Plate,
        private readonly model: Model,
        private readonly linked = true,
    ) {
        const name = plate.title;
        this.setPoint = new NumberEditor(
            `${name} set point`,
            plate.unit,
            plate.decimals,
            plate.setPointRange,
            (value) => void model.setSetPoint(plate.channel, value),
        );
        this.output = new NumberEditor(
            `${name} output`,
            plate.controlUnit,
            plate.controlDecimals,
            plate.controlRange,
            (value) => void model.setControlValue(plate.channel, value),
        );
        this.scale = new ValueScale(
            `${name} actual value`,
            plate.scale,
            plate.setPointRange,
            plate.decimals,
            plate.unit,
        );
        this.bar = new OutputBar(`${name} output`, plate.controlRange, plate.controlDecimals, plate.controlUnit);
        this.manual = new Toggle("Manual", `${name}: Manual`, (on) => void model.setManual(plate.channel, on));
        this.enabled = new Toggle("Enabled", `${name}: Enabled`, (on) => void this.setEnabled(on));
        this.element = this.build();
        this.card = new Cell(this.element);
        this.stops = [...this.element.querySelectorAll<HTMLElement>("a, button")];
        this.update();
    }

    private build(): HTMLElement {
        const plate = this.plate;
        const id = `plate-${++ids}`;
        const address = `#/channel/${encodeURIComponent(plate.channel)}`;
        const title = this.linked ? h("a", { href: address }, plate.title) : plate.title;
        const rows = h(
            "div",
            { class: "rows" },
            h("span", { class: "row-name", "aria-hidden": "true" }, "set point"),
            h("span", { class: "row-fill" }, plate.follows === null ? "" : `from ${plate.follows}`),
            this.setPoint.element,
            h("span", { class: "row-name", "aria-hidden": "true" }, "output"),
            h("span", { class: "row-fill" }, this.bar.element, this.bar.limit),
            this.output.element,
        );
        const element = h(
            "article",
            { class: "plate", "aria-labelledby": id, "data-key": plate.key, tabindex: "-1" },
            h("div", { class: "plate-head" }, h("h2", { id }, title), this.mode.element),
            h("p", { class: "note" }, this.noteIcon.element, this.note.element),
            h(
                "p",
                { class: "actual" },
                unseen("actual value "),
                this.number.element,
                h("span", { class: "unit" }, unitText(plate.unit)),
                this.numberState.element,
            ),
            this.scale.element,
            rows,
            h("div", { class: "trend" }, this.canvas, h("span", { class: "caption", "aria-hidden": "true" }, "10 min")),
        );
        if (plate.follows === null) {
            const switches = h("div", { class: "switches" }, this.manual.element, this.enabled.element);
            element.append(switches, this.message.element);
        }
        return element;
    }

    /** Makes the card and what is in it reachable by Tab, or leaves it out. */
    setReachable(reachable: boolean): void {
        this.element.tabIndex = reachable ? 0 : -1;
        for (const stop of this.stops) stop.tabIndex = reachable ? 0 : -1;
    }

    /** Opens the field of what can be edited in this mode: the set point, or in manual mode the output. */
    edit(): void {
        if (this.output.isEditable) this.output.open();
        else if (this.setPoint.isEditable) this.setPoint.open();
        else if (this.plate.follows !== null) {
            this.model.say(this.plate.channel, `${this.plate.title} follows ${this.plate.follows}`);
        }
    }

    toggleManual(): void {
        if (this.plate.follows === null) this.manual.element.click();
    }

    private async setEnabled(on: boolean): Promise<void> {
        const reading = this.model.reading(this.plate);
        if (on && reading && (reading.health.kind === "fault" || reading.health.kind === "badInput")) {
            const what = healthText(reading.health);
            if (!(await confirmDespite(`Enable ${this.plate.title}?`, what, "Enable all the same"))) return;
        }
        await this.model.setEnabled(this.plate.channel, on);
    }

    /** Writes what changed; only for cards in sight, within a frame. */
    update(): void {
        const { plate, model } = this;
        const reading = model.reading(plate);
        if (!reading) return;
        const own = plate.follows === null;
        const live = model.live;
        const words = this.words(reading);
        this.card.className(this.classes(reading));
        this.mode.set(reading.mode);
        this.mode.className(`mode ${reading.mode.toLowerCase()}`);
        this.number.set(numberText(reading.actualValue, plate.decimals));
        this.numberState.set(`, ${words}`);
        this.scale.set(reading.actualValue, reading.setPoint, words);
        this.bar.set(reading.controlValue, reading.enabled ? reading.saturation : "free");

        const pending = (item: "setPoint" | "controlValue"): number | undefined =>
            own ? (model.pending.valueOf(plate.channel, item) as number | undefined) : undefined;
        const pendingFlag = (item: "manual" | "enabled"): boolean | undefined =>
            model.pending.valueOf(plate.channel, item) as boolean | undefined;
        this.setPoint.set(reading.setPoint, pending("setPoint"), own && live && !reading.manual);
        this.output.set(
            reading.controlValue,
            pending("controlValue"),
            own && live && reading.enabled && reading.manual,
        );
        if (own) {
            this.manual.set(reading.manual, pendingFlag("manual"), !live);
            this.enabled.set(reading.enabled, pendingFlag("enabled"), !live);
            const message = model.message(plate.channel);
            this.message.className(message === null ? "message none" : "message");
            this.message.set(message ?? "");
        }
        this.writeNote(reading);
        const time = performance.now();
        if (time - this.drawn > SPARK_MS) this.draw();
    }

    /** Draws the short trend. */
    draw(): void {
        const recent = this.model.recent.get(this.plate.key);
        if (!recent || this.canvas.clientWidth === 0) return;
        this.drawn = performance.now();
        drawSpark(this.canvas, recent, this.plate, this.model.now);
    }

    /** The state in words, as a screen reader says it after a value. */
    private words(reading: Reading): string {
        if (!this.model.live) return this.model.connectionText;
        const health = reading.health.kind === "ok" || reading.health.kind === "off" ? "" : `, ${this.health(reading)}`;
        const age = reading.age === null ? "" : `, ${durationText(reading.age)} old`;
        return modeWords[reading.mode] + health + age;
    }

    private health(reading: Reading): string {
        return healthWords[reading.health.kind] ?? reading.health.kind;
    }

    private classes(reading: Reading): string {
        const names = ["plate"];
        if (this.model.live && isNotNormal(reading)) names.push(reading.health.kind, "notnormal");
        if (!reading.enabled) names.push("off");
        if (reading.age !== null) names.push("stale");
        return names.join(" ");
    }

    private writeNote(reading: Reading): void {
        const { plate, model } = this;
        const kind = reading.health.kind;
        let text = plate.follows === null ? plate.description : `follows ${plate.follows}`;
        let icon = "none";
        if (model.live && kind !== "ok" && kind !== "off") {
            text = healthText(reading.health);
            icon = icons[kind] ?? "warning";
        } else if (model.live && reading.age !== null) {
            text = `values are ${durationText(reading.age)} old`;
            icon = icons.stale;
        }
        this.note.set(text);
        this.note.attribute("title", text || null);
        this.noteIcon.className(`icon ${icon}`);
    }
}
