// The form for the access token, shown when the server asks for one.
import { ApiError, post } from "./api";
import { h } from "./dom";

let open = false;

export function askForToken(done: () => void): void {
    if (open) return;
    open = true;
    const field = h("input", { type: "password", autocomplete: "current-password", id: "token", required: true });
    const hint = h("p", { class: "message none", role: "alert" });
    const button = h("button", { type: "submit", class: "action" }, "Sign in");
    const form = h(
        "form",
        { class: "login", "aria-label": "Sign in" },
        h("h2", {}, "Access token"),
        h("p", {}, "This server asks for its access token. The browser keeps it for as long as the server runs."),
        h("label", { for: "token" }, "Token"),
        field,
        button,
        hint,
    );
    const cover = h("dialog", { "aria-label": "Access token" }, form);
    // without a token there is nothing behind it to return to
    cover.addEventListener("cancel", (event) => event.preventDefault());
    form.addEventListener("submit", (event) => {
        event.preventDefault();
        button.disabled = true;
        post("/api/session", { token: field.value })
            .then(() => {
                open = false;
                cover.close();
                cover.remove();
                done();
            })
            .catch((error: unknown) => {
                const wrong = error instanceof ApiError && error.status === 401;
                hint.textContent = wrong ? "This is not the token." : String((error as Error).message);
                hint.classList.remove("none");
                button.disabled = false;
                field.select();
                field.focus();
            });
    });
    document.body.append(cover);
    cover.showModal();
    field.focus();
}
