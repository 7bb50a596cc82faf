// SPDX-License-Identifier: BSD-2-Clause
//
// The summary of each indicator over all frames, in a table that sorts by any of its columns.
import type { Report } from './data';
import { h } from './dom';
import { four, grouped, timeCode } from './format';
import { numberOf, type Indicator, type Summary } from './types';
import { aboutIndicator, titled } from './words';

interface Line {
  indicator: Indicator;
  summary: Summary | null;
  events: number;
  order: number;
}

interface Field {
  title: string;
  about: string;
  key: (line: Line) => number | string;
  cell: (line: Line) => Node | string;
}

const ARROWS = { lower: '↓ less is worse', higher: '↑ more is worse', extremes: '↕ both ends are worse' };

export function worseText(indicator: Indicator): string {
  return ARROWS[indicator.worse];
}

function statistic(
  name: 'mean' | 'min' | 'p5' | 'median' | 'p95' | 'max',
  title: string,
  about: string,
): Field {
  const value = (line: Line) => numberOf(line.summary?.[name]);
  return {
    title,
    about,
    key: value,
    cell: (line) => (line.summary?.[name] === undefined ? '–' : four(value(line))),
  };
}

/** What a line is of. */
const NAMES: Field[] = [
  {
    title: 'Indicator',
    about: 'in the order of the files',
    key: (line) => line.order,
    cell: ({ indicator }) => h('span', { title: aboutIndicator(indicator.name) }, titled(indicator.name)),
  },
  {
    title: 'Unit',
    about: '',
    key: ({ indicator }) => indicator.unit,
    cell: ({ indicator }) =>
      h(
        'span',
        {},
        indicator.unit,
        ' ',
        h(
          'span',
          { class: 'arrow', role: 'img', 'aria-label': worseText(indicator), title: worseText(indicator) },
          worseText(indicator).charAt(0),
        ),
      ),
  },
];

const STATISTICS: Field[] = [
  statistic('mean', 'Mean', ''),
  statistic('min', 'Least', ''),
  statistic('p5', '5 %', '5 in 100 frames are below'),
  statistic('median', 'Median', 'half of the frames are below'),
  statistic('p95', '95 %', '95 in 100 frames are below'),
  statistic('max', 'Largest', ''),
];

const COUNTS: Field[] = [
  {
    title: 'NaN',
    about: 'frames whose value cannot be formed',
    key: (line) => line.summary?.nan ?? 0,
    cell: (line) => (line.summary?.nan ? grouped(line.summary.nan) : '–'),
  },
  {
    title: 'Events',
    about: 'of rules that look at it',
    key: (line) => line.events,
    cell: (line) => (line.events ? grouped(line.events) : '–'),
  },
];

function worstFrame(goTo: (frame: number) => void): Field {
  return {
    title: 'Worst frame',
    about: '',
    key: (line) => line.summary?.worst_time ?? NaN,
    cell: ({ indicator, summary }) =>
      summary?.worst_frame === undefined
        ? '–'
        : h(
            'button',
            {
              type: 'button',
              class: 'where',
              title: `Go to the worst frame of ${titled(indicator.name)}`,
              click: () => goTo(summary.worst_frame!),
            },
            `${timeCode(summary.worst_time ?? 0)} · ${summary.worst_frame}`,
          ),
  };
}

/** Values that are no numbers come last whichever way is sorted. */
function compare(a: number | string, b: number | string, sense: number): number {
  if (typeof a === 'string' || typeof b === 'string') return sense * String(a).localeCompare(String(b));
  if (Number.isNaN(a) || Number.isNaN(b)) return Number(Number.isNaN(a)) - Number(Number.isNaN(b));
  return a === b ? 0 : sense * (a < b ? -1 : 1);
}

export function summaryTable(report: Report, goTo: (frame: number) => void): HTMLElement {
  const lines: Line[] = report.indicators.map((indicator, order) => ({
    indicator,
    order,
    summary: report.result.summary[indicator.name] ?? null,
    events: report.eventsOf(indicator.name).length,
  }));
  const columns = [...NAMES, ...STATISTICS, ...COUNTS, worstFrame(goTo)];
  const body = h('tbody');
  const heads = columns.map((field, at) =>
    h(
      'th',
      { scope: 'col', title: field.about },
      h('button', { type: 'button', click: () => sort(at) }, field.title),
    ),
  );
  let sorted = 0,
    sense = 1;
  const fill = () => {
    const key = columns[sorted].key;
    lines.sort((a, b) => compare(key(a), key(b), sense) || a.order - b.order);
    body.replaceChildren(
      ...lines.map((line) =>
        h(
          'tr',
          { class: line.events ? 'eventful' : '' },
          ...columns.map((field, at) =>
            h(
              at === 0 ? 'th' : 'td',
              { scope: at === 0 ? 'row' : null, class: at > 1 ? 'number' : null },
              field.cell(line),
            ),
          ),
        ),
      ),
    );
    heads.forEach((cell, at) =>
      cell.setAttribute('aria-sort', at !== sorted ? 'none' : sense > 0 ? 'ascending' : 'descending'),
    );
  };
  const sort = (at: number) => {
    sense = at === sorted ? -sense : at === 0 ? 1 : -1;
    sorted = at;
    fill();
  };
  fill();
  return h(
    'section',
    { class: 'summary', 'aria-labelledby': 'summary-title' },
    h('h2', { id: 'summary-title' }, 'Summary'),
    h(
      'div',
      { class: 'scroll', tabindex: 0, role: 'group', 'aria-labelledby': 'summary-title' },
      h('table', {}, h('thead', {}, h('tr', {}, ...heads)), body),
    ),
  );
}
