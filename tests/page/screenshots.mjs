// SPDX-License-Identifier: BSD-2-Clause
//
// Pictures of the report of the faulty clip, for people to look at.
import { join } from 'node:path';
import { WORK, closeBrowser, demoReport, open, settled } from './support.mjs';

const folder = demoReport(),
  report = join(folder, 'clip.yuv.html');
const SHOTS = [
  ['light', report, {}],
  ['dark', report, { colorScheme: 'dark' }],
  ['phone', report, { viewport: { width: 390, height: 844 } }],
  ['curves', report, {}, () => document.getElementById('curves-title').scrollIntoView()],
];
for (const [name, file, options, act] of SHOTS) {
  const { page } = await open(file, options);
  if (act) await page.evaluate(act);
  await settled(page);
  await page.waitForTimeout(500); // pictures are decoded, thresholds worked out
  await page.screenshot({ path: join(WORK, `${name}.png`) });
  if (name === 'light') await page.pdf({ path: join(WORK, 'paper.pdf'), preferCSSPageSize: true });
}
await closeBrowser();
