// The page's two ways to the run: what it tells, and what is asked of it.
import type { News, Pose } from "./messages";

export type PoseChange = Partial<Pose>;
export type Gesture = "pick_up" | "carry" | "set_down" | "tilt" | "shake" | "slow_shake" | "turn_over" | "hang" | "bump" | "slide";

/** As it stands in a scenario, without its time. */
export type ScenarioEvent =
  | { gesture: Gesture; to?: PoseChange; for_s?: number; strength_g?: number }
  | { set: Record<string, number>; what?: string }
  | { key: number; value?: number }
  | { type: string }
  | { fault: { operation?: string; path?: string; error?: string; stale?: boolean; probability?: number }; what?: string }
  | { clear_faults: true };

export type Command =
  | { do: "event"; event: ScenarioEvent }
  | { do: "pause" | "resume" | "end" | "restart" }
  | { do: "step"; ms: number }
  | { do: "speed"; value: number };

export interface Listeners {
  news(news: News): void;
  lost(why: string): void;
  refused(why: string): void;
}

const token = new URLSearchParams(location.search).get("token") ?? "";

function address(path: string): string {
  return `${path}?token=${encodeURIComponent(token)}`;
}

export class Connection {
  readonly scenario_address = address("/scenario");
  private sending = Promise.resolve();
  private newest: { what: string; event: ScenarioEvent } | null = null;

  constructor(private readonly listeners: Listeners) {}

  open(): void {
    const source = new EventSource(address("/events"));
    source.onmessage = (message: MessageEvent<string>) => this.listeners.news(JSON.parse(message.data) as News);
    source.onerror = () => {
      if (source.readyState === EventSource.CLOSED) void this.tell_why();
      else this.listeners.lost("The launcher does not answer; trying again …");
    };
  }

  /** Commands arrive in the order in which they are sent. */
  send(command: Command): void {
    this.sending = this.sending.then(() => this.post(command));
  }

  do(event: ScenarioEvent): void {
    this.send({ do: "event", event });
  }

  /** Of what follows a pointer only the newest counts: what has not been sent yet is replaced. `what` is one such thing. */
  follow(what: string, event: ScenarioEvent): void {
    const is_under_way = this.newest?.what === what;
    this.newest = { what, event };
    if (is_under_way) return;
    this.sending = this.sending.then(() => {
      const { newest } = this;
      this.newest = null;
      return newest ? this.post({ do: "event", event: newest.event }) : undefined;
    });
  }

  private async post(command: Command): Promise<void> {
    try {
      const answer = await fetch(address("/command"), {
        method: "POST", headers: { "Content-Type": "application/json" }, body: JSON.stringify(command),
      });
      if (!answer.ok) this.listeners.refused(mistake_in(await answer.text()));
    } catch {
      this.listeners.refused("The launcher does not answer.");
    }
  }

  /** A stream that was refused does not say why. */
  private async tell_why(): Promise<void> {
    try {
      const answer = await fetch(address("/events"), { signal: AbortSignal.timeout(2000) });
      this.listeners.lost(answer.ok ? "The connection was lost; open the page again." : (await answer.text()).trim());
    } catch {
      this.listeners.lost("The launcher has ended.");
    }
  }
}

function mistake_in(text: string): string {
  try {
    return (JSON.parse(text) as { mistake: string }).mistake;
  } catch {
    return text.trim();
  }
}
