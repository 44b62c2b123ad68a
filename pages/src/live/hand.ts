// A hand that takes the projector, follows the pointer and sets it down: the gestures that a scenario knows, so that
// the gravity sensor feels what a real one would.
import type { Connection, PoseChange } from "./connection";

const pick_up_s = 0.3;
const follow_s = 0.1;
const set_down_s = 0.6;
const let_go_after_ms = 700;

export class Hand {
  private to: PoseChange = {};
  private is_holding = false;
  private timer = 0;

  constructor(private readonly connection: Connection) {}

  /** Carries it to there, and picks it up before where it stands. */
  carry(to: PoseChange): void {
    clearTimeout(this.timer);
    if (!this.is_holding) this.connection.do({ gesture: "pick_up", for_s: pick_up_s });
    this.is_holding = true;
    this.to = { ...this.to, ...to };
    this.connection.follow("carry", { gesture: "carry", to: this.to, for_s: follow_s });
  }

  set_down(): void {
    clearTimeout(this.timer);
    if (!this.is_holding) return;
    this.is_holding = false;
    this.connection.do({ gesture: "set_down", to: this.to, for_s: set_down_s });
    this.to = {};
  }

  /** By keys: it is set down when no more come. */
  nudge(to: PoseChange): void {
    this.carry(to);
    this.timer = window.setTimeout(() => this.set_down(), let_go_after_ms);
  }

  /** Where it is being carried to; else where it is. */
  aim<K extends keyof PoseChange>(member: K, otherwise: number): number {
    return this.to[member] ?? otherwise;
  }
}
