/** One page of the page: the overview, a controller, the devices. */
export interface View {
    readonly element: HTMLElement;
    title(): string;
    /** Handles a key that no field took; true if it was one of the view's own. */
    key(event: KeyboardEvent): boolean;
    /** Stops listening; the element is not used after. */
    close(): void;
}
