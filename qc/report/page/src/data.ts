// SPDX-License-Identifier: BSD-2-Clause
//
// Reads what the writer put into the page, and answers what several parts of the page ask of it.
import { State, unpackFrames, type FrameTable } from './frames';
import type {
  Condition,
  EventPictures,
  Indicator,
  PackedFrames,
  Picture,
  Pictures,
  Result,
  ResultEvent,
  Row,
  Rule,
} from './types';
import { numberOf } from './types';
import { signalParts } from './words';

/** The data script of that id, or null where the page has none. */
export function embedded<T>(id: string): T | null {
  const script = document.getElementById(id);
  return script?.textContent ? (JSON.parse(script.textContent) as T) : null;
}

interface Threshold {
  kind: string;
  condition: Condition;
}

export class Report {
  readonly indicators: Indicator[];
  private readonly eventPictures = new Map<number, EventPictures>();
  private readonly pictures: Picture[]; // by time
  private readonly byIndicator = new Map<string, { thresholds: Threshold[]; events: ResultEvent[] }>();

  constructor(
    readonly result: Result,
    indicators: Indicator[] | null,
    readonly frames: FrameTable | null,
    readonly framesProblem: string,
    readonly album: Pictures | null,
    readonly isPart: boolean, // less than the whole video was measured
  ) {
    const known = new Map((indicators ?? []).map((indicator) => [indicator.name, indicator]));
    this.indicators = result.settings.indicators.map(
      (name) => known.get(name) ?? { name, unit: '', worse: 'higher', core: true },
    );
    for (const pictures of album?.events ?? []) this.eventPictures.set(pictures.event, pictures);
    const all = [...(album?.strip ?? [])];
    for (const { before, worst, after } of album?.events ?? [])
      all.push(...[before, worst, after].filter((picture): picture is Picture => picture !== null));
    this.pictures = all.sort((a, b) => a.time - b.time);
  }

  get start(): number {
    return this.frames?.time[0] ?? Math.min(0, ...this.result.events.slice(0, 1).map((event) => event.start));
  }

  get end(): number {
    const { events, measured } = this.result;
    const last = this.frames ? this.frames.time[this.frames.count - 1] : this.start;
    return events.reduce(
      (end, event) => Math.max(end, event.end),
      Math.max(this.start + measured.duration, last + this.frameTime),
    );
  }

  get frameTime(): number {
    const { frames, duration } = this.result.measured;
    return frames > 0 && duration > 0 ? duration / frames : 0.04;
  }

  indicator(name: string): Indicator | undefined {
    return this.indicators.find((indicator) => indicator.name === name);
  }

  rule(kind: string): Rule | undefined {
    return this.result.profile.rules[kind];
  }

  /** The conditions that stand for a rule: its first one and the first of each alternative. */
  leading(kind: string): Condition[] {
    const rule = this.rule(kind);
    if (!rule?.indicator || !rule.comparison || rule.threshold === undefined) return [];
    const first = { indicator: rule.indicator, comparison: rule.comparison, threshold: rule.threshold };
    return [first, ...(rule.or ?? []).flatMap((list) => list.slice(0, 1))];
  }

  /** The kinds whose rules look at an indicator before all, with what they ask of it. */
  thresholds(indicator: string): Threshold[] {
    return this.known(indicator).thresholds;
  }

  /** The events of those kinds. */
  eventsOf(indicator: string): ResultEvent[] {
    return this.known(indicator).events;
  }

  private known(indicator: string): { thresholds: Threshold[]; events: ResultEvent[] } {
    const known = this.byIndicator.get(indicator);
    if (known) return known;
    const thresholds = Object.keys(this.result.profile.rules).flatMap((kind) =>
      this.leading(kind)
        .filter((condition) => signalParts(condition.indicator).indicator === indicator)
        .map((condition) => ({ kind, condition })),
    );
    const kinds = new Set(thresholds.map((threshold) => threshold.kind));
    const found = { thresholds, events: this.result.events.filter((event) => kinds.has(event.kind)) };
    this.byIndicator.set(indicator, found);
    return found;
  }

  picturesOf(event: number): EventPictures | undefined {
    return this.eventPictures.get(event);
  }

  /** The picture whose time is the nearest, or null where there are none. */
  nearestPicture(time: number): Picture | null {
    let best: Picture | null = null;
    for (const picture of this.pictures)
      if (!best || Math.abs(picture.time - time) < Math.abs(best.time - time)) best = picture;
    return best;
  }

  picturesBetween(from: number, to: number): Picture[] {
    return this.pictures.filter((picture) => picture.time >= from && picture.time < to);
  }

  /** Place in the frame table of an event's worst frame; where the result does not name it, of its
   * picture or of the worst plain value of its rule's first indicator, else the first frame. */
  worstIndex(index: number): number {
    const event = this.result.events[index],
      frames = this.frames;
    if (!frames) return 0;
    const named = event.worst_frame ?? this.eventPictures.get(index)?.worst?.frame;
    if (named !== undefined) return frames.indexOf(named);
    const condition = this.leading(event.kind)[0];
    return (condition && this.worstPlace(event, condition)) ?? frames.indexOf(event.start_frame);
  }

  /** The worst value of a condition on plain values within an event; null where there is none. */
  worstPlain(event: ResultEvent, condition: Condition): number | null {
    const { indicator, relation } = signalParts(condition.indicator);
    const place = relation === '' ? this.worstPlace(event, condition) : null;
    return place === null ? null : this.frames!.column(indicator)!.values[place];
  }

  private worstPlace(event: ResultEvent, condition: Condition): number | null {
    const { frames } = this,
      column = frames?.column(signalParts(condition.indicator).indicator);
    if (!frames || !column) return null;
    const sense = condition.comparison.startsWith('<') ? -1 : 1,
      last = frames.indexOf(event.end_frame);
    let worst: number | null = null;
    for (let i = frames.indexOf(event.start_frame); i <= last; ++i)
      if (
        column.states[i] === State.number &&
        (worst === null || sense * column.values[i] > sense * column.values[worst])
      )
        worst = i;
    return worst;
  }
}

/** Whether a value meets a condition's threshold. */
export function meets(condition: Condition, value: number): boolean {
  const threshold = numberOf(condition.threshold);
  switch (condition.comparison) {
    case '>':
      return value > threshold;
    case '>=':
      return value >= threshold;
    case '<':
      return value < threshold;
    default:
      return value <= threshold;
  }
}

/** The report in this page; throws an Error with a sentence where there is none. */
export async function readReport(): Promise<Report> {
  const result = embedded<Result>('result');
  if (!result) throw new Error('This page has no result in it. lumagauge-qc --html FILE makes one that has.');
  const packed = embedded<PackedFrames>('frames');
  let frames: FrameTable | null = null,
    problem = 'The values of the frames are not part of this report.';
  try {
    if (packed && packed.count > 0) frames = await unpackFrames(packed);
  } catch (error) {
    problem = `The values of the frames could not be read: ${(error as Error).message}.`;
  }
  return new Report(
    result,
    embedded<Indicator[]>('indicators'),
    frames,
    problem,
    embedded<Pictures>('pictures'),
    embedded<Row>('row')?.part ?? false,
  );
}
