// SPDX-License-Identifier: BSD-2-Clause
//
// The report of one video: puts the parts of the page together.
import { cards } from './events';
import { curves } from './curves';
import { readReport, type Report } from './data';
import { announce, h } from './dom';
import { eventName } from './lanes';
import { timeline } from './timeline';
import { baseName, head, VERDICTS } from './head';
import { keys } from './keys';
import { eventList, printable } from './print';
import { readout } from './readout';
import { bySeverity } from './severity';
import { summaryTable } from './table';
import { timeCode } from './format';
import { View } from './view';

const LEAST_FRAMES = 8; // that can be zoomed to

function button(text: string, title: string, click: () => void): HTMLElement {
  return h('button', { type: 'button', title, 'aria-label': title, click }, text);
}

/** Shows what an address like report.html#t=12.5 or #event=3 asks for. */
function followAddress(view: View, choose: (index: number) => void, events: number): void {
  const [, name, value] = /^#(t|event)=([0-9.]+)$/.exec(location.hash) ?? [];
  const number = Number(value);
  if (name === 'event' && Number.isInteger(number) && number < events) choose(number);
  if (name === 't' && Number.isFinite(number)) {
    const length = Math.min(20, view.end - view.start);
    view.show(number - length / 4, number + (3 * length) / 4);
    view.cursorAtTime(number);
  }
}

/** The buttons of the bar, and what is said there about the stretch and the event in sight. */
function toolbar(report: Report, view: View, next: (by: number) => void, help: HTMLElement): HTMLElement {
  const seen = h('p', { class: 'seen-text' });
  const chosen = h('p', { class: 'chosen' });
  const places = ['Timeline', 'Events', 'Curves', 'Summary'].map((title) =>
    button(title, `Go to ${title}`, () =>
      document.getElementById(`${title.toLowerCase()}-title`)?.scrollIntoView(),
    ),
  );
  const update = () => {
    seen.textContent = view.isWhole
      ? `${report.isPart ? 'Part' : 'Whole'}: ${timeCode(view.start)} – ${timeCode(view.end)}`
      : `${timeCode(view.from)} – ${timeCode(view.to)}`;
    const event = view.event === null ? null : report.result.events[view.event];
    chosen.textContent = event ? eventName(event) : '';
    chosen.title = chosen.textContent;
  };
  view.on('range', update);
  view.on('event', update);
  update();
  const events = report.result.events.length > 0;
  return h(
    'div',
    { class: 'tools' },
    events ? button('‹ event', 'Previous event (p)', () => next(-1)) : null,
    events ? button('event ›', 'Next event (n)', () => next(1)) : null,
    button('−', 'Zoom out (−)', () => view.zoom(2)),
    button('+', 'Zoom in (+)', () => view.zoom(0.5)),
    button('Whole', 'See the whole (0)', () => view.showWhole()),
    seen,
    chosen,
    h('nav', { 'aria-label': 'Parts of the page' }, ...places),
    help,
  );
}

/** Ways to a frame and to an event. */
function ways(
  report: Report,
  view: View,
): { goTo: (frame: number) => void; choose: (index: number) => void } {
  const goTo = (frame: number) => {
    if (!report.frames) return;
    const index = report.frames.indexOf(frame);
    const time = report.frames.time[index];
    view.setCursor(index);
    const length = Math.min(view.to - view.from, Math.max(4, 100 * report.frameTime));
    view.show(time - length / 2, time + length / 2);
  };
  const choose = (index: number) => {
    const { start, end } = report.result.events[index];
    const length = Math.max((end - start) * 2, 24 * report.frameTime);
    const middle = (start + end) / 2;
    view.selectEvent(index);
    view.show(middle - length / 2, middle + length / 2);
    if (report.frames) view.setCursor(report.worstIndex(index));
    history.replaceState(null, '', `#event=${index}`);
  };
  return { goTo, choose };
}

/** The keys, of which those to other events need to know the page's order of events. */
function keyboard(report: Report, view: View, next: (by: number) => void): HTMLElement {
  const { frames } = report;
  return keys({
    next: () => next(1),
    previous: () => next(-1),
    step: (by) => view.step(by),
    whole: () => view.showWhole(),
    second: (by) => {
      if (frames && view.cursor !== null) view.goTo(frames.indexAt(frames.time[view.cursor] + by));
    },
    zoom: (factor) => view.zoom(factor, view.cursorTime ?? undefined),
    pan: (share) => view.pan(share),
  });
}

function build(report: Report): HTMLElement {
  const { events } = report.result;
  const view = new View(
    report.start,
    Math.max(report.end, report.start + 0.001),
    LEAST_FRAMES * report.frameTime,
    report.frames,
  );
  const { goTo, choose } = ways(report, view);
  const list = cards(report, view, { choose, goTo });
  const reveal = (index: number) => {
    choose(index);
    view.flush();
    announce(eventName(events[index]));
    const { top, bottom } = drawn.element.getBoundingClientRect();
    if (top < innerHeight / 2 && bottom > innerHeight / 4) return; // the curves are being read
    const element = document.getElementById(`event-${index}`);
    element?.scrollIntoView({ block: 'nearest' });
    element?.focus({ preventScroll: true });
  };
  const next = (by: number) => {
    const found = list.neighbour(view.event, by);
    if (found !== null) reveal(found);
  };
  const drawn = curves(report, view);
  const parts = timeline(report, view, choose, toolbar(report, view, next, keyboard(report, view, next)));
  printable(view, drawn, parts.drawAxis);
  const main = h(
    'main',
    {},
    head(report, reveal),
    h(
      'div',
      { class: 'columns' },
      h(
        'div',
        { class: 'parts' },
        parts.bar,
        parts.element,
        list.element,
        eventList(report),
        drawn.element,
        summaryTable(report, goTo),
      ),
      readout(report, view),
    ),
  );
  const worst = events.map((_, index) => index).sort((a, b) => bySeverity(events[a], events[b]) || a - b)[0];
  if (report.frames) view.setCursor(worst === undefined ? 0 : report.worstIndex(worst));
  queueMicrotask(() => followAddress(view, choose, events.length));
  return main;
}

async function start(): Promise<void> {
  const page = document.getElementById('page')!;
  try {
    const report = await readReport();
    const { verdict, input } = report.result;
    document.title = `${VERDICTS[verdict] ?? verdict}: ${baseName(input.path)}${report.isPart ? ' (part)' : ''}`;
    page.replaceChildren(build(report));
  } catch (error) {
    page.replaceChildren(h('p', { class: 'failure', role: 'alert' }, (error as Error).message));
    throw error;
  }
}

void start();
