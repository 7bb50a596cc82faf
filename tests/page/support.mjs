// SPDX-License-Identifier: BSD-2-Clause
//
// What the tests of the pages share: the browser, reports to look at, and data put into a page. A
// test whose browser or packages are missing ends with status 77, skipped.
import { execFileSync } from 'node:child_process';
import { existsSync, mkdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { dirname, join } from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';
import { gzipSync } from 'node:zlib';

export const ROOT = join(dirname(fileURLToPath(import.meta.url)), '../..');
const PAGE = join(ROOT, 'qc/report/page');
export const WORK = process.env.WORK ?? join(ROOT, 'build/page');
const PROGRAM = process.env.LUMAGAUGE_QC ?? join(ROOT, 'build/release/lumagauge-qc');

export function skip(reason) {
  console.error(`SKIPPED: ${reason}`);
  process.exit(77);
}

export function load(name) {
  try {
    return createRequire(join(PAGE, 'package.json'))(name);
  } catch {
    return skip(`${name} is missing: script/setup page installs it`);
  }
}

/** The page's own module, for tests of it without a browser. */
export async function pageModule(name) {
  const file = join(WORK, `${name}.mjs`);
  load('esbuild').buildSync({
    entryPoints: [join(PAGE, 'src', `${name}.ts`)],
    bundle: true,
    format: 'esm',
    outfile: file,
  });
  return import(pathToFileURL(file));
}

let browser;
const opened = [];
/** An open page in Chromium and the list of what it complained about or asked of the network. */
export async function open(file, { hash = '', ready = 'main', ...options } = {}) {
  const { chromium } = load('playwright-core');
  const executablePath = ['/usr/bin/chromium', '/usr/bin/chromium-browser', '/usr/bin/google-chrome'].find(
    existsSync,
  );
  if (!executablePath) skip('Chromium is missing: script/setup browser installs it');
  browser ??= await chromium.launch({ executablePath, args: ['--no-sandbox', '--disable-gpu'] });
  const page = await browser.newPage({ viewport: { width: 1366, height: 860 }, ...options });
  opened.push(page);
  const complaints = [];
  page.on('console', (message) => message.type() === 'error' && complaints.push(message.text()));
  page.on('pageerror', (error) => complaints.push(error.stack));
  page.on(
    'request',
    (request) =>
      /^(data|blob):/.test(request.url()) ||
      request.url().split('#')[0] === pathToFileURL(file).href ||
      complaints.push(`request of ${request.url()}`),
  );
  await page.goto(pathToFileURL(file).href + hash);
  await page.waitForSelector(ready);
  await settled(page);
  return { page, complaints };
}

export const settled = (page) =>
  page.evaluate(
    () => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(done)))),
  );
export const closeBrowser = () => browser?.close();
/** For after each test, as open pages go on working. */
export const closePages = () => Promise.all(opened.splice(0).map((page) => page.close()));

const run = (...command) =>
  execFileSync(command[0], command.slice(1), { cwd: WORK, stdio: ['ignore', 'pipe', 'inherit'] });

/** The folder with the report of the demo's faulty clip, made by the program as it was built. */
export function demoReport() {
  mkdirSync(WORK, { recursive: true });
  if (!existsSync(join(WORK, 'clip.yuv'))) run(join(ROOT, 'script/faulty-clip'), WORK);
  const folder = join(WORK, `reports-${process.pid}`);
  process.on('exit', () => rmSync(folder, { recursive: true, force: true }));
  try {
    run(PROGRAM, '--quiet', '--raw', '--size', '352x288', '--fps', '25', '-o', folder, '--html', 'clip.yuv');
  } catch (error) {
    if (error.status !== 1) throw error; // broken rules
  }
  if (!existsSync(join(folder, 'clip.yuv.html'))) skip('lumagauge-qc was built without the page');
  return folder;
}

/** The rows of a CSV file as objects of text. */
export function readCsv(file) {
  const [head, ...rows] = readFileSync(file, 'utf8')
    .trimEnd()
    .split('\r\n')
    .map((line) => line.split(','));
  return rows.map((row) => Object.fromEntries(head.map((name, i) => [name, row[i]])));
}

const script = (id, value) =>
  `<script type="application/json" id="${id}">${JSON.stringify(value).replaceAll('<', '\\u003c')}</script>\n`;

/** Builds the pages, puts data into one, and returns the file. */
export function pageWith(name, file, data) {
  run('node', join(PAGE, 'build.mjs'), WORK);
  const scripts = Object.entries(data)
    .map(([id, value]) => script(id, value))
    .join('');
  writeFileSync(
    join(WORK, file),
    readFileSync(join(WORK, `${name}.html`), 'utf8').replace('<!--LUMAGAUGE-DATA-->\n', () => scripts),
  );
  return join(WORK, file);
}

/** The data scripts of a report by id. */
export function dataOf(file) {
  const found = readFileSync(file, 'utf8').matchAll(
    /<script type="application\/json" id="(\w+)">(.*?)<\/script>/gs,
  );
  return Object.fromEntries([...found].map(([, id, text]) => [id, JSON.parse(text)]));
}

/** Columns packed as a report has them. `columns`: name to a function of the frame that gives a number,
 * NaN, an infinity or null. */
export function packFrames(count, rate, columns) {
  const special = (value) => (value === null ? -128 : Number.isNaN(value) ? -127 : value > 0 ? -126 : -125);
  const parts = [],
    heads = [{ name: 'time', encoding: 'microseconds', start: 0 }];
  const time = Buffer.alloc(6 * count);
  for (let i = 1; i < count; ++i) {
    let step = Math.round((i * 1e6) / rate) - Math.round(((i - 1) * 1e6) / rate);
    for (let plane = 0; plane < 6; ++plane, step = Math.floor(step / 256))
      time[plane * count + i] = step % 256;
  }
  parts.push(time, Buffer.alloc(count, 'P'), Buffer.alloc(count));
  heads.push({ name: 'type', encoding: 'ascii' }, { name: 'shot', encoding: 'step' });
  for (const [name, value] of Object.entries(columns)) {
    const planes = Buffer.alloc(3 * count);
    for (let i = 0, lastMantissa = 0, lastExponent = 0; i < count; ++i) {
      const v = value(i),
        plain = v !== null && Number.isFinite(v);
      const [digits, power] = plain ? v.toExponential(3).split('e') : ['0', '0'];
      const mantissa = plain ? Math.round(Number(digits) * 1000) : lastMantissa,
        exponent = plain ? Number(power) - 3 : special(v);
      planes[i] = exponent - lastExponent;
      const step = mantissa - lastMantissa,
        folded = step < 0 ? -2 * step - 1 : 2 * step;
      planes[count + i] = folded & 255;
      planes[2 * count + i] = folded >> 8;
      [lastMantissa, lastExponent] = [mantissa, exponent];
    }
    parts.push(planes);
    heads.push({ name, encoding: 'decimal4' });
  }
  return {
    count,
    first: 0,
    omitted: [],
    columns: heads,
    packed: gzipSync(Buffer.concat(parts), { level: 1 }).toString('base64'),
  };
}

/** Gives the CPU time, in milliseconds, that a page's own thread and its process took so far: how busy
 * the machine is otherwise makes no difference to it. */
export async function cpuClock(page) {
  const session = await page.context().newCDPSession(page);
  await session.send('Performance.enable', { timeDomain: 'threadTicks' });
  return async () => {
    const { metrics } = await session.send('Performance.getMetrics');
    const of = (name) => 1000 * metrics.find((metric) => metric.name === name).value;
    return { thread: of('TaskDuration'), process: of('ProcessTime') };
  };
}

/** The most CPU time that the page's thread takes for any of `times` repetitions of a step. */
export async function costOf(page, clock, step, times) {
  let most = 0;
  for (let i = 0; i < times; ++i) {
    await settled(page);
    const before = (await clock()).thread;
    await step();
    await settled(page);
    most = Math.max(most, (await clock()).thread - before);
  }
  return Math.round(most);
}

/** What axe-core finds to be serious or worse. */
export async function seriousFaults(page) {
  await page.evaluate(load('axe-core').source);
  const { violations } = await page.evaluate(() =>
    globalThis.axe.run({ resultTypes: ['violations'], elementRef: false }),
  );
  return violations
    .filter(({ impact }) => ['serious', 'critical'].includes(impact))
    .map(
      ({ id, nodes }) =>
        `${id}: ${nodes
          .slice(0, 3)
          .map((node) => `${node.html} ${node.failureSummary}`)
          .join(' | ')}`,
    );
}
