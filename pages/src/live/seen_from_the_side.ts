// The room from the side: the wall on the right, the projector at its lens's height on the left. Millimetres from
// the wall and above the floor.
import { shape } from "../shared/dom";
import { trimmed } from "../shared/format";
import { make_draggable } from "./drag";
import type { Hand } from "./hand";
import type { State } from "./messages";
import { person_side_mm, half_width_mm } from "./people";
import { end_of, rays_of } from "./rays";

const depth = 4300;
const height = 2500;
const wall_margin = 200;
const floor_margin = 120;
const tilter_mm = 560;
const max_pitch_deg = 40;
const to_radians = Math.PI / 180;

function tilt_near(degrees: number): number {
  return Math.min(max_pitch_deg, Math.max(-max_pitch_deg, Math.round(degrees * 10) / 10));
}

export class SeenFromTheSide {
  readonly root = shape("svg", {
    class: "room", viewBox: `${-depth} ${-height} ${depth + wall_margin} ${height + floor_margin}`, role: "group",
    "aria-label": "The room from the side",
  });
  private state: State | null = null;
  private readonly wall = shape("line", { class: "solid" });
  private readonly beam = shape("polygon", { class: "beam" });
  private readonly rays = shape("g", { class: "rays" });
  private readonly things = shape("g");
  private readonly body = shape("g", { class: "projector" },
    shape("rect", { x: -150, y: -55, width: 210, height: 110, rx: 30 }), shape("circle", { class: "lens", r: 40, cx: 50 }));
  private readonly stand = shape("line", { class: "stand" });
  private readonly tilter = shape("circle", {
    class: "turner", r: 75, tabindex: 0, role: "slider", "aria-label": "Projector: tilt up and down",
    "aria-valuemin": -max_pitch_deg, "aria-valuemax": max_pitch_deg,
  });
  private readonly words = shape("text", { class: "label" });

  constructor(private readonly hand: Hand) {
    this.root.append(
      shape("line", { class: "floor", x1: -depth, x2: wall_margin, y1: 0, y2: 0 }),
      this.wall, this.beam, this.rays, this.things, this.stand, this.body, this.tilter, this.words);
    make_draggable(this.root, this.tilter, {
      begin: () => ({ x: Number(this.tilter.getAttribute("cx")), y: Number(this.tilter.getAttribute("cy")) }),
      move: (to) => {
        const [x, y] = this.lens();
        this.hand.carry({ pitch_deg: tilt_near(Math.atan2(y - to.y, Math.max(to.x - x, 1)) / to_radians) });
      },
      end: () => this.hand.set_down(),
      step: (right, up) => this.hand.nudge({ pitch_deg: tilt_near(this.hand.aim("pitch_deg", this.state?.pose.pitch_deg ?? 0) + right + up) }),
    });
  }

  show(state: State): void {
    this.state = state;
    const { pose, room, truth } = state;
    const [x, y] = this.lens();
    const lean = (room["wall.lean_deg"] ?? 0) * to_radians;
    this.place_line(this.wall, [Math.tan(lean) * y, 0], [Math.tan(lean) * (height + y), -height]);
    this.body.setAttribute("transform", `translate(${x.toFixed(1)} ${y.toFixed(1)}) rotate(${(-pose.pitch_deg).toFixed(2)})`);
    this.body.classList.toggle("held", state.held);
    const hangs = pose.mounting === 2;
    this.place_line(this.stand, [x - 50, y + (hangs ? -55 : 55)], [x - 50, hangs ? -height : 0]);
    const pitch = pose.pitch_deg * to_radians;
    this.tilter.setAttribute("cx", (x + tilter_mm * Math.cos(pitch)).toFixed(1));
    this.tilter.setAttribute("cy", (y - tilter_mm * Math.sin(pitch)).toFixed(1));
    this.tilter.setAttribute("aria-valuenow", pose.pitch_deg.toFixed(1));
    this.words.setAttribute("x", (x - 150).toFixed(1));
    this.words.setAttribute("y", (y - 130).toFixed(1));
    this.words.textContent = `${trimmed(pose.pitch_deg, 1)}°`;
    const zs = truth.on_wall ? truth.outline_mm.map((corner) => corner[1]) : [];
    this.beam.setAttribute("points", zs.length === 0 ? "" :
      `${x.toFixed(1)},${y.toFixed(1)} 0,${(y - Math.max(...zs)).toFixed(1)} 0,${(y - Math.min(...zs)).toFixed(1)}`);
    this.show_rays(state, x, y);
    this.show_things(state, x);
  }

  /** The lens, from the wall and above the floor (upwards is negative). */
  private lens(): [number, number] {
    if (!this.state) return [-1500, -750];
    const { pose, room } = this.state;
    const straight = Math.cos(pose.pitch_deg * to_radians) * Math.cos(pose.yaw_deg * to_radians);
    return [-pose.distance_mm * straight, -(room["room.lens_height_mm"] ?? 750)];
  }

  private place_line(line: SVGElement, [x1, y1]: [number, number], [x2, y2]: [number, number]): void {
    line.setAttribute("x1", x1.toFixed(1));
    line.setAttribute("y1", y1.toFixed(1));
    line.setAttribute("x2", x2.toFixed(1));
    line.setAttribute("y2", y2.toFixed(1));
  }

  private show_rays(state: State, x: number, y: number): void {
    this.rays.replaceChildren(...rays_of(state).map((ray) => {
      const end = end_of(ray, state, depth);
      return shape("line", {
        class: `ray ${ray.look}`, x1: x.toFixed(1), y1: y.toFixed(1), x2: (x + end.ahead).toFixed(1), y2: (y - end.up).toFixed(1),
      });
    }));
  }

  private show_things(state: State, lens_x: number): void {
    const { room } = state;
    const drawn: SVGElement[] = [];
    for (const name of ["box1", "box2"]) {
      const value = (member: string): number => room[`room.${name}_${member}_mm`] ?? 0;
      if (value("width") === 0) continue;
      drawn.push(shape("rect", { class: "box", x: lens_x + value("along"), y: -value("foot") - value("height"), width: value("depth"), height: value("height") }));
    }
    for (const name of ["person1", "person2"]) {
      const value = (member: string): number => room[`room.${name}_${member}_mm`] ?? 0;
      const is_near = Math.abs(person_side_mm(state, `room.${name}`)) < half_width_mm;
      if (value("width") === 0 || !is_near) continue;
      drawn.push(shape("rect", { class: "person", x: lens_x + value("along") - value("width") / 2, y: -value("height"), width: value("width"), height: value("height"), rx: value("width") / 2 }));
    }
    this.things.replaceChildren(...drawn);
  }
}
