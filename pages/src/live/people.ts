// People who stand in the room or walk through it.
import type { State } from "./messages";

/** Of the part of the room that is drawn, to either side of the projector. */
export const half_width_mm = 2300;

/** Where a person is, to the right of the projector. `name` is that of its parameters: "room.person1". */
export function person_side_mm({ t_us, room }: State, name: string): number {
  const walked_s = Math.max(0, t_us / 1e6 - (room[`${name}_start_s`] ?? 0));
  return (room[`${name}_side_mm`] ?? 0) + walked_s * (room[`${name}_mm_per_s`] ?? 0);
}
