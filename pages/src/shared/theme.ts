// The colours of the style sheet, for what is drawn on a canvas.

export type ColorName =
  | "blue" | "vermilion" | "green" | "purple" | "orange" | "sky" | "ink-curve"
  | "ink" | "ink-soft" | "line" | "grid" | "panel" | "ground" | "band" | "good" | "bad" | "mark" | "focus";

let known = new Map<ColorName, string>();
const listeners = new Set<() => void>();

export function color(name: ColorName): string {
  let value = known.get(name);
  if (value === undefined) {
    value = getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
    known.set(name, value);
  }
  return value;
}

/** Called when the colours have become others: light or dark is chosen, or the page goes to a printer; until what
 *  this returns is called. */
export function on_colors_change(listener: () => void): () => void {
  listeners.add(listener);
  return () => { listeners.delete(listener); };
}

function colors_changed(): void {
  known = new Map();
  for (const listener of listeners) listener();
}

/** Paper is light whatever the screen is. */
function print_colors(on: boolean): void {
  document.documentElement.classList.toggle("printing", on);
  colors_changed();
}

matchMedia("(prefers-color-scheme: dark)").addEventListener("change", colors_changed);
addEventListener("beforeprint", () => print_colors(true));
addEventListener("afterprint", () => print_colors(false));
