// The threads: for each a lane of what it did and what it waited for, and below it the locks that it held.
import { element } from "../shared/dom";
import { length_text, near_sign } from "../shared/format";
import { color, on_colors_change, type ColorName } from "../shared/theme";
import type { Timeline } from "../shared/timeline";
import type { Lane, RunData, SliceKind } from "./data";
import { slices_of, type Label, type Parts, type Slices } from "./parts";

const left_space = 54;
const right_space = 10;
const lane_height = 34;
const name_height = 13;
const bar_height = 11;
const hold_height = 5;

interface Prepared {
  lane: Lane;
  whole: Slices;  // merged where there are too many
  is_merged: boolean;
}

const kind_colors: Record<SliceKind, ColorName> = { wait: "line", call: "blue", run: "sky", callback: "green", hold: "vermilion" };
const kind_words: [SliceKind, string][] = [["call", "in a call"], ["wait", "waiting"], ["callback", "calls the host"], ["hold", "holds a lock"]];

function prepared(lane: Lane): Prepared {
  const slices = [...lane.slices].sort((a, b) => a[0] - b[0] || b[1] - a[1]);
  const whole = slices_of(slices.map((slice) => slice[0]), slices.map((slice) => slice[1]), slices.map((slice) => [slice[2], slice[3]]));
  return { lane, whole, is_merged: (lane.merged_us ?? 0) > 0 };
}

/** "waits for condition key_pressed", "waits: sleep", "holds mutex_focus", "read /dev/gsensor_daemon" */
function words_of(kind: SliceKind, what: string): string {
  if (kind === "wait") return what.startsWith("wait for ") ? `waits${what.slice("wait".length)}` : `waits: ${what}`;
  return kind === "hold" ? what.replace(/^hold /, "holds ") : what;
}

function first_at_least(times: readonly number[], t: number): number {
  let low = 0;
  let high = times.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if ((times[middle] as number) < t) low = middle + 1;
    else high = middle;
  }
  return low;
}

export class Lanes {
  readonly root: HTMLElement;
  private readonly canvas = element("canvas", { role: "img" });
  private readonly cursor_line = element("div", { class: "cursor-line" });
  private readonly frame: HTMLElement;
  private readonly now = element("ul", { class: "lane-values" });
  private readonly lanes: Prepared[];
  private readonly parts: Parts;

  constructor(data: RunData, private readonly timeline: Timeline) {
    this.lanes = data.lanes.map(prepared);
    this.parts = data.parts;
    this.canvas.setAttribute("aria-label", `Lanes of ${data.lanes.length} threads: ${data.lanes.map((lane) => lane.name).join(", ")}`);
    this.frame = element("div", { class: "lanes-frame" }, this.canvas, this.cursor_line);
    const legend = kind_words.map(([kind, words]) =>
      element("span", { class: "entry plain" }, element("span", { class: `swatch slice ${kind}` }), words));
    this.root = element("div", {}, element("div", { class: "legend" }, ...legend), this.frame, this.now);
    this.frame.addEventListener("pointermove", (event) => this.follow(event));
    this.frame.addEventListener("pointerdown", (event) => this.follow(event));
    timeline.on_cursor(() => this.show_cursor());
    timeline.on_span(() => this.draw());
    timeline.on_news(() => this.draw());
    on_colors_change(() => this.draw());
    new ResizeObserver(() => this.draw()).observe(this.frame);
  }

  private get width(): number { return this.frame.clientWidth - left_space - right_space; }

  private follow(event: PointerEvent): void {
    const x = event.clientX - this.frame.getBoundingClientRect().left - left_space;
    if (x < 0 || x > this.width) return;
    this.timeline.move_cursor(this.timeline.from + (x / this.width) * this.timeline.span);
  }

  private show_cursor(): void {
    const share = (this.timeline.cursor - this.timeline.from) / this.timeline.span;
    this.cursor_line.hidden = share < 0 || share > 1;
    this.cursor_line.style.transform = `translateX(${left_space + share * this.width}px)`;
    this.now.replaceChildren(...this.lanes.map(({ lane }, i) =>
      element("li", {}, element("span", { class: "lane-name" }, lane.name), ` ${this.doing(i)}`)));
  }

  /** Every slice between two times where they are read, else null. */
  private every({ lane, whole, is_merged }: Prepared, from: number, to: number): Slices | null {
    return is_merged ? this.parts.slices(lane.thread, from, to) : whole;
  }

  /** What a thread does at the cursor. */
  private doing(i: number): string {
    const lane = this.lanes[i] as Prepared;
    const { cursor } = this.timeline;
    const every = this.every(lane, cursor, cursor);
    const { begins, lengths, labels, longest } = every ?? lane.whole;
    const doing: string[] = [];
    for (let at = first_at_least(begins, cursor - longest); at < begins.length; ++at) {
      const t = begins[at] as number;
      const us = lengths[at] as number;
      const [kind, what] = labels[at] as Label;
      if (t > cursor) break;
      if (t + us > cursor || (us === 0 && t === cursor)) {
        doing.push(`${words_of(kind, what)}${us > 0 ? ` (${length_text(us)})` : ""}`);
      }
    }
    return (every ? "" : near_sign) + (doing.length > 4 ? `${doing.slice(0, 4).join("; ")}; and ${doing.length - 4} more` : doing.join("; ") || "–");
  }

  private draw(): void {
    const ratio = devicePixelRatio;
    const wide = this.frame.clientWidth;
    if (wide === 0) return;
    const tall = this.lanes.length * lane_height + 2;
    this.canvas.width = wide * ratio;
    this.canvas.height = tall * ratio;
    this.canvas.style.width = `${wide}px`;
    this.canvas.style.height = `${tall}px`;
    const paint = this.canvas.getContext("2d");
    if (!paint) return;
    paint.scale(ratio, ratio);
    this.lanes.forEach((lane, i) => this.draw_lane(paint, lane, i * lane_height));
    this.show_cursor();
  }

  private draw_lane(paint: CanvasRenderingContext2D, prepared: Prepared, top: number): void {
    const { begins, lengths, labels, longest } = this.every(prepared, this.timeline.from, this.timeline.to) ?? prepared.whole;
    const { width } = this;
    paint.fillStyle = color("grid");
    paint.fillRect(left_space, top + name_height, width, bar_height);
    paint.fillStyle = color("ink-soft");
    paint.font = "11px system-ui, sans-serif";
    paint.fillText(prepared.lane.name, left_space, top + name_height - 3);
    const scale = width / this.timeline.span;
    const drawn_to: Partial<Record<SliceKind, number>> = {};
    for (let at = first_at_least(begins, this.timeline.from - longest); at < begins.length; ++at) {
      const t = begins[at] as number;
      const us = lengths[at] as number;
      const kind = (labels[at] as Label)[0];
      if (t > this.timeline.to) break;
      if (t + us < this.timeline.from) continue;
      const from = Math.max(0, (t - this.timeline.from) * scale);
      const to = Math.min(width, Math.max(from + 0.75, (t + us - this.timeline.from) * scale));
      if (to <= (drawn_to[kind] ?? -1)) continue;  // less than a pixel after one of its kind
      drawn_to[kind] = Math.max(to, from + 0.5);
      paint.fillStyle = color(kind_colors[kind] ?? "ink-soft");
      const y = kind === "hold" ? top + name_height + bar_height + 1 : top + name_height;
      paint.fillRect(left_space + from, y, to - from, kind === "hold" ? hold_height : bar_height);
    }
  }
}
