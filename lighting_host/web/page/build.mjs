// Bundles the page into a folder: node build.mjs FOLDER. The same sources give the same bytes.
import { copyFileSync, mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { build } from 'esbuild';

const here = dirname(fileURLToPath(import.meta.url));
const out = process.argv[2] || join(here, 'dist');
mkdirSync(out, { recursive: true });

const options = {
  absWorkingDir: here,
  bundle: true,
  minify: true,
  format: 'esm',
  target: ['es2022', 'chrome111', 'firefox113', 'safari16.4'],
  charset: 'utf8',
  legalComments: 'none',
  logLevel: 'warning',
};
await build({ ...options, entryPoints: { app: 'src/main.js', style: 'src/style.css' }, outdir: out });

// What `lighting-host why` writes is one file that needs no other.
const bundle = async entry => (await build({ ...options, entryPoints: [entry], write: false })).outputFiles[0].text.trim();
const [script, style] = [await bundle('src/why.js'), await bundle('src/why.css')];
// A closing tag inside the script would end it.
const licence = name => readFileSync(join(here, 'node_modules', name, 'LICENSE'), 'utf8').trim();
const parts = { 'licence of uplot': `uplot\n\n${licence('uplot')}\n`, '/*style*/': style, '/*script*/': script.replaceAll('</script', '<\\/script') };
let why = readFileSync(join(here, 'src/why.html'), 'utf8');
for (const [mark, text] of Object.entries(parts)) why = why.replace(mark, () => text);
writeFileSync(join(out, 'why.html'), why);

for (const file of ['index.html', 'token.html', 'icon.svg']) copyFileSync(join(here, 'src', file), join(out, file));

// The licences of what is bundled, as their packages hold them.
const bundled = ['preact', '@preact/signals', '@preact/signals-core', 'htm', 'uplot'];
const licences = bundled.map(name => `${name}\n\n${licence(name)}\n`);
writeFileSync(join(out, 'licences.txt'), licences.join('\n----\n\n'));
