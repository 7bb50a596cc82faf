// SPDX-License-Identifier: BSD-2-Clause
//
// Parts of the page without a browser: words for everything that can be named, values as they are
// packed, envelopes, and the usual value of a shot.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { ROOT, WORK, dataOf, demoReport, load, packFrames, pageModule } from './support.mjs';

mkdirSync(WORK, { recursive: true });
load('esbuild');
const { KINDS, aboutIndicator } = await pageModule('words');
const { FrameTable, unpackFrames } = await pageModule('frames');
const { sample } = await pageModule('pyramid');
const { baseline } = await pageModule('baseline');
const { timeCode, four, spoken } = await pageModule('format');
const read = (file) => readFileSync(join(ROOT, file), 'utf8');

test('strict TypeScript', () => {
  execFileSync(process.execPath, ['node_modules/typescript/bin/tsc'], {
    cwd: join(ROOT, 'qc/report/page'),
    stdio: 'inherit',
  });
});

test('every kind of event and every indicator is explained', () => {
  const kinds = /EVENT_KINDS\{([^}]*)\}/.exec(read('qc/judge/profile.h'))[1].match(/[a-z_]+/g);
  assert.ok(kinds.length >= 24);
  for (const kind of kinds)
    for (const part of ['title', 'looks', 'cause']) assert.ok(KINDS[kind]?.[part], `${kind}: ${part}`);
  const indicators = [...read('include/lumagauge/lumagauge.h').matchAll(/^ {2}X\(\w+, (\w+),/gm)].map(
    (match) => match[1],
  );
  assert.ok(indicators.length >= 31);
  for (const name of indicators) assert.ok(aboutIndicator(name), name);
});

test('neither page makes elements or code of text', () => {
  const outdir = join(WORK, 'pages');
  execFileSync(process.execPath, ['build.mjs', outdir], { cwd: join(ROOT, 'qc/report/page') });
  for (const name of ['report', 'index']) {
    const page = readFileSync(join(outdir, `${name}.html`), 'utf8');
    assert.doesNotMatch(
      page,
      /innerHTML|outerHTML|insertAdjacentHTML|document\.write|\beval\(|new Function\(|setTimeout\("/,
    );
  }
});

test('time codes and digits', () => {
  for (const [seconds, text] of [
    [0, '00:00:00.000'],
    [59.9996, '00:01:00.000'],
    [7199.9994, '01:59:59.999'],
    [-1.5, '-00:00:01.500'],
    [360000, '100:00:00.000'],
  ])
    assert.equal(timeCode(seconds), text);
  for (const [value, text] of [
    [0, '0'],
    [0.14297951, '0.143'],
    [123456, '123500'],
    [9.8644e-6, '9.864e−6'],
    [-0.5, '−0.5'],
    [-2.22e-16, '−2.22e−16'],
    [NaN, 'NaN'],
    [-Infinity, '−∞'],
  ])
    assert.equal(four(value), text);
  for (const [seconds, text] of [
    [0.637, '0.64 s'],
    [59.96, '1 min 0 s'],
    [119.7, '2 min 0 s'],
    [7379, '2 h 2 min'],
  ])
    assert.equal(spoken(seconds), text);
});

const STRANGE = [0, -9999, 0.00012345, 1e12, null, NaN, Infinity, -Infinity, 0.5];
test('values come out of their packing', async () => {
  const frames = await unpackFrames(packFrames(STRANGE.length, 25, { blur: (i) => STRANGE[i] }));
  STRANGE.forEach((value, i) =>
    assert.deepEqual(
      frames.column('blur').at(i),
      value === null ? null : Number.isFinite(value) ? Number(value.toPrecision(4)) : value,
    ),
  );
  assert.throws(
    () =>
      new FrameTable(
        { count: 2, first: 0, columns: [{ name: 'time', encoding: 'microseconds' }] },
        new Uint8Array(11),
      ),
    /11 bytes instead of 12/,
  );
  assert.throws(
    () =>
      new FrameTable({ count: 1, first: 0, columns: [{ name: 'x', encoding: 'other' }] }, new Uint8Array(1)),
    /does not know/,
  );
});

test('an envelope has the least and largest of its frames, gaps and marks', async () => {
  const COUNT = 5000,
    at = (i) =>
      i >= 1000 && i < 1400 ? null : i === 2001 ? Infinity : i === 3003 ? NaN : ((i * 7919) % 1000) / 100;
  const frames = await unpackFrames(packFrames(COUNT, 25, { blur: at }));
  const column = frames.column('blur');
  for (const [from, to, points] of [
    [0, COUNT, 100],
    [17, 4711, 333],
    [990, 1410, 40],
    [2000, 2010, 800],
  ]) {
    const drawn = sample(column, frames.time, from, to, points);
    assert.ok(drawn.x.length <= points + 2, `${drawn.x.length} points`);
    const first = Math.floor(from / drawn.stretch) * drawn.stretch;
    drawn.least.forEach((least, k) => {
      const values = Array.from({ length: drawn.stretch }, (_, i) =>
        column.at(first + k * drawn.stretch + i),
      ).filter((v) => v !== null && Number.isFinite(v));
      assert.deepEqual(
        [least, drawn.largest[k]],
        values.length ? [Math.min(...values), Math.max(...values)] : [null, null],
        `${from} + ${k}`,
      );
    });
    assert.equal(drawn.marks.length, [2001, 3003].filter((i) => i >= first && i < to).length);
  }
});

test('the usual value is that of the rules: the worst ratio of an event is the result’s', async () => {
  const { result, frames: packed, indicators } = dataOf(join(demoReport(), 'clip.yuv.html'));
  const frames = await unpackFrames(packed);
  const event = result.events.find(({ kind }) => kind === 'blocky');
  assert.equal(result.profile.rules.blocky.indicator, 'blockiness.ratio');
  const column = frames.column('blockiness');
  const usual = await baseline(column, frames, indicators.find(({ name }) => name === 'blockiness').worse);
  let worst = Infinity;
  for (let i = event.start_frame; i <= event.end_frame; ++i)
    worst = Math.min(worst, column.at(i) / usual.at(i));
  assert.ok(Math.abs(worst - event.worst) < 2e-4, `${worst} is not ${event.worst}`);
});
