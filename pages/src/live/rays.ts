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
