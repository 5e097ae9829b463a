// Keys that hold everywhere; the view that is shown has the others.
import { showKeys } from "./dialog";
import { isTyping } from "./dom";
import { nextTheme } from "./theme";
import { View } from "./view";

export function handleKeys(view: () => View | null): void {
    document.addEventListener("keydown", (event) => {
        if (event.ctrlKey || event.altKey || event.metaKey || event.defaultPrevented) return;
        if (isTyping(event.target) || document.querySelector("dialog[open]")) return;
        if (view()?.key(event) || common(event.key)) event.preventDefault();
    });
}

function common(key: string): boolean {
    switch (key) {
        case "?":
            showKeys();
            return true;
        case "o":
        case "O":
            location.hash = "#/";
            return true;
        case "d":
        case "D":
            location.hash = "#/devices";
            return true;
        case "t":
        case "T":
            nextTheme();
            return true;
        default:
            return false;
    }
}
