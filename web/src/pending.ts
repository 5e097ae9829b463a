// Commands that were sent and that the stream of events has not confirmed yet.

export type Item = "setPoint" | "controlValue" | "manual" | "enabled";

interface Entry {
    value: number | boolean;
    /** When the server's reply came, in ms of the browser's monotonic clock; null before. */
    accepted: number | null;
}

/** How long after the reply a different value in the stream is still expected to become the commanded one. */
const CONFIRM_MS = 3000;

const sameValue = (one: unknown, other: number | boolean): boolean =>
    typeof one === "number" && typeof other === "number"
        ? Math.abs(one - other) <= 1e-6 * Math.max(1, Math.abs(other))
        : one === other;

export class Pending {
    private readonly entries = new Map<string, Entry>();

    private static key(channel: string, item: Item): string {
        return `${item}/${channel}`;
    }

    begin(channel: string, item: Item, value: number | boolean): void {
        this.entries.set(Pending.key(channel, item), { value, accepted: null });
    }

    /** The value that was commanded, undefined if nothing is pending. */
    valueOf(channel: string, item: Item): number | boolean | undefined {
        return this.entries.get(Pending.key(channel, item))?.value;
    }

    accept(channel: string, item: Item): void {
        const entry = this.entries.get(Pending.key(channel, item));
        if (entry) entry.accepted = performance.now();
    }

    drop(channel: string, item: Item): void {
        this.entries.delete(Pending.key(channel, item));
    }

    /** Compares with what the server reports. Returns the items that it does not report as they were commanded. */
    confirm(channel: string, reported: { [item in Item]: unknown }): Item[] {
        const different: Item[] = [];
        if (this.entries.size === 0) return different;
        for (const item of Object.keys(reported) as Item[]) {
            const key = Pending.key(channel, item);
            const entry = this.entries.get(key);
            if (!entry) continue;
            if (sameValue(reported[item], entry.value)) this.entries.delete(key);
            else if (entry.accepted !== null && performance.now() - entry.accepted > CONFIRM_MS) {
                this.entries.delete(key);
                different.push(item);
            }
        }
        return different;
    }

    clear(): void {
        this.entries.clear();
    }
}
