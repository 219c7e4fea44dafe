// What the page does with other windows, when something is refused, lost, missing or large.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { attribute, says, statusIs, until, withHouse } from './browser.mjs';
import { HouseServer } from './server.mjs';
import { empty, large, sparse, villa } from './villa.mjs';

const LOST = ['ERR_CONNECTION_REFUSED', 'WebSocket connection', 'ERR_CONNECTION_RESET', 'ERR_SOCKET_NOT_CONNECTED', 'ERR_EMPTY_RESPONSE', '401'];
const use = withHouse(() => new HouseServer(villa()).listen());

test('TwoWindows_Agree', async () => {
  const one = await use.open();
  const two = await use.open('#driver?driver=hall_keypad');
  await one.button('Welcome', 'hall_keypad').hover();
  await one.page.mouse.down();
  await attribute(two.button('Welcome', 'hall_keypad'), 'aria-pressed', 'true');
  await one.page.mouse.up();
  await attribute(two.button('Welcome', 'hall_keypad'), 'aria-pressed', 'false');
  await says(two.page.getByRole('status'), '2 visitors');
});

test('Reload_SamePageAndTruth', async () => {
  const v = await use.open('#driver?driver=sofa');
  await v.slider('level of sofa').fill('12');
  await until(() => use.server.driver('sofa').level === 12);
  await v.page.reload();
  await attribute(v.slider('level of sofa'), 'aria-valuetext', '12 %');
});

test('InputIsRefused_AlertWithTheWordsAndTheTrueValue', async () => {
  use.server.refuse.level = 'a load in the past cannot be moved';
  const v = await use.open();
  await v.slider('level of sofa').fill('99');
  await says(v.page.getByRole('alert'), 'Refused: a load in the past cannot be moved');
  await says(v.page.getByRole('alert'), '"level":99');
  await attribute(v.slider('level of sofa'), 'aria-valuetext', '50 %');
  await v.page.getByRole('alert').getByRole('button', { name: 'close' }).click();
  await until(async () => await v.page.getByRole('alert').count() === 0);
});

test('ConnectionIsLostAndComesBack_SameHouse', async () => {
  const v = await use.open('#tape', { expected: LOST });
  await v.page.getByRole('searchbox', { name: 'text' }).fill('event 5');
  const { port, house, lines } = use.server;
  await use.server.close();
  await statusIs(v, 'no connection');
  await v.page.getByText(/^No connection since \d\d:\d\d:\d\d\. Tries again in/).waitFor();
  assert.equal(await v.button('play').isDisabled(), true);
  use.server = new HouseServer(house);
  use.server.lines = lines;
  for (let i = 0; i < 14; i += 1) use.server.line({ driver: 'fridge', event: 5, of: null });
  await use.server.listen(port);
  await v.button('try now').click();
  await says(v.page.getByRole('status'), 'back, 14 outputs later');
  await until(async () => await v.page.locator('button.row').count() === 14);
  assert.equal(await v.page.getByRole('searchbox', { name: 'text' }).inputValue(), 'event 5');
});

test('ProgramStartsAnew_SaysSoByItself', async () => {
  const v = await use.open('', { expected: LOST });
  const { port } = use.server;
  await use.server.close();
  use.server = await new HouseServer({ ...villa(), run: 'b2' }).listen(port);
  await says(v.page.getByRole('status'), 'started anew at');
  await statusIs(v, 'paused');
});

test('DroppedAsTooSlow_SaysWhyAndWatchesAgain', async () => {
  const v = await use.open();
  for (const x of use.server.visitors) x.ws.close(1013, 'the queue of 1000 lines is full');
  await says(v.page.getByRole('alert'), 'the queue of 1000 lines is full');
  await statusIs(v, 'no connection');
  await v.button('watch again').click();
  await statusIs(v, 'paused');
});

test('WatchingOnly_ControlsAreDisabled', async () => {
  const v = await use.open('?watch');
  await says(v.page.getByRole('status'), 'watching only');
  for (const control of [v.button('play'), v.button('Bright', 'kitchen_keypad'), v.slider('level of sofa'), v.button('scene Film'), v.switch('power of house')]) assert.equal(await control.isDisabled(), true);
  await v.page.keyboard.press('Space');
  assert.deepEqual(use.server.inputs, []);
});

test('TokenIsMissing_PageThatAsksForIt', async () => {
  use.server.token = 'x';
  const v = await use.open('', { wait: false, expected: LOST });
  await v.main('token').waitFor();
  await says(v.main('token'), 'lighting-host serve --token-file FILE');
  assert.equal(await v.page.getByText('That was not the token.').isVisible(), false);
  await v.page.goto(`${use.server.url}/token#wrong`);
  assert.equal(await v.page.getByText('That was not the token.').isVisible(), true);
});

test('HouseWithoutDrivers_SaysSoAndTimeWorks', async () => {
  use.server.house = empty();
  const v = await use.open();
  await says(v.main('house'), 'This house has no drivers');
  assert.equal(await v.page.getByRole('link', { name: 'how a house file is written' }).getAttribute('href'), '/house_file.txt');
  await v.button('step').click();
  await until(() => use.heard({ house: 'step' }).length === 1);
});

test('LittleIsKnownOfTheDrivers_EveryPageIsDrawnAllTheSame', async () => {
  use.server.house = sparse();
  const v = await use.open();
  await says(v.region('dining_keypad'), '2 wait');
  await v.button('button 1', 'dining_keypad').waitFor();
  for (const [hash, name] of [['#driver?driver=dining_keypad', 'dining_keypad'], ['#driver?driver=worktop', 'worktop'], ['#driver?driver=living_wall', 'living_wall'], ['#driver?driver=fridge', 'fridge'], ['#driver?driver=front_door', 'front_door'], ['#energy', 'energy'], ['#tape', 'tape page']]) {
    await v.go(hash);
    await v.main(name).waitFor();
    if (hash.startsWith('#driver')) await v.region(name).waitFor();
  }
});

test('ThreeHundredDrivers_RoomsFoldAndOnlyWhatIsSeenIsDrawn', async () => {
  use.server.house = large(300, 5);
  const v = await use.open();
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
  for (let i = 0; i < 3000; i += 1) use.server.lines.push({ seq: i + 1, t_ms: i, driver: 'fridge', event: i, of: null });
  const v = await use.open('#tape');
  await until(async () => await v.page.getByRole('table').first().getAttribute('aria-rowcount') === '2001');
  assert.ok(await v.page.locator('button.row').count() < 80);
  await v.page.getByRole('log', { name: 'tape' }).evaluate(e => { e.scrollTop = 20000; });
  await until(async () => Number(await v.page.locator('tr[aria-rowindex]').nth(2).getAttribute('aria-rowindex')) > 500);
});

test('SeveralLinesInOneMessage_EachIsTaken', async () => {
  const v = await use.open('#driver?driver=sofa');
  const { server } = use;
  const [visitor] = server.visitors;
  const change = level => JSON.stringify({ page: 'driver', rev: server.rev(), driver: 'sofa', value: { level } });
  visitor.ws.send([change(7), 'no JSON', '', 'null', change(8)].join('\n'));
  await attribute(v.slider('level of sofa'), 'aria-valuetext', '8 %');
});
