// Which curves stand together, under which title. A signal that a trace does not have is left out.
import type { PlotOptions, Curve, Stretch } from "../shared/plot";
import { derived, value_at, type Samples, type Signal } from "../shared/signals";
import { square_limit_deg } from "../shared/wall_picture";
import type { ColorName } from "../shared/theme";
import type { RunData, Zones } from "./data";

type PlotPlan = Omit<PlotOptions, "marks">;

export interface Panel {
  id: string;
  title: string;
  about: string;
  plots: PlotPlan[];
}

/** The corners in the order of the sensor's zones. */
export const zone_names = ["top right", "bottom right", "top left", "bottom left"] as const;
const zone_colors: readonly ColorName[] = ["blue", "vermilion", "green", "purple"];

/** Finds a run's signals by name, and makes curves of them. */
class Signals {
  private readonly by_name: Map<string, Signal>;

  constructor(data: RunData) {
    this.by_name = new Map(data.signals.map((signal) => [signal.name, signal]));
  }

  get(name: string): Signal | undefined {
    const found = this.by_name.get(name);
    return found && found.t.length > 0 ? found : undefined;
  }

  curve(name: string, label: string, color: ColorName, more: Partial<Curve> = {}): Curve[] {
    const signal = this.get(name);
    return signal ? [{ signal, label, color, ...more }] : [];
  }
}

/** A signal less another one, at the times of the first. */
function less(signal: Signal, other: Signal): Signal {
  return derived({ name: `${signal.name} less ${other.name}`, unit: signal.unit }, [signal, other], ([all, others]) => {
    const { t, v } = all as Samples;
    return { t, v: Array.from(t, (at, i) => {
      const value = v[i] ?? null;
      const reference = value_at(others as Samples, at);
      return value === null || reference === null ? null : value - reference;
    }) };
  });
}

/** The backlash over time: it is taken up to one side, or the lens is between both. */
function play_of(signals: Signals, end: number): Stretch[] {
  const state = signals.get("truth.backlash_state");
  if (!state) return [];
  return Array.from(state.t, (from, i): Stretch => {
    const value = state.v[i] ?? 0;
    const [label, color]: [string, ColorName] = value <= 0 ? ["play taken up to the left", "sky"] :
      value >= 1 ? ["play taken up to the right", "orange"] : ["within the play", "ink-soft"];
    return { from, to: state.t[i + 1] ?? end, label, color };
  });
}

function lens_panel(signals: Signals, end: number): Panel {
  const curves = [
    ...signals.curve("truth.best_tmr", "sharpest place", "green", { width: 2.5 }),
    ...signals.curve("truth.lens_tmr", "lens, true", "blue"),
    ...signals.curve("target.tmr", "target", "vermilion", { dash: [6, 4] }),
    ...signals.curve("reading.tmr", "reading", "orange", { held: "moments" }),
    ...signals.curve("state.g_limitLeft", "left limit", "ink-soft", { dash: [2, 3], aside: true }),
    ...signals.curve("state.g_limitRight", "right limit", "ink-soft", { dash: [8, 3], aside: true }),
  ];
  return {
    id: "lens", title: "Lens", about: "Where the lens stands on the position sensor's scale, and where it ought to.",
    plots: [
      { label: "Lens position, sharpest place, target and readings over time", unit: "TMR", curves, decimals: 1, height: 210 },
      {
        label: "Orders to the lens motor, added up", unit: "steps", decimals: 1, height: 120,
        stretches: play_of(signals, end),
        curves: signals.curve("order.position_steps", "orders, added up", "blue"),
      },
    ],
  };
}

function sharpness_panel(signals: Signals): Panel {
  return {
    id: "blur", title: "Sharpness", about: "How far the light of one point is spread; up to one pixel nobody sees.",
    plots: [{
      label: "Blur of the picture over time", unit: "px", decimals: 2, height: 130, include: [0],
      levels: [{ label: "seen above", value: 1 }],
      curves: [
        ...signals.curve("truth.blur_corner_px", "worst corner", "vermilion", { dash: [6, 4] }),
        ...signals.curve("truth.blur_px", "middle", "blue"),
      ],
    }],
  };
}

function edges_panel(signals: Signals): Panel {
  return {
    id: "edges", title: "Edges of the picture", about: "How far each edge on the wall is from upright or level.",
    plots: [
      {
        label: "Angles of the four edges over time", unit: "deg", decimals: 2, height: 180,
        bands: [{ label: `square within ${square_limit_deg}°`, low: -square_limit_deg, high: square_limit_deg }],
        curves: [
          ...signals.curve("truth.left_side_deg", "left", "blue"),
          ...signals.curve("truth.right_side_deg", "right", "vermilion"),
          ...signals.curve("truth.top_edge_deg", "top", "green", { dash: [8, 3] }),
          ...signals.curve("truth.bottom_edge_deg", "bottom", "purple", { dash: [2, 3] }),
        ],
      },
      {
        label: "Widths of the picture's top and bottom on the panel", unit: "px", decimals: 0, height: 110,
        curves: [
          ...signals.curve("truth.top_width", "top width", "green"),
          ...signals.curve("truth.bottom_width", "bottom width", "purple", { dash: [6, 4] }),
        ],
      },
    ],
  };
}

function zone_signal(zones: Zones, name: string, unit: string, value: (i: number) => number | null): Signal {
  return { name, unit, t: zones.t, v: zones.t.map((_t, i) => value(i)) };
}

/** Farther than any wall that the sensor could see: a ray that hardly meets the wall. */
const farthest_mm = 12000;

/** A signal without the values above a bound. */
function up_to(curves: Curve[], most: number): Curve[] {
  return curves.map((curve) => ({
    ...curve, signal: derived(curve.signal, [curve.signal], ([all]) => {
      const { t, v } = all as Samples;
      return { t, v: Array.from(v, (value) => (value === null || value > most ? null : value)) };
    }),
  }));
}

/** The ends of the signals' names, in the order of the sensor's zones. */
const zone_keys = ["tr", "br", "tl", "bl"] as const;

function zones_panel({ zones }: RunData, signals: Signals): Panel {
  const sensed: Curve[] = [];
  const lost: Curve[] = [];
  const truths: Curve[] = [];
  const quality: Curve[] = [];
  zone_names.forEach((label, zone) => {
    const color = zone_colors[zone] as ColorName;
    const valid = (i: number): boolean => Boolean(zones.valid[i]?.[zone]);
    const distance = (i: number): number | null => zones.sensed_mm[i]?.[zone] ?? null;
    const signal = (name: string, unit: string, value: (i: number) => number | null): Signal => zone_signal(zones, `${name}, ${label}`, unit, value);
    truths.push(...up_to(signals.curve(`truth.zone_${zone_keys[zone]}_mm`, label, color, { width: 1, quiet: true }), farthest_mm));
    sensed.push({ signal: signal("sensed", "mm", (i) => (valid(i) ? distance(i) : null)), label, color, held: "moments" });
    lost.push({ signal: signal("invalid", "mm", (i) => (valid(i) ? null : distance(i))), label, color: "ink-soft", held: "moments", quiet: true });
    quality.push({ signal: signal("quality", "", (i) => zones.quality[i]?.[zone] ?? null), label, color, held: "moments" });
  });
  const some = zones.t.length > 0;
  return {
    id: "zones", title: "Time-of-flight zones",
    about: "Dots are what the sensor said, grey ones it called invalid; lines are the true distances.",
    plots: [
      { label: "Distances of the four zones, sensed and true", unit: "mm", decimals: 0, height: 190, curves: some ? [...truths, ...lost, ...sensed] : [] },
      { label: "Quality of the four zones", unit: "quality", decimals: 0, height: 100, curves: some ? quality : [] },
    ],
  };
}

const chosen_by: Record<number, [string, ColorName]> = {
  0: ["told by the host", "purple"], 1: ["ToF chosen", "blue"], 2: ["gravity chosen", "orange"],
};

/** The gravity sensor's tilt is that of the unit as it hangs or stands: upside down a lens that looks down is raised. */
function gravity_less_true(signals: Signals): Curve[] {
  const felt = signals.get("tilt.gravity_deg");
  const pitch = signals.get("truth.pitch_deg");
  if (!felt || !pitch) return [];
  const quarter_turns = signals.get("truth.mounting");
  const roll = signals.get("truth.roll_deg");
  const v = Array.from(felt.t, (t, i) => {
    const turned = ((quarter_turns ? value_at(quarter_turns, t) ?? 0 : 0) * 90 + (roll ? value_at(roll, t) ?? 0 : 0)) * (Math.PI / 180);
    const sense = Math.sign(Math.round(Math.cos(turned)));  // 0: it lies on its side
    const [value, truth] = [felt.v[i] ?? null, value_at(pitch, t)];
    return value === null || truth === null || sense === 0 ? null : value - sense * truth;
  });
  const signal = { name: "tilt.gravity_deg less the true tilt", unit: felt.unit, t: felt.t, v };
  return [{ signal, label: "gravity less true", color: "orange", held: "moments", note: "against level, as the unit stands or hangs" }];
}

function tilt_panel(signals: Signals, end: number): Panel {
  const less_true = (name: string, truth_name: string, label: string, color: ColorName, more: Partial<Curve>): Curve[] => {
    const signal = signals.get(name);
    const truth = signals.get(truth_name);
    return signal && truth ? [{ signal: less(signal, truth), label, color, ...more }] : [];
  };
  const wall = signals.get("truth.wall_tilt_deg") ? "truth.wall_tilt_deg" : "truth.pitch_deg";
  return {
    id: "tilt", title: "Tilt", about: "What was sensed, less the true tilt; below, the tilts themselves, and which of them the picture was made for.",
    plots: [
      {
        label: "Errors of the sensed tilt", unit: "deg", decimals: 2, height: 140, levels: [{ label: "", value: 0 }],
        curves: [
          ...less_true("tilt.tof_deg", wall, "ToF less true", "blue", { held: "moments", note: "against the wall" }),
          ...gravity_less_true(signals),
          ...less_true("tilt.chosen_deg", wall, "chosen less true", "vermilion", {}),
        ],
      },
      {
        label: "Tilt, true, sensed and chosen", unit: "deg", decimals: 2, height: 130,
        stretches: stretches_of(signals.get("tilt.chosen_by"), end, chosen_by),
        curves: [
          ...signals.curve("truth.pitch_deg", "true, against level", "green"),
          ...(wall === "truth.pitch_deg" ? [] : signals.curve(wall, "true, against the wall", "ink-curve", { dash: [8, 3] })),
          ...signals.curve("tilt.chosen_deg", "chosen", "vermilion", { dash: [2, 3], width: 2 }),
        ],
      },
    ],
  };
}

/** The stretches in which a signal of small whole numbers stays the same, by the names of its values. */
function stretches_of(signal: Signal | undefined, end: number, names: Record<number, [string, ColorName]>): Stretch[] {
  if (!signal) return [];
  return Array.from(signal.t, (from, i): Stretch | null => {
    const name = names[signal.v[i] ?? Number.NaN];
    return name ? { from, to: signal.t[i + 1] ?? end, label: name[0], color: name[1] } : null;
  }).filter((stretch): stretch is Stretch => stretch !== null);
}

// Where the library draws its lines between two blocks of gravity samples, in degrees.
const shake_step_deg = 13;
const steady_step_deg = 1.76;

/** Which way the motion machine stands, from the flags that hosts can see too. */
function motion_of(signals: Signals, end: number): Stretch[] {
  const moved = signals.get("state.project_acc_angle_changed");
  const shaken = signals.get("state.project_acc_shake_happened");
  if (!moved || !shaken) return [];
  const times = Array.from(new Set([...Array.from(moved.t), ...Array.from(shaken.t)])).sort((a, b) => a - b);
  return times.map((from, i): Stretch => {
    const [label, color]: [string, ColorName] = value_at(moved, from) !== 1 ? ["idle", "green"] :
      value_at(shaken, from) === 1 ? ["moved, settling", "vermilion"] : ["at rest, run to follow", "orange"];
    return { from, to: times[i + 1] ?? end, label, color };
  });
}

/** How far the angles went from one block of samples to the next, on the axis that went farthest. */
function steps_of(signals: readonly Signal[]): Signal {
  const about = { name: "step of the angles", unit: "deg", about: "from one block of samples to the next, largest axis" };
  return derived(about, signals, steps_between);
}

function steps_between(axes: readonly Samples[]): Samples {
  const times = Array.from(new Set(axes.flatMap((axis) => Array.from(axis.t)))).sort((a, b) => a - b);
  const v = times.map((t, i) => {
    const before = times[i - 1];
    if (before === undefined || axes.every((axis) => (value_at(axis, before) ?? 0) === 0)) return null;  // no block yet
    return Math.max(...axes.map((axis) => Math.abs((value_at(axis, t) ?? 0) - (value_at(axis, before) ?? 0))));
  });
  return { t: times, v };
}

function gravity_panel(signals: Signals, end: number): Panel {
  const axes = ["x", "y", "z"].map((axis) => signals.get(`state.acc_degree.${axis}`)).filter((axis): axis is Signal => axis !== undefined);
  return {
    id: "gravity", title: "Gravity and motion", about: "What the gravity sensor says, and how the library takes it: idle, moved, or at rest again.",
    plots: [
      {
        label: "Acceleration on three axes over time", unit: "g", decimals: 3, height: 170,
        stretches: motion_of(signals, end),
        curves: [
          ...signals.curve("gravity.x", "x, right", "blue"),
          ...signals.curve("gravity.y", "y, front", "vermilion"),
          ...signals.curve("gravity.z", "z, up", "green"),
        ],
      },
      {
        label: "Steps of the sensed angles from block to block", unit: "deg", decimals: 2, height: 120,
        levels: [{ label: `shaken from ${shake_step_deg}°`, value: shake_step_deg }, { label: `steady below ${steady_step_deg}°`, value: steady_step_deg }],
        include: [0, shake_step_deg],
        curves: axes.length > 0 ? [{ signal: steps_of(axes), label: "step from block to block", color: "blue", held: "moments" }] : [],
      },
    ],
  };
}

function heat_panel(signals: Signals): Panel {
  return {
    id: "heat", title: "Heat", about: "Light source and lens barrel, how far the sharpest place drifts with them, and what is added against it.",
    plots: [
      {
        label: "Temperatures over time", unit: "C", decimals: 1, height: 130,
        curves: [
          ...signals.curve("truth.led_c", "light source, true", "vermilion"),
          ...signals.curve("reading.led_c", "light source, read", "orange", { held: "moments" }),
          ...signals.curve("truth.barrel_c", "lens barrel, true", "blue", { dash: [6, 4] }),
        ],
      },
      {
        label: "Drift of the sharpest place, and the offset against it", unit: "TMR", decimals: 1, height: 110,
        curves: [
          ...signals.curve("truth.drift_tmr", "drift, true", "blue"),
          ...signals.curve("state.g_focus_temp_adjust", "offset applied", "vermilion", { dash: [6, 4] }),
        ],
      },
    ],
  };
}

function says_something({ signal }: Curve): boolean {
  return Array.from(signal.v).some((value) => value !== null);
}

export function panels_of(data: RunData): Panel[] {
  const signals = new Signals(data);
  return [
    lens_panel(signals, data.end_us), sharpness_panel(signals), edges_panel(signals), zones_panel(data, signals), tilt_panel(signals, data.end_us),
    gravity_panel(signals, data.end_us), heat_panel(signals),
  ].map((panel) => ({ ...panel, plots: panel.plots.filter((plot) => plot.curves.some(says_something)) }));
}

