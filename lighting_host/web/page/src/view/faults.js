// What a person can let go wrong: of one device and its link, or of the whole house.
import { useEffect, useRef } from 'preact/hooks';
import { useSignal } from '@preact/signals';

import { canTouch, fault, power } from '../use.js';
import { minute, sinceText } from '../time.js';
import { html } from './base.js';

const SEND_AFTER_MS = 150;
const SETTLE_MS = 700;

export function Switch({ name, on, words, note = '', bad = false, disabled = false, turn }) {
  return html`<div class="fault"><button type="button" class="switch" role="switch" aria-checked=${on ? 'true' : 'false'} aria-label=${name}
    disabled=${disabled} onClick=${() => turn(!on)}><i></i></button><span class="switch-name">${words}</span>
      <em class=${bad ? 'bad-text' : ''}>${note}</em></div>`;
}

function Amount({ name, words, value, most, unit, send }) {
  const asked = useSignal(null);
  const timers = useRef({});
  const ask = v => {
    asked.value = v;
    clearTimeout(timers.current.send);
    clearTimeout(timers.current.settle);
    timers.current.send = setTimeout(async () => { if (!await send(v)) asked.value = null; }, SEND_AFTER_MS);
    timers.current.settle = setTimeout(() => { asked.value = null; }, SETTLE_MS + SEND_AFTER_MS);
  };
  useEffect(() => () => clearTimeout(timers.current.settle), []);
  const shown = asked.value ?? value;
  return html`<label class="fault amount"><span>${words}</span>
    <input class="level plain" type="range" min="0" max=${most} step=${most > 1000 ? 50 : 1} value=${shown}
    style=${{ '--v': String((shown / most) * 100) }} aria-label=${name} aria-valuetext=${`${shown} ${unit}`} disabled=${!canTouch()}
    onInput=${e => ask(Number(e.currentTarget.value))}/><em>${shown} ${unit}</em></label>`;
}

const SWITCHES = [
  ['deaf', 'deafness', ['hears nothing', 'hears']],
  ['forgets', 'forgetting', ['empty after a power loss', 'keeps all without power']],
  ['repeats', 'repeats', ['each answer twice', 'each answer once']],
];

const since = (t, words) => (t === null || t === undefined ? words : `${words} since ${sinceText(t, minute.value)}`);

// `driver` is a name, null for the whole house; `faults` as in the snapshot.
export function FaultSwitches({ driver, faults }) {
  const of = driver || 'house';
  const has = key => faults[key] !== undefined && faults[key] !== null;
  const disabled = !canTouch();
  return html`<div class="faults">
    ${has('power') && html`<${Switch} name=${`power of ${of}`} on=${faults.power} words="power" bad=${!faults.power} disabled=${disabled}
      note=${since(faults.power_ms, faults.power ? 'on' : 'off')} turn=${on => power(driver, on)}/>`}
    ${SWITCHES.filter(([key]) => has(key)).map(([key, word, notes]) => html`<${Switch} key=${key} name=${`${word} of ${of}`}
      on=${faults[key]} words=${word}
      bad=${faults[key] && key === 'deaf'} disabled=${disabled} note=${key === 'deaf' && faults.deaf ? since(faults.deaf_ms, 'deaf') : notes[faults[key] ? 0 : 1]}
      turn=${on => fault(driver, { [key]: on })}/>`)}
    ${has('loss_percent') && html`<${Amount} name=${`loss of ${of}`} words="loss" value=${faults.loss_percent} most=${100} unit="%"
      send=${v => fault(driver, { loss_percent: v })}/>`}
    ${has('delay_ms') && html`<${Amount} name=${`delay of ${of}`} words="delay" value=${faults.delay_ms} most=${25000} unit="ms"
      send=${v => fault(driver, { delay_ms: v })}/>`}</div>`;
}

export function Faults({ d }) {
  if (!d.faults) return null;
  return html`<section class="card faults-card" aria-label=${`faults of ${d.name}`}><h2>Faults<span>of this device and its link</span></h2>
    <${FaultSwitches} driver=${d.name} faults=${d.faults}/></section>`;
}
