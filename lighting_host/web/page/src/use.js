// What the page hands in: what a person does to the house.
import { signal } from '@preact/signals';

import { say } from './alerts.js';
import { canUse, inPast, send } from './connection.js';
import { clock, moment } from './time.js';
import { past } from './state.js';
import { momentLink } from './route.js';

// What waits for a person's word in the past: null, or what is done after going on.
export const asking = signal(null);

// In the past nothing is handed in, since it would change what comes after.
export const canTouch = () => canUse() && !inPast();

export const act = (driver, how) => send({ house: 'act', driver, ...how });
export const level = (driver, value, time_ms = 200) => send({ house: 'level', driver, level: value, time_ms });
export const recall = id => send({ house: 'scene', id });
export const moveGroup = (id, how) => send({ house: 'group', id, ...how });
export const power = (driver, on) => send({ house: 'power', ...of(driver), on });
export const fault = (driver, what) => send({ house: 'fault', ...of(driver), ...what });
const of = driver => (driver ? { driver } : {});

export const setSpeed = value => send({ house: 'speed', value });

export function playOrPause() {
  if (!clock.value.paused) return send({ house: 'pause' });
  return inThePresent(() => send({ house: 'play' }));
}

export const step = () => inThePresent(() => send({ house: 'step' }));

function inThePresent(then) {
  if (!inPast()) return then();
  asking.value = { then };
  return Promise.resolve(false);
}

export async function goOn(then = null) {
  asking.value = null;
  if (await send({ house: 'go_on' }) && then) then();
}

export const nowMs = () => (past.value ? past.value.now_ms : moment.value);
export const backToNow = () => send({ house: 'now' });

// Goes to a moment; the end of the record is now.
export function rewind(t, seq = null) {
  const to = Math.max(0, Math.round(t));
  if (to >= nowMs() && seq === null) return inPast() ? backToNow() : Promise.resolve(true);
  return send({ house: 'rewind', t_ms: to, ...(seq === null ? {} : { seq }) });
}

export const stopRewind = () => send({ house: 'stop' });
export const addBreak = when => send({ house: 'break', when });
export const setBreak = (id, enabled) => send({ house: 'break', id, enabled });
export const removeBreak = id => send({ house: 'break', id, remove: true });

export async function copyLink() {
  const link = momentLink(clock.value.paused ? clock.value.t_ms : moment.value);
  try {
    await navigator.clipboard.writeText(link);
    say('The link to this moment is copied.', link);
  } catch {
    say('The link to this moment, which the browser did not let us copy:', link);
  }
}
