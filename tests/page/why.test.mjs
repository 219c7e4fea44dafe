// The page that `lighting-host why --html` writes, opened from its file.
import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import { mkdtemp, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { pathToFileURL } from 'node:url';
import { promisify } from 'node:util';

import { says, until, withHouse } from './browser.mjs';
import { Program } from './program.mjs';

const HOUSE = '<house><driver name="hall" type="puck" id="1"><device simulated="true"/></driver></house>';
const PRESSED_MS = 90000;

// A house whose hall was pressed after a minute and a half, and the page of why that event came.
async function writePage() {
  const folder = await mkdtemp(join(tmpdir(), 'why-'));
  const [house, record, page] = ['house.xml', 'flight.jsonl', 'why.html'].map(name => join(folder, name));
  await writeFile(house, HOUSE);
  const program = await Program.start(['--speed', 'pause', '--record', record], { house });
  await program.hand({ house: 'step', ms: PRESSED_MS });
  await program.hand({ driver: 'hall', trap: 'nx.dmx.bp', params: ['7'] });
  await program.close();
  await promisify(execFile)(process.env.LIGHTING_HOST, ['why', record, '--until-event', 'hall:6001', '--html', page]);
  return { url: pathToFileURL(folder).href, end: () => rm(folder, { recursive: true }) };
}

const use = withHouse(writePage, page => page.end());
const openPage = options => use.open('why.html', { wait: false, ...options });

test('PageOfWhy_DrawsTheSharesAndNamesTheStep', async () => {
  const v = await openPage();
  await v.page.getByRole('heading', { name: 'Since when could it not be avoided?' }).waitFor();
  await says(v.page.getByRole('status', { name: 'step' }), 'Up to 00h01m29.999s it could be avoided, from 00h01m30.000s on not.');
  await says(v.page.getByRole('region', { name: 'what happened there' }), 'nx.dmx.bp');
  await v.page.getByRole('img', { name: /share of the runs/ }).locator('canvas').waitFor();
  const shares = await v.page.getByRole('region', { name: 'moments' }).getByRole('row').allInnerTexts();
  assert.ok(shares.some(row => /100 %/.test(row)) && shares.some(row => /\b0 %/.test(row)), shares.join('\n'));
});

test('PageOfWhy_IsReadInLightAndDarkAndOnAPhone', async () => {
  for (const options of [{ colorScheme: 'light' }, { colorScheme: 'dark' }, { viewport: { width: 390, height: 844 } }]) {
    const v = await openPage(options);
    await until(() => v.page.locator('canvas').count());
    assert.deepEqual(await v.violations(), []);
    assert.equal(await v.page.evaluate(() => document.documentElement.scrollWidth > innerWidth), false);
  }
});
