// SPDX-License-Identifier: BSD-2-Clause
//
// Least and largest values of ever longer stretches of a column, so that a view of any length is drawn
// from about as many values as it has pixels.
import { State, type Column } from './frames';

const STEP = 4; // how many stretches of a level make one of the next

/** Bits of what stretches hold besides numbers. */
export const enum Mark {
  nan = 1,
  above = 2,
  below = 4,
}
const MARK_OF = [0, 0, Mark.nan, Mark.above, Mark.below]; // by State

interface Level {
  least: Float64Array; // Infinity where a stretch has no number
  largest: Float64Array;
  marks: Uint8Array;
}

function coarser({ least, largest, marks }: Level): Level {
  const length = Math.ceil(least.length / STEP);
  const next = {
    least: new Float64Array(length).fill(Infinity),
    largest: new Float64Array(length).fill(-Infinity),
    marks: new Uint8Array(length),
  };
  for (let i = 0; i < least.length; ++i) {
    const at = (i / STEP) | 0;
    if (least[i] < next.least[at]) next.least[at] = least[i];
    if (largest[i] > next.largest[at]) next.largest[at] = largest[i];
    next.marks[at] |= marks[i];
  }
  return next;
}

export class Pyramid {
  readonly levels: Level[]; // level n has stretches of STEP^n frames

  constructor(values: Float64Array, states: Uint8Array) {
    const least = values.slice(),
      largest = values.slice(),
      marks = new Uint8Array(values.length);
    for (let i = 0; i < values.length; ++i) {
      if (states[i] === State.number) continue;
      least[i] = Infinity;
      largest[i] = -Infinity;
      marks[i] = MARK_OF[states[i]];
    }
    this.levels = [{ least, largest, marks }];
    while (this.levels[this.levels.length - 1].least.length > STEP)
      this.levels.push(coarser(this.levels[this.levels.length - 1]));
  }
}

/** What is drawn of a column: a point a frame, or least and largest of stretches. */
export interface Sample {
  x: number[]; // seconds
  least: (number | null)[];
  largest: (number | null)[];
  marks: { x: number; mark: number }[];
  stretch: number; // frames a point
}

/** The frames [from, to) in at most about `points` points. Stretches lie at multiples of their length,
 * so that a curve does not shimmer when it is moved. */
export function sample(column: Column, time: Float64Array, from: number, to: number, points: number): Sample {
  const stretch = Math.max(1, Math.ceil((to - from) / Math.max(points, 16)));
  let n = 0,
    size = 1;
  for (; size * STEP <= stretch && n < column.pyramid.levels.length - 1; ++n) size *= STEP;
  const { least, largest, marks } = column.pyramid.levels[n];
  const together = Math.ceil(stretch / size),
    length = size * together;
  const out: Sample = { x: [], least: [], largest: [], marks: [], stretch: length };
  for (let at = Math.floor(from / length) * together; at * size < to; at += together) {
    let low = Infinity,
      high = -Infinity,
      mark = 0;
    for (let i = at; i < Math.min(at + together, least.length); ++i) {
      low = Math.min(low, least[i]);
      high = Math.max(high, largest[i]);
      mark |= marks[i];
    }
    const middle = Math.min(at * size + (length >> 1), time.length - 1);
    if (mark) out.marks.push({ x: time[middle], mark });
    if (low > high && column.sparse && !mark) continue; // the next value stands for these frames
    out.x.push(time[middle]);
    out.least.push(low > high ? null : low);
    out.largest.push(low > high ? null : high);
  }
  return out;
}
