// Values of a channel over a long time: coarse ones over all of it, finer ones over the part that is looked at, and
// those that arrive meanwhile.
import { get, query } from "./api";
import { Row } from "./dygraphs";
import { HistoryEvent, HistoryTable } from "./types";

type Band = [number, number, number] | [null, null, null];

/** Minimum, mean and maximum within one row's time. */
function band(minimum: number | null, mean: number | null, maximum: number | null): Band {
    if (mean === null) return [null, null, null];
    return [minimum ?? mean, mean, maximum ?? mean];
}

/** Rows of a reply in the form in which they are drawn: time, set point, actual value, control value. */
export function rowsOf(table: HistoryTable): Row[] {
    const column = (name: string): number => table.columns.indexOf(name);
    const at = (name: string, single: string): [number, number, number] => {
        const mean = column(`${name}Mean`) >= 0 ? column(`${name}Mean`) : column(single);
        const minimum = column(`${name}Minimum`) >= 0 ? column(`${name}Minimum`) : mean;
        const maximum = column(`${name}Maximum`) >= 0 ? column(`${name}Maximum`) : mean;
        return [minimum, mean, maximum];
    };
    const time = column("time_ms");
    const setPoint = column("setPoint");
    const actual = at("actual", "actualValue");
    const control = at("control", "controlValue");
    const bands = [[setPoint, setPoint, setPoint], actual, control];
    const rows: Row[] = [];
    for (const row of table.rows) {
        const when = row[time];
        if (when === null || when === undefined) continue;
        const values = bands.map(([low, mean, high]) => band(row[low] ?? null, row[mean] ?? null, row[high] ?? null));
        rows.push([new Date(when), ...values]);
    }
    return rows;
}

export class TrendData {
    private base: Row[] = [];
    private fine: Row[] = [];
    private fineFrom = 0;
    private fineTo = 0;
    private step = 0;
    /** Whether the values are from a history's file, of which there can be a report. */
    isKept = false;

    constructor(private readonly channel: string) {}

    /** Fetches all of `span` ms before `now`. Returns what the history holds of commands and faults. */
    async load(now: number, span: number, points: number): Promise<HistoryEvent[]> {
        const table = await this.fetch(now - span, now, points);
        this.base = rowsOf(table);
        this.fine = [];
        this.isKept = table.source === "history";
        this.step = span / points;
        return table.events ?? [];
    }

    /** Fetches the part that is looked at in finer steps. */
    async refine(from: number, to: number, points: number): Promise<void> {
        const table = await this.fetch(from, to, points);
        this.fine = rowsOf(table);
        this.fineFrom = from;
        this.fineTo = to;
    }

    coarsen(): void {
        this.fine = [];
    }

    private fetch(from: number, to: number, points: number): Promise<HistoryTable> {
        const iso = (time: number): string => new Date(time).toISOString();
        const members = { channel: this.channel, from: iso(from), to: iso(to), points: Math.round(points) };
        return get<HistoryTable>("/api/history" + query(members));
    }

    /** Adds values as they arrive, one row per step of the whole, and forgets what is older than `from`. */
    append(time: number, values: (number | null)[], from: number): void {
        const last = this.base[this.base.length - 1];
        if (last && time <= last[0].getTime()) return;
        const row: Row = [new Date(time), ...values.map((value) => band(value, value, value))];
        const before = this.base[this.base.length - 2];
        // the last row moves on with the present until a step's time has passed
        if (last && before && time - before[0].getTime() < this.step) this.base[this.base.length - 1] = row;
        else this.base.push(row);
        while (this.base.length > 2 && this.base[1][0].getTime() < from) this.base.shift();
    }

    /** Time of the first row, null if there is none. */
    first(): number | null {
        return this.base.length > 0 ? this.base[0][0].getTime() : null;
    }

    rows(): Row[] {
        if (this.fine.length === 0) return this.base;
        const before = this.base.filter(([time]) => time.getTime() < this.fineFrom);
        const after = this.base.filter(([time]) => time.getTime() > this.fineTo);
        return [...before, ...this.fine, ...after];
    }
}
