// SPDX-License-Identifier: BSD-2-Clause
//
// The report of the demo's faulty clip, used as a person would.
import assert from 'node:assert/strict';
import { closeSync, openSync, readSync } from 'node:fs';
import { join } from 'node:path';
import { after, afterEach, test } from 'node:test';
import {
  WORK,
  closeBrowser,
  closePages,
  dataOf,
  demoReport,
  open,
  pageWith,
  readCsv,
  seriousFaults,
  settled,
} from './support.mjs';

const folder = demoReport(),
  file = join(folder, 'clip.yuv.html');
const rows = readCsv(join(folder, 'clip.yuv.csv')),
  data = dataOf(file);
afterEach(closePages);
after(closeBrowser);

const PLANTED = [
  ['Blockiness', '00:00:00.640', '00:00:01.280', 'frames 16–31'],
  ['Frozen picture', '00:00:01.320', '00:00:01.920', 'frames 33–47'],
  ['Black picture', '00:00:01.920', '00:00:02.560', 'frames 48–63'],
  ['Combs of interlacing', '00:00:02.560', '00:00:03.200', 'frames 64–79'],
  ['Bars on all sides', '00:00:03.200', '00:00:03.840', 'frames 80–95'],
];

/** From and to, in seconds, of every curve in sight. */
const ranges = (page) =>
  page.locator('.curve .plot:has(canvas)').evaluateAll((plots) =>
    plots
      .filter((plot) => plot.getBoundingClientRect().top < innerHeight)

      .map((plot) =>
        /from ([\d.]+) s to ([\d.]+) s/.exec(plot.getAttribute('aria-label')).slice(1).map(Number),
      ),
  );
const toCurves = async (page) => {
  await page.evaluate(() => document.getElementById('curves-title').scrollIntoView());
  await page.waitForSelector('.curve .plot canvas');
  await settled(page);
};

test('every planted fault has its card with its times, and nothing complains', async () => {
  const { page, complaints } = await open(file);
  assert.match(await page.title(), /^Warning: clip\.yuv$/);
  const cards = await page
    .locator('.card')
    .evaluateAll((all) => all.map((card) => card.innerText.replace(/\s+/g, ' ')));
  for (const parts of PLANTED)
    assert.equal(cards.filter((text) => parts.every((part) => text.includes(part))).length, 1, parts.join());
  assert.match(
    cards.find((text) => text.includes('Blockiness')),
    /worst 0\.1509 × the usual.*below 0\.7 ×/,
  );
  await page.evaluate(() => scrollTo(0, document.body.scrollHeight));
  await page.emulateMedia({ colorScheme: 'dark' });
  await settled(page);
  assert.deepEqual(complaints, []);
  const policy = await page.locator('meta[http-equiv="Content-Security-Policy"]').getAttribute('content');
  assert.match(policy, /^default-src 'none'/);
  assert.doesNotMatch(policy, /unsafe|https?:|\*/);
});

test('a click on an event, drag, wheel and double click zoom all curves', async () => {
  const { page } = await open(file);
  const whole = [0, 3.84];
  await page
    .locator('.lanes .event', { has: page.locator('svg.warn') })
    .last()
    .click(); // frozen
  await toCurves(page);
  const seen = await ranges(page);
  assert.ok(seen.length >= 4);
  for (const [from, to] of seen)
    assert.ok(from > 0.5 && from <= 1.32 && to >= 1.92 && to < 3, `${from} to ${to}`);
  assert.equal(await page.locator('.card[aria-current="true"] h3').innerText(), ' Frozen picture');
  const box = await page.locator('.curve .u-over').nth(1).boundingBox();
  const actions = [
    ['double click', () => page.mouse.dblclick(box.x + 50, box.y + 20), whole],
    [
      'drag',
      async () => {
        await page.mouse.move(box.x + box.width / 4, box.y + 20);
        await page.mouse.down();
        await page.mouse.move(box.x + box.width / 2, box.y + 30, { steps: 4 });
        await page.mouse.up();
      },
      [0.96, 1.92],
    ],
    ['key', () => page.keyboard.press('0'), whole],
    ['wheel', () => page.mouse.wheel(0, -200), [1.92 * (1 - Math.exp(-0.5)), 1.92 + 1.92 * Math.exp(-0.5)]],
    [
      'touchpad',
      async () => {
        await page.keyboard.down('Control');
        await page.mouse.wheel(0, 30);
        await page.keyboard.up('Control');
      },
      [1.92 * (1 - Math.exp(-0.2)), 1.92 + 1.92 * Math.exp(-0.2)],
    ],
  ];
  for (const [what, act, [from, to]] of actions) {
    await act();
    await settled(page);
    for (const range of await ranges(page))
      assert.ok(Math.abs(range[0] - from) < 0.02 && Math.abs(range[1] - to) < 0.02, `${what}: ${range}`);
  }
});

test('two fingers zoom, one moves, and up and down it scrolls the page', async () => {
  const { page, complaints } = await open(file, {
    hasTouch: true,
    viewport: { width: 390, height: 844 },
  });
  const session = await page.context().newCDPSession(page);
  /** Fingers from places to others, as x and y in shares of a part's box and pixels below its top. */
  const touch = async (part, from, to) => {
    const box = await part.boundingBox();
    for (const [type, share] of [['touchStart', 0], ...[0.25, 0.5, 0.75, 1].map((at) => ['touchMove', at])]) {
      const touchPoints = from.map(([x, y], id) => ({
        id,
        x: box.x + (x + (to[id][0] - x) * share) * box.width,
        y: box.y + y + (to[id][1] - y) * share,
      }));
      await session.send('Input.dispatchTouchEvent', { type, touchPoints });
      await settled(page);
    }
    await session.send('Input.dispatchTouchEvent', {
      type: 'touchEnd',
      touchPoints: [],
    });
    await settled(page);
  };
  await toCurves(page);
  const curve = page.locator('.curve .u-over').first(),
    film = page.locator('.track.film');
  const near = [
      [0.4, 25],
      [0.6, 35],
    ],
    far = [
      [0.1, 10],
      [0.9, 50],
    ]; // four times as far apart
  for (const [part, from, to, [first, last]] of [
    [curve, near, far, [1.44, 2.4]],
    [curve, [[0.75, 20]], [[0.25, 22]], [1.92, 2.88]],
    [film, [[0.5, 20]], [[1, 22]], [1.44, 2.4]],
    [film, far, near, [0, 3.84]],
  ]) {
    await part.scrollIntoViewIfNeeded();
    await page.evaluate(() => scrollBy(0, -120)); // the bar stays over what is at the top
    await touch(part, from, to);
    await toCurves(page);
    for (const range of await ranges(page))
      assert.ok(Math.abs(range[0] - first) < 0.05 && Math.abs(range[1] - last) < 0.05, `${first}: ${range}`);
  }
  const before = await page.evaluate(() => scrollY);
  await touch(curve, [[0.5, 60]], [[0.52, -60]]);
  assert.ok((await page.evaluate(() => scrollY)) > before + 40);
  assert.equal(await page.evaluate(() => visualViewport.scale), 1);
  assert.deepEqual((await ranges(page))[0], [0, 3.84]);
  assert.deepEqual(complaints, []);
});

test('the readout at a frame is that of the CSV to four digits', async () => {
  const { page } = await open(file);
  await toCurves(page);
  const box = await page.locator('.curve .u-over').first().boundingBox();
  for (const frame of [0, 15, 16, 40, 63, 71, 95]) {
    await page.mouse.move(box.x + (box.width * (frame + 0.5)) / 96, box.y + 30);
    await settled(page);
    assert.equal(await page.locator('.place').getAttribute('data-frame'), String(frame));
    const shown = await page
      .locator('[data-value]')
      .evaluateAll((all) => Object.fromEntries(all.map((one) => [one.dataset.value, one.textContent])));
    assert.ok(Object.keys(shown).length >= 31);
    for (const [name, text] of Object.entries(shown)) {
      const stored = rows[frame][name];
      if (stored === '' || !Number.isFinite(Number(stored)))
        assert.equal(text, { '': '–', NaN: 'NaN', Inf: '∞', '-Inf': '−∞' }[stored], `${name} of ${frame}`);
      else
        assert.equal(
          Number(text.replaceAll('−', '-')),
          Number(Number(stored).toPrecision(4)),
          `${name} of ${frame}`,
        );
    }
  }
});

/** Mean of each of 8 x 8 cells of a picture of so many samples. */
function cells(luma, width, height) {
  const sums = new Array(64).fill(0);
  luma.forEach((value, i) => {
    sums[(((((i / width) | 0) * 8) / height) | 0) * 8 + ((((i % width) * 8) / width) | 0)] += value;
  });
  return sums.map((sum) => sum / (luma.length / 64));
}

/** The luma of a frame of the clip, in full range. */
function lumaOfClip(frame) {
  const luma = Buffer.alloc(352 * 288);
  const clip = openSync(join(WORK, 'clip.yuv'));
  readSync(clip, luma, 0, luma.length, frame * 352 * 288 * 1.5);
  closeSync(clip);
  return Array.from(luma, (value) => ((value - 16) * 255) / 219);
}

/** The same of a picture in a page that knows cells(). */
const cellsOfPicture = (image) =>
  image.evaluate(async (element) => {
    await element.decode();
    const { naturalWidth: width, naturalHeight: height } = element;
    const context = new OffscreenCanvas(width, height).getContext('2d');
    context.drawImage(element, 0, 0);
    const { data } = context.getImageData(0, 0, width, height);
    const at = (_, i) => 0.299 * data[4 * i] + 0.587 * data[4 * i + 1] + 0.114 * data[4 * i + 2];
    return globalThis.cells(Float64Array.from({ length: width * height }, at), width, height);
  });

test(
  'the picture of the worst frame shows that frame',
  { skip: !data.pictures && 'the report has no pictures' },
  async () => {
    const { page } = await open(file);
    await page.evaluate(`globalThis.${cells.name} = ${cells}`);
    for (const [index, event] of data.result.events.entries()) {
      const look = page.locator(`#event-${index} .shot.worst .look`);
      assert.equal(Number(await look.getAttribute('data-frame')), event.worst_frame);
      const shown = await cellsOfPicture(look.locator('img'));
      const away = (frame) =>
        cells(lumaOfClip(frame), 352, 288).reduce((sum, cell, k) => sum + Math.abs(cell - shown[k]), 0) / 64;
      assert.ok(away(event.worst_frame) < 2, `${event.kind}: ${away(event.worst_frame)} levels off`);
      assert.ok(away(event.worst_frame) < away((event.worst_frame + 48) % 96), event.kind);
    }
  },
);

test('keys: events, frames, zoom; and none of them once they are off', async () => {
  const { page } = await open(file);
  const chosen = () => page.locator('.chosen').innerText(),
    frame = async () => Number(await page.locator('.place').getAttribute('data-frame'));
  const press = async (...keys) => {
    for (const key of keys) await page.keyboard.press(key);
    await settled(page);
  };
  await press('n');
  const first = await chosen();
  assert.match(first, /^Blockiness, warn/);
  await press('n');
  assert.match(await chosen(), /^Frozen picture/);
  await press('p');
  assert.equal(await chosen(), first);
  assert.equal(
    await page.evaluate(() => document.activeElement.id),
    `event-${data.result.events.findIndex(({ kind }) => kind === 'blocky')}`,
  );
  const at = await frame();
  await press('ArrowRight', 'ArrowRight', 'ArrowLeft');
  assert.equal(await frame(), at + 1);
  await press('Shift+ArrowRight');
  assert.equal(await frame(), at + 26);
  await press('0');
  assert.match(await page.locator('.seen-text').innerText(), /^Whole/);
  await page.locator('.help summary').click();
  await page.locator('#keys-on').uncheck();
  await page.evaluate(() => document.activeElement.blur());
  await press('n', 'ArrowRight');
  assert.deepEqual([await chosen(), await frame()], [first, at + 26]);
});

test('an address names a time, the summary sorts and leads to its worst frames', async () => {
  const { page } = await open(file, { hash: '#t=2.6' });
  assert.equal(await page.locator('.place').getAttribute('data-frame'), '65');
  const column = (n) => page.locator(`.summary tbody tr > :nth-child(${n})`).allInnerTexts();
  await page.locator('.summary th button', { hasText: 'Largest' }).click();
  const largest = (await column(8)).map((text) => Number(text.replace('−', '-')));
  assert.deepEqual(
    largest,
    [...largest].sort((a, b) => b - a),
  );
  await page.locator('.summary tr', { hasText: 'Blockiness' }).locator('.where').click();
  await settled(page);
  assert.equal(
    Number(await page.locator('.place').getAttribute('data-frame')),
    data.result.summary.blockiness.worst_frame,
  );
});

test('accessible in light and dark, on a phone nothing is cut off, on paper two to four sheets', async () => {
  for (const options of [
    { colorScheme: 'light' },
    { colorScheme: 'dark' },
    { viewport: { width: 390, height: 844 } },
  ]) {
    const { page } = await open(file, options);
    await toCurves(page);
    assert.deepEqual(await seriousFaults(page), [], JSON.stringify(options));
    assert.ok(
      await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth),
      JSON.stringify(options),
    );
    if (options.colorScheme !== 'dark') continue;
    const sheets = (await page.pdf({ preferCSSPageSize: true }))
      .toString('latin1')
      .match(/\/Type \/Page\b/g).length;
    assert.ok(sheets >= 2 && sheets <= 4, `${sheets} sheets`);
  }
});

const HOSTILE = '</script><script>window.hacked=1</script><img src=x onerror="window.hacked=1"><!-- \u202e';
const LITERAL = new Set([
  'verdict',
  'severity',
  'comparison',
  'indicator',
  'encoding',
  'jpeg',
  'packed',
  'indicators',
  'name',
]);
/** The value with hostile text in all its texts that are not words of the format. */
function poisoned(value, key) {
  if (typeof value === 'string')
    return LITERAL.has(key) || /^-?(NaN|Infinity)$/.test(value) ? value : HOSTILE + value;
  if (Array.isArray(value)) return value.map((item) => poisoned(item, key));
  return value && typeof value === 'object'
    ? Object.fromEntries(Object.entries(value).map(([name, item]) => [name, poisoned(item, name)]))
    : value;
}

test('markup and script in names, metadata and messages are text', async () => {
  const result = poisoned({
    ...data.result,
    warnings: ['w'],
    not_judged: [{ kind: 'k', reason: 'r' }],
    reason: 'r',
    decode_errors: [{ frame: 1, time: 0.04, message: 'm', kind: 'undecodable' }],
  });
  result.profile.name = HOSTILE;
  const { page, complaints } = await open(
    pageWith('report', 'hostile.html', {
      ...data,
      result,
      row: poisoned(data.row),
    }),
  );
  await page.keyboard.press('n');
  await toCurves(page);
  assert.equal(await page.evaluate(() => window.hacked), undefined);
  assert.equal(await page.locator('img[src="x"]').count(), 0);
  assert.ok((await page.locator('h1').innerText()).includes('onerror'));
  assert.ok((await page.locator('.card h3').first().innerText()).includes('<script>'));
  assert.deepEqual(complaints, []);
});

test('what is missing or broken is said', async () => {
  const part = { ...data, row: { ...data.row, part: true } };
  const cases = [
    [part, '.part', /^Only a part .* was measured: 00.* to 00:00:03\.840, frames 0 to 95\.$/],
    [part, '.seen-text', /^Part: /],
    [{ ...data, pictures: undefined }, '.strip', /made of the result alone.* --video FILE/],
    [{ ...data, pictures: { ...data.pictures, strip: [], reason: 'Too late.' } }, '.strip', /Too late/],
    [{ ...data, result: undefined }, '.failure', /no result in it/],
    [{ ...data, frames: { ...data.frames, packed: 'AAAA' } }, '.curves', /could not be read/],
    [{ ...data, frames: undefined, pictures: undefined }, '.no-pictures', /without the video/],
  ];
  for (const [content, place, text] of cases) {
    const broken = Object.fromEntries(Object.entries(content).filter(([, value]) => value));
    const { page } = await open(pageWith('report', 'broken.html', broken), {
      ready: place,
    });
    assert.match(await page.locator(place).first().innerText(), text);
  }
});
