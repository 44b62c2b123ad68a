// The data of a run as the page carries them, and as its parts use them.
import type { Signal } from "../shared/signals";
import type { Outline } from "../shared/wall_picture";

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
}

export const data_format = 1;

/** The text of an element, base 64 of gzip of JSON, as the object that it is. */
export async function read_data(coded: string): Promise<RunData> {
  const packed = Uint8Array.from(atob(coded.trim()), (letter) => letter.charCodeAt(0));
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("gzip"));
  const data = JSON.parse(await new Response(stream).text()) as RunData;
  if (data.format !== data_format) throw new Error(`the run's data are of format ${data.format}, this page reads ${data_format}`);
  return data;
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
