// The page of a run: curves over a shared time, and beside them what was true and what was said under the cursor.
import { byId, element } from "../shared/dom";
import { Plot, type Mark } from "../shared/plot";
import { Timeline } from "../shared/timeline";
import { about_run, story } from "./about_run";
import { read_data, type RunData } from "./data";
import { style_of } from "./flags";
import { Happenings } from "./happenings";
import { Lanes } from "./lanes";
import { Overview } from "./overview";
import { other_signals } from "./other_signals";
import { panels_of, type Panel } from "./panels";
import { requests_table } from "./requests_table";
import { PictureCard, ZonesCard } from "./side";
import { summary } from "./summary";
import { Toolbar } from "./toolbar";

function panel_element(panel: Panel, timeline: Timeline, marks: readonly Mark[]): HTMLElement {
  const plots = panel.plots.map((plan) => new Plot({ ...plan, marks: () => marks }, timeline).root);
  const empty = element("p", { class: "about" }, "The trace says nothing about this.");
  return element("section", { class: "panel", id: panel.id, "aria-labelledby": `${panel.id}-title` },
    element("h2", { id: `${panel.id}-title` }, panel.title),
    element("p", { class: "about" }, panel.about),
    ...(plots.length > 0 ? plots : [empty]));
}

function build(data: RunData): void {
  document.title = data.title || document.title;
  const timeline = new Timeline(0, Math.max(data.end_us, Timeline.shortest_us));
  const marks = data.flags.filter((flag) => style_of(flag.kind).on_curves)
    .map((flag): Mark => ({ t: flag.t, color: style_of(flag.kind).color })).sort((a, b) => a.t - b.t);
  const happenings = new Happenings(data, timeline);
  const toolbar = new Toolbar(data, timeline, happenings);
  const lanes = element("section", { class: "panel", id: "threads", "aria-labelledby": "threads-title" },
    element("h2", { id: "threads-title" }, "Threads"),
    element("p", { class: "about" }, "Simulated time passes only where a thread waits; what it does between takes none."),
    new Lanes(data, timeline).root);
  const failures = element("div", {});
  byId("page").replaceChildren(
    failures,
    summary(data), requests_table(data, timeline),
    element("section", { class: "sticky", "aria-label": "Time and search" }, toolbar.root, new Overview(data, timeline).root),
    element("main", { class: "layout" },
      element("div", { class: "side" },
        new PictureCard(data, timeline).root, new ZonesCard(data, timeline).root, happenings.root),
      element("div", { class: "curves" }, ...panels_of(data).map((panel) => panel_element(panel, timeline, marks)), lanes, other_signals(data, timeline, marks)),
      element("div", { class: "below" }, about_run(data), story(data))));
  data.parts.follow(timeline, (words) => failures.replaceChildren(
    element("p", { class: "note", role: "alert" }, `A part of this run cannot be shown in full: ${words}`)));
}

async function main(): Promise<void> {
  const page = byId("page");
  const coded = document.getElementById("page-data")?.textContent ?? "";
  try {
    build(await read_data(coded));
  } catch (error) {
    page.replaceChildren(element("p", { class: "note", role: "alert" }, `This run cannot be shown: ${(error as Error).message}`));
  }
  page.removeAttribute("aria-busy");
}

void main();
