// SPDX-License-Identifier: BSD-2-Clause
//
// What is usual for an indicator in its shot, as rules with ".rise" and ".ratio" take it: of the values
// from 8 s before a frame to 2 s after it, within the shot, the one at a quarter from the better end.
import { Column, FrameTable, State } from './frames';
import type { Worse } from './types';

const BEFORE = 8,
  AFTER = 2; // seconds
const MOST_BEFORE = 1200,
  MOST_AFTER = 600; // frames
const LEAST_VALUES = 8;
const SLICE = 8192; // frames worked on at once, so that the page stays fluid

/** The values of a window in order, for a place in it to be read at once. */
class SortedWindow {
  private readonly values = new Float64Array(MOST_BEFORE + MOST_AFTER + 2);
  size = 0;

  private place(value: number): number {
    let low = 0,
      high = this.size;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.values[middle] < value) low = middle + 1;
      else high = middle;
    }
    return low;
  }

  add(value: number): void {
    const at = this.place(value);
    this.values.copyWithin(at + 1, at, this.size++);
    this.values[at] = value;
  }

  remove(value: number): void {
    const at = this.place(value);
    this.values.copyWithin(at, at + 1, this.size--);
  }

  at(place: number): number {
    return this.values[place];
  }
}

/** For each frame the first one behind its shot. */
function ends(cuts: Uint8Array): Uint32Array {
  const out = new Uint32Array(cuts.length);
  for (let i = cuts.length - 1, end = cuts.length; i >= 0; --i) {
    out[i] = end;
    if (cuts[i]) end = i;
  }
  return out;
}

/** A column of the usual values; frames without one have none. */
export async function baseline(column: Column, frames: FrameTable, worse: Worse): Promise<Column> {
  const { time, cuts, count } = frames;
  const values = new Float64Array(count).fill(NaN),
    states = new Uint8Array(count).fill(State.none);
  const shotEnd = ends(cuts);
  const counts = (i: number) => column.states[i] !== State.none && column.states[i] !== State.nan;
  const window = new SortedWindow();
  let low = 0,
    high = 0,
    shot = 0; // the window is [low, high)
  for (let i = 0; i < count; ++i) {
    if (i % SLICE === SLICE - 1) await new Promise((resume) => setTimeout(resume));
    if (cuts[i]) shot = i;
    for (; high < shotEnd[i] && high <= i + MOST_AFTER && time[high] <= time[i] + AFTER + 1e-9; ++high)
      if (counts(high)) window.add(column.at(high)!);
    for (; low < shot || i - low > MOST_BEFORE || (low + 1 < i && time[low + 1] < time[i] - BEFORE); ++low)
      if (low < high && counts(low)) window.remove(column.at(low)!);
    if (window.size < LEAST_VALUES || column.states[i] === State.none) continue;
    const last = window.size - 1;
    const place = worse === 'extremes' ? last / 2 : worse === 'higher' ? last / 4 : (3 * last) / 4;
    const usual = window.at(Math.floor(place));
    if (!Number.isFinite(usual)) continue;
    values[i] = usual;
    states[i] = State.number;
  }
  return new Column(`${column.name}.baseline`, values, states);
}
