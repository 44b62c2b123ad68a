// Dragging in a drawing, by pointer or by keys.

export interface Point {
  x: number;
  y: number;
}

/** A place of the screen in the drawing's own units. */
function place_in(drawing: SVGSVGElement, event: PointerEvent): Point {
  const matrix = drawing.getScreenCTM();
  const place = new DOMPoint(event.clientX, event.clientY).matrixTransform(matrix?.inverse());
  return { x: place.x, y: place.y };
}

export interface Dragged {
  /** The place of the thing when it is taken, in the drawing's units. */
  begin(): Point;
  move(to: Point): void;
  end?(): void;
  /** By an arrow key: steps to the right and up. */
  step?(right: number, up: number): void;
}

const arrows: Record<string, [number, number]> = {
  ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, 1], ArrowDown: [0, -1],
};

/** Lets `handle` be dragged within `drawing`. */
export function make_draggable(drawing: SVGSVGElement, handle: SVGElement, dragged: Dragged): void {
  handle.classList.add("handle");
  let offset: Point | null = null;
  handle.addEventListener("pointerdown", (event) => {
    if (event.button !== 0) return;
    handle.setPointerCapture(event.pointerId);
    const at = place_in(drawing, event);
    const thing = dragged.begin();
    offset = { x: thing.x - at.x, y: thing.y - at.y };
    event.preventDefault();
    handle.focus();
  });
  handle.addEventListener("pointermove", (event) => {
    if (!offset) return;
    const at = place_in(drawing, event);
    dragged.move({ x: at.x + offset.x, y: at.y + offset.y });
  });
  const end = (): void => {
    if (offset) dragged.end?.();
    offset = null;
  };
  handle.addEventListener("pointerup", end);
  handle.addEventListener("pointercancel", end);
  handle.addEventListener("keydown", (event) => {
    const arrow = arrows[event.key];
    if (!arrow || !dragged.step) return;
    event.preventDefault();
    const many = event.shiftKey ? 5 : 1;
    dragged.step(arrow[0] * many, arrow[1] * many);
  });
}
