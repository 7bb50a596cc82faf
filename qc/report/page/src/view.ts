// SPDX-License-Identifier: BSD-2-Clause
//
// What all parts of the page look at together: a stretch of time, a frame and an event. A change is told
// once a drawn picture, however often it was made in between.
import type { FrameTable } from './frames';

type Topic = 'range' | 'cursor' | 'event';

export class View {
  from: number;
  to: number;
  cursor: number | null = null; // place in the frame table
  event: number | null = null; // index into the result's events
  /** Who set the cursor: uPlot moves its own cursors along with the mouse. */
  cursorByCurves = false;
  private readonly listeners: Record<Topic, (() => void)[]> = { range: [], cursor: [], event: [] };
  private readonly due = new Set<Topic>();

  /** All of [start, end], in seconds, is seen; nothing shorter than `least` seconds can be. */
  constructor(
    readonly start: number,
    readonly end: number,
    private readonly least: number,
    private readonly frames: FrameTable | null,
  ) {
    this.from = start;
    this.to = end;
  }

  on(topic: Topic, listener: () => void): void {
    this.listeners[topic].push(listener);
  }

  private tell(topic: Topic): void {
    if (this.due.size === 0) requestAnimationFrame(() => this.flush());
    this.due.add(topic);
  }

  /** Tells what is due now instead of with the next drawn picture. */
  flush(): void {
    const due = [...this.due];
    this.due.clear();
    for (const topic of due) for (const listener of this.listeners[topic]) listener();
  }

  get isWhole(): boolean {
    return this.from <= this.start && this.to >= this.end;
  }

  show(from: number, to: number): void {
    const whole = this.end - this.start;
    const length = Math.min(Math.max(to - from, this.least), whole);
    const middle = (from + to) / 2;
    const start = Math.min(Math.max(middle - length / 2, this.start), this.end - length);
    if (start === this.from && start + length === this.to) return;
    this.from = start;
    this.to = length === whole ? this.end : start + length;
    this.tell('range');
  }

  showWhole(): void {
    this.show(this.start, this.end);
  }

  /** Makes what is seen `factor` times as long; the time `fixed` keeps its place. */
  zoom(factor: number, fixed = (this.from + this.to) / 2): void {
    const length = Math.max((this.to - this.from) * factor, this.least);
    const share = (fixed - this.from) / (this.to - this.from);
    this.show(fixed - share * length, fixed + (1 - share) * length);
  }

  pan(share: number): void {
    const by = (this.to - this.from) * share;
    this.show(this.from + by, this.to + by);
  }

  setCursor(index: number | null, byCurves = false): void {
    if (index === this.cursor) return;
    this.cursor = index;
    this.cursorByCurves = byCurves;
    this.tell('cursor');
  }

  cursorAtTime(time: number, byCurves = false): void {
    if (this.frames) this.setCursor(this.frames.indexAt(time), byCurves);
  }

  /** Seconds of the cursor's frame, or null. */
  get cursorTime(): number | null {
    return this.frames && this.cursor !== null ? this.frames.time[this.cursor] : null;
  }

  /** Moves the cursor by frames, and what is seen along with it. */
  step(by: number): void {
    if (!this.frames) return;
    const middle = this.frames.indexAt((this.from + this.to) / 2);
    const next = this.cursor === null ? middle : this.cursor + by;
    this.goTo(Math.min(Math.max(next, 0), this.frames.count - 1));
  }

  goTo(index: number): void {
    if (!this.frames) return;
    this.setCursor(index);
    const time = this.frames.time[index],
      length = this.to - this.from;
    if (time < this.from || time > this.to) this.show(time - length / 2, time + length / 2);
  }

  selectEvent(index: number | null): void {
    this.event = index;
    this.tell('event');
  }
}
