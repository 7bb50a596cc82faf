// SPDX-License-Identifier: BSD-2-Clause
//
// What the frame at the cursor has: its time, type and values, and the picture nearest to it.
import type { Report } from './data';
import { copyable, h, jpeg } from './dom';
import { counted, four, grouped, timeCode } from './format';
import type { View } from './view';
import { aboutIndicator, titled } from './words';

const OMITTED = 'Left out of this page for its size; the CSV file has it';

/** A value as the readout shows it: to four digits, and a stroke where there is none. */
export function shownValue(value: number | null): string {
  return value === null ? '–' : four(value);
}

/** A line an indicator, and where its value goes. */
function valueList(report: Report): { list: HTMLElement; values: Map<string, HTMLElement> } {
  const values = new Map<string, HTMLElement>();
  const list = h('dl', { class: 'values' });
  for (const { name, unit } of report.indicators) {
    const omitted = report.frames?.omitted.includes(name);
    const value = h('dd', { 'data-value': name, title: omitted ? OMITTED : null });
    values.set(name, value);
    list.append(
      h(
        'div',
        { title: `${aboutIndicator(name)}${unit ? ` (${unit})` : ''}` },
        h('dt', {}, titled(name)),
        value,
      ),
    );
  }
  return { list, values };
}

export function readout(report: Report, view: View): HTMLElement {
  const { frames } = report;
  const picture = h('div', { class: 'picture', hidden: report.nearestPicture(0) === null });
  const caption = h('p', { class: 'caption' });
  const place = h('p', { class: 'place' });
  const { list, values } = valueList(report);
  let shown = -1; // frame of the picture that is there

  const showPicture = (time: number, frame: number) => {
    const nearest = report.nearestPicture(time);
    if (!nearest || nearest.frame === shown) return nearest;
    shown = nearest.frame;
    picture.replaceChildren(jpeg(nearest.jpeg, `Picture of frame ${nearest.frame}`));
    picture.dataset.frame = String(frame);
    return nearest;
  };
  const update = () => {
    if (!frames) return;
    const index = view.cursor ?? frames.indexAt(report.start);
    const time = frames.time[index],
      number = frames.first + index;
    const nearest = showPicture(time, number);
    const off = nearest ? nearest.frame - number : 0;
    caption.textContent = !nearest
      ? 'No pictures in this report'
      : off === 0
        ? 'Picture of this frame'
        : `Nearest picture: frame ${grouped(nearest.frame)}, ${counted(Math.abs(off), 'frame')} ${off < 0 ? 'before' : 'after'}`;
    const type = frames.type(index);
    place.replaceChildren(
      copyable(timeCode(time), 'the time'),
      ' ',
      copyable(`frame ${number}`, 'the frame number'),
      ' ',
      h('span', { class: 'type', title: 'Picture type' }, type ? `${type} picture` : ''),
    );
    place.dataset.frame = String(number);
    for (const [name, element] of values)
      element.textContent = frames.omitted.includes(name)
        ? 'in CSV'
        : shownValue(frames.column(name)?.at(index) ?? null);
  };
  view.on('cursor', update);
  update();
  const toggle = h('button', { type: 'button', class: 'fold', 'aria-expanded': 'false' }, 'Values');
  const panel = h(
    'aside',
    { class: 'readout', 'aria-label': 'At the cursor' },
    picture,
    h('div', { class: 'at' }, place, caption, toggle),
    frames
      ? h('div', { class: 'scroll', tabindex: 0, role: 'group', 'aria-label': 'Values of the frame' }, list)
      : h('p', { class: 'caption' }, report.framesProblem),
  );
  toggle.addEventListener('click', () => {
    const open = panel.classList.toggle('open');
    toggle.setAttribute('aria-expanded', String(open));
  });
  return panel;
}
