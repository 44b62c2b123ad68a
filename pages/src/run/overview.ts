// The whole run in a strip: its flags by kind, its requests as bars, and a window about what the curves show.
import { element } from "../shared/dom";
import { time_text } from "../shared/format";
import { color, on_colors_change } from "../shared/theme";
import type { Timeline } from "../shared/timeline";
import type { RunData } from "./data";
import { flag_styles } from "./flags";

const row_height = 11;
const label_width = 64;
const right_space = 10;

export class Overview {
  readonly root = element("div", {
    class: "overview", id: "overview", role: "slider", tabindex: 0, "aria-label": "Time within the run", "aria-orientation": "horizontal",
  });
  private readonly canvas = element("canvas", { "aria-hidden": "true" });
  private readonly rows: typeof flag_styles;

  constructor(private readonly data: RunData, private readonly timeline: Timeline) {
    this.rows = flag_styles.filter((style) => data.flags.some((flag) => flag.kind === style.kind) || style.kind === "request");
    this.root.append(this.canvas);
    this.root.setAttribute("aria-valuemin", String(timeline.begin));
    this.root.setAttribute("aria-valuemax", String(timeline.end));
    const follow = (event: PointerEvent): void => {
      if (event.buttons !== 1) return;
      const x = event.clientX - this.root.getBoundingClientRect().left - label_width;
      this.timeline.go_to(this.timeline.begin + (x / this.width) * (this.timeline.end - this.timeline.begin));
    };
    this.root.addEventListener("pointerdown", follow);
    this.root.addEventListener("pointermove", follow);
    timeline.on_cursor(() => this.draw());
    timeline.on_span(() => this.draw());
    on_colors_change(() => this.draw());
    new ResizeObserver(() => this.draw()).observe(this.root);
  }

  private get width(): number { return this.root.clientWidth - label_width - right_space; }

  private x(t: number): number {
    return label_width + ((t - this.timeline.begin) / Math.max(1, this.timeline.end - this.timeline.begin)) * this.width;
  }

  private draw(): void {
    const { timeline } = this;
    this.root.setAttribute("aria-valuenow", String(timeline.cursor));
    this.root.setAttribute("aria-valuetext", time_text(timeline.cursor));
    const ratio = devicePixelRatio;
    const wide = this.root.clientWidth;
    const tall = this.rows.length * row_height + 4;
    if (wide === 0) return;
    this.canvas.width = wide * ratio;
    this.canvas.height = tall * ratio;
    this.canvas.style.width = `${wide}px`;
    this.canvas.style.height = `${tall}px`;
    const paint = this.canvas.getContext("2d");
    if (!paint) return;
    paint.scale(ratio, ratio);
    this.draw_window(paint, tall);
    this.rows.forEach((_row, i) => this.draw_row(paint, i));
    paint.fillStyle = color("ink");
    paint.fillRect(this.x(timeline.cursor) - 0.5, 0, 1, tall);
  }

  private draw_window(paint: CanvasRenderingContext2D, tall: number): void {
    const from = this.x(this.timeline.from);
    const to = this.x(this.timeline.to);
    paint.fillStyle = color("grid");
    paint.fillRect(label_width, 0, this.width, tall);
    paint.fillStyle = color("panel");
    paint.fillRect(from, 0, Math.max(2, to - from), tall);
    paint.strokeStyle = color("line");
    paint.strokeRect(from, 0.5, Math.max(2, to - from), tall - 1);
  }

  private draw_row(paint: CanvasRenderingContext2D, i: number): void {
    const style = this.rows[i] as (typeof flag_styles)[number];
    const top = 2 + i * row_height;
    paint.fillStyle = color("ink-soft");
    paint.font = "10px system-ui, sans-serif";
    paint.fillText(style.many, 2, top + row_height - 3);
    paint.fillStyle = color(style.color);
    if (style.kind === "request") {
      for (const request of this.data.requests) {
        const from = this.x(request.t);
        const to = this.x(request.end ?? this.data.end_us);
        paint.globalAlpha = 0.45;
        paint.fillRect(from, top + 2, Math.max(2, to - from), row_height - 4);
        paint.globalAlpha = 1;
        paint.fillRect(from, top + 2, 2, row_height - 4);
      }
      return;
    }
    let drawn = -2;
    for (const flag of this.data.flags) {
      if (flag.kind !== style.kind) continue;
      const x = Math.round(this.x(flag.t));
      if (x <= drawn + 1) continue;
      drawn = x;
      paint.fillRect(x - 1, top + 1, 2, row_height - 2);
    }
  }
}
