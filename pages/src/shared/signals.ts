// Signals over time, and what of them a plot of so many pixels can show.
//
// A value holds until the next one of its signal. Times are microseconds, in rising order.

export interface Samples {
  t: ArrayLike<number>;
  v: ArrayLike<number | null>;
}

export interface Signal extends Samples {
  name: string;
  unit: string;
  about?: string;  // one line
  /** Of a signal that is told by its extremes only: every value between two times and the one that holds at the
   *  first; null while these are not read. */
  every?: (from: number, to: number) => Samples | null;
}

/** All that is known of a signal between two times. */
export function known(signal: Pick<Signal, "t" | "v" | "every">, from: number, to: number): Samples {
  return signal.every?.(from, to) ?? signal;
}

/** True where only a signal's extremes are known, so that its value at the time is one nearby. */
export function is_near(signal: Signal, t: number): boolean {
  return signal.every !== undefined && signal.every(t, t) === null;
}

/** A signal that is made of others: of every value of theirs where these are known. */
export function derived(about: Pick<Signal, "name" | "unit" | "about">, sources: readonly Signal[], make: (sources: readonly Samples[]) => Samples): Signal {
  const signal: Signal = { ...about, ...make(sources) };
  if (sources.every((source) => source.every === undefined)) return signal;
  const every = (from: number, to: number): Samples | null => {
    const samples = sources.map((source) => (source.every ? source.every(from, to) : source));
    return samples.every((one): one is Samples => one !== null) ? make(samples) : null;
  };
  return { ...signal, every };
}

/** The index of the last of `times` that is not after `t`; -1 when all are. */
export function last_at(times: ArrayLike<number>, t: number): number {
  let low = 0;
  let high = times.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if ((times[middle] as number) <= t) low = middle + 1;
    else high = middle;
  }
  return low - 1;
}

/** The value that holds at a time; null before the first and where the signal says that there is none. */
export function value_at(signal: Pick<Signal, "t" | "v" | "every">, t: number): number | null {
  const { t: times, v } = known(signal, t, t);
  const at = last_at(times, t);
  return at < 0 ? null : (v[at] ?? null);
}

/** One array of times, and one of values for each signal, as a plot takes them. */
export type Columns = [number[], ...(number | null)[][]];

/** What a plot shows of a signal: the value that holds, or only the moments at which it was taken. */
export type Held = "held" | "moments";

export interface Sampled {
  columns: Columns;
  exact: boolean;  // every value is there that is known
}

const points_per_bucket = 4;
const always_exact = 10000;  // points: three axes of gravity over a minute, however narrow the plot is

/**
 * The signals between two times. Where there are few enough, every value at its very time; else the smallest
 * and the largest value within each of `buckets` equal parts, in the order in which they came.
 */
export function sample(given: readonly Signal[], held: readonly Held[], from: number, to: number, buckets: number): Sampled {
  const signals = given.map((signal) => known(signal, from, to));
  const spans = signals.map((signal) => [last_at(signal.t, from) + 1, last_at(signal.t, to)] as const);
  const points = spans.reduce((sum, [first, last]) => sum + Math.max(0, last - first + 1), 0);
  const exact = points <= Math.max(always_exact, points_per_bucket * buckets);
  return { columns: exact ? every_value(signals, held, spans, from, to) : extremes(signals, held, from, to, buckets), exact };
}

function every_value(
  signals: readonly Samples[], held: readonly Held[], spans: readonly (readonly [number, number])[], from: number, to: number,
): Columns {
  const times = new Set<number>([from, to]);
  signals.forEach((signal, i) => {
    const [first, last] = spans[i] as readonly [number, number];
    for (let at = first; at <= last; ++at) times.add(signal.t[at] as number);
  });
  const sorted = Array.from(times).sort((a, b) => a - b);
  const columns: Columns = [sorted];
  signals.forEach((signal, i) => {
    let at = last_at(signal.t, from);
    columns.push(sorted.map((t) => {
      let taken = at >= 0 && signal.t[at] === t;
      while (at + 1 < signal.t.length && (signal.t[at + 1] as number) <= t) {
        ++at;
        taken = true;
      }
      if (at < 0 || (held[i] === "moments" && !taken)) return null;
      return signal.v[at] ?? null;
    }));
  });
  return columns;
}

function extremes(signals: readonly Samples[], held: readonly Held[], from: number, to: number, buckets: number): Columns {
  const width = (to - from) / buckets;
  const times: number[] = [];
  for (let b = 0; b < buckets; ++b) times.push(from + b * width, from + (b + 0.5) * width);
  times.push(to);
  const columns: Columns = [times];
  signals.forEach((signal, i) => columns.push(extremes_of(signal, held[i] === "moments", from, width, buckets)));
  return columns;
}

function extremes_of(signal: Samples, moments: boolean, from: number, width: number, buckets: number): (number | null)[] {
  const { t, v } = signal;
  const values: (number | null)[] = [];
  let at = last_at(t, from);
  let value = at < 0 ? null : (v[at] ?? null);
  for (let b = 0; b < buckets; ++b) {
    const end = from + (b + 1) * width;
    let low = moments ? null : value;
    let high = low;
    let low_at = at;
    let high_at = at;
    while (at + 1 < t.length && (t[at + 1] as number) < end) {
      value = v[++at] ?? null;
      if (value === null) continue;
      if (low === null || value < low) [low, low_at] = [value, at];
      if (high === null || value > high) [high, high_at] = [value, at];
    }
    if (low_at <= high_at) values.push(low, high);
    else values.push(high, low);
  }
  values.push(moments ? null : value);
  return values;
}
