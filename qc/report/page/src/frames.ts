// SPDX-License-Identifier: BSD-2-Clause
//
// The rows of all frames, unpacked column by column when one is first looked at.
import type { ColumnHead, JsonNumber, PackedFrames } from './types';
import { numberOf } from './types';
import { Pyramid } from './pyramid';

/** What a frame has of an indicator. */
export const enum State {
  number,
  none,
  nan,
  above,
  below,
}

export class Column {
  private built: Pyramid | null = null;
  /** Whether no two neighbouring frames have a value: each stands for the frames before it as well. */
  readonly sparse: boolean;

  /** `values` has NaN where `states` says anything but number; the infinities are in `states` alone. */
  constructor(
    readonly name: string,
    readonly values: Float64Array,
    readonly states: Uint8Array,
  ) {
    let neighbours = false,
      any = false;
    for (let i = 0; i < states.length && !neighbours; ++i) {
      if (states[i] === State.none) continue;
      any = true;
      neighbours = i > 0 && states[i - 1] !== State.none;
    }
    this.sparse = any && !neighbours && states.length > 2;
  }

  get pyramid(): Pyramid {
    return (this.built ??= new Pyramid(this.values, this.states));
  }

  /** The value with NaN and the infinities, or null where there is none. */
  at(frame: number): number | null {
    switch (this.states[frame]) {
      case State.none:
        return null;
      case State.above:
        return Infinity;
      case State.below:
        return -Infinity;
      default:
        return this.values[frame];
    }
  }

  /** How many frames have each state. */
  counts(): number[] {
    const counts = [0, 0, 0, 0, 0];
    for (let i = 0; i < this.states.length; ++i) counts[this.states[i]] += 1;
    return counts;
  }
}

/** Exponents below the first one of a number say what stands in its place, from -128 on. */
const SPECIAL = [State.none, State.nan, State.above, State.below],
  FIRST_EXPONENT = -124;
const POWERS = Float64Array.from({ length: 128 }, (_, exponent) => 10 ** exponent);

function stateOf(value: JsonNumber): State {
  if (value === null) return State.none;
  const n = numberOf(value);
  return Number.isNaN(n)
    ? State.nan
    : n === Infinity
      ? State.above
      : n === -Infinity
        ? State.below
        : State.number;
}

/** A column of decimals of four digits: a plane of exponents, then one of the low and one of the high
 * bytes of the mantissas, as differences d to the frame before; those of mantissas as 2d or, below 0,
 * -2d - 1. */
function decimals(bytes: Uint8Array, count: number): [Float64Array, Uint8Array] {
  const values = new Float64Array(count),
    states = new Uint8Array(count);
  let exponent = 0,
    mantissa = 0;
  for (let i = 0; i < count; ++i) {
    exponent = ((exponent + bytes[i]) << 24) >> 24;
    const folded = bytes[count + i] + (bytes[2 * count + i] << 8);
    mantissa += (folded >>> 1) ^ -(folded & 1);
    if (exponent < FIRST_EXPONENT) {
      states[i] = SPECIAL[exponent + 128];
      values[i] = NaN;
    } else {
      // Powers of ten up to 22 are exact, so that a division is right to the last bit.
      values[i] = exponent < 0 ? mantissa / POWERS[-exponent] : mantissa * POWERS[exponent];
    }
  }
  return [values, states];
}

/** How many planes, of a byte a frame, a column has. */
const PLANES: Record<ColumnHead['encoding'], number> = {
  microseconds: 6,
  ascii: 1,
  step: 1,
  decimal4: 3,
  constant: 0,
};

export class FrameTable {
  readonly count: number;
  readonly first: number; // number of the first frame
  readonly time: Float64Array;
  readonly names: string[]; // of the indicators that are there
  readonly omitted: string[]; // of those that were left out for their size
  private readonly places = new Map<string, { head: ColumnHead; start: number }>();
  private readonly columns = new Map<string, Column>();

  /** `bytes` are the packed columns one after another. Throws an Error where they do not fit. */
  constructor(
    head: PackedFrames,
    private readonly bytes: Uint8Array,
  ) {
    this.count = head.count;
    this.first = head.first;
    this.omitted = head.omitted ?? [];
    let start = 0;
    for (const column of head.columns) {
      if (!(column.encoding in PLANES))
        throw new Error(
          `column ${column.name} is packed as "${column.encoding}", which this page does not know`,
        );
      this.places.set(column.name, { head: column, start });
      start += PLANES[column.encoding] * head.count;
    }
    if (start !== bytes.length)
      throw new Error(`the rows of the frames have ${bytes.length} bytes instead of ${start}`);
    this.names = head.columns
      .map((column) => column.name)
      .filter((name) => !['time', 'type', 'shot'].includes(name));
    this.time = this.times();
  }

  private times(): Float64Array {
    const place = this.places.get('time');
    if (place?.head.encoding !== 'microseconds') throw new Error('the frames have no times');
    const time = new Float64Array(this.count);
    let sum = 0;
    for (let i = 0; i < this.count; ++i) {
      for (let plane = 0, unit = 1; plane < PLANES.microseconds; ++plane, unit *= 256)
        sum += this.bytes[place.start + plane * this.count + i] * unit;
      time[i] = (place.head.start ?? 0) + sum / 1e6;
    }
    return time;
  }

  private plain(name: string): Uint8Array | null {
    const place = this.places.get(name);
    return place && place.head.encoding !== 'constant'
      ? this.bytes.subarray(place.start, place.start + this.count)
      : null;
  }

  /** The picture type of a frame, '' where it is not known. */
  type(frame: number): string {
    const code = this.plain('type')?.[frame];
    const type = code ? String.fromCharCode(code) : String(this.places.get('type')?.head.value ?? '');
    return type === '?' ? '' : type;
  }

  /** For each frame whether a new shot begins with it. */
  get cuts(): Uint8Array {
    return this.plain('shot') ?? new Uint8Array(this.count);
  }

  column(name: string): Column | null {
    const known = this.columns.get(name);
    const place = this.places.get(name);
    if (known || !place) return known ?? null;
    let values: Float64Array, states: Uint8Array;
    if (place.head.encoding === 'constant') {
      const value = place.head.value ?? null;
      states = new Uint8Array(this.count).fill(stateOf(value));
      values = new Float64Array(this.count).fill(states[0] === State.number ? Number(value) : NaN);
    } else {
      [values, states] = decimals(this.bytes.subarray(place.start, place.start + 3 * this.count), this.count);
    }
    const column = new Column(name, values, states);
    this.columns.set(name, column);
    return column;
  }

  /** The frame that is shown at that time: the last that began by then, the first one before it. */
  indexAt(time: number): number {
    let low = 0,
      high = this.count;
    while (high - low > 1) {
      const middle = (low + high) >> 1;
      if (this.time[middle] <= time + 1e-7) low = middle;
      else high = middle;
    }
    return low;
  }

  /** The place of a frame number, within what there is. */
  indexOf(frame: number): number {
    return Math.min(Math.max(frame - this.first, 0), this.count - 1);
  }
}

/** Bytes of base64; far faster than one call a byte where the browser can do it itself. */
function bytesOf(base64: string): Uint8Array<ArrayBuffer> {
  const own = Uint8Array as unknown as { fromBase64?: (text: string) => Uint8Array<ArrayBuffer> };
  if (own.fromBase64) return own.fromBase64(base64);
  const text = atob(base64);
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < text.length; ++i) bytes[i] = text.charCodeAt(i);
  return bytes;
}

export async function unpackFrames(head: PackedFrames): Promise<FrameTable> {
  if (typeof DecompressionStream === 'undefined')
    throw new Error('this browser cannot unpack the values of the frames: it takes one of 2023 or later');
  const stream = new Blob([bytesOf(head.packed)]).stream().pipeThrough(new DecompressionStream('gzip'));
  return new FrameTable(head, new Uint8Array(await new Response(stream).arrayBuffer()));
}
