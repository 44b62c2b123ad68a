// What a plot shows of a signal, without a browser.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { join } from "node:path";
import { describe, it } from "node:test";
import { root } from "../../pages/tools/browser.mjs";

const source = execFileSync("esbuild", [join(root, "pages/src/shared/signals.ts"), "--format=esm"], { encoding: "utf8" });
const { derived, is_near, last_at, sample, value_at } = await import(`data:text/javascript,${encodeURIComponent(source)}`);

const signal = (t, v) => ({ name: "a signal", unit: "", t, v });
/** Samples every 20 ms with a spike now and then, like gravity over an hour. */
const hour = () => {
  const t = Array.from({ length: 180000 }, (_none, i) => i * 20000);
  return signal(t, t.map((_none, i) => (i % 9973 === 4000 ? 5 : Math.sin(i / 500))));
};

describe("a value", () => {
  const some = signal([100, 200, 300], [1, null, 3]);
  it("holds until the next one", () => {
    assert.deepEqual([99, 100, 199, 200, 299, 300, 1e9].map((t) => value_at(some, t)), [null, 1, 1, null, null, 3, 3]);
  });
  it("is found among equal times as the last of them", () => {
    assert.equal(last_at([1, 2, 2, 2, 3], 2), 3);
    assert.equal(last_at([], 2), -1);
  });
});

describe("signals between two times", () => {
  it("have every value at its very time while there are few", () => {
    const one = signal([0, 30, 60, 90], [1, 2, 3, 4]);
    const other = signal([10, 60], [7, 8]);
    const { columns, exact } = sample([one, other], ["held", "held"], 20, 80, 100);
    assert.equal(exact, true);
    assert.deepEqual(columns, [[20, 30, 60, 80], [1, 2, 3, 3], [7, 7, 8, 8]]);
  });

  it("show what was taken at moments at these moments only", () => {
    const { columns } = sample([signal([30, 60], [2, 3])], ["moments"], 20, 80, 100);
    assert.deepEqual(columns, [[20, 30, 60, 80], [null, 2, 3, null]]);
  });

  it("keep gaps", () => {
    const { columns } = sample([signal([0, 30, 60], [1, null, 3])], ["held"], 0, 80, 100);
    assert.deepEqual(columns[1], [1, null, 3, 3]);
  });

  it("are exact within a minute of an hour", () => {
    const one = hour();
    const from = 1.8e9;
    const to = from + 60e6;
    const { columns, exact } = sample([one], ["held"], from, to, 900);
    assert.equal(exact, true);
    one.t.forEach((t, i) => {
      if (t >= from && t <= to) assert.equal(columns[1][columns[0].indexOf(t)], one.v[i]);
    });
  });

  it("are exact within a minute however few pixels there are", () => {
    const axes = [hour(), hour(), hour()];
    const { columns, exact } = sample(axes, ["held", "held", "held"], 1.8e9, 1.86e9, 300);
    assert.equal(exact, true);
    assert.equal(columns[0].length, 3001);
  });

  it("lose no spike where each pixel has many values", () => {
    const one = hour();
    const { columns, exact } = sample([one], ["held"], 0, 3.6e9, 900);
    assert.equal(exact, false);
    assert.ok(columns[0].length <= 2 * 900 + 1);
    const spikes = one.v.filter((value) => value === 5).length;
    assert.equal(columns[1].filter((value) => value === 5).length, spikes);
    for (let i = 1; i < columns[0].length; ++i) assert.ok(columns[0][i] > columns[0][i - 1]);
  });

  it("give smallest and largest in the order in which they came", () => {
    const t = Array.from({ length: 20000 }, (_none, i) => i);
    const { columns, exact } = sample([signal(t, t)], ["held"], 0, 20000, 10);
    assert.equal(exact, false);
    for (let i = 1; i < columns[1].length; ++i) assert.ok(columns[1][i] >= columns[1][i - 1]);
  });
});

describe("a signal that is told by its extremes", () => {
  const whole = hour();
  const parts = new Set();  // the minutes of which every value is known
  const minute_of = (t) => Math.floor(t / 60e6);
  const every = (from, to) => {
    for (let minute = minute_of(from); minute <= minute_of(to); ++minute) if (!parts.has(minute)) return null;
    const first = Math.max(0, last_at(whole.t, from));
    return { t: whole.t.slice(first, last_at(whole.t, to) + 1), v: whole.v.slice(first, last_at(whole.t, to) + 1) };
  };
  const few = { ...signal([0, 1.8e9], [1, -1]), every };

  it("is near where no more is known, and exact where every value is", () => {
    parts.clear();
    assert.equal(is_near(few, 1.2e9), true);
    assert.equal(value_at(few, 1.2e9), 1);
    parts.add(20);
    assert.equal(is_near(few, 1.2e9), false);
    assert.equal(value_at(few, 1.2e9 + 20001), whole.v[60001]);
    assert.equal(is_near(whole, 1.2e9), false);
  });

  it("is drawn by every value where all of what is shown is known", () => {
    parts.clear();
    parts.add(20);
    const { columns } = sample([few], ["held"], 1.21e9, 1.22e9, 900);
    assert.deepEqual(columns[1], whole.v.slice(60500, 61001));
    assert.deepEqual(sample([few], ["held"], 1.19e9, 1.22e9, 900).columns[1], [1, 1]);
  });

  it("makes others that are as exact", () => {
    parts.clear();
    const twice = derived({ name: "twice", unit: "" }, [few], ([one]) => ({ t: one.t, v: Array.from(one.v, (value) => 2 * value) }));
    assert.equal(is_near(twice, 1.2e9), true);
    assert.equal(value_at(twice, 1.2e9), 2);
    parts.add(20);
    assert.equal(is_near(twice, 1.2e9), false);
    assert.equal(value_at(twice, 1.2e9 + 20001), 2 * whole.v[60001]);
  });
});
