// What the page works out by itself: frames, times, power, differences and words.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { attention, differText, differences, dimmerRows, lightGroups, lightRows } from '../../lighting_host/web/page/src/compare.js';
import { ledText, watts } from '../../lighting_host/web/page/src/figures.js';
import { powerSeries } from '../../lighting_host/web/page/src/power.js';
import { changeDriver, driver, takeSnapshot } from '../../lighting_host/web/page/src/state.js';
import { addLine, chainOf, clearTape, cutTape, lastSeq, lineOf } from '../../lighting_host/web/page/src/tape.js';
import { DAY_MS, dayStart, midnights, setCalendar, spanText, timeMsText, whenText } from '../../lighting_host/web/page/src/time.js';
import { conditionText, kindOf, wordsOf } from '../../lighting_host/web/page/src/words.js';
import { decode, percentOfRaw, rawOfPercent, zclWords } from '../../lighting_host/web/page/src/zcl.js';
import { villa } from './villa.mjs';

const light = more => ({ type: 'zigbee_light', scene_map: [{ id: 5, level: 50, time_ms: 2000 }], holds: { groups: [5], scenes: [{ group: 5, number: 0, level: 127, time_ms: 2000 }] }, ...more });
const states = rows => rows.map(r => r.state);

test('AddSceneFrame_ReadOctetByOctet', () => {
  const { rows } = decode(5, '011c000500000300000600010008000100');
  assert.deepEqual(rows.map(r => r[0]), ['01', '1c', '00', '05 00', '00', '03 00', '00', '06 00 01 00', '08 00 01 00']);
  assert.equal(zclWords(5, '01190009000101000006000101080001fe'), 'stores scene 65545: 100 %, 1 s');
});

test('AnswersOfALight_InWords', () => {
  assert.equal(zclWords(4, '0912020c020100020000'.slice(0, 18)), 'is in 1, 2');
  assert.equal(zclWords(5, '091a0100090000010000060001010800' + '01fe'), 'scene 9 is 100 %, 1 s');
  assert.equal(zclWords(5, '09010089' + '050001'), 'scene 65541: no space');
});

test('FrameThatIsCutShort_GivesWhatCouldBeRead', () => {
  for (const hex of ['', '01', '011c', '011c00', '011c0005', '011c000500000300000600']) {
    assert.ok(decode(5, hex).rows.length <= 8, hex);
    assert.equal(typeof zclWords(5, hex), 'string');
  }
  assert.equal(zclWords(5, '01'), 'a frame that is cut short');
});

test('PercentAndRaw_AHalfGoesUp', () => {
  assert.deepEqual([0, 25, 50, 100].map(rawOfPercent), [0, 64, 127, 254]);
  assert.deepEqual([0, 64, 127, 254].map(percentOfRaw), [0, 25, 50, 100]);
});

test('LocalTime_FollowsTheClockThroughSummerTime', () => {
  setCalendar('2026-03-28T00:00:00', [[DAY_MS + 2 * 3600000, 60]]);
  assert.equal(timeMsText(DAY_MS + 2 * 3600000 - 1), '01:59:59.999');
  assert.equal(timeMsText(DAY_MS + 2 * 3600000), '03:00:00.000');
  assert.equal(dayStart(DAY_MS + 12 * 3600000), DAY_MS);
  assert.deepEqual(midnights(1, 3 * DAY_MS), [DAY_MS, 2 * DAY_MS - 3600000, 3 * DAY_MS - 3600000]);
});

test('TimesInWords', () => {
  setCalendar('2026-01-01T00:00:00', []);
  assert.equal(whenText(null, 0), 'never');
  assert.equal(whenText(3600000, DAY_MS), 'Thu');
  assert.equal(whenText(DAY_MS + 3600000, DAY_MS + 7200000), '01:00');
  assert.deepEqual([640, 45000, 1473400, 10920000].map(spanText), ['0.64 s', '45.0 s', '24 min 33.4 s', '3 h 02 min']);
});

test('ScenesOfALight_SameDiffersMissingExtraAndNotKnown', () => {
  assert.deepEqual(states(lightRows(light())), ['same']);
  assert.deepEqual(states(lightRows(light({ scene_map: [{ id: 5, level: 51, time_ms: 2000 }] }))), ['differs']);
  assert.deepEqual(states(lightRows(light({ scene_map: [{ id: 5, level: 50, time_ms: 2400 }] }))), ['same']);
  assert.deepEqual(states(lightRows(light({ scene_map: [{ id: 7, level: 1, time_ms: 0 }] }))), ['extra', 'missing']);
  assert.deepEqual(states(lightRows(light({ holds: undefined }))), ['not known']);
  const told = { groups: [5], scenes: [{ group: 5, number: 0, level: null, time_ms: null }], answered_ms: 7 };
  assert.deepEqual(states(lightRows(light({ holds: told }))), ['not known']);
  assert.deepEqual(lightGroups(light({ scene_map: [{ id: 65543, level: 1, time_ms: 0 }] })), { wants: [7], holds: [5], missing: [7], extra: [5], same: false });
});

test('ElementsOfADimmer_EachFieldIsCompared', () => {
  const e = { id: 2, delay_ms: 0, rate_ms: 4000, level: 40, flags: 8 };
  const rows = held => dimmerRows({ wants: { elements: [{ ...e, known: true }] }, holds: { elements: held } });
  assert.deepEqual(states(rows([e])), ['same']);
  for (const field of ['delay_ms', 'rate_ms', 'level', 'flags']) assert.deepEqual(states(rows([{ ...e, [field]: 1 }])), ['differs'], field);
  assert.deepEqual(states(rows([])), ['missing']);
  assert.equal(differText(rows([{ ...e, id: 0x1002 }])).text, '2 of 2 differ');
});

test('Attention_WorstFirst', () => {
  const d = light({ holds: { groups: [], scenes: [] }, faults: { power: false, deaf: true }, online: { on: false } });
  assert.deepEqual(attention(d).map(a => a.words), ['no power', 'deaf', 'offline', '1 scene missing']);
  assert.deepEqual(attention(light({ faults: { power: true } })), []);
});

test('DifferencesFromNow_InWords', () => {
  const then = { level: 47, watts: 28, buttons: [{ id: 3, name: 'Darker', pressed: false, led: '000010' }], faults: { deaf: false } };
  const rows = differences(then, { level: 41, buttons: [{ id: 3, name: 'Darker', pressed: true, led: 'ffd080' }], faults: { deaf: true } });
  assert.deepEqual(rows, [['level', '47 %', '41 %'], ['Darker', 'released', 'held'], ['deafness', 'off', 'on']]);
});

test('PowerOfSeveralLoads_SummedAtEachStep', () => {
  const house = villa();
  house.drivers = ['sofa', 'porch'].map(name => house.drivers.find(d => d.name === name));
  house.drivers[0].power = [[0, 10], [1000, 20]];
  house.drivers[1].power = [[500, 5]];
  takeSnapshot(house);
  assert.deepEqual(powerSeries([['sofa', 'porch'], ['porch']], 100, 2000), [[100, 500, 1000, 2000], [[10, 15, 25, 25], [0, 5, 5, 5]]]);
  changeDriver('porch', { watts: 9 }, 1500);
  assert.deepEqual(powerSeries([['porch']], 1400, 2000), [[1400, 1500, 2000], [[5, 9, 9]]]);
  assert.equal(driver('porch').value.watts, 9);
});

test('TapeLines_KeptOnceInOrderAndCutAtAMoment', () => {
  clearTape();
  for (const seq of [5, 6, 8, 7, 6, 4]) addLine({ seq, t_ms: seq, driver: 'a', event: seq, of: seq === 8 ? 7 : null });
  assert.deepEqual([4, 5, 6, 7, 8].map(s => lineOf(s)?.event), [4, 5, 6, 7, 8]);
  assert.deepEqual(chainOf(lineOf(7)).after.map(l => l.seq), [8]);
  cutTape(6);
  assert.equal(lastSeq(), 6);
  assert.equal(lineOf(7), null);
});

test('LinesInWords', () => {
  takeSnapshot(villa());
  assert.equal(wordsOf({ driver: 'dining_keypad', call: 'ReportButtonEvent', args: [3, 1] }), 'Darker pressed');
  assert.equal(wordsOf({ driver: 'fridge', variable: 10003, value: '85', op: 'set' }), 'CURRENT_POWER is 85 W');
  assert.equal(wordsOf({ mib: 'nx.dmx.led', type: 4, params: ['00', '05', 'ffffff'] }), 'LED 0: channel 5 is ffffff');
  assert.equal(wordsOf({ cause: 'timer', timer: 9, t_ms: 5000, started_ms: 0 }), 'timer 9 of 5.0 s runs out');
  assert.equal(wordsOf({ cause: 'device', line: { bus_frame: { opcode: 0x9030, payload: '0203' } } }), 'button 2 is still held');
  assert.equal(kindOf({ log: 'x', level: 'WARN' }), 'warning');
  assert.equal(conditionText({ variable: 'CURRENT_POWER', above: 2000, driver: 'kettle' }), 'CURRENT_POWER of kettle above 2000');
});

test('FiguresInWords', () => {
  assert.deepEqual(watts(1499.6), ['1.50', ' kW']);
  assert.deepEqual(watts(null), ['–', ' W']);
  assert.equal(ledText({ led: '000010', blink_ms: 500 }), 'LED off, colour 000010');
});
