// The library for long trends, fetched when the first one is shown, and the part of its interface that is used here.

export type Row = [Date, ...([number, number, number] | [null, null, null])[]];

export interface Area {
    x: number;
    y: number;
    w: number;
    h: number;
}

export interface Dygraph {
    xAxisRange(): [number, number];
    yAxisRange(axis: number): [number, number];
    toDomXCoord(x: number): number;
    updateOptions(options: object, blockRedraw?: boolean): void;
    resize(): void;
    destroy(): void;
}

export interface DygraphClass {
    new (element: HTMLElement, data: Row[], options: object): Dygraph;
    defaultInteractionModel: object;
    PLUGINS: unknown[];
    Plugins: { Legend: unknown };
}

declare global {
    interface Window {
        Dygraph?: DygraphClass;
    }
}

let loading: Promise<DygraphClass> | null = null;

export function loadDygraphs(): Promise<DygraphClass> {
    loading ??= new Promise((resolve, reject) => {
        const style = document.createElement("link");
        style.rel = "stylesheet";
        style.href = "dygraph.css";
        const script = document.createElement("script");
        script.src = "dygraph.js";
        script.addEventListener("load", () => {
            const dygraphs = window.Dygraph;
            if (!dygraphs) return reject(new Error("the trends' library did not load"));
            // its legend sets a style attribute, which the page's security policy refuses; the page has its own
            dygraphs.PLUGINS = dygraphs.PLUGINS.filter((plugin) => plugin !== dygraphs.Plugins.Legend);
            resolve(dygraphs);
        });
        script.addEventListener("error", () => {
            loading = null;
            reject(new Error("the trends' library could not be fetched"));
        });
        document.head.append(style, script);
    });
    return loading;
}
