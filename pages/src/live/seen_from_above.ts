// The room from above: the main wall at the top, the projector below it. Millimetres to the right of the lens, and
// away from the wall.
import { shape } from "../shared/dom";
import { trimmed } from "../shared/format";
import type { Connection } from "./connection";
import { make_draggable, type Point } from "./drag";
import type { Hand } from "./hand";
import type { State } from "./messages";
import { half_width_mm as half_width, person_side_mm } from "./people";
import { end_of, rays_of } from "./rays";

const depth = 4300;
const wall_margin = 260;
const max_distance_mm = 4000;
const min_distance_mm = 400;
const max_yaw_deg = 40;
const turner_mm = 520;
const half_body_mm = 130;
const to_radians = Math.PI / 180;

function clamp(value: number, low: number, high: number): number {
  return Math.min(high, Math.max(low, value));
}

/** How much of the distance along the axis is distance from the wall. */
function straight_share(state: State): number {
  return Math.cos(state.pose.yaw_deg * to_radians) * Math.cos(state.pose.pitch_deg * to_radians);
}

export class SeenFromAbove {
  readonly root = shape("svg", {
    class: "room", viewBox: `${-half_width} ${-wall_margin} ${2 * half_width} ${depth + wall_margin}`, role: "group",
    "aria-label": "The room from above",
  });
  private state: State | null = null;
  private readonly beam = shape("polygon", { class: "beam" });
  private readonly rays = shape("g", { class: "rays" });
  private readonly side_wall = shape("line", { class: "solid" });
  private readonly corner = shape("circle", { r: 75, tabindex: 0, role: "slider", "aria-label": "Corner of the walls, to the right of the lens" });
  private readonly boxes = ["box1", "box2"].map((name, i) => shape("rect", {
    class: "box", tabindex: 0, role: "slider", "aria-label": `Box ${i + 1}, to the right of the lens`, "data-name": name,
  }));
  private readonly people = ["person1", "person2"].map(() => shape("circle", { class: "person" }));
  private readonly body = shape("g", {
    class: "projector", tabindex: 0, role: "slider", id: "projector-above", "aria-label": "Projector: distance to the wall; left and right turn it",
    "aria-valuemin": min_distance_mm, "aria-valuemax": max_distance_mm,
  },
  shape("rect", { x: -half_body_mm, y: -70, width: 2 * half_body_mm, height: 210, rx: 40 }),
  shape("circle", { class: "lens", r: 45, cy: -60 }));
  private readonly turner = shape("circle", { class: "turner", r: 75, tabindex: 0, role: "slider", "aria-label": "Projector: turn to the side", "aria-valuemin": -max_yaw_deg, "aria-valuemax": max_yaw_deg });
  private readonly words = shape("text", { class: "label", "text-anchor": "middle" });

  constructor(private readonly connection: Connection, private readonly hand: Hand) {
    this.root.append(
      shape("rect", { class: "wall-face", x: -half_width, y: -wall_margin, width: 2 * half_width, height: wall_margin }),
      shape("line", { class: "solid", x1: -half_width, x2: half_width, y1: 0, y2: 0 }),
      this.beam, this.rays, this.side_wall, ...this.boxes, ...this.people, this.turner, this.body, this.corner, this.words);
    this.let_the_projector_be_dragged();
    this.let_the_room_be_dragged();
  }

  show(state: State): void {
    this.state = state;
    this.show_room(state);
    this.show_projector(state);
    this.show_beam(state);
  }

  /** Where the lens is, from the wall. */
  private lens(): Point {
    if (!this.state) return { x: 0, y: 1500 };
    return { x: 0, y: this.state.pose.distance_mm * straight_share(this.state) };
  }

  // --- Drawing -------------------------------------------------------------------------------------------------

  private show_projector(state: State): void {
    const { pose } = state;
    const lens = this.lens();
    this.body.setAttribute("transform", `translate(0 ${lens.y.toFixed(1)}) rotate(${pose.yaw_deg.toFixed(2)})`);
    this.body.classList.toggle("held", state.held);
    this.body.setAttribute("aria-valuenow", pose.distance_mm.toFixed(0));
    this.body.setAttribute("aria-valuetext", `${pose.distance_mm.toFixed(0)} mm, turned by ${trimmed(pose.yaw_deg, 1)} degrees`);
    const angle = pose.yaw_deg * to_radians;
    this.turner.setAttribute("cx", (turner_mm * Math.sin(angle)).toFixed(1));
    this.turner.setAttribute("cy", (lens.y - turner_mm * Math.cos(angle)).toFixed(1));
    this.turner.setAttribute("aria-valuenow", pose.yaw_deg.toFixed(1));
    this.words.setAttribute("y", String(Math.min(lens.y + 270, depth - 40)));
    this.words.textContent = `${pose.distance_mm.toFixed(0)} mm, ${trimmed(pose.yaw_deg, 1)}°`;
  }

  private show_beam(state: State): void {
    const lens = this.lens();
    const outline = state.truth.on_wall ? state.truth.outline_mm : [];
    const xs = outline.map((corner) => corner[0]);
    this.beam.setAttribute("points", xs.length === 0 ? "" :
      `0,${lens.y.toFixed(1)} ${Math.min(...xs).toFixed(1)},0 ${Math.max(...xs).toFixed(1)},0`);
    const drawn = rays_of(state).map((ray) => {
      const end = end_of(ray, state, max_distance_mm);
      return shape("line", {
        class: `ray ${ray.look}`, x1: 0, y1: lens.y.toFixed(1), x2: end.right.toFixed(1), y2: (lens.y - end.ahead).toFixed(1),
      });
    });
    this.rays.replaceChildren(...drawn);
  }

  private show_room(state: State): void {
    const { room } = state;
    const lens = this.lens();
    const corner_mm = room["room.corner_mm"] ?? 0;
    const there = corner_mm !== 0;
    this.side_wall.classList.toggle("absent", !there);
    this.corner.classList.toggle("absent", !there);
    const angle = (room["room.corner_deg"] ?? 90) * to_radians;
    const outwards = corner_mm > 0 ? 1 : -1;
    this.side_wall.setAttribute("x1", String(corner_mm));
    this.side_wall.setAttribute("y1", "0");
    this.side_wall.setAttribute("x2", (corner_mm - outwards * Math.cos(angle) * 5000).toFixed(1));
    this.side_wall.setAttribute("y2", (Math.sin(angle) * 5000).toFixed(1));
    this.corner.setAttribute("cx", String(corner_mm));
    this.corner.setAttribute("cy", "0");
    this.corner.setAttribute("aria-valuenow", corner_mm.toFixed(0));
    this.boxes.forEach((box, i) => this.show_box(box, `room.box${i + 1}`, room, lens));
    this.people.forEach((person, i) => this.show_person(person, `room.person${i + 1}`, state, lens));
  }

  private show_box(box: SVGElement, name: string, room: Record<string, number>, lens: Point): void {
    const width = room[`${name}_width_mm`] ?? 0;
    const box_depth = room[`${name}_depth_mm`] ?? 0;
    box.classList.toggle("absent", width === 0);
    box.setAttribute("x", ((room[`${name}_side_mm`] ?? 0) - width / 2).toFixed(1));
    box.setAttribute("y", (lens.y - (room[`${name}_along_mm`] ?? 0) - box_depth).toFixed(1));
    box.setAttribute("width", String(width));
    box.setAttribute("height", String(box_depth));
    box.setAttribute("aria-valuenow", (room[`${name}_side_mm`] ?? 0).toFixed(0));
  }

  private show_person(person: SVGElement, name: string, state: State, lens: Point): void {
    const { room } = state;
    const width = room[`${name}_width_mm`] ?? 0;
    person.classList.toggle("absent", width === 0);
    person.setAttribute("cx", person_side_mm(state, name).toFixed(1));
    person.setAttribute("cy", (lens.y - (room[`${name}_along_mm`] ?? 0)).toFixed(1));
    person.setAttribute("r", String(width / 2));
  }

  // --- Dragging ------------------------------------------------------------------------------------------------

  private let_the_projector_be_dragged(): void {
    make_draggable(this.root, this.body, {
      begin: () => this.lens(),
      move: (to) => {
        if (!this.state) return;
        const distance_mm = clamp(Math.round(to.y / straight_share(this.state)), min_distance_mm, max_distance_mm);
        const yaw_deg = clamp(Math.round(to.x * 0.2) / 10, -max_yaw_deg, max_yaw_deg);
        this.hand.carry(Math.abs(to.x) > 60 ? { distance_mm, yaw_deg } : { distance_mm });
      },
      end: () => this.hand.set_down(),
      step: (right, up) => {
        if (!this.state) return;
        const { pose } = this.state;
        if (up !== 0) {
          const distance_mm = this.hand.aim("distance_mm", pose.distance_mm) - 50 * up;
          this.hand.nudge({ distance_mm: clamp(Math.round(distance_mm), min_distance_mm, max_distance_mm) });
        } else this.turn_by(right);
      },
    });
    make_draggable(this.root, this.turner, {
      begin: () => ({ x: Number(this.turner.getAttribute("cx")), y: Number(this.turner.getAttribute("cy")) }),
      move: (to) => {
        const lens = this.lens();
        const yaw_deg = Math.atan2(to.x, Math.max(lens.y - to.y, 1)) / to_radians;
        this.hand.carry({ yaw_deg: clamp(Math.round(yaw_deg * 10) / 10, -max_yaw_deg, max_yaw_deg) });
      },
      end: () => this.hand.set_down(),
      step: (right) => this.turn_by(right),
    });
  }

  private turn_by(degrees: number): void {
    if (!this.state || degrees === 0) return;
    const yaw_deg = this.hand.aim("yaw_deg", this.state.pose.yaw_deg) + degrees;
    this.hand.nudge({ yaw_deg: clamp(Math.round(yaw_deg * 10) / 10, -max_yaw_deg, max_yaw_deg) });
  }

  private let_the_room_be_dragged(): void {
    const move_corner = (x: number): void => {
      const at = clamp(Math.round(x), -half_width, half_width);
      this.connection.follow("corner", { set: { "room.corner_mm": at === 0 ? 1 : at }, what: `the corner is moved to ${at} mm` });
    };
    make_draggable(this.root, this.corner, {
      begin: () => ({ x: this.state?.room["room.corner_mm"] ?? 0, y: 0 }),
      move: (to) => move_corner(to.x),
      step: (right) => move_corner((this.state?.room["room.corner_mm"] ?? 0) + 50 * right),
    });
    this.boxes.forEach((box, i) => this.let_a_box_be_dragged(box, `room.box${i + 1}`, i + 1));
  }

  private let_a_box_be_dragged(box: SVGElement, name: string, number: number): void {
    const value = (member: string): number => this.state?.room[`${name}_${member}`] ?? 0;
    const move_to = (side: number, along: number): void => {
      this.connection.follow(name, {
        set: { [`${name}_side_mm`]: clamp(Math.round(side), -half_width, half_width), [`${name}_along_mm`]: clamp(Math.round(along), 50, 4000) },
        what: `box ${number} is pushed about`,
      });
    };
    make_draggable(this.root, box, {
      begin: () => ({ x: value("side_mm"), y: this.lens().y - value("along_mm") }),
      move: (to) => move_to(to.x, this.lens().y - to.y),
      step: (right, up) => move_to(value("side_mm") + 50 * right, value("along_mm") + 50 * up),
    });
  }
}
