// SPDX-License-Identifier: BSD-2-Clause
//
// A lane for each kind of events, on the time axis of the curves.
import type { Report } from './data';
import { h, sign } from './dom';
import { grouped, timeCode } from './format';
import { bySeverity, LEVELS } from './severity';
import { theme } from './theme';
import type { ResultEvent, Severity } from './types';
import type { View } from './view';
import { kindOf } from './words';

const LEAST_WIDTH = 12; // pixels of an event, to be hit and to show its sign
const MOST_WIDTH = 64; // pixels over which several events become one mark

export function eventName(event: ResultEvent): string {
  const { start_frame: first, end_frame: last } = event;
  return (
    `${kindOf(event.kind).title}, ${event.severity}, ${timeCode(event.start)} to ${timeCode(event.end)}, ` +
    (first === last ? `frame ${first}` : `frames ${first} to ${last}`)
  );
}

/** Kinds that have events, those of the worst first. */
export function lanesOf(events: ResultEvent[]): { kind: string; severity: Severity; members: number[] }[] {
  const lanes = new Map<string, { kind: string; severity: Severity; members: number[] }>();
  events.forEach((event, index) => {
    const lane = lanes.get(event.kind) ?? { kind: event.kind, severity: event.severity, members: [] };
    if (LEVELS[event.severity] > LEVELS[lane.severity]) lane.severity = event.severity;
    lane.members.push(index);
    lanes.set(event.kind, lane);
  });
  return [...lanes.values()].sort((a, b) => LEVELS[b.severity] - LEVELS[a.severity]);
}

/** Events whose marks would touch become one mark, as long as it is not too wide to say where they are. */
function clusters(events: ResultEvent[], members: number[], view: View, width: number): number[][] {
  const perPixel = (view.to - view.from) / Math.max(width, 1);
  const found: number[][] = [];
  let left = -Infinity,
    right = -Infinity;
  for (const index of members) {
    const { start, end } = events[index];
    if (end < view.from || start > view.to) continue;
    if (start < right && end - left < MOST_WIDTH * perPixel) {
      found[found.length - 1].push(index);
    } else {
      found.push([index]);
      left = start;
    }
    right = Math.max(end, start + LEAST_WIDTH * perPixel);
  }
  return found;
}

/** One lane: each event drawn where it is, with a button over each or, where they are too close, over
 * several of them. */
class Lane {
  readonly track: HTMLElement;
  private readonly canvas = h('canvas');
  private readonly marks = new Map<string, HTMLElement>(); // those that stay keep the focus

  constructor(
    private readonly report: Report,
    private readonly view: View,
    kind: string,
    private readonly members: number[],
    private readonly choose: (index: number) => void,
  ) {
    this.track = h(
      'div',
      { class: 'track', role: 'group', 'aria-label': `Events: ${kindOf(kind).title}` },
      this.canvas,
    );
  }

  draw(): void {
    const { events } = this.report.result;
    const used = new Set<string>(),
      together: number[] = [];
    for (const cluster of clusters(events, this.members, this.view, this.track.clientWidth)) {
      const key = `${cluster[0]}-${cluster.length}`;
      used.add(key);
      let mark = this.marks.get(key);
      if (!mark) {
        mark = cluster.length > 1 ? this.several(cluster) : this.single(cluster[0]);
        this.marks.set(key, mark);
        this.track.append(mark);
      }
      if (cluster.length > 1) together.push(...cluster);
      this.place(mark, cluster);
    }
    for (const [key, mark] of this.marks) {
      if (used.has(key)) continue;
      mark.remove();
      this.marks.delete(key);
    }
    this.paint(together);
  }

  private single(index: number): HTMLElement {
    const event = this.report.result.events[index],
      name = eventName(event);
    return h(
      'button',
      {
        type: 'button',
        class: `event ${event.severity}`,
        title: name,
        'aria-label': name,
        'data-event': index,
        click: () => this.choose(index),
      },
      sign(event.severity),
    );
  }

  private several(cluster: number[]): HTMLElement {
    const own = cluster.map((index) => this.report.result.events[index]).sort(bySeverity);
    const from = Math.min(...own.map((event) => event.start)),
      to = Math.max(...own.map((event) => event.end));
    const name = `${grouped(own.length)} events: ${kindOf(own[0].kind).title}, ${timeCode(from)} to ${timeCode(to)}; zooms to them`;
    const room = 0.05 * (to - from);
    return h(
      'button',
      {
        type: 'button',
        class: 'event several',
        title: name,
        'aria-label': name,
        click: () => this.view.show(from - room, to + room),
      },
      h('span', {}, grouped(own.length)),
    );
  }

  private place(mark: HTMLElement, cluster: number[]): void {
    const { events } = this.report.result,
      { from, to, event } = this.view;
    const share = (time: number) => Math.min(Math.max((time - from) / (to - from), 0), 1);
    const left = share(events[cluster[0]].start),
      right = share(Math.max(...cluster.map((index) => events[index].end)));
    mark.style.left = `min(${100 * left}%, 100% - ${LEAST_WIDTH}px)`;
    mark.style.width = `${100 * (right - left)}%`;
    mark.setAttribute('aria-current', String(event !== null && cluster.includes(event)));
  }

  /** Draws the events that have no mark of their own, so that a mark of several does not look like one. */
  private paint(members: number[]): void {
    const { events } = this.report.result,
      { from, to } = this.view;
    const width = this.track.clientWidth * devicePixelRatio,
      height = this.track.clientHeight * devicePixelRatio;
    this.canvas.width = width;
    this.canvas.height = height;
    const context = this.canvas.getContext('2d')!;
    for (const index of members) {
      const { start, end, severity } = events[index];
      const inset = (severity === 'info' ? 0.3 : 0.18) * height;
      context.fillStyle = theme()[severity];
      context.fillRect(
        ((start - from) / (to - from)) * width,
        inset,
        Math.max(((end - start) / (to - from)) * width, devicePixelRatio),
        height - 2 * inset,
      );
    }
  }
}

export function lanes(
  report: Report,
  view: View,
  choose: (index: number) => void,
): { element: HTMLElement; draw: () => void } {
  const { events } = report.result;
  const element = h('div', { class: 'lanes' });
  const row = (label: (Node | string)[], track: HTMLElement) =>
    element.append(h('div', { class: 'lane row' }, h('div', { class: 'gutter' }, ...label), track));
  const all = lanesOf(events).map(({ kind, severity, members }) => {
    const lane = new Lane(report, view, kind, members, choose);
    row(
      [
        sign(severity, severity),
        h('span', {}, kindOf(kind).title),
        h('span', { class: 'count' }, grouped(members.length)),
      ],
      lane.track,
    );
    return lane;
  });
  if (events.length === 0) row([sign('pass'), 'No events'], h('div', { class: 'track' }));
  return { element, draw: () => all.forEach((lane) => lane.draw()) };
}
