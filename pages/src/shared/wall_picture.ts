// The picture on the wall as somebody sees it who faces the wall: x to the right, z up, in millimetres.
import { shape } from "./dom";
import { fixed, trimmed } from "./format";

export type Point = readonly [number, number];
/** The corners: top left, top right, bottom right, bottom left. Empty: the picture is not on the wall. */
export type Outline = readonly Point[];

export interface PictureShown {
  now: Outline;
  before?: Outline;
  after?: Outline;
  /** Blur in pixels of the panel: in the middle, and at the corners in the outline's order. */
  blur_middle_px?: number | null;
  blur_corners_px?: readonly (number | null)[];
}

/** The panel's shape, which a square picture has. */
export const picture_aspect = 16 / 9;
const panel_width_px = 1280;

/** More blur than this is seen. */
export const sharp_limit_px = 1;
/** An edge that is turned by more is seen. */
export const square_limit_deg = 0.5;

function area(outline: Outline): number {
  let twice = 0;
  outline.forEach(([x, z], i) => {
    const [next_x, next_z] = outline[(i + 1) % outline.length] as Point;
    twice += x * next_z - next_x * z;
  });
  return Math.abs(twice) / 2;
}

function centre(outline: Outline): Point {
  const sum = outline.reduce<[number, number]>(([x, z], point) => [x + point[0], z + point[1]], [0, 0]);
  return [sum[0] / outline.length, sum[1] / outline.length];
}

/** The upright rectangle of the panel's shape that has the picture's area and stands about its middle. */
export function ideal_rectangle(outline: Outline): Outline {
  if (outline.length !== 4) return [];
  const [x, z] = centre(outline);
  const half_height = Math.sqrt(area(outline) / picture_aspect) / 2;
  const half_width = half_height * picture_aspect;
  return [
    [x - half_width, z + half_height], [x + half_width, z + half_height],
    [x + half_width, z - half_height], [x - half_width, z - half_height],
  ];
}

/** The point of the picture at the share u of its width and v of its height, from the top left. */
export function point_within(outline: Outline, u: number, v: number): Point {
  const [tl, tr, br, bl] = outline as [Point, Point, Point, Point];
  // The projective map of the unit square onto the four corners (Heckbert 1989).
  const sum_x = tl[0] - tr[0] + br[0] - bl[0];
  const sum_z = tl[1] - tr[1] + br[1] - bl[1];
  const ax = tr[0] - br[0];
  const bx = bl[0] - br[0];
  const az = tr[1] - br[1];
  const bz = bl[1] - br[1];
  const whole = ax * bz - bx * az;
  const g = whole === 0 ? 0 : (sum_x * bz - bx * sum_z) / whole;
  const h = whole === 0 ? 0 : (ax * sum_z - sum_x * az) / whole;
  const w = g * u + h * v + 1;
  return [
    ((tr[0] - tl[0] + g * tr[0]) * u + (bl[0] - tl[0] + h * bl[0]) * v + tl[0]) / w,
    ((tr[1] - tl[1] + g * tr[1]) * u + (bl[1] - tl[1] + h * bl[1]) * v + tl[1]) / w,
  ];
}

const width = 480;
const height = 262;
const margin = 26;

interface View {
  x(mm: number): number;
  z(mm: number): number;
  scale: number;  // pixels of the drawing a millimetre
}

function view_of(outlines: readonly Outline[]): View | null {
  const points = outlines.flat();
  if (points.length === 0) return null;
  const xs = points.map((point) => point[0]);
  const zs = points.map((point) => point[1]);
  const wide = Math.max(...xs) - Math.min(...xs) || 1;
  const tall = Math.max(...zs) - Math.min(...zs) || 1;
  const scale = Math.min((width - 2 * margin) / wide, (height - 2 * margin) / tall);
  const middle_x = (Math.max(...xs) + Math.min(...xs)) / 2;
  const middle_z = (Math.max(...zs) + Math.min(...zs)) / 2;
  return {
    x: (mm) => width / 2 + (mm - middle_x) * scale,
    z: (mm) => height / 2 - (mm - middle_z) * scale,
    scale,
  };
}

function path_of(view: View, outline: Outline): string {
  return outline.map(([x, z], i) => `${i === 0 ? "M" : "L"}${view.x(x).toFixed(1)} ${view.z(z).toFixed(1)}`).join("") + "Z";
}

function line_between(view: View, a: Point, b: Point, name: string): SVGElement {
  return shape("line", { class: name, x1: view.x(a[0]), y1: view.z(a[1]), x2: view.x(b[0]), y2: view.z(b[1]) });
}

/** A length that fits into this many millimetres and is a round number. */
function round_length(most_mm: number): number {
  const power = 10 ** Math.floor(Math.log10(Math.max(most_mm, 1)));
  return [5, 2, 1].map((n) => n * power).find((length) => length <= most_mm) ?? power;
}

/** The drawing. A class of the style sheet for each thing in it: before, after, ideal, now, mesh, spot. */
export class WallPicture {
  readonly root = shape("svg", { class: "wall", viewBox: `0 0 ${width} ${height}`, role: "img" });

  show(picture: PictureShown): void {
    const { now, before = [], after = [] } = picture;
    const ideal = ideal_rectangle(now);
    const view = view_of([now, before, after, ideal]);
    this.root.setAttribute("aria-label", this.in_words(picture));
    if (!view) {
      this.root.replaceChildren(shape("text", { class: "off", x: width / 2, y: height / 2 }, "The picture is not on the wall"));
      return;
    }
    this.root.replaceChildren(
      ...this.outlines(view, { before, after, ideal, now }), ...this.spots(view, picture), this.ruler(view));
  }

  private outlines(view: View, drawn: Record<"before" | "after" | "ideal" | "now", Outline>): SVGElement[] {
    const made: SVGElement[] = [];
    for (const name of ["before", "now", "after", "ideal"] as const) {
      if (drawn[name].length === 4) made.push(shape("path", { class: name, d: path_of(view, drawn[name]) }));
    }
    if (drawn.now.length !== 4) {
      made.push(shape("text", { class: "off", x: width / 2, y: height / 2 }, "The picture is not on the wall"));
      return made;
    }
    for (const share of [0.25, 0.5, 0.75]) {
      made.push(line_between(view, point_within(drawn.now, share, 0), point_within(drawn.now, share, 1), "mesh"));
      made.push(line_between(view, point_within(drawn.now, 0, share), point_within(drawn.now, 1, share), "mesh"));
    }
    return made;
  }

  /** The blur as spots ten times as wide as a point's light is spread. */
  private spots(view: View, { now, blur_middle_px, blur_corners_px = [] }: PictureShown): SVGElement[] {
    if (now.length !== 4) return [];
    const [left, right] = [point_within(now, 0, 0.5), point_within(now, 1, 0.5)];
    const pixel = (Math.hypot(right[0] - left[0], right[1] - left[1]) / panel_width_px) * view.scale;
    const places: [number, number, number | null | undefined][] = [[0.5, 0.5, blur_middle_px]];
    const inwards = 0.04;
    const corners = [[inwards, inwards], [1 - inwards, inwards], [1 - inwards, 1 - inwards], [inwards, 1 - inwards]];
    corners.forEach(([u, v], i) => places.push([u as number, v as number, blur_corners_px[i]]));
    return places.flatMap(([u, v, blur]) => {
      if (blur === null || blur === undefined) return [];
      const [x, z] = point_within(now, u, v);
      const radius = Math.max(1.5, (blur * 10 * pixel) / 2);
      const name = blur <= sharp_limit_px ? "spot sharp" : "spot blurred";
      return [
        shape("circle", { class: name, cx: view.x(x), cy: view.z(z), r: radius.toFixed(2) }),
        shape("text", { class: "spot-label", x: view.x(x), y: view.z(z) + (v < 0.5 ? radius + 13 : -radius - 5) }, fixed(blur, 1)),
      ];
    });
  }

  private ruler(view: View): SVGElement {
    const length = round_length((width / 4) / view.scale);
    const x = 10;
    const y = height - 10;
    const end = x + length * view.scale;
    return shape("g", { class: "ruler" },
      shape("path", { d: `M${x} ${y - 4}V${y}H${end.toFixed(1)}V${y - 4}` }),
      shape("text", { x: end + 5, y }, `${trimmed(length, 0)} mm`));
  }

  private in_words({ now, blur_middle_px }: PictureShown): string {
    if (now.length !== 4) return "The picture is not on the wall.";
    const corners = ["top left", "top right", "bottom right", "bottom left"]
      .map((name, i) => `${name} ${trimmed((now[i] as Point)[0], 0)}, ${trimmed((now[i] as Point)[1], 0)}`);
    const blur = typeof blur_middle_px === "number" ? ` Blur in the middle ${fixed(blur_middle_px, 1)} pixels.` : "";
    return `The picture on the wall, corners in millimetres: ${corners.join("; ")}.${blur}`;
  }
}
