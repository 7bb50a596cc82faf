// SPDX-License-Identifier: BSD-2-Clause
//
// The bar that stays in sight (what is seen of the whole, time axis, buttons), the filmstrip, and a lane
// for each kind of events. All lie on the time axis of the curves.
import type { Report } from './data';
import { h, jpeg } from './dom';
import { timeCode } from './format';
import { lanes } from './lanes';
import { overview, ruler } from './overview';
import { onThemeChange } from './theme';
import { touchZoom } from './touch';
import type { View } from './view';
import { wheelZoom } from './wheel';

/** Pictures side by side, each where its time is; between those of the strip there are none. */
function filmstrip(report: Report, view: View): { element: HTMLElement; draw: () => void } {
  const { album } = report,
    shown = album !== null && album.strip.length > 0;
  const track = h('div', { class: 'track film', 'aria-hidden': 'true', hidden: !shown });
  const note = album
    ? album.note || (shown ? '' : album.reason || 'No picture could be had of the video.')
    : 'This page was made of the result alone, without the video, so it has no pictures. ' +
      'lumagauge-qc --html-from NAME.json --video FILE makes it with them.';
  const element = h(
    'div',
    { class: 'strip row' },
    h('div', { class: 'gutter' }, 'Pictures'),
    track,
    note ? h('p', { class: 'note' }, note) : null,
  );
  const draw = () => {
    const height = track.clientHeight,
      width = track.clientWidth;
    if (!shown || width === 0) return;
    const cells = Math.max(1, Math.round(width / Math.max(height * album.aspect, 24)));
    const span = (view.to - view.from) / cells;
    const images: HTMLElement[] = [];
    for (let i = 0; i < cells; ++i) {
      const from = view.from + i * span,
        inside = report.picturesBetween(from, from + span);
      const picture = inside.length > 0 ? inside[inside.length >> 1] : null;
      const cell = picture ? jpeg(picture.jpeg, '') : h('div', { class: 'empty' });
      if (picture) {
        cell.title = `${timeCode(picture.time)}, frame ${picture.frame}`;
        cell.addEventListener(
          'click',
          () => report.frames && view.goTo(report.frames.indexOf(picture.frame)),
        );
      }
      cell.style.left = `${(100 * i) / cells}%`;
      cell.style.width = `${100 / cells}%`;
      images.push(cell);
    }
    track.replaceChildren(...images);
  };
  return { element, draw };
}

export interface Timeline {
  bar: HTMLElement; // stays in sight
  element: HTMLElement;
  /** Draws the axis that wide, for paper. */
  drawAxis: (width: number) => void;
}

function stayingBar(
  report: Report,
  buttons: HTMLElement,
  whole: HTMLElement,
  axis: HTMLElement,
): HTMLElement {
  const row = (label: HTMLElement, track: HTMLElement) =>
    h('div', { class: 'row' }, label, h('div', { class: 'track' }, track));
  return h(
    'div',
    { class: 'bar', role: 'region', 'aria-label': 'Time' },
    buttons,
    row(h('div', { class: 'gutter' }, report.isPart ? 'Part' : 'Whole'), whole),
    row(h('div', { class: 'gutter seen' }), axis),
  );
}

export function timeline(
  report: Report,
  view: View,
  choose: (index: number) => void,
  buttons: HTMLElement,
): Timeline {
  const strip = filmstrip(report, view),
    small = overview(report, view),
    axis = ruler(view),
    events = lanes(report, view, choose);
  const bar = stayingBar(report, buttons, small.element, axis.element);
  const line = h('div', { class: 'cursor-line', hidden: true });
  const element = h(
    'section',
    { class: 'timeline', 'aria-labelledby': 'timeline-title' },
    h('h2', { id: 'timeline-title', class: 'for-ears' }, 'Timeline'),
    strip.element,
    events.element,
    h('div', { class: 'row over' }, h('div', { class: 'gutter' }), h('div', { class: 'track' }, line)),
  );
  const moveLine = () => {
    const time = view.cursorTime;
    line.hidden = time === null || time < view.from || time > view.to;
    if (time !== null) line.style.left = `${(100 * (time - view.from)) / (view.to - view.from)}%`;
  };
  const draw = () => {
      strip.draw();
      small.draw();
      axis.draw();
      events.draw();
    },
    all = () => {
      draw();
      moveLine();
    };
  view.on('range', all);
  view.on('event', events.draw);
  view.on('cursor', moveLine);
  onThemeChange(draw);
  new ResizeObserver(all).observe(bar);
  wheelZoom(element, view, '.track');
  touchZoom(element, view, '.track');
  element.addEventListener('mousemove', (event) => {
    const track = (event.target as Element).closest('.track');
    if (!track) return;
    const { left, width } = track.getBoundingClientRect();
    view.cursorAtTime(view.from + ((event.clientX - left) / width) * (view.to - view.from));
  });
  return { bar, element, drawAxis: axis.draw };
}
