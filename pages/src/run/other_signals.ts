// Any signal of the run by its name, for what no panel shows.
import { element } from "../shared/dom";
import { Plot, type Mark } from "../shared/plot";
import type { Signal } from "../shared/signals";
import type { Timeline } from "../shared/timeline";
import type { RunData } from "./data";

export function other_signals(data: RunData, timeline: Timeline, marks: readonly Mark[]): HTMLElement {
  const place = element("div", {});
  const signals = data.signals.filter((signal) => signal.t.length > 0);
  const choice = element("select", { id: "other-signal" }, element("option", { value: "" }, "choose a signal"),
    ...signals.map((signal, i) => element("option", { value: i }, signal.unit ? `${signal.name} (${signal.unit})` : signal.name)));
  let shown: Plot | null = null;
  const plot_of = (signal: Signal): Plot => new Plot({
    label: `${signal.name} over time`, unit: signal.unit, decimals: 3, height: 150, marks: () => marks,
    curves: [{ signal, label: signal.name, color: "blue" }],
  }, timeline);
  choice.addEventListener("change", () => {
    const signal = choice.value === "" ? undefined : signals[Number(choice.value)];
    shown?.remove();
    shown = signal ? plot_of(signal) : null;
    if (shown) place.append(shown.root);
  });
  return element("section", { class: "panel", id: "other", "aria-labelledby": "other-title" },
    element("h2", { id: "other-title" }, "Any other signal"),
    element("div", { class: "other" }, element("label", { for: "other-signal" }, "Signal"), choice), place);
}
