// Breaks, and the faults of the whole house.
import { useSignal } from '@preact/signals';

import { canMoveTime, canUse } from '../connection.js';
import { driverNames, parts } from '../state.js';
import { timeMsText } from '../time.js';
import { addBreak, removeBreak, setBreak } from '../use.js';
import { conditionText } from '../words.js';
import { Icon, html } from './base.js';
import { FaultSwitches, Switch } from './faults.js';

const KINDS = [['log', 'any warning'], ['assert', 'an assertion'], ['event', 'an event'], ['packet', 'a packet by name'], ['variable', 'a variable above'], ['text', 'a text']];

function conditionOf(kind, text, value, name) {
  const of = name ? { driver: name } : {};
  switch (kind) {
    case 'log': return { ...of, log: 'WARN' };
    case 'assert': return { ...of, assert: true };
    case 'event': return { ...of, event: text === '' ? null : Number(text) };
    case 'variable': return { ...of, variable: /^\d+$/.test(text) ? Number(text) : text, above: Number(value) };
    default: return { ...of, [kind]: text };
  }
}

function NewBreak({ done }) {
  const kind = useSignal('log');
  const text = useSignal('');
  const value = useSignal('0');
  const name = useSignal('');
  const needsText = ['packet', 'variable', 'text'].includes(kind.value);
  const add = async event => {
    event.preventDefault();
    if (await addBreak(conditionOf(kind.value, text.value.trim(), value.value, name.value))) done();
  };
  const field = (label, content) => html`<label><span>${label}</span>${content}</label>`;
  return html`<form class="new-break" aria-label="new break" onSubmit=${add}>
    ${field('break on', html`<select aria-label="break on" onChange=${e => { kind.value = e.currentTarget.value; }}>
      ${KINDS.map(([k, words]) => html`<option key=${k} value=${k}>${words}</option>`)}</select>`)}
    ${(needsText || kind.value === 'event') && field(kind.value === 'event' ? 'number' : 'name', html`<input type="text"
      required=${needsText} value=${text.value} placeholder=${kind.value === 'packet' ? 'add_scene' : ''}
      onInput=${e => { text.value = e.currentTarget.value; }}/>`)}
    ${kind.value === 'variable' && field('above', html`<input type="number" value=${value.value}
      onInput=${e => { value.value = e.currentTarget.value; }}/>`)}
    ${field('of', html`<select aria-label="of driver" onChange=${e => { name.value = e.currentTarget.value; }}>
      <option value="">any driver</option>${driverNames.value.map(n => html`<option key=${n} value=${n}>${n}</option>`)}</select>`)}
    <p class="actions"><button type="submit" class="button primary">add</button>
      <button type="button" class="button" onClick=${done}>cancel</button></p></form>`;
}

export function Breaks() {
  const adding = useSignal(false);
  const list = parts.breaks.value;
  const met = list.filter(b => b.met_ms !== null && b.met_ms !== undefined).length;
  const disabled = !canUse();
  const words = b => (!b.enabled ? 'off' : b.met_ms === null || b.met_ms === undefined ? 'not yet' : `met ${timeMsText(b.met_ms)}`);
  return html`<section class="card side" aria-label="breaks"><h2>Breaks<span>${list.length ? `${met} of ${list.length} met` : 'none'}</span>
    </h2>
    <ul class="breaks">${list.map(b => html`<li key=${b.id} class=${b.met_ms !== null && b.enabled ? 'met' : ''}>
      <${Switch} name=${`break on ${conditionText(b.when)}`} on=${b.enabled} words=${conditionText(b.when)} note=${words(b)}
        disabled=${disabled} turn=${on => setBreak(b.id, on)}/>
      <button type="button" class="tool plain" aria-label=${`remove the break on ${conditionText(b.when)}`} disabled=${disabled}
        onClick=${() => removeBreak(b.id)}><${Icon} name="off"/></button></li>`)}</ul>
    ${adding.value ? html`<${NewBreak} done=${() => { adding.value = false; }}/>` : html`<button type="button" class="button"
      disabled=${!canMoveTime()} onClick=${() => { adding.value = true; }}>add a break</button>`}</section>`;
}

export function HouseFaults() {
  const faults = parts.faults.value;
  if (!faults || Object.keys(faults).length === 0) return null;
  return html`<section class="card side" aria-label="faults of house"><h2>Faults<span>of the whole house</span></h2>
    <${FaultSwitches} driver=${null} faults=${faults}/></section>`;
}
