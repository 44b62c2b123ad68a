// The data of a run as the page carries them, and as its parts use them.
import { unpacked } from "../shared/packed";
import type { Signal } from "../shared/signals";
import type { Outline } from "../shared/wall_picture";
import { Parts, type PartsAbout } from "./parts";

export type FlagKind = "event" | "fault" | "request" | "toast" | "refusal" | "move";
export type SliceKind = "wait" | "call" | "hold" | "callback" | "run";

export interface Flag {
  t: number;
  kind: FlagKind;
  text: string;
}

export interface Setting {
  name: string;
  value: number;
  from?: string;
  source?: string;
}

/** The world's truth: numbers, and a few that are not. */
export interface Truth {
  [member: string]: number | boolean | string | number[] | number[][] | undefined;
}

export interface Request {
  n: number;
  kind: string;
  what?: string;
  by: string;
  t: number;
  begin: number | null;
  end: number | null;
  failed?: boolean;
  outcome: string;
  before: Truth | null;
  after: Truth | null;
}

export interface Lane {
  thread: number;
  name: string;
  merged_us?: number;
  slices: [t: number, us: number, kind: SliceKind, what: string][];
}

export interface LogLine {
  t: number;
  thread: number;
  text: string;
}

export interface Zones {
  t: number[];
  sensed_mm: (number | null)[][];
  true_mm: (number | null)[][];
  quality: (number | null)[][];
  valid: (number | boolean | null)[][];
}

export interface RunData {
  format: number;
  title: string;
  run: Record<string, unknown>;
  command: string;
  end_us: number;
  signals: Signal[];
  outlines: { t: number[]; xz: Outline[] };
  zones: Zones;
  flags: Flag[];
  requests: Request[];
  lanes: Lane[];
  log: LogLine[];
  story: string[];
  parts: Parts;
}

/** A signal as it stands in the page; one of a long run has its extremes only, in steps of so long. */
type ToldSignal = Signal & { step_us?: number };

type ToldData = Omit<RunData, "signals" | "parts"> & { signals: ToldSignal[]; parts: PartsAbout };

export const data_format = 2;

/** The text of an element: a line with the run, and one for each of its parts. */
export async function read_data(coded: string): Promise<RunData> {
  const [run = "", ...coded_parts] = coded.trim().split("\n");
  const data = JSON.parse(await unpacked(run)) as ToldData;
  if (data.format !== data_format) throw new Error(`the run's data are of format ${data.format}, this page reads ${data_format}`);
  const parts = new Parts(data.parts, coded_parts);
  const signals = data.signals.map((signal): Signal =>
    (signal.step_us === undefined ? signal : { ...signal, every: (from, to) => parts.values(signal.name, from, to) }));
  return { ...data, signals, parts };
}

/** The member of a truth as a number; null where it is not one. */
export function number_of(truth: Truth | null | undefined, member: string): number | null {
  const value = truth?.[member];
  return typeof value === "number" ? value : null;
}

/** The outline that a truth tells; empty when the picture is not on the wall. */
export function outline_of(truth: Truth | null | undefined): Outline {
  const outline = truth?.outline_mm;
  if (!truth || truth.on_wall === false || !Array.isArray(outline) || outline.length !== 4) return [];
  return outline as unknown as Outline;
}
