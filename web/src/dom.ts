// Making and changing elements. Nothing here sets a style attribute: the page's security policy refuses it.

type Attributes = { [name: string]: string | number | boolean | undefined };

function fill<E extends Element>(element: E, attributes: Attributes, children: (Node | string)[]): E {
    for (const [name, value] of Object.entries(attributes)) {
        if (value === undefined || value === false) continue;
        element.setAttribute(name, value === true ? "" : String(value));
    }
    element.append(...children);
    return element;
}

/** An element with its attributes (false and undefined leave one out) and children. */
export function h<K extends keyof HTMLElementTagNameMap>(
    tag: K,
    attributes: Attributes = {},
    ...children: (Node | string)[]
): HTMLElementTagNameMap[K] {
    return fill(document.createElement(tag), attributes, children);
}

/** The same for elements of a drawing. */
export function svg<K extends keyof SVGElementTagNameMap>(
    tag: K,
    attributes: Attributes = {},
    ...children: (Node | string)[]
): SVGElementTagNameMap[K] {
    return fill(document.createElementNS("http://www.w3.org/2000/svg", tag), attributes, children);
}

/** Text that only a screen reader says. */
export function unseen(text = ""): HTMLSpanElement {
    return h("span", { class: "unseen" }, text);
}

/** One place of the page that changes: writes only what differs from what was written last. */
export class Cell {
    private text: string | null = null;
    private name: string | null = null;
    private readonly attributes = new Map<string, string | null>();

    constructor(readonly element: Element) {}

    set(text: string): void {
        if (text === this.text) return;
        this.text = text;
        this.element.textContent = text;
    }

    className(name: string): void {
        if (name === this.name) return;
        this.name = name;
        this.element.setAttribute("class", name);
    }

    /** Sets an attribute, or removes it for null. */
    attribute(name: string, value: string | null): void {
        if (this.attributes.get(name) === value) return;
        this.attributes.set(name, value);
        if (value === null) this.element.removeAttribute(name);
        else this.element.setAttribute(name, value);
    }

    /** Shifts the element by a share of its own width, which needs no layout. */
    shift(percent: number): void {
        this.transform(`translateX(${percent.toFixed(2)}%)`);
    }

    /** Shrinks the element to a share, 0 to 1, of its width. */
    stretch(share: number): void {
        this.transform(`scaleX(${share.toFixed(4)})`);
    }

    private transform(value: string): void {
        if (this.attributes.get("transform of style") === value) return;
        this.attributes.set("transform of style", value);
        (this.element as HTMLElement).style.transform = value;
    }
}

const waiting = new Set<() => void>();
let requested = false;

/** Runs `task` once before the next frame; all that change the page do it here, together. */
export function nextFrame(task: () => void): void {
    waiting.add(task);
    if (requested) return;
    requested = true;
    requestAnimationFrame(() => {
        requested = false;
        const tasks = [...waiting];
        waiting.clear();
        for (const run of tasks) run();
    });
}

/** True while the keys belong to a field that is being typed into. */
export function isTyping(target: EventTarget | null): boolean {
    return target instanceof HTMLElement && (target.matches("input, select, textarea") || target.isContentEditable);
}

/** Enables or disables a button. The focus of one that is disabled goes to what it is part of: lost to the page, it
    would leave the keyboard without effect. */
export function setDisabled(button: HTMLButtonElement, disabled: boolean): void {
    if (button.disabled === disabled) return;
    if (disabled) handOnFocus(button);
    button.disabled = disabled;
}

/** Before an element goes away or is disabled: a focus within it goes to the nearest around it that takes one. */
export function handOnFocus(element: HTMLElement): void {
    if (!element.contains(document.activeElement)) return;
    const around = element.parentElement?.closest<HTMLElement>("[tabindex], main");
    around?.focus({ preventScroll: true });
}
