// What all drawings of a page share: the time under the cursor, and the span of time that is shown.

export class Timeline {
  private from_: number;
  private to_: number;
  private cursor_: number;
  private readonly cursor_listeners = new Set<(t: number) => void>();
  private readonly span_listeners = new Set<() => void>();
  private readonly news_listeners = new Set<() => void>();

  /** The shortest span that can be shown. */
  static readonly shortest_us = 1000;

  constructor(readonly begin: number, readonly end: number) {
    this.from_ = begin;
    this.to_ = end;
    this.cursor_ = end;
  }

  get from(): number { return this.from_; }
  get to(): number { return this.to_; }
  get span(): number { return this.to_ - this.from_; }
  get cursor(): number { return this.cursor_; }
  get is_whole(): boolean { return this.from_ === this.begin && this.to_ === this.end; }

  /** Calls the listener whenever the cursor has moved, until what this returns is called. */
  on_cursor(listener: (t: number) => void): () => void {
    this.cursor_listeners.add(listener);
    return () => { this.cursor_listeners.delete(listener); };
  }

  /** The same for what is shown. */
  on_span(listener: () => void): () => void {
    this.span_listeners.add(listener);
    return () => { this.span_listeners.delete(listener); };
  }

  /** The same for when more has become known of what is shown or under the cursor. */
  on_news(listener: () => void): () => void {
    this.news_listeners.add(listener);
    return () => { this.news_listeners.delete(listener); };
  }

  tell_news(): void {
    for (const listener of this.news_listeners) listener();
  }

  move_cursor(t: number): void {
    const at = Math.round(Math.min(this.end, Math.max(this.begin, t)));
    if (at === this.cursor_) return;
    this.cursor_ = at;
    for (const listener of this.cursor_listeners) listener(at);
  }

  /** Moves the cursor, and what is shown after it where it would be left behind. */
  go_to(t: number): void {
    this.move_cursor(t);
    if (this.cursor_ < this.from_ || this.cursor_ > this.to_) this.show(this.cursor_ - this.span / 2, this.cursor_ + this.span / 2);
  }

  show(from: number, to: number): void {
    const span = Math.min(this.end - this.begin, Math.max(Timeline.shortest_us, to - from));
    const middle = (from + to) / 2;
    const begin = Math.min(this.end - span, Math.max(this.begin, middle - span / 2));
    if (begin === this.from_ && begin + span === this.to_) return;
    this.from_ = begin;
    this.to_ = begin + span;
    for (const listener of this.span_listeners) listener();
  }

  show_all(): void { this.show(this.begin, this.end); }

  /** Shows `factor` times the span, with the time `about` where it is on the screen. */
  zoom(factor: number, about = this.cursor_): void {
    const fixed = Math.min(this.to_, Math.max(this.from_, about));
    const span = Math.min(this.end - this.begin, Math.max(Timeline.shortest_us, this.span * factor));
    const share = (fixed - this.from_) / this.span;
    this.show(fixed - share * span, fixed + (1 - share) * span);
  }

  /** Moves what is shown by this share of its span. */
  pan(share: number): void {
    this.show(this.from_ + share * this.span, this.to_ + share * this.span);
  }
}
