// The page of a run that is too long to be read at once: what it shows of a minute is the trace, value by value.
import assert from "node:assert/strict";
import { createReadStream, mkdtempSync, readFileSync, writeFileSync } from "node:fs";
import { rm } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { createInterface } from "node:readline";
import { after, before, describe, it } from "node:test";
import { pathToFileURL } from "node:url";
import { gunzipSync } from "node:zlib";
import { launch, open as open_in } from "../../pages/tools/browser.mjs";
import { make_page, make_trace } from "../../pages/tools/stories.mjs";

const folder = mkdtempSync(join(tmpdir(), "pages-"));
const minutes = 160;
const lane_left = 54;     // pixels, as the page draws lanes
const lane_height = 34;
const ground_top = 13;
const hold_top = 25;
let browser;
let page_file;
let data;
let records;  // of the trace, those about the border between two parts

/** Keeps what is drawn: each plot, and each rectangle of the lanes. */
function watch_drawing() {
  window.plots = [];
  window.rects = [];
  Object.defineProperty(window, "uPlot", {
    configurable: true,
    set(real) {
      const watched = new Proxy(real, { construct: (target, words) => {
        const plot = Reflect.construct(target, words);
        window.plots.push(plot);
        return plot;
      } });
      Object.defineProperty(window, "uPlot", { value: watched, writable: true });
    },
  });
  const { fillRect } = CanvasRenderingContext2D.prototype;
  CanvasRenderingContext2D.prototype.fillRect = function (...words) {
    if (this.canvas.getAttribute("aria-label")?.startsWith("Lanes")) window.rects.push(words);
    return fillRect.apply(this, words);
  };
}

const coded_lines = () => /id="page-data">([^<]*)</.exec(readFileSync(page_file, "utf8"))[1].split("\n");

async function with_page(use, { file = page_file, complaints_expected = false, ...options } = {}) {
  const { page, complaints, close } = await open_in(browser, pathToFileURL(file).href, { first: watch_drawing, ...options });
  try {
    await use(page);
    if (!complaints_expected) assert.deepEqual(complaints, []);
  } finally {
    await close();
  }
}

const gravity_at_cursor = (page) => page.locator("#gravity .entry .value").allInnerTexts();
const is_exact_at_cursor = (page) => page.waitForFunction(
  () => ![...document.querySelectorAll("#gravity .value, .lane-values")].some((value) => value.textContent.includes("≈")));
const lanes_are_drawn = (page) => page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));

/** Puts the cursor there by the strip on top, as near as its pixels let. */
async function go_to(page, t) {
  const strip = await page.locator("#overview").boundingBox();
  const [left, right] = [64, 10];
  await page.mouse.click(strip.x + left + (t / data.end_us) * (strip.width - left - right), strip.y + strip.height / 2);
}

/** Shows about a minute with the border between two parts in it; the run's minutes halved seven times. */
async function show_a_minute(page, border) {
  await go_to(page, border);
  for (let i = 0; i < 7; ++i) await page.keyboard.press("+");
  await is_exact_at_cursor(page);
  await page.waitForFunction(() => {
    const root = document.querySelector("#gravity .u-over").closest(".uplot");
    return window.plots.find((one) => one.root === root).data[0].length > 1000;  // more than extremes
  });
  await lanes_are_drawn(page);
}

/** What the plot of gravity has drawn, and between which times. */
const drawn_gravity = (page) => page.evaluate(() => {
  const root = document.querySelector("#gravity .u-over").closest(".uplot");
  const plot = window.plots.find((one) => one.root === root);
  return { columns: plot.data.map((column) => Array.from(column)), from: plot.scales.x.min, to: plot.scales.x.max };
});

/** The samples of the trace by their times; of equal times the last one counts. */
function samples_in_trace() {
  const samples = new Map();
  for (const record of records) {
    if (record.request_name !== "get_sample" || record.returned?.length !== 24) continue;
    const bytes = Buffer.from(record.returned, "hex");
    samples.set(record.t_us, [0, 4, 8].map((at) => bytes.readInt32LE(at) / 1000));
  }
  return samples;
}

/** What took time of each thread, in the order of their begins. */
function slices_in_trace(thread) {
  const slices = [];
  let sleep = null;
  const add = (row, begin, end) => { if (end > begin) slices.push({ row, begin, end }); };
  for (const record of records) {
    if (record.thread !== thread || !(record.call || record.wait || record.callback || record.return)) continue;
    const took = record.took_us ?? 0;
    if (sleep) add("top", sleep.t_us, Math.min(sleep.t_us + sleep.us, record.t_us - took));
    sleep = null;
    if (record.call === "sleep" && took === 0) sleep = record;
    else if (record.call === "unlock") add("hold", record.t_us - record.held_us, record.t_us);
    else add("top", record.t_us - took, record.t_us);
  }
  return slices;
}

before(async () => {
  const scenario = join(folder, "long.json");
  const script = join(folder, "long.host");
  const at_border = (minutes / 2) * 60;
  writeFileSync(scenario, JSON.stringify({ story: "Hours at rest, and a bump.", seed: 3, events: [{ at_s: at_border, gesture: "shake", what: "it is bumped" }] }));
  writeFileSync(script, `init\nakaf\nwait idle\nwait ${minutes}min\nwait idle\n`);
  browser = await launch();
  const trace = await make_trace("long", folder, { scenario, script });
  page_file = await make_page(trace);
  data = JSON.parse(gunzipSync(Buffer.from(coded_lines()[0], "base64")));
  const near = 120e6;
  const border = data.parts.us * Math.floor(data.parts.count / 2);
  records = [];
  for await (const line of createInterface({ input: createReadStream(trace) })) {
    const t_us = Number(line.slice(8, line.indexOf(",", 8)));
    if (Math.abs(t_us - border) < near) records.push(JSON.parse(line));
  }
});

after(async () => {
  await browser?.close();
  await rm(folder, { recursive: true, force: true });
});

describe("the page of a long run", () => {
  const border = () => data.parts.us * Math.floor(data.parts.count / 2);

  it("has more parts than it reads at once", () => {
    assert.ok(data.parts.count > 12, `${data.parts.count} parts`);
    assert.equal(coded_lines().length, 1 + data.parts.count);
    assert.ok(data.signals.find((signal) => signal.name === "gravity.x").step_us > 0);
    assert.ok(data.lanes.some((lane) => lane.merged_us > 0));
  });

  for (const width of [1400, 400]) {
    it(`draws every value of gravity when a minute is shown, ${width} pixels wide`, async () => {
      const samples = samples_in_trace();
      await with_page(async (page) => {
        await show_a_minute(page, border());
        const { columns: [times, ...axes], from, to } = await drawn_gravity(page);
        assert.ok(to - from > 60e6 && to - from < 90e6);
        assert.ok(from < border() && border() < to);
        const inside = Array.from(samples.keys()).filter((t) => t >= from && t <= to);
        assert.ok(inside.length > 2000, `${inside.length} samples`);
        let at = 0;
        for (const t of inside) {
          while (at + 1 < times.length && times[at + 1] <= t) ++at;
          assert.deepEqual(axes.map((axis) => axis[at]), samples.get(t), `at ${t} us`);
        }
        for (const t of times.slice(1, -1)) assert.ok(samples.has(t), `nothing was sampled at ${t} us`);
      }, { width });
    });
  }

  it("draws every slice of every lane when a minute is shown wide enough", async () => {
    await with_page(async (page) => {
      await page.addStyleTag({ content: "#page { max-width: none }" });
      await show_a_minute(page, border());
      await page.keyboard.press("+");
      await page.evaluate(() => { window.rects = []; });
      await page.keyboard.press("-");
      await lanes_are_drawn(page);
      const { from, to } = await drawn_gravity(page);
      const rects = await page.evaluate(() => window.rects);
      assert.ok(to - from > 60e6);
      const wide = rects[0][2];  // the first lane's ground
      assert.ok(wide > 7000);
      assert.equal(rects.filter(([, , width]) => width === wide).length, data.lanes.length, "lanes were drawn more than once");
      let compared = 0;
      data.lanes.forEach((lane, i) => {
        for (const [row, top] of [["top", ground_top], ["hold", hold_top]]) {
          const drawn = rects.filter(([, y, width]) => y === i * lane_height + top && width !== wide).map(([x, , width]) => [x, x + width]);
          const place = (t) => lane_left + (Math.min(to, Math.max(from, t)) - from) * wide / (to - from);
          const expected = slices_in_trace(lane.thread).filter((slice) => slice.row === row && slice.end >= from && slice.begin <= to)
            .map(({ begin, end }) => [place(begin), place(end)]).filter(([left, right]) => right - left > 1);
          const broad = drawn.filter(([left, right]) => right - left > 1);
          if (lane.name === "main" || lane.name === "sensor_main") continue;  // their waits last longer than the records at hand
          assert.equal(broad.length, expected.length, `${lane.name}, ${row}`);
          expected.forEach(([left, right], at) => {
            assert.ok(Math.abs(broad[at][0] - left) < 0.01 && Math.abs(broad[at][1] - right) < 0.01, `${lane.name}: ${broad[at]} instead of ${left},${right}`);
          });
          compared += expected.length;
        }
      });
      assert.ok(compared > 5000, `${compared} slices`);
    }, { width: 8000, bypassCSP: true });
  });

  it("says at the cursor what stands in the trace, when all of the run is shown, too", async () => {
    const samples = samples_in_trace();
    const times = Array.from(samples.keys()).sort((a, b) => a - b);
    await with_page(async (page) => {
      await go_to(page, border());
      await is_exact_at_cursor(page);
      const cursor = Number(await page.locator("#overview").getAttribute("aria-valuenow"));
      const held = samples.get(times.filter((t) => t <= cursor).at(-1));
      const shown = (await gravity_at_cursor(page)).slice(0, 3).map((text) => Number(text.replace("−", "-")));
      assert.deepEqual(shown, held);
    });
  });

  it("says so where a part of it cannot be read, and shows the rest", async () => {
    const broken = join(folder, "broken.html");
    const lines = coded_lines();
    const middle = 1 + Math.floor(data.parts.count / 2);
    writeFileSync(broken, readFileSync(page_file, "utf8").replace(lines[middle], lines[middle].slice(0, 4000)));
    await with_page(async (page) => {
      await go_to(page, border() + 60e6);
      await page.getByRole("alert").waitFor();
      assert.match(await page.getByRole("alert").innerText(), /part of this run cannot be shown in full/);
      assert.match((await gravity_at_cursor(page))[0], /^≈ [−0-9.]+$/);
      await page.keyboard.press("End");
      await is_exact_at_cursor(page);
    }, { file: broken });
  });
});
