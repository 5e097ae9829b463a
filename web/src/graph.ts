// The loop graph as a drawing: inputs, loops and outputs as boxes, live values on the arrows between them.
import { Cell, h, svg } from "./dom";
import { decimalsOf, quantity } from "./format";
import { ChannelDescription, ChannelState, Graph, GraphArrow, GraphNode } from "./types";

const BOX_WIDTH = 168;
const BOX_HEIGHT = 44;
const GAP_X = 104;
const GAP_Y = 28;
const LETTERS = 20;

interface Place {
    node: GraphNode;
    column: number;
    row: number;
    x: number;
    y: number;
}

/** Columns by the longest way from a source; an input stands just before the loop that it feeds. */
export function placeNodes(graph: Graph): Map<string, Place> {
    const columns = new Map<string, number>();
    for (const node of graph.nodes) columns.set(node.id, 0);
    // as many rounds as there are nodes settle any graph without cycles
    for (let round = 0; round < graph.nodes.length; round++) {
        for (const { from, to } of graph.arrows) {
            columns.set(to, Math.max(columns.get(to) ?? 0, (columns.get(from) ?? 0) + 1));
        }
    }
    for (const node of graph.nodes) {
        if (graph.arrows.some((arrow) => arrow.to === node.id)) continue;
        const fed = graph.arrows.filter((arrow) => arrow.from === node.id).map((arrow) => columns.get(arrow.to) ?? 1);
        if (fed.length > 0) columns.set(node.id, Math.min(...fed) - 1);
    }
    const used = new Map<number, number>();
    const places = new Map<string, Place>();
    // what continues the cascade first, so that it stands in one line
    const order = [...graph.nodes].sort((one, other) => rank(graph, one) - rank(graph, other));
    for (const node of order) {
        const column = columns.get(node.id) ?? 0;
        const row = used.get(column) ?? 0;
        used.set(column, row + 1);
        places.set(node.id, {
            node,
            column,
            row,
            x: 1 + column * (BOX_WIDTH + GAP_X),
            y: 1 + row * (BOX_HEIGHT + GAP_Y),
        });
    }
    return places;
}

function rank(graph: Graph, node: GraphNode): number {
    if (node.kind !== "input") return 0;
    return graph.arrows.some((arrow) => arrow.from === node.id && arrow.loop === 0) ? 0 : 1;
}

const shorten = (text: string): string => (text.length > LETTERS ? text.slice(0, LETTERS - 1) + "…" : text);

export class LoopGraphView {
    readonly element = h("div", { class: "graph" });
    private readonly labels: { cell: Cell; arrow: GraphArrow; decimals: number; unit: string }[] = [];

    constructor(private readonly channel: ChannelDescription) {
        if (channel.graph) this.build(channel.graph);
    }

    private build(graph: Graph): void {
        const places = placeNodes(graph);
        const all = [...places.values()];
        const width = Math.max(...all.map((place) => place.x)) + BOX_WIDTH + 1;
        const height = Math.max(...all.map((place) => place.y)) + BOX_HEIGHT + 1;
        const chain = all.filter(({ node }) => node.kind !== "input").map(({ node }) => node.name);
        const drawing = svg("svg", {
            viewBox: `0 0 ${width} ${height}`,
            width,
            height,
            role: "img",
            "aria-label": `Loop graph: ${[all[0].node.name, ...chain].join(", then ")}`,
        });
        const head = svg("path", { d: "M0 0L8 4L0 8z", class: "arrow-head" });
        const marker = svg(
            "marker",
            { id: "arrow", viewBox: "0 0 8 8", refX: 8, refY: 4, markerWidth: 8, markerHeight: 8, orient: "auto" },
            head,
        );
        drawing.append(svg("defs", {}, marker));
        for (const arrow of graph.arrows) this.buildArrow(drawing, arrow, places);
        for (const place of all) drawing.append(this.buildBox(place));
        this.element.append(drawing);
    }

    private buildBox({ node, x, y }: Place): SVGElement {
        const loop = node.loop === undefined ? undefined : this.channel.loops[node.loop];
        const second = loop ? loop.type.replace(/^.*::C?/, "").replace(/ControlLoop$|Loop$/, "") : node.kind;
        const middle = x + BOX_WIDTH / 2;
        return svg(
            "g",
            { class: `node ${node.kind}` },
            svg("title", {}, node.name),
            svg("rect", { x, y, width: BOX_WIDTH, height: BOX_HEIGHT, rx: node.kind === "loop" ? 2 : BOX_HEIGHT / 2 }),
            svg("text", { x: middle, y: y + 19, class: "node-name" }, shorten(node.name)),
            svg("text", { x: middle, y: y + 34, class: "node-kind" }, second),
        );
    }

    private buildArrow(drawing: SVGElement, arrow: GraphArrow, places: Map<string, Place>): void {
        const from = places.get(arrow.from);
        const to = places.get(arrow.to);
        if (!from || !to) return;
        const [x1, y1] = [from.x + BOX_WIDTH, from.y + BOX_HEIGHT / 2];
        const [x2, y2] = [to.x, to.y + BOX_HEIGHT / 2];
        // values of inputs that come from below meet the box a little lower than the cascade's own arrow
        const end = y2 + (y1 > y2 ? 12 : y1 < y2 ? -12 : 0);
        const bend = x2 - 16;
        drawing.append(
            svg("path", {
                class: "arrow",
                d: y1 === end ? `M${x1} ${y1}H${x2}` : `M${x1} ${y1}H${bend}V${end}H${x2}`,
                "marker-end": "url(#arrow)",
            }),
        );
        const text = svg("text", { x: x1 + 6, y: y1 - 6, class: "arrow-value" });
        drawing.append(text);
        const loop = this.channel.loops[arrow.loop];
        const isControl = arrow.value === "controlValue";
        const input = this.channel.loops[to.node.loop ?? -1]?.inputUnit;
        const unit = (isControl ? (to.node.kind === "loop" ? input : to.node.unit) : loop?.inputUnit) ?? "";
        const before = this.channel.loops[arrow.loop - 1];
        const range = isControl ? loop?.controlRange : before ? before.controlRange : this.channel.scale;
        const decimals = decimalsOf(range ?? { minimum: null, maximum: null });
        this.labels.push({ cell: new Cell(text), arrow, decimals, unit });
    }

    update(state: ChannelState): void {
        for (const { cell, arrow, decimals, unit } of this.labels) {
            const loop = state.loops[arrow.loop];
            cell.set(quantity(loop ? loop[arrow.value] : null, decimals, unit));
        }
    }
}
