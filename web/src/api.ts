// Requests to the server. Each fails with an ApiError, whose message a person understands.

export class ApiError extends Error {
    constructor(
        message: string,
        /** 0 if there was no reply. */
        readonly status: number,
        /** The member of the body at fault, or null. */
        readonly field: string | null,
    ) {
        super(message);
    }
}

/** Called when the server asks for a token; set by the login form. */
let onUnauthorized: () => void = () => undefined;

export function handleUnauthorized(handler: () => void): void {
    onUnauthorized = handler;
}

const TIME_LIMIT_MS = 15000;

async function errorOf(response: Response): Promise<ApiError> {
    let message = `the server replied ${response.status} ${response.statusText}`.trim();
    let field: string | null = null;
    try {
        const body = await response.json();
        if (typeof body?.error?.message === "string") message = body.error.message;
        if (typeof body?.error?.field === "string") field = body.error.field;
    } catch {
        // a reply that is no JSON has nothing to add to its status
    }
    return new ApiError(message, response.status, field);
}

/** One request; `body` is sent as JSON. */
export async function request<T>(method: string, path: string, body?: unknown): Promise<T> {
    const headers: { [name: string]: string } = { "X-Rivlink-Source": "page", Accept: "application/json" };
    if (body !== undefined) headers["Content-Type"] = "application/json";
    const abort = new AbortController();
    const timer = window.setTimeout(() => abort.abort(), TIME_LIMIT_MS);
    let response: Response;
    try {
        response = await fetch(path, {
            method,
            headers,
            body: body === undefined ? undefined : JSON.stringify(body),
            credentials: "same-origin",
            cache: "no-store",
            signal: abort.signal,
        });
        if (response.ok) return (await response.json()) as T;
    } catch {
        const late = abort.signal.aborted;
        throw new ApiError(late ? "no reply from the server within 15 s" : "no connection to the server", 0, null);
    } finally {
        window.clearTimeout(timer);
    }
    if (response.status === 401 && path !== "/api/session") onUnauthorized();
    throw await errorOf(response);
}

export const get = <T>(path: string): Promise<T> => request<T>("GET", path);
export const put = <T>(path: string, body: unknown): Promise<T> => request<T>("PUT", path, body);
export const post = <T>(path: string, body: unknown = {}): Promise<T> => request<T>("POST", path, body);

/** The address of a channel, or of something below it. */
export function channelPath(channel: string, ...below: (string | number)[]): string {
    return ["/api/channels", encodeURIComponent(channel), ...below].join("/");
}

/** A query of the members that are given. */
export function query(members: { [name: string]: string | number | undefined }): string {
    const given = Object.entries(members).filter(([, value]) => value !== undefined);
    return "?" + given.map(([name, value]) => `${name}=${encodeURIComponent(String(value))}`).join("&");
}
