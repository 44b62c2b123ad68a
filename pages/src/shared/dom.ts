// Making elements, short enough to be read as the page they make.

export type Attributes = Record<string, string | number | boolean | EventListener>;
export type Child = Node | string | null;

const svg_names = "http://www.w3.org/2000/svg";

function fill<E extends Element>(made: E, attributes: Attributes, children: Child[]): E {
  for (const [name, value] of Object.entries(attributes)) {
    if (typeof value === "function") made.addEventListener(name.replace(/^on/, ""), value);
    else if (value === true) made.setAttribute(name, "");
    else if (value !== false) made.setAttribute(name, String(value));
  }
  for (const child of children) if (child !== null) made.append(child);
  return made;
}

/** An HTML element. An attribute that is a function is a listener: {onclick: ...}. */
export function element<K extends keyof HTMLElementTagNameMap>(
  tag: K, attributes: Attributes = {}, ...children: Child[]
): HTMLElementTagNameMap[K] {
  return fill(document.createElement(tag), attributes, children);
}

/** An element of a drawing. */
export function shape<K extends keyof SVGElementTagNameMap>(
  tag: K, attributes: Attributes = {}, ...children: Child[]
): SVGElementTagNameMap[K] {
  return fill(document.createElementNS(svg_names, tag) as SVGElementTagNameMap[K], attributes, children);
}

/** The element of the page with this id, which must be there. */
export function byId(id: string): HTMLElement {
  const found = document.getElementById(id);
  if (!found) throw new Error(`the page has no element "${id}"`);
  return found;
}
