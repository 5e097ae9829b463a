// Short trends on a canvas: the last ten minutes of actual value and set point, or of any lines.
import { RECENT_MS, Recent } from "./recent";
import { colour } from "./theme";
import { Plate } from "./plates";

export interface Line {
    times: number[];
    values: (number | null)[];
    colour: string;
    dashes?: number[];
    /** Held from one value to the next, as set points are. */
    steps?: boolean;
    width?: number;
}

/** Prepares a canvas for its size on this screen; null while it has none. */
export function prepare(canvas: HTMLCanvasElement): CanvasRenderingContext2D | null {
    const ratio = window.devicePixelRatio || 1;
    const width = Math.round(canvas.clientWidth * ratio);
    const height = Math.round(canvas.clientHeight * ratio);
    if (width === 0 || height === 0) return null;
    if (canvas.width !== width) canvas.width = width;
    if (canvas.height !== height) canvas.height = height;
    const context = canvas.getContext("2d");
    if (!context) return null;
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, canvas.clientWidth, canvas.clientHeight);
    return context;
}

/** Draws lines between two times; the vertical axis spans their values, at least `leastSpan`. Returns that axis. */
export function drawLines(
    canvas: HTMLCanvasElement,
    lines: Line[],
    from: number,
    to: number,
    leastSpan: number,
): { low: number; high: number } | null {
    const context = prepare(canvas);
    if (!context) return null;
    let low = Infinity;
    let high = -Infinity;
    for (const line of lines) {
        for (let index = 0; index < line.values.length; index++) {
            const value = line.values[index];
            if (value === null || line.times[index] < from) continue;
            if (value < low) low = value;
            if (value > high) high = value;
        }
    }
    if (low > high) return null;
    const middle = (low + high) / 2;
    const half = Math.max((high - low) * 0.55, leastSpan / 2, 1e-9);
    low = middle - half;
    high = middle + half;
    const width = canvas.clientWidth;
    const height = canvas.clientHeight;
    const x = (time: number): number => ((time - from) / (to - from)) * width;
    const y = (value: number): number => 1 + (1 - (value - low) / (high - low)) * (height - 2);
    for (const line of lines) drawLine(context, line, from, x, y);
    return { low, high };
}

function drawLine(
    context: CanvasRenderingContext2D,
    line: Line,
    from: number,
    x: (time: number) => number,
    y: (value: number) => number,
): void {
    context.beginPath();
    context.strokeStyle = line.colour;
    context.lineWidth = line.width ?? 1.25;
    context.setLineDash(line.dashes ?? []);
    let before: number | null = null;
    for (let index = 0; index < line.values.length; index++) {
        const value = line.values[index];
        if (value === null || line.times[index] < from) {
            before = null;
            continue;
        }
        const at = x(line.times[index]);
        if (before === null) context.moveTo(at, y(value));
        else {
            if (line.steps) context.lineTo(at, y(before));
            context.lineTo(at, y(value));
        }
        before = value;
    }
    context.stroke();
}

/** The short trend of a faceplate; one tenth of its scale is the least that it stretches over. */
export function drawSpark(canvas: HTMLCanvasElement, recent: Recent, plate: Plate, now: number): void {
    const { minimum, maximum } = plate.scale;
    const least = minimum !== null && maximum !== null ? (maximum - minimum) / 10 : 0;
    const { times, actual, setPoint } = recent;
    drawLines(
        canvas,
        [
            { times, values: setPoint, colour: colour("spark-setpoint"), steps: true, width: 1 },
            { times, values: actual, colour: colour("spark-actual"), width: 1.5 },
        ],
        now - RECENT_MS,
        now,
        least,
    );
}
