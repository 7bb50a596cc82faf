// SPDX-License-Identifier: BSD-2-Clause
//
// The curves of all indicators below one another, on the one time axis of the page. Only those in sight
// are drawn.
import { Chart } from './chart';
import type { Report } from './data';
import { h } from './dom';
import { counted, four, grouped } from './format';
import { State, type Column, type FrameTable } from './frames';
import { onThemeChange } from './theme';
import { numberOf, type Condition, type Indicator } from './types';
import type { View } from './view';
import { shownValue } from './readout';
import { worseText } from './table';
import { aboutIndicator, COMPARED, kindOf, signalParts, signalValue, titled } from './words';
import { touchZoom } from './touch';
import { wheelZoom } from './wheel';

const HEIGHT = 92;

export function conditionText(condition: Condition): string {
  return `${COMPARED[condition.comparison]} ${signalValue(condition.indicator, four(numberOf(condition.threshold)))}`;
}

/** The same in short: "< 0.7 × usual". */
function conditionSigns({ indicator, comparison, threshold }: Condition): string {
  const value = four(numberOf(threshold)),
    sign = { '>=': '≥', '<=': '≤', '<': '<', '>': '>' }[comparison];
  switch (signalParts(indicator).relation) {
    case '':
      return `${sign} ${value}`;
    case 'ratio':
      return `${sign} ${value} × usual`;
    case 'rise':
      return `${sign} usual + ${value}`;
    default:
      return `${sign} ${value} (${signalParts(indicator).relation.replace('_', ' ')})`;
  }
}

/** A curve with its title beside it; the chart is made when it first comes into sight. */
class Curve {
  readonly element: HTMLElement;
  readonly body: HTMLElement;
  private readonly target: HTMLElement;
  private readonly current = h('span', { class: 'current' });
  private readonly specials = h('p', { class: 'specials' });
  private readonly fold: HTMLButtonElement;
  chart: Chart | null = null;
  visible = false;
  stale = false;

  constructor(
    private readonly report: Report,
    private readonly frames: FrameTable,
    private readonly view: View,
    readonly indicator: Indicator,
    open: boolean,
  ) {
    const title = `curve-${indicator.name}`;
    this.target = h('div', {
      class: 'plot',
      role: 'img',
      'aria-label': `${titled(indicator.name)}, not drawn yet`,
    });
    this.fold = h(
      'button',
      { type: 'button', class: 'fold', 'aria-expanded': String(open), click: () => this.setOpen(!this.open) },
      titled(indicator.name),
    );
    this.body = h('div', { class: 'body' }, this.target);
    this.element = h(
      'article',
      { class: 'curve row', id: title, 'data-indicator': indicator.name },
      h(
        'div',
        { class: 'gutter' },
        h('h3', {}, this.fold, this.current),
        h(
          'div',
          { class: 'details' },
          h(
            'p',
            { class: 'unit', title: aboutIndicator(indicator.name) },
            h('span', {}, indicator.unit),
            ' ',
            h('span', {}, worseText(indicator)),
          ),
          ...this.thresholds(),
          this.specials,
        ),
      ),
      this.body,
    );
    this.setOpen(open);
  }

  private thresholds(): HTMLElement[] {
    const found = this.report
      .thresholds(this.indicator.name)
      .map(({ kind, condition }) => `${kindOf(kind).title} ${conditionSigns(condition)}`);
    return [...new Set(found)].map((text) => h('p', { class: 'threshold' }, text));
  }

  /** Says how many values are no numbers: in the drawing they are marks. */
  private saySpecials(column: Column): void {
    const counts = column.counts();
    const parts = [
      [State.nan, '✕ NaN'],
      [State.above, '▲ infinite'],
      [State.below, '▼ −infinite'],
    ] as const;
    const texts = parts
      .filter(([state]) => counts[state] > 0)
      .map(([state, what]) => `${grouped(counts[state])} ${what}`);
    if (!column.sparse && counts[State.none] > 0)
      texts.push(`${counted(counts[State.none], 'frame')} without value`);
    this.specials.textContent = texts.join(', ');
  }

  get open(): boolean {
    return this.fold.getAttribute('aria-expanded') === 'true';
  }

  setOpen(open: boolean): void {
    this.fold.setAttribute('aria-expanded', String(open));
    this.element.classList.toggle('folded', !open);
    this.body.hidden = !open;
    if (open && this.visible) this.draw();
  }

  showCurrent(): void {
    const index = this.view.cursor;
    this.current.textContent =
      index === null ? '' : shownValue(this.frames.column(this.indicator.name)?.at(index) ?? null);
  }

  /** Draws what the view shows, making the chart the first time. */
  draw(width = this.target.clientWidth, height = HEIGHT): void {
    if (!this.open || width < 60) return;
    const column = this.frames.column(this.indicator.name);
    if (!column) return;
    if (!this.chart) {
      this.chart = new Chart(
        this.report,
        this.frames,
        this.view,
        this.indicator,
        column,
        this.target,
        width,
        height,
      );
      this.saySpecials(column);
    } else if (this.chart.plot.width !== width || this.chart.plot.height !== height)
      this.chart.resize(width, height);
    else this.chart.refresh();
    this.stale = false;
    this.showCurrent();
  }
}

export interface Curves {
  element: HTMLElement;
  /** Draws those of these indicators, in sight or not, that wide; for paper. */
  drawAll(width: number, height: number): void;
  drawVisible(): void;
}

/** Sets of curves: what has events first, then the rest of the fifteen, then what supplements them. */
function groups(
  report: Report,
  frames: FrameTable,
): { title: string; open: boolean; indicators: Indicator[] }[] {
  const there = report.indicators.filter((indicator) => frames.names.includes(indicator.name));
  const eventful = there.filter((indicator) => report.eventsOf(indicator.name).length > 0);
  const rest = there.filter((indicator) => !eventful.includes(indicator));
  return [
    { title: 'Indicators of the events', open: true, indicators: eventful },
    {
      title: eventful.length > 0 ? 'Other indicators' : 'Indicators',
      open: true,
      indicators: rest.filter((indicator) => indicator.core),
    },
    {
      title: eventful.length > 0 ? 'Other supplementary measures' : 'Supplementary measures',
      open: false,
      indicators: rest.filter((indicator) => !indicator.core),
    },
  ].filter((group) => group.indicators.length > 0);
}

function observe(curves: Curve[]): void {
  const of = new Map(curves.map((curve) => [curve.element as Element, curve]));
  const sight = new IntersectionObserver(
    (entries) => {
      for (const entry of entries) {
        const curve = of.get(entry.target)!;
        curve.visible = entry.isIntersecting;
        if (curve.visible && (!curve.chart || curve.stale)) curve.draw();
      }
    },
    { rootMargin: '120px' },
  );
  for (const curve of curves) sight.observe(curve.element);
}

/** A set of curves under its title, with a button that folds or unfolds all of them. */
function groupOf(title: string, open: boolean, members: Curve[]): HTMLElement {
  const toggle = h('button', { type: 'button', class: 'toggle' }, open ? 'Fold all' : 'Unfold all');
  toggle.addEventListener('click', () => {
    const unfold = !members.some((curve) => curve.open);
    for (const curve of members) curve.setOpen(unfold);
    toggle.textContent = unfold ? 'Fold all' : 'Unfold all';
  });
  return h(
    'div',
    { class: 'group' },
    h('h3', { class: 'group-title' }, title, ' ', toggle),
    ...members.map((curve) => curve.element),
  );
}

/** Draws the curves in sight whenever the view or the page changes; returns what does so at once. */
function follow(view: View, section: HTMLElement, all: Curve[]): () => void {
  const shown = () => all.filter((curve) => curve.visible && curve.open && curve.chart);
  const refresh = () => {
    for (const curve of all) {
      if (curve.visible) curve.draw();
      else curve.stale = true;
    }
    // uPlot takes new scales over at the end of this task.
    queueMicrotask(() => shown()[0]?.chart?.moveCursors());
  };
  view.on('range', refresh);
  view.on('cursor', () => {
    for (const curve of shown()) curve.showCurrent();
    if (!view.cursorByCurves) shown()[0]?.chart?.moveCursors();
  });
  onThemeChange(refresh);
  new ResizeObserver(refresh).observe(section);
  observe(all);
  wheelZoom(section, view, '.u-over');
  touchZoom(section, view, '.u-over');
  return refresh;
}

export function curves(report: Report, view: View): Curves {
  const { frames } = report;
  const section = h(
    'section',
    { class: 'curves', 'aria-labelledby': 'curves-title' },
    h('h2', { id: 'curves-title' }, 'Curves'),
    h(
      'p',
      { class: 'hint' },
      'Drag, turn the wheel or spread two fingers to zoom, double click for the whole. Dashed lines are thresholds: where one is crossed there is an event only if the rule’s other conditions hold as well, and long enough.',
    ),
  );
  if (!frames) {
    section.append(h('p', {}, report.framesProblem));
    return { element: section, drawAll: () => undefined, drawVisible: () => undefined };
  }
  if (frames.omitted.length > 0) {
    const names = frames.omitted.map((name) => titled(name)).join(', ');
    section.append(
      h('p', { class: 'hint' }, `Left out of this page for its size; the CSV file has them: ${names}.`),
    );
  }
  const all: Curve[] = [];
  for (const { title, open, indicators } of groups(report, frames)) {
    const members = indicators.map((indicator) => new Curve(report, frames, view, indicator, open));
    section.append(groupOf(title, open, members));
    all.push(...members);
  }
  return {
    element: section,
    drawVisible: follow(view, section, all),
    drawAll: (width, height) => all.forEach((curve) => curve.draw(width, height)),
  };
}
