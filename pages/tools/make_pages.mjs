// make_pages.mjs [NAME]...: every story, or these runs, as a page and in pictures, in build/pages.
// make_pages.mjs --documents: the pictures of README.md and docs/, which stand in the tree.
import { statSync } from "node:fs";
import { mkdir } from "node:fs/promises";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import { launch, open, root } from "./browser.mjs";
import { start_live } from "./live_run.mjs";
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

/** The live page in README.md: the projector was carried, and is sharp again. */
async function take_live_picture(browser) {
  const live = await start_live();
  try {
    const { page, close } = await open(browser, live.address, { allowed: live.origin, width: 1400, height: 1000 });
    const sharp = () => page.waitForFunction(
      () => document.querySelector("#gauge-sharpness .value").classList.contains("good"), null, { timeout: 60000 });
    await sharp();
    const box = await page.locator("#projector-above").boundingBox();
    await page.mouse.move(box.x + box.width / 2, box.y + box.height / 2);
    await page.mouse.down();
    await page.mouse.move(box.x + box.width / 2, box.y + box.height / 2 + 60, { steps: 20 });
    await page.mouse.up();
    await page.waitForTimeout(4000);
    await sharp();
    await page.screenshot({ path: join(pictures, "live-page.png") });
    await close();
  } finally {
    await live.stop();
  }
}

/** The page in README.md: the run of someone-walks-past, zoomed to where the focus is lost. */
async function take_run_picture(browser) {
  const walk = await make_run_page("someone-walks-past", place);
  const { page, close } = await open(browser, pathToFileURL(walk.page).href, { width: 1120, height: 760 });
  await page.locator(".requests tbody tr").nth(1).getByRole("button").click();
  await page.waitForTimeout(200);
  await page.screenshot({ path: join(pictures, "run-page.png") });
  await close();
}

async function take_documents_pictures(browser) {
  await mkdir(pictures, { recursive: true });
  await take_run_picture(browser);
  await take_live_picture(browser);
  console.log(`pictures of the documents: ${pictures}`);
}

const words = process.argv.slice(2);
const only_documents = words.length === 1 && words[0] === "--documents";
const named = only_documents ? [] : words;
const names = only_documents ? [] : named.length > 0 ? named : all_runs();
const unknown = named.filter((name) => !all_runs().includes(name));
if (unknown.length > 0) {
  console.error(`there is no run named ${unknown[0]}; they are: ${all_runs().join(" ")}`);
  process.exit(2);
}
if (words.length === 0) await emptied(place);
const browser = await launch();
try {
  for (const name of names) {
    const run = await make_run_page(name, place);
    await take_pictures(browser, run);
  }
  if (only_documents) await take_documents_pictures(browser);
} finally {
  await browser.close();
}
console.log(`pages and pictures: ${place}`);
