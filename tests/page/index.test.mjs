// SPDX-License-Identifier: BSD-2-Clause
//
// The index of ten thousand reports: fluid, and right in what it shows.
import assert from 'node:assert/strict';
import { mkdirSync } from 'node:fs';
import { after, afterEach, test } from 'node:test';
import {
  WORK,
  closeBrowser,
  closePages,
  costOf,
  cpuClock,
  load,
  open,
  pageWith,
  seriousFaults,
  settled,
} from './support.mjs';

load('playwright-core');
mkdirSync(WORK, { recursive: true });
afterEach(closePages);
after(closeBrowser);

const COUNT = 10000,
  HOSTILE = '<img src=x onerror="window.hacked=1"></script><script>window.hacked=1</script>';
const VERDICTS = ['pass', 'pass', 'warn', 'fail', 'pass', 'unmeasured', 'pass'],
  KINDS = ['black', 'frozen', 'letterbox', HOSTILE];
// As large as strips get, as what slows a page down is their number times their size.
const STRIP = `data:image/jpeg;base64,${'A'.repeat(4800)}`;
const rows = Array.from({ length: COUNT }, (_, i) => ({
  name: i === 4321 ? `${HOSTILE}.mp4` : `reel ${i} ${i % 3 ? 'news' : 'match'}.mp4`,
  path: `/archive/${i % 30}/${i}.mp4`,
  verdict: VERDICTS[i % 7],
  frames: 25 * (i % 997),
  duration: i % 997,
  strip: STRIP,
  moreEvents: i % 50 === 3 ? 12 : 0,
  events:
    VERDICTS[i % 7] === 'unmeasured'
      ? []
      : Array.from({ length: i % 4 }, (_, k) => ({
          kind: KINDS[(i + k) % 4],
          severity: i % 7 === 3 ? 'fail' : 'warn',
          start: k,
          end: k + 0.5,
        })),
  report: [`r${i}.html`, 'javascript:window.hacked=1', '//other.example/r.html', null][i < 4 ? i : 0],
  json: `r${i}.json`,
  reason: i % 7 === 5 ? `moov atom not found ${HOSTILE}` : null,
}));
const file = pageWith('index', 'ten-thousand.html', {
  batch: { schema: 'lumagauge-index-1', tool: '0.1.0', rows },
});

const names = (page) =>
  page.locator('.space .line').evaluateAll((lines) =>
    lines
      .map((line) => [Number.parseFloat(line.style.top), line.querySelector('.name').textContent])
      .sort((a, b) => a[0] - b[0])
      .map(([, name]) => name),
  );
const status = (page) => page.locator('.status').innerText();

test('filters, search and order show the rows that they name', async () => {
  const { page, complaints } = await open(file);
  const count = (fits) => rows.filter(fits).length.toLocaleString('en');
  assert.equal(await status(page), '10,000 videos');
  assert.equal((await names(page))[0], 'reel 3 match.mp4'); // the first that fails
  await page.getByLabel('Order', { exact: true }).selectOption('name');
  assert.deepEqual((await names(page)).filter((name) => name.startsWith('reel')).slice(0, 3), [
    'reel 0 match.mp4',
    'reel 1 news.mp4',
    'reel 2 news.mp4',
  ]);
  await page.getByLabel('Order', { exact: true }).selectOption('events');
  const most = Math.max(...rows.map((row) => row.events.length + row.moreEvents));
  assert.match(await page.locator('.space .line').first().innerText(), new RegExp(`${most} events`));
  for (const verdict of ['Pass', 'Warning', 'Not measured'])
    await page.locator('.chip', { hasText: verdict }).click();
  assert.equal(await status(page), `${count((row) => row.verdict === 'fail')} of 10,000 videos`);
  await page.getByLabel('Events of a kind').selectOption('frozen');
  const fits = (row) => row.verdict === 'fail' && row.events.some(({ kind }) => kind === 'frozen');
  assert.equal(await status(page), `${count(fits)} of 10,000 videos`);
  await page.getByLabel('Search').fill('match 77');
  assert.equal(
    await status(page),
    `${count((row) => fits(row) && row.name.includes('match') && `${row.name}\n${row.path}`.includes('77'))} of 10,000 videos`,
  );
  await page.getByLabel('Search').fill('no such video');
  assert.equal(await status(page), '0 of 10,000 videos');
  assert.deepEqual(complaints, []);
});

test('only rows in sight are elements, and keys go through all of them', async () => {
  const { page } = await open(file);
  await page.getByLabel('Order', { exact: true }).selectOption('duration');
  await page.evaluate(() => scrollTo(0, document.body.scrollHeight));
  await settled(page);
  assert.ok((await names(page)).length < 60);
  assert.equal(
    Math.max(
      ...(await page
        .locator('.space .line')
        .evaluateAll((lines) => lines.map((line) => Number(line.getAttribute('aria-rowindex'))))),
    ),
    COUNT + 1,
  );
  await page.evaluate(() => scrollTo(0, 0));
  await page.getByLabel('Search').focus();
  for (let i = 0; i < 40; ++i) await page.keyboard.press('ArrowDown');
  const focused = () =>
    page.evaluate(() => document.activeElement.closest('.line')?.getAttribute('aria-rowindex'));
  assert.equal(await focused(), '41');
  await page.keyboard.press('ArrowUp');
  assert.equal(await focused(), '40');
});

test('links lead nowhere else, names are text, and it is accessible', async () => {
  for (const colorScheme of ['light', 'dark']) {
    const { page, complaints } = await open(file, { colorScheme });
    await page.getByLabel('Order', { exact: true }).selectOption('name');
    assert.deepEqual(
      await page
        .locator('a')
        .evaluateAll((links) =>
          links
            .map((link) => link.getAttribute('href'))
            .filter((href) => !href || !/^r\d+\.(html(#t=[\d.]+)?|json)$/.test(href)),
        ),
      [],
    );
    await page.getByLabel('Search').fill('onerror');
    assert.equal((await names(page)).length, 1);
    assert.equal(await page.evaluate(() => window.hacked), undefined);
    assert.deepEqual(await seriousFaults(page), []);
    assert.deepEqual(complaints, []);
  }
});

test('no step takes longer than 100 ms', async (t) => {
  const { page } = await open(file);
  const steps = {
    'scroll a page': () => page.mouse.wheel(0, 800),
    'scroll far': () => page.evaluate(() => scrollTo(0, Math.random() * document.body.scrollHeight)),
    search: () => page.getByLabel('Search').fill(`reel ${Math.floor(Math.random() * 9)}`),
    order: () => page.getByLabel('Turn the order round').click(),
    filter: () => page.locator('.chip').first().click(),
  };
  const clock = await cpuClock(page);
  for (const [what, step] of Object.entries(steps)) {
    const cost = await costOf(page, clock, step, 6);
    t.diagnostic(`${what}: ${cost} ms of the CPU`);
    assert.ok(cost <= 100, `${what}: ${cost} ms`);
  }
});
