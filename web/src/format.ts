// Numbers, units and times as texts. A number keeps its decimals whatever its value, so that nothing moves on the page.
import { Range } from "./types";

const THIN_SPACE = "\u2009";
/** What stands for a number that does not exist. */
export const NOTHING = "\u2013";
const SIGNIFICANT = 5;

const unitTexts: { [unit: string]: string } = { degC: "°C", degF: "°F", degK: "K", Ohm: "Ω", ohm: "Ω", "": "" };

/** A unit as it is printed: "degC" is "°C". */
export function unitText(unit: string): string {
    return unitTexts[unit] ?? unit.replace(/^u(?=[a-zA-Z])/, "µ");
}

/**
 * Number of decimals for values within `range`: the span is divided into at least 10^steps parts, with at most five
 * significant digits. Without a range, two.
 */
export function decimalsOf(range: Range, steps = 3): number {
    const { minimum, maximum } = range;
    if (minimum === null || maximum === null || !(maximum > minimum)) return 2;
    const wanted = Math.ceil(steps - Math.log10(maximum - minimum) - 1e-9);
    const largest = Math.max(Math.abs(minimum), Math.abs(maximum));
    const whole = Math.max(1, Math.floor(Math.log10(largest) + 1e-9) + 1);
    return Math.max(0, Math.min(wanted, SIGNIFICANT - whole));
}

/** A number with fixed decimals, "–" for none. Numbers beyond all sense of the range are written with an exponent. */
export function numberText(value: number | null | undefined, decimals: number): string {
    if (value === null || value === undefined || !isFinite(value)) return NOTHING;
    const text = Math.abs(value) >= 1e9 ? value.toExponential(3) : value.toFixed(decimals);
    // "-0.00" is 0, and the minus sign is as wide as a digit
    return text.replace(/^-(?=[0.]*$)/, "").replace("-", "\u2212");
}

/** Number and unit with a thin space between them; the unit is there even if the number is not. */
export function quantity(value: number | null | undefined, decimals: number, unit: string): string {
    const printed = unitText(unit);
    return numberText(value, decimals) + (printed ? THIN_SPACE + printed : "");
}

/** A number without trailing zeros, at most seven significant digits: for parameters, which have no fixed decimals. */
export function plainNumber(value: number): string {
    const text = String(Number(value.toPrecision(7)));
    return text.replace(/^-/, "\u2212");
}

/** "20 to 60", "at least 20", "at most 60", or "any number". */
export function rangeText(range: Range, unit = "", exclusiveMinimum = false): string {
    const { minimum, maximum } = range;
    const suffix = unitText(unit) ? THIN_SPACE + unitText(unit) : "";
    const least = minimum === null ? "" : plainNumber(minimum);
    const most = maximum === null ? "" : plainNumber(maximum);
    if (least && most) return (exclusiveMinimum ? "above " : "") + `${least} to ${most}${suffix}`;
    if (least) return (exclusiveMinimum ? "above " : "at least ") + least + suffix;
    if (most) return `at most ${most}${suffix}`;
    return "any number";
}

export function isWithin(value: number, range: Range, exclusiveMinimum = false): boolean {
    if (range.minimum !== null && (exclusiveMinimum ? value <= range.minimum : value < range.minimum)) return false;
    return range.maximum === null || value <= range.maximum;
}

/** The number that a person typed, with a decimal point or comma; null if it is none. */
export function parseNumber(text: string): number | null {
    const plain = text.trim().replace("\u2212", "-").replace(",", ".");
    if (!/^[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?$/.test(plain)) return null;
    const value = Number(plain);
    return isFinite(value) ? value : null;
}

/** A length of time in the unit that suits it: "350 ms", "2.4 s", "3 min", "2 h". */
export function durationText(milliseconds: number): string {
    if (milliseconds < 1000) return `${Math.round(milliseconds)}${THIN_SPACE}ms`;
    const seconds = milliseconds / 1000;
    if (seconds < 10) return `${seconds.toFixed(1)}${THIN_SPACE}s`;
    if (seconds < 120) return `${Math.round(seconds)}${THIN_SPACE}s`;
    if (seconds < 7200) return `${Math.round(seconds / 60)}${THIN_SPACE}min`;
    return `${Math.round(seconds / 3600)}${THIN_SPACE}h`;
}

const two = (value: number): string => String(value).padStart(2, "0");

/** Time of day on the reader's clock, "14:02:31". */
export function clockText(milliseconds: number): string {
    const time = new Date(milliseconds);
    return `${two(time.getHours())}:${two(time.getMinutes())}:${two(time.getSeconds())}`;
}

/** Time of day, with the date in front if it is not the date of `now`. */
export function momentText(milliseconds: number, now: number): string {
    const time = new Date(milliseconds);
    const clock = clockText(milliseconds);
    if (time.toDateString() === new Date(now).toDateString()) return clock;
    return `${time.getFullYear()}-${two(time.getMonth() + 1)}-${two(time.getDate())} ${clock}`;
}
