// Runs the stories with a trace, and makes pages of them.
import { execFile } from "node:child_process";
import { existsSync, readdirSync, readFileSync } from "node:fs";
import { mkdir, rm } from "node:fs/promises";
import { basename, dirname, join } from "node:path";
import { promisify } from "node:util";
import { build, root } from "./browser.mjs";

const run = promisify(execFile);
const launcher = join(build, "virtual_projector/launcher/virtual-projector");
const host = join(build, "host/ovrafocus-host");
const report = join(build, "virtual_projector/report_tool/virtual-projector-report");
const scenarios = join(root, "scenarios");

/** All runs of all stories, as ./dev demo names them: "nudge", "factory/1-bench". */
export function all_runs() {
  const runs_in = (folder) => readdirSync(join(scenarios, folder))
    .filter((file) => file.endsWith(".json")).map((file) => join(folder, basename(file, ".json"))).sort();
  const folders = readdirSync(scenarios, { withFileTypes: true }).filter((entry) => entry.isDirectory()).map((entry) => entry.name);
  return [...runs_in("."), ...folders.sort().flatMap(runs_in)];
}

/** Below this name a run's files stand in a folder. */
export const file_name = (name) => name.replaceAll("/", "-");

export function title_of(name) {
  return JSON.parse(readFileSync(join(scenarios, `${name}.json`), "utf8")).story ?? name;
}

/** The trace of a run; runs of one folder happen to one unit, whose memory is kept between them. */
export async function make_trace(name, folder, { scenario = join(scenarios, `${name}.json`), detail = "calls", options = [], script = null } = {}) {
  await mkdir(folder, { recursive: true });
  const trace = join(folder, `${file_name(name)}.jsonl`);
  const unit = dirname(name);
  const memory = unit === "." ? [] : ["--flash", join(folder, `${unit}.flash`)];
  const own = join(scenarios, `${name}.host`);
  const host_script = script ?? (existsSync(own) ? own : join(scenarios, "first-light.host"));
  const words = ["--scenario", scenario, "--trace", trace, "--trace-detail", detail, ...memory, ...options,
    "--", host, "--script", host_script];
  try {
    await run(launcher, words, { cwd: folder, maxBuffer: 1 << 26 });
  } catch (error) {
    // A story may end with a code of its own, such as a unit that the factory rejects; the launcher's own are trouble.
    if (error.code === undefined || error.code === 2 || error.code >= 120 || !existsSync(trace)) throw error;
  }
  return trace;
}

export async function make_page(trace, { title } = {}) {
  const page = trace.replace(/\.jsonl$/, ".html");
  await run(report, [trace, "-o", page, ...(title ? ["--title", title] : [])], { maxBuffer: 1 << 26 });
  return page;
}

export async function make_run_page(name, folder, options = {}) {
  const trace = await make_trace(name, folder, options);
  return { name, trace, page: await make_page(trace, { title: title_of(name) }) };
}

export async function emptied(folder) {
  await rm(folder, { recursive: true, force: true });
  await mkdir(folder, { recursive: true });
  return folder;
}
