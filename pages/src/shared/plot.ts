// A plot of signals over the shared time: uPlot draws curves, axes and grid; the legend with the values at the
// cursor, the cursor itself and the marks are ours.
import { element, type Child } from "./dom";
import { near_sign, quantity, time_text, trimmed, unit_sign } from "./format";
import { is_near, sample, value_at, type Columns, type Held, type Signal } from "./signals";
import { color, on_colors_change, type ColorName } from "./theme";
import type { Timeline } from "./timeline";

export interface Curve {
  signal: Signal;
  label: string;
  color: ColorName;
  held?: Held;         // "held" unless said otherwise
  dash?: number[];     // pixels on and off
  width?: number;      // pixels
  hidden?: boolean;    // at first
  note?: string;       // more than the label says, shown on pointing at it
  quiet?: boolean;     // without an entry in the legend
  aside?: boolean;     // makes room for itself only while the whole time is shown
}

/** A stretch of the scale that is set off, such as what a value may be. Either end may follow a signal. */
export interface Band {
  label: string;
  low: number | Signal;
  high: number | Signal;
}

/** A line across the plot. */
export interface Level {
  label: string;
  value: number;
}

/** A moment that every plot shows. */
export interface Mark {
  t: number;
  color: ColorName;
}

/** Something that lasts, shown as a strip at the foot of the plot. */
export interface Stretch {
  from: number;
  to: number;
  label: string;
  color: ColorName;
}

export interface PlotOptions {
  label: string;        // what a person who cannot see it is told
  unit: string;
  curves: Curve[];
  decimals: number;     // of the values at the cursor
  height: number;       // pixels
  bands?: Band[];
  levels?: Level[];
  stretches?: Stretch[];
  marks?: () => readonly Mark[];  // in order of time
  include?: number[];             // values that the scale always holds
}

const axis_size = 54;  // pixels, alike for all plots, so that times stand below each other
const strip_height = 15;
const right_space = 10;
const label_font = "11px system-ui, sans-serif";

const us_per_s = 1e6;
const steps_us = [
  ...[0, 1, 2, 3, 4, 5, 6].flatMap((power) => [1, 2, 5].map((n) => n * 10 ** power)),
  ...[10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 14400, 28800].map((s) => s * us_per_s),
];

/** Times below a plot. One that the plot's edge would cut is left out; `pixel_us` is how long a pixel lasts. */
function time_labels(splits: number[], to: number, pixel_us: number): string[] {
  const step = splits.length > 1 ? (splits[1] as number) - (splits[0] as number) : us_per_s;
  const letter_width = 6;
  return splits.map((t) => {
    const text = time_text(t, Math.min(step, us_per_s));
    const room = (to - t) / pixel_us + right_space;
    return room < (text.length * letter_width) / 2 ? "" : text;
  });
}

function number_labels(_plot: uPlot, splits: (number | null)[]): (string | null)[] {
  return splits.map((value) => (value === null ? null : trimmed(value, 4)));
}

/** The range of a scale around values: some air above and below, and never empty. */
function range_around(low: number | null | undefined, high: number | null | undefined, include: readonly number[]): [number, number] {
  const all = [low, high, ...include].filter((value): value is number => value !== null && Number.isFinite(value));
  if (all.length === 0) return [0, 1];
  const least = Math.min(...all);
  const most = Math.max(...all);
  const air = most > least ? (most - least) * 0.08 : Math.max(Math.abs(most) * 0.05, 0.5);
  return [least - air, most + air];
}

function note_of({ note, signal }: Curve): string {
  return note ?? signal.about ?? "";
}

export class Plot {
  readonly root: HTMLElement;
  private readonly frame = element("div", { class: "plot-frame", role: "img" });
  private readonly cursor_line = element("div", { class: "cursor-line" });
  private readonly values: HTMLElement[] = [];
  private readonly shown: boolean[];
  private plot: uPlot | null = null;
  private width = 0;
  private stale = true;
  private readonly undo: (() => void)[];

  constructor(private readonly options: PlotOptions, private readonly timeline: Timeline) {
    this.shown = options.curves.map((curve) => !curve.hidden);
    this.frame.setAttribute("aria-label", options.label);
    this.root = element("div", { class: "plot" }, this.legend(), this.frame);
    const sizes = new ResizeObserver(() => this.fit());
    sizes.observe(this.frame);
    this.undo = [
      timeline.on_cursor(() => this.show_cursor()), timeline.on_span(() => this.refresh()),
      timeline.on_news(() => this.take_news()), on_colors_change(() => this.rebuild()), () => sizes.disconnect(),
    ];
    this.show_cursor();
  }

  /** Takes the plot away. */
  remove(): void {
    for (const undo of this.undo) undo();
    this.plot?.destroy();
    this.plot = null;
    this.root.remove();
  }

  /** What the legend says at the cursor, one text a curve. */
  readings(): string[] {
    return this.values.map((value) => value.textContent ?? "");
  }

  /** To be called when signals have grown or marks have changed. Nothing is drawn before the plot has a place. */
  refresh(): void {
    this.stale = true;
    requestAnimationFrame(() => this.draw_if_stale());
    this.show_cursor();
  }

  private take_news(): void {
    if (this.options.curves.some((curve) => curve.signal.every)) this.refresh();
  }

  private legend(): HTMLElement {
    const { curves, unit } = this.options;
    const entries: Child[] = curves.map((curve, i) => {
      const value = element("span", { class: "value" });
      this.values.push(value);
      if (curve.quiet) return null;
      const button = element("button", { type: "button", class: "key", "aria-pressed": String(!curve.hidden) },
        element("span", { class: `swatch ${curve.held === "moments" ? "dots" : curve.dash ? "dashes" : ""} ${curve.color}` }),
        curve.label);
      const note = note_of(curve);
      if (note) button.title = note;
      button.addEventListener("click", () => {
        this.shown[i] = !this.shown[i];
        button.setAttribute("aria-pressed", String(this.shown[i]));
        this.plot?.setSeries(i + 1, { show: this.shown[i] ?? true });
      });
      return element("span", { class: "entry" }, button, value);
    });
    for (const band of this.options.bands ?? []) {
      entries.push(element("span", { class: "entry plain" }, element("span", { class: "swatch band" }), band.label));
    }
    return element("div", { class: "legend" }, element("span", { class: "unit" }, unit ? `in ${unit_sign(unit)}` : ""), ...entries);
  }

  private fit(): void {
    const width = this.frame.clientWidth;
    if (width === 0 || width === this.width) return;
    this.width = width;
    if (this.plot) this.plot.setSize({ width, height: this.options.height });
    else this.build();
    this.refresh();
  }

  private rebuild(): void {
    if (!this.plot) return;
    this.plot.destroy();
    this.plot = null;
    this.build();
    this.stale = false;
    this.show_cursor();
  }

  private columns(): Columns {
    const { curves } = this.options;
    const buckets = Math.max(50, Math.floor(this.width - axis_size - right_space));
    return sample(
      curves.map((curve) => curve.signal), curves.map((curve) => curve.held ?? "held"),
      this.timeline.from, this.timeline.to, buckets).columns;
  }

  private build(): void {
    this.plot = new uPlot(this.uplot_options(), this.columns() as uPlot.AlignedData, this.frame);
    this.plot.over.append(this.cursor_line);
    this.listen(this.plot.over);
  }

  private draw_if_stale(): void {
    const plot = this.plot;
    if (!plot || !this.stale) return;
    this.stale = false;
    plot.batch(() => {
      plot.setData(this.columns() as uPlot.AlignedData, false);
      plot.setScale("x", { min: this.timeline.from, max: this.timeline.to });
    });
    this.show_cursor();
  }

  private show_cursor(): void {
    const t = this.timeline.cursor;
    this.options.curves.forEach((curve, i) => {
      const near = is_near(curve.signal, t) ? near_sign : "";
      const text = near + quantity(value_at(curve.signal, t), "", this.options.decimals);
      const output = this.values[i] as HTMLElement;
      if (output.textContent !== text) output.textContent = text;
    });
    if (!this.plot) return;
    const at = this.plot.valToPos(t, "x");
    const inside = at >= 0 && at <= this.plot.over.clientWidth;
    this.cursor_line.hidden = !inside;
    this.cursor_line.style.transform = `translateX(${at}px)`;
  }

  private listen(over: HTMLElement): void {
    const time_of = (event: MouseEvent): number =>
      this.plot ? this.plot.posToVal(event.clientX - over.getBoundingClientRect().left, "x") : 0;
    over.addEventListener("pointermove", (event) => this.timeline.move_cursor(time_of(event)));
    over.addEventListener("pointerdown", (event) => this.timeline.move_cursor(time_of(event)));
    over.addEventListener("dblclick", () => this.timeline.show_all());
    over.addEventListener("wheel", (event) => {
      if (!event.ctrlKey && !event.shiftKey) return;  // the page scrolls
      event.preventDefault();
      const turned = event.deltaY || event.deltaX;
      if (event.ctrlKey) this.timeline.zoom(turned > 0 ? 1.25 : 0.8, time_of(event));
      else this.timeline.pan(turned > 0 ? 0.1 : -0.1);
    }, { passive: false });
  }

  private get pixel_us(): number {
    return this.timeline.span / Math.max(1, this.width - axis_size - right_space);
  }

  private uplot_options(): uPlot.Options {
    const { curves, height } = this.options;
    const axis: uPlot.Axis = {
      stroke: color("ink-soft"), font: label_font, grid: { stroke: color("grid"), width: 1 },
      ticks: { stroke: color("grid"), width: 1, size: 4 },
    };
    return {
      width: this.width,
      height,
      padding: [6, right_space, 0, 0],
      legend: { show: false },
      cursor: {
        x: false, y: false, points: { show: false }, drag: { x: true, y: false, setScale: false, dist: 8 },
        bind: { dblclick: () => null },
      },
      scales: {
        x: { time: false, range: () => [this.timeline.from, this.timeline.to] },
        y: { range: (_plot, low, high) => this.range_of(low, high) },
      },
      axes: [
        { ...axis, incrs: steps_us, values: (_plot, splits) => time_labels(splits, this.timeline.to, this.pixel_us), size: 24, gap: 3, space: 70 },
        { ...axis, values: number_labels, size: axis_size, gap: 4, space: 26 },
      ],
      series: [{}, ...curves.map((curve, i) => this.series_of(curve, i))],
      hooks: {
        drawClear: [(plot) => this.draw_ground(plot)],
        draw: [(plot) => this.draw_marks(plot)],
        setSelect: [(plot) => this.choose(plot)],
      },
    };
  }

  private range_of(low: number, high: number): [number, number] {
    const { curves, height, include = [], stretches = [] } = this.options;
    const { cursor, is_whole } = this.timeline;
    const aside = is_whole ? curves.filter((curve) => curve.aside).map((curve) => value_at(curve.signal, cursor)) : [];
    const [least, most] = range_around(low, high, [...include, ...aside.filter((value): value is number => value !== null)]);
    if (stretches.length === 0) return [least, most];
    const strip = strip_height / Math.max(1, height - strip_height - 30);  // the strip hides no curve
    return [least - (most - least) * strip, most];
  }

  private series_of(curve: Curve, i: number): uPlot.Series {
    const stroke = color(curve.color);
    const moments = curve.held === "moments";
    const series: uPlot.Series = {
      label: curve.label,
      show: this.shown[i] ?? true,
      auto: !curve.aside,
      stroke,
      width: moments ? 0 : (curve.width ?? 1.5),
      spanGaps: false,
      points: moments ? { show: true, size: 4, fill: stroke, width: 0 } : { show: false },
    };
    if (curve.dash) series.dash = curve.dash;
    const stepped = uPlot.paths.stepped?.({ align: 1 });
    if (!moments && stepped) series.paths = stepped;
    if (moments) series.paths = () => null;
    return series;
  }

  /** A stretch of time was drawn out with the mouse. */
  private choose(plot: uPlot): void {
    const { left, width } = plot.select;
    if (width < 4) return;
    const from = plot.posToVal(left, "x");
    const to = plot.posToVal(left + width, "x");
    plot.setSelect({ left: 0, top: 0, width: 0, height: 0 }, false);
    this.timeline.show(from, to);
  }

  private draw_ground(plot: uPlot): void {
    const { left, top, width, height } = plot.bbox;
    const paint = plot.ctx;
    paint.save();
    paint.beginPath();
    paint.rect(left, top, width, height);
    paint.clip();
    paint.fillStyle = color("band");
    for (const band of this.options.bands ?? []) this.draw_band(plot, band);
    this.draw_levels(plot);
    this.draw_stretches(plot);
    paint.restore();
  }

  private draw_band(plot: uPlot, band: Band): void {
    const signals = [band.low, band.high].filter((end): end is Signal => typeof end !== "number");
    const times = sample(signals, signals.map(() => "held" as const), this.timeline.from, this.timeline.to, 200).columns[0];
    const end_at = (end: number | Signal, t: number): number | null => (typeof end === "number" ? end : value_at(end, t));
    for (let i = 0; i + 1 < times.length; ++i) {
      const from = times[i] as number;
      const low = end_at(band.low, from);
      const high = end_at(band.high, from);
      if (low === null || high === null) continue;
      const x = plot.valToPos(from, "x", true);
      const y = plot.valToPos(high, "y", true);
      plot.ctx.fillRect(x, y, plot.valToPos(times[i + 1] as number, "x", true) - x, plot.valToPos(low, "y", true) - y);
    }
  }

  private draw_levels(plot: uPlot): void {
    const paint = plot.ctx;
    const { left, width } = plot.bbox;
    const ratio = uPlot.pxRatio;
    paint.strokeStyle = paint.fillStyle = color("ink-soft");
    paint.lineWidth = ratio;
    paint.font = `${10 * ratio}px system-ui, sans-serif`;
    for (const [i, level] of (this.options.levels ?? []).entries()) {
      const y = Math.round(plot.valToPos(level.value, "y", true)) + 0.5;
      paint.setLineDash([2 * ratio, 3 * ratio]);
      paint.beginPath();
      paint.moveTo(left, y);
      paint.lineTo(left + width, y);
      paint.stroke();
      paint.setLineDash([]);
      const at_right = i % 2 === 0;  // so that the words of two that lie close do not meet
      paint.textAlign = at_right ? "right" : "left";
      const at_top = y - 12 * ratio < plot.bbox.top;  // no room above the line
      paint.fillText(level.label, at_right ? left + width - 4 * ratio : left + 4 * ratio, at_top ? y + 11 * ratio : y - 3 * ratio);
    }
  }

  private draw_stretches(plot: uPlot): void {
    const paint = plot.ctx;
    const { left, top, width, height } = plot.bbox;
    const ratio = uPlot.pxRatio;
    const y = top + height - strip_height * ratio;
    paint.font = `${10 * ratio}px system-ui, sans-serif`;
    paint.textAlign = "left";
    for (const stretch of this.options.stretches ?? []) {
      if (stretch.to < this.timeline.from || stretch.from > this.timeline.to) continue;
      const from = Math.max(left, plot.valToPos(stretch.from, "x", true));
      const to = Math.min(left + width, plot.valToPos(stretch.to, "x", true));
      const wide = Math.max(ratio, to - from);
      paint.globalAlpha = 0.22;
      paint.fillStyle = color(stretch.color);
      paint.fillRect(from, y, wide, strip_height * ratio);
      paint.globalAlpha = 1;
      paint.fillRect(from, y, ratio, strip_height * ratio);
      if (paint.measureText(stretch.label).width + 8 * ratio > wide) continue;
      paint.fillStyle = color("ink");
      paint.fillText(stretch.label, from + 4 * ratio, y + (strip_height - 4) * ratio);
    }
  }

  private draw_marks(plot: uPlot): void {
    const paint = plot.ctx;
    const { top, height } = plot.bbox;
    const ratio = uPlot.pxRatio;
    let drawn = -1;
    paint.save();
    paint.setLineDash([]);
    paint.lineWidth = ratio;
    for (const mark of this.options.marks?.() ?? []) {
      if (mark.t < this.timeline.from) continue;
      if (mark.t > this.timeline.to) break;
      const x = Math.round(plot.valToPos(mark.t, "x", true)) + 0.5 * ratio;
      if (x === drawn) continue;
      drawn = x;
      paint.strokeStyle = paint.fillStyle = color(mark.color);
      paint.globalAlpha = 0.45;
      paint.beginPath();
      paint.moveTo(x, top);
      paint.lineTo(x, top + height);
      paint.stroke();
      paint.globalAlpha = 1;
      paint.beginPath();
      paint.moveTo(x - 3 * ratio, top);
      paint.lineTo(x + 3 * ratio, top);
      paint.lineTo(x, top + 5 * ratio);
      paint.fill();
    }
    paint.restore();
  }
}
