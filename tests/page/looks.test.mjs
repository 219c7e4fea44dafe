// Every page in both themes and several widths, against the rules of accessibility.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { attribute, withHouse } from './browser.mjs';
import { HouseServer } from './server.mjs';
import { deafKeypad, dimmerSync, lightRepair, tapeChain } from './states.mjs';
import { villa } from './villa.mjs';

const use = withHouse(() => new HouseServer(villa()).listen());

test('DarkTheme_ChosenAndKept', async () => {
  const v = await use.open('', { colorScheme: 'light' });
  await v.button('dark theme').click();
  await attribute(v.button('dark theme'), 'aria-pressed', 'true');
  await v.page.reload();
  await attribute(v.page.locator('html'), 'data-theme', 'dark');
});

const PAGES = ['#house', '#driver?driver=dining_keypad', '#driver?driver=worktop', '#driver?driver=living_wall', '#driver?driver=garden_door', '#driver?driver=fridge', '#energy', '#tape', '#past'];
const LOOKS = [['light', 1440], ['dark', 1440], ['light', 1100], ['light', 390], ['dark', 390]];
for (const [colorScheme, width] of LOOKS) {
  test(`EveryPage_${colorScheme}_${width}_AccessibleToAll`, async () => {
    use.server.house = dimmerSync(lightRepair(deafKeypad(use.server.house)));
    const chosen = tapeChain(use.server);
    const v = await use.open('', { colorScheme, viewport: { width, height: 900 } });
    for (const hash of PAGES) {
      await v.go(hash === '#tape' ? `#tape?seq=${chosen}` : hash);
      if (hash === '#past') { await v.slider('time').focus(); await v.page.keyboard.press('PageDown'); }
      await v.main({ '#house': 'house', '#energy': 'energy', '#tape': 'tape page', '#past': 'house in the past' }[hash] || hash.split('=')[1]).waitFor();
      if (hash === '#past') await v.region('different from now').waitFor();
      assert.deepEqual(await v.violations(), [], hash);
    }
  });
}
