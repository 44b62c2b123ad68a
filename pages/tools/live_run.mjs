// The launcher with a live page, for its tests and its picture.
import { spawn } from "node:child_process";
import { mkdtemp, rm } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { createInterface } from "node:readline";
import { build, root } from "./browser.mjs";

export const launcher = join(build, "virtual_projector/launcher/virtual-projector");
export const host = join(build, "host/ovrafocus-host");
export const host_script = join(root, "host/live.script");

/** Starts it; resolves when its page can be opened. */
export async function start_live(options = [], program = null) {  // or a function of the folder for the run's files
  const folder = await mkdtemp(join(tmpdir(), "live-"));
  const process = spawn(launcher, ["--live", ...(typeof options === "function" ? options(folder) : options), "--",
    ...(program ?? [host, "--library-log", join(folder, "log"), "--script", host_script])],
    { stdio: ["ignore", "ignore", "pipe"] });
  const lines = createInterface({ input: process.stderr });
  const address = await new Promise((resolve, reject) => {
    lines.on("line", (line) => {
      const found = /http:\S+/.exec(line);
      if (found) resolve(found[0]);
    });
    process.on("exit", (code) => reject(new Error(`the launcher has ended with ${code}`)));
  });
  const { origin, searchParams } = new URL(address);
  const token = searchParams.get("token");
  return {
    folder, address, origin, token,
    /** An address below the page's own. */
    at: (path) => `${origin}${path}?token=${token}`,
    command: (command) => fetch(`${origin}/command?token=${token}`, { method: "POST", body: JSON.stringify(command) }),
    async scenario() { return (await fetch(`${origin}/scenario?token=${token}`)).text(); },
    async stop() {
      const ended = new Promise((resolve) => process.once("exit", resolve));
      process.removeAllListeners("error");
      process.kill("SIGTERM");
      await ended;
      await rm(folder, { recursive: true, force: true });
    },
  };
}
