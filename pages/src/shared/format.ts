// Numbers and times as people read them.

/** Before what is true nearby: the page has not read every value at that time, or not yet. */
export const near_sign = "≈ ";

const us_per_s = 1e6;

/** A time within a run: "3.250 s", "12:03.5", "4:05:12". `step_us` is how close neighbours are that must differ. */
export function time_text(t_us: number, step_us = 1000): string {
  const sign = t_us < 0 ? "−" : "";
  const decimals = Math.min(6, Math.max(0, Math.ceil(6 - Math.log10(Math.max(step_us, 1)) - 1e-9)));
  const rounded = Math.round(Math.abs(t_us) / 10 ** (6 - decimals)) * 10 ** (6 - decimals);
  const minutes = Math.floor(rounded / us_per_s / 60);
  const seconds = (rounded - minutes * 60 * us_per_s) / us_per_s;
  if (minutes === 0) return `${sign}${seconds.toFixed(decimals)} s`;
  const tail = seconds.toFixed(decimals).padStart(decimals > 0 ? decimals + 3 : 2, "0");
  const hours = Math.floor(minutes / 60);
  if (hours === 0) return `${sign}${minutes}:${tail}`;
  return `${sign}${hours}:${String(minutes % 60).padStart(2, "0")}:${tail}`;
}

/** How long something lasts: "35 µs", "1.2 ms", "3.4 s", "2 min 5 s". */
export function length_text(us: number): string {
  if (us < 1000) return `${us} µs`;
  if (us < us_per_s) return `${trimmed(us / 1000, 1)} ms`;
  if (us < 60 * us_per_s) return `${trimmed(us / us_per_s, 2)} s`;
  const seconds = Math.round(us / us_per_s);
  const hours = Math.floor(seconds / 3600);
  const minutes = Math.floor((seconds % 3600) / 60);
  return hours > 0 ? `${hours} h ${minutes} min` : `${minutes} min ${seconds % 60} s`;
}

/** A number with at most so many decimals, with a true minus sign. */
export function trimmed(value: number, decimals: number): string {
  const text = String(Number(value.toFixed(decimals)));
  return (text === "-0" ? "0" : text).replace("-", "−");
}

/** As `trimmed`, always with all decimals, so that columns stand still while the value changes. */
export function fixed(value: number, decimals: number): string {
  const text = value.toFixed(decimals);
  return (Number(text) === 0 ? text.replace("-", "") : text).replace("-", "−");
}

/** "1 request", "2 requests". */
export function counted(n: number, one: string, many = `${one}s`): string {
  return `${n} ${n === 1 ? one : many}`;
}

const unit_signs: Record<string, string> = { deg: "°", C: "°C", c: "°C", us: "µs", percent: "%" };

/** The sign of a unit where it has one. */
export function unit_sign(unit: string): string {
  return unit_signs[unit] ?? unit;
}

/** A value with its unit: "12.5°", "45 °C", "3 TMR"; a dash where there is none. */
export function quantity(value: number | null | undefined, unit: string, decimals: number): string {
  if (value === null || value === undefined) return "–";
  const sign = unit_sign(unit);
  const gap = sign === "°" || sign === "" ? "" : "\u00a0";
  return `${fixed(value, decimals)}${gap}${sign}`;
}
