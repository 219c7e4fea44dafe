// Time: play, step, speed, the past, links, breaks; and what the page does when things go wrong.
import assert from 'node:assert/strict';
import { after, afterEach, before, beforeEach, test } from 'node:test';

import { Visitor, attribute, says, startBrowser, stopBrowser, until } from './browser.mjs';
import { HouseServer } from './server.mjs';
import { deafKeypad, dimmerSync, lightRepair, tapeChain } from './states.mjs';
import { NOW_MS, empty, large, villa } from './villa.mjs';

const HOUR_MS = 3600000;
const LOST = ['ERR_CONNECTION_REFUSED', 'WebSocket connection', 'ERR_CONNECTION_RESET', 'ERR_SOCKET_NOT_CONNECTED', 'ERR_EMPTY_RESPONSE', '401'];
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
const heard = match => server.inputs.filter(i => Object.entries(match).every(([k, v]) => i[k] === v));
const statusIs = (v, text) => v.page.getByRole('status', { name: 'connection' }).getByText(text, { exact: true }).waitFor();

test('PlayPauseStepSpeed_HouseFollows', async () => {
  const v = await open();
  await v.button('play').click();
  await statusIs(v, 'live');
  await v.page.getByRole('combobox', { name: 'speed' }).selectOption('60');
  await until(() => server.house.clock.t_ms > NOW_MS + 10000);
  await v.button('pause').click();
  await statusIs(v, 'paused');
  const at = server.house.clock.t_ms;
  await v.button('step').click();
  await until(() => server.house.clock.t_ms === at + 360);
});

test('ShortcutsOutsideOfFields_PlayAndStepAndFilter', async () => {
  const v = await open();
  await v.page.keyboard.press('.');
  await until(() => heard({ house: 'step' }).length === 1);
  await v.page.keyboard.press('Space');
  await until(() => heard({ house: 'play' }).length === 1);
  await v.page.keyboard.press('/');
  await until(() => v.page.evaluate(() => document.activeElement.id === 'tape-text'));
  await v.page.keyboard.type('. [');
  assert.equal(heard({ house: 'step' }).length, 1);
});

test('KeysOnTheTimeLane_GoBackByTheirSteps', async () => {
  const v = await open();
  await v.slider('time').focus();
  for (const key of ['ArrowLeft', 'ArrowDown', 'PageDown']) await v.page.keyboard.press(key);
  await until(() => heard({ house: 'rewind' }).length === 1);
  assert.equal(heard({ house: 'rewind' })[0].t_ms, NOW_MS - 1000 - 60000 - HOUR_MS);
  await attribute(v.slider('time'), 'aria-valuetext', '19:58:59.640, Friday 2 January 2026, paused in the past');
});

test('TimeLaneIsDragged_GoesToThatMoment', async () => {
  const v = await open();
  const box = await v.slider('time').boundingBox();
  await v.page.mouse.move(box.x + box.width * 0.8, box.y + 20);
  await v.page.mouse.down();
  await v.page.mouse.move(box.x + box.width * 0.5, box.y + 20, { steps: 4 });
  await v.page.mouse.up();
  const [{ t_ms }] = await until(() => heard({ house: 'rewind' }).length && heard({ house: 'rewind' }));
  assert.ok(Math.abs(t_ms - 86400000 - 43200000) < 120000, `${t_ms}`);
});

test('InThePast_SaysWhatDiffers_AndComesBackToNow', async () => {
  const v = await open();
  await v.slider('time').focus();
  await v.page.keyboard.press('PageDown');
  await v.main('house in the past').waitFor();
  await statusIs(v, 'paused in the past');
  await says(v.region('different from now'), 'sofa');
  assert.match(await v.region('different from now').getByRole('row').nth(1).innerText(), /sofa\s+level\s+0 %\s+50 %/);
  assert.equal(await v.slider('level of sofa').isDisabled(), true);
  await v.page.getByRole('link', { name: 'back to now' }).click();
  await v.main('house').waitFor();
  await statusIs(v, 'paused');
  await attribute(v.slider('level of sofa'), 'aria-valuetext', '50 %');
});

test('PlayInThePast_AsksOnceAndGoesOn', async () => {
  const v = await open();
  await v.slider('time').focus();
  await v.page.keyboard.press('PageDown');
  await v.main('house in the past').waitFor();
  await v.button('play').click();
  const question = v.page.getByRole('alertdialog');
  await says(question, '7 later inputs of visitors are dropped');
  assert.equal(heard({ house: 'go_on' }).length, 0);
  await question.getByRole('button', { name: 'go on' }).click();
  await until(() => heard({ house: 'play' }).length === 1);
  assert.equal(heard({ house: 'go_on' }).length, 1);
  await statusIs(v, 'live');
});

test('GoOnFromHere_ThisMomentIsNow', async () => {
  const v = await open();
  await v.slider('time').focus();
  await v.page.keyboard.press('PageDown');
  await v.button('go on from here').click();
  await v.main('house').waitFor();
  assert.equal(server.house.clock.t_ms, NOW_MS - HOUR_MS);
  await attribute(v.slider('time'), 'aria-valuetext', '20:00:00.640, Friday 2 January 2026, now');
});

test('MarksAreVisited_OneAfterTheOther', async () => {
  const v = await open();
  await v.button('previous mark').click();
  await until(() => heard({ house: 'rewind', t_ms: 86400000 + 74127268 }).length === 1);
  await v.main('house in the past').waitFor();
  await v.button('previous mark').click();
  await until(() => heard({ house: 'rewind', t_ms: 86400000 + 14 * HOUR_MS }).length === 1);
});

test('LinkWithAMoment_GoesThere', async () => {
  const v = await open(`#driver?t=${NOW_MS - HOUR_MS}&driver=sofa`);
  await v.main('sofa').waitFor();
  await until(() => heard({ house: 'rewind', t_ms: NOW_MS - HOUR_MS }).length === 1);
  await statusIs(v, 'paused in the past');
});

test('LinkToAMomentThatIsNot_IsNow', async () => {
  const v = await open(`#energy?t=${NOW_MS + HOUR_MS}`);
  await v.main('energy').waitFor();
  await statusIs(v, 'paused');
  assert.deepEqual(server.inputs, []);
});

test('LinkIsCopied_HoldsPageDriverAndMoment', async () => {
  const v = await open('#driver?driver=sofa', { permissions: ['clipboard-read', 'clipboard-write'] });
  await v.button('copy a link to this moment').click();
  await v.page.getByRole('alert').waitFor();
  assert.equal(await v.page.evaluate(() => navigator.clipboard.readText()), `${server.url}/#driver?t=${NOW_MS}&driver=sofa`);
});

test('BreakIsAddedAndMet_SwitchAndAlert', async () => {
  const v = await open();
  await v.button('add a break').click();
  await v.page.getByRole('combobox', { name: 'break on' }).selectOption('packet');
  await v.page.getByRole('textbox', { name: 'name' }).fill('add_scene');
  await v.button('add').click();
  await attribute(v.switch('break on packet add_scene'), 'aria-checked', 'true');
  server.page({ page: 'break', rev: server.rev(), id: 1, met_seq: 1, words: 'worktop stores scene 5' });
  await says(v.page.getByRole('alert'), 'Paused: worktop stores scene 5');
  await v.switch('break on packet add_scene').click();
  await until(() => server.house.breaks[0].enabled === false);
});

test('TwoWindows_Agree', async () => {
  const one = await open();
  const two = await open('#driver?driver=hall_keypad');
  await one.button('Welcome', 'hall_keypad').hover();
  await one.page.mouse.down();
  await attribute(two.button('Welcome', 'hall_keypad'), 'aria-pressed', 'true');
  await one.page.mouse.up();
  await attribute(two.button('Welcome', 'hall_keypad'), 'aria-pressed', 'false');
  await says(two.page.getByRole('status'), '2 visitors');
});

test('Reload_SamePageAndTruth', async () => {
  const v = await open('#driver?driver=sofa');
  await v.slider('level of sofa').fill('12');
  await until(() => server.driver('sofa').level === 12);
  await v.page.reload();
  await attribute(v.slider('level of sofa'), 'aria-valuetext', '12 %');
});

test('InputIsRefused_AlertWithTheWordsAndTheTrueValue', async () => {
  server.refuse.level = 'a load in the past cannot be moved';
  const v = await open();
  await v.slider('level of sofa').fill('99');
  await says(v.page.getByRole('alert'), 'Refused: a load in the past cannot be moved');
  await says(v.page.getByRole('alert'), '"level":99');
  await attribute(v.slider('level of sofa'), 'aria-valuetext', '50 %');
  await v.page.getByRole('alert').getByRole('button', { name: 'close' }).click();
  await until(async () => await v.page.getByRole('alert').count() === 0);
});

test('ConnectionIsLostAndComesBack_SameHouse', async () => {
  const v = await open('#tape', { expected: LOST });
  await v.page.getByRole('searchbox', { name: 'text' }).fill('event 5');
  const { port, house, lines } = server;
  await server.close();
  await statusIs(v, 'no connection');
  await v.page.getByText(/^No connection since \d\d:\d\d:\d\d\. Tries again in/).waitFor();
  assert.equal(await v.button('play').isDisabled(), true);
  server = new HouseServer(house);
  server.lines = lines;
  for (let i = 0; i < 14; i += 1) server.line({ driver: 'fridge', event: 5, of: null });
  await server.listen(port);
  await v.button('try now').click();
  await says(v.page.getByRole('status'), 'back, 14 outputs later');
  await until(async () => await v.page.locator('button.row').count() === 14);
  assert.equal(await v.page.getByRole('searchbox', { name: 'text' }).inputValue(), 'event 5');
});

test('ProgramStartsAnew_SaysSoByItself', async () => {
  const v = await open('', { expected: LOST });
  const { port } = server;
  await server.close();
  server = await new HouseServer({ ...villa(), run: 'b2' }).listen(port);
  await says(v.page.getByRole('status'), 'started anew at');
  await statusIs(v, 'paused');
});

test('DroppedAsTooSlow_SaysWhyAndWatchesAgain', async () => {
  const v = await open();
  for (const x of server.visitors) x.ws.close(1013, 'the queue of 1000 lines is full');
  await says(v.page.getByRole('alert'), 'the queue of 1000 lines is full');
  await statusIs(v, 'no connection');
  await v.button('watch again').click();
  await statusIs(v, 'paused');
});

test('WatchingOnly_ControlsAreDisabled', async () => {
  const v = await open('?watch');
  await says(v.page.getByRole('status'), 'watching only');
  for (const control of [v.button('play'), v.button('Bright', 'kitchen_keypad'), v.slider('level of sofa'), v.button('scene Film'), v.switch('power of house')]) assert.equal(await control.isDisabled(), true);
  await v.page.keyboard.press('Space');
  assert.deepEqual(server.inputs, []);
});

test('TokenIsMissing_PageThatAsksForIt', async () => {
  server.token = 'x';
  const v = await open('', { wait: false, expected: LOST });
  await v.main('token').waitFor();
  await says(v.main('token'), 'lighting-host serve --token-file FILE');
  assert.equal(await v.page.getByText('That was not the token.').isVisible(), false);
  await v.page.goto(`${server.url}/token#wrong`);
  assert.equal(await v.page.getByText('That was not the token.').isVisible(), true);
});

test('HouseWithoutDrivers_SaysSoAndTimeWorks', async () => {
  server.house = empty();
  const v = await open();
  await says(v.main('house'), 'This house has no drivers');
  await v.button('step').click();
  await until(() => heard({ house: 'step' }).length === 1);
});

test('ThreeHundredDrivers_RoomsFoldAndOnlyWhatIsSeenIsDrawn', async () => {
  server.house = large(300, 5);
  const v = await open();
  await v.page.getByRole('button', { name: 'Room 0', expanded: false }).click();
  await v.region('light_0').waitFor();
  assert.equal(await v.page.locator('.driver').count(), 60);
  await v.go('#driver?driver=light_0');
  await v.main('light_0').waitFor();
  const links = await v.page.getByRole('navigation', { name: 'drivers' }).getByRole('link').count();
  assert.ok(links > 5 && links < 60, `${links}`);
  assert.equal(await v.page.getByRole('listitem').filter({ hasText: 'light_0' }).first().getAttribute('aria-setsize'), '305');
});

test('LongTape_OnlyWhatIsSeenIsDrawn', async () => {
  for (let i = 0; i < 3000; i += 1) server.lines.push({ seq: i + 1, t_ms: i, driver: 'fridge', event: i, of: null });
  const v = await open('#tape');
  await until(async () => await v.page.getByRole('table').first().getAttribute('aria-rowcount') === '2001');
  assert.ok(await v.page.locator('button.row').count() < 80);
  await v.page.getByRole('log', { name: 'tape' }).evaluate(e => { e.scrollTop = 20000; });
  await until(async () => Number(await v.page.locator('tr[aria-rowindex]').nth(2).getAttribute('aria-rowindex')) > 500);
});

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
