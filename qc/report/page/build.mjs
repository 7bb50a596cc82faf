// SPDX-License-Identifier: BSD-2-Clause
//
// node build.mjs OUTDIR: makes OUTDIR/report.html and OUTDIR/index.html, whole pages with style and
// script inside and nothing from elsewhere. Each has the line <!--LUMAGAUGE-DATA--> ahead of its
// script, in the place of which the writer puts the data. page.html is the frame of both.
import { createHash } from 'node:crypto';
import { mkdir, readFile, writeFile } from 'node:fs/promises';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { build } from 'esbuild';

const HERE = dirname(fileURLToPath(import.meta.url));
const PAGES = {
  report: {
    TITLE: 'Report of lumagauge-qc',
    WAITING: 'Reading the report…',
    WITHOUT_SCRIPTS:
      'This page draws its pictures and curves by a script of its own. Allow scripts for it, or read ' +
      'the same result in the JSON and CSV files beside it.',
  },
  index: {
    TITLE: 'Reports of lumagauge-qc',
    WAITING: 'Reading the reports…',
    WITHOUT_SCRIPTS:
      'This page shows its rows by a script of its own. Allow scripts for it, or read the same result ' +
      'in summary.csv beside it.',
  },
};
const MARKER = '<!--LUMAGAUGE-DATA-->';

async function bundle(entry) {
  const result = await build({
    entryPoints: [join(HERE, 'src', entry)],
    bundle: true,
    minify: true,
    write: false,
    charset: 'utf8',
    format: 'iife',
    target: ['es2022'],
    legalComments: 'none',
  });
  // An inlined text ends at the first such tag, whatever it stands in.
  const text = result.outputFiles[0].text.trim();
  if (/<\/(script|style)|<!--/i.test(text)) throw new Error(`${entry} cannot be put inside a page`);
  return text;
}

const hashOf = (text) => `'sha256-${createHash('sha256').update(text).digest('base64')}'`;

async function page(name, outdir) {
  const template = await readFile(join(HERE, 'page.html'), 'utf8');
  const script = await bundle(`${name}.ts`);
  const style = await bundle(`${name}.css`);
  const policy =
    `default-src 'none'; script-src ${hashOf(script)}; style-src ${hashOf(style)}; ` +
    "img-src data: blob:; base-uri 'none'; form-action 'none'";
  const parts = { ...PAGES[name], POLICY: policy, STYLE: style, SCRIPT: script };
  const html = template.replace(/%([A-Z_]+)%/g, (whole, part) => parts[part] ?? whole);
  const lines = html.split('\n').filter((line) => line === MARKER).length;
  if (lines !== 1) throw new Error(`${name}.html has ${lines} lines "${MARKER}", one is needed`);
  // Makers of an index read the row, the first of the data, from the first 64 KiB.
  if (html.indexOf(MARKER) > 40_000) throw new Error(`${name}.html: more than 40 kB before the data`);
  await writeFile(join(outdir, `${name}.html`), html);
}

const outdir = process.argv[2];
if (!outdir) {
  console.error('usage: node build.mjs OUTDIR');
  process.exit(2);
}
await mkdir(outdir, { recursive: true });
await Promise.all(Object.keys(PAGES).map((name) => page(name, outdir)));
