// The house's clock, and its times in words. All times are milliseconds since the start of the
// house; the house's local time may leave them at a change to or from summer time.
import { computed, signal } from '@preact/signals';

export const DAY_MS = 86400000;
const DAYS = ['Sunday', 'Monday', 'Tuesday', 'Wednesday', 'Thursday', 'Friday', 'Saturday'];
const MONTHS = ['January', 'February', 'March', 'April', 'May', 'June', 'July', 'August',
  'September', 'October', 'November', 'December'];

// The last clock that the house told, and the moment that is now, which goes on in between.
export const clock = signal({ t_ms: 0, paused: true, speed: 1, lag_ms: 0, seq: 0, next_ms: null });
export const moment = signal(0);
// The same to the minute, for what need not be drawn anew all the time.
export const minute = computed(() => Math.floor(moment.value / 60000) * 60000);

// Figures change at most so often, so that they can be read.
const TICK_MS = 100;
const FAST_TICK_MS = 250;
const FAST = 10;
// Without news the clock goes on for so long.
const NEWS_MS = 2500;

let toldAt = 0;
let tickedAt = 0;
let epoch = 0;
let shifts = [];

export function setCalendar(start, changes) {
  epoch = Date.parse(`${start}Z`) || 0;
  shifts = changes || [];
}

export function setClock(value) {
  toldAt = performance.now();
  clock.value = value;
  if (value.paused || value.speed <= FAST || Math.abs(value.t_ms - moment.value) > 5 * value.speed * FAST_TICK_MS) {
    moment.value = value.t_ms;
  }
}

function tick() {
  const { paused, speed, t_ms } = clock.value;
  if (paused || document.hidden) return;
  const now = performance.now();
  if (speed > FAST && now - tickedAt < FAST_TICK_MS) return;
  tickedAt = now;
  moment.value = Math.floor(t_ms + Math.min(now - toldAt, NEWS_MS) * speed);
}

export const startTicking = () => setInterval(tick, TICK_MS);

function shiftAt(t) {
  let minutes = 0;
  for (const [from, by] of shifts) if (t >= from) minutes = by;
  return minutes * 60000;
}

// Local time as milliseconds of a clock without zones.
export const localMs = t => epoch + t + shiftAt(t);
export const msOfDay = t => ((localMs(t) % DAY_MS) + DAY_MS) % DAY_MS;

// The midnight at or before t; it may lie before the start.
export function dayStart(t) {
  const begin = t - msOfDay(t);
  const off = msOfDay(begin);
  return off > DAY_MS / 2 ? begin + DAY_MS - off : begin - off;
}

// The midnights from a to b.
export function midnights(a, b) {
  const found = [];
  for (let t = dayStart(b); t >= a && found.length < 400; t = dayStart(t - 1)) found.unshift(t);
  return found;
}

export const pad = (n, width = 2) => String(n).padStart(width, '0');

function clockText(ms) {
  const s = Math.floor(ms / 1000);
  return `${pad(Math.floor(s / 3600))}:${pad(Math.floor(s / 60) % 60)}:${pad(s % 60)}`;
}

// "20:35:27", "20:35:27.268", "20:35".
export const timeText = t => clockText(msOfDay(t));
export const timeMsText = t => `${timeText(t)}.${pad(msOfDay(t) % 1000, 3)}`;
export const minuteText = t => timeText(t).slice(0, 5);

// "Friday 2 January 2026", "Fri 2 January 2026".
export function dateText(t) {
  const d = new Date(localMs(t));
  return `${DAYS[d.getUTCDay()]} ${d.getUTCDate()} ${MONTHS[d.getUTCMonth()]} ${d.getUTCFullYear()}`;
}
export const shortDateText = t => dateText(t).replace(/^(...)[a-z]*/, '$1');

// When something was, as short as it can be said: the time today, else the day.
export function whenText(t, now) {
  if (t === null || t === undefined) return 'never';
  if (dayStart(t) === dayStart(now)) return minuteText(t);
  const d = new Date(localMs(t));
  if (now - t < 6 * DAY_MS) return DAYS[d.getUTCDay()].slice(0, 3);
  return `${d.getUTCDate()} ${MONTHS[d.getUTCMonth()].slice(0, 3)}`;
}

// The same with its time.
export const sinceText = (t, now) =>
  (dayStart(t) === dayStart(now) ? timeText(t) : `${whenText(t, now)} ${minuteText(t)}`);

// "0.64 s", "24 min 33.4 s", "3 h 02 min".
export function spanText(ms) {
  if (ms < 10000) return `${(ms / 1000).toFixed(2)} s`;
  if (ms < 60000) return `${(ms / 1000).toFixed(1)} s`;
  const minutes = Math.floor(ms / 60000);
  if (minutes < 60) return `${minutes} min ${((ms % 60000) / 1000).toFixed(1)} s`;
  return hoursText(minutes);
}
export const hoursText = minutes => `${Math.floor(minutes / 60)} h ${pad(Math.floor(minutes % 60))} min`;

// How long until then: "in 1.9 s".
export const inText = ms => `${(Math.max(0, ms) / 1000).toFixed(1)} s`;

// The time of the person's own clock.
export const ownTimeText = () => new Date().toTimeString().slice(0, 8);
