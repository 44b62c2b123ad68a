// What is so at the moment, in numbers and bars.
import { element } from "../shared/dom";
import { fixed } from "../shared/format";
import type { State } from "./messages";

interface Gauge {
  name: string;
  unit: string;
  low: number;
  high: number;
  decimals: number;
  value(state: State): number;
  /** Whether a person would be content with it. */
  good?(state: State): boolean;
  more?(state: State): string;
}

const sharp_enough = 0.98;
const square_enough_deg = 0.5;

// Positive when the lens looks up: the axis "back" falls below the horizon.
function felt_pitch_deg(state: State): number {
  const [left, back, up] = state.gravity_g;
  return (Math.atan2(-back, Math.hypot(left, up)) * 180) / Math.PI;
}

function edges_of({ truth }: State): string {
  const both = (one: number, other: number): string => `${fixed(one, 1)}/${fixed(other, 1)}°`;
  return `sides ${both(truth.left_side_deg, truth.right_side_deg)}, top/bottom ${both(truth.top_edge_deg, truth.bottom_edge_deg)}`;
}

const gauges: Gauge[] = [
  { name: "Sharpness", unit: "%", low: 0, high: 100, decimals: 1, value: (s) => 100 * s.truth.sharpness,
    good: (s) => s.truth.sharpness >= sharp_enough, more: (s) => `blur ${fixed(s.truth.blur_px, 2)} px, corners ${fixed(s.truth.blur_corner_px, 2)} px` },
  { name: "Lens", unit: "TMR", low: -400, high: 400, decimals: 0, value: (s) => s.truth.lens_tmr,
    more: (s) => `best ${fixed(s.truth.best_tmr, 0)}, off by ${fixed(s.truth.lens_error_tmr, 1)}${s.truth.lens_moving ? ", moving" : ""}` },
  { name: "Worst edge", unit: "°", low: 0, high: 10, decimals: 2, value: (s) => Math.abs(s.truth.worst_edge_deg),
    good: (s) => s.truth.on_wall && Math.abs(s.truth.worst_edge_deg) <= square_enough_deg,
    more: (s) => s.truth.on_wall ? edges_of(s) : "not on the wall" },
  { name: "Distance", unit: "mm", low: 0, high: 4000, decimals: 0, value: (s) => s.truth.distance_mm,
    more: (s) => `yaw ${fixed(s.truth.yaw_deg, 1)}°` },
  { name: "Tilt", unit: "°", low: -40, high: 40, decimals: 1, value: (s) => s.truth.pitch_deg,
    more: (s) => `felt ${fixed(felt_pitch_deg(s), 1)}°, roll ${fixed(s.truth.roll_deg, 1)}°` },
  { name: "LED", unit: "°C", low: 0, high: 90, decimals: 1, value: (s) => s.truth.led_c,
    more: (s) => `sensor ${fixed(s.led_reading_c, 0)} °C, room ${fixed(s.room["heat.ambient_c"] ?? 0, 0)} °C` },
];

interface Shown {
  gauge: Gauge;
  value: HTMLElement;
  more: HTMLElement;
  meter: HTMLElement;
  bar: HTMLElement;
}

export class Gauges {
  readonly root = element("dl", { class: "gauges" });
  private readonly shown: Shown[] = gauges.map((gauge) => this.make(gauge));

  show(state: State): void {
    for (const { gauge, value, more, meter, bar } of this.shown) {
      const now = gauge.value(state);
      const text = `${fixed(now, gauge.decimals)} ${gauge.unit}`;
      const good = gauge.good ? gauge.good(state) : null;
      value.textContent = good === null ? text : `${text} ${good ? "✓" : "✗"}`;
      value.classList.toggle("good", good === true);
      value.classList.toggle("bad", good === false);
      more.textContent = gauge.more?.(state) ?? "";
      const share = Math.min(1, Math.max(0, (now - gauge.low) / (gauge.high - gauge.low)));
      bar.style.transform = `scaleX(${share.toFixed(4)})`;
      meter.setAttribute("aria-valuenow", Math.min(gauge.high, Math.max(gauge.low, now)).toFixed(gauge.decimals));
      meter.setAttribute("aria-valuetext", text);
    }
  }

  private make(gauge: Gauge): Shown {
    const value = element("span", { class: "value" }, "–");
    const more = element("span", { class: "more" });
    const bar = element("div", { class: "bar" });
    const meter = element("div", {
      class: "meter", role: "meter", "aria-label": gauge.name, "aria-valuemin": gauge.low, "aria-valuemax": gauge.high, "aria-valuenow": gauge.low,
    }, bar);
    this.root.append(element("div", { id: `gauge-${gauge.name.toLowerCase().replace(" ", "-")}` },
      element("dt", {}, gauge.name), element("dd", {}, value, meter, more)));
    return { gauge, value, more, meter, bar };
  }
}
