// The shapes of the interface over HTTP, as docs/http.md describes them.

export interface Range {
    minimum: number | null;
    maximum: number | null;
}

export type HealthKind = "ok" | "off" | "waiting" | "badInput" | "fault";
export type Saturation = "free" | "minimum" | "maximum";

export interface Health {
    kind: HealthKind;
    text: string;
}

export interface LoopState {
    setPoint: number | null;
    actualValue: number | null;
    controlValue: number | null;
    enabled: boolean;
    manual: boolean;
    p: number | null;
    i: number | null;
    d: number | null;
    saturation: Saturation;
    steps: number;
    sinceStep_ms: number | null;
    meanPeriodError_ms: number | null;
    worstPeriodError_ms: number | null;
    overruns: number;
}

export interface ChannelState {
    setPoint: number | null;
    actualValue: number | null;
    controlValue: number | null;
    enabled: boolean;
    manual: boolean;
    mode: "off" | "manual" | "auto";
    health: Health;
    loops: LoopState[];
}

export interface LoopDescription {
    index: number;
    type: string;
    name: string;
    sampleTime_ms: number | null;
    input: string | null;
    inputUnit: string;
    controlRange: Range;
}

export interface GraphNode {
    id: string;
    kind: "input" | "loop" | "output";
    name: string;
    unit?: string;
    loop?: number;
}

export interface GraphArrow {
    from: string;
    to: string;
    value: "setPoint" | "actualValue" | "controlValue";
    loop: number;
}

export interface Graph {
    nodes: GraphNode[];
    arrows: GraphArrow[];
}

export interface ChannelDescription {
    name: string;
    description: string;
    group: string;
    unit: string;
    setPointRange: Range;
    controlRange: Range;
    scale: Range;
    loops: LoopDescription[];
    outputs: { name: string; unit: string }[];
    graph?: Graph;
    state: ChannelState;
}

export interface ChannelList {
    title: string;
    virtual: boolean;
    time: string;
    interval_ms: number;
    channels: ChannelDescription[];
}

/** Record of one command; `refusal` is the reason why it was refused, or null. */
export interface CommandRecord {
    time: string;
    source: string;
    channel: string;
    what: string;
    old: string;
    new: string;
    refusal: string | null;
}

export interface Records {
    records: CommandRecord[];
}

export type ParameterValue = number | string | boolean | null;

export interface Parameter {
    key: string;
    value: ParameterValue;
    unit: string;
    minimum: number | null;
    maximum: number | null;
    exclusiveMinimum: boolean;
    editable: boolean;
    meaning: string;
}

export interface ParameterSet {
    name: string;
    protected: boolean;
    undo: number;
    parameters: Parameter[];
}

export interface DeviceChannel {
    name: string;
    fault: string;
    age_ms: number | null;
    value: number | null;
    unit: string;
}

export interface DeviceFault {
    id: string;
    kind: string;
    signal: string;
    active: boolean;
}

export interface Device {
    name: string;
    type: string;
    connected: boolean;
    channels: DeviceChannel[];
    faults: DeviceFault[];
}

export interface TrendTable {
    columns: string[];
    rows: (number | null)[][];
}

export interface HistoryEvent {
    time: string;
    kind: string;
    text: string;
}

export interface HistoryTable extends TrendTable {
    channel: string;
    resolution_ms: number;
    source: string;
    events: HistoryEvent[];
}

/** A part of a state: what changed since the last event. Arrays are whole. */
export type Changes = { [member: string]: unknown };

export interface StateEvent {
    time: string;
    states: { [channel: string]: Changes };
}
