// Flags: the moments of a run that have a name.
import type { ColorName } from "../shared/theme";
import type { Flag, FlagKind } from "./data";

export interface FlagStyle {
  kind: FlagKind;
  many: string;        // what several are called
  color: ColorName;
  sign: string;        // tells kinds apart without colour
  on_curves: boolean;
}

export const flag_styles: readonly FlagStyle[] = [
  { kind: "event", many: "events", color: "purple", sign: "◆", on_curves: true },
  { kind: "request", many: "requests", color: "blue", sign: "▶", on_curves: true },
  { kind: "toast", many: "toasts", color: "green", sign: "✉", on_curves: true },
  { kind: "refusal", many: "refusals", color: "orange", sign: "⊘", on_curves: true },
  { kind: "fault", many: "faults", color: "vermilion", sign: "✖", on_curves: true },
  { kind: "move", many: "moves", color: "ink-soft", sign: "↔", on_curves: false },
];

const unknown_style: FlagStyle = { kind: "event", many: "others", color: "ink-soft", sign: "•", on_curves: true };

export function style_of(kind: FlagKind): FlagStyle {
  return flag_styles.find((style) => style.kind === kind) ?? unknown_style;
}

export function flags_of(flags: readonly Flag[], kind: FlagKind): Flag[] {
  return flags.filter((flag) => flag.kind === kind);
}
