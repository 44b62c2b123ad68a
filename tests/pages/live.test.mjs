// The live page in a browser, as a person meets it.
import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { readFileSync, writeFileSync } from "node:fs";
import { createServer, request } from "node:http";
import { join } from "node:path";
import { after, afterEach, before, test } from "node:test";
import { promisify } from "node:util";
import { launch, open, path_in_module, root } from "../../pages/tools/browser.mjs";
import { host, host_script, launcher, start_live } from "../../pages/tools/live_run.mjs";

const run = promisify(execFile);
const patience = { timeout: 30000 };
let browser;
let live;
let opened = [];

before(async () => { browser = await launch(); });
after(() => browser.close());
afterEach(async () => {
  for (const page of opened) await page.close();
  opened = [];
  await live?.stop();
  live = undefined;
});

async function open_page(options = {}) {
  const page = await open(browser, live.address, { allowed: live.origin, ...options });
  opened.push(page);
  return page;
}

const number_in = (text) => Number(text.replace("−", "-").replace(/[^-0-9.].*$/, ""));
const gauge = async (page, name) => number_in(await page.textContent(`#gauge-${name} .value`));
const time_s = (page) => page.textContent(".time").then((text) => {
  const [seconds, minutes = "0"] = text.replace(" s", "").split(":").reverse();
  return Number(seconds) + 60 * Number(minutes);
});
const until_time = (page, s) => page.waitForFunction((wanted) => {
  const [seconds, minutes = "0"] = document.querySelector(".time").textContent.replace(" s", "").split(":").reverse();
  return Number(seconds) + 60 * Number(minutes) >= wanted;
}, s, patience);
const until_sharp = (page) => page.waitForFunction(
  () => document.querySelector("#gauge-sharpness .value").classList.contains("good"), null, patience);
const until_blurred = (page) => page.waitForFunction(
  () => document.querySelector("#gauge-sharpness .value").classList.contains("bad"), null, patience);
const until_log_says = (page, words) => page.waitForFunction(
  (wanted) => document.querySelector(".happenings").textContent.includes(wanted), words, patience);

async function middle_of(page, selector) {
  const box = await page.locator(selector).boundingBox();
  return [box.x + box.width / 2, box.y + box.height / 2];
}

/** Drags a thing by so many pixels of the screen, in steps as a person's mouse does. */
async function drag(page, selector, right, down) {
  const [x, y] = await middle_of(page, selector);
  await page.mouse.move(x, y);
  await page.mouse.down();
  await page.mouse.move(x + right, y + down, { steps: 20 });
  await page.mouse.up();
}

async function violations(page) {
  await page.evaluate(readFileSync(path_in_module("axe-core/axe.min.js"), "utf8"));
  const { violations: found } = await page.evaluate(() => globalThis.axe.run());
  return found.map((violation) => `${violation.id}: ${violation.nodes.map((node) => node.target.join(" ")).join(", ")}`);
}

test("the live page opens without a word from the browser, under a policy that allows its own scripts alone", async () => {
  live = await start_live();
  const { page, complaints } = await open_page();
  await until_sharp(page);
  assert.deepEqual(complaints, []);
  const answer = await fetch(live.address);
  const policy = answer.headers.get("content-security-policy");
  assert.match(policy, /default-src 'none'/);
  assert.match(policy, /script-src 'sha256-[^;]*'/);
  assert.doesNotMatch(policy, /unsafe/);
});

for (const [width, scheme] of [[1400, "light"], [1400, "dark"], [400, "light"], [400, "dark"]]) {
  test(`axe-core finds nothing wrong with the live page at ${width} pixels, ${scheme}`, async () => {
    live = await start_live(["--set", "room.corner_mm=900", "--set", "room.box1_width_mm=500"]);
    const { page } = await open_page({ width, scheme });
    await until_sharp(page);
    await until_log_says(page, "at rest");
    assert.deepEqual(await violations(page), []);
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), "nothing stands out to the side");
  });
}

test("a projector that is dragged to another distance and set down is sharp again by itself", async () => {
  live = await start_live();
  const { page, complaints } = await open_page();
  await live.command({ do: "speed", value: 5 });
  await until_sharp(page);
  await until_log_says(page, "at rest");
  const before_mm = await gauge(page, "distance");
  await drag(page, "#projector-above", 0, 120);
  await until_log_says(page, "hand: set_down");
  await until_blurred(page);
  await until_sharp(page);
  const after_mm = await gauge(page, "distance");
  assert.ok(after_mm > before_mm + 300, `${before_mm} mm before, ${after_mm} mm after`);
  assert.deepEqual(complaints, []);
});

/** The ends of the drawn rays beyond the wall, or before it, in millimetres: from above, then from the side. */
const ends_off_the_wall = (page) => page.evaluate(() => {
  const [above, side] = Array.from(document.querySelectorAll("svg.room"));
  const ends = (room, member) => Array.from(room.querySelectorAll(".ray")).map((ray) => Number(ray.getAttribute(member)));
  return [...ends(above, "y2"), ...ends(side, "x2")];
});

test("the rays of a projector that is turned, tilted and rolled end on the wall, from above and from the side", async () => {
  live = await start_live(["--set", "pose.yaw_deg=15", "--set", "pose.pitch_deg=10", "--set", "pose.roll_deg=20"]);
  const { page } = await open_page();
  await until_time(page, 0.5);
  const ends = await ends_off_the_wall(page);
  assert.equal(ends.length, 8);
  for (const mm of ends) assert.ok(Math.abs(mm) < 5, ends.join(" "));
  assert.equal(await page.locator(".ray.good").count(), 8, "a sensor that is right is not called wrong");
});

test("somebody who has walked past is out of sight", async () => {
  live = await start_live();
  const { page } = await open_page();
  await page.getByRole("button", { name: "Somebody walks past" }).click();
  await page.waitForSelector("svg[aria-label='The room from the side'] .person", patience);
  await live.command({ do: "speed", value: 10 });
  await page.waitForSelector("svg[aria-label='The room from the side'] .person", { ...patience, state: "detached" });
});

test("a program that lets no time pass, and one that cannot be run, are said to be so", async () => {
  live = await start_live([], ["sh", "-c", "while :; do :; done"]);
  const { page } = await open_page({ ready: false });
  await page.waitForFunction(() => document.querySelector("#status").textContent.includes("has not let any time pass yet"), null, patience);
  assert.equal(await page.locator("#projector-above").isVisible(), false);
  await live.stop();
  live = await start_live([], ["/nonexistent"]);
  const { page: other } = await open_page({ ready: false });
  await other.waitForFunction(() => document.querySelector("#status").textContent.includes("exit code 127. It could not be run"), null, patience);
});

test("the projector is carried by the arrow keys, too", async () => {
  live = await start_live();
  const { page } = await open_page();
  await live.command({ do: "speed", value: 5 });
  await until_sharp(page);
  await page.focus("#projector-above");
  for (let i = 0; i < 4; ++i) await page.keyboard.press("Shift+ArrowDown");
  await page.keyboard.press("ArrowRight");
  await until_log_says(page, "hand: set_down");
  // Where the hand means it to be: in the hand it trembles.
  await page.waitForFunction(
    () => document.querySelector("#projector-above").getAttribute("aria-valuetext") === "2500 mm, turned by 1 degrees", null, patience);
});

test("what was done on the page is repeated to the byte by the scenario that it saves", async () => {
  live = await start_live((folder) => ["--trace", join(folder, "live.jsonl"), "--scenario", join(root, "scenarios/nudge.json")]);
  const trace = join(live.folder, "live.jsonl");
  const { page } = await open_page({ acceptDownloads: true });
  await live.command({ do: "speed", value: 10 });
  await until_sharp(page);
  await drag(page, "#projector-above", 40, 90);
  await page.getByRole("button", { name: "Somebody walks past" }).click();
  await page.getByRole("button", { name: "Shake" }).click();
  await page.getByRole("button", { name: "Warmer" }).click();
  await page.getByRole("button", { name: "Break" }).click();
  await page.getByRole("button", { name: "Focus and square" }).click();
  await until_time(page, (await time_s(page)) + 3);
  await page.getByRole("button", { name: "Mend everything" }).click();
  await page.getByRole("button", { name: "Press" }).click();
  await page.fill("#host-line", "quit");
  await page.keyboard.press("Enter");
  await page.waitForFunction(() => document.querySelector("#status").textContent.startsWith("The program has ended"), null, patience);
  const [download] = await Promise.all([page.waitForEvent("download"), page.click("#save")]);
  const saved = join(live.folder, "saved.json");
  await download.saveAs(saved);
  const again = join(live.folder, "again.jsonl");
  await run(launcher, ["--scenario", saved, "--trace", again, "--", host, "--library-log", join(live.folder, "log"), "--script", host_script])
    .catch((error) => { if (error.code > 3) throw error; });
  // The first record names the scenario by its digest, which is another one.
  const records = (file) => readFileSync(file, "utf8").split("\n").slice(1);
  const [lived, repeated] = [records(trace), records(again)];
  assert.ok(lived.some((line) => line.includes("somebody walks past")));
  assert.equal(repeated.findIndex((line, i) => line !== lived[i]), -1, "the first line that differs");
  assert.equal(repeated.length, lived.length);
});

test("time is paused, goes a step, and goes on, by buttons and by keys", async () => {
  live = await start_live();
  const { page } = await open_page();
  await until_time(page, 1);
  await page.click("#pause");
  await page.waitForFunction(() => document.querySelector("#pause").textContent === "Go on", null, patience);
  const paused_at = await time_s(page);
  await page.click("#step");
  await until_time(page, paused_at + 0.09);
  assert.ok((await time_s(page)) <= paused_at + 0.11);
  await page.evaluate(() => document.activeElement.blur());
  await page.keyboard.press(".");
  await until_time(page, paused_at + 0.19);
  await page.keyboard.press(" ");
  await until_time(page, paused_at + 1);
  assert.equal(await page.textContent("#pause"), "Pause");
});

test("the page outlives the program, says how it ended, and begins another run", async () => {
  live = await start_live();
  const { page } = await open_page();
  await until_time(page, 1);
  await page.click("#end");
  await page.waitForFunction(() => /exit code 121.*--limit/.test(document.querySelector("#status").textContent), null, patience);
  await page.getByRole("button", { name: "Shake" }).click();
  await page.waitForFunction(() => /restart it first/.test(document.querySelector("#status").textContent), null, patience);
  await page.click("#restart");
  await page.waitForFunction(() => parseFloat(document.querySelector(".time").textContent) < 0.9, null, patience);
  await until_time(page, 1);
});

test("a ninth viewer is told why there is nothing to see", async () => {
  live = await start_live();
  const streams = [];
  for (let i = 0; i < 8; ++i) {
    const controller = new AbortController();
    const answer = await fetch(live.at("/events"), { signal: controller.signal });
    assert.equal(answer.status, 200);
    streams.push(controller);
  }
  const { page } = await open_page({ ready: false });
  await page.waitForFunction(() => /eight viewers/.test(document.querySelector("#status").textContent), null, patience);
  for (const stream of streams) stream.abort();
});

/** The status of a request with headers that a browser would not let anybody set. */
function status_of(path, { method = "GET", headers = {} } = {}) {
  return new Promise((resolve, reject) => {
    const { hostname, port } = new URL(live.origin);
    const asked = request({ hostname, port, path, method, headers }, (answer) => {
      answer.resume();
      resolve(answer.statusCode);
    });
    asked.on("error", reject);
    asked.end();
  });
}

test("a wrong token, another host and another origin are refused", async () => {
  live = await start_live();
  const good = `?token=${live.token}`;
  for (const path of ["/", "/events", "/scenario"]) {
    assert.equal(await status_of(path), 403, path);
    assert.equal(await status_of(`${path}?token=${"0".repeat(32)}`), 403, path);
    assert.equal(await status_of(path + good, { headers: { Host: "projector.example" } }), 403, path);
  }
  assert.equal(await status_of(`/command${good}`, { method: "POST", headers: { Origin: "http://projector.example" } }), 403);
  assert.equal(await status_of(`/${good}`), 200);
});

test("a page of elsewhere that knows the address reaches nothing", async () => {
  live = await start_live();
  const elsewhere = createServer((_asked, answer) => answer.end("<!doctype html><title>elsewhere</title>"));
  await new Promise((resolve) => elsewhere.listen(0, "127.0.0.1", resolve));
  const context = await browser.newContext();
  const page = await context.newPage();
  await page.goto(`http://127.0.0.1:${elsewhere.address().port}/`);
  const [read, asked, framed] = await page.evaluate(async ([events, command, whole]) => {
    const read = await fetch(events).then(() => "read", () => "refused");
    await fetch(command, { method: "POST", mode: "no-cors", body: '{"do":"end"}' }).catch(() => null);
    const frame = document.createElement("iframe");
    frame.src = whole;
    const loaded = new Promise((resolve) => { frame.onload = resolve; });
    document.body.append(frame);
    await loaded;
    let framed = "refused";
    try { framed = frame.contentDocument === null ? "refused" : "shown"; } catch { /* refused */ }
    return [read, "asked", framed];
  }, [live.at("/events"), live.at("/command"), live.address]);
  assert.deepEqual([read, asked, framed], ["refused", "asked", "refused"]);
  await context.close();
  elsewhere.close();
  const { page: own } = await open_page();
  await until_time(own, 2);  // it was not ended
});

test("how long it takes from a drag to its effect on the page is told", async (context) => {
  live = await start_live();
  const { page } = await open_page();
  await until_sharp(page);
  const [x, y] = await middle_of(page, "#projector-above");
  await page.mouse.move(x, y);
  await page.mouse.down();
  const latencies = await page.evaluate(async ([from_x, from_y]) => {
    const body = document.querySelector("#projector-above");
    const found = [];
    for (let i = 0; i < 100; ++i) {
      // A moment without a hand's movement, so that the next one is seen for sure.
      await new Promise((resolve) => setTimeout(resolve, 250));
      const before = body.getAttribute("aria-valuenow");
      const begun = performance.now();
      const changed = new Promise((resolve) => {
        const observer = new MutationObserver(() => {
          if (body.getAttribute("aria-valuenow") === before) return;
          observer.disconnect();
          resolve(performance.now() - begun);
        });
        observer.observe(body, { attributes: true });
      });
      const pointer = { pointerId: 1, bubbles: true, clientX: from_x, clientY: from_y + (i % 2 === 0 ? 60 : 20) };
      body.dispatchEvent(new PointerEvent("pointermove", pointer));
      found.push(await changed);
    }
    return found.sort((a, b) => a - b);
  }, [x, y]);
  await page.mouse.up();
  const median = latencies[50];
  context.diagnostic(`from a drag to its effect: median of ${latencies.length} ${median.toFixed(1)} ms, 90 % within ${latencies[90].toFixed(1)} ms`);
  writeFileSync(join(live.folder, "latency.json"), JSON.stringify(latencies));
  assert.equal(latencies.length, 100);
});
