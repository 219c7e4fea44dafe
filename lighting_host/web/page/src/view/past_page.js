// The house in the past: why it stopped, what going on costs, and what differs from now.
import { useComputed } from '@preact/signals';

import { canUse } from '../connection.js';
import { differences } from '../compare.js';
import { count, plural, wattsText } from '../figures.js';
import { driverHref } from '../route.js';
import { driver, driverNames, parts, past } from '../state.js';
import { clock, shortDateText, spanText, timeMsText } from '../time.js';
import { backToNow, goOn } from '../use.js';
import { conditionText } from '../words.js';
import { Icon, html } from './base.js';
import { Breaks } from './breaks.js';
import { Rooms } from './house_page.js';

function metWords() {
  const met = past.value.break === null ? null : parts.breaks.value.find(b => b.id === past.value.break);
  return met ? `Break on ${conditionText(met.when)}` : 'The house as it was';
}

export function PastBanner() {
  if (!past.value) return null;
  const { now_ms, dropped_inputs } = past.value;
  const { t_ms, seq } = clock.value;
  const disabled = !canUse();
  const go = async event => {
    event.preventDefault();
    if (!disabled) await backToNow();
  };
  return html`<section class="past-banner" aria-label="paused in the past"><div><p class="tag">
    <${Icon} name="flag"/> ${past.value.break === null ? 'paused in the past' : 'break met'}</p><h1>${metWords()}</h1>
    <p>Paused at <b>${shortDateText(t_ms)}, ${timeMsText(t_ms)}
      </b>, ${spanText(now_ms - t_ms)} before now. The house as it was, right after output ${count(seq)}.</p></div>
    <div class="go"><button type="button" class="button primary" disabled=${disabled} onClick=${() => goOn()}>go on from here</button>
      <a class="button" href="#house" aria-disabled=${disabled ? 'true' : undefined} onClick=${go}>back to now</a>
    <p>Going on drops ${plural(dropped_inputs, 'later input')} of visitors; the record says so. What the house file’s people do happens again by itself.</p></div></section>`;
}

function rowsOf(now) {
  return driverNames.value.filter(name => now[name]).flatMap(name => {
    const then = driver(name).value;
    const rows = then ? differences(then, now[name]) : [];
    return rows.map((r, i) => ({ name, what: r[0], then: r[1], now: r[2], first: i === 0, size: rows.length }));
  });
}

function Differences() {
  const rows = useComputed(() => rowsOf(past.value?.now || {})).value;
  const names = new Set(rows.map(r => r.name));
  const total = useComputed(() => [0, 1].map(which => driverNames.value.reduce((sum, n) => sum + ((which ? past.value?.now?.[n]?.watts : undefined) ?? driver(n).value?.watts ?? 0), 0))).value;
  return html`<section class="card differences" tabindex="0" aria-label="different from now"><h2>Different from now<span>
    ${rows.length} in ${plural(names.size, 'driver')}</span></h2>
    <table class="table"><thead><tr><th scope="col">driver</th><th scope="col">what</th><th scope="col" class="n">then</th>
      <th scope="col" class="n">now</th></tr></thead><tbody>
    ${rows.map((r, i) => html`<tr key=${`${r.name} ${r.what} ${i}`}>${r.first && html`<th scope="rowgroup" rowspan=${r.size}>
      <a href=${driverHref(r.name)}>${r.name}</a></th>`}<td class="what">${r.what}</td><td class="n">${r.then}</td><td class="n dim">
      ${r.now}</td></tr>`)}
    <tr class="total"><th scope="row">house</th><td class="what">power</td><td class="n">${wattsText(total[0])}</td><td class="n">
      ${wattsText(total[1])}</td></tr></tbody></table></section>`;
}

export function PastPage() {
  if (!past.value) {
    return html`<main id="main" class="empty" tabindex="-1" aria-label="house in the past"><h1>This is now</h1>
      <p>Drag on the time bar to go back. <a href="#house">To the house</a></p></main>`;
  }
  return html`<main id="main" class="past-page" tabindex="-1" aria-label="house in the past"><${PastBanner}/><${Rooms}/>
    <div class="rail"><${Differences}/><${Breaks}/></div></main>`;
}
