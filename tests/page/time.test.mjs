// Time: play, step, speed, the past, links and breaks.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { attribute, says, statusIs, until, withHouse } from './browser.mjs';
import { HouseServer } from './server.mjs';
import { realLamp } from './states.mjs';
import { NOW_MS, villa } from './villa.mjs';

const HOUR_MS = 3600000;
const use = withHouse(() => new HouseServer(villa()).listen());

test('PlayPauseStepSpeed_HouseFollows', async () => {
  const v = await use.open();
  await v.button('play').click();
  await statusIs(v, 'live');
  await v.page.getByRole('combobox', { name: 'speed' }).selectOption('60');
  await until(() => use.server.house.clock.t_ms > NOW_MS + 10000);
  await v.button('pause').click();
  await statusIs(v, 'paused');
  const at = use.server.house.clock.t_ms;
  await v.button('step').click();
  await until(() => use.server.house.clock.t_ms === at + 360);
});

test('ShortcutsOutsideOfFields_PlayAndStepAndFilter', async () => {
  const v = await use.open();
  await v.page.keyboard.press('.');
  await until(() => use.heard({ house: 'step' }).length === 1);
  await v.page.keyboard.press('Space');
  await until(() => use.heard({ house: 'play' }).length === 1);
  await v.page.keyboard.press('/');
  await until(() => v.page.evaluate(() => document.activeElement.id === 'tape-text'));
  await v.page.keyboard.type('. [');
  assert.equal(use.heard({ house: 'step' }).length, 1);
});

test('KeysOnTheTimeLane_GoBackByTheirSteps', async () => {
  const v = await use.open();
  await v.slider('time').focus();
  for (const key of ['ArrowLeft', 'ArrowDown', 'PageDown']) await v.page.keyboard.press(key);
  await until(() => use.heard({ house: 'rewind' }).length === 1);
  assert.equal(use.heard({ house: 'rewind' })[0].t_ms, NOW_MS - 1000 - 60000 - HOUR_MS);
  await attribute(v.slider('time'), 'aria-valuetext', '19:58:59.640, Friday 2 January 2026, paused in the past');
});

test('TimeLaneIsDragged_GoesToThatMoment', async () => {
  const v = await use.open();
  const box = await v.slider('time').boundingBox();
  await v.page.mouse.move(box.x + box.width * 0.8, box.y + 20);
  await v.page.mouse.down();
  await v.page.mouse.move(box.x + box.width * 0.5, box.y + 20, { steps: 4 });
  await v.page.mouse.up();
  const [{ t_ms }] = await until(() => use.heard({ house: 'rewind' }).length && use.heard({ house: 'rewind' }));
  assert.ok(Math.abs(t_ms - 86400000 - 43200000) < 120000, `${t_ms}`);
});

test('InThePast_SaysWhatDiffers_AndComesBackToNow', async () => {
  const v = await use.open();
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
  const v = await use.open();
  await v.slider('time').focus();
  await v.page.keyboard.press('PageDown');
  await v.main('house in the past').waitFor();
  await v.button('play').click();
  const question = v.page.getByRole('alertdialog');
  await says(question, '7 later inputs of visitors are dropped');
  assert.equal(use.heard({ house: 'go_on' }).length, 0);
  await question.getByRole('button', { name: 'go on' }).click();
  await until(() => use.heard({ house: 'play' }).length === 1);
  assert.equal(use.heard({ house: 'go_on' }).length, 1);
  await statusIs(v, 'live');
});

test('GoOnFromHere_ThisMomentIsNow', async () => {
  const v = await use.open();
  await v.slider('time').focus();
  await v.page.keyboard.press('PageDown');
  await v.button('go on from here').click();
  await v.main('house').waitFor();
  assert.equal(use.server.house.clock.t_ms, NOW_MS - HOUR_MS);
  await attribute(v.slider('time'), 'aria-valuetext', '20:00:00.640, Friday 2 January 2026, now');
});

test('MarksAreVisited_OneAfterTheOther', async () => {
  const v = await use.open();
  await v.button('previous mark').click();
  await until(() => use.heard({ house: 'rewind', t_ms: 86400000 + 74127268 }).length === 1);
  await v.main('house in the past').waitFor();
  await v.button('previous mark').click();
  await until(() => use.heard({ house: 'rewind', t_ms: 86400000 + 14 * HOUR_MS }).length === 1);
});

test('LinkWithAMoment_GoesThere', async () => {
  const v = await use.open(`#driver?t=${NOW_MS - HOUR_MS}&driver=sofa`);
  await v.main('sofa').waitFor();
  await until(() => use.heard({ house: 'rewind', t_ms: NOW_MS - HOUR_MS }).length === 1);
  await statusIs(v, 'paused in the past');
});

test('LinkToAMomentThatIsNot_IsNow', async () => {
  const v = await use.open(`#energy?t=${NOW_MS + HOUR_MS}`);
  await v.main('energy').waitFor();
  await statusIs(v, 'paused');
  assert.deepEqual(use.server.inputs, []);
});

test('LinkIsCopied_HoldsPageDriverAndMoment', async () => {
  const v = await use.open('#driver?driver=sofa', { permissions: ['clipboard-read', 'clipboard-write'] });
  await v.button('copy a link to this moment').click();
  await v.page.getByRole('alert').waitFor();
  assert.equal(await v.page.evaluate(() => navigator.clipboard.readText()), `${use.server.url}/#driver?t=${NOW_MS}&driver=sofa`);
});

test('RewindTakesLong_ProgressAndStop', async () => {
  const v = await use.open();
  use.server.page({ page: 'rewind', to_ms: 1000, at_ms: 250 });
  await attribute(v.page.getByRole('progressbar', { name: 'rewind' }), 'aria-valuenow', '25');
  await v.button('stop').click();
  await until(() => use.heard({ house: 'stop' }).length === 1);
});

test('BreakIsAddedAndMet_SwitchAndAlert', async () => {
  const v = await use.open();
  await v.button('add a break').click();
  await v.page.getByRole('combobox', { name: 'break on' }).selectOption('packet');
  await v.page.getByRole('textbox', { name: 'name' }).fill('add_scene');
  await v.button('add').click();
  await attribute(v.switch('break on packet add_scene'), 'aria-checked', 'true');
  use.server.page({ page: 'break', rev: use.server.rev(), id: 1, met_seq: 1, words: 'worktop stores scene 5' });
  await says(v.page.getByRole('alert'), 'Paused: worktop stores scene 5');
  await v.switch('break on packet add_scene').click();
  await until(() => use.server.house.breaks[0].enabled === false);
});

test('LampIsReal_NothingMovesTime_AndItsTablesAreWhatItAnswered', async () => {
  use.server.house = realLamp(use.server.house);
  const v = await use.open('#driver?driver=worktop');
  for (const name of ['pause', 'step', 'previous mark', 'next mark']) assert.ok(await v.button(name).isDisabled(), name);
  assert.equal(await v.page.getByRole('combobox', { name: 'speed' }).count(), 0);
  await attribute(v.slider('time'), 'aria-disabled', 'true');
  for (const key of ['.', '[', 'Space']) await v.page.keyboard.press(key);
  await v.slider('time').press('PageDown');
  const map = v.region('scene map of worktop');
  await says(map, '1 not known');
  await says(map, 'its tables as it last answered, Friday 2 January 2026 at 20:59:37');
  for (const house of ['pause', 'step', 'rewind']) assert.equal(use.heard({ house }).length, 0);
  assert.equal(await v.region('faults of worktop').count(), 0);
});
