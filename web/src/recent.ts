// The last ten minutes of every faceplate, for its short trend: one point per few seconds, the newest one growing.
import { TrendTable } from "./types";

export const RECENT_MS = 600000;
const POINTS = 150;
export const POINT_MS = RECENT_MS / POINTS;

export class Recent {
    readonly times: number[] = [];
    readonly actual: (number | null)[] = [];
    readonly setPoint: (number | null)[] = [];

    /** Takes the values of `time`, in ms since 1970; the last one within a point's time stands for it. */
    add(time: number, actual: number | null, setPoint: number | null): void {
        const last = this.times.length - 1;
        if (last >= 0 && time < this.times[last]) this.clear(); // the clock was set back, or the run began anew
        const slot = Math.floor(time / POINT_MS);
        if (last >= 0 && Math.floor(this.times[last] / POINT_MS) === slot) {
            this.times[last] = time;
            this.actual[last] = actual;
            this.setPoint[last] = setPoint;
            return;
        }
        this.times.push(time);
        this.actual.push(actual);
        this.setPoint.push(setPoint);
        while (this.times.length > POINTS + 1) {
            this.times.shift();
            this.actual.shift();
            this.setPoint.shift();
        }
    }

    /** Puts what the server remembers before what has been seen here. */
    prepend(table: TrendTable): void {
        const column = (name: string): number => table.columns.indexOf(name);
        const [time, actual, setPoint] = [column("time_ms"), column("actualValue"), column("setPoint")];
        if (time < 0 || actual < 0 || setPoint < 0) return;
        const seen = this.times.map((at, index) => [at, this.actual[index], this.setPoint[index]] as const);
        const first = seen.length > 0 ? seen[0][0] : Infinity;
        this.clear();
        for (const row of table.rows) {
            const at = row[time];
            if (at !== null && at < first) this.add(at, row[actual], row[setPoint]);
        }
        for (const [at, value, point] of seen) this.add(at, value, point);
    }

    private clear(): void {
        this.times.length = this.actual.length = this.setPoint.length = 0;
    }
}
