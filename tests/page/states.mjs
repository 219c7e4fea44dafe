// States of single drivers that the page has to show: a keypad that hears nothing, a light that is
// being repaired, a dimmer whose report was lost in part.
import { DAY_MS, NOW_MS } from './villa.mjs';

const at = time => {
  const [h, m, s] = time.split(':').map(Number);
  return DAY_MS + Math.round(((h * 60 + m) * 60 + s) * 1000);
};
const find = (house, name) => house.drivers.find(d => d.name === name);

export function deafKeypad(house) {
  const d = find(house, 'dining_keypad');
  const waits = (number, opcode, queued) => ({ number, opcode, state: 'waits', queued_ms: NOW_MS - queued, sent_ms: [], due_ms: null, done_ms: null, replaced_by: null });
  const old = (number, opcode) => ({ ...waits(number, opcode, 0), state: 'answered', queued_ms: 100, sent_ms: [120], done_ms: 152 });
  d.faults = { ...d.faults, deaf: true, deaf_ms: at('20:59:05') };
  d.queue.messages = [
    { ...waits(5, 0x12c0, 0), state: 'transit', queued_ms: at('20:59:08.1'), sent_ms: [at('20:59:08.114'), at('20:59:36.902')], due_ms: NOW_MS + 11800 },
    { ...waits(6, 0x1280, 0), state: 'superseded', replaced_by: 7 }, waits(7, 0x1280, 29300), waits(8, 0x12c0, 24100),
    { ...waits(9, 0x13c0, 0), state: 'superseded', replaced_by: 10 }, waits(10, 0x13c0, 11700),
    { ...waits(null, 0x1110, 0), queued_ms: null },
    old(4, 0x1110), old(3, 0x1280), old(2, 0x12c0), old(1, 0x13c0)];
  d.queue.totals = { queued: 10, answered: 4, superseded: 2, given_up: 0, retries: 1 };
  const darker = d.buttons[2];
  Object.assign(darker, { pressed: true, led: darker.on_color, uses: 2 });
  d.hold = { button: 3, since_ms: NOW_MS - 640, ends_ms: NOW_MS + 360, timer: 107 };
  for (const name of ['dining_ceiling', 'dining_wall']) find(house, name).ramp = { to: 0, ends_ms: NOW_MS + 2000 };
  return house;
}

const scene = s => ({ group: s.id, number: 0, level: Math.floor((s.level * 254 + 50) / 100), time_ms: s.time_ms });

export function lightRepair(house) {
  const d = find(house, 'worktop');
  const frame = (time, way, cluster, hex) => ({ t_ms: at(time), way, cluster, hex });
  const join = (n, id) => frame('20:59:37.455', 'out', 4, `01${n}000${id}0000`);
  d.faults.power_ms = at('20:59:37.44');
  d.online = { on: true, since_ms: at('20:59:37.44') };
  d.holds = { ...d.holds, scenes: d.scene_map.filter(s => s.id > 4).map(scene) };
  d.sync = { since_ms: at('20:59:37.44'), ended_ms: null, how: null, next_ms: at('21:00:02.515'), pause_ms: 5000, watchdog_ms: at('21:00:57.44'), timer: 1190,
    frames: [frame('20:59:37.44', 'out', 4, '01120200'), frame('20:59:37.455', 'in', 4, '0912021000'), join('13', 2), join('14', 4), join('15', 5), join('16', 9),
      frame('20:59:42.455', 'out', 5, '0017000000'), frame('20:59:42.47', 'in', 5, '18170100000020' + '00'), frame('20:59:47.47', 'out', 5, '0118060900'),
      frame('20:59:47.48', 'in', 5, '0918060020090000'), frame('20:59:47.485', 'out', 5, '01190009000001000006000101080001fe'),
      frame('20:59:52.485', 'out', 5, '011a01090000'), frame('20:59:52.5', 'in', 5, '091a0100090000010000060001010800' + '01fe'),
      frame('20:59:57.5', 'out', 5, '011b060500'), frame('20:59:57.51', 'in', 5, '091b060020050000'), frame('20:59:57.515', 'out', 5, '011c000500000300000600010008000100')] };
  return house;
}

export function dimmerSync(house) {
  const d = find(house, 'living_wall');
  const mib = (time, way, name, ...params) => ({ t_ms: at(time), way, mib: name, params, type: way === 'out' ? 4 : 1 });
  const wants = d.wants.elements;
  wants.find(e => e.id === 3).known = false;
  d.holds.elements = d.holds.elements.map(e => (e.id === 6 ? { ...e, level: 60 } : e));
  wants.find(e => e.id === 6).known = false;
  d.holds.scene_crc = 0x57f6ff87;
  d.sync = { since_ms: at('20:59:54.181'), ended_ms: null, how: null, next_ms: NOW_MS + 2800, pause_ms: 5000, watchdog_ms: null, timer: 153,
    frames: [mib('20:59:54.181', 'out', 'nx.als.gra'), mib('20:59:54.181', 'out', 'nx.als.gad', '0002', '00'), mib('20:59:54.181', 'out', 'nx.als.sga', '00fa'),
      mib('20:59:54.226', 'in', 'nx.als.sga', '0000', '0002'), mib('20:59:54.226', 'out', 'nx.als.sgt', '0002'), mib('20:59:54.246', 'in', 'nx.als.sgt', '0002', '28'),
      { t_ms: at('20:59:54.268'), way: 'note', words: 'missed trap 1' }, mib('20:59:54.268', 'in', 'nx.als.sga', '0002', '0004'), mib('20:59:54.268', 'out', 'nx.als.sgt', '0004'),
      mib('20:59:54.303', 'in', 'nx.als.sga', '0003', '0005'), mib('20:59:54.365', 'in', 'nx.als.sga', '0004', '0006'), mib('20:59:54.365', 'out', 'nx.als.sad', '0006', '32'), mib('20:59:54.412', 'in', 'nx.als.sga', '0005', '000a')] };
  return house;
}

// Puts a chain on the tape that begins with a visitor: power cut, then the light asks and is mended.
export function tapeChain(server) {
  const one = (time, line) => {
    const now = server.house.clock.t_ms;
    server.house.clock.t_ms = at(time);
    const seq = server.line(line);
    server.house.clock.t_ms = now;
    return seq;
  };
  const on = one('20:59:37.44', { cause: 'visitor', visitor: 'desk', driver: 'worktop', of: null, line: { house: 'power', on: true } });
  const asked = one('20:59:37.44', { driver: 'worktop', zcl: 'get_group_membership', cluster: 4, endpoint: 1, hex: '01120200', of: on });
  const heard = one('20:59:37.455', { driver: 'worktop', cause: 'device', of: asked, line: { zcl_frame: { cluster: 4, hex: '0912021000' } } });
  for (const [n, id] of [['13', 2], ['14', 4], ['15', 5], ['16', 9]]) one('20:59:37.455', { driver: 'worktop', zcl: 'add_group', cluster: 4, endpoint: 1, group: id, hex: `01${n}000${id}0000`, of: heard });
  const timer = one('20:59:57.5', { driver: 'worktop', cause: 'timer', timer: 1187, started_ms: at('20:59:52.5'), of: heard });
  const which = one('20:59:57.5', { driver: 'worktop', zcl: 'get_scene_membership', cluster: 5, endpoint: 1, group: 5, hex: '011b060500', of: timer });
  const none = one('20:59:57.515', { driver: 'worktop', cause: 'device', of: which, line: { zcl_frame: { cluster: 5, hex: '091b060020050000' } } });
  const stored = one('20:59:57.515', { driver: 'worktop', zcl: 'add_scene', cluster: 5, endpoint: 1, scene: 5, level: 0, time_ms: 3000, hex: '011c000500000300000600010008000100', of: none });
  const guest = one('21:00:00', { cause: 'people', driver: 'dining_keypad', words: 'a guest plays with the lights', of: null });
  one('21:00:00.004', { driver: 'dining_keypad', call: 'ReportButtonEvent', args: [3, 1], of: guest });
  one('21:00:00.004', { driver: 'dining_ceiling', call: 'GroupStartRamp', args: [1, 0, false], of: guest });
  one('21:00:00.304', { driver: 'fridge', variable: 10003, value: '85', op: 'set', of: null });
  one('21:00:00.404', { driver: 'dining_keypad', gateway: '485_BUS_MESSAGE', params: [{ name: 'DEVICE_ID', type: 'INT', value: '113' }, { name: 'OPCODE', type: 'INT', value: '4800' }], of: null });
  one('21:00:00.504', { driver: 'living_wall', log: 'missed trap 1', level: 'WARN', file: 'lighting_common/AdvSceneManager', line: 260, function: 'f', of: null });
  return stored;
}

// The worktop's lamp is one in a real house, which has told all but what its first scene holds.
export function realLamp(house) {
  const { faults, ...d } = find(house, 'worktop');
  const [first, ...others] = d.scene_map.map(scene);
  const holds = { groups: d.holds.groups, scenes: [{ ...first, level: null, time_ms: null }, ...others], answered_ms: at('20:59:37') };
  const clock = { ...house.clock, paused: false };
  return { ...house, real_time: true, clock, drivers: house.drivers.map(x => (x.name === 'worktop' ? { ...d, simulated: false, holds } : x)) };
}
