// Everything that can be done to the run by a button: the room, the unit, the host, faults.
import { element, type Child } from "../shared/dom";
import type { Connection, ScenarioEvent } from "./connection";
import type { Hand } from "./hand";
import type { State } from "./messages";

const warmer_by_c = 10;
const box_width_mm = 500;
const corner_mm = 900;
const walk_mm_per_s = 900;
const walk_from_mm = -2200;

// Keys of the unit by their numbers in the input driver.
const keys: [string, number][] = [["Menu", 139], ["OK", 28], ["Back", 158], ["Volume up", 115], ["Volume down", 114], ["Power", 116]];

const commands: [string, string][] = [
  ["Focus and square", "akaf"], ["Keystone only", "switches 1 0"], ["Focus only", "switches 0 1"], ["Both on", "switches 1 1"],
  ["Status", "status"],
];

const faults: [string, { operation?: string; path?: string; error?: string; stale?: boolean }][] = [
  ["Lens motor: writes fail", { operation: "write", path: "/sys/class/motor/*", error: "EIO" }],
  ["Lens sensor: stale readings", { operation: "read", path: "/sys/class/motor/*", stale: true }],
  ["ToF sensor: requests fail", { operation: "ioctl", path: "/dev/nds01", error: "EIO" }],
  ["Gravity sensor: requests fail", { operation: "ioctl", path: "/dev/gsensor_daemon", error: "EIO" }],
  ["Display: requests fail", { operation: "ioctl", path: "/dev/dis", error: "EIO" }],
];

export class Actions {
  readonly root: HTMLElement;
  private state: State | null = null;

  constructor(private readonly connection: Connection, private readonly hand: Hand) {
    this.root = element("div", { class: "actions" },
      this.group("The host", ...this.host_actions()),
      this.group("The projector", ...this.unit_actions()),
      this.group("The room", ...this.room_actions()),
      this.group("Keys and faults", ...this.fault_actions()));
  }

  show(state: State): void {
    this.state = state;
  }

  private group(title: string, ...children: Child[]): HTMLElement {
    return element("section", { class: "group", "aria-label": title }, element("h3", {}, title), element("div", { class: "buttons" }, ...children));
  }

  private button(label: string, event: () => ScenarioEvent): HTMLElement {
    return element("button", { type: "button", onclick: () => this.connection.do(event()) }, label);
  }

  private room(name: string): number {
    return this.state?.room[name] ?? 0;
  }

  private host_actions(): Child[] {
    const line = element("input", { type: "text", id: "host-line", "aria-label": "A line for the host program", placeholder: "line for the host", maxlength: 200 });
    const form = element("form", { class: "line", onsubmit: (event) => {
      event.preventDefault();
      if (line.value !== "") this.connection.do({ type: line.value });
      line.value = "";
    } }, line, element("button", { type: "submit" }, "Type"));
    return [...commands.map(([label, text]) => this.button(label, () => ({ type: text }))), form];
  }

  private unit_actions(): Child[] {
    const roll = element("input", { type: "range", id: "roll", min: -30, max: 30, step: 1, value: 0 });
    roll.addEventListener("input", () => this.hand.nudge({ roll_deg: Number(roll.value) }));
    return [
      this.button("Shake", () => ({ gesture: "shake" })),
      this.button("Move about slowly", () => ({ gesture: "slow_shake" })),
      this.button("Bump the table", () => ({ gesture: "bump" })),
      this.button("Hang from the ceiling", () => ({ gesture: "hang", to: { mounting: 2 } })),
      this.button("Put on its side", () => ({ gesture: "turn_over", to: { mounting: 1 } })),
      this.button("Put on the table", () => ({ gesture: "turn_over", to: { mounting: 0, pitch_deg: 0, roll_deg: 0 } })),
      element("label", { class: "range", for: "roll" }, "Roll", roll),
    ];
  }

  private room_actions(): Child[] {
    return [
      this.button("Somebody walks past", () => ({
        what: "somebody walks past",
        set: {
          "room.person1_width_mm": 450, "room.person1_side_mm": walk_from_mm, "room.person1_along_mm": 700,
          "room.person1_mm_per_s": walk_mm_per_s, "room.person1_start_s": (this.state?.t_us ?? 0) / 1e6,
        },
      })),
      this.button("A box", () => this.toggled_box("room.box1", -500)),
      this.button("Another box", () => this.toggled_box("room.box2", 500)),
      this.button("A corner", () => this.room("room.corner_mm") !== 0
        ? { set: { "room.corner_mm": 0 }, what: "the corner is gone" }
        : { set: { "room.corner_mm": corner_mm }, what: "the wall has a corner" }),
      this.button("Warmer", () => this.warmed(warmer_by_c)),
      this.button("Colder", () => this.warmed(-warmer_by_c)),
      this.button("Daylight", () => this.room("room.ambient_klx") > 0
        ? { set: { "room.ambient_klx": 0 }, what: "the curtains are drawn" }
        : { set: { "room.ambient_klx": 20 }, what: "daylight falls on the wall" }),
    ];
  }

  private toggled_box(name: string, side_mm: number): ScenarioEvent {
    return this.room(`${name}_width_mm`) > 0
      ? { set: { [`${name}_width_mm`]: 0 }, what: "a box is taken away" }
      : { set: { [`${name}_width_mm`]: box_width_mm, [`${name}_side_mm`]: side_mm, [`${name}_along_mm`]: 800, [`${name}_height_mm`]: 1100 }, what: "a box is put there" };
  }

  private warmed(by_c: number): ScenarioEvent {
    const ambient = Math.min(60, Math.max(-20, this.room("heat.ambient_c") + by_c));
    return { set: { "heat.ambient_c": ambient }, what: `the room is at ${ambient} °C` };
  }

  private fault_actions(): Child[] {
    const key = element("select", { "aria-label": "Key" }, ...keys.map(([label, code]) => element("option", { value: code }, `${label} (${code})`)));
    const fault = element("select", { "aria-label": "What breaks" }, ...faults.map(([label], i) => element("option", { value: i }, label)));
    return [
      element("span", { class: "pair" }, key, this.button("Press", () => ({ key: Number(key.value) }))),
      element("span", { class: "pair" }, fault, this.button("Break", () => {
        const [label, rule] = faults[Number(fault.value)] as (typeof faults)[number];
        return { fault: rule, what: `broken: ${label}` };
      })),
      this.button("Mend everything", () => ({ clear_faults: true })),
    ];
  }
}
