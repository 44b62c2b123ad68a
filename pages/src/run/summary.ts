// What a run was about and how it ended, before anything else.
import { element } from "../shared/dom";
import { counted, fixed, length_text } from "../shared/format";
import { sharp_limit_px, square_limit_deg } from "../shared/wall_picture";
import { number_of, type RunData, type Truth } from "./data";
import { flags_of } from "./flags";

interface Verdict {
  name: string;
  text: string;
  detail: string;
  good: boolean | null;  // null: neither
}

/** The values that a run ends with, from its signals. */
export function last_truth(data: RunData): Truth {
  const truth: Truth = {};
  for (const signal of data.signals) {
    if (!signal.name.startsWith("truth.") || signal.v.length === 0) continue;
    truth[signal.name.slice("truth.".length)] = signal.v[signal.v.length - 1] ?? undefined;
  }
  return truth;
}

function is_on_wall(truth: Truth): boolean {
  return truth.on_wall !== 0 && truth.on_wall !== false;
}

export function sharp_verdict(truth: Truth | null): Verdict {
  const blur = number_of(truth, "blur_px");
  if (blur === null) return { name: "Picture", text: "sharpness unknown", detail: "the trace has no truth", good: null };
  const error = number_of(truth, "lens_error_tmr");
  const good = blur <= sharp_limit_px;
  const off = error === null ? "" : `, lens ${fixed(Math.abs(error), 1)} TMR off`;
  return { name: "Sharp", text: good ? "sharp" : "blurred", detail: `blur ${fixed(blur, 2)} px${off}`, good };
}

export function square_verdict(truth: Truth | null): Verdict {
  const worst = number_of(truth, "worst_edge_deg");
  if (truth && !is_on_wall(truth)) return { name: "Square", text: "not on the wall", detail: "", good: false };
  if (worst === null) return { name: "Square", text: "squareness unknown", detail: "", good: null };
  const good = Math.abs(worst) <= square_limit_deg;
  return { name: "Square", text: good ? "square" : "not square", detail: `worst edge ${fixed(Math.abs(worst), 2)}° off`, good };
}

/** The first of several texts, as many as a line bears. */
function shortened(texts: readonly string[]): string {
  const room = 200;  // letters: why something was refused stands at the end
  const first = texts[0] ?? "";
  const shown = first.length > room ? `${first.slice(0, room - 1).trimEnd()}…` : first;
  return texts.length > 1 ? `${shown} and ${texts.length - 1} more` : shown;
}

function tally(data: RunData, kind: "toast" | "refusal" | "fault" | "event", one: string): Verdict {
  const found = flags_of(data.flags, kind);
  const texts = shortened(Array.from(new Set(found.map((flag) => flag.text))));
  const bad = kind === "fault" || kind === "refusal";
  return { name: one, text: found.length === 0 ? `no ${one}s` : counted(found.length, one), detail: texts, good: bad && found.length > 0 ? false : null };
}

export function pill(verdict: Verdict): HTMLElement {
  const name = verdict.good === null ? "pill" : verdict.good ? "pill good" : "pill bad";
  const sign = verdict.good === null ? "" : verdict.good ? "✓ " : "✗ ";
  return element("span", { class: name }, sign + verdict.text);
}

function card(verdict: Verdict): HTMLElement {
  return element("li", { class: "card" }, pill(verdict), element("span", { class: "detail" }, verdict.detail));
}

export function summary(data: RunData): HTMLElement {
  const end = last_truth(data);
  const asked = data.requests;
  const verdicts: Verdict[] = [
    { ...sharp_verdict(end), name: "At the end" },
    square_verdict(end),
    {
      name: "Requests", text: asked.length === 0 ? "nothing was asked" : counted(asked.length, "request"),
      detail: shortened(Array.from(new Set(asked.map((request) => request.what || request.kind)))), good: null,
    },
    tally(data, "toast", "toast"),
    tally(data, "refusal", "refusal"),
    tally(data, "fault", "fault"),
    { name: "Length", text: length_text(data.end_us), detail: "of simulated time", good: null },
  ];
  const shown = verdicts.filter((verdict) => !(verdict.text === "no refusals"));
  return element("header", { class: "summary" },
    element("h1", {}, data.title || "Run of a projector"),
    element("ul", { class: "cards", "aria-label": "How the run ended" }, ...shown.map(card),
      data.story.length > 0 ? element("li", { class: "card" }, element("a", { href: "#story-title" }, "in words")) : null));
}
