// The tape: the last outputs and what caused them, by number, and which of them are shown.
import { signal } from '@preact/signals';

import { clock } from './time.js';
import { kindOf, rawOf, wordsOf } from './words.js';

const MOST = 20000;
const UPDATE_MS = 100;
const FAST_UPDATE_MS = 250;
const FAST_SPEED = 60;

export const KINDS = ['people', 'visitor', 'house', 'timer', 'event', 'call', 'variable', 'trap', 'mib',
  'zcl', 'gateway', 'log', 'warning', 'other'];
const HIDDEN_AT_FIRST = ['timer', 'mib'];

// Counts up when lines came, a few times a second.
export const version = signal(0);
export const filter = signal({ text: '', driver: '', kinds: new Set(KINDS.filter(k => !HIDDEN_AT_FIRST.includes(k))) });

// In order of their numbers.
let lines = [];
// Those of them that the filter lets through.
let shown = [];
let planned = 0;

export const lastSeq = () => (lines.length ? lines[lines.length - 1].seq : 0);
export const lineCount = () => lines.length;
export const firstKept = () => lines[0] || null;
export const shownLines = () => shown;

function passes(line) {
  const { text, driver, kinds } = filter.value;
  if (driver && line.driver !== driver) return false;
  if (!kinds.has(kindOf(line))) return false;
  if (!text) return true;
  const word = text.toLowerCase();
  return [line.driver || '', wordsOf(line), rawOf(line)].some(t => t.toLowerCase().includes(word));
}

function tell() {
  if (planned) return;
  const pause = clock.value.speed >= FAST_SPEED && !clock.value.paused ? FAST_UPDATE_MS : UPDATE_MS;
  planned = setTimeout(() => {
    planned = 0;
    version.value += 1;
  }, pause);
}

// The place of the first line with that number or a later one.
function placeOf(seq, list = lines) {
  let low = 0;
  let high = list.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (list[middle].seq < seq) low = middle + 1;
    else high = middle;
  }
  return low;
}

export function lineOf(seq) {
  const line = lines[placeOf(seq)];
  return line && line.seq === seq ? line : null;
}

function insert(list, line) {
  if (list.length === 0 || list[list.length - 1].seq < line.seq) list.push(line);
  else list.splice(placeOf(line.seq, list), 0, line);
}

export function addLine(line) {
  if (line.seq <= lastSeq() && lineOf(line.seq)) return;
  insert(lines, line);
  if (passes(line)) insert(shown, line);
  if (lines.length > MOST * 1.1) {
    lines = lines.slice(-MOST);
    shown = shown.slice(placeOf(lines[0].seq, shown));
  }
  tell();
}

export function clearTape() {
  lines = [];
  shown = [];
  tell();
}

// Takes away what came after that number.
export function cutTape(seq) {
  lines.length = placeOf(seq + 1);
  shown.length = placeOf(seq + 1, shown);
  tell();
}

export function setFilter(changes) {
  filter.value = { ...filter.value, ...changes };
  shown = lines.filter(passes);
  version.value += 1;
}

// The newest lines of a driver, newest first.
export function lastOf(name, most) {
  const found = [];
  for (let i = lines.length - 1; i >= 0 && found.length < most; i -= 1) {
    if (lines[i].driver === name && !('cause' in lines[i])) found.push(lines[i]);
  }
  return found;
}

const CHAIN_MOST = 40;
const LATER_MOST = 12;

// What led to a line, the first cause first, the line itself, and what followed from it.
export function chainOf(line) {
  const before = [];
  for (let at = line; at.of && before.length < CHAIN_MOST;) {
    const cause = lineOf(at.of);
    if (!cause || cause.seq >= at.seq) break;
    before.unshift(cause);
    at = cause;
  }
  const after = [];
  const causes = new Set([line.seq]);
  for (let i = placeOf(line.seq + 1); i < lines.length && after.length < LATER_MOST; i += 1) {
    if (causes.has(lines[i].of)) {
      after.push(lines[i]);
      causes.add(lines[i].seq);
    }
  }
  return { before, after };
}
