// A number that is edited in its place: a button until it is pressed, a field with its range beside until Enter sends
// the number or Escape leaves it as it was. Nothing out of range is sent.
import { Cell, h, handOnFocus, setDisabled, unseen } from "./dom";
import { isWithin, parseNumber, plainNumber, quantity, rangeText, unitText } from "./format";
import { Range } from "./types";

let count = 0;

export class NumberEditor {
    readonly element = h("span", { class: "editor" });
    readonly button: HTMLButtonElement;
    private readonly shown = new Cell(h("span", { class: "number" }));
    private readonly state = new Cell(unseen());
    private readonly buttonCell: Cell;
    private form: HTMLFormElement | null = null;
    private value: number | null = null;
    private editable = true;

    constructor(
        private readonly label: string,
        private readonly unit: string,
        private readonly decimals: number,
        private readonly range: Range,
        private readonly submit: (value: number) => void,
    ) {
        this.button = h(
            "button",
            { type: "button", class: "quantity" },
            unseen(`${label} `),
            this.shown.element,
            this.state.element,
        );
        this.buttonCell = new Cell(this.button);
        this.button.addEventListener("click", () => this.open());
        this.element.append(this.button);
    }

    /** Shows a value; `pending` is one that was commanded and is not confirmed yet. Plain text if not `editable`. */
    set(value: number | null, pending: number | undefined, editable: boolean): void {
        this.value = value;
        this.shown.set(quantity(pending ?? value, this.decimals, this.unit));
        this.buttonCell.className(pending !== undefined ? "quantity pending" : "quantity");
        this.buttonCell.attribute("aria-busy", pending !== undefined ? "true" : null);
        this.state.set(pending !== undefined ? ", pending" : editable ? ", edit" : "");
        if (editable === this.editable) return;
        this.editable = editable;
        if (!editable) this.close(false);
        setDisabled(this.button, !editable);
    }

    get isEditable(): boolean {
        return this.editable;
    }

    open(): void {
        if (!this.editable || this.form) return;
        const id = `hint-${++count}`;
        const before = this.value === null ? "" : this.value.toFixed(this.decimals);
        const field = h("input", {
            type: "text",
            inputmode: "decimal",
            autocomplete: "off",
            spellcheck: "false",
            value: before,
            "aria-label": `${this.label}${this.unit ? ` in ${unitText(this.unit)}` : ""}`,
            "aria-describedby": id,
        });
        const hint = h("span", { class: "hint", id, role: "alert" }, rangeText(this.range, this.unit));
        const form = h("form", { class: "field", novalidate: true }, field, hint);
        const complain = (text: string): void => {
            field.setAttribute("aria-invalid", "true");
            hint.classList.add("wrong");
            hint.textContent = text;
        };
        form.addEventListener("submit", (event) => {
            event.preventDefault();
            const value = parseNumber(field.value);
            if (value === null) return complain("a number is expected");
            if (!isWithin(value, this.range)) {
                return complain(`${plainNumber(value)} is out of range; expected ${rangeText(this.range, this.unit)}`);
            }
            this.close(true);
            this.submit(value);
        });
        field.addEventListener("keydown", (event) => {
            if (event.key !== "Escape") return;
            event.stopPropagation();
            this.close(true);
        });
        field.addEventListener("blur", () => {
            // what was typed is not lost by looking elsewhere
            if (field.value === before) this.close(false);
        });
        this.form = form;
        this.button.hidden = true;
        this.element.append(form);
        field.focus({ preventScroll: false });
        field.select();
    }

    private close(focus: boolean): void {
        const form = this.form;
        if (!form) return;
        this.form = null;
        this.button.hidden = false;
        if (focus) this.button.focus();
        else handOnFocus(form);
        form.remove();
    }
}
