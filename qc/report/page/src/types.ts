// SPDX-License-Identifier: BSD-2-Clause
//
// The shapes of the data that the writer puts into a page. Everything in them may come from a hostile
// file: it is shown as text, never as markup.

/** A number as the result has it: JSON has no word for the last three; null is "no value". */
export type JsonNumber = number | null | 'NaN' | 'Infinity' | '-Infinity';

export type Severity = 'info' | 'warn' | 'fail';
export type Verdict = 'pass' | 'warn' | 'fail' | 'unmeasured';
export type Worse = 'lower' | 'higher' | 'extremes';

export interface Condition {
  indicator: string; // a signal: "blur", "blur.ratio", ...
  comparison: '>' | '>=' | '<' | '<=';
  threshold: JsonNumber;
}

export interface Rule extends Partial<Condition> {
  and?: Condition[];
  or?: Condition[][];
  edge_threshold?: JsonNumber;
  min_duration: JsonNumber;
  severity: Severity;
  max_share?: JsonNumber;
  max_duration?: JsonNumber;
  max_total?: JsonNumber;
  max_count?: number;
}

export interface ResultEvent {
  kind: string;
  severity: Severity;
  start: number;
  end: number;
  start_frame: number;
  end_frame: number;
  frames: number;
  worst: JsonNumber;
  text?: string | null; // what the event is in words, for some kinds
  worst_frame?: number | null; // results of earlier versions lack it
}

export interface Summary {
  count: number;
  nan: number;
  mean?: JsonNumber;
  min?: JsonNumber;
  p5?: JsonNumber;
  median?: JsonNumber;
  p95?: JsonNumber;
  max?: JsonNumber;
  worst_frame?: number;
  worst_time?: number;
}

export interface Result {
  tool: { name: string; version: string };
  input: {
    path: string;
    file: { size: number } | null;
    format: string;
    codec: string;
    width: number;
    height: number;
    pixel_format: string;
    bit_depth: number;
    luma: string;
    range: string;
    average_rate: number | null;
    rate: number;
    rate_origin: string;
    duration: number | null;
    warnings: string[];
  };
  settings: {
    indicators: string[];
    start: string | null;
    duration: string | null;
    frames: number | null;
    range?: string | null; // results of earlier versions lack it
  };
  profile: { name: string; rules: Record<string, Rule> };
  measured: { frames: number; duration: number };
  cadence?: { rate: number; frames_per_picture: number } | null; // absent in older results
  warnings: string[];
  decode_errors: { frame: number; time: number; message: string; kind: string }[];
  summary: Record<string, Summary | null>;
  shots: { start: number; end: number; start_frame: number; end_frame: number }[];
  events: ResultEvent[];
  broken_rules: { kind: string; severity: Severity; reason: string }[];
  not_judged: { kind: string; reason: string }[];
  verdict: Verdict;
  reason: string | null;
  interrupted: boolean;
}

export interface Indicator {
  name: string;
  unit: string;
  worse: Worse;
  core: boolean;
}

export interface Picture {
  frame: number;
  time: number;
  jpeg: string; // base64
}

export interface EventPictures {
  event: number; // index into Result.events
  before: Picture | null;
  worst: Picture | null;
  after: Picture | null;
}

export interface Pictures {
  note: string;
  aspect: number;
  strip: Picture[];
  events: EventPictures[];
  without: number; // events that have no pictures
  reason: string; // why
}

export interface ColumnHead {
  name: string;
  encoding: 'microseconds' | 'ascii' | 'step' | 'decimal4' | 'constant';
  start?: number;
  value?: JsonNumber;
}

export interface PackedFrames {
  count: number;
  first: number;
  columns: ColumnHead[];
  packed: string; // base64 of a gzip stream
  omitted?: string[];
}

export interface Row {
  name: string;
  path: string;
  verdict: Verdict;
  frames: number;
  duration: number;
  part?: boolean; // less than the whole video was measured
  events: { kind: string; severity: Severity; start: number; end: number }[];
  moreEvents?: number;
  strip?: string;
  report?: string | null;
  json?: string | null;
  reason?: string | null;
}

export interface Batch {
  tool: string;
  rows: Row[];
}

/** NaN for "no value" as well as for NaN: callers that tell these apart look at the JSON. */
export function numberOf(value: JsonNumber | undefined): number {
  return value === null || value === undefined ? NaN : Number(value);
}
