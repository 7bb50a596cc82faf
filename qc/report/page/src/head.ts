// SPDX-License-Identifier: BSD-2-Clause
//
// The head of a report: verdict and reason, what is wrong and where, the facts of the file, warnings.
import type { Report } from './data';
import { foreign, h, sign } from './dom';
import { counted, fileSize, four, grouped, timeCode } from './format';
import type { Verdict } from './types';
import { kindOf } from './words';

export const VERDICTS: Record<Verdict, string> = {
  pass: 'Pass',
  warn: 'Warning',
  fail: 'Fail',
  unmeasured: 'Not measured',
};

export function baseName(path: string): string {
  return (
    path
      .replace(/[/\\]+$/, '')
      .split(/[/\\]/)
      .pop() || path
  );
}

/** The verdict in a sentence. */
export function verdictSentence({ result }: Report): string {
  const { profile, broken_rules: broken, not_judged: left, events } = result;
  if (result.verdict === 'unmeasured')
    return `No verdict: ${result.reason ?? 'the input could not be measured'}.`;
  const rules = Object.keys(profile.rules).length;
  const judged =
    left.length > 0
      ? `${rules - left.length} of ${counted(rules, 'rule')} judged`
      : `all ${counted(rules, 'rule')} judged`;
  const name = `profile “${profile.name}”`;
  if (broken.length === 0) {
    const noted = events.length > 0 ? `; ${counted(events.length, 'thing')} noted that it allows` : '';
    return `Nothing that ${name} objects to (${judged})${noted}.`;
  }
  return `${counted(broken.length, 'rule')} of ${name} ${broken.length === 1 ? 'is' : 'are'} broken (${judged}).`;
}

/** Which part of the video the report is of. */
function partSentence(report: Report): string | null {
  if (!report.isPart) return null;
  const { frames, result } = report;
  const numbers = frames ? `, frames ${frames.first} to ${frames.first + frames.count - 1}` : '';
  const whole = result.input.duration === null ? '' : `, which lasts ${timeCode(result.input.duration)},`;
  const from = timeCode(report.start),
    to = timeCode(report.start + result.measured.duration);
  return `Only a part of the video${whole} was measured: ${from} to ${to}${numbers}.`;
}

/** The broken rules, each with a way to the longest of its events. */
function wrongs(report: Report, go: (event: number) => void): HTMLElement | null {
  const { broken_rules: broken, events } = report.result;
  if (broken.length === 0) return null;
  const items = broken.map((rule) => {
    const own = events
      .map((event, index) => ({ event, index }))
      .filter(({ event }) => event.kind === rule.kind);
    const longest = own.reduce(
      (a, b) => (b.event.end - b.event.start > a.event.end - a.event.start ? b : a),
      own[0],
    );
    const where =
      longest &&
      h(
        'button',
        { type: 'button', class: 'where', click: () => go(longest.index) },
        `${own.length > 1 ? 'longest ' : ''}${timeCode(longest.event.start)} – ${timeCode(longest.event.end)}`,
      );
    return h(
      'li',
      { class: rule.severity },
      sign(rule.severity, rule.severity),
      h('strong', {}, kindOf(rule.kind).title),
      h('span', { class: 'reason' }, rule.reason),
      where,
    );
  });
  return h('ul', { class: 'wrongs', 'aria-label': 'Broken rules' }, ...items);
}

function facts({ result }: Report): HTMLElement {
  const { input, measured, profile, tool } = result;
  const rate = input.average_rate ?? input.rate;
  const asked = (['start', 'duration', 'frames', 'range'] as const)
    .filter((name) => (result.settings[name] ?? null) !== null)
    .map((name) => `--${name} ${result.settings[name]}`);
  const rows: [string, string | null][] = [
    ['Duration', `${timeCode(measured.duration)}, ${counted(measured.frames, 'frame')} measured`],
    ['Asked for', asked.join(' ') || null],
    [
      'Picture',
      `${input.width} × ${input.height}, ${four(rate)} frames/s${input.rate_origin === 'default' ? ' (assumed)' : ''}`,
    ],
    [
      'Cadence',
      result.cadence
        ? `${four(result.cadence.rate)} pictures/s, each shown for ${four(result.cadence.frames_per_picture)} frames`
        : null,
    ],
    ['Coding', `${input.codec} in ${input.format}`],
    ['Samples', `${input.pixel_format}, ${input.bit_depth} bit, range ${input.range}`],
    ['Luma', input.luma],
    ['File size', input.file ? fileSize(input.file.size) : null],
    ['Profile', profile.name],
    ['Made by', `${tool.name} ${tool.version}`],
  ];
  const list = h('dl', { class: 'facts' });
  for (const [name, value] of rows)
    if (value) list.append(h('div', {}, h('dt', {}, name), h('dd', {}, foreign(value))));
  return list;
}

/** Sentences under a title, folded where they are many. */
function notes(title: string, sentences: (string | HTMLElement)[], open: boolean): HTMLElement | null {
  if (sentences.length === 0) return null;
  const shown = sentences.slice(0, 200);
  if (shown.length < sentences.length)
    shown.push(`and ${grouped(sentences.length - shown.length)} more in the JSON file`);
  return h(
    'details',
    { class: 'notes', open: open && sentences.length < 4 },
    h('summary', {}, `${title} (${grouped(sentences.length)})`),
    h(
      'ul',
      {},
      ...shown.map((sentence) => h('li', {}, typeof sentence === 'string' ? foreign(sentence) : sentence)),
    ),
  );
}

export function head(report: Report, go: (event: number) => void): HTMLElement {
  const { result } = report;
  const { verdict, input } = result;
  const errors = result.decode_errors.map((error) =>
    h(
      'span',
      {},
      `${timeCode(error.time)}, frame ${grouped(error.frame)}: `,
      foreign(`${error.message} (${error.kind})`),
    ),
  );
  const left = result.not_judged.map(({ kind, reason }) => `${kindOf(kind).title}: ${reason}`);
  return h(
    'header',
    { class: 'head' },
    h(
      'div',
      { class: 'what' },
      h('p', { class: `verdict ${verdict}` }, sign(verdict), VERDICTS[verdict] ?? verdict),
      h('h1', {}, foreign(baseName(input.path))),
      h('p', { class: 'path' }, foreign(input.path)),
      h('p', { class: 'sentence' }, verdictSentence(report)),
      h('p', { class: 'part', hidden: !report.isPart }, partSentence(report)),
      result.reason && verdict !== 'unmeasured' ? h('p', { class: 'doubt' }, foreign(result.reason)) : null,
      wrongs(report, go),
    ),
    h(
      'div',
      { class: 'about' },
      facts(report),
      notes('Warnings', [...input.warnings, ...result.warnings], true),
      notes('Decoding errors', errors, false),
      notes('Rules not judged', left, true),
    ),
  );
}
