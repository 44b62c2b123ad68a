// Chromium under playwright, for the pages' tests and screenshots.
import { createRequire } from "node:module";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";

export const root = dirname(dirname(dirname(fileURLToPath(import.meta.url))));
/** Where `./dev` puts the npm modules, and where the built programs are. */
export const modules = process.env.OVRA_PAGE_MODULES ?? join(root, "build/npm/node_modules");
export const build = process.env.OVRA_BUILD ?? join(root, "build/default");
export const chromium_path = process.env.OVRA_CHROMIUM ?? "/usr/bin/chromium";

const load = createRequire(join(modules, "any"));

/** A module of npm's by its name. */
export const module_named = (name) => load(name);
export const path_in_module = (name) => load.resolve(name);

// None of these changes what a page does: nothing is fetched, updated or asked at the start.
const quiet = ["--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
  "--disable-component-update", "--disable-sync"];

export function launch() {
  const as_root = process.getuid?.() === 0 ? ["--no-sandbox"] : [];
  return module_named("playwright-core").chromium.launch({ executablePath: chromium_path, args: [...as_root, ...quiet] });
}

/**
 * Opens an address in a window of its own. `complaints` grows by whatever a person would be told by the browser:
 * console messages, errors, requests that go elsewhere than to `allowed`. `first` runs in the page before its own scripts.
 */
export async function open(browser, address, { width = 1400, height = 900, scheme = "light", allowed = "file:", ready = true, first, ...more } = {}) {
  const context = await browser.newContext({ viewport: { width, height }, colorScheme: scheme, ...more });
  const page = await context.newPage();
  if (first) await page.addInitScript(first);
  const complaints = [];
  page.on("console", (message) => complaints.push(`console: ${message.text()}`));
  page.on("pageerror", (error) => complaints.push(`error: ${error.message}`));
  page.on("request", (request) => {
    const url = request.url();
    if (!url.startsWith(allowed) && !url.startsWith("data:")) complaints.push(`request: ${url}`);
  });
  const begun = performance.now();
  await page.goto(address);
  if (ready) await page.waitForSelector("#page:not([aria-busy])");
  const opened_ms = performance.now() - begun;
  return { page, complaints, opened_ms, close: () => context.close() };
}
