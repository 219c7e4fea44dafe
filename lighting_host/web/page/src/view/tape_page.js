// The tape: every output by time, with its meaning beside the raw form, and the chain of a chosen one.
import { signal, useSignal, useSignalEffect } from '@preact/signals';
import { useEffect, useRef } from 'preact/hooks';

import { canMoveTime } from '../connection.js';
import { capital, count } from '../figures.js';
import { driverHref, route } from '../route.js';
import { driver, driverNames } from '../state.js';
import { KINDS, chainOf, filter, firstKept, lineCount, lineOf, lastSeq, setFilter, shownLines, version } from '../tape.js';
import { clock, minute, sinceText, timeMsText } from '../time.js';
import { addBreak, rewind } from '../use.js';
import { kindOf, rawOf, wordsOf } from '../words.js';
import { decode } from '../zcl.js';
import { html } from './base.js';
import { useVirtual } from './virtual.js';

const ROW = 24;
const PHONE_ROW = 36;
const HEAD = 30;
const phone = matchMedia('(max-width: 700px)');
const FAST_SPEED = 60;

const chosen = signal(null);
const still = signal(false);

export const focusFilter = () => document.getElementById('tape-text')?.focus();

function Filter() {
  const { text, driver: name, kinds } = filter.value;
  const turn = (kind, on) => {
    const next = new Set(kinds);
    if (on) next.add(kind);
    else next.delete(kind);
    setFilter({ kinds: next });
  };
  return html`<form class="filter" role="search" aria-label="filter the tape" onSubmit=${e => e.preventDefault()}>
    <label><span>text</span>
      <input id="tape-text" type="search" aria-label="text" placeholder="word, hex or driver" value=${text}
      onInput=${e => setFilter({ text: e.currentTarget.value })}/></label>
    <label><span>driver</span><select aria-label="driver" onChange=${e => setFilter({ driver: e.currentTarget.value })}>
      <option value="" selected=${name === ''}>all ${driverNames.value.length} drivers</option>
        ${driverNames.value.map(n => html`<option key=${n} value=${n} selected=${n === name}>${n}</option>`)}</select></label>
    <fieldset><legend class="hidden">kinds</legend>${KINDS.map(k => html`<label class="kind" key=${k}>
      <input type="checkbox" checked=${kinds.has(k)} onChange=${e => turn(k, e.currentTarget.checked)}/><span>${k}</span></label>`)}
      </fieldset></form>`;
}

function Row({ line, index, current }) {
  const words = wordsOf(line);
  const raw = rawOf(line);
  const kind = kindOf(line);
  return html`<tr class=${`kind-${kind} ${current ? 'chosen' : ''}`} aria-rowindex=${index + 2}><td class="n">
    <button type="button" class="row" aria-current=${current ? 'true' : undefined}
    onClick=${() => { chosen.value = line.seq; }}>${timeMsText(line.t_ms)}<span class="hidden"> output ${line.seq}</span></button></td>
    <td>${line.driver || ''}</td><td><span class="kind-name">${kind}</span></td><td title=${words}><span class="meaning">${words}</span>
      </td><td class="raw"><code title=${raw}>${raw}</code></td></tr>`;
}

const isFast = () => clock.value.speed >= FAST_SPEED && !clock.value.paused;
const isFiltered = () => filter.value.text !== '' || filter.value.driver !== '';

// The lines to show, newest first. While a person reads, none come in at the top; at a fast speed,
// with nothing filtered, they are only counted.
function useLines(atTop, again) {
  version.value;
  const frozen = useRef({ seq: null, again });
  const all = shownLines();
  const hold = still.value || !atTop || (isFast() && !isFiltered());
  if (!hold || frozen.current.again !== again) frozen.current = { seq: null, again };
  if (hold && frozen.current.seq === null) frozen.current.seq = all.length ? all[all.length - 1].seq : 0;
  let end = all.length;
  if (frozen.current.seq !== null) while (end > 0 && all[end - 1].seq > frozen.current.seq) end -= 1;
  return { all, end, fresh: all.length - end };
}

const Spacer = ({ rows, row }) => (rows > 0 ? html`<tr class="spacer" aria-hidden="true">
  <td colspan="5" style=${{ height: `${rows * row}px` }}></td></tr>` : null);

function Lines() {
  const row = phone.matches ? PHONE_ROW : ROW;
  const atTopNow = useSignal(true);
  const again = useSignal(0);
  const { all, end, fresh } = useLines(atTopNow.value, again.value);
  const { box, onScroll, first, last, atTop, toTop } = useVirtual(end, row, HEAD);
  useSignalEffect(() => { if (filter.value) toTop(); });
  useEffect(() => { atTopNow.value = atTop; }, [atTop]);
  const visible = [];
  for (let i = first; i < last; i += 1) visible.push({ line: all[end - 1 - i], index: i });
  const back = () => {
    still.value = false;
    again.value += 1;
    toTop();
  };
  return html`<div class="tape-side">${fresh > 0 && html`<button type="button" class="fresh button" onClick=${back}>
    ${count(fresh)} ${isFast() ? 'passed over' : 'new'}</button>`}
    <section class="card tape-box" role="log" aria-label="tape" aria-live="off" tabindex="0" ref=${box} onScroll=${onScroll}>
    <table class="table tape" aria-rowcount=${end + 1}><thead><tr aria-rowindex="1"><th scope="col">time</th><th scope="col">driver</th>
      <th scope="col">kind</th><th scope="col">what it means</th><th scope="col">raw</th></tr></thead>
    <tbody><${Spacer} rows=${first} row=${row}/>
      ${visible.map(v => html`<${Row} key=${v.line.seq} line=${v.line} index=${v.index} current=${v.line.seq === chosen.value}/>`)}
    <${Spacer} rows=${end - last} row=${row}/></tbody></table>
    ${end === 0 && html`<p class="quiet pad">${lineCount() ? 'Nothing passes the filter.' : 'Nothing on the tape yet.'}</p>`}</section>
      </div>`;
}

// The parts of a raw packet with their meaning.
function partsOf(line) {
  const frame = line.zcl ? line : line.line?.zcl_frame;
  if (frame) return decode(frame.cluster, frame.hex || '').rows;
  const params = line.params || line.line?.params;
  if (Array.isArray(params)) return params.map((p, i) => (typeof p === 'object' ? [p.value, p.name, p.type] : [p, `parameter ${i + 1}`, Number.isNaN(parseInt(p, 16)) ? '' : String(parseInt(p, 16))]));
  if (line.args) return line.args.map((a, i) => [JSON.stringify(a), `argument ${i + 1}`, '']);
  return [];
}

const NAMES = { visitor: 'an input', people: 'people', house: 'the controller', device: 'the device', timer: 'a timer' };
const originText = l => [l.cause ? NAMES[l.cause] : l.driver, l.cause && l.driver ? l.driver : '', `${l.seq}`].filter(Boolean).join(' · ');

const Link = ({ line, kind }) => html`<li class=${kind}><time>${timeMsText(line.t_ms)}</time><b>${kind === 'current' ? wordsOf(line)
  : html`<button type="button" class="text" onClick=${() => { chosen.value = line.seq; }}>${wordsOf(line)}</button>`}</b><span>
    ${originText(line)}</span></li>`;

function breakOn(line) {
  const of = line.driver ? { driver: line.driver } : {};
  for (const key of ['zcl', 'mib', 'gateway']) if (key in line) return { ...of, packet: line[key] };
  if ('event' in line) return { ...of, event: line.event };
  if ('variable' in line && 'value' in line) return { ...of, variable: line.variable, is: line.value };
  if ('log' in line) return { ...of, log: line.level };
  if ('assert' in line) return { ...of, assert: true };
  return { ...of, text: 'call' in line ? line.call : wordsOf(line) };
}

function Detail() {
  version.value;
  const line = chosen.value === null ? null : lineOf(chosen.value);
  if (!line) return html`<aside class="card detail" aria-label="chosen output"><h2>No output chosen</h2>
    <p class="quiet">Choose one on the tape to see its octets and how it came about.</p></aside>`;
  const { before, after } = chainOf(line);
  const rows = partsOf(line);
  const words = wordsOf(line);
  return html`<aside class="card detail" tabindex="0" aria-label=${`output ${line.seq}`}><h2>Output ${line.seq}<span>
    ${kindOf(line)} · ${line.driver && driver(line.driver).value ? html`<a href=${driverHref(line.driver)}>${line.driver}
    </a> · ` : ''}${timeMsText(line.t_ms)}</span></h2>
    <p class="lead">${capital(words)}${/[.?!]$/.test(words) ? '' : '.'}</p><p class="actions">
      <button type="button" class="button" disabled=${!canMoveTime()} onClick=${() => rewind(line.t_ms, line.seq)}>rewind to here</button>
      ${!('cause' in line) && html`<button type="button" class="button" disabled=${!canMoveTime()}
        onClick=${() => addBreak(breakOn(line))}>break on the next</button>`}</p>
    <h3>Raw and meaning</h3><p class="raw-line"><code>${rawOf(line) || '–'}</code></p>${rows.length > 0 && html`<table class="table octets">
      <tbody>${rows.map(([octets, name, meaning], i) => html`<tr key=${i}><td><code>${octets}</code></td><td>${name}</td><td>${meaning}</td>
      </tr>`)}</tbody></table>`}
    <h3>How it came about</h3><ol class="chain">
      ${before.map((l, i) => html`<${Link} key=${l.seq} line=${l} kind=${i === 0 ? 'root' : ''}/>`)}
      <${Link} key=${line.seq} line=${line} kind="current"/>
      ${after.map(l => html`<${Link} key=${l.seq} line=${l} kind="followed"/>`)}</ol></aside>`;
}

export function TapePage() {
  version.value;
  useEffect(() => {
    const { driver: name, seq } = route.value.params;
    if (name !== undefined && driver(name).value) setFilter({ driver: name });
    if (seq) chosen.value = Number(seq);
  }, [route.value]);
  const first = firstKept();
  return html`<main id="main" class="tape-page" tabindex="-1" aria-label="tape page"><header class="head"><div><p class="crumb">
    <a href="#house">House</a></p><h1>Tape</h1></div>
    <dl class="facts"><div><dt>outputs so far</dt><dd>${count(Math.max(lastSeq(), clock.value.seq || 0))}</dd></div><div><dt>shown</dt><dd>
      ${count(shownLines().length)} of ${count(lineCount())}</dd></div>
    <div><dt>kept here</dt><dd>${first ? `from ${sinceText(first.t_ms, minute.value)}` : 'none'}</dd></div></dl>
    <button type="button" class="button still" aria-pressed=${still.value ? 'true' : 'false'}
      onClick=${() => { still.value = !still.value; }}>hold still</button></header>
    <${Filter}/><div class="tape-grid"><${Lines}/><${Detail}/></div></main>`;
}
