// SPDX-License-Identifier: BSD-2-Clause
//
// The whole in small, and the time axis of what is seen of it.
import uPlot from 'uplot';
import { AXIS, RIGHT, timeAxis } from './chart';
import type { Report } from './data';
import { h } from './dom';
import { theme } from './theme';
import { bySeverity, LEVELS } from './severity';
import type { ResultEvent } from './types';
import type { View } from './view';

/** Draws all events of the whole, the worst last. */
function paint(canvas: HTMLCanvasElement, events: ResultEvent[], view: View): void {
  const width = (canvas.width = canvas.clientWidth * devicePixelRatio);
  const height = (canvas.height = canvas.clientHeight * devicePixelRatio);
  const perSecond = width / (view.end - view.start);
  const context = canvas.getContext('2d')!;
  for (const { start, end, severity } of [...events].sort((a, b) => bySeverity(b, a))) {
    const level = LEVELS[severity];
    const long = Math.max((end - start) * perSecond, 2 * devicePixelRatio);
    context.fillStyle = theme()[severity];
    context.fillRect(
      (start - view.start) * perSecond,
      ((2 - level) * height) / 4,
      long,
      ((level + 2) * height) / 4,
    );
  }
}

/** The whole with its events in small, and the stretch of it that is seen, which can be moved. */
export function overview(report: Report, view: View): { element: HTMLElement; draw: () => void } {
  const canvas = h('canvas');
  const brush = h('div', { class: 'brush' }, h('i', { class: 'grip left' }), h('i', { class: 'grip right' }));
  const element = h(
    'div',
    { class: 'overview', 'aria-hidden': 'true', title: 'What is seen of the whole: drag it, or its ends' },
    canvas,
    brush,
  );
  const whole = view.end - view.start;
  let held: { kind: 'left' | 'right' | 'middle'; time: number; from: number; to: number } | null = null;
  const timeAt = (event: PointerEvent) => {
    const { left, width } = element.getBoundingClientRect();
    return view.start + ((event.clientX - left) / width) * whole;
  };
  element.addEventListener('pointerdown', (event) => {
    const time = timeAt(event),
      target = event.target as Element;
    if (target === canvas || target === element)
      view.show(time - (view.to - view.from) / 2, time + (view.to - view.from) / 2);
    const kind = target.classList.contains('left')
      ? 'left'
      : target.classList.contains('right')
        ? 'right'
        : 'middle';
    held = { kind, time, from: view.from, to: view.to };
    element.setPointerCapture(event.pointerId);
    event.preventDefault();
  });
  element.addEventListener('pointermove', (event) => {
    if (!held) return;
    const by = timeAt(event) - held.time;
    view.show(
      held.kind === 'right' ? held.from : Math.min(held.from + by, held.kind === 'left' ? held.to : Infinity),
      held.kind === 'left' ? held.to : Math.max(held.to + by, held.kind === 'right' ? held.from : -Infinity),
    );
  });
  for (const end of ['pointerup', 'pointercancel'] as const)
    element.addEventListener(end, () => {
      held = null;
    });
  element.addEventListener('dblclick', () => view.showWhole());

  let painted = '';
  const draw = () => {
    const key = `${element.clientWidth} ${theme().panel}`;
    if (key !== painted) paint(canvas, report.result.events, view);
    painted = key;
    brush.style.left = `${(100 * (view.from - view.start)) / whole}%`;
    brush.style.width = `${(100 * (view.to - view.from)) / whole}%`;
  };
  return { element, draw };
}

/** The time axis with its labels. */
export function ruler(view: View): { element: HTMLElement; draw: (width?: number) => void } {
  const element = h('div', { class: 'ruler', 'aria-hidden': 'true' });
  let plot: uPlot | null = null;
  const draw = (width = element.clientWidth + AXIS + RIGHT) => {
    if (width < 100) return;
    const data: uPlot.AlignedData = [
      [view.from, view.to],
      [0, 0],
    ];
    if (!plot) {
      plot = new uPlot(
        {
          width,
          height: 24,
          padding: [0, RIGHT, 0, AXIS],
          legend: { show: false },
          cursor: { show: false },
          scales: { x: { time: false, range: () => [view.from, view.to] } },
          series: [{}, { show: false }],
          axes: [timeAxis(true), { show: false }],
        },
        data,
        element,
      );
    } else if (plot.width !== width) plot.setSize({ width, height: 24 });
    plot.setData(data);
  };
  return { element, draw };
}
