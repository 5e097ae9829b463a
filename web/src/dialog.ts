// Questions and the list of keys, as dialogs: Escape closes one, and the focus returns to where it was.
import { h } from "./dom";

/** Shows a dialog until it is closed; resolves with the value of the button that closed it, "" for Escape. */
export function showDialog(
    title: string,
    content: Node[],
    buttons: { value: string; label: string }[],
): Promise<string> {
    const before = document.activeElement;
    const row = h("div", { class: "buttons" });
    const dialog = h("dialog", { "aria-label": title }, h("h2", {}, title), ...content, row);
    for (const { value, label } of buttons) {
        const button = h("button", { type: "button", class: "action", value }, label);
        button.addEventListener("click", () => dialog.close(value));
        row.append(button);
    }
    document.body.append(dialog);
    return new Promise((resolve) => {
        dialog.addEventListener("close", () => {
            dialog.remove();
            if (before instanceof HTMLElement) before.focus();
            resolve(dialog.returnValue);
        });
        dialog.showModal();
        row.querySelector<HTMLElement>("button:last-child")?.focus();
    });
}

/** Asks before something is done that a fault speaks against. */
export async function confirmDespite(title: string, what: string, action: string): Promise<boolean> {
    const answer = await showDialog(
        title,
        [h("p", {}, what)],
        [
            { value: "yes", label: action },
            { value: "", label: "Leave it off" },
        ],
    );
    return answer === "yes";
}

const keys: [string, string][] = [
    ["← → ↑ ↓", "from one controller to the next"],
    ["Home, End", "first, last controller"],
    ["Enter", "open the controller in focus"],
    ["E", "edit the set point; in manual mode the output"],
    ["M", "manual or automatic"],
    ["N", "next controller that is not normal"],
    ["/", "filter by name"],
    ["Escape", "leave a field; from a controller back to the overview"],
    ["O, D", "overview, devices"],
    ["T", "light, dark or as the system"],
    ["?", "this list"],
];

export function showKeys(): void {
    const list = h("dl", { class: "keys" });
    for (const [key, meaning] of keys) list.append(h("dt", {}, h("kbd", {}, key)), h("dd", {}, meaning));
    void showDialog("Keys", [list], [{ value: "", label: "Close" }]);
}
