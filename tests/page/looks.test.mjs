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
// Every control that can be used now, and how it looks while it has the focus: nothing for one that Tab
// does not reach.
async function focusByTab(v) {
  const count = await v.page.evaluate(() => {
    const usable = [...document.querySelectorAll('button, a[href], input, select, [tabindex="0"]')]
      .filter(e => !e.disabled && e.getClientRects().length > 0);
    usable.forEach((e, i) => { e.dataset.place = String(i); });
    document.activeElement?.blur();
    return usable.length;
  });
  const looks = new Array(count).fill('');
  // Twice round: it need not begin at the first.
  for (let i = 0; i < 2 * count + 4 && looks.includes(''); i += 1) {
    await v.page.keyboard.press('Tab');
    const [place, look] = await v.page.evaluate(() => {
      const e = document.activeElement;
      const styles = [getComputedStyle(e), getComputedStyle(e, '::after'), ...(e.nextElementSibling ? [getComputedStyle(e.nextElementSibling)] : [])];
      return [e.dataset.place, styles.some(s => s.outlineStyle !== 'none' && parseFloat(s.outlineWidth) > 0) ? 'seen' : 'not seen'];
    });
    if (place !== undefined) looks[Number(place)] = look;
  }
  return Promise.all(looks.map(async (look, i) => [look, look === 'seen' ? '' : await v.page.locator(`[data-place="${i}"]`).evaluate(e => e.outerHTML.slice(0, 120))]));
}
const ALL = ['#house', '#driver?driver=dining_keypad', '#driver?driver=worktop', '#energy', '#tape'];
for (const hash of ALL) {
  test(`EveryControlOf_${hash}_ReachedByTabWithAVisibleFocus`, async () => {
    const v = await use.open(hash);
    await v.page.locator('#main').waitFor();
    const wrong = (await focusByTab(v)).filter(([look]) => look !== 'seen');
    assert.deepEqual(wrong, []);
  });
}

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
      assert.equal(await v.tooWide(), 0, hash);
    }
  });
}
