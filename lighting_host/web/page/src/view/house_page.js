// The house, room by room, and beside it what needs a look, scenes, load groups and people.
import { useComputed, useSignal } from '@preact/signals';

import { attention } from '../compare.js';
import { kwhText, plural, roomText, watts, wattsText } from '../figures.js';
import { powerSeries } from '../power.js';
import { driverHref } from '../route.js';
import { driver, driverNames, house, parts, past, powerVersion, rooms } from '../state.js';
import { DAY_MS, dayStart, minute, minuteText, moment, timeText, whenText } from '../time.js';
import { canTouch, moveGroup, recall } from '../use.js';
import { Chip, Figure, Icon, KindIcon, Lamp, Sign, html } from './base.js';
import { Breaks, HouseFaults } from './breaks.js';
import { useHold } from './hold.js';
import { Contacts, Plate } from './keypad.js';
import { Level, RampSign } from './load.js';

const FOLD_FROM = 13;

const chips = d => attention(d).map(a => html`<${Chip} key=${a.words} kind=${a.kind}>${a.kind === 'now'
  && html`<${Icon} name="now"/><span class="hidden">${a.name} </span>`}${a.short || a.words}<//>`);

const differsFromNow = name => past.value && past.value.now && name in past.value.now;
const kindOf = (d, base) => `driver ${base} ${differsFromNow(d.name) ? 'differs' : ''}`;

function LoadLine({ d }) {
  const needs = chips(d);
  return html`<section class=${kindOf(d, needs.length ? 'load has-chips' : 'load')} aria-label=${d.name}>
    <${Lamp} level=${d.level}/><a class="name" href=${driverHref(d.name)}>${d.name}</a>
    ${needs.length > 0 && html`<span class="chips">${needs[0]}</span>`}
    <${Level} d=${d}/>
    <span class="figure percent"><${RampSign} d=${d}/>${d.level === null ? '–' : Math.round(d.level)}<small> %</small></span>
    <${Figure} kind="watts" parts=${watts(d.watts)}/></section>`;
}

function PlugLine({ d }) {
  return html`<section class=${kindOf(d, 'load plug')} aria-label=${d.name}><${Sign} d=${d}/>
    <a class="name" href=${driverHref(d.name)}>${d.name}</a><span class="what">${d.load || ''}</span>
    <span class="chips">${chips(d).slice(0, 1)}</span><${Figure} kind="watts" parts=${watts(d.watts)}/></section>`;
}

function PanelLine({ d }) {
  return html`<section class=${kindOf(d, 'panel')} aria-label=${d.name}>
    <header><a class="name" href=${driverHref(d.name)}>${d.name}</a>${chips(d)}<${Contacts} d=${d}/></header>
    <${Plate} d=${d}/></section>`;
}

export function DriverLine({ name }) {
  const d = driver(name).value;
  if (!d) return null;
  if (d.level !== undefined) return html`<${LoadLine} d=${d}/>`;
  if (d.watts !== undefined) return html`<${PlugLine} d=${d}/>`;
  return html`<${PanelLine} d=${d}/>`;
}

export const wattsOf = names => names.reduce((sum, n) => sum + (driver(n).value?.watts || 0), 0);
const hasWatts = names => names.some(n => driver(n).value?.watts !== undefined);

function RoomHead({ room, names, open }) {
  const sum = hasWatts(names) ? wattsText(wattsOf(names)) : '';
  const look = names.filter(n => attention(driver(n).value || {}).length).length;
  const folds = names.length >= FOLD_FROM;
  const words = folds && !open.value ? `${plural(names.length, 'driver')}${look ? `, ${look} need a look` : ''} · ` : '';
  const id = `room-${room.replace(/[^A-Za-z0-9]/g, '-')}`;
  return html`<h2 id=${id}>${folds ? html`<button type="button" class="fold" aria-expanded=${open.value ? 'true' : 'false'}
    onClick=${() => { open.value = !open.value; }}><${Icon} name=${open.value ? 'down' : 'next'}/>${roomText(room)}
      </button>` : roomText(room)}
    <span>${words}${sum}</span></h2>`;
}

function Room({ room, names }) {
  const open = useSignal(names.length < FOLD_FROM);
  return html`<section class="room" aria-labelledby=${`room-${room.replace(/[^A-Za-z0-9]/g, '-')}`}>
    <${RoomHead} room=${room} names=${names} open=${open}/>
    ${open.value && names.map(n => html`<${DriverLine} key=${n} name=${n}/>`)}</section>`;
}

export const Rooms = () => html`<div class="rooms">
  ${rooms.value.map(r => html`<${Room} key=${r.name} room=${r.name} names=${r.names}/>`)}</div>`;

const loads = () => driverNames.value.filter(n => driver(n).peek()?.watts !== undefined);

// Drawn anew when a load changes, twice a minute of the house at most.
const SPARK_EVERY_MS = 30000;
function Spark() {
  const slot = useComputed(() => Math.floor(moment.value / SPARK_EVERY_MS));
  const drawn = useComputed(() => {
    powerVersion.value;
    const t = Math.max(slot.value * SPARK_EVERY_MS, 0);
    const begin = dayStart(t);
    const [times, [sum]] = powerSeries([loads()], Math.max(0, begin), Math.max(t, begin + 1));
    const most = Math.max(...sum, 1);
    const at = sum.indexOf(most);
    let path = '';
    let lastX = -1;
    times.forEach((time, i) => {
      const x = ((time - begin) / DAY_MS) * 1440;
      const y = 100 - (sum[i] / most) * 96;
      path += `${path ? 'H' : 'M'}${x.toFixed(1)}${path ? '' : ' 100'}V${y.toFixed(1)}`;
      lastX = x;
    });
    return { path: `${path}V100z`, x: lastX, words: at < 0 ? '' : `, highest ${wattsText(most)} at ${minuteText(times[at])}` };
  });
  const { path, x, words } = drawn.value;
  return html`<svg class="spark" viewBox="0 0 1440 100" preserveAspectRatio="none" role="img"
    aria-label=${`power of the house today${words}`}>
    <path d=${path}/><path class="playhead" d=${`M${x.toFixed(1)} 0V100`}/></svg>`;
}

function NeedsALook() {
  const list = driverNames.value.flatMap(name => {
    const found = attention(driver(name).value || {});
    return found.length ? [{ name, kind: found[0].kind, words: found.map(f => f.words).join('; ') }] : [];
  });
  if (list.length === 0) return html`<p class="quiet">Nothing needs a look.</p>`;
  return html`<ul class="attention" aria-label="needs a look">${list.slice(0, 12).map(a => html`<li key=${a.name}>
    <${KindIcon} kind=${a.kind}/><a href=${driverHref(a.name)}>${a.name}</a><span title=${a.words}>${a.words}</span></li>`)}
    ${list.length > 12 && html`<li><span>and ${list.length - 12} more</span></li>`}</ul>`;
}

function Summary() {
  const names = loads();
  const today = useComputed(() => loads().reduce((sum, n) => sum + (driver(n).value.energy?.today_wh || 0), 0));
  const [wh, unit] = kwhText(today.value, 2).split(' ');
  return html`<section class="card summary" aria-label="the house now">
    ${names.length > 0 && html`<div class="big"><div><${Figure} parts=${watts(wattsOf(names))}/><span>now</span></div>
      <div><${Figure} parts=${[wh, ` ${unit}`]}/><span>since midnight</span></div></div><${Spark}/>`}
    <${NeedsALook}/></section>`;
}

function Scenes() {
  const list = parts.scenes.value;
  if (list.length === 0) return null;
  return html`<section class="card side" aria-label="scenes"><h2>Scenes<span>last used</span></h2><ul class="scenes">
    ${list.map(s => html`<li key=${s.id}><button type="button" aria-label=${`scene ${s.name || s.id}`} disabled=${!canTouch()}
      onClick=${() => recall(s.id)}>${s.name || s.id}</button><span>${whenText(s.last_ms, minute.value)}</span></li>`)}</ul></section>`;
}

const RAMPS = { up: 'brightens now', down: 'dims now' };
function movesNow(group) {
  for (const name of group.members) {
    const d = driver(name).value;
    if (d?.ramp && d.ramp.to !== d.level) return d.ramp.to > d.level ? 'up' : 'down';
  }
  return null;
}

function Ramp({ group, way }) {
  const name = `${way === 'up' ? 'brighter' : 'darker'} ${group.name || group.id}`;
  const disabled = !canTouch();
  const { held, on } = useHold(() => moveGroup(group.id, { do: way }), () => moveGroup(group.id, { do: 'stop' }), disabled);
  return html`<button type="button" class=${`small ${held ? 'held' : ''}`} aria-label=${name} title="hold" disabled=${disabled} ...${on}>
    <${Icon} name=${way}/></button>`;
}

function Group({ group }) {
  const moves = movesNow(group);
  return html`<li><b>${group.name || group.id}</b>
    <span class=${`when ${moves ? 'now' : ''}`}>${moves ? RAMPS[moves] : whenText(group.last_ms, minute.value)}</span>
    <${Ramp} group=${group} way="down"/><${Ramp} group=${group} way="up"/>
    <button type="button" class="small" aria-label=${`off ${group.name || group.id}`} disabled=${!canTouch()}
      onClick=${() => moveGroup(group.id, { do: 'level', level: 0, time_ms: 1000 })}><${Icon} name="off"/></button></li>`;
}

const Groups = () => (parts.groups.value.length === 0 ? null
  : html`<section class="card side" aria-label="load groups"><h2>Load groups<span>last moved</span></h2><ul class="groups">
    ${parts.groups.value.map(g => html`<${Group} key=${g.id} group=${g}/>`)}</ul></section>`);

const People = () => (parts.people.value.length === 0 ? null
  : html`<section class="card side" aria-label="people"><h2>People<span>last acts</span></h2><ol class="people">
    ${parts.people.value.slice(0, 5).map((p, i) => html`<li key=${`${p.t_ms} ${p.driver} ${i}`}><time>${timeText(p.t_ms)}</time>
      <b title=${p.words}>${p.words}</b>${i === 0 && html`<span>${p.driver}</span>`}</li>`)}</ol></section>`);

export function HousePage() {
  if (driverNames.value.length === 0) {
    return html`<main id="main" class="empty" tabindex="-1" aria-label="house"><h1>This house has no drivers</h1>
      <p>A house file names its drivers, rooms, scenes and load groups: <a href="/house_file.txt">how a house file is written</a>.</p></main>`;
  }
  return html`<main id="main" class="house-page" tabindex="-1" aria-label="house"><h1 class="hidden">House ${house.value.name}</h1>
    <${Summary}/><${Rooms}/><div class="rail"><${Scenes}/><${Groups}/><${People}/>
    <${Breaks}/><${HouseFaults}/></div></main>`;
}
