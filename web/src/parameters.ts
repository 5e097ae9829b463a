// The parameters of one loop: values with units, ranges and meanings; editing with a preview, and undo.
import { ApiError, channelPath, get, post, put } from "./api";
import { h, setDisabled } from "./dom";
import { isWithin, NOTHING, parseNumber, plainNumber, rangeText, unitText } from "./format";
import { Parameter, ParameterSet, ParameterValue, Records } from "./types";

const PREVIEW_MS = 300;

const valueText = (value: ParameterValue): string => {
    if (value === null) return NOTHING;
    if (typeof value === "number") return plainNumber(value);
    return typeof value === "boolean" ? (value ? "yes" : "no") : value;
};

/** The first clause of a meaning; what follows unfolds. */
function explanation(text: string): Node | string {
    const end = text.search(/[;.] /);
    if (end < 0 || text.length < 80) return text;
    return h("details", {}, h("summary", {}, text.slice(0, end)), text.slice(end + 2));
}

/** The value that stands in a field, or a sentence on what is wrong with it. */
function parse(parameter: Parameter, text: string): ParameterValue | Error {
    if (typeof parameter.value === "string") return text;
    if (typeof parameter.value === "boolean") return text === "true";
    const value = parseNumber(text);
    if (value === null) return new Error(`${parameter.key}: a number is expected`);
    if (!isWithin(value, parameter, parameter.exclusiveMinimum)) {
        const range = rangeText(parameter, parameter.unit, parameter.exclusiveMinimum);
        return new Error(`${parameter.key}: ${plainNumber(value)} is out of range; expected ${range}`);
    }
    return value;
}

export class ParametersView {
    readonly element: HTMLElement;
    private readonly body = h("tbody");
    private readonly status = h("p", { class: "status", role: "status" });
    private readonly editButton = h("button", { type: "button", class: "action" }, "Edit");
    private readonly undoButton = h("button", { type: "button", class: "action" }, "Undo");
    private readonly applyButton = h(
        "button",
        { type: "submit", class: "action primary", hidden: true },
        "Put in force",
    );
    private readonly cancelButton = h("button", { type: "button", class: "action", hidden: true }, "Cancel");
    private readonly path: string;
    private set: ParameterSet | null = null;
    private fields = new Map<string, HTMLInputElement | HTMLSelectElement>();
    private timer = 0;
    private round = 0;

    constructor(channel: string, loop: number, heading: string) {
        this.path = channelPath(channel, "loops", loop, "parameters");
        const head = h("tr", {}, ...["", "value", "range", "meaning"].map((text) => h("th", { scope: "col" }, text)));
        const buttons = h(
            "div",
            { class: "buttons" },
            this.editButton,
            this.undoButton,
            this.applyButton,
            this.cancelButton,
        );
        this.element = h(
            "form",
            { class: "parameters", "aria-label": `Parameters of ${heading}`, novalidate: true },
            h("h3", {}, heading),
            h("div", { class: "scroll" }, h("table", {}, h("thead", {}, head), this.body)),
            this.status,
            buttons,
        );
        this.editButton.addEventListener("click", () => this.edit());
        this.undoButton.addEventListener("click", () => void this.undo());
        this.cancelButton.addEventListener("click", () => this.leave());
        this.element.addEventListener("submit", (event) => {
            event.preventDefault();
            void this.apply();
        });
        this.element.addEventListener("keydown", (event) => {
            if (event.key !== "Escape" || this.fields.size === 0) return;
            event.stopPropagation();
            event.preventDefault();
            this.leave();
        });
        void this.load();
    }

    /** Fetches what is in force, unless it is being edited. */
    async load(): Promise<void> {
        if (this.fields.size > 0) return;
        try {
            this.set = await get<ParameterSet>(this.path);
            if (this.fields.size === 0) this.show();
        } catch (error) {
            this.say((error as Error).message, true);
        }
    }

    private say(text: string, wrong = false): void {
        this.status.textContent = text;
        this.status.classList.toggle("wrong", wrong);
    }

    private show(): void {
        const set = this.set;
        if (!set) return;
        this.fields.clear();
        this.body.replaceChildren(
            ...set.parameters.map((parameter) => this.row(parameter, valueText(parameter.value))),
        );
        const editable = !set.protected && set.parameters.some((parameter) => parameter.editable);
        this.editButton.hidden = !editable;
        this.undoButton.hidden = !editable;
        setDisabled(this.undoButton, set.undo === 0);
        this.undoButton.textContent = set.undo > 0 ? `Undo (${set.undo})` : "Undo";
        this.applyButton.hidden = this.cancelButton.hidden = true;
        if (set.protected) this.say("These parameters are protected by the configuration.");
    }

    private row(parameter: Parameter, value: Node | string): HTMLElement {
        const unit = h("span", { class: "unit" }, unitText(parameter.unit));
        const range = typeof parameter.value === "number" ? rangeText(parameter, "", parameter.exclusiveMinimum) : "";
        return h(
            "tr",
            {},
            h("th", { scope: "row" }, parameter.key),
            h("td", { class: "value" }, value, " ", unit),
            h("td", { class: "range" }, range === "any number" ? "" : range),
            h("td", { class: "meaning" }, explanation(parameter.meaning)),
        );
    }

    private edit(): void {
        const set = this.set;
        if (!set) return;
        const rows = set.parameters.map((parameter) => {
            if (!parameter.editable) return this.row(parameter, valueText(parameter.value));
            const field = this.field(parameter);
            field.addEventListener("input", () => this.previewSoon());
            this.fields.set(parameter.key, field);
            return this.row(parameter, field);
        });
        this.body.replaceChildren(...rows);
        this.editButton.hidden = this.undoButton.hidden = true;
        this.applyButton.hidden = this.cancelButton.hidden = false;
        setDisabled(this.applyButton, true);
        this.say("Nothing is changed before it is put in force.");
        const first = this.fields.values().next().value;
        first?.focus();
        if (first instanceof HTMLInputElement) first.select();
    }

    private field(parameter: Parameter): HTMLInputElement | HTMLSelectElement {
        const label = `${parameter.key}${parameter.unit ? ` in ${unitText(parameter.unit)}` : ""}: ${parameter.meaning}`;
        if (typeof parameter.value === "boolean") {
            const select = h("select", { "aria-label": label });
            select.append(h("option", { value: "true" }, "yes"), h("option", { value: "false" }, "no"));
            select.value = String(parameter.value);
            return select;
        }
        const value = parameter.value === null ? "" : String(parameter.value);
        return h("input", { type: "text", inputmode: "decimal", autocomplete: "off", value, "aria-label": label });
    }

    /** What differs from what is in force, or the first thing that is wrong. */
    private changes(): { [key: string]: ParameterValue } | Error {
        const values: { [key: string]: ParameterValue } = {};
        let wrong: Error | null = null;
        for (const parameter of this.set?.parameters ?? []) {
            const field = this.fields.get(parameter.key);
            if (!field) continue;
            field.removeAttribute("aria-invalid");
            if (field.value === (parameter.value === null ? "" : String(parameter.value))) continue;
            const value = parse(parameter, field.value);
            if (value instanceof Error) {
                field.setAttribute("aria-invalid", "true");
                wrong = wrong ?? value;
            } else if (value !== parameter.value) values[parameter.key] = value;
        }
        return wrong ?? values;
    }

    private previewSoon(): void {
        window.clearTimeout(this.timer);
        setDisabled(this.applyButton, true);
        this.timer = window.setTimeout(() => void this.preview(), PREVIEW_MS);
    }

    private async preview(): Promise<boolean> {
        const round = ++this.round;
        const values = this.changes();
        if (values instanceof Error) {
            this.say(values.message, true);
            return false;
        }
        if (Object.keys(values).length === 0) {
            this.say("Nothing differs from what is in force.");
            return false;
        }
        try {
            const { records } = await post<Records>(`${this.path}/preview`, { values });
            if (round !== this.round || this.fields.size === 0) return false;
            this.say(
                "Would change: " + records.map((record) => `${record.what} ${record.old} → ${record.new}`).join(", "),
            );
            setDisabled(this.applyButton, false);
            return true;
        } catch (error) {
            if (round === this.round) this.complain(error);
            return false;
        }
    }

    /** Shows why something was refused, at the field at fault. */
    private complain(error: unknown): void {
        const field = error instanceof ApiError && error.field !== null ? error.field.replace(/^values\./, "") : "";
        this.fields.get(field)?.setAttribute("aria-invalid", "true");
        this.say((error as Error).message, true);
    }

    private async apply(): Promise<void> {
        window.clearTimeout(this.timer);
        const values = this.changes();
        if (values instanceof Error) return this.say(values.message, true);
        if (Object.keys(values).length === 0) return this.leave();
        try {
            const { records } = await put<Records>(this.path, { values });
            this.done("Changed: " + records.map((record) => `${record.what} ${record.old} → ${record.new}`).join(", "));
        } catch (error) {
            this.complain(error);
        }
    }

    private async undo(): Promise<void> {
        try {
            const { records } = await post<Records>(`${this.path}/undo`);
            this.done(
                "Put back: " + records.map((record) => `${record.what} ${record.old} → ${record.new}`).join(", "),
            );
        } catch (error) {
            this.say((error as Error).message, true);
        }
    }

    private done(text: string): void {
        this.fields.clear();
        this.round++;
        this.say(text);
        void this.load().then(() => (this.undoButton.disabled ? this.editButton : this.undoButton).focus());
    }

    private leave(): void {
        window.clearTimeout(this.timer);
        this.round++;
        this.fields.clear();
        this.say("");
        this.show();
        this.editButton.focus();
    }
}
