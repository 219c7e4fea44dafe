// One driver: what it is, what a person can do at its device, and both sides of its link.
import { useComputed, useSignal } from '@preact/signals';

import { attention, isRepaired, isSynchronised } from '../compare.js';
import { kwhText, ledText, roomText, wattsText } from '../figures.js';
import { driverHref, route } from '../route.js';
import { driver, rooms } from '../state.js';
import { lastOf, version } from '../tape.js';
import { hoursText, minute, moment, sinceText, spanText, timeMsText } from '../time.js';
import { rawOf, wordsOf } from '../words.js';
import { Bar, Chip, Facts, Lamp, Sign, html } from './base.js';
import { Faults } from './faults.js';
import { Contacts, Plate } from './keypad.js';
import { Level, RampSign } from './load.js';
import { Queue } from './queue.js';
import { DimmerTables, LightTables } from './tables.js';
import { useVirtual } from './virtual.js';
import { Walk } from './walk.js';

const ROW = 28;

function Leaf({ name, current }) {
  const d = driver(name).value;
  if (!d) return null;
  const [first] = attention(d);
  return html`<a href=${driverHref(name)} aria-current=${current ? 'page' : undefined}>
    <${Sign} d=${d}/><span>${name}</span>${first && html`<em>${first.short || first.words}</em>`}</a>`;
}

// The list of all drivers by room; of a long one only what can be seen is drawn.
function Tree({ current }) {
  const word = useSignal('');
  const rows = useComputed(() => rooms.value.flatMap(r => {
    const names = r.names.filter(n => n.toLowerCase().includes(word.value.toLowerCase()));
    return names.length ? [{ room: r.name }, ...names.map(name => ({ name }))] : [];
  })).value;
  const { box, onScroll, first, last } = useVirtual(rows.length, ROW, 44);
  return html`<nav class="tree" aria-label="drivers" ref=${box} onScroll=${onScroll} tabindex="0">
    <label class="find"><span class="hidden">find a driver</span>
      <input type="search" placeholder="find a driver" value=${word.value} onInput=${e => { word.value = e.currentTarget.value; }}/></label>
    <ul style=${{ paddingTop: `${first * ROW}px`, paddingBottom: `${(rows.length - last) * ROW}px` }}>
      ${rows.slice(first, last).map((r, i) => html`<li key=${r.name || `room ${r.room}`} class=${r.name ? '' : 'heading'}
        aria-setsize=${rows.length} aria-posinset=${first + i + 1}>
        ${r.name ? html`<${Leaf} name=${r.name} current=${r.name === current}/>` : roomText(r.room)}</li>`)}</ul></nav>`;
}

function onlineChip({ online }) {
  if (!online || online.on === null || online.on === undefined) return html`<${Chip} kind="plain">not known<//>`;
  const since = online.since_ms === null || online.since_ms === undefined ? '' : ` since ${sinceText(online.since_ms, minute.value)}`;
  return html`<${Chip} kind=${online.on ? 'plain' : 'bad'}>${online.on ? 'online' : 'offline'}${since}<//>`;
}

function headFacts(d) {
  const facts = [['type', d.type_words || d.type], ['id', String(d.id)], ...(d.facts || [])];
  if (d.queue) facts.push(['gateway', html`<${Chip} kind=${d.queue.gateway_online ? 'plain' : 'bad'}>
    ${d.queue.gateway_online ? 'online' : 'offline'}<//>`]);
  facts.push(['link', onlineChip(d)]);
  if (d.watts !== undefined) facts.push(['power', wattsText(d.watts)]);
  if (d.energy) facts.push(['today', kwhText(d.energy.today_wh)]);
  return facts;
}

function Head({ d }) {
  return html`<header class="head"><div><p class="crumb"><a href="#house">House</a> / ${roomText(d.room)}</p><h1>${d.name}</h1></div>
    <${Facts} list=${headFacts(d)}/>
    ${d.level !== undefined && html`<section class="head-level" aria-label=${d.name}><${Lamp} level=${d.level}/><${Level} d=${d}/>
      <span class="figure"><${RampSign} d=${d}/>${d.level === null ? '–' : Math.round(d.level)}<small> %</small></span></section>`}
        </header>`;
}

function Hold({ d }) {
  const { hold } = d;
  if (!hold) return html`<p class="hold quiet">No button is held.</p>`;
  const name = hold.button === undefined || hold.button === null ? `contact ${hold.contact}` : (d.buttons || []).find(b => b.id === hold.button)?.name || `button ${hold.button}`;
  const whole = hold.ends_ms === null ? 1 : hold.ends_ms - hold.since_ms;
  const held = Math.max(0, moment.value - hold.since_ms);
  return html`<div class="hold" role="group" aria-label="hold timer"><div><b>${name}</b> is held <span class="figure">${spanText(held)}
    </span></div>
    <${Bar} part=${held / Math.max(1, whole)}/>
    ${hold.ends_ms !== null && html`<p>
      ${hold.timer ? `Timer ${hold.timer}` : 'A timer'} ends the press at ${spanText(whole)} unless the device says “still held”.</p>`}
      </div>`;
}

function Wall({ d }) {
  return html`<section class="card wall" aria-label=${d.name}><h2>On the wall<span>mouse, touch, Space</span></h2>
    <${Plate} d=${d} big=${true}/><${Contacts} d=${d}/><${Hold} d=${d}/></section>`;
}

const Color = ({ color, words = '' }) => html`<i class="swatch" style=${{ '--c': `#${color || '000000'}` }}></i><code>${color || '–'}
  </code> ${words}`;

function Buttons({ d }) {
  if (!d.buttons || d.buttons.length === 0) return null;
  return html`<section class="card buttons" tabindex="0" aria-label=${`buttons of ${d.name}`}><h2>Buttons<span>what the device shows</span>
    </h2>
    <table class="table"><thead><tr><th scope="col">button</th><th scope="col">LED now</th><th scope="col">on</th><th scope="col">off</th>
      <th scope="col">LED is on</th><th scope="col" class="n">uses</th></tr></thead>
    <tbody>${d.buttons.map(b => html`<tr key=${b.id} class=${b.pressed ? 'hot' : ''}><th scope="row"><small>${b.id}
      </small> ${b.name || `button ${b.id}`}</th>
      <td><${Color} color=${b.led} words=${ledText(b).replace(/^LED ([a-z]+),.*/, '$1')}/></td><td><${Color} color=${b.on_color}/></td><td>
        <${Color} color=${b.off_color}/></td>
      <td>${b.led_is_on || ''}</td><td class="n">${b.uses ?? ''}</td></tr>`)}</tbody></table></section>`;
}

function LastOutputs({ d }) {
  version.value;
  const list = lastOf(d.name, 8);
  return html`<section class="card last-outputs" aria-label=${`last outputs of ${d.name}`}><h2>Last outputs<span>
    <a href=${`#tape?driver=${encodeURIComponent(d.name)}`}>all on the tape</a></span></h2>
    ${list.length === 0 && html`<p class="quiet">None on the tape.</p>`}
    <ol class="outputs">${list.map(l => html`<li key=${l.seq}><time>${timeMsText(l.t_ms)}</time><b>${wordsOf(l)}</b><code>${rawOf(l)}</code>
      </li>`)}</ol></section>`;
}

function Energy({ d }) {
  if (!d.energy) return null;
  const e = d.energy;
  const lamp = d.lamp_watts ? `${d.lamp_watts} W lamp` : d.load || '';
  return html`<section class="card energy-card" aria-label=${`energy of ${d.name}`}><h2>Energy<span>${lamp}</span></h2>
    <${Facts} kind="pairs big-pairs" list=${[['now', wattsText(d.watts)], ['since midnight', kwhText(e.today_wh)], ['in all', kwhText(e.used_wh)], ['on', hoursText(e.minutes_on || 0)]]}/></section>`;
}

function Variables({ d }) {
  if (!d.variables || d.variables.length === 0) return null;
  return html`<section class="card variables" tabindex="0" aria-label=${`variables of ${d.name}`}><h2>Variables<span>${d.variables.length}
    </span></h2><table class="table"><thead><tr>
    <th scope="col">id</th><th scope="col">name</th><th scope="col" class="n">value</th></tr></thead>
    <tbody>${d.variables.map(v => html`<tr key=${v.id}><td class="dim">${v.id}</td><th scope="row">${v.name}</th><td class="n">${v.value}
      </td></tr>`)}</tbody></table></section>`;
}

function Cards({ d }) {
  if (isRepaired(d)) {
    return html`<div class="load-grid"><${LightTables} d=${d}/><${Faults} d=${d}/><${Energy} d=${d}/><${Variables} d=${d}/>
      <${LastOutputs} d=${d}/><${Walk} d=${d}/></div>`;
  }
  if (isSynchronised(d)) {
    return html`<div class="load-grid"><${DimmerTables} d=${d}/><${Faults} d=${d}/><${Energy} d=${d}/><${Variables} d=${d}/>
      <${LastOutputs} d=${d}/><${Walk} d=${d}/></div>`;
  }
  const wall = d.buttons || d.contacts;
  return html`<div class=${`panel-grid ${d.queue ? '' : 'without-queue'} ${wall ? '' : 'without-wall'}`}>${wall && html`<${Wall} d=${d}/>`}
    <div class="middle">
    <${Buttons} d=${d}/><${Energy} d=${d}/><${Faults} d=${d}/><${Variables} d=${d}/><${LastOutputs} d=${d}/></div><${Queue} d=${d}/></div>`;
}

export function DriverPage() {
  const name = route.value.params.driver || '';
  const d = driver(name).value;
  if (!d) {
    return html`<main id="main" class="empty" tabindex="-1" aria-label=${name || 'driver'}><h1>No driver of that name</h1>
      <p>This house has none called “${name}”. <a href="#house">To the house</a></p></main>`;
  }
  // Where a driver can be used its card has its name; one that only shows something is a region whole.
  const used = d.level !== undefined || d.buttons || d.contacts;
  const inside = html`<${Head} d=${d}/><${Cards} d=${d}/>`;
  return html`<main id="main" class="driver-page" tabindex="-1" aria-label=${name}><${Tree} current=${name}/>
    ${used ? html`<div class="device">${inside}</div>` : html`<section class="device" aria-label=${name}>${inside}</section>`}</main>`;
}
