// Both sides of a link beside each other: what a driver wants and what its device holds.
import { plural, wattsText } from './figures.js';
import { rawOfPercent } from './zcl.js';

const seconds = ms => Math.floor((ms + 500) / 1000);

function lightRow(wanted, held, id) {
  const row = { id, group: id & 0xffff, wanted, held, cells: {} };
  if (!wanted) return { ...row, state: 'extra' };
  if (held === undefined) return { ...row, state: 'not known' };
  if (held === null) return { ...row, state: 'missing' };
  // A real lamp has said that there is one, and not yet what it holds.
  if (held.time_ms === null) return { ...row, held: undefined, state: 'not known' };
  row.cells.level = rawOfPercent(wanted.level) !== held.level;
  row.cells.time = seconds(wanted.time_ms) !== seconds(held.time_ms);
  return { ...row, state: row.cells.level || row.cells.time ? 'differs' : 'same' };
}

// Which scenes a repair under way has stored and not yet looked at.
function storedNow(d) {
  const stored = new Map();
  if (!d.sync || d.sync.ended_ms !== null) return stored;
  for (const f of d.sync.frames) {
    if (f.way !== 'out' || f.cluster !== 5 || !f.hex) continue;
    const o = f.hex.match(/../g).map(x => parseInt(x, 16));
    const id = o[5] * 65536 + o[3] + 256 * o[4];
    if (o[2] === 0) stored.set(id, f.t_ms);
    else if (o[2] === 1) stored.delete(id);
  }
  return stored;
}

// The rows of a light's scene map, in order of the ids.
export function lightRows(d) {
  const scenes = d.holds?.scenes || null;
  const keys = new Set((d.scene_map || []).map(s => s.id));
  for (const s of scenes || []) keys.add(s.number * 65536 + s.group);
  const stored = storedNow(d);
  return [...keys].sort((a, b) => a - b).map(id => {
    const wanted = (d.scene_map || []).find(s => s.id === id);
    const held = scenes ? scenes.find(s => s.number * 65536 + s.group === id) || null : undefined;
    const row = lightRow(wanted, held, id);
    return row.state === 'same' && stored.has(id) ? { ...row, state: 'stored', at: stored.get(id) } : row;
  });
}

// The groups that a light should be in and those that it is in.
export function lightGroups(d) {
  const wants = [...new Set((d.scene_map || []).map(s => s.id & 0xffff))].sort((a, b) => a - b);
  const holds = d.holds?.groups ? [...d.holds.groups].sort((a, b) => a - b) : null;
  const missing = holds ? wants.filter(g => !holds.includes(g)) : [];
  const extra = holds ? holds.filter(g => !wants.includes(g)) : [];
  return { wants, holds, missing, extra, same: holds !== null && !missing.length && !extra.length };
}

const FIELDS = ['delay_ms', 'rate_ms', 'level', 'flags'];

function elementRow(wanted, held, id) {
  const row = { id, scene: id & 0xfff, step: id >> 12, wanted, held, cells: {} };
  if (!wanted) return { ...row, state: 'extra' };
  if (held === undefined) return { ...row, state: 'not known' };
  if (held === null) return { ...row, state: 'missing' };
  for (const field of FIELDS) row.cells[field] = wanted[field] !== held[field];
  if (FIELDS.some(f => row.cells[f])) return { ...row, state: 'differs' };
  return { ...row, state: wanted.known === false ? 'not known' : 'same' };
}

export function dimmerRows(d) {
  const wants = d.wants ? d.wants.elements : [];
  const holds = d.holds?.elements || null;
  const keys = new Set([...wants, ...(holds || [])].map(e => e.id));
  return [...keys].sort((a, b) => (a & 0xfff) - (b & 0xfff) || a - b).map(id => elementRow(
    wants.find(e => e.id === id), holds ? holds.find(e => e.id === id) || null : undefined, id));
}

// What a driver has says what it is: `wants` are the elements of a synchronisation, a scene map alone
// is kept by repairs.
export const isSynchronised = d => Boolean(d.wants);
export const isRepaired = d => !d.wants && Boolean(d.scene_map);

export const rowsOf = d => (isSynchronised(d) ? dimmerRows(d) : isRepaired(d) ? lightRows(d) : []);
// What brings the device's side to the driver's.
export const syncName = d => (isSynchronised(d) ? 'synchronisation' : 'repair');

// "2 of 4 differ", "all 4 same".
export function differText(rows) {
  const count = state => rows.filter(r => r.state === state).length;
  const wrong = count('differs') + count('missing') + count('extra');
  const unknown = count('not known');
  const parts = [];
  if (wrong) parts.push(`${wrong} of ${rows.length} ${wrong === 1 ? 'differs' : 'differ'}`);
  if (unknown) parts.push(`${unknown} not known`);
  if (!parts.length) return { wrong: false, text: rows.length ? `all ${rows.length} same` : 'none' };
  return { wrong: wrong > 0, text: parts.join(', ') };
}

const missingText = rows => ['missing', 'differs', 'extra']
  .map(state => [rows.filter(r => r.state === state).length, state])
  .filter(([n]) => n)
  .map(([n, state]) => `${plural(n, 'scene')} ${state === 'differs' && n > 1 ? 'differ' : state}`);

// What the repairs of a light's walk under way have sent, and how many are still to come.
export function repairCounts(d) {
  const sync = d.sync;
  const out = sync.frames.filter(f => f.way === 'out' && f.hex);
  const command = f => parseInt(f.hex.slice(4, 6), 16);
  const general = f => (parseInt(f.hex.slice(0, 2), 16) & 3) === 0;
  const changes = f => !general(f) && (f.cluster === 4 ? [0, 3, 4].includes(command(f)) : [0, 2, 3, 0x40].includes(command(f)));
  const sent = out.filter(changes).length;
  const groups = lightGroups(d);
  const scenes = lightRows(d).filter(r => ['missing', 'differs', 'extra'].includes(r.state)).length;
  const toCome = sync.ended_ms === null ? groups.missing.length + scenes : 0;
  return { sent, toCome, questions: out.length - sent };
}

// Of a queue whose messages are not known only their number may be.
export const waitingCount = queue => (queue.messages.length ? queue.messages.filter(m => m.state === 'transit' || m.state === 'waits').length : queue.queued || 0);
const syncRuns = d => d.sync && d.sync.ended_ms === null;

// What needs a look at a driver, worst first: { kind, words }, of the kinds bad, warn and now.
export function attention(d) {
  const found = [];
  const faults = d.faults || {};
  if (faults.power === false) found.push({ kind: 'bad', words: 'no power' });
  if (faults.deaf) found.push({ kind: 'bad', words: 'deaf' });
  if (d.queue && d.queue.gateway_online === false) found.push({ kind: 'bad', words: 'gateway offline' });
  if (d.online && d.online.on === false) found.push({ kind: 'bad', words: 'offline' });
  const waits = d.queue ? waitingCount(d.queue) : 0;
  if (waits > 1 || d.queue?.messages.some(m => m.state === 'transit' && m.sent_ms.length > 1)) {
    found.push({ kind: 'warn', words: `${plural(waits, 'message')} ${waits === 1 ? 'waits' : 'wait'}`, short: `${waits} ${waits === 1 ? 'waits' : 'wait'}` });
  }
  const wrong = missingText(rowsOf(d));
  if (syncRuns(d)) {
    const name = syncName(d);
    found.push({ kind: 'now', words: [name, ...wrong].join('; '), short: name === 'repair' ? repairShort(d) : 'sync', name });
  } else if (wrong.length) found.push({ kind: 'bad', words: wrong.join(', '), short: 'differs' });
  return found;
}

function repairShort(d) {
  const { sent, toCome } = repairCounts(d);
  return sent + toCome ? `${sent} of ${sent + toCome}` : 'repair';
}

const onOff = v => (v ? 'on' : 'off');
const list = v => (v || []);

function buttonDifferences(then, now) {
  const rows = [];
  list(now.buttons).forEach((b, i) => {
    const before = list(then.buttons)[i];
    if (before && before.pressed !== b.pressed) rows.push([b.name || `button ${b.id}`, before.pressed ? 'held' : 'released', b.pressed ? 'held' : 'released']);
    else if (before && before.led !== b.led) rows.push([`LED of ${b.name || b.id}`, before.led, b.led]);
  });
  list(now.contacts).forEach((c, i) => {
    const before = list(then.contacts)[i];
    if (before && before.pressed !== c.pressed) rows.push([`contact ${i}`, before.pressed ? 'pressed' : 'released', c.pressed ? 'pressed' : 'released']);
  });
  return rows;
}

function faultDifferences(then, now) {
  const names = { power: 'power', deaf: 'deafness', forgets: 'forgetting', repeats: 'repeats', loss_percent: 'loss', delay_ms: 'delay' };
  return Object.keys(names)
    .filter(k => now.faults && then.faults && now.faults[k] !== then.faults[k])
    .map(k => [names[k], ...[then, now].map(d => (typeof d.faults[k] === 'boolean' ? onOff(d.faults[k]) : d.faults[k]))]);
}

const queueText = queue => (queue && waitingCount(queue) ? `${waitingCount(queue)} wait` : 'empty');

function tableDifferences(then, now) {
  const before = rowsOf(then);
  const rows = [];
  for (const row of rowsOf(now)) {
    const old = before.find(r => r.id === row.id);
    if (old && old.state !== row.state) rows.push([`scene ${row.scene ?? row.group}${row.step ? `, step ${row.step + 1}` : ''}`, old.state, row.state]);
  }
  return rows.length > 3 ? [['scenes that differ', before.filter(r => r.state !== 'same').length, rowsOf(now).filter(r => r.state !== 'same').length]] : rows;
}

// What differs at a driver between two moments, as rows of [what, then, now].
export function differences(then, changed) {
  const now = { ...then, ...changed };
  const rows = [];
  if (then.level !== now.level) rows.push(['level', `${then.level} %`, `${now.level} %`]);
  else if (then.watts !== now.watts) rows.push(['power', wattsText(then.watts), wattsText(now.watts)]);
  rows.push(...buttonDifferences(then, now), ...faultDifferences(then, now));
  if (queueText(then.queue) !== queueText(now.queue)) rows.push(['bus queue', queueText(then.queue), queueText(now.queue)]);
  if ('online' in changed && then.online?.on !== now.online?.on) rows.push(['online', onOff(then.online?.on), onOff(now.online?.on)]);
  rows.push(...tableDifferences(then, now));
  return rows;
}
