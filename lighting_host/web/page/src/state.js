// What the page knows of the house: the snapshot, and what page lines have changed since.
import { batch, signal } from '@preact/signals';

import { clock, setCalendar, setClock } from './time.js';

// What never changes while the program runs; null before the first snapshot.
export const house = signal(null);
// The members of the snapshot that page lines replace.
export const parts = {
  scenes: signal([]),
  groups: signal([]),
  people: signal([]),
  breaks: signal([]),
  faults: signal({}),
  visitors: signal(0),
};
export const marks = signal([]);
export const activity = signal({ bucket_ms: 600000, counts: [] });
export const past = signal(null);
// How far a rewind has come: null, or { to_ms, at_ms }.
export const rewinding = signal(null);
// Names of all drivers, in order; rooms with theirs.
export const driverNames = signal([]);
export const rooms = signal([]);
// Counts up when a power history gets longer.
export const powerVersion = signal(0);

const drivers = new Map();
const powers = new Map();
const NO_DRIVER = signal(null);
const POWER_STEPS = 4000;

// The signal of a driver, of null for a name that nobody has.
export const driver = name => drivers.get(name) || NO_DRIVER;
export const powerOf = name => powers.get(name) || [];

const list = v => (Array.isArray(v) ? v : []);

// A program need not know everything of a driver: what the page counts on is there.
function complete(d) {
  const full = { ...d, facts: list(d.facts), variables: list(d.variables) };
  if (d.queue) full.queue = { retry_ms: [20000, 40000], attempts: 3, totals: null, ...d.queue, messages: list(d.queue.messages).map(m => ({ ...m, sent_ms: list(m.sent_ms) })) };
  if (d.sync) full.sync = { ended_ms: null, next_ms: null, ...d.sync, frames: list(d.sync.frames) };
  if (d.wants) full.wants = { ...d.wants, groups: list(d.wants.groups), elements: list(d.wants.elements) };
  // What is not known of a device's tables stays so: that is not an empty table.
  if (d.holds) for (const key of ['groups', 'scenes', 'elements']) if (!Array.isArray(d.holds[key])) full.holds = { ...full.holds, [key]: null };
  for (const key of ['buttons', 'contacts', 'scene_map']) if (key in d) full[key] = list(d[key]);
  return full;
}

function roomsOf(all) {
  const byName = new Map();
  for (const d of all) {
    const room = d.room || '';
    if (!byName.has(room)) byName.set(room, []);
    byName.get(room).push(d.name);
  }
  return [...byName].map(([name, names]) => ({ name, names }));
}

function same(a, b) {
  return a.length === b.length && a.every((x, i) => x === b[i]);
}

export function takeSnapshot(s) {
  batch(() => {
    setCalendar(s.start, s.shifts);
    house.value = {
      name: s.name, program: s.program, run: s.run, branch: s.branch, seed: s.seed,
      fault_level: s.fault_level, start: s.start, first_seq: s.first_seq, real_time: s.real_time,
    };
    const names = list(s.drivers).map(d => d.name);
    for (const name of [...drivers.keys()]) if (!names.includes(name)) drivers.delete(name);
    for (const { power, ...known } of list(s.drivers)) {
      const d = complete(known);
      powers.set(d.name, list(power));
      if (drivers.has(d.name)) drivers.get(d.name).value = d;
      else drivers.set(d.name, signal(d));
    }
    if (!same(names, driverNames.value)) driverNames.value = names;
    rooms.value = roomsOf(list(s.drivers));
    for (const key of Object.keys(parts)) if (s[key] !== undefined && s[key] !== null) parts[key].value = s[key];
    marks.value = s.marks || [];
    activity.value = s.activity || activity.value;
    past.value = s.past || null;
    rewinding.value = null;
    powerVersion.value += 1;
    setClock({ ...clock.value, ...s.clock });
  });
}

export function changeDriver(name, value, t) {
  const known = drivers.get(name);
  if (!known) return;
  if ('watts' in value && value.watts !== known.value.watts) {
    const steps = powers.get(name);
    steps.push([t, value.watts]);
    if (steps.length > POWER_STEPS) steps.splice(0, steps.length - POWER_STEPS / 2);
    powerVersion.value += 1;
  }
  known.value = complete({ ...known.value, ...value });
}

export function changeHouse(value) {
  for (const key of Object.keys(value)) if (key in parts) parts[key].value = value[key];
}

// What the numbers given since the last clock add to the activity.
export function changeClock(value) {
  const more = value.seq - clock.value.seq;
  if (more > 0) {
    const { bucket_ms, counts } = activity.value;
    const at = Math.floor(value.t_ms / bucket_ms);
    const next = counts.slice();
    while (next.length <= at) next.push(0);
    next[at] += more;
    activity.value = { bucket_ms, counts: next };
  }
  setClock({ ...clock.value, ...value });
}

export const addMark = mark => { marks.value = [...marks.value.slice(-999), mark]; };
