// The curves of the last minute, at the speed at which the run goes.
import { element } from "../shared/dom";
import { color, on_colors_change, type ColorName } from "../shared/theme";
import { curve_point, type CurvePoint, type State } from "./messages";

interface Curve {
  label: string;
  color: ColorName;
  column: number;  // of a curve point
  scale?: number;
  dash?: number[];
}

interface PlotKind {
  title: string;
  curves: Curve[];
}

const kinds: PlotKind[] = [
  { title: "Lens, in TMR", curves: [
    { label: "lens", color: "blue", column: 1 }, { label: "best focus", color: "vermilion", column: 2, dash: [5, 4] }] },
  { title: "Sharpness, in %", curves: [{ label: "sharpness", color: "green", column: 3, scale: 100 }] },
  { title: "Sides of the picture, in degrees", curves: [
    { label: "left", color: "purple", column: 4 }, { label: "right", color: "orange", column: 5, dash: [5, 4] }] },
  { title: "Tilt, in degrees, and LED, in °C", curves: [
    { label: "tilt", color: "sky", column: 7 }, { label: "LED", color: "vermilion", column: 8, dash: [5, 4] }] },
];

const window_s = 60;
const kept = 2400;
const height = 130;
const redraw_ms = 200;  // the drawings of the room go before

/** Real time goes on evenly while simulated time does not: what is shown is a minute at the present speed. */
export class Curves {
  readonly root = element("div", { class: "plots" });
  private points: CurvePoint[] = [];
  private plots: { kind: PlotKind; frame: HTMLElement; plot: uPlot | null }[];
  private span_s = window_s;
  private is_stale = false;

  constructor() {
    this.plots = kinds.map((kind) => {
      const frame = element("div", { class: "plot-frame", role: "img", "aria-label": `${kind.title}: the last minute` });
      const legend = element("div", { class: "legend" }, element("span", { class: "unit" }, kind.title),
        ...kind.curves.map((curve) => element("span", { class: "entry plain" },
          element("span", { class: `swatch ${curve.dash ? "dashes" : ""} ${curve.color}` }), curve.label)));
      this.root.append(element("div", { class: "plot" }, legend, frame));
      return { kind, frame, plot: null };
    });
    on_colors_change(() => this.rebuild());
    new ResizeObserver(() => this.fit()).observe(this.root);
  }

  begin(points: CurvePoint[]): void {
    this.points = points;
    this.refresh();
  }

  add(state: State): void {
    this.span_s = window_s * Math.max(state.speed, 0.1);
    const last = this.points[this.points.length - 1];
    if (last && state.t_us <= last[0]) return;
    this.points.push(curve_point(state));
    if (this.points.length > kept) this.points.splice(0, this.points.length - kept);
    this.refresh();
  }

  private refresh(): void {
    if (this.is_stale) return;
    this.is_stale = true;
    window.setTimeout(() => requestAnimationFrame(() => {
      this.is_stale = false;
      this.draw();
    }), redraw_ms);
  }

  private draw(): void {
    const last_s = (this.points[this.points.length - 1]?.[0] ?? 0) / 1e6;
    for (const entry of this.plots) {
      entry.plot?.setData(this.columns(entry.kind, last_s), false);
      entry.plot?.setScale("x", { min: Math.max(0, last_s - this.span_s), max: Math.max(last_s, 1) });
    }
  }

  private columns(kind: PlotKind, last_s: number): uPlot.AlignedData {
    const from_us = (last_s - this.span_s) * 1e6;
    const first = Math.max(0, this.points.findIndex((point) => point[0] >= from_us) - 1);
    const shown = this.points.slice(first);
    const times = shown.map((point) => point[0] / 1e6);
    return [times, ...kind.curves.map(({ column, scale = 1 }) => shown.map((point) => (point[column] as number) * scale))];
  }

  private fit(): void {
    for (const entry of this.plots) {
      const width = entry.frame.clientWidth;
      if (width === 0) continue;
      if (entry.plot) entry.plot.setSize({ width, height });
      else entry.plot = this.build(entry.kind, entry.frame, width);
    }
    this.refresh();
  }

  private rebuild(): void {
    for (const entry of this.plots) {
      entry.plot?.destroy();
      entry.plot = null;
    }
    this.fit();
  }

  private build(kind: PlotKind, frame: HTMLElement, width: number): uPlot {
    const axis: uPlot.Axis = {
      stroke: color("ink-soft"), font: "11px system-ui, sans-serif", grid: { stroke: color("grid"), width: 1 },
      ticks: { stroke: color("grid"), width: 1, size: 4 },
    };
    return new uPlot({
      width, height, legend: { show: false }, cursor: { show: false }, pxAlign: false,
      scales: { x: { time: false }, y: { range: (_plot, low, high) => around(low, high) } },
      axes: [{ ...axis, size: 24, values: (_plot, splits) => splits.map((t) => `${t} s`) }, { ...axis, size: 46 }],
      series: [{}, ...kind.curves.map((curve): uPlot.Series => ({
        label: curve.label, stroke: color(curve.color), width: 1.75, points: { show: false },
        ...(curve.dash ? { dash: curve.dash } : {}),
      }))],
    }, this.columns(kind, 0), frame);
  }
}

function around(low: number | null, high: number | null): [number, number] {
  if (low === null || high === null) return [0, 1];
  const air = Math.max((high - low) * 0.1, Math.abs(high) * 0.02, 0.2);
  return [low - air, high + air];
}
