// SPDX-License-Identifier: BSD-2-Clause
//
// The index of many reports: a row a video. Of the rows only those in sight are elements of the page.
import { embedded } from './data';
import { foreign, h, relativeLink, sign } from './dom';
import { counted, grouped, timeCode } from './format';
import { Rows, eventCount, type Order, type Wish } from './rows';
import type { Batch, Row, Severity, Verdict } from './types';
import { kindOf } from './words';

const HEIGHT = 74; // pixels of a row
const BEYOND = 6; // rows that are made above and below those in sight
const VERDICTS: Record<Verdict, string> = {
  fail: 'Fail',
  warn: 'Warning',
  unmeasured: 'Not measured',
  pass: 'Pass',
};
const ORDERS: [Order, string][] = [
  ['verdict', 'Verdict'],
  ['name', 'Name'],
  ['duration', 'Duration'],
  ['events', 'Events'],
];

/** The kinds of a row's events, the worst first, each once. */
function worst(row: Row): HTMLElement {
  const kinds = new Map<string, { severity: Severity; count: number }>();
  for (const { kind, severity } of row.events) {
    const known = kinds.get(kind);
    if (known) known.count += 1;
    else kinds.set(kind, { severity, count: 1 });
  }
  const shown = [...kinds]
    .slice(0, 4)
    .map(([kind, { severity, count }]) =>
      h(
        'span',
        { class: `kind ${severity}` },
        sign(severity, severity),
        ` ${kindOf(kind).title}${count > 1 ? ` ×${count}` : ''}`,
      ),
    );
  const rest = kinds.size - shown.length;
  return h(
    'span',
    { class: 'kinds' },
    ...shown,
    rest > 0 ? h('span', { class: 'kind' }, `and ${counted(rest, 'kind')} more`) : null,
  );
}

function strip(row: Row, link: string | null): HTMLElement {
  const picture = h('div', { class: 'pictures' });
  if (row.strip && /^data:image\/jpeg;base64,[A-Za-z0-9+/=]+$/.test(row.strip)) {
    const image = h('img', { alt: '', decoding: 'async' });
    image.src = row.strip;
    picture.append(image);
  }
  const marks = h('div', { class: 'marks' });
  const length = Math.max(row.duration, 1e-6),
    start = Math.min(0, ...row.events.map((event) => event.start));
  const offset =
    row.events.length > 0 && row.events.every((event) => event.start > length)
      ? Math.min(...row.events.map((event) => event.start))
      : start;
  for (const event of [...row.events].reverse()) {
    const text = `${kindOf(event.kind).title}, ${event.severity}, ${timeCode(event.start)} – ${timeCode(event.end)}`;
    const mark = h(link ? 'a' : 'span', {
      class: `mark ${event.severity}`,
      title: text,
      tabindex: link ? -1 : null,
    });
    if (mark instanceof HTMLAnchorElement) mark.href = `${link}#t=${event.start}`;
    mark.style.left = `${Math.min((100 * (event.start - offset)) / length, 99)}%`;
    mark.style.width = `${(100 * (event.end - event.start)) / length}%`;
    marks.append(mark);
  }
  return h('div', { class: 'strip', 'aria-hidden': 'true' }, picture, marks);
}

function line(row: Row, place: number): HTMLElement {
  const link = relativeLink(row.report) ?? null,
    json = relativeLink(row.json);
  const name = link
    ? h('a', { class: 'name', dir: 'auto', title: row.name }, foreign(row.name))
    : h('span', { class: 'name', tabindex: -1 }, foreign(row.name));
  if (name instanceof HTMLAnchorElement && link) name.href = link;
  const file = json ? h('a', { class: 'json' }, 'JSON') : null;
  if (file && json) file.href = json;
  const element = h(
    'div',
    { class: `line ${row.verdict}`, role: 'row', 'aria-rowindex': place + 2 },
    h(
      'div',
      { role: 'cell', class: 'verdict' },
      sign(row.verdict),
      h('span', {}, VERDICTS[row.verdict] ?? row.verdict),
    ),
    h(
      'div',
      { role: 'cell', class: 'title' },
      name,
      h('span', { class: 'path' }, row.reason ? foreign(row.reason) : foreign(row.path)),
    ),
    h(
      'div',
      { role: 'cell', class: 'found' },
      worst(row),
      h(
        'span',
        { class: 'amount' },
        eventCount(row) ? counted(eventCount(row), 'event') : row.verdict === 'unmeasured' ? '' : 'no events',
      ),
    ),
    h(
      'div',
      { role: 'cell', class: 'time' },
      h('span', {}, row.frames > 0 ? timeCode(row.duration) : ''),
      h(
        'span',
        { class: 'amount' },
        row.frames > 0 ? counted(row.frames, 'frame') : '',
        row.part ? ', a part ' : ' ',
        file,
      ),
    ),
    h('div', { role: 'cell', class: 'look' }, strip(row, link)),
  );
  element.style.top = `${place * HEIGHT}px`;
  return element;
}

/** The list: a space as high as all rows, in which those in sight stand. */
function list(rows: Rows): {
  element: HTMLElement;
  show: (places: number[]) => void;
  focus: (by: number) => void;
} {
  const space = h('div', { class: 'space', role: 'rowgroup' });
  const heads = ['Verdict', 'Video', 'Events', 'Duration', 'Pictures'].map((title) =>
    h('div', { role: 'columnheader' }, title),
  );
  const element = h(
    'div',
    { class: 'list', role: 'table', 'aria-label': 'Videos' },
    h('div', { role: 'rowgroup', class: 'heads' }, h('div', { role: 'row', class: 'line' }, ...heads)),
    space,
  );
  let found: number[] = [];
  const made = new Map<number, HTMLElement>(); // by place in `found`
  const draw = () => {
    const top = -space.getBoundingClientRect().top;
    const first = Math.max(Math.floor(top / HEIGHT) - BEYOND, 0);
    const end = Math.min(Math.ceil((top + innerHeight) / HEIGHT) + BEYOND, found.length);
    for (const [place, row] of made) {
      if (place >= first && place < end) continue;
      if (row.contains(document.activeElement)) continue; // the focus must not be lost by scrolling
      row.remove();
      made.delete(place);
    }
    for (let place = first; place < end; ++place) {
      if (made.has(place)) continue;
      const row = line(rows.rows[found[place]], place);
      made.set(place, row);
      const next = [...made.keys()].filter((other) => other > place).sort((a, b) => a - b)[0];
      space.insertBefore(row, next === undefined ? null : made.get(next)!);
    }
  };
  let due = false;
  const later = () => {
    if (due) return;
    due = true;
    requestAnimationFrame(() => {
      due = false;
      draw();
    });
  };
  addEventListener('scroll', later, { passive: true });
  addEventListener('resize', later);
  const show = (places: number[]) => {
    found = places;
    for (const row of made.values()) row.remove();
    made.clear();
    space.style.height = `${found.length * HEIGHT}px`;
    element.setAttribute('aria-rowcount', String(found.length + 1));
    draw();
  };
  const focus = (by: number) => {
    const at = [...made].find(([, row]) => row.contains(document.activeElement))?.[0];
    const place = at === undefined ? 0 : Math.min(Math.max(at + by, 0), found.length - 1);
    const top = space.getBoundingClientRect().top + scrollY + place * HEIGHT;
    if (top < scrollY + 140 || top + HEIGHT > scrollY + innerHeight) scrollTo({ top: top - innerHeight / 2 });
    draw();
    made.get(place)?.querySelector<HTMLElement>('.name')?.focus({ preventScroll: true });
  };
  return { element, show, focus };
}

/** A chip for each verdict there is, which takes it out of `verdicts` or puts it back. */
function chips(rows: Rows, verdicts: Set<Verdict>, changed: () => void): HTMLElement[] {
  const counts = rows.verdicts();
  return [...verdicts].map((verdict) => {
    const chip = h(
      'button',
      { type: 'button', class: 'chip', 'aria-pressed': 'true' },
      sign(verdict),
      ` ${VERDICTS[verdict]} ${grouped(counts.get(verdict) ?? 0)}`,
    );
    chip.addEventListener('click', () => {
      if (!verdicts.delete(verdict)) verdicts.add(verdict);
      chip.setAttribute('aria-pressed', String(verdicts.has(verdict)));
      changed();
    });
    return chip;
  });
}

function kindChoice(rows: Rows): HTMLSelectElement {
  return h(
    'select',
    { 'aria-label': 'Events of a kind' },
    h('option', { value: '' }, 'Events of any kind, or none'),
    ...rows
      .kinds()
      .map((entry) =>
        h('option', { value: entry.kind }, `${kindOf(entry.kind).title} (${grouped(entry.count)})`),
      ),
  );
}

/** The controls; `changed` is told what is wished. */
function controls(rows: Rows, changed: (wish: Wish) => void): HTMLElement {
  const counts = rows.verdicts();
  const verdicts = new Set((Object.keys(VERDICTS) as Verdict[]).filter((verdict) => counts.has(verdict)));
  const search = h('input', {
    type: 'search',
    placeholder: 'Search names',
    'aria-label': 'Search names and paths',
    spellcheck: 'false',
  });
  const kind = kindChoice(rows);
  const order = h(
    'select',
    { 'aria-label': 'Order' },
    ...ORDERS.map(([value, title]) => h('option', { value }, `By ${title.toLowerCase()}`)),
  );
  const direction = h(
    'button',
    { type: 'button', 'aria-label': 'Turn the order round', title: 'Turn the order round' },
    '⇅',
  );
  let turned = false;
  const tell = () =>
    changed({
      text: search.value,
      verdicts,
      kind: kind.value,
      order: order.value as Order,
      descending: (order.value !== 'name') !== turned,
    });
  const turn = (round: boolean) => {
    turned = round;
    tell();
  };
  search.addEventListener('input', tell);
  kind.addEventListener('change', tell);
  order.addEventListener('change', () => turn(false));
  direction.addEventListener('click', () => turn(!turned));
  queueMicrotask(tell);
  return h(
    'div',
    { class: 'controls', role: 'search' },
    search,
    ...chips(rows, verdicts, tell),
    kind,
    order,
    direction,
  );
}

function start(): void {
  const page = document.getElementById('page')!;
  const batch = embedded<Batch>('batch');
  if (!batch) {
    page.replaceChildren(
      h(
        'p',
        { class: 'failure', role: 'alert' },
        'This page has no rows in it. lumagauge-qc -o DIR --html makes one that has.',
      ),
    );
    return;
  }
  const rows = new Rows(batch.rows),
    videos = list(rows),
    status = h('p', { class: 'status', role: 'status' });
  const filter = controls(rows, (wish) => {
    const found = rows.find(wish);
    videos.show(found);
    status.textContent =
      found.length === rows.rows.length
        ? counted(found.length, 'video')
        : `${grouped(found.length)} of ${counted(rows.rows.length, 'video')}`;
    if (scrollY > 200) scrollTo({ top: 0 });
  });
  document.addEventListener('keydown', (event) => {
    const by = { ArrowDown: 1, ArrowUp: -1 }[event.key];
    const target = event.target as Element;
    if (by === undefined || target.closest('select') || event.altKey || event.ctrlKey || event.metaKey)
      return;
    if (!target.closest('.line, input') && target !== document.body) return;
    event.preventDefault();
    videos.focus(by);
  });
  page.replaceChildren(
    h(
      'main',
      {},
      h('header', { class: 'top' }, h('h1', {}, 'Reports'), status, filter),
      videos.element,
      h('footer', {}, `Made by lumagauge-qc ${batch.tool}`),
    ),
  );
}

start();
