// Every page in both themes and several widths, against the rules of accessibility.
import assert from 'node:assert/strict';
import { after, afterEach, before, beforeEach, test } from 'node:test';

import { Visitor, attribute, startBrowser, stopBrowser } from './browser.mjs';
import { HouseServer } from './server.mjs';
import { deafKeypad, dimmerSync, lightRepair, tapeChain } from './states.mjs';
import { villa } from './villa.mjs';

let server;
let visitors = [];
before(startBrowser);
after(stopBrowser);
beforeEach(async () => { server = await new HouseServer(villa()).listen(); });
afterEach(async () => {
  const all = visitors;
  visitors = [];
  for (const v of all) await v.close();
  await server.close();
});

async function open(hash = '', options = {}) {
  const v = await Visitor.open(`${server.url}/${hash}`, options);
  visitors.push(v);
  return v;
}

test('DarkTheme_ChosenAndKept', async () => {
  const v = await open('', { colorScheme: 'light' });
  await v.button('dark theme').click();
  await attribute(v.button('dark theme'), 'aria-pressed', 'true');
  await v.page.reload();
  await attribute(v.page.locator('html'), 'data-theme', 'dark');
});

const PAGES = ['#house', '#driver?driver=dining_keypad', '#driver?driver=worktop', '#driver?driver=living_wall', '#driver?driver=garden_door', '#driver?driver=fridge', '#energy', '#tape', '#past'];
const LOOKS = [['light', 1440], ['dark', 1440], ['light', 1100], ['light', 390], ['dark', 390]];
for (const [colorScheme, width] of LOOKS) {
  test(`EveryPage_${colorScheme}_${width}_AccessibleToAll`, async () => {
    server.house = dimmerSync(lightRepair(deafKeypad(server.house)));
    const chosen = tapeChain(server);
    const v = await open('', { colorScheme, viewport: { width, height: 900 } });
    for (const hash of PAGES) {
      await v.go(hash === '#tape' ? `#tape?seq=${chosen}` : hash);
      if (hash === '#past') { await v.slider('time').focus(); await v.page.keyboard.press('PageDown'); }
      await v.main({ '#house': 'house', '#energy': 'energy', '#tape': 'tape page', '#past': 'house in the past' }[hash] || hash.split('=')[1]).waitFor();
      if (hash === '#past') await v.region('different from now').waitFor();
      assert.deepEqual(await v.violations(), [], hash);
    }
  });
}
