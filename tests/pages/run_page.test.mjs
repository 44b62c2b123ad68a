// The page of a run, in a browser.
import assert from "node:assert/strict";
import { mkdtempSync, readFileSync, statSync, writeFileSync } from "node:fs";
import { rm } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, describe, it } from "node:test";
import { pathToFileURL } from "node:url";
import { gunzipSync, gzipSync } from "node:zlib";
import { build, launch, open as open_in, path_in_module } from "../../pages/tools/browser.mjs";
import { all_runs, make_page, make_run_page, make_trace } from "../../pages/tools/stories.mjs";

const folder = mkdtempSync(join(tmpdir(), "pages-"));
const data_element = /(<script type="text\/plain" id="page-data">)([^<]*)(<)/;
let browser;
let walk;  // the page of someone-walks-past, in which events, moves and requests happen

const open = (file, options) => open_in(browser, pathToFileURL(file).href, options);

/** Opens a file, hands the page over, and asserts that the browser had nothing to say. */
async function with_page(file, options, use) {
  const opened = await open(file, options);
  try {
    await use(opened.page, opened);
    assert.deepEqual(opened.complaints, []);
  } finally {
    await opened.close();
  }
}

const records_of = (trace) => readFileSync(trace, "utf8").trimEnd().split("\n").map((line) => JSON.parse(line));
const data_of = (file) => JSON.parse(gunzipSync(Buffer.from(data_element.exec(readFileSync(file, "utf8"))[2].split("\n")[0], "base64")));

/** A page like that of a run, with other data. */
function page_with(data, name) {
  const coded = typeof data === "string" ? data : gzipSync(JSON.stringify(data)).toString("base64");
  const file = join(folder, name);
  writeFileSync(file, readFileSync(walk.page, "utf8").replace(data_element, (_all, begin, _old, end) => begin + coded + end));
  return file;
}

/** The value beside a curve's name in the legend of the panel with this id. */
const reading = (page, panel, curve) => page.locator(`#${panel} .entry`, { has: page.getByRole("button", { name: curve, exact: true }) })
  .first().locator(".value").innerText();
const number_in = (text) => Number(text.replace("−", "-"));
const cursor_text = (page) => page.locator("#cursor-time").innerText();

/** Where each plot that shows the cursor has it, as a share of its width. */
const cursor_shares = (page) => page.evaluate(() => Array.from(document.querySelectorAll(".plot-frame")).map((frame) => {
  const over = frame.querySelector(".u-over").getBoundingClientRect();
  const line = frame.querySelector(".cursor-line").getBoundingClientRect();
  return (line.left + line.width / 2 - over.left) / over.width;
}));

/** Moves the mouse to a share of the first plot's width. */
async function point_at(page, share) {
  const over = page.locator("#lens .u-over").first();
  await over.scrollIntoViewIfNeeded();
  const box = await over.boundingBox();
  await page.mouse.move(box.x + share * box.width, box.y + box.height / 2);
  return box;
}

before(async () => {
  browser = await launch();
  walk = await make_run_page("someone-walks-past", folder);
});

after(async () => {
  await browser?.close();
  await rm(folder, { recursive: true, force: true });
});

describe("every story's page", () => {
  // The day is long: what its page shows is in the changes, without every single call.
  for (const name of all_runs()) {
    it(`of ${name} opens without a word from the browser and without asking for anything`, async () => {
      const run = name === "someone-walks-past" ? walk :
        await make_run_page(name, folder, name === "a-day" ? { detail: "changes" } : {});
      await with_page(run.page, {}, async (page, { opened_ms }) => {
        assert.ok((await page.locator("h1").innerText()).length > 10);
        assert.ok(await page.locator(".plot canvas").count() >= 6);
        if (name === "a-day") console.log(`the page of a day: ${statSync(run.page).size} bytes, opened in ${Math.round(opened_ms)} ms`);
      });
    });
  }
});

describe("the cursor", () => {
  it("moves in all plots when it is moved in one", async () => {
    await with_page(walk.page, {}, async (page) => {
      for (const share of [0.3, 0.8]) {
        await point_at(page, share);
        const shares = await cursor_shares(page);
        assert.ok(shares.length >= 8);
        for (const other of shares) assert.ok(Math.abs(other - share) < 0.01, `${other} instead of ${share}`);
      }
    });
  });

  it("shows the values that stand in the trace", async () => {
    const truths = records_of(walk.trace).filter((record) => record.truth);
    await with_page(walk.page, {}, async (page) => {
      await page.keyboard.press("Home");
      for (let i = 0; i < 8; ++i) {
        await page.keyboard.press("n");
        const t_us = await page.locator("#overview").getAttribute("aria-valuenow");
        const truth = truths.filter((record) => record.t_us <= Number(t_us)).at(-1).truth;
        assert.equal(number_in(await reading(page, "lens", "lens, true")), Number(truth.lens_tmr.toFixed(1)));
        assert.equal(number_in(await reading(page, "blur", "middle")), Number(truth.blur_px.toFixed(2)));
        assert.equal(number_in(await reading(page, "edges", "left")), Number(truth.left_side_deg.toFixed(2)));
        assert.equal(number_in(await reading(page, "edges", "top width")), truth.top_width);
      }
    });
  });

  it("shows the picture on the wall and the zones as they were then", async () => {
    await with_page(walk.page, {}, async (page) => {
      await page.keyboard.press("Home");
      const at_start = await page.locator("svg.wall path.now").getAttribute("d");
      const { zones } = data_of(walk.page);
      await page.keyboard.press("End");
      assert.notEqual(await page.locator("svg.wall path.now").getAttribute("d"), at_start);
      const shown = await page.locator(".zone strong").allInnerTexts();
      const [tr, br, tl, bl] = zones.sensed_mm.at(-1);
      assert.deepEqual(shown.map((text) => parseInt(text, 10)), [tl, tr, bl, br]);
    });
  });

  it("is followed by the list of what happened", async () => {
    const event = data_of(walk.page).flags.find((flag) => flag.kind === "event");
    await with_page(walk.page, {}, async (page) => {
      await page.keyboard.press("Home");
      for (let i = 0; i < 20 && Number(await page.locator("#overview").getAttribute("aria-valuenow")) < event.t; ++i) {
        await page.keyboard.press("n");
      }
      const current = page.locator(".happenings li.current");
      assert.match(await current.innerText(), new RegExp(event.text.slice(0, 20)));
      const list = await page.locator(".happenings").boundingBox();
      const entry = await current.boundingBox();
      assert.ok(entry.y >= list.y - 1 && entry.y + entry.height <= list.y + list.height + 1, "the current entry is out of sight");
    });
  });
});

describe("the keys", () => {
  it("move the cursor, zoom, go from flag to flag and search", async () => {
    await with_page(walk.page, {}, async (page) => {
      const now = async () => Number(await page.locator("#overview").getAttribute("aria-valuenow"));
      await page.keyboard.press("Home");
      assert.equal(await now(), 0);
      await page.keyboard.press("ArrowRight");
      const one = await now();
      assert.ok(one > 0);
      await page.keyboard.press("Shift+ArrowRight");
      assert.ok(Math.abs(await now() - 11 * one) <= 11);
      await page.keyboard.press("ArrowLeft");
      assert.ok(Math.abs(await now() - 10 * one) <= 11);
      await page.keyboard.press("End");
      assert.equal(await now(), data_of(walk.page).end_us);

      await page.keyboard.press("+");
      assert.match(await page.locator(".toolbar .span").innerText(), /shown/);
      assert.doesNotMatch(await page.locator(".toolbar .span").innerText(), /all shown/);
      await page.keyboard.press("-");
      assert.match(await page.locator(".toolbar .span").innerText(), /all shown/);

      const times = Array.from(new Set(data_of(walk.page).flags.filter((flag) => flag.kind !== "move").map((flag) => flag.t)));
      await page.keyboard.press("p");
      assert.equal(await now(), times.at(-1));
      await page.keyboard.press("p");
      assert.equal(await now(), times.at(-2));
      await page.keyboard.press("n");
      assert.equal(await now(), times.at(-1));

      await page.keyboard.press("/");
      await page.keyboard.type("free");
      await page.keyboard.press("Home");
      const found = await page.locator(".happenings .words").allInnerTexts();
      assert.ok(found.length >= 1);
      for (const text of found) assert.match(text, /free/i);
      await page.keyboard.press("Escape");

      await page.locator("h1").click();
      await page.keyboard.press("?");
      assert.ok(await page.getByRole("dialog").isVisible());
      await page.keyboard.press("Enter");
      assert.equal(await page.getByRole("dialog").isVisible(), false);
    });
  });

  it("reach everything that can be pressed, and show where they are", async () => {
    await with_page(walk.page, {}, async (page) => {
      const seen = new Set();
      for (let i = 0; i < 25; ++i) {
        await page.keyboard.press("Tab");
        const focus = await page.evaluate(() => {
          const at = document.activeElement;
          return { name: at.getAttribute("aria-label") ?? at.textContent.slice(0, 30), outline: getComputedStyle(at).outlineStyle };
        });
        assert.notEqual(focus.outline, "none", `nothing shows that ${focus.name} has the focus`);
        seen.add(focus.name);
      }
      for (const name of ["Next flag", "Show less time", "Time within the run", "Help on keys"]) assert.ok(seen.has(name), name);
    });
  });
});

describe("the time that is shown", () => {
  it("is the one drawn out with the mouse, and all of it again after a double click", async () => {
    await with_page(walk.page, {}, async (page) => {
      const box = await point_at(page, 0.25);
      await page.mouse.down();
      await page.mouse.move(box.x + 0.5 * box.width, box.y + box.height / 2, { steps: 4 });
      await page.mouse.up();
      const span = await page.locator(".toolbar .span").innerText();
      const end_s = data_of(walk.page).end_us / 1e6;
      const shown_s = Number(/([\d.]+) s shown/.exec(span)[1]);
      assert.ok(Math.abs(shown_s - end_s / 4) < end_s / 50, span);
      await page.locator("#lens .u-over").first().dblclick();
      assert.match(await page.locator(".toolbar .span").innerText(), /all shown/);
    });
  });

  it("is that of a request when its time is pressed", async () => {
    await with_page(walk.page, {}, async (page) => {
      const request = data_of(walk.page).requests.at(-1);
      await page.locator(".requests tbody tr").last().getByRole("button").click();
      assert.equal(Number(await page.locator("#overview").getAttribute("aria-valuenow")), request.end);
      assert.doesNotMatch(await page.locator(".toolbar .span").innerText(), /all shown/);
    });
  });
});

describe("the page tells", () => {
  it("what was asked, and how it ended", async () => {
    const { requests, command } = data_of(walk.page);
    await with_page(walk.page, {}, async (page) => {
      assert.equal(await page.locator(".requests tbody tr").count(), requests.length);
      assert.match(await page.locator(".cards").innerText(), /✓ sharp/);
      assert.match(await page.locator(".cards").innerText(), /✓ square/);
      assert.equal((await page.locator(".command").innerText()).trim(), command);
    });
  });

  it("that a picture ended blurred", async () => {
    const trace = await make_trace("no-tof", folder);
    const truth = records_of(trace).filter((record) => record.truth).at(-1).truth;
    assert.ok(truth.blur_px > 1, "the story has become another");
    await with_page(await make_page(trace), {}, async (page) => assert.match(await page.locator(".cards").innerText(), /✗ blurred/));
  });

  it("which request failed, and why, however narrow the page", async () => {
    const run = await make_run_page("far-wall", folder);
    const { outcome } = data_of(run.page).requests[0];
    for (const width of [1400, 400]) {
      await with_page(run.page, { width }, async (page) => {
        const row = page.locator(".requests tbody tr").first();
        assert.match(await row.innerText(), /✗ failed: /);
        assert.ok((await row.innerText()).includes(outcome), outcome);
        assert.ok((await page.locator(".cards").innerText()).includes(outcome), outcome);
        const box = await row.getByText("square", { exact: false }).last().boundingBox();
        assert.ok(box.x + box.width <= width, "how it ended is beyond the edge");
      });
    }
  });

  it("when the zones were measured, and how far they were from the truth of then", async () => {
    const { zones } = data_of(walk.page);
    await with_page(walk.page, {}, async (page) => {
      await page.keyboard.press("End");
      const about = await page.locator(".panel", { has: page.locator(".zone-map") }).locator(".about").innerText();
      assert.ok(about.includes(`Sensed at ${(zones.t.at(-1) / 1e6).toFixed(3)} s, `), about);
      assert.match(about, /before the cursor/);
    });
  });

  it("nothing of the picture that the trace does not say", async () => {
    const trace = join(folder, "no-truth.jsonl");
    writeFileSync(trace, records_of(walk.trace).filter((record) => !record.truth).map((record) => `${JSON.stringify(record)}\n`).join(""));
    await with_page(await make_page(trace), {}, async (page) => {
      assert.doesNotMatch(await page.locator(".cards").innerText(), /[✓✗] (sharp|blurred|square|not)/);
      assert.doesNotMatch(await page.locator(".requests").innerText(), /[✓✗] (sharp|blurred|square|not)/);
      assert.doesNotMatch(await page.locator(".side").innerText(), /not on the wall|nothing there/);
    });
  });

  it("where a word of the log stands, though the log is not shown", async () => {
    const line = data_of(walk.page).log.find(({ text }) => text.includes("tof distance"));
    await with_page(walk.page, {}, async (page) => {
      assert.equal(await page.locator(".happenings li.log").count(), 0);
      await page.locator("#search").fill("tof distance");
      assert.ok(await page.locator(".happenings li.log").count() > 0, line.text);
    });
  });

  it("any signal by its name", async () => {
    const data = data_of(walk.page);
    await with_page(walk.page, {}, async (page) => {
      await page.getByLabel("Signal", { exact: true }).selectOption({ label: "truth.light_used" });
      const last = data.signals.find((signal) => signal.name === "truth.light_used").v.at(-1);
      assert.equal(number_in(await reading(page, "other", "truth.light_used")), Number(last.toFixed(3)));
    });
  });

  it("in one line when its data cannot be read", async () => {
    for (const [data, words] of [["bm90IGd6aXA=", /cannot be shown/], [{ format: 99 }, /format 99/]]) {
      const { page, close } = await open(page_with(data, "broken.html"), {});
      assert.match(await page.getByRole("alert").innerText(), words);
      await close();
    }
  });
});

describe("the page is safe and small", () => {
  it("and takes texts of a trace as texts", async () => {
    const data = data_of(walk.page);
    const evil = "</script><img src=x onerror=\"document.title='evil'\"><b id=evil>";
    data.title = evil;
    data.flags[0].text = evil;
    data.log[0].text = evil;
    data.command = evil;
    await with_page(page_with(data, "evil.html"), {}, async (page) => {
      assert.equal(await page.locator("h1").innerText(), evil);
      assert.equal(await page.locator("#evil").count(), 0);
      assert.equal(await page.title(), evil);
    });
  });

  it("and runs no script but its own", async () => {
    const { page, complaints, close } = await open(walk.page, {});
    const ran = await page.evaluate(() => {
      const script = document.createElement("script");
      script.textContent = "window.ran = true";
      document.body.append(script);
      return window.ran === true;
    });
    assert.equal(ran, false);
    assert.match(complaints.join(), /Content Security Policy/);
    const policy = await page.locator("meta[http-equiv=Content-Security-Policy]").getAttribute("content");
    assert.match(policy, /default-src 'none'/);
    assert.doesNotMatch(policy, /unsafe|\*|https?:/);
    await close();
  });

  it("with a megabyte at most beside its data", () => {
    assert.ok(statSync(join(build, "pages/run.html")).size <= 1e6);
  });
});

describe("the page fits", () => {
  it("with all times below its curves but those that its edge would cut", async () => {
    await with_page(walk.page, {}, async (page) => {
      // What a canvas has been asked to write, and where.
      const written = await page.evaluate(async () => {
        const texts = [];
        const write = CanvasRenderingContext2D.prototype.fillText;
        CanvasRenderingContext2D.prototype.fillText = function (text, x, ...more) {
          texts.push({ text, end: (x + this.measureText(text).width / 2) / devicePixelRatio, wide: this.canvas.clientWidth });
          return write.call(this, text, x, ...more);
        };
        document.querySelector('[title="Show less time"], [aria-label="Show less time"]').click();
        await new Promise((done) => setTimeout(done, 300));
        return texts;
      });
      const times = written.filter(({ text }) => / s$|^\d+:/.test(text));
      assert.ok(times.length > 20, `${times.length} times`);
      for (const { text, end, wide } of times) assert.ok(end <= wide + 1, `${text} ends at ${end} of ${wide}`);
    });
  });


  for (const width of [1400, 400]) {
    it(`${width} pixels without scrolling sideways`, async () => {
      await with_page(walk.page, { width }, async (page) => {
        const wide = await page.evaluate(() => document.documentElement.scrollWidth);
        assert.ok(wide <= width, `it is ${wide} pixels wide`);
      });
    });
  }

  it("paper: it prints in light colours, without what can only be pressed", async () => {
    await with_page(walk.page, { scheme: "dark" }, async (page) => {
      await page.emulateMedia({ media: "print" });
      await page.evaluate(() => dispatchEvent(new Event("beforeprint")));
      assert.equal(await page.evaluate(() => getComputedStyle(document.body).backgroundColor), "rgb(255, 255, 255)");
      assert.equal(await page.locator(".toolbar .buttons").isVisible(), false);
      await page.evaluate(() => dispatchEvent(new Event("afterprint")));
      assert.ok((await page.pdf()).length > 10000);
    });
  });
});

describe("the page on paper", () => {
  it("shows every request, to its last column", async () => {
    const run = await make_run_page("ceiling", folder);
    await with_page(run.page, { width: 718 }, async (page) => {  // A4 within Chromium's margins
      await page.emulateMedia({ media: "print" });
      const table = page.locator(".requests");
      const [shown, all] = await table.evaluate((box) => [[box.clientWidth, box.clientHeight], [box.scrollWidth, box.scrollHeight]]);
      assert.deepEqual(shown, all);
    });
  });
});

describe("people who see or read otherwise", () => {
  for (const [scheme, width] of [["light", 1400], ["dark", 1400], ["light", 400], ["dark", 400]]) {
    it(`are not shut out: axe finds nothing, ${scheme}, ${width} pixels`, async () => {
      await with_page(walk.page, { scheme, width, bypassCSP: true }, async (page) => {
        await page.addScriptTag({ path: path_in_module("axe-core/axe.min.js") });
        const { violations } = await page.evaluate(() => window.axe.run());
        assert.deepEqual(violations.map((one) => `${one.id}: ${one.nodes.map((node) => node.html.slice(0, 120)).join(" | ")}`), []);
      });
    });
  }
});
