// The time under the cursor and the buttons that move it, always in sight; and the keys that do the same.
import { element } from "../shared/dom";
import { length_text, time_text } from "../shared/format";
import { last_at } from "../shared/signals";
import type { Timeline } from "../shared/timeline";
import type { Flag, RunData } from "./data";
import { style_of } from "./flags";
import type { Happenings } from "./happenings";

interface Action {
  keys: string[];       // as KeyboardEvent.key says them
  shown: string;        // as the help says them
  words: string;
  run: (event: KeyboardEvent | null) => void;
}

const cursor_steps = 200;  // of a key's move over what is shown

export class Toolbar {
  readonly root: HTMLElement;
  private readonly time = element("output", { class: "time", id: "cursor-time", "aria-label": "Time under the cursor" });
  private readonly span = element("span", { class: "span" });
  private readonly flag = element("span", { class: "flag", role: "status" });
  private readonly help: HTMLDialogElement;
  private readonly flags: Flag[];
  private readonly flag_times: number[];
  private readonly actions: Action[];

  constructor(data: RunData, private readonly timeline: Timeline, private readonly happenings: Happenings) {
    this.flags = data.flags.filter((flag) => flag.kind !== "move").sort((a, b) => a.t - b.t);
    this.flag_times = this.flags.map((flag) => flag.t);
    this.actions = this.all_actions();
    this.help = this.help_dialog();
    this.root = element("div", { class: "toolbar", role: "toolbar", "aria-label": "Time" },
      this.time, this.span,
      element("span", { class: "buttons" },
        this.button("‹ flag", "Flag before", () => this.to_flag(-1)), this.button("flag ›", "Next flag", () => this.to_flag(1)),
        this.button("−", "Show more time", () => timeline.zoom(2)), this.button("+", "Show less time", () => timeline.zoom(0.5)),
        this.button("whole", "Show the whole run", () => timeline.show_all())),
      happenings.search,
      this.button("?", "Help on keys", () => this.help.showModal()),
      this.flag, this.help);
    timeline.on_cursor(() => this.show());
    timeline.on_span(() => this.show());
    document.addEventListener("keydown", (event) => this.key(event));
    this.show();
  }

  private button(text: string, label: string, run: () => void): HTMLElement {
    const made = element("button", { type: "button", "aria-label": label, title: label }, text);
    made.addEventListener("click", run);
    return made;
  }

  private show(): void {
    const { timeline } = this;
    this.time.textContent = time_text(timeline.cursor, timeline.span < 1e6 ? 1 : 1000);
    this.span.textContent = timeline.is_whole ? `of ${length_text(timeline.end - timeline.begin)}, all shown` :
      `of ${length_text(timeline.end - timeline.begin)}, ${length_text(Math.round(timeline.span))} shown`;
    const at = last_at(this.flag_times, timeline.cursor);
    const flag = this.flags[at];
    const text = flag ? `${style_of(flag.kind).sign} ${time_text(flag.t)} ${flag.text}` : "";
    if (this.flag.textContent !== text) {
      this.flag.textContent = text;
      this.flag.title = text;
    }
  }

  private to_flag(direction: 1 | -1): void {
    const { cursor } = this.timeline;
    let at = last_at(this.flag_times, cursor);
    if (direction > 0) ++at;
    else while (at >= 0 && this.flag_times[at] === cursor) --at;
    const t = this.flag_times[at];
    if (t !== undefined) this.timeline.go_to(t);
  }

  private step(direction: 1 | -1, event: KeyboardEvent | null): void {
    const steps = event?.shiftKey ? 10 : 1;
    this.timeline.go_to(this.timeline.cursor + direction * steps * Math.max(1, this.timeline.span / cursor_steps));
  }

  private all_actions(): Action[] {
    const { timeline } = this;
    return [
      { keys: ["ArrowLeft"], shown: "←", words: "moves the cursor back; with Shift ten times as far", run: (event) => this.step(-1, event) },
      { keys: ["ArrowRight"], shown: "→", words: "moves the cursor on; with Shift ten times as far", run: (event) => this.step(1, event) },
      { keys: ["+", "="], shown: "+", words: "shows less time about the cursor", run: () => timeline.zoom(0.5) },
      { keys: ["-", "_"], shown: "−", words: "shows more time", run: () => timeline.zoom(2) },
      { keys: ["0"], shown: "0", words: "shows the whole run", run: () => timeline.show_all() },
      { keys: ["n"], shown: "n", words: "goes to the next flag", run: () => this.to_flag(1) },
      { keys: ["p"], shown: "p", words: "goes to the flag before", run: () => this.to_flag(-1) },
      { keys: ["Home"], shown: "Home", words: "goes to the begin of the run", run: () => timeline.go_to(timeline.begin) },
      { keys: ["End"], shown: "End", words: "goes to the end of the run", run: () => timeline.go_to(timeline.end) },
      { keys: ["/"], shown: "/", words: "searches what happened and the log", run: () => this.happenings.focus_search() },
      { keys: ["?"], shown: "?", words: "shows these keys", run: () => this.help.showModal() },
    ];
  }

  private key(event: KeyboardEvent): void {
    const typed_into = event.target instanceof HTMLElement && event.target.closest("input, select, textarea, dialog");
    if (event.key === "Escape" && event.target === this.happenings.search) this.happenings.search.blur();
    if (typed_into || event.ctrlKey || event.metaKey || event.altKey) return;
    const action = this.actions.find((one) => one.keys.includes(event.key));
    if (!action) return;
    event.preventDefault();
    action.run(event);
  }

  private help_dialog(): HTMLDialogElement {
    const close = element("button", { type: "button", autofocus: true }, "Close");
    const dialog = element("dialog", { "aria-labelledby": "help-title" },
      element("h2", { id: "help-title" }, "Keys and mouse"),
      element("dl", { class: "help" }, ...this.actions.flatMap((action) => [
        element("dt", {}, element("kbd", {}, action.shown)), element("dd", {}, action.words)])),
      element("p", {}, "Drawing with the mouse over a curve shows that time; a double click shows the whole run. " +
        "Ctrl and the wheel show less or more, Shift and the wheel move along."),
      close);
    close.addEventListener("click", () => dialog.close());
    return dialog;
  }
}
