// Beside the curves: the picture on the wall and the ToF zones as they are under the cursor.
import { element } from "../shared/dom";
import { fixed, length_text, quantity, time_text, trimmed } from "../shared/format";
import { last_at, value_at, type Signal } from "../shared/signals";
import type { Timeline } from "../shared/timeline";
import { WallPicture, type Outline } from "../shared/wall_picture";
import { outline_of, type Request, type RunData } from "./data";
import { zone_names } from "./panels";

/** The request that a time belongs to: the last one asked for before it. */
export function request_at(requests: readonly Request[], t: number): Request | null {
  let found: Request | null = null;
  for (const request of requests) if (request.t <= t) found = request;
  return found;
}

function outline_at({ outlines }: RunData, t: number): Outline {
  const at = last_at(outlines.t, t);
  return outlines.xz[Math.max(at, 0)] ?? [];
}

export class PictureCard {
  readonly root: HTMLElement;
  private readonly drawing = new WallPicture();
  private readonly about = element("p", { class: "about" });
  private readonly figures = element("dl", { class: "figures inline" });
  private readonly truth: Map<string, Signal>;

  constructor(private readonly data: RunData, private readonly timeline: Timeline) {
    this.truth = new Map(data.signals.map((signal) => [signal.name, signal]));
    const key = (name: string, text: string): HTMLElement =>
      element("li", {}, element("span", { class: `outline-key ${name}` }), text);
    this.root = element("section", { class: "panel", "aria-labelledby": "picture-title" },
      element("h2", { id: "picture-title" }, "The picture on the wall"),
      this.about,
      this.drawing.root,
      element("ul", { class: "keys" }, key("now", "at the cursor"), key("before", "before"), key("after", "after"), key("ideal", "ideal")),
      this.figures);
    timeline.on_cursor(() => this.show());
    timeline.on_news(() => this.show());
    this.show();
  }

  private at(member: string): number | null {
    const signal = this.truth.get(`truth.${member}`);
    return signal ? value_at(signal, this.timeline.cursor) : null;
  }

  private show(): void {
    const { data, timeline } = this;
    const request = request_at(data.requests, timeline.cursor);
    const before = outline_of(request?.before) ?? [];
    const after = outline_of(request?.after) ?? [];
    const corners = ["tl", "tr", "br", "bl"].map((corner) => this.at(`blur_${corner}_px`));
    this.drawing.show({
      now: outline_at(data, timeline.cursor),
      before: request ? before : outline_at(data, 0),
      after: request ? after : outline_at(data, data.end_us),
      blur_middle_px: this.at("blur_px"),
      blur_corners_px: corners,
    });
    const of = request ? `request ${request.n}` : "the whole run";
    const known = data.outlines.t.length > 0;
    const text = known ? `Before and after ${of}. Spots: blur in px, ten times as large.` : "The trace does not say how the picture was.";
    this.drawing.root.toggleAttribute("hidden", !known);
    if (this.about.textContent !== text) this.about.textContent = text;
    this.figures.replaceChildren(...this.rows());
  }

  private rows(): HTMLElement[] {
    const figure = (name: string, value: string): HTMLElement =>
      element("div", {}, element("dt", {}, name), element("dd", {}, value));
    const worst = this.at("worst_edge_deg");
    const light = this.at("light_used");
    return [
      figure("blur, middle / corner", `${quantity(this.at("blur_px"), "", 1)} / ${quantity(this.at("blur_corner_px"), "px", 1)}`),
      figure("worst edge", worst === null ? "–" : quantity(Math.abs(worst), "deg", 2)),
      figure("light used", light === null ? "–" : `${fixed(light * 100, 1)} %`),
    ];
  }
}

/** Where each zone stands on the map, which is seen facing the wall: the sensor's order is tr, br, tl, bl. */
const map_order = [2, 0, 3, 1] as const;

export class ZonesCard {
  readonly root: HTMLElement;
  private readonly cells: HTMLElement[] = [];
  private readonly age = element("p", { class: "about" });
  private readonly knows_truth: boolean;

  constructor(private readonly data: RunData, private readonly timeline: Timeline) {
    this.knows_truth = data.signals.some((signal) => signal.name.startsWith("truth.zone_"));
    const cells = map_order.map((zone) => {
      const cell = element("div", { class: "zone" });
      this.cells[zone] = cell;
      return cell;
    });
    this.root = element("section", { class: "panel", "aria-labelledby": "map-title" },
      element("h2", { id: "map-title" }, "ToF zones at the cursor"), this.age, element("div", { class: "zone-map" }, ...cells));
    timeline.on_cursor(() => this.show());
    this.show();
  }

  private show(): void {
    const { zones } = this.data;
    const at = last_at(zones.t, this.timeline.cursor);
    this.age.textContent = at < 0 ? "Nothing has been sensed yet." : this.when(zones.t[at] ?? 0);
    zone_names.forEach((name, zone) => this.show_zone(name, zone, at));
  }

  /** What was sensed long ago says little of now. */
  private when(t: number): string {
    const ago = this.timeline.cursor - t;
    const old = ago < 1000 ? "" : `, ${length_text(ago)} before the cursor`;
    const truth = this.knows_truth ? "; below, how far it was from the true distance then" : "";
    return `Sensed at ${time_text(t)}${old}${truth}.`;
  }

  private show_zone(name: string, zone: number, at: number): void {
    const { zones } = this.data;
    const cell = this.cells[zone] as HTMLElement;
    const sensed = zones.sensed_mm[at]?.[zone] ?? null;
    const truth = zones.true_mm[at]?.[zone] ?? null;
    const valid = Boolean(zones.valid[at]?.[zone]);
    const known = truth !== null && truth >= 0 && sensed !== null;
    const error = known ? sensed - truth : null;
    const off = error === null ? "" : trimmed(error, 0);
    const beside = error === null ? (this.knows_truth ? "nothing there" : "") : `${Number(off) > 0 ? "+" : ""}${off} mm`;
    cell.className = at < 0 || !valid ? "zone invalid" : "zone";
    cell.replaceChildren(
      element("span", { class: "zone-name" }, name),
      element("strong", {}, quantity(sensed, "mm", 0)),
      element("span", {}, at < 0 ? "" : valid ? beside : "invalid"),
      element("span", { class: "zone-name" }, at < 0 ? "" : `quality ${quantity(zones.quality[at]?.[zone] ?? null, "", 0)}`));
  }
}
