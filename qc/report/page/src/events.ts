// SPDX-License-Identifier: BSD-2-Clause
//
// A card for each event: what it is, from when to when, how bad against what the rule allows, why, and
// pictures of before, of the worst frame and of after.
import { meets, type Report } from './data';
import { copyable, foreign, h, jpeg, sign } from './dom';
import { counted, four, grouped, spoken, timeCode } from './format';
import { conditionText } from './curves';
import { bySeverity } from './severity';
import { numberOf, type Condition, type Picture, type ResultEvent, type Rule } from './types';
import type { View } from './view';
import { kindOf, signalParts, signalValue, titled } from './words';

/** What the picture in the middle is where no value says which frame is the worst. */
const WITHOUT_VALUE: Record<string, string> = {
  undecodable: 'Right behind',
  missing: 'Right behind',
  concealed: 'In it',
};
const AT_ONCE = 12; // cards that are made at first, and with each further press

/** What the profile allows of a kind. */
function allowance(rule: Rule): string {
  const parts = [
    rule.max_duration !== undefined ? `events of up to ${four(numberOf(rule.max_duration))} s` : '',
    rule.max_total !== undefined ? `up to ${four(numberOf(rule.max_total))} s of them together` : '',
    rule.max_count !== undefined ? `up to ${counted(rule.max_count, 'event')}` : '',
    rule.max_share !== undefined ? `up to ${four(numberOf(rule.max_share))} % of the frames` : '',
  ].filter(Boolean);
  return parts.length > 0 ? parts.join(' and ') : '';
}

/** "Blur: worst 31.4 (samples)". */
function valueText(report: Report, { indicator: signal }: Condition, worst: number): string {
  const { indicator, relation } = signalParts(signal);
  const unit = relation === '' ? (report.indicator(indicator)?.unit ?? '') : '';
  return `${titled(indicator)}: worst ${signalValue(signal, four(worst))}${unit && unit !== '0 or 1' ? ` (${unit})` : ''}`;
}

/** The worst value against the rule's threshold, in a sentence. */
export function valueSentence(report: Report, event: ResultEvent): string {
  const condition = report.leading(event.kind)[0];
  if (event.worst === null || !condition) {
    const what: Record<string, string> = {
      undecodable: `${counted(event.frames, 'error')} of the decoder.`,
      missing: `${counted(event.frames, 'frame')} did not come.`,
      concealed: `${counted(event.frames, 'frame')} came out although data for them was damaged or missing.`,
    };
    return what[event.kind] ?? `The rule held on ${counted(event.frames, 'frame')}.`;
  }
  const worst = numberOf(event.worst);
  const value = valueText(report, condition, worst);
  if (meets(condition, worst)) return `${value}; the rule names what is ${conditionText(condition)}.`;
  const others = report.leading(event.kind).slice(1);
  for (const other of others) {
    const found = report.worstPlain(event, other);
    if (found !== null && meets(other, found))
      return `${valueText(report, other, found)}; the rule names what is ${conditionText(other)}. ${value} is not enough by itself.`;
  }
  const texts = others.map(
    (other) => `${titled(signalParts(other.indicator).indicator)} ${conditionText(other)}`,
  );
  return `Named by other conditions of the rule${texts.length > 0 ? ` (${texts.join(', or ')})` : ''}. ${value}.`;
}

function severityText(report: Report, event: ResultEvent): string {
  const rule = report.rule(event.kind);
  const allowed = rule ? allowance(rule) : '';
  if (event.severity !== 'info')
    return allowed
      ? `${event.severity}: the profile allows ${allowed}`
      : `${event.severity}: the profile allows none`;
  return rule && rule.severity !== 'info'
    ? `info: within what the profile allows${allowed ? `, ${allowed}` : ''}`
    : 'info: named, not objected to';
}

function pictureOf(
  picture: Picture | null | undefined,
  what: string,
  title: string,
  absence: string,
  goTo: (frame: number) => void,
  aspect: number,
): HTMLElement {
  if (!picture) {
    const empty = h('div', { class: 'empty' }, absence);
    empty.style.aspectRatio = String(aspect || 1.6);
    return h('figure', { class: `shot ${what} none` }, empty, h('figcaption', {}, h('b', {}, title)));
  }
  return h(
    'figure',
    { class: `shot ${what}` },
    h(
      'button',
      {
        type: 'button',
        class: 'look',
        title: 'Go to this frame',
        'aria-label': `${title}: go to frame ${picture.frame}`,
        'data-frame': picture.frame,
        click: () => goTo(picture.frame),
      },
      jpeg(picture.jpeg, ''),
    ),
    h('figcaption', {}, h('b', {}, title), ` ${timeCode(picture.time)} · frame ${grouped(picture.frame)}`),
  );
}

function pictures(report: Report, index: number, goTo: (frame: number) => void): HTMLElement {
  const own = report.picturesOf(index);
  if (!own) {
    const why = report.album
      ? report.album.reason || 'No pictures of this event.'
      : 'This report was made without the video, so it has no pictures.';
    return h('p', { class: 'no-pictures' }, why);
  }
  const { kind, start_frame: first, end_frame: last } = report.result.events[index];
  const aspect = report.album?.aspect ?? 0,
    seen = report.isPart ? 'the part' : 'the video';
  const begins = report.frames && first <= report.frames.first;
  const ends = report.frames && last >= report.frames.first + report.frames.count - 1;
  return h(
    'div',
    { class: 'shots' },
    pictureOf(own.before, 'before', 'Before', begins ? `${seen} begins with it` : 'no picture', goTo, aspect),
    pictureOf(own.worst, 'worst', WITHOUT_VALUE[kind] ?? 'Worst', 'no picture', goTo, aspect),
    pictureOf(own.after, 'after', 'After', ends ? `${seen} ends with it` : 'no picture', goTo, aspect),
  );
}

interface Actions {
  choose: (index: number) => void;
  goTo: (frame: number) => void;
}

function card(report: Report, index: number, actions: Actions): HTMLElement {
  const event = report.result.events[index],
    kind = kindOf(event.kind);
  const { start_frame: first, end_frame: last } = event;
  return h(
    'article',
    {
      class: `card ${event.severity}`,
      id: `event-${index}`,
      tabindex: -1,
      'data-event': index,
      'aria-labelledby': `event-title-${index}`,
    },
    h(
      'div',
      { class: 'card-head' },
      h('h3', { id: `event-title-${index}` }, sign(event.severity, event.severity), ' ', kind.title),
      h(
        'p',
        { class: 'when' },
        copyable(timeCode(event.start), 'the start'),
        ' – ',
        copyable(timeCode(event.end), 'the end'),
        h(
          'span',
          { class: 'frames' },
          ' ',
          copyable(first === last ? `frame ${first}` : `frames ${first}–${last}`, 'the frames'),
          ` · ${spoken(event.end - event.start)}`,
        ),
      ),
      h('button', { type: 'button', class: 'zoom', click: () => actions.choose(index) }, 'Zoom to it'),
    ),
    h(
      'p',
      { class: 'value' },
      valueSentence(report, event),
      ' ',
      h('span', { class: 'allowed' }, severityText(report, event)),
    ),
    event.text ? h('p', { class: 'text' }, foreign(event.text)) : null,
    h('p', { class: 'why' }, `${kind.looks} ${kind.cause}`),
    pictures(report, index, actions.goTo),
  );
}

export interface Cards {
  element: HTMLElement;
  /** The event `by` places further in the order shown, of those that are not filtered out. */
  neighbour(of: number | null, by: number): number | null;
}

/** Buttons that choose which severities are shown; their state is in `shown`. */
function filters(report: Report, shown: Set<string>, changed: () => void): HTMLElement[] {
  return (['fail', 'warn', 'info'] as const)
    .map((severity) => {
      const count = report.result.events.filter((event) => event.severity === severity).length;
      if (count === 0) return null;
      const button = h(
        'button',
        { type: 'button', class: 'chip', 'aria-pressed': 'true' },
        sign(severity),
        ` ${severity} ${grouped(count)}`,
      );
      button.addEventListener('click', () => {
        if (shown.has(severity)) shown.delete(severity);
        else shown.add(severity);
        button.setAttribute('aria-pressed', String(shown.has(severity)));
        changed();
      });
      return button;
    })
    .filter((button): button is HTMLButtonElement => button !== null);
}

/** The cards, which are made a few at a time. */
class CardList {
  readonly element = h('div', { class: 'cards' });
  readonly more = h('button', { type: 'button', class: 'more', click: () => this.make(this.made + AT_ONCE) });
  private sequence: number[] = [];
  private made = 0;

  constructor(
    private readonly report: Report,
    private readonly view: View,
    private readonly actions: Actions,
  ) {
    view.on('event', () => {
      const place = view.event === null ? -1 : this.sequence.indexOf(view.event);
      if (place >= this.made) this.make(place + 1);
      this.mark();
    });
  }

  fill(sequence: number[]): void {
    this.sequence = sequence;
    this.element.replaceChildren();
    this.made = 0;
    this.make(AT_ONCE);
  }

  private make(until: number): void {
    const { sequence, made } = this;
    this.element.append(
      ...sequence.slice(made, until).map((index) => card(this.report, index, this.actions)),
    );
    this.made = Math.max(made, Math.min(until, sequence.length));
    const left = sequence.length - this.made;
    this.more.hidden = left === 0;
    this.more.textContent = `Show ${Math.min(AT_ONCE, left)} more of ${grouped(left)}`;
    this.mark();
  }

  private mark(): void {
    for (const element of this.element.children)
      element.setAttribute(
        'aria-current',
        String(Number((element as HTMLElement).dataset.event) === this.view.event),
      );
  }

  neighbour(of: number | null, by: number): number | null {
    const { sequence } = this;
    if (sequence.length === 0) return null;
    const place = of === null ? (by > 0 ? -1 : sequence.length) : sequence.indexOf(of);
    return sequence[Math.min(Math.max(place + by, 0), sequence.length - 1)];
  }
}

export function cards(report: Report, view: View, actions: Actions): Cards {
  const { events } = report.result;
  const shown = new Set<string>(['fail', 'warn', 'info']);
  const list = new CardList(report, view, actions);
  const order = h(
    'select',
    { 'aria-label': 'Order of the events' },
    h('option', { value: 'worst' }, 'Worst first'),
    h('option', { value: 'time' }, 'By time'),
  );
  const fill = () => {
    const sequence = events.map((_, index) => index).filter((index) => shown.has(events[index].severity));
    if (order.value === 'worst') sequence.sort((a, b) => bySeverity(events[a], events[b]) || a - b);
    list.fill(sequence);
  };
  order.addEventListener('change', fill);
  fill();
  const element = h(
    'section',
    { class: 'events', 'aria-labelledby': 'events-title' },
    h(
      'div',
      { class: 'section-head' },
      h('h2', { id: 'events-title' }, `Events (${grouped(events.length)})`),
      ...filters(report, shown, fill),
      events.length > 1 ? order : null,
    ),
    events.length === 0 ? h('p', {}, 'No rule of the profile held anywhere.') : null,
    list.element,
    list.more,
  );
  return { element, neighbour: (of, by) => list.neighbour(of, by) };
}
