// Everything that has a time and words, in one list beside the curves: flags and the library's log. It follows
// the cursor, and is searched.
import { byId, element } from "../shared/dom";
import { counted, time_text } from "../shared/format";
import { last_at } from "../shared/signals";
import type { Timeline } from "../shared/timeline";
import type { FlagKind, RunData } from "./data";
import { flag_styles, style_of } from "./flags";

type Kind = FlagKind | "log";

interface Happening {
  t: number;
  kind: Kind;
  text: string;
  lower: string;
}

const shown_at_most = 160;  // entries about the cursor: a list of a day would take long to lay out
const kind_order: readonly Kind[] = [...flag_styles.map((style) => style.kind), "log"];

/** A line without what would colour it on a terminal. */
function plain(text: string): string {
  return text.replace(/\u001b\[[0-9;]*m/g, "").replace(/[\u0000-\u001f\u007f]/g, "");
}

function happenings_of(data: RunData): Happening[] {
  const made = (t: number, kind: Kind, text: string): Happening => ({ t, kind, text, lower: text.toLowerCase() });
  const all = [
    ...data.flags.map((flag) => made(flag.t, flag.kind, flag.text)),
    ...data.log.map((line) => made(line.t, "log", plain(line.text))),
  ];
  return all.map((one, i) => ({ one, i }))
    .sort((a, b) => a.one.t - b.one.t || kind_order.indexOf(a.one.kind) - kind_order.indexOf(b.one.kind) || a.i - b.i)
    .map(({ one }) => one);
}

export class Happenings {
  readonly root: HTMLElement;
  readonly search = element("input", {
    type: "search", id: "search", placeholder: "Search", "aria-label": "Search what happened and the log", autocomplete: "off",
  });
  private readonly all: Happening[];
  private listed: Happening[] = [];
  private times: number[] = [];
  private readonly hidden = new Set<Kind>(["move", "log"]);
  private readonly list = element("ol", { class: "happenings", tabindex: 0, "aria-label": "What happened, in order of time" });
  private readonly count = element("p", { class: "about", role: "status" });

  constructor(data: RunData, private readonly timeline: Timeline) {
    this.all = happenings_of(data);
    this.root = element("section", { class: "panel grows", "aria-labelledby": "happenings-title" },
      element("h2", { id: "happenings-title" }, "What happened"), this.kinds(), this.count, this.list);
    this.search.addEventListener("input", () => this.choose());
    this.search.addEventListener("keydown", (event) => {
      if (event.key === "Enter") this.next_found(event.shiftKey ? -1 : 1);
    });
    timeline.on_cursor(() => this.show());
    new ResizeObserver(() => this.show()).observe(this.list);  // where it has got its place on the page
    this.choose();
  }

  focus_search(): void {
    byId("search").focus();
    this.search.select();
  }

  /** Moves the cursor to the next entry of the list, or to the one before. */
  next_found(direction: 1 | -1): void {
    const { cursor } = this.timeline;
    const later = last_at(this.times, cursor) + 1;
    let earlier = later - 1;
    while (earlier >= 0 && this.times[earlier] === cursor) --earlier;
    const t = this.times[direction > 0 ? later : earlier];
    if (t !== undefined) this.timeline.go_to(t);
  }

  private kinds(): HTMLElement {
    const present = kind_order.filter((kind) => this.all.some((one) => one.kind === kind));
    return element("div", { class: "kinds", role: "group", "aria-label": "Kinds in the list" }, ...present.map((kind) => {
      const name = kind === "log" ? "log" : style_of(kind).many;
      const button = element("button", { type: "button", "aria-pressed": String(!this.hidden.has(kind)) },
        kind === "log" ? null : element("span", { class: style_of(kind).color, "aria-hidden": "true" }, style_of(kind).sign), ` ${name}`);
      button.addEventListener("click", () => {
        if (!this.hidden.delete(kind)) this.hidden.add(kind);
        button.setAttribute("aria-pressed", String(!this.hidden.has(kind)));
        this.choose();
      });
      return button;
    }));
  }

  private choose(): void {
    const sought = this.search.value.trim().toLowerCase();
    // What is sought is sought everywhere: a kind that is hidden would hide where it stands.
    this.listed = this.all.filter((one) => (sought === "" ? !this.hidden.has(one.kind) : one.lower.includes(sought)));
    this.times = this.listed.map((one) => one.t);
    const hidden = this.all.length - this.listed.length;
    this.count.textContent = sought === "" ?
      `${counted(this.listed.length, "entry", "entries")}${hidden > 0 ? `; ${hidden} more of the kinds that are struck out` : ""}` :
      `${counted(this.listed.length, "entry", "entries")} with “${this.search.value.trim()}”; Enter goes to the next`;
    this.show();
  }

  private show(): void {
    const at = last_at(this.times, this.timeline.cursor);
    const first = Math.max(0, Math.min(at - shown_at_most / 2, this.listed.length - shown_at_most));
    const shown = this.listed.slice(first, first + shown_at_most);
    this.list.replaceChildren(...shown.map((one, i) => this.entry(one, first + i === at)));
    const current = this.list.children[at - first] as HTMLElement | undefined;
    if (current) this.list.scrollTop = current.offsetTop - this.list.clientHeight / 2;
    else this.list.scrollTop = 0;
  }

  private entry(one: Happening, is_current: boolean): HTMLElement {
    const style = one.kind === "log" ? null : style_of(one.kind);
    const time = element("button", { type: "button", class: "link", tabindex: -1 }, time_text(one.t));
    time.addEventListener("click", () => this.timeline.go_to(one.t));
    return element("li", { class: `${one.kind}${is_current ? " current" : ""}`, ...(is_current ? { "aria-current": "true" } : {}) },
      time,
      element("span", { class: style ? `sign ${style.color}` : "sign", "aria-hidden": "true" }, style ? style.sign : ""),
      element("span", { class: "words" }, one.text));
  }
}
