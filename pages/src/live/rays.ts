// The ToF sensor's rays, coloured by how wrong they are.
import type { State } from "./messages";

export interface Ray {
  name: string;
  right: boolean;
  up: boolean;
  sensed_mm: number;
  true_mm: number;
  valid: boolean;
  look: "good" | "fair" | "wrong" | "none";
}

const names = ["top right", "bottom right", "top left", "bottom left"];
const min_valid_quality = 11;
const no_distance_mm = 8190;
const good_share = 0.02;
const fair_share = 0.06;

const to_radians = Math.PI / 180;

/** Where a ray ends, from the lens: millimetres towards the wall, to the right and up. */
export interface RayEnd {
  ahead: number;
  right: number;
  up: number;
}

/** Of a ray that meets something; another one ends `farthest_mm` ahead. A zone's distance is that along the axis. */
export function end_of(ray: Ray, state: State, farthest_mm: number): RayEnd {
  const { pose, room } = state;
  const length = ray.true_mm > 0 ? ray.true_mm : farthest_mm;
  const half = (name: string): number => Math.tan(((room[`tof.zone_${name}_angle_deg`] ?? 24) / 2) * to_radians) * length;
  const across = (ray.right ? 1 : -1) * half("column");
  const upwards = (ray.up ? 1 : -1) * half("row");
  const [pitch, yaw, roll] = [pose.pitch_deg * to_radians, pose.yaw_deg * to_radians, pose.roll_deg * to_radians];
  const side = across * Math.cos(roll) - upwards * Math.sin(roll);
  const rise = upwards * Math.cos(roll) + across * Math.sin(roll);
  const level = length * Math.cos(pitch) - rise * Math.sin(pitch);
  return {
    ahead: level * Math.cos(yaw) - side * Math.sin(yaw),
    right: level * Math.sin(yaw) + side * Math.cos(yaw),
    up: length * Math.sin(pitch) + rise * Math.cos(pitch),
  };
}

function look_of(sensed: number, really: number, valid: boolean): Ray["look"] {
  if (!valid) return "none";
  if (really <= 0) return "wrong";
  const share = Math.abs(sensed - really) / really;
  return share <= good_share ? "good" : share <= fair_share ? "fair" : "wrong";
}

export function rays_of(state: State): Ray[] {
  const { sensed_mm, true_mm, quality } = state.zones;
  return names.map((name, i) => {
    const sensed = sensed_mm[i] ?? no_distance_mm;
    const really = true_mm[i] ?? -1;
    const valid = (quality[i] ?? 0) >= min_valid_quality && sensed < no_distance_mm;
    return { name, right: i < 2, up: i % 2 === 0, sensed_mm: sensed, true_mm: really, valid, look: look_of(sensed, really, valid) };
  });
}
