// A load's level, to see and to move.
import { useEffect, useRef } from 'preact/hooks';
import { useSignal } from '@preact/signals';

import { canTouch, level } from '../use.js';
import { Icon, html } from './base.js';

const SEND_EVERY_MS = 120;
// After a person let go, the level that was asked for stands so long until the true one counts.
const SETTLE_MS = 700;

export function levelText(d) {
  if (d.level === null) return 'not known';
  const going = d.ramp && d.ramp.to !== d.level ? `, going ${d.ramp.to > d.level ? 'up' : 'down'}` : '';
  return `${Math.round(d.level)} %${going}`;
}

export const RampSign = ({ d }) => (d.ramp && d.ramp.to !== d.level
  ? html`<b class="ramp"><${Icon} name=${d.ramp.to > d.level ? 'up' : 'down'}/></b>` : null);

// The level that a person is asking for, else null; and what to call with a new one.
function useAsked(name) {
  const asked = useSignal(null);
  const work = useRef({ timer: 0, settle: 0, sentAt: 0 });
  const sendNow = async () => {
    const w = work.current;
    clearTimeout(w.timer);
    w.timer = 0;
    w.sentAt = Date.now();
    if (!await level(name, asked.value ?? 0)) asked.value = null;
  };
  const ask = value => {
    const w = work.current;
    asked.value = value;
    clearTimeout(w.settle);
    w.settle = setTimeout(() => { asked.value = null; }, SETTLE_MS);
    if (w.timer) return;
    w.timer = setTimeout(sendNow, Math.max(0, w.sentAt + SEND_EVERY_MS - Date.now()));
  };
  useEffect(() => () => {
    clearTimeout(work.current.timer);
    clearTimeout(work.current.settle);
  }, []);
  return [asked.value, ask];
}

export function Level({ d }) {
  const [asked, ask] = useAsked(d.name);
  const value = Math.round(asked ?? d.level ?? 0);
  return html`<input class="level" type="range" min="0" max="100" step="1" value=${value} style=${{ '--v': String(value) }}
    aria-label=${`level of ${d.name}`} aria-valuetext=${asked === null ? levelText(d) : `${value} %`}
    disabled=${!canTouch()} onInput=${event => ask(Number(event.currentTarget.value))}/>`;
}
