// SPDX-License-Identifier: BSD-2-Clause
//
// Paper: the whole in light colours, the worst events with pictures, all others in a list.
import type { Report } from './data';
import type { Curves } from './curves';
import { h, sign } from './dom';
import { grouped, timeCode } from './format';
import { forgetTheme } from './theme';
import { bySeverity } from './severity';
import type { View } from './view';
import { kindOf } from './words';

const WIDTH = 560,
  HEIGHT = 46; // pixels of a curve
const LISTED = 30; // events in the list

/** All events in lines; seen on paper only. */
export function eventList(report: Report): HTMLElement {
  const { events } = report.result;
  const order = events
    .map((_, index) => index)
    .sort((a, b) => bySeverity(events[a], events[b]) || a - b)
    .slice(0, LISTED);
  const lines = order.map((index) => {
    const event = events[index];
    return h(
      'tr',
      {},
      h('td', {}, sign(event.severity), ` ${event.severity}`),
      h('td', {}, kindOf(event.kind).title),
      h('td', {}, `${timeCode(event.start)} – ${timeCode(event.end)}`),
      h('td', {}, `${event.start_frame}–${event.end_frame}`),
    );
  });
  return h(
    'section',
    { class: 'event-list' },
    h('h2', {}, 'All events'),
    h(
      'table',
      {},
      h(
        'thead',
        {},
        h(
          'tr',
          {},
          ...['Severity', 'Kind', 'Time', 'Frames'].map((title) => h('th', { scope: 'col' }, title)),
        ),
      ),
      h('tbody', {}, ...lines),
    ),
    events.length > LISTED
      ? h('p', {}, `and ${grouped(events.length - LISTED)} more in the page itself`)
      : null,
  );
}

/** Has the page drawn for paper while it is printed. */
export function printable(view: View, curves: Curves, drawAxis: (width: number) => void): void {
  const root = document.documentElement;
  let before: [number, number] | null = null;
  addEventListener('beforeprint', () => {
    before = [view.from, view.to];
    root.classList.add('on-paper');
    forgetTheme();
    view.showWhole();
    view.flush();
    drawAxis(WIDTH);
    curves.drawAll(WIDTH, HEIGHT);
  });
  addEventListener('afterprint', () => {
    root.classList.remove('on-paper');
    forgetTheme();
    if (before) view.show(...before);
    view.flush();
    curves.drawVisible();
    dispatchEvent(new Event('resize'));
  });
}
