// SPDX-License-Identifier: BSD-2-Clause
//
// One indicator's curve: uPlot with the parts that it draws of a sample (curve or envelope), the rules'
// thresholds, the stretches of events, and marks for NaN and the infinities.
import uPlot from 'uplot';
import { baseline } from './baseline';
import type { Report } from './data';
import type { Column, FrameTable } from './frames';
import { Mark, sample, type Sample } from './pyramid';
import { theme } from './theme';
import { numberOf, type Condition, type Indicator } from './types';
import { four, shortTime } from './format';
import type { View } from './view';
import { signalParts, titled } from './words';

export const AXIS = 52; // pixels of the axis of values, which the time axis begins behind
export const RIGHT = 10; // pixels right of the time axis
const SYNC = 'curves';

const TIME_STEPS = [
  0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800,
  3600, 7200, 14400, 36000, 86400,
];

export function timeAxis(labels: boolean): uPlot.Axis {
  return {
    incrs: TIME_STEPS,
    space: 84,
    size: labels ? 22 : 0,
    gap: 2,
    font: '11px system-ui, sans-serif',
    stroke: () => theme().muted,
    grid: { stroke: () => theme().grid, width: 1, show: !labels },
    ticks: { show: labels, size: 5, stroke: () => theme().muted },
    // A label that would be cut off at the end is left out.
    values: (u, splits, _, __, step) =>
      splits.map((time) =>
        !labels || u.valToPos(time, 'x') > u.width - AXIS - RIGHT - 16 ? '' : shortTime(time, step),
      ),
  };
}

const VALUE_AXIS: uPlot.Axis = {
  scale: 'y',
  size: AXIS,
  gap: 4,
  space: 26,
  font: '11px system-ui, sans-serif',
  stroke: () => theme().muted,
  grid: { stroke: () => theme().grid, width: 1 },
  ticks: { show: false },
  values: (_, splits) => splits.map((value) => four(value)),
};

const THRESHOLD: uPlot.Series = {
  scale: 'y',
  stroke: () => theme().threshold,
  width: 1,
  dash: [5, 3],
  points: { show: false },
};

/** A threshold as it is drawn: the same for all frames, or relative to what is usual in the shot. */
interface Line {
  condition: Condition;
  usual: Column | null; // null until it is there, and for good where the threshold is a plain one
  moves: boolean;
}

const MOVING = new Set(['ratio', 'rise']);

export class Chart {
  readonly plot: uPlot;
  private readonly lines: Line[];
  private shown: Sample = { x: [], least: [], largest: [], marks: [], stretch: 1 };

  constructor(
    private readonly report: Report,
    private readonly frames: FrameTable,
    private readonly view: View,
    readonly indicator: Indicator,
    private readonly column: Column,
    private readonly target: HTMLElement,
    width: number,
    height: number,
  ) {
    this.lines = report
      .thresholds(indicator.name)
      .map(({ condition }) => ({
        condition,
        usual: null,
        moves: MOVING.has(signalParts(condition.indicator).relation),
      }))
      .filter(({ condition, moves }) => moves || signalParts(condition.indicator).relation === '');
    this.plot = new uPlot(this.options(width, height), this.data(width), target);
    this.wire();
    void this.findUsual();
  }

  private get moving(): Line[] {
    return this.lines.filter((line) => line.moves);
  }

  private async findUsual(): Promise<void> {
    if (this.moving.length === 0) return;
    const usual = await baseline(this.column, this.frames, this.indicator.worse);
    for (const line of this.moving) line.usual = usual;
    this.refresh();
  }

  /** Of the least values and of the largest ones. */
  private series(): uPlot.Series {
    const steps = uPlot.paths.stepped!({ align: this.column.sparse ? -1 : 1 });
    const stepped = this.column.sparse || this.indicator.unit === '0 or 1';
    return {
      scale: 'y',
      stroke: () => theme().curve,
      width: 1,
      spanGaps: false,
      paths: stepped
        ? (u, at, first, last) =>
            (this.shown.stretch === 1 ? steps : uPlot.paths.linear!())(u, at, first, last)
        : undefined,
      points: {
        show: (u, at) => this.shown.stretch === 1 && u.data[0].length < u.width / 14 && at === 1,
        size: 4,
      },
    };
  }

  private options(width: number, height: number): uPlot.Options {
    return {
      width,
      height,
      padding: [8, RIGHT, 4, 0],
      legend: { show: false },
      cursor: {
        y: false,
        sync: { key: SYNC, setSeries: false },
        drag: { x: true, y: false, setScale: false },
        points: { show: false },
        bind: {
          dblclick: () => () => {
            this.view.showWhole();
            return null;
          },
        },
      },
      scales: {
        x: { time: false, range: () => [this.view.from, this.view.to] },
        y: { range: (_, least, largest) => this.range(least, largest) },
      },
      series: [{}, this.series(), this.series(), ...this.moving.map(() => THRESHOLD)],
      bands: [{ series: [2, 1], fill: () => theme().envelope }],
      axes: [timeAxis(false), VALUE_AXIS],
      hooks: {
        drawClear: [(u) => this.drawEvents(u)],
        draw: [
          (u) => {
            this.drawThresholds(u);
            this.drawMarks(u);
          },
        ],
        setSelect: [(u) => this.select(u)],
      },
    };
  }

  /** The plain thresholds are always in sight: how far away they are says as much as a crossing. */
  private range(least: number | null, largest: number | null): [number, number] {
    const seen = [
      least,
      largest,
      ...this.lines.filter((line) => !line.moves).map((line) => numberOf(line.condition.threshold)),
    ].filter((value): value is number => value !== null && Number.isFinite(value));
    if (seen.length === 0) return [0, 1];
    const low = Math.min(...seen),
      high = Math.max(...seen);
    const room = high > low ? (high - low) * 0.08 : Math.max(Math.abs(high) * 0.1, 0.5);
    return [low >= 0 && low - room < 0 ? 0 - room / 4 : low - room, high + room];
  }

  private data(width: number): uPlot.AlignedData {
    const { frames, view } = this;
    const from = Math.max(frames.indexAt(view.from) - 1, 0),
      to = Math.min(frames.indexAt(view.to) + 2, frames.count);
    const points = Math.max(width - AXIS - RIGHT, 40);
    const shown = (this.shown = sample(this.column, frames.time, from, to, points));
    const moving = this.moving.map(({ usual, condition }) => {
      if (!usual) return shown.x.map(() => null);
      const threshold = numberOf(condition.threshold),
        ratio = signalParts(condition.indicator).relation === 'ratio';
      return shown.x.map((time) => {
        const value = usual.at(frames.indexAt(time));
        return value === null ? null : ratio ? value * threshold : value + threshold;
      });
    });
    return [shown.x, shown.least, shown.largest, ...moving];
  }

  /** Draws what the view shows now. */
  refresh(): void {
    this.plot.setData(this.data(this.plot.width));
    this.label();
  }

  resize(width: number, height: number): void {
    this.plot.setSize({ width, height });
    this.refresh();
  }

  /** Puts the cursor of this and all other curves where the view has it. */
  moveCursors(): void {
    const time = this.view.cursorTime;
    const left =
      time === null || time < this.view.from || time > this.view.to ? -10 : this.plot.valToPos(time, 'x');
    const set = this.plot.setCursor as (
      opts: { left: number; top: number },
      fire: boolean,
      publish: boolean,
    ) => void;
    set.call(this.plot, { left, top: 10 }, true, true);
  }

  /** What a screen reader is told of the curve. */
  private label(): void {
    const { least, largest, stretch } = this.shown;
    const low = least.reduce<number>((a, b) => (b !== null && b < a ? b : a), Infinity);
    const high = largest.reduce<number>((a, b) => (b !== null && b > a ? b : a), -Infinity);
    const values = low > high ? 'no values' : `${four(low)} to ${four(high)}`;
    this.target.setAttribute(
      'aria-label',
      `${titled(this.indicator.name)}: ${values} from ${this.view.from.toFixed(3)} s to ${this.view.to.toFixed(3)} s` +
        (stretch > 1 ? `, least and largest of every ${stretch} frames` : ''),
    );
  }

  private select(u: uPlot): void {
    const { left, width } = u.select;
    if (width < 3) return;
    const from = u.posToVal(left, 'x'),
      to = u.posToVal(left + width, 'x');
    u.setSelect({ left: 0, top: 0, width: 0, height: 0 }, false);
    this.view.show(from, to);
  }

  private wire(): void {
    const { over } = this.plot;
    over.addEventListener('mousemove', (event) => {
      const left = event.clientX - over.getBoundingClientRect().left;
      this.view.cursorAtTime(this.plot.posToVal(left, 'x'), true);
    });
    this.label();
  }

  private drawEvents(u: uPlot): void {
    const { ctx, bbox } = u;
    const place = (time: number) =>
      Math.min(Math.max(u.valToPos(time, 'x', true), bbox.left), bbox.left + bbox.width);
    ctx.save();
    for (const event of this.report.eventsOf(this.indicator.name)) {
      if (event.end < this.view.from || event.start > this.view.to) continue;
      const left = place(event.start),
        width = Math.max(place(event.end) - left, devicePixelRatio);
      ctx.fillStyle = theme()[event.severity];
      ctx.globalAlpha = 0.13;
      ctx.fillRect(left, bbox.top, width, bbox.height);
      ctx.globalAlpha = 0.9;
      ctx.fillRect(left, bbox.top, width, 2 * devicePixelRatio);
    }
    ctx.restore();
  }

  private drawThresholds(u: uPlot): void {
    const { ctx, bbox } = u;
    ctx.save();
    ctx.strokeStyle = theme().threshold;
    ctx.lineWidth = devicePixelRatio;
    ctx.setLineDash([5 * devicePixelRatio, 3 * devicePixelRatio]);
    for (const { condition, moves } of this.lines) {
      const y = moves ? NaN : Math.round(u.valToPos(numberOf(condition.threshold), 'y', true)) + 0.5;
      if (Number.isNaN(y)) continue;
      ctx.beginPath();
      ctx.moveTo(bbox.left, y);
      ctx.lineTo(bbox.left + bbox.width, y);
      ctx.stroke();
    }
    ctx.restore();
  }

  /** Infinities as triangles at the edge that they lie beyond, NaN as crosses at the bottom. */
  private drawMarks(u: uPlot): void {
    const { ctx, bbox } = u,
      s = 3.5 * devicePixelRatio;
    const draw = (points: [number, number][], closed: boolean) => {
      ctx.beginPath();
      points.forEach(([x, y], i) =>
        i % 2 === 0 && !closed ? ctx.moveTo(x, y) : i === 0 ? ctx.moveTo(x, y) : ctx.lineTo(x, y),
      );
      if (closed) ctx.fill();
      else ctx.stroke();
    };
    ctx.save();
    ctx.fillStyle = ctx.strokeStyle = theme().mark;
    ctx.lineWidth = 1.5 * devicePixelRatio;
    const top = bbox.top + s + 1,
      bottom = bbox.top + bbox.height - s - 1;
    for (const { x: time, mark } of this.shown.marks) {
      const x = u.valToPos(time, 'x', true);
      if (x < bbox.left || x > bbox.left + bbox.width) continue;
      if (mark & Mark.above)
        draw(
          [
            [x - s, top + s],
            [x + s, top + s],
            [x, top - s],
          ],
          true,
        );
      if (mark & Mark.below)
        draw(
          [
            [x - s, bottom - s],
            [x + s, bottom - s],
            [x, bottom + s],
          ],
          true,
        );
      if (mark & Mark.nan)
        draw(
          [
            [x - s, bottom - s],
            [x + s, bottom + s],
            [x - s, bottom + s],
            [x + s, bottom - s],
          ],
          false,
        );
    }
    ctx.restore();
  }
}
