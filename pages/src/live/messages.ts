// What the server tells of the run.
import type { Outline } from "../shared/wall_picture";

export interface Truth {
  distance_mm: number;
  pitch_deg: number;
  yaw_deg: number;
  roll_deg: number;
  mounting: number;
  led_c: number;
  lens_tmr: number;
  best_tmr: number;
  lens_error_tmr: number;
  sharpness: number;
  left_side_deg: number;
  right_side_deg: number;
  top_edge_deg: number;
  bottom_edge_deg: number;
  worst_edge_deg: number;
  on_wall: boolean;
  blur_px: number;
  blur_corner_px: number;
  lens_moving: boolean;
  outline_mm: Outline;
}

export interface Pose {
  distance_mm: number;
  pitch_deg: number;
  yaw_deg: number;
  roll_deg: number;
  mounting: number;
}

/** In the order of the zones: top right, bottom right, top left, bottom left. */
export interface Zones {
  sensed_mm: number[];
  true_mm: number[];  // -1: nothing there
  quality: number[];
}

export interface State {
  t_us: number;
  speed: number;
  paused: boolean;
  truth: Truth;
  pose: Pose;       // as it is meant, without the hand's tremor
  held: boolean;
  gravity_g: [number, number, number];  // left, back, up
  led_reading_c: number;
  zones: Zones;
  room: Record<string, number>;  // parameters by name
}

export interface Happening {
  t_us: number;
  kind: "event" | "log" | "toast" | "failure" | "fault" | "state";
  text: string;
  log?: "seen" | "chosen" | "refused" | "detail";
  values?: Record<string, number>;
}

/** t_us, lens, best, sharpness, left, right, distance, pitch, LED. */
export type CurvePoint = [number, number, number, number, number, number, number, number, number];

export interface News {
  run?: { story: string; program: string; scenario: string };
  curves?: CurvePoint[];
  state?: State;
  happenings?: Happening[];
  missed?: number;
  end?: { exit_code: number; limit_s?: number };
}

export function curve_point(state: State): CurvePoint {
  const { truth } = state;
  return [state.t_us, truth.lens_tmr, truth.best_tmr, truth.sharpness, truth.left_side_deg, truth.right_side_deg,
    truth.distance_mm, truth.pitch_deg, truth.led_c];
}
