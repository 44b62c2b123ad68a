// The live page: a projector in its room, with which a person may do what people do.
import { byId, element } from "../shared/dom";
import { WallPicture } from "../shared/wall_picture";
import { Actions } from "./actions";
import { Connection } from "./connection";
import { Controls } from "./controls";
import { Curves } from "./curves";
import { Gauges } from "./gauges";
import { Hand } from "./hand";
import { Log } from "./log";
import type { News, State } from "./messages";
import { SeenFromAbove } from "./seen_from_above";
import { SeenFromTheSide } from "./seen_from_the_side";

const connection = new Connection({
  news: (news) => show(news),
  lost: (why) => controls.say(why, true),
  refused: (why) => controls.say(why, true),
});
const controls = new Controls(connection);
const hand = new Hand(connection);
const above = new SeenFromAbove(connection, hand);
const side = new SeenFromTheSide(hand);
const wall = new WallPicture();
const gauges = new Gauges();
const curves = new Curves();
const log = new Log();
const actions = new Actions(connection, hand);
const page = byId("page");

function show_state(state: State): void {
  const { truth } = state;
  above.show(state);
  side.show(state);
  wall.show({
    now: truth.on_wall ? truth.outline_mm : [], blur_middle_px: truth.blur_px,
    blur_corners_px: [truth.blur_corner_px, truth.blur_corner_px, truth.blur_corner_px, truth.blur_corner_px],
  });
  gauges.show(state);
  actions.show(state);
  curves.add(state);
}

function show(news: News): void {
  if (news.run) {
    log.clear();
    curves.begin(news.curves ?? []);
  }
  controls.show(news);
  log.add(news.happenings ?? [], news.missed ?? 0);
  if (!news.state) return;
  show_state(news.state);
  page.removeAttribute("aria-busy");
}

function panel(title: string, about: string, ...content: (Node | string)[]): HTMLElement {
  return element("section", { class: "panel", "aria-label": title }, element("h2", {}, title), about ? element("p", { class: "about" }, about) : null, ...content);
}

const ray_key = element("ul", { class: "ray-key", "aria-label": "Colours of the rays" },
  ...([["good", "right within 2 %"], ["fair", "within 6 %"], ["wrong", "wrong"], ["none", "nothing seen"]] as const)
    .map(([look, words]) => element("li", {}, element("span", { class: `ray-swatch ${look}` }), words)));

page.replaceChildren(
  element("header", { class: "top" }, element("h1", {}, "Live projector"), controls.root),
  element("main", { class: "layout" },
    panel("From above", "Drag the projector, or its ring to turn it; boxes and the corner, too. Arrow keys do the same.", above.root, ray_key),
    element("div", { class: "column" },
      panel("From the side", "Drag the ring to tilt the projector.", side.root),
      panel("The picture on the wall", "Blur in pixels.", wall.root)),
    element("div", { class: "column" }, panel("Gauges", "", gauges.root), panel("What happens", "", log.root)),
    element("section", { class: "panel wide", "aria-label": "What can be done" }, element("h2", {}, "What can be done"), actions.root),
    element("section", { class: "panel wide", "aria-label": "The last minute" }, element("h2", {}, "The last minute"), curves.root)));
connection.open();
