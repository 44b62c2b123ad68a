// What happens, in words, as it happens.
import { element } from "../shared/dom";
import { time_text } from "../shared/format";
import type { Happening } from "./messages";

const kept = 300;
const signs: Record<Happening["kind"], [string, string]> = {
  event: ["▸", "what was done"],
  log: ["·", "the library"],
  toast: ["◆", "toast"],
  failure: ["✗", "a call that failed"],
  fault: ["!", "fault"],
  state: ["", ""],
};

export class Log {
  private readonly list = element("ol", { class: "happenings-list" });
  readonly root = element("div", { class: "happenings", role: "log", "aria-label": "What happens", "aria-live": "off", tabindex: 0 }, this.list);

  private follows = true;
  private touched = false; // by somebody, since it last scrolled: the browser scrolls by itself, too

  constructor() {
    for (const input of ["wheel", "touchmove", "pointerdown", "keydown"])
      this.root.addEventListener(input, () => { this.touched = true; }, { passive: true });
    this.root.addEventListener("scroll", () => {
      const at_end = this.root.scrollTop + this.root.clientHeight >= this.root.scrollHeight - 30;
      if (at_end || this.touched) this.follows = at_end;
      this.touched = false;
    });
    new ResizeObserver(() => this.follow()).observe(this.root);
  }

  private follow(): void {
    if (this.follows) this.root.scrollTop = this.root.scrollHeight;
  }

  clear(): void {
    this.list.replaceChildren();
  }

  add(happenings: readonly Happening[], missed: number): void {
    if (missed > 0) this.list.append(element("li", { class: "failure" }, element("span", {}, ""), element("span", {}, "…"), element("span", {}, `${missed} more that this page was too slow for`)));
    for (const happening of happenings) {
      if (happening.kind === "state") continue;
      const [sign, means] = signs[happening.kind];
      this.list.append(element("li", { class: happening.log ? `log ${happening.log}` : happening.kind },
        element("span", { class: "time" }, time_text(happening.t_us)), element("span", { class: "sign", title: means }, sign),
        element("span", { class: "words" }, happening.text)));
    }
    while (this.list.childElementCount > kept) this.list.firstElementChild?.remove();
    this.follow();
  }
}
