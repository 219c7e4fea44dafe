// The snapshot of a villa for the page's tests: the drivers, scenes and groups of the example house,
// on the evening of its second day. Figures are made up.
import { readFileSync } from 'node:fs';
import { fileURLToPath } from 'node:url';

const FILE = fileURLToPath(new URL('../../examples/house/house.xml', import.meta.url));
export const DAY_MS = 86400000;
export const NOW_MS = DAY_MS + 75600640;

const attributes = text => Object.fromEntries([...text.matchAll(/([\w_]+)="([^"]*)"/g)].map(m => [m[1], m[2]]));
const elements = (xml, name) => [...xml.matchAll(new RegExp(`<${name}\\b([^>]*?)(?:/>|>([\\s\\S]*?)</${name}>)`, 'g'))].map(m => ({ ...attributes(m[1]), inside: m[2] || '' }));
const child = (xml, name) => xml.match(new RegExp(`<${name}>([^<]*)</${name}>`))?.[1];

const TYPE_WORDS = { puck: 'puck module', gen3_keypad: 'keypad on the bus', zigbee_light: 'ZigBee light', wired_dimmer: 'wired dimmer', energy_switch: 'metering plug' };
const LEVELS = { hall_ceiling: 80, coat_rack: 100, porch: 90, kitchen_ceiling: 30, worktop: 40, dining_ceiling: 41, dining_wall: 29, table_lamp: 70,
  living_ceiling: 20, living_wall: 40, sofa: 50, reading_lamp: 100, stairs_light: 70, landing: 70, cleo_ceiling: 25 };
const PLUGS = { fridge: 85, tv: 110, aquarium: 12, washer: 1 };

function keypadButtons(inside) {
  return elements(inside, 'KEYPAD_BUTTON_INFO').map(b => ({
    id: Number(child(b.inside, 'BUTTON_ID')), name: child(b.inside, 'NAME'), pressed: false, led: child(b.inside, 'OFF_COLOR'), blink_ms: 0,
    on_color: child(b.inside, 'ON_COLOR'), off_color: child(b.inside, 'OFF_COLOR'), led_is_on: 'while pressed', slots: 1, uses: 0 }));
}

function puckButtons(inside) {
  return elements(inside, 'BUTTON_STATUS').map((b, i) => ({
    id: i, name: child(b.inside, 'NAME'), pressed: false, led: child(b.inside, 'LED_OFF_COLOR'), blink_ms: 0,
    on_color: child(b.inside, 'LED_ON_COLOR'), off_color: child(b.inside, 'LED_OFF_COLOR'), led_is_on: 'while pressed', slots: 1, uses: 0 }));
}

const faults = more => ({ power: true, deaf: false, ...more, loss_percent: 0, delay_ms: 0, power_ms: null, deaf_ms: null });

// Steps of power over two days: on in the evening, off at night.
function powerSteps(full, seed) {
  const steps = [[0, 0]];
  for (let day = 0; day < 2; day += 1) {
    const at = h => Math.round(day * DAY_MS + h * 3600000 + seed * 97000);
    steps.push([at(6.6), full * 0.5], [at(8), 0], [at(17.5), full * 0.6], [at(19.5), full]);
    if (day === 0) steps.push([at(22), 0]);
  }
  return steps.filter(([t]) => t < NOW_MS);
}

function withEnergy(d, watts, full, seed) {
  const power = [...powerSteps(full, seed), [NOW_MS - 60000 - seed, watts]];
  return { ...d, watts, energy: { used_wh: full * 9, today_wh: full * 4, minutes_on: 300 + seed }, power };
}

const queue = () => ({ gateway_online: true, device_online: true, retry_ms: [20000, 40000], attempts: 3, messages: [], totals: { queued: 4, answered: 4, superseded: 0, given_up: 0, retries: 0 } });

function mapOf(name, scenes) {
  return scenes.flatMap(s => elements(s.inside, 'load').filter(l => l.driver === name).slice(0, 1)
    .map(l => ({ id: Number(s.id), level: Number(l.level), time_ms: parseInt(l.time || '0', 10) * 1000 })));
}

function driverOf(e, i, scenes, groups) {
  const d = { name: e.name, type: e.type, type_words: TYPE_WORDS[e.type], id: Number(e.id), room: e.room || null, simulated: true, facts: [], online: { on: true, since_ms: 0 }, variables: [], warnings: 0 };
  const watts = Number(attributes(e.inside.match(/<device([^>]*)>/)?.[1] || '').watts || 0);
  const level = LEVELS[e.name] || 0;
  const map = mapOf(e.name, scenes);
  switch (e.type) {
    case 'gen3_keypad': return { ...d, facts: [['firmware', '3.258.16.release']], buttons: keypadButtons(e.inside), hold: null, queue: queue(), faults: faults({}) };
    case 'puck': return { ...d, contacts: [{ pressed: false }, { pressed: false }], buttons: puckButtons(e.inside), hold: null, faults: faults({ forgets: false, repeats: false }) };
    case 'energy_switch': return withEnergy({ ...d, load: attributes(e.inside.match(/<device([^>]*)>/)?.[1] || '').load?.replace('_', ' ') || 'steps of the house file', variables: [{ id: 10003, name: 'CURRENT_POWER', value: String(PLUGS[e.name] || 0) }], faults: faults({ repeats: false }) }, PLUGS[e.name] || 0, 60, i);
    case 'zigbee_light': return withEnergy({ ...d, facts: [['endpoint', '1']], lamp_watts: watts, level, ramp: null, scene_map: map, sync: null,
      holds: { groups: map.map(s => s.id), scenes: map.map(s => ({ group: s.id, number: 0, level: Math.floor((s.level * 254 + 50) / 100), time_ms: s.time_ms })), group_capacity: 16, scene_capacity: 32 },
      faults: faults({ forgets: true, repeats: false }) }, Math.round((watts * level) / 100), watts, i);
    default: {
      const elements_ = map.map(s => ({ id: s.id, delay_ms: 0, rate_ms: s.time_ms, level: s.level, flags: 8 }));
      const mine = groups.filter(g => g.members.includes(e.name)).map(g => g.id);
      return withEnergy({ ...d, lamp_watts: watts, level, ramp: null, scene_map: [], sync: null,
        wants: { groups: mine.map(id => ({ id, sync: false })), elements: elements_.map(x => ({ ...x, known: true })), group_crc: 0xcd77bb90, scene_crc: 0x9c6daa07 },
        holds: { groups: mine, elements: elements_, group_crc: 0xcd77bb90, scene_crc: 0x9c6daa07 }, faults: faults({}) }, Math.round((watts * level) / 100), watts, i);
    }
  }
}

const LAST = [9, 19.33, -9, -1, 8, 17.75, 20.5, 20.93, 18.16, 18];

export function villa() {
  const xml = readFileSync(FILE, 'utf8').replace(/<!--[\s\S]*?-->/g, '');
  const scenes = elements(xml, 'scene');
  const groups = elements(xml, 'load_group').map((g, i) => ({ id: Number(g.id), name: g.name, members: [...g.inside.matchAll(/<member>([^<]*)/g)].map(m => m[1]), times: 1, last_ms: i === 7 ? null : NOW_MS - i * 3700000 }));
  const counts = Array.from({ length: 270 }, (_, i) => (i % 144 > 36 && i % 144 < 132 ? (i * 37) % 90 : i % 9 === 0 ? 4 : 0));
  return {
    program: '1.0.0', run: 'a1', branch: 0, seq: 0, first_seq: 1, rev: 0, name: 'villa', seed: 16, fault_level: 'light', start: '2026-01-01T00:00:00', shifts: [],
    clock: { t_ms: NOW_MS, paused: true, speed: 1, lag_ms: 2, seq: 0, next_ms: NOW_MS + 360 }, visitors: 0, past: null,
    drivers: elements(xml, 'driver').map((e, i) => driverOf(e, i, scenes, groups)),
    scenes: scenes.map((s, i) => ({ id: Number(s.id), name: s.name, loads: elements(s.inside, 'load').length, times: 2, last_ms: LAST[i] < 0 ? null : DAY_MS + LAST[i] * 3600000 })),
    groups,
    people: [{ t_ms: NOW_MS - 640, driver: 'dining_keypad', words: 'a guest plays with the lights' }, { t_ms: NOW_MS - 240640, driver: 'garden_door', words: 'Ada puts the garden off' }, { t_ms: NOW_MS - 300640, driver: 'garden_door', words: 'everybody comes back in' }],
    faults: { power: true, deaf: false, forgets: false, repeats: false, loss_percent: 0, delay_ms: 0, power_ms: null, deaf_ms: null },
    marks: [{ t_ms: DAY_MS + 2 * 3600000, kind: 'warning', driver: 'sofa', words: 'warns' }, { t_ms: DAY_MS + 5 * 3600000, kind: 'fault', driver: 'oak', words: 'lost its power' }, { t_ms: DAY_MS + 74127268, kind: 'warning', driver: 'living_wall', words: 'missed trap 1' }, { t_ms: DAY_MS + 74127268, kind: 'break', driver: 'living_wall', words: 'any warning' }, { t_ms: DAY_MS + 14 * 3600000, kind: 'fault', driver: 'worktop', words: 'lost its power' }],
    activity: { bucket_ms: 600000, counts }, breaks: [],
  };
}

// A house of many drivers in few rooms.
export function large(count, rooms) {
  const house = villa();
  const sample = house.drivers.find(d => d.name === 'worktop');
  house.drivers = Array.from({ length: count }, (_, i) => ({ ...structuredClone(sample), name: `light_${i}`, id: 1000 + i, room: `room_${i % rooms}` }));
  house.groups = [];
  return house;
}

export function empty() {
  return { ...villa(), drivers: [], scenes: [], groups: [], people: [], marks: [], breaks: [] };
}

// The same house when next to nothing is known of its drivers.
export function sparse() {
  const house = villa();
  const names = ['name', 'type', 'id', 'room'];
  house.drivers = house.drivers.map(d => ({ ...Object.fromEntries(names.map(n => [n, d[n]])), ...(d.queue ? { queue: { queued: 2 } } : {}), ...(d.wants ? { wants: {}, level: null, watts: 0 } : {}), ...(d.holds ? { scene_map: null, sync: {} } : {}), ...(d.buttons ? { buttons: [{ id: 1 }] } : {}) }));
  for (const key of ['scenes', 'groups', 'people', 'faults', 'marks', 'breaks', 'activity']) delete house[key];
  return house;
}
