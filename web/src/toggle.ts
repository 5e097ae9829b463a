// A switch with its word beside.
import { Cell, h, setDisabled } from "./dom";

export class Toggle {
    readonly element: HTMLButtonElement;
    private readonly cell: Cell;
    private on = false;

    constructor(word: string, label: string, change: (on: boolean) => void) {
        this.element = h(
            "button",
            { type: "button", class: "toggle", role: "switch", "aria-checked": "false", "aria-label": label },
            h("span", { class: "knob", "aria-hidden": "true" }),
            h("span", {}, word),
        );
        this.cell = new Cell(this.element);
        this.element.addEventListener("click", () => change(!this.on));
    }

    /** `pending` is what was commanded and is not confirmed yet. */
    set(on: boolean, pending: boolean | undefined, disabled = false): void {
        this.on = pending ?? on;
        this.cell.attribute("aria-checked", String(this.on));
        this.cell.attribute("aria-busy", pending === undefined ? null : "true");
        this.cell.className(pending === undefined ? "toggle" : "toggle pending");
        setDisabled(this.element, disabled);
    }
}
