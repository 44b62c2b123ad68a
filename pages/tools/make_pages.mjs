// make_pages.mjs [NAME]...: every story as a page and in pictures, in build/pages; without names also the pictures
// of README.md and docs/.
import { statSync } from "node:fs";
import { mkdir } from "node:fs/promises";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import { launch, open, root } from "./browser.mjs";
import { all_runs, emptied, file_name, make_run_page } from "./stories.mjs";

const place = join(root, "build/pages");
const pictures = join(root, "docs/pictures");
const looks = [1400, 400].flatMap((width) => ["light", "dark"].map((scheme) => ({ width, scheme })));

/** Pictures of a page in every look; says how long it took to open in the first. */
async function take_pictures(browser, { name, page: file }) {
  for (const look of looks) {
    const { page, complaints, opened_ms, close } = await open(browser, pathToFileURL(file).href, look);
    if (look === looks[0]) console.log(`${name}: ${statSync(file).size} bytes, open in ${Math.round(opened_ms)} ms`);
    await page.screenshot({ path: join(place, `${file_name(name)}-${look.width}-${look.scheme}.png`), fullPage: true });
    for (const complaint of complaints) console.log(`${name}: ${complaint}`);
    await close();
  }
}

/** The demo's page in README.md: the run of someone-walks-past, zoomed to where the focus is lost. */
async function take_documents_pictures(browser, walk) {
  await mkdir(pictures, { recursive: true });
  const { page, close } = await open(browser, pathToFileURL(walk.page).href, { width: 1280, height: 860 });
  await page.locator(".requests tbody tr").nth(1).getByRole("button").click();
  await page.waitForTimeout(200);
  await page.screenshot({ path: join(pictures, "run-page.png") });
  await close();
}

const named = process.argv.slice(2);
const names = named.length > 0 ? named : all_runs();
const unknown = named.filter((name) => !all_runs().includes(name));
if (unknown.length > 0) {
  console.error(`there is no run named ${unknown[0]}; they are: ${all_runs().join(" ")}`);
  process.exit(2);
}
if (named.length === 0) await emptied(place);
const browser = await launch();
try {
  for (const name of names) {
    const run = await make_run_page(name, place);
    await take_pictures(browser, run);
    if (named.length === 0 && name === "someone-walks-past") await take_documents_pictures(browser, run);
  }
} finally {
  await browser.close();
}
console.log(`pages and pictures: ${place}`);
