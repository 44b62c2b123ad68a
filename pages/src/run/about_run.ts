// What the run was made of: settings, seeds, versions, and the command that repeats it; the story in words.
import { element } from "../shared/dom";
import { counted, trimmed } from "../shared/format";
import type { RunData, Setting } from "./data";

function text_of(value: unknown): string {
  return typeof value === "object" && value !== null ? JSON.stringify(value) : String(value);
}

function settings_of(run: Record<string, unknown>): Setting[] {
  const { settings } = run;
  if (Array.isArray(settings)) return settings as Setting[];
  if (!settings || typeof settings !== "object") return [];
  return Object.entries(settings as Record<string, unknown>).map(([name, value]) =>
    typeof value === "object" && value !== null ? { name, ...(value as { value: number }) } : { name, value: value as number });
}

function command_box(command: string): HTMLElement {
  const text = element("code", { class: "command", tabindex: 0, role: "region", "aria-label": "The command that repeats the run" }, command);
  const copy = element("button", { type: "button" }, "Copy");
  copy.addEventListener("click", () => {
    void navigator.clipboard.writeText(command).then(() => { copy.textContent = "Copied"; }, () => {
      getSelection()?.selectAllChildren(text);
    });
  });
  return element("div", { class: "command-box" }, text, copy);
}

function settings_table(caption: string, settings: readonly Setting[]): HTMLElement {
  return element("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": `${caption}, scrolls` },
    element("table", {},
      element("caption", {}, caption),
      element("thead", {}, element("tr", {}, ...["Setting", "Value", "From"].map((head) => element("th", { scope: "col" }, head)))),
      element("tbody", {}, ...settings.map((setting) => element("tr", {},
        element("td", {}, setting.name),
        element("td", { class: "number" }, trimmed(setting.value, 6)),
        element("td", {}, source_of(setting)))))));
}

function source_of(setting: Setting): string {
  return setting.from ?? setting.source ?? "";
}

export function about_run(data: RunData): HTMLElement {
  const facts = Object.entries(data.run).filter(([name, value]) => name !== "settings" && value !== null && value !== "");
  const settings = settings_of(data.run);
  const chosen = settings.filter((setting) => source_of(setting) !== "default");
  const defaults = settings.filter((setting) => source_of(setting) === "default");
  return element("section", { class: "panel", "aria-labelledby": "about-title" },
    element("h2", { id: "about-title" }, "What the run was made of"),
    element("p", { class: "about" }, "This command repeats it:"), command_box(data.command),
    element("div", { class: "two" },
      element("dl", { class: "figures" }, ...facts.map(([name, value]) =>
        element("div", {}, element("dt", {}, name.replace(/_/g, " ")), element("dd", {}, text_of(value))))),
      element("div", {},
        chosen.length > 0 ? settings_table("Settings that were not at their defaults", chosen) :
          element("p", { class: "about" }, "Every setting was at its default."),
        defaults.length > 0 ? element("details", {},
          element("summary", {}, `${counted(defaults.length, "setting")} at their defaults`),
          settings_table("Settings at their defaults", defaults)) : null)));
}

export function story(data: RunData): HTMLElement | null {
  if (data.story.length === 0) return null;
  return element("section", { class: "panel", "aria-labelledby": "story-title" },
    element("h2", { id: "story-title" }, "The run in words"),
    element("pre", { class: "story", tabindex: 0, role: "region", "aria-label": "The words, scroll" }, data.story.join("\n")));
}
