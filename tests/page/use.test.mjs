// A person uses the house through its page.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { attribute, says, until, withHouse } from './browser.mjs';
import { HouseServer } from './server.mjs';
import { deafKeypad, dimmerSync, lightRepair, tapeChain } from './states.mjs';
import { villa } from './villa.mjs';

const use = withHouse(() => new HouseServer(villa()).listen());
const driver = name => use.server.driver(name);

test('MouseHoldsAButton_PressedUntilLetGo_LedAndHoldEventSeen', async () => {
  const visitor = await use.open('#driver?driver=hall_keypad');
  const welcome = visitor.button('Welcome', 'hall_keypad');
  await welcome.hover();
  await visitor.page.mouse.down();
  await attribute(welcome, 'aria-pressed', 'true');
  await says(visitor.page.getByRole('group', { name: 'hold timer' }), 'Welcome is held');
  await until(() => use.server.lines.some(l => l.event === 6003));
  assert.match(await visitor.region('hall_keypad').locator('.led').first().getAttribute('data-color'), new RegExp(driver('hall_keypad').buttons[0].on_color));
  assert.equal(use.heard({ do: 'release' }).length, 0);
  await visitor.page.mouse.up();
  await attribute(welcome, 'aria-pressed', 'false');
  assert.deepEqual(use.server.inputs, [{ house: 'act', driver: 'hall_keypad', do: 'press', button: 0 }, { house: 'act', driver: 'hall_keypad', do: 'release', button: 0 }]);
});

test('KeyHoldsAButton_OnePressAndOneReleaseInSpiteOfRepeats', async () => {
  const visitor = await use.open();
  await visitor.button('Bright', 'kitchen_keypad').focus();
  await visitor.page.keyboard.down('Space');
  await visitor.page.keyboard.down('Space');
  await until(() => use.heard({ do: 'press' }).length === 1);
  await visitor.page.keyboard.up('Space');
  await until(() => use.heard({ do: 'release' }).length === 1);
  assert.equal(use.server.inputs.length, 2);
});

test('TouchTapsAButton_PressedAndReleased', async () => {
  const visitor = await use.open('', { hasTouch: true, viewport: { width: 390, height: 844 } });
  await visitor.button('Bright', 'kitchen_keypad').tap();
  await until(() => use.heard({ do: 'release', button: 1 }).length === 1);
  assert.equal(use.heard({ do: 'press', button: 1 }).length, 1);
});

test('ClickOfAScreenReader_PressedAndReleased', async () => {
  const visitor = await use.open();
  await visitor.button('Dinner', 'kitchen_keypad').evaluate(b => b.click());
  await until(() => use.heard({ do: 'release', button: 3 }).length === 1);
  assert.equal(use.heard({ do: 'press', button: 3 }).length, 1);
});

test('PageIsLeftWhileAButtonIsHeld_Released', async () => {
  const visitor = await use.open();
  await visitor.button('Bright', 'kitchen_keypad').hover();
  await visitor.page.mouse.down();
  await until(() => use.heard({ do: 'press' }).length === 1);
  await visitor.go('#energy');
  await until(() => use.heard({ do: 'release' }).length === 1);
});

test('LedIsDescribedInWordsAndDigits', async () => {
  use.server.house = deafKeypad(use.server.house);
  const visitor = await use.open();
  const darker = visitor.button('Darker', 'dining_keypad');
  const words = await darker.evaluate(b => document.getElementById(b.getAttribute('aria-describedby')).textContent);
  assert.equal(words, 'LED on, colour ffd080');
  assert.equal(await darker.getAttribute('aria-pressed'), 'true');
});

test('BlinkingLed_SaysSo', async () => {
  Object.assign(driver('hall_keypad').buttons[0], { led: '00ff00', blink_ms: 500 });
  const visitor = await use.open('', { reducedMotion: 'reduce' });
  const words = await visitor.button('Welcome', 'hall_keypad').evaluate(b => document.getElementById(b.getAttribute('aria-describedby')).textContent);
  assert.equal(words, 'LED blinking, colour 00ff00');
  assert.equal(await visitor.region('hall_keypad').locator('.led').first().evaluate(e => getComputedStyle(e).animationName), 'none');
});

test('Contact_StaysPushedUntilUsedAgain', async () => {
  const visitor = await use.open();
  const contact = visitor.button('contact 1', 'front_door');
  await contact.click();
  await attribute(contact, 'aria-pressed', 'true');
  await contact.click();
  await attribute(contact, 'aria-pressed', 'false');
  assert.deepEqual(use.heard({ driver: 'front_door' }).map(i => [i.do, i.contact]), [['press', 1], ['release', 1]]);
});

test('LevelIsMoved_LoadFollows', async () => {
  const visitor = await use.open();
  await visitor.slider('level of sofa').fill('73');
  await until(() => driver('sofa').level === 73);
  await attribute(visitor.slider('level of sofa'), 'aria-valuetext', '73 %');
  await says(visitor.region('sofa'), '73');
});

test('GroupIsHeldBrighter_RampsAndStops', async () => {
  const visitor = await use.open();
  await visitor.button('brighter Dining room').hover();
  await visitor.page.mouse.down();
  await until(async () => (await visitor.slider('level of dining_wall').getAttribute('aria-valuetext')).endsWith('going up'));
  await says(visitor.region('load groups'), 'brightens now');
  assert.deepEqual(use.heard({ house: 'group' }).map(i => i.do), ['up']);
  await visitor.page.mouse.up();
  await until(() => driver('dining_wall').ramp === null);
  assert.deepEqual(use.heard({ house: 'group' }).map(i => i.do), ['up', 'stop']);
});

test('GroupIsPutOffAndSceneRecalled_Asked', async () => {
  const visitor = await use.open();
  await visitor.button('off Kitchen').click();
  await visitor.button('scene Film').click();
  await until(() => use.heard({ house: 'scene', id: 3 }).length === 1);
  assert.equal(use.heard({ house: 'group', id: 4 })[0].level, 0);
  await until(async () => (await visitor.region('scenes').innerText()).includes('21:00'));
});

test('PowerOfALightIsCutAndComesBack_DifferenceAppearsAndGoes', async () => {
  const visitor = await use.open('#driver?driver=worktop');
  const power = visitor.switch('power of worktop');
  await power.click();
  await attribute(power, 'aria-checked', 'false');
  await says(visitor.region('scene map of worktop'), '4 of 4 differ');
  assert.equal(await visitor.region('scene map of worktop').getByText('missing', { exact: true }).count(), 4);
  await power.click();
  await says(visitor.region('repair of worktop'), 'joins group 2');
  await says(visitor.region('groups of worktop'), 'same');
  use.server.mend();
  await says(visitor.region('scene map of worktop'), 'all 4 same');
});

test('FaultsAreSet_SentWithTheirValues', async () => {
  const visitor = await use.open('#driver?driver=worktop');
  await visitor.switch('deafness of worktop').click();
  await visitor.slider('loss of worktop').fill('12');
  await visitor.slider('delay of worktop').fill('500');
  await until(() => driver('worktop').faults.delay_ms === 500);
  assert.deepEqual([driver('worktop').faults.deaf, driver('worktop').faults.loss_percent], [true, 12]);
  await visitor.go('#house');
  await visitor.switch('repeats of house').click();
  await until(() => use.server.house.faults.repeats === true);
});

test('BusQueue_ShowsWhatWaitsAndWhatWasReplaced', async () => {
  use.server.house = deafKeypad(use.server.house);
  const visitor = await use.open('#driver?driver=dining_keypad');
  const rows = await visitor.region('bus queue of dining_keypad').getByRole('listitem').allInnerTexts();
  assert.equal(rows.length, 11);
  assert.match(rows[0], /#5[\s\S]*in transit[\s\S]*Attempt 2 of 3/);
  assert.match(rows[1], /#6[\s\S]*replaced by #7/);
  assert.match(rows[2], /#7[\s\S]*waits 29.3 s/);
  assert.match(rows[6], /^1110\s+backlight\s+waits$/);
});

test('DimmerWithALostReport_SaysWhatDiffersAndWhatIsNotKnown', async () => {
  use.server.house = dimmerSync(use.server.house);
  const visitor = await use.open('#driver?driver=living_wall');
  const rows = await visitor.region('advanced scenes of living_wall').getByRole('row').allInnerTexts();
  assert.match(rows.find(r => r.includes('Film')), /not reported\s+not known/);
  assert.match(rows.find(r => r.includes('Welcome')), /60 %\s+differs/);
  assert.match(await visitor.page.getByRole('group', { name: 'checksums of living_wall' }).innerText(), /9c6daa07[\s\S]*57f6ff87[\s\S]*differ/);
  await says(visitor.region('synchronisation of living_wall'), 'missed trap 1');
  await says(visitor.region('load groups of living_wall'), 'Living room');
});

test('RepairUnderWay_CountsWhatIsSentAgainstTheFewest', async () => {
  use.server.house = lightRepair(use.server.house);
  const visitor = await use.open('#driver?driver=worktop');
  await says(visitor.region('frames of worktop'), '6 of 8, the fewest possible');
  const rows = await visitor.region('scene map of worktop').getByRole('row').allInnerTexts();
  assert.match(rows.find(r => r.includes('Away')), /stored/);
  assert.match(rows.find(r => r.includes('Dinner')), /nothing\s+missing/);
  assert.match(await visitor.region('repair of worktop').innerText(), /gives up at 21:00:57.440, in 56.8 s/);
});

test('Tape_ShowsOutputsAndTheChainOfAChosenOne', async () => {
  const stored = tapeChain(use.server);
  const visitor = await use.open('#tape');
  await visitor.page.getByRole('button', { name: `20:59:57.515 output ${stored}` }).click();
  const detail = visitor.page.getByRole('complementary', { name: `output ${stored}` });
  await says(detail, 'Stores scene 5: 0 %, 3 s.');
  const chain = await detail.getByRole('listitem').allInnerTexts();
  assert.deepEqual(chain.map(c => c.split('\n')[1].trim()), ['desk: power of worktop on', 'which groups?', 'is in no group', 'timer 1187 of 5.0 s runs out', 'which scenes of group 5?', 'holds none of group 5', 'stores scene 5: 0 %, 3 s']);
});

test('TapeIsFiltered_OnlyWhatPassesIsShown', async () => {
  tapeChain(use.server);
  const visitor = await use.open('#tape');
  const log = visitor.page.getByRole('log', { name: 'tape' });
  assert.equal(await log.getAttribute('aria-live'), 'off');
  await visitor.page.getByRole('searchbox', { name: 'text' }).fill('joins group');
  await until(async () => await log.locator('button.row').count() === 4);
  await visitor.page.getByRole('searchbox', { name: 'text' }).fill('');
  await visitor.page.getByRole('combobox', { name: 'driver' }).selectOption('fridge');
  await until(async () => await log.locator('button.row').count() === 1);
  await visitor.page.getByRole('checkbox', { name: 'variable' }).uncheck({ force: true });
  await says(log, 'Nothing passes the filter.');
});

test('TapeHeldStill_RowsStopAndTheNewAreCounted', async () => {
  tapeChain(use.server);
  const visitor = await use.open('#tape');
  const log = visitor.page.getByRole('log', { name: 'tape' });
  const first = () => log.locator('button.row').first().innerText();
  const top = await until(first);
  await visitor.button('hold still').click();
  for (let i = 0; i < 3; i += 1) use.server.line({ driver: 'fridge', event: i, of: null });
  await visitor.button('3 new').waitFor();
  assert.equal(await first(), top);
  await visitor.button('3 new').click();
  await until(async () => await first() !== top);
});

test('TapeAtAFastSpeed_CountsWhatItPassesOverUntilPaused', async () => {
  tapeChain(use.server);
  const visitor = await use.open('#tape');
  use.server.clock({ paused: false, speed: 600 });
  await visitor.button('pause').waitFor();
  const seq = use.server.line({ driver: 'fridge', event: 1, of: null });
  await visitor.button('1 passed over').waitFor();
  assert.equal(await visitor.page.getByText(`output ${seq}`).count(), 0);
  use.server.clock({ paused: true });
  await visitor.page.getByText(`output ${seq}`).waitFor({ state: 'attached' });
});

test('EnergyPage_ShowsTotalsAndAChartOfEachRoom', async () => {
  const visitor = await use.open('#energy');
  await visitor.page.getByRole('img', { name: 'power over the last 24 hours, stacked by room' }).waitFor();
  await visitor.page.locator('.plot canvas').waitFor();
  await visitor.button('Kitchen', 'energy by room').click();
  await visitor.page.getByRole('img', { name: 'power over the last 24 hours, of Kitchen' }).waitFor();
  const sum = use.server.house.drivers.reduce((s, d) => s + (d.energy?.today_wh || 0), 0);
  await says(visitor.region('energy by room'), `${(sum / 1000).toFixed(3)} kWh`);
});
