// Both sides of a link in one row: what the driver wants, what the device holds, and a word.
import { differText, dimmerRows, lightGroups, lightRows } from '../compare.js';
import { hex } from '../figures.js';
import { parts } from '../state.js';
import { dateText, timeMsText, timeText } from '../time.js';
import { rawOfPercent, percentOfRaw } from '../zcl.js';
import { Icon, html } from './base.js';
import { Frames } from './walk.js';

const sceneName = id => parts.scenes.value.find(s => s.id === id)?.name || `scene ${id}`;
const seconds = ms => `${Math.floor((ms + 500) / 1000)} s`;
const differs = on => (on ? 'neq' : '');

const NOTHING = { missing: 'nothing', 'not known': 'not reported' };
const State = ({ row }) => html`<td class="state"><b>${row.state}</b>${row.state === 'stored' && html`<small>
  ${timeMsText(row.at)}, not yet viewed</small>`}</td>`;
const rowKind = row => row.state.replace(' ', '-');

function LightRow({ row }) {
  const { wanted, held } = row;
  return html`<tr class=${rowKind(row)}><td class="n first">${row.group}</td><th scope="row">${sceneName(row.id)}<small>${row.id}</small>
    </th>
    ${wanted ? html`<td class="n">${wanted.level} %</td><td class="n dim">${rawOfPercent(wanted.level)}</td><td class="n">
      ${seconds(wanted.time_ms)}</td>`
      : html`<td class="none" colspan="3">not wanted</td>`}
    ${held ? html`<td class=${`n held ${differs(row.cells.level)}`}>${held.level === null ? '–' : percentOfRaw(held.level)} %</td>
      <td class=${`n dim held ${differs(row.cells.level)}`}>${held.level ?? '–'}</td><td class=${`n held ${differs(row.cells.time)}`}>
        ${held.time_ms === null ? '–' : seconds(held.time_ms)}</td>`
      : html`<td class="none" colspan="3">${NOTHING[row.state] || 'nothing'}</td>`}<${State} row=${row}/></tr>`;
}

const sides = (columns, mine, theirs) => html`<thead><tr><th rowspan="2" scope="col">${columns[0]}</th>
  <th rowspan="2" scope="col">scene</th>
  <th colspan="3" scope="colgroup">${mine}</th><th colspan="3" scope="colgroup">${theirs}</th><th rowspan="2" scope="col">state</th></tr>
  <tr>${[0, 1].flatMap(side => columns.slice(1).map(c => html`<th scope="col" class="n" key=${`${side}${c}`}>${c}</th>`))}</tr></thead>`;

const DifferHead = ({ title, rows }) => {
  const { wrong, text } = differText(rows);
  return html`<h2>${title}<span class=${wrong ? 'bad-text' : ''}>${text}</span></h2>`;
};

function LightGroups({ d }) {
  const { wants, holds, missing, extra, same } = lightGroups(d);
  const words = holds === null ? 'not known' : same ? 'same' : [missing.length ? `missing ${missing.join(', ')}` : '', extra.length ? `extra ${extra.join(', ')}` : ''].filter(Boolean).join(', ');
  const capacity = d.holds?.group_capacity;
  return html`<section aria-label=${`groups of ${d.name}`}><h3>Groups</h3>
    <p class="ids"><span class="label">driver wants</span>${wants.map(g => html`<b key=${g} class=${missing.includes(g) ? 'missing' : ''}>
      ${g}</b>`)}</p>
    <p class="ids"><span class="label">light is in</span>
      ${(holds || []).map(g => html`<b key=${g} class=${extra.includes(g) ? 'extra' : ''}>${g}</b>`)}
      <em>${holds && capacity ? `${holds.length} of ${capacity}, ` : ''}<span class=${same || holds === null ? '' : 'bad-text'}>${words}
        </span></em></p></section>`;
}

// The tables of a real lamp are what it has answered, and nobody knows what it would answer now.
const isReal = d => Boolean(d.holds) && 'answered_ms' in d.holds;
const answeredWords = ({ answered_ms: at }) => (at === null ? 'A real lamp, which has not told its tables yet.'
  : `A real lamp: its tables as it last answered, ${dateText(at)} at ${timeText(at)}. What others have changed there since is not known.`);

export function LightTables({ d }) {
  const rows = lightRows(d);
  return html`<section class="card tables" tabindex="0" aria-label=${`scene map of ${d.name}`}>
    <${DifferHead} title="Scene map" rows=${rows}/>${isReal(d) && html`<p class="quiet">${answeredWords(d.holds)}</p>`}
    <table class="table sides">${sides(['group', 'level', 'raw', 'time'], 'driver wants', isReal(d) ? 'lamp has answered' : 'light holds')}
      <tbody>${rows.map(r => html`<${LightRow} key=${r.id} row=${r}/>`)}</tbody></table>
    <div class="below"><${LightGroups} d=${d}/><${Frames} d=${d}/></div></section>`;
}

const Cells = ({ e, row, held }) => html`<td class=${`n dim ${held ? `held ${differs(row.cells.delay_ms)}` : ''}`}>${e.delay_ms} ms</td>
  <td class=${`n ${held ? `held ${differs(row.cells.rate_ms)}` : ''}`}>${e.rate_ms} ms</td>
    <td class=${`n ${held ? `held ${differs(row.cells.level)}` : ''}`}>${e.level} %</td>`;

function ElementRow({ row }) {
  const showHeld = row.held && row.state !== 'not known';
  return html`<tr class=${rowKind(row)}><td class="first"><code>${hex(row.id, 4)}</code></td><th scope="row">${sceneName(row.scene)}
    <small>step ${row.step + 1}</small></th>
    ${row.wanted ? html`<${Cells} e=${row.wanted} row=${row}/>` : html`<td class="none" colspan="3">not wanted</td>`}
    ${showHeld ? html`<${Cells} e=${row.held} row=${row} held=${true}/>` : html`<td class="none" colspan="3">
      ${NOTHING[row.state] || 'nothing'}</td>`}<${State} row=${row}/></tr>`;
}

const crcText = v => (v === null || v === undefined ? 'not known' : hex(v, 8));

function Checksum({ title, mine, theirs }) {
  const known = mine !== null && mine !== undefined && theirs !== null && theirs !== undefined;
  const same = known && mine === theirs;
  return html`<div class=${known && !same ? 'differ' : ''}><h3>${title}</h3><p><span class="label">driver</span><code>${crcText(mine)}
    </code></p>
    <p><span class="label">dimmer</span><code>${crcText(theirs)}</code></p>
    <b>${same && html`<${Icon} name="check"/>`}${!known ? 'not known' : same ? 'same' : 'differ'}</b></div>`;
}

function LoadGroups({ d }) {
  const wants = d.wants?.groups || [];
  const holds = d.holds?.groups || null;
  const all = [...new Set([...wants.map(g => g.id), ...(holds || [])])].sort((a, b) => a - b);
  return html`<section aria-label=${`load groups of ${d.name}`}><h3>Load groups</h3>${all.length === 0 && html`<p class="quiet">none</p>`}
    ${all.map(id => {
      const wanted = wants.find(g => g.id === id);
      const group = parts.groups.value.find(g => g.id === id);
      const state = holds === null ? 'not known' : !wanted ? 'extra' : holds.includes(id) ? 'same' : 'missing';
      const others = (group?.members || []).filter(n => n !== d.name);
      return html`<p class="group" key=${id}><b class="id">${id}</b>
        ${group?.name || `group ${id}`}${others.length > 0 && html`<small>with ${others.join(', ')}</small>`}
        <em class=${state === 'same' || state === 'not known' ? '' : 'bad-text'}>${state}</em></p>`;
    })}</section>`;
}

export function DimmerTables({ d }) {
  const rows = dimmerRows(d);
  return html`<section class="card tables" tabindex="0" aria-label=${`advanced scenes of ${d.name}`}>
    <${DifferHead} title="Scene elements" rows=${rows}/>
    <table class="table sides">${sides(['key', 'delay', 'ramp', 'level'], 'driver', 'dimmer')}
      <tbody>${rows.map(r => html`<${ElementRow} key=${r.id} row=${r}/>`)}</tbody></table>
    <div class="below sums" role="group" aria-label=${`checksums of ${d.name}`}>
      <${Checksum} title="Scenes" mine=${d.wants?.scene_crc} theirs=${d.holds?.scene_crc}/>
      <${Checksum} title="Groups" mine=${d.wants?.group_crc} theirs=${d.holds?.group_crc}/><${LoadGroups} d=${d}/></div></section>`;
}
