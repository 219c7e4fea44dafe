// Bundles the page into a folder: node build.mjs FOLDER. The same sources give the same bytes.
import { copyFileSync, mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { build } from 'esbuild';

const here = dirname(fileURLToPath(import.meta.url));
const out = process.argv[2] || join(here, 'dist');
mkdirSync(out, { recursive: true });

await build({
  absWorkingDir: here,
  entryPoints: { app: 'src/main.js', style: 'src/style.css' },
  outdir: out,
  bundle: true,
  minify: true,
  format: 'esm',
  target: ['es2022', 'chrome111', 'firefox113', 'safari16.4'],
  charset: 'utf8',
  legalComments: 'none',
  logLevel: 'warning',
});
for (const file of ['index.html', 'token.html', 'icon.svg']) copyFileSync(join(here, 'src', file), join(out, file));

// The licences of what is bundled, as their packages hold them.
const bundled = ['preact', '@preact/signals', '@preact/signals-core', 'htm', 'uplot'];
const licences = bundled.map(name => `${name}\n\n${readFileSync(join(here, 'node_modules', name, 'LICENSE'), 'utf8').trim()}\n`);
writeFileSync(join(out, 'licences.txt'), licences.join('\n----\n\n'));
