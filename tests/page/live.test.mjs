// The page and the program together: what a person does at the page happens in the house, and what
// happens in the house is seen.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { attribute, says, statusIs, until, withHouse } from './browser.mjs';
import { Program } from './program.mjs';

const LOST = ['ERR_CONNECTION_REFUSED', 'WebSocket connection', 'ERR_CONNECTION_RESET'];
// When every driver has been told its scenes and every device holds them.
const SETTLED_MS = 300000;
const OPTIONS = ['--seed', '16', '--start', '2026-01-01T00:00:00', '--speed', 'pause'];

const use = withHouse(async () => {
  const program = await Program.start(OPTIONS);
  await program.hand({ house: 'step', ms: SETTLED_MS });
  return program;
});
// Takes a load to a level at the page of a house that stands, and lets the time pass that it takes.
async function moveLevel(v, name, percent) {
  await v.slider(`level of ${name}`).fill(String(percent));
  await until(async () => {
    await use.server.hand({ house: 'step', ms: 100 });
    return (await use.server.driver(name)).level === percent;
  }, `${name} is at ${percent}`);
}
const tape = v => v.page.getByRole('log', { name: 'tape' });
const stateOf = (v, region, word) => until(async () => (await v.region(region).innerText()).includes(word), `${region} says ${word}`);

test('ButtonIsHeldFor1200Ms_LedIsOnAndTheHoldIsOnTheTape', async () => {
  const v = await use.open('#driver?driver=dining_keypad');
  await v.button('play').click();
  await statusIs(v, 'live');
  const brighter = v.button('Brighter', 'dining_keypad');
  await brighter.hover();
  await v.page.mouse.down();
  await attribute(brighter, 'aria-pressed', 'true');
  const description = () => brighter.evaluate(b => document.getElementById(b.getAttribute('aria-describedby')).textContent);
  await until(async () => (await description()).startsWith('LED on'));
  await says(v.page.getByRole('group', { name: 'hold timer' }), 'Brighter is held');
  const begun = Date.now();
  await until(() => Date.now() - begun >= 1200);
  await v.page.mouse.up();
  await attribute(brighter, 'aria-pressed', 'false');
  await until(async () => (await description()).startsWith('LED off'));
  await v.go('#tape?driver=dining_keypad');
  await says(tape(v), 'button 2 is still held');
  await says(tape(v), 'Brighter released');
});

test('GroupIsHeldBrighter_LoadsRampUpAndStop', async () => {
  const v = await use.open();
  await v.button('play').click();
  const slider = v.slider('level of dining_ceiling');
  await attribute(slider, 'aria-valuetext', '0 %');
  await v.button('brighter Dining room').hover();
  await v.page.mouse.down();
  await until(async () => (await slider.getAttribute('aria-valuetext')).endsWith('going up'));
  await says(v.region('load groups'), 'brightens now');
  await v.page.mouse.up();
  await until(async () => /^[1-9]\d* %$/.test(await slider.getAttribute('aria-valuetext')));
  const level = Number(await slider.inputValue());
  assert.equal((await use.server.driver('dining_ceiling')).level, level);
  assert.equal((await use.server.driver('dining_wall')).ramp, null);
});

test('LightLosesItsPower_DifferenceAppearsAndIsMended', async () => {
  const v = await use.open('#driver?driver=worktop');
  await stateOf(v, 'scene map of worktop', 'all 4 same');
  await v.switch('forgetting of worktop').click();
  await v.switch('power of worktop').click();
  await attribute(v.switch('power of worktop'), 'aria-checked', 'false');
  await says(v.region('faults of worktop'), 'off since');
  await v.switch('power of worktop').click();
  // The house stands: the light has forgotten all, and its driver has only begun to ask.
  await stateOf(v, 'scene map of worktop', '4 of 4 differ');
  await stateOf(v, 'repair of worktop', 'under way');
  await v.page.getByRole('combobox', { name: 'speed' }).selectOption('60');
  await v.button('play').click();
  await stateOf(v, 'scene map of worktop', 'all 4 same');
  await stateOf(v, 'repair of worktop', 'of last time');
  await stateOf(v, 'groups of worktop', 'same');
});

test('PausedSteppedRewoundAndGoneOn_ThatMomentIsNow', async () => {
  const v = await use.open();
  const { server } = use;
  await v.button('step').click();
  await until(async () => (await server.snapshot()).clock.t_ms > SETTLED_MS);
  await moveLevel(v, 'sofa', 50);
  await server.hand({ house: 'step', ms: 3600000 });
  await v.slider('time').focus();
  await v.page.keyboard.press('Home');
  await v.main('house in the past').waitFor();
  await statusIs(v, 'paused in the past');
  await says(v.region('different from now'), 'sofa level');
  assert.equal(await v.slider('level of sofa').isDisabled(), true);
  await v.button('go on from here').click();
  await v.main('house').waitFor();
  await statusIs(v, 'paused');
  const { clock, past } = await server.snapshot();
  assert.deepEqual([clock.t_ms, past], [0, null]);
});

test('BackToNow_NothingIsLost', async () => {
  const v = await use.open();
  await moveLevel(v, 'sofa', 50);
  await use.server.hand({ house: 'step', ms: 60000 });
  await v.slider('time').focus();
  await v.page.keyboard.press('Home');
  await v.main('house in the past').waitFor();
  await v.page.getByRole('link', { name: 'back to now' }).click();
  await v.main('house').waitFor();
  await attribute(v.slider('level of sofa'), 'aria-valuetext', '50 %');
});

test('LinkThatHoldsAMoment_GoesThere', async () => {
  const v = await use.open('#driver?t=60000&driver=sofa');
  await v.main('sofa').waitFor();
  await statusIs(v, 'paused in the past');
  assert.equal((await use.server.snapshot()).clock.t_ms, 60000);
});

test('BreakIsMet_HouseStandsAndThePageSaysWhy', async () => {
  const v = await use.open();
  await v.button('add a break').click();
  await v.page.getByRole('combobox', { name: 'break on' }).selectOption('packet');
  await v.page.getByRole('textbox', { name: 'name' }).fill('get_group_membership');
  await v.button('add').click();
  await attribute(v.switch('break on packet get_group_membership'), 'aria-checked', 'true');
  await v.button('play').click();
  await v.slider('level of sofa').fill('10');
  await use.server.hand({ driver: 'worktop', online: true });
  await says(v.page.getByRole('alert'), 'Paused:');
  await statusIs(v, 'paused');
});

test('PageIsLoadedAgain_SameTruth', async () => {
  const v = await use.open('#driver?driver=sofa');
  await moveLevel(v, 'sofa', 12);
  await v.page.reload();
  await attribute(v.slider('level of sofa'), 'aria-valuetext', '12 %');
});

test('WhatWasMarkedBeforeTheFirstWindow_ShownOnce', async () => {
  await use.server.hand({ house: 'power', driver: 'sofa', on: false });
  const v = await use.open();
  await moveLevel(v, 'porch', 30);
  await attribute(v.slider('level of porch'), 'aria-valuetext', '30 %');
  assert.match(await v.page.getByRole('list', { name: 'marks of the day' }).innerText(), /\b1\s+fault\b/);
});

test('TwoWindows_Agree', async () => {
  const one = await use.open();
  const two = await use.open('#driver?driver=hall_keypad');
  await one.button('play').click();
  await statusIs(two, 'live');
  await says(one.page.getByRole('status'), '2 visitors');
  await one.button('Welcome', 'hall_keypad').hover();
  await one.page.mouse.down();
  await attribute(two.button('Welcome', 'hall_keypad'), 'aria-pressed', 'true');
  await one.page.mouse.up();
  await attribute(two.button('Welcome', 'hall_keypad'), 'aria-pressed', 'false');
  await attribute(two.button('Welcome', 'hall_keypad'), 'aria-pressed', 'false');
});

test('WindowIsClosedWhileItHoldsAButton_LetGo', async () => {
  const one = await use.open();
  const two = await use.open();
  await one.button('play').click();
  await one.button('Welcome', 'hall_keypad').hover();
  await one.page.mouse.down();
  await attribute(two.button('Welcome', 'hall_keypad'), 'aria-pressed', 'true');
  await one.page.close();
  await attribute(two.button('Welcome', 'hall_keypad'), 'aria-pressed', 'false');
});

test('ProgramStartsAnew_PageComesBackByItself', async () => {
  const v = await use.open('#driver?driver=sofa', { expected: LOST });
  const { port } = use.server;
  await use.server.close();
  await statusIs(v, 'no connection');
  use.server = await Program.start(OPTIONS, { port });
  await says(v.page.getByRole('status'), 'started anew at');
  await statusIs(v, 'paused');
  await v.main('sofa').waitFor();
});

test('InputThatIsRefused_SaidWithTheReason', async () => {
  const v = await use.open();
  await v.button('add a break').click();
  await v.page.getByRole('combobox', { name: 'break on' }).selectOption('event');
  await v.page.getByRole('textbox', { name: 'number' }).fill('-1');
  await v.button('add').click();
  await says(v.page.getByRole('alert'), 'Refused:');
  await says(v.page.getByRole('alert'), '"event":-1');
});

test('WatchingOnly_NothingCanBeUsed', async () => {
  const v = await use.open('?watch');
  await says(v.page.getByRole('status'), 'watching only');
  assert.equal(await v.button('play').isDisabled(), true);
  assert.equal(await v.button('Bright', 'kitchen_keypad').isDisabled(), true);
});

const PAGES = [['#house', 'house'], ['#driver?driver=dining_keypad', 'dining_keypad'], ['#driver?driver=worktop', 'worktop'], ['#driver?driver=living_wall', 'living_wall'],
  ['#driver?driver=hall_keypad', 'hall_keypad'], ['#driver?driver=fridge', 'fridge'], ['#energy', 'energy'], ['#tape', 'tape page'], ['#past', 'house in the past']];
// Colors differ in the dark, names and roles do not.
const IN_THE_DARK = ['house', 'dining_keypad', 'worktop', 'tape page'];
for (const colorScheme of ['light', 'dark']) {
  test(`EveryPageOfTheRealHouse_${colorScheme}_AccessibleToAll`, async () => {
    await use.server.hand({ house: 'step', ms: 8 * 3600000 });
    const v = await use.open('', { colorScheme });
    for (const [hash, main] of PAGES.filter(([, name]) => colorScheme === 'light' || IN_THE_DARK.includes(name))) {
      if (main === 'house in the past') await use.server.hand({ house: 'rewind', t_ms: 7 * 3600000 });
      await v.go(hash);
      await v.main(main).waitFor();
      assert.deepEqual(await v.violations(), [], hash);
    }
  });
}
