// The operator's page: starts the model, shows the view that the address names.
import { Announcer } from "./announcer";
import { handleUnauthorized } from "./api";
import { Detail } from "./detail";
import { Devices } from "./devices";
import { nextFrame } from "./dom";
import { Header } from "./header";
import { handleKeys } from "./keyboard";
import { askForToken } from "./login";
import { Model } from "./model";
import { Overview } from "./overview";
import { View } from "./view";

const byId = (id: string): HTMLElement => document.getElementById(id) as HTMLElement;

const model = new Model();
const main = byId("main");
let view: View | null = null;
let shown = "";

const header = new Header(byId("head"), model, (channel) => {
    if (!(view instanceof Overview)) {
        location.hash = "#/";
        route();
    }
    if (view instanceof Overview) view.jump(channel);
});
const updateHeader = (): void => header.update();

function make(hash: string): View {
    const channel = /^#\/channel\/(.+)$/.exec(hash);
    if (channel) return new Detail(model, decodeURIComponent(channel[1]));
    if (hash === "#/devices") return new Devices(model);
    return new Overview(model);
}

function route(): void {
    const hash = location.hash || "#/";
    if (hash === shown && view) return;
    const before = view;
    shown = hash;
    before?.close();
    view = make(hash);
    main.replaceChildren(view.element);
    header.setPage(hash);
    if (!before) return;
    // a change of page is said, and the keys work at once
    window.scrollTo(0, 0);
    if (view instanceof Overview) view.focusFirst();
    else main.focus({ preventScroll: true });
}

handleUnauthorized(() => {
    model.stream.pause();
    askForToken(() => model.stream.start());
});
handleKeys(() => view);
new Announcer(byId("announcer"), model);
for (const topic of ["states", "structure", "connection"] as const) model.on(topic, () => nextFrame(updateHeader));
window.addEventListener("hashchange", route);
// the links of faceplates would otherwise lead to the anchor of the skip link
document.querySelector(".skip")?.addEventListener("click", (event) => {
    event.preventDefault();
    main.focus();
});
route();
header.update();
model.stream.start();
