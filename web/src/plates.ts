// Faceplates: what is shown as one controller. A channel has one, and each inner loop of its cascade one more, whose
// set point is the control value of the loop before it.
import { decimalsOf } from "./format";
import { ChannelDescription, ChannelState, Health, Range, Saturation } from "./types";

export type Mode = "OFF" | "MANUAL" | "AUTO" | "CASCADE";

/** What of a faceplate does not change while the server runs. */
export interface Plate {
    /** Unique among all faceplates. */
    key: string;
    channel: string;
    /** 0 stands for the channel itself. */
    loop: number;
    title: string;
    description: string;
    /** Name of what gives the set point; null if a person does. */
    follows: string | null;
    group: string;
    unit: string;
    /** What the bars of actual value and set point stretch over; null ends are found from the values. */
    scale: Range;
    /** The permitted set points. */
    setPointRange: Range;
    controlRange: Range;
    controlUnit: string;
    /** What the control value is: of the outer loop of a cascade a set point, else an output. */
    decimals: number;
    controlDecimals: number;
    sampleTime_ms: number | null;
}

/** What a faceplate shows at one moment. */
export interface Reading {
    actualValue: number | null;
    setPoint: number | null;
    controlValue: number | null;
    enabled: boolean;
    manual: boolean;
    mode: Mode;
    health: Health;
    saturation: Saturation;
    /** Age of the values in ms if they are too old to be relied on, else null. */
    age: number | null;
}

/** Values are old once this many intervals have passed without a step. */
const STALE_INTERVALS = 3;

/** The faceplates of one channel, the channel's own first. */
export function platesOf(channel: ChannelDescription): Plate[] {
    const plates: Plate[] = [];
    const count = Math.max(1, channel.loops.length);
    for (let index = 0; index < count; index++) {
        const loop = channel.loops[index];
        const before = channel.loops[index - 1];
        const after = channel.loops[index + 1];
        const setPointRange = before ? before.controlRange : channel.setPointRange;
        const controlRange = index === 0 ? channel.controlRange : loop.controlRange;
        const scale = before ? before.controlRange : channel.scale;
        plates.push({
            key: index === 0 ? channel.name : `${channel.name}/${index}`,
            channel: channel.name,
            loop: index,
            title: index === 0 ? channel.name : loop.name || `${channel.name} ${index + 1}`,
            description: index === 0 ? channel.description : (loop.input ?? ""),
            follows: index === 0 ? null : index === 1 ? channel.name : before.name,
            group: channel.group,
            unit: index === 0 ? channel.unit : loop.inputUnit,
            scale,
            setPointRange,
            controlRange,
            controlUnit: after ? after.inputUnit : (channel.outputs[0]?.unit ?? ""),
            decimals: decimalsOf(scale),
            controlDecimals: decimalsOf(controlRange),
            sampleTime_ms: loop ? loop.sampleTime_ms : null,
        });
    }
    return plates;
}

function modeOf(enabled: boolean, manual: boolean, follows: boolean): Mode {
    if (!enabled) return "OFF";
    if (manual) return "MANUAL";
    return follows ? "CASCADE" : "AUTO";
}

/** What `plate` shows of its channel's state; `interval` is the server's own in ms. */
export function readingOf(plate: Plate, state: ChannelState, interval: number): Reading {
    const loop = state.loops[plate.loop];
    const values = plate.loop === 0 || !loop ? state : loop;
    const enabled = state.enabled && values.enabled;
    let age: number | null = null;
    if (enabled && loop && loop.steps > 0 && loop.sinceStep_ms !== null) {
        const limit = STALE_INTERVALS * Math.max(plate.sampleTime_ms ?? 0, interval);
        if (loop.sinceStep_ms > limit) age = loop.sinceStep_ms;
    }
    return {
        actualValue: values.actualValue,
        setPoint: values.setPoint,
        controlValue: values.controlValue,
        enabled,
        manual: values.manual,
        mode: modeOf(enabled, values.manual, plate.follows !== null),
        health: state.health,
        saturation: loop ? loop.saturation : "free",
        age,
    };
}

/** True for what needs a person's eye: neither steady nor switched off on purpose. */
export function isNotNormal(reading: Reading): boolean {
    return (reading.health.kind !== "ok" && reading.health.kind !== "off") || reading.age !== null;
}

/** What a state of health says, with its kind in front where the text does not name it. */
export function healthText(health: Health): string {
    const words = healthWords[health.kind] ?? health.kind;
    if (!health.text || health.text === health.kind) return words;
    return health.kind === "fault" && !/fault/i.test(health.text) ? `${words}: ${health.text}` : health.text;
}

/** Words for a state of health, in the singular that counts are made of. */
export const healthWords: { [kind: string]: string } = {
    ok: "normal",
    off: "off",
    waiting: "waiting",
    badInput: "bad input",
    fault: "fault",
    stale: "with old values",
};
