// Time: how fast it goes, standing still, steps; the run's end and begin; the scenario.
import { element } from "../shared/dom";
import { time_text, trimmed } from "../shared/format";
import type { Connection } from "./connection";
import type { News, State } from "./messages";

const step_ms = 100;
const silent_ms = 2000;
const could_not_run = 127;  // as shells have it
// The slider is even in the speed's logarithm: -1 is a tenth, 0 the PC's own, 2 a hundred times.
const slowest = -1;
const fastest = 2;

function speed_at(slider: string): number {
  return Number((10 ** Number(slider)).toPrecision(2));
}

export class Controls {
  readonly root: HTMLElement;
  private readonly time = element("output", { class: "time", "aria-label": "Simulated time" }, "0.000 s");
  private readonly pause = element("button", { type: "button", id: "pause", title: "Space" }, "Pause");
  private readonly step = element("button", { type: "button", id: "step", title: "." }, "Step");
  private readonly speed = element("input", { type: "range", id: "speed", min: slowest, max: fastest, step: 0.05, value: 0 });
  private readonly speed_words = element("output", { for: "speed", class: "speed" }, "×1");
  private readonly status = element("p", { class: "status", role: "status", id: "status" }, "Waiting for the run …");
  private is_paused = false;
  private silence: ReturnType<typeof setTimeout> | undefined;

  constructor(private readonly connection: Connection) {
    this.pause.addEventListener("click", () => this.toggle());
    this.step.addEventListener("click", () => this.go_a_step());
    this.speed.addEventListener("input", () => connection.send({ do: "speed", value: speed_at(this.speed.value) }));
    this.speed.addEventListener("input", () => { this.speed_words.textContent = `×${trimmed(speed_at(this.speed.value), 2)}`; });
    const plain = element("button", { type: "button", title: "1" }, "×1");
    plain.addEventListener("click", () => this.set_speed(1));
    const restart = element("button", { type: "button", id: "restart" }, "Restart");
    restart.addEventListener("click", () => connection.send({ do: "restart" }));
    const end = element("button", { type: "button", id: "end" }, "End");
    end.addEventListener("click", () => connection.send({ do: "end" }));
    this.root = element("div", { class: "controls" },
      element("div", { class: "toolbar", role: "toolbar", "aria-label": "Time" },
        this.time, this.pause, this.step, element("label", { class: "range", for: "speed" }, "Speed", this.speed), this.speed_words, plain,
        restart, end, element("a", { class: "button", id: "save", href: connection.scenario_address, download: "live.json" }, "Save as scenario")),
      this.status);
    addEventListener("keydown", (event) => this.key(event));
  }

  show(news: News): void {
    if (news.run) this.begin(news.run.story || "A projector before a wall.");
    if (news.state) this.show_state(news.state);
    if (news.state || news.end) clearTimeout(this.silence);
    if (news.end) {
      const { exit_code, limit_s } = news.end;
      const repeat = limit_s === undefined ? "" : ` The saved scenario ends there with --limit ${limit_s}.`;
      const why = exit_code === could_not_run ? " It could not be run, perhaps: the terminal says why." : "";
      this.say(`The program has ended with exit code ${exit_code}.${why}${repeat} Restart begins another run.`);
    }
  }

  /** A program that only computes never lets time pass, and its run shows nothing. */
  private begin(story: string): void {
    this.say(story);
    clearTimeout(this.silence);
    this.silence = setTimeout(() => this.say("The program has begun, but has not let any time pass yet."), silent_ms);
  }

  say(words: string, bad = false): void {
    if (this.status.textContent !== words) this.status.textContent = words;
    this.status.classList.toggle("bad", bad);
  }

  private show_state(state: State): void {
    this.time.textContent = time_text(state.t_us, 10000);
    this.is_paused = state.paused;
    this.pause.textContent = state.paused ? "Go on" : "Pause";
    if (document.activeElement === this.speed) return;
    this.speed.value = String(Math.log10(state.speed));
    this.speed_words.textContent = `×${trimmed(state.speed, 2)}`;
  }

  private toggle(): void {
    this.connection.send({ do: this.is_paused ? "resume" : "pause" });
  }

  private go_a_step(): void {
    if (!this.is_paused) this.connection.send({ do: "pause" });
    this.connection.send({ do: "step", ms: step_ms });
  }

  private set_speed(value: number): void {
    this.speed.value = String(Math.log10(value));
    this.connection.send({ do: "speed", value });
  }

  private key(event: KeyboardEvent): void {
    const target = event.target as Element;
    const is_taken = target.closest("input, select, button, a, textarea") !== null;
    if (is_taken || event.ctrlKey || event.altKey || event.metaKey) return;
    if (event.key === " ") this.toggle();
    else if (event.key === ".") this.go_a_step();
    else if (event.key === "1") this.set_speed(1);
    else return;
    event.preventDefault();
  }
}
