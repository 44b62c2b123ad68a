// What of a long run is not read when the page opens: every value of its busiest signals and every slice of its
// busiest lanes, in parts one after the other in time. Those that are shown are read, and forgotten in time.
import { unpacked } from "../shared/packed";
import type { Samples } from "../shared/signals";
import type { Timeline } from "../shared/timeline";
import type { SliceKind } from "./data";

export type Label = [kind: SliceKind, what: string];

/** What the run's data say of its parts; `us` is the length of each. */
export interface PartsAbout {
  us: number;
  count: number;
  labels: Label[];
}

/** Slices of a lane in the order of their begins. */
export interface Slices {
  begins: number[];
  lengths: number[];
  labels: Label[];
  longest: number;  // how far back something may have begun that still lasts
}

export function slices_of(begins: number[], lengths: number[], labels: Label[]): Slices {
  return { begins, lengths, labels, longest: lengths.reduce((most, length) => Math.max(most, length), 0) };
}

/** Numbers, or letters for numbers: the code of each letter less 93 is the place in `of`. */
type Column = (number | null)[] | { of: (number | null)[]; at: string };

interface SignalEntry { signal: string; from: number; rise: Column; v: Column }
interface LaneEntry { lane: number; from: number; rise: Column; us: Column; label: Column }

interface Part {
  signals: Map<string, { t: number[]; v: (number | null)[] }>;
  lanes: Map<number, Slices>;
}

const first_letter = 93;
const most_shown = 12;  // parts; with more of them on the screen a pixel is more than a step of the extremes
const most_held = 20;

function numbers(column: Column): (number | null)[] {
  if (Array.isArray(column)) return column;
  const { of, at } = column;
  const all: (number | null)[] = [];
  for (let i = 0; i < at.length; ++i) all.push(of[at.charCodeAt(i) - first_letter] ?? null);
  return all;
}

function times(from: number, rise: Column): number[] {
  const all = [from];
  let t = from;
  for (const later of numbers(rise)) all.push(t += later ?? 0);
  return all;
}

function read_part(text: string, labels: readonly Label[]): Part {
  const part: Part = { signals: new Map(), lanes: new Map() };
  for (const entry of JSON.parse(text) as (SignalEntry | LaneEntry)[]) {
    const begins = times(entry.from, entry.rise);
    if ("signal" in entry) part.signals.set(entry.signal, { t: begins, v: numbers(entry.v) });
    else part.lanes.set(entry.lane, slices_of(begins, numbers(entry.us) as number[], numbers(entry.label).map((i) => labels[i as number] as Label)));
  }
  return part;
}

/** Where in a part that follows another one begins what the other one has not told: not before the part itself. */
function news_at(times: readonly number[], part_begin: number): number {
  const at = times.findIndex((t) => t >= part_begin);
  return at < 0 ? times.length : at;
}

function joined<T>(lists: readonly T[][]): T[] {
  return lists.length === 1 ? lists[0] as T[] : ([] as T[]).concat(...lists);
}

export class Parts {
  private readonly parts = new Map<number, Part>();
  private readonly broken = new Set<number>();
  private readonly made = new Map<string, { first: number; last: number; value: object }>();
  private reading = false;

  /** `coded` are the parts as they stand in the page. */
  constructor(private readonly about: PartsAbout, private readonly coded: readonly string[]) {
    if (coded.length !== about.count) throw new Error(`${coded.length} of ${about.count} parts of it are there`);
  }

  /** Every value of a signal between two times and the one that holds at the first; null while they are not read. */
  values(name: string, from: number, to: number): Samples | null {
    return this.remembered(`signal ${name}`, from, to, () => {
      const found = this.between(from, to, (part) => part.signals.get(name), ({ t }) => t);
      return found && {
        t: joined(found.map(({ one, first }) => (first > 0 ? one.t.slice(first) : one.t))),
        v: joined(found.map(({ one, first }) => (first > 0 ? one.v.slice(first) : one.v))),
      };
    });
  }

  /** Every slice of a thread's lane that lies at least partly between two times; null while they are not read. */
  slices(thread: number, from: number, to: number): Slices | null {
    return this.remembered(`lane ${thread}`, from, to, () => {
      const found = this.between(from, to, (part) => part.lanes.get(thread), ({ begins }) => begins);
      if (found?.length === 1) return (found[0] as { one: Slices }).one;
      return found && slices_of(
        joined(found.map(({ one, first }) => one.begins.slice(first))),
        joined(found.map(({ one, first }) => one.lengths.slice(first))),
        joined(found.map(({ one, first }) => one.labels.slice(first))));
    });
  }

  /** Reads from now on what is shown, where that is not too much, and what is under the cursor. */
  follow(timeline: Timeline, on_failure: (words: string) => void): void {
    if (this.about.count === 0) return;
    const read = (): void => { void this.read_wanted(timeline, on_failure); };
    timeline.on_cursor(read);
    timeline.on_span(read);
    read();
  }

  /** What was made last for the same parts, where these are more than one. */
  private remembered<T extends object>(of_what: string, from: number, to: number, make: () => T | null): T | null {
    const first = this.index_at(from);
    const last = this.index_at(to);
    if (first === last) return make();
    const old = this.made.get(of_what);
    if (old && old.first === first && old.last === last) return old.value as T;
    const value = make();
    if (value) this.made.set(of_what, { first, last, value });
    return value;
  }

  private index_at(t: number): number {
    return Math.min(this.about.count - 1, Math.max(0, Math.floor(t / this.about.us)));
  }

  /** What each part between two times has of something, and where in it the news begin; null while one is not read. */
  private between<T>(from: number, to: number, get: (part: Part) => T | undefined, times_of: (one: T) => number[]): { one: T; first: number }[] | null {
    const found: { one: T; first: number }[] = [];
    for (let i = this.index_at(from); i <= this.index_at(to); ++i) {
      const part = this.parts.get(i);
      if (!part) return null;
      const one = get(part);
      if (one) found.push({ one, first: found.length === 0 ? 0 : news_at(times_of(one), i * this.about.us) });
    }
    return found;
  }

  private wanted({ cursor, from, to }: Timeline): number[] {
    const wanted = new Set([this.index_at(cursor)]);
    const first = this.index_at(from);
    const last = this.index_at(to);
    if (last - first < most_shown) for (let i = first; i <= last; ++i) wanted.add(i);
    return Array.from(wanted);
  }

  /** One part after the other; what is wanted may become another meanwhile. */
  private async read_wanted(timeline: Timeline, on_failure: (words: string) => void): Promise<void> {
    if (this.reading) return;
    this.reading = true;
    let news = false;
    for (;;) {
      const next = this.wanted(timeline).find((i) => !this.parts.has(i) && !this.broken.has(i));
      if (next === undefined) break;
      try {
        this.parts.set(next, read_part(await unpacked(this.coded[next] as string), this.about.labels));
        news = true;
      } catch (error) {
        this.broken.add(next);
        on_failure((error as Error).message);
      }
      this.forget_but(this.wanted(timeline));
    }
    this.reading = false;
    if (news) timeline.tell_news();
  }

  private forget_but(wanted: readonly number[]): void {
    for (const i of Array.from(this.parts.keys())) {
      if (this.parts.size <= most_held) return;
      if (!wanted.includes(i)) this.parts.delete(i);
    }
  }
}
