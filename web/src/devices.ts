// The devices: state, age of their values, faults; the faults of a simulated device can be switched.
import { get, put } from "./api";
import { Cell, h } from "./dom";
import { durationText, NOTHING, quantity } from "./format";
import { Model } from "./model";
import { Toggle } from "./toggle";
import { Device, DeviceFault } from "./types";
import { View } from "./view";

const POLL_MS = 1000;
const OLD_MS = 5000;

/** "SensorNaN" as "Sensor NaN", "DeviceAway" as "Device away". */
const spaced = (text: string): string =>
    text
        .replace(/([a-z0-9])([A-Z][a-z])/g, "$1 $2")
        .replace(/ ([A-Z])(?=[a-z]{2})/g, (_, letter: string) => ` ${letter.toLowerCase()}`);

class DeviceView {
    readonly element: HTMLElement;
    private readonly state = new Cell(h("span", { class: "device-state" }));
    private readonly stateText = new Cell(h("span"));
    private readonly icon = new Cell(h("b", { class: "icon", "aria-hidden": "true" }));
    private readonly rows: { value: Cell; age: Cell; fault: Cell; row: Cell }[] = [];
    private readonly toggles = new Map<string, Toggle>();
    private readonly message = new Cell(h("p", { class: "message none", role: "alert" }));
    private readonly pending = new Map<string, boolean>();

    constructor(
        device: Device,
        private readonly changed: () => void,
    ) {
        this.state.element.append(this.icon.element, this.stateText.element);
        const head = h("div", { class: "plate-head" }, h("h2", {}, device.name), this.state.element);
        const body = h("tbody");
        for (const channel of device.channels) {
            const cells = [0, 1, 2].map(() => new Cell(h("td", { class: "number" })));
            const row = h("tr", {}, h("th", { scope: "row" }, channel.name), ...cells.map((cell) => cell.element));
            cells[2].element.className = "words";
            body.append(row);
            this.rows.push({ value: cells[0], age: cells[1], fault: cells[2], row: new Cell(row) });
        }
        const columns = h(
            "tr",
            {},
            ...["channel", "value", "age", "state"].map((text) => h("th", { scope: "col" }, text)),
        );
        const table = h("table", {}, h("thead", {}, columns), body);
        this.element = h(
            "article",
            { class: "device", "aria-label": device.name },
            head,
            h("p", { class: "note" }, device.type.replace(/^.*::C?/, "")),
            h("div", { class: "scroll" }, table),
        );
        if (device.faults.length > 0) this.element.append(this.buildFaults(device));
        this.element.append(this.message.element);
        this.update(device);
    }

    private buildFaults(device: Device): HTMLElement {
        const faults = h("div", { class: "faults", role: "group", "aria-label": `Simulated faults of ${device.name}` });
        faults.append(h("h3", {}, "Simulated faults"));
        const groups = new Map<string, HTMLElement>();
        for (const fault of device.faults) {
            const toggle = new Toggle(
                spaced(fault.kind),
                `${device.name}: ${spaced(fault.kind)} ${fault.signal}`.trim(),
                (on) => void this.switch(device.name, fault, on),
            );
            this.toggles.set(fault.id, toggle);
            let row = groups.get(fault.signal);
            if (!row) {
                row = h(
                    "div",
                    { class: "fault-row" },
                    h("span", { class: "row-name" }, fault.signal ? spaced(fault.signal) : "whole device"),
                );
                groups.set(fault.signal, row);
                faults.append(row);
            }
            row.append(toggle.element);
        }
        return faults;
    }

    private async switch(device: string, fault: DeviceFault, on: boolean): Promise<void> {
        this.pending.set(fault.id, on);
        this.toggles.get(fault.id)?.set(on, on);
        this.message.className("message none");
        try {
            await put(`/api/devices/${encodeURIComponent(device)}/faults/${encodeURIComponent(fault.id)}`, {
                value: on,
            });
        } catch (error) {
            this.message.set((error as Error).message);
            this.message.className("message");
        }
        this.pending.delete(fault.id);
        this.changed();
    }

    update(device: Device): void {
        const bad = !device.connected || device.channels.some((channel) => channel.fault !== "");
        this.icon.className(device.connected ? (bad ? "icon warning" : "icon none") : "icon stop");
        this.stateText.set(device.connected ? (bad ? "fault" : "connected") : "offline");
        this.state.className(`device-state ${device.connected ? (bad ? "badInput" : "ok") : "fault"}`);
        this.element.classList.toggle("fault", !device.connected);
        this.element.classList.toggle("badInput", device.connected && bad);
        device.channels.forEach((channel, index) => {
            const row = this.rows[index];
            const sensor = channel.age_ms !== null || channel.value !== null;
            row.value.set(sensor ? quantity(channel.value, 3, channel.unit) : NOTHING);
            row.age.set(channel.age_ms === null ? NOTHING : durationText(channel.age_ms));
            row.fault.set(channel.fault || "ok");
            const old = channel.age_ms !== null && channel.age_ms > OLD_MS;
            row.row.className(`${channel.fault ? "faulty" : ""}${old ? " stale" : ""}`.trim());
        });
        for (const fault of device.faults) {
            this.toggles.get(fault.id)?.set(fault.active, this.pending.get(fault.id));
        }
    }
}

export class Devices implements View {
    readonly element = h("div", { class: "devices" });
    private readonly status = new Cell(h("p", { class: "empty", role: "status" }));
    private readonly list = h("div", { class: "device-list" });
    private views = new Map<string, DeviceView>();
    private shape = "";
    private timer = 0;
    private closed = false;

    constructor(private readonly model: Model) {
        this.element.append(h("h2", { class: "page-title" }, "Devices"), this.list, this.status.element);
        this.status.set("Loading …");
        void this.poll();
    }

    title(): string {
        return "Devices";
    }

    close(): void {
        this.closed = true;
        window.clearTimeout(this.timer);
    }

    key(event: KeyboardEvent): boolean {
        if (event.key !== "Escape") return false;
        location.hash = "#/";
        return true;
    }

    private async poll(): Promise<void> {
        window.clearTimeout(this.timer);
        try {
            // while the server is lost the stream tries to reach it; one that tries is enough
            if (this.model.connection.kind !== "lost") {
                this.show((await get<{ devices: Device[] }>("/api/devices")).devices);
            }
        } catch (error) {
            this.status.set((error as Error).message);
            this.status.className("empty");
        }
        if (this.closed) return;
        window.clearTimeout(this.timer);
        this.timer = window.setTimeout(() => void this.poll(), POLL_MS);
    }

    private show(devices: Device[]): void {
        const shape = JSON.stringify(
            devices.map((device) => [
                device.name,
                device.channels.map((one) => one.name),
                device.faults.map((one) => one.id),
            ]),
        );
        this.status.set(devices.length === 0 ? "The configuration has no devices." : "");
        this.status.className(devices.length === 0 ? "empty" : "empty none");
        if (shape !== this.shape) {
            this.shape = shape;
            this.views = new Map(
                devices.map((device) => [device.name, new DeviceView(device, () => void this.poll())]),
            );
            this.list.replaceChildren(...[...this.views.values()].map((view) => view.element));
            return;
        }
        for (const device of devices) this.views.get(device.name)?.update(device);
    }
}
