// What was asked for, by whom, and the picture before and after each.
import { element, type Child } from "../shared/dom";
import { fixed, length_text, time_text } from "../shared/format";
import type { Timeline } from "../shared/timeline";
import { number_of, type Request, type RunData, type Truth } from "./data";
import { pill, sharp_verdict, square_verdict } from "./summary";

const heads = ["Asked at", "What", "By", "Took", "Outcome", "Blur, px", "Worst edge, °", "Afterwards"];

function change(before: Truth | null, after: Truth | null, member: string, decimals: number): string {
  const text = (truth: Truth | null): string => {
    const value = number_of(truth, member);
    return value === null ? "–" : fixed(Math.abs(value), decimals);
  };
  return `${text(before)} → ${text(after)}`;
}

function row(request: Request, timeline: Timeline): HTMLElement {
  const { before, after } = request;
  const begin = request.begin ?? request.t;
  const end = request.end ?? timeline.end;
  const to_it = element("button", { type: "button", class: "link", title: "Show this request" }, time_text(request.t));
  to_it.addEventListener("click", () => {
    const air = Math.max((end - request.t) * 0.15, 20000);
    timeline.show(request.t - air, end + air);
    timeline.move_cursor(end);
  });
  const failed = request.failed ? element("span", { class: "pill bad" }, "✗ failed: ") : null;
  const cells: [string, Child[]][] = [
    ["", [to_it]],
    ["wraps", [request.what || request.kind]],
    ["", [request.by]],
    ["", [request.begin === null ? "never begun" : length_text(end - begin)]],
    ["wraps", [failed, request.outcome]],
    ["number", [change(before, after, "blur_px", 2)]],
    ["number", [change(before, after, "worst_edge_deg", 2)]],
    ["pills", after ? [pill(sharp_verdict(after)), " ", pill(square_verdict(after))] : ["–"]],
  ];
  return element("tr", {}, ...cells.map(([name, children], i) =>
    element("td", { class: name, "data-head": heads[i] ?? "" }, ...children)));
}

export function requests_table(data: RunData, timeline: Timeline): HTMLElement {
  if (data.requests.length === 0) return element("p", { class: "note" }, "Nothing was asked for in this run.");
  return element("div", { class: "requests", tabindex: 0, role: "region", "aria-label": "Requests, scrolls" },
    element("table", {},
      element("caption", {}, "Requests"),
      element("thead", {}, element("tr", {}, ...heads.map((head) => element("th", { scope: "col" }, head)))),
      element("tbody", {}, ...data.requests.map((request) => row(request, timeline)))));
}
