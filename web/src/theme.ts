// Light, dark, or as the system is set; kept in this browser.

const KEY = "theme";
const THEMES = ["system", "light", "dark"] as const;
export type Theme = (typeof THEMES)[number];

const listeners = new Set<() => void>();
const systemDark = window.matchMedia("(prefers-color-scheme: dark)");

function stored(): Theme {
    try {
        const value = localStorage.getItem(KEY);
        return THEMES.find((theme) => theme === value) ?? "system";
    } catch {
        return "system"; // storage may be switched off
    }
}

let current = stored();
let colours = new Map<string, string>();

function apply(): void {
    const dark = current === "dark" || (current === "system" && systemDark.matches);
    document.documentElement.dataset.theme = dark ? "dark" : "light";
    colours = new Map();
    for (const listener of listeners) listener();
}

systemDark.addEventListener("change", apply);
apply();

export function theme(): Theme {
    return current;
}

/** Goes on to the next of system, light, dark. */
export function nextTheme(): void {
    current = THEMES[(THEMES.indexOf(current) + 1) % THEMES.length];
    try {
        localStorage.setItem(KEY, current);
    } catch {
        // it holds until the page is closed then
    }
    apply();
}

export function onThemeChange(listener: () => void): () => void {
    listeners.add(listener);
    return () => listeners.delete(listener);
}

/** A colour of the style sheet by its name, for drawing on a canvas. */
export function colour(name: string): string {
    let value = colours.get(name);
    if (value === undefined) {
        value = getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
        colours.set(name, value);
    }
    return value;
}
