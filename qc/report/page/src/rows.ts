// SPDX-License-Identifier: BSD-2-Clause
//
// The rows of an index: which of them are shown and in what order. No page is needed for it.
import type { Row, Verdict } from './types';
import { kindOf } from './words';

export interface Wish {
  text: string; // words that name or path must have, all of them
  verdicts: ReadonlySet<Verdict>;
  kind: string; // of an event that must be there; '' for any
  order: Order;
  descending: boolean;
}

export type Order = 'verdict' | 'name' | 'duration' | 'events';

const LEVELS: Record<Verdict, number> = { fail: 3, warn: 2, unmeasured: 1, pass: 0 };

export const eventCount = (row: Row) => row.events.length + (row.moreEvents ?? 0);

const KEYS: Record<Order, (row: Row) => number> = {
  verdict: (row) => LEVELS[row.verdict] ?? 0,
  name: () => 0,
  duration: (row) => row.duration,
  events: eventCount,
};

/** Rows with what is looked for in them, made once. */
export class Rows {
  private readonly texts: string[];
  private readonly names: number[]; // place of each row by name

  constructor(readonly rows: Row[]) {
    this.texts = rows.map((row) => `${row.name}\n${row.path}`.toLowerCase());
    const collator = new Intl.Collator(undefined, { numeric: true });
    const byName = rows
      .map((_, i) => i)
      .sort((a, b) => collator.compare(rows[a].name, rows[b].name) || a - b);
    this.names = new Array<number>(rows.length);
    byName.forEach((row, place) => {
      this.names[row] = place;
    });
  }

  /** The places of the rows that fit, in order. */
  find({ text, verdicts, kind, order, descending }: Wish): number[] {
    const words = text.toLowerCase().split(/\s+/).filter(Boolean);
    const key = KEYS[order],
      sense = descending ? -1 : 1;
    const fits = (row: Row, i: number) =>
      verdicts.has(row.verdict) &&
      (kind === '' || row.events.some((event) => event.kind === kind)) &&
      words.every((word) => this.texts[i].includes(word));
    const found = this.rows.map((_, i) => i).filter((i) => fits(this.rows[i], i));
    const nameSense = order === 'name' ? sense : 1;
    return found.sort(
      (a, b) =>
        sense * (key(this.rows[a]) - key(this.rows[b])) || nameSense * (this.names[a] - this.names[b]),
    );
  }

  /** How many rows have each verdict. */
  verdicts(): Map<Verdict, number> {
    const counts = new Map<Verdict, number>();
    for (const { verdict } of this.rows) counts.set(verdict, (counts.get(verdict) ?? 0) + 1);
    return counts;
  }

  /** The kinds that occur, by title, with the number of rows that have them. */
  kinds(): { kind: string; count: number }[] {
    const counts = new Map<string, number>();
    for (const row of this.rows)
      for (const kind of new Set(row.events.map((event) => event.kind)))
        counts.set(kind, (counts.get(kind) ?? 0) + 1);
    return [...counts]
      .map(([kind, count]) => ({ kind, count }))
      .sort((a, b) => kindOf(a.kind).title.localeCompare(kindOf(b.kind).title));
  }
}
