// What is on every page: the top, notices, alerts, and the question before going on in the past.
import { effect, useComputed, useSignal, useSignalEffect } from '@preact/signals';
import { signal } from '@preact/signals';
import { useEffect, useRef } from 'preact/hooks';

import { alerts, close } from '../alerts.js';
import { connect, lostAt, news, nextTry, state, watching } from '../connection.js';
import { count, plural } from '../figures.js';
import { route } from '../route.js';
import { driverNames, house, parts, past } from '../state.js';
import { clock } from '../time.js';
import { asking, goOn } from '../use.js';
import { Icon, html } from './base.js';

const THEME = 'theme';
const wanted = matchMedia('(prefers-color-scheme: dark)');
// A browser may keep its storage closed; the choice then holds until the page is left.
function kept() {
  try { return localStorage.getItem(THEME); } catch { return null; }
}
const chosen = signal(kept());
const system = signal(wanted.matches);
wanted.addEventListener('change', () => { system.value = wanted.matches; });
export const dark = () => (chosen.value ? chosen.value === 'dark' : system.value);
effect(() => { document.documentElement.dataset.theme = dark() ? 'dark' : 'light'; });

function turnTheme() {
  chosen.value = dark() ? 'light' : 'dark';
  try { localStorage.setItem(THEME, chosen.value); } catch { /* see above */ }
}

function stateWords() {
  if (state.value === 'connecting') return 'connecting';
  if (state.value !== 'live') return 'no connection';
  if (past.value) return 'paused in the past';
  return clock.value.paused ? 'paused' : 'live';
}

function stateDetails() {
  const { lag_ms, paused } = clock.value;
  const parts_ = [];
  if (news.value) parts_.push(news.value);
  if (state.value === 'live') {
    if (watching.value) parts_.push('watching only');
    if (!paused) parts_.push(lag_ms < 100 ? 'on time' : `${count(Math.round(lag_ms))} ms behind`);
    parts_.push(plural(parts.visitors.value, 'visitor'));
  }
  return parts_.join(' · ');
}

const Connection = () => html`<p class="connection" role="status" aria-label="connection"><i></i><span>${stateWords()}</span>
  <small>${stateDetails()}</small></p>`;

const TABS = [['house', 'House'], ['energy', 'Energy'], ['tape', 'Tape']];
function Tabs() {
  const page = route.value.page === 'driver' ? 'house' : route.value.page;
  const tabs = past.value ? [...TABS, ['past', 'Past']] : TABS;
  return html`<nav class="tabs" aria-label="pages">${tabs.map(([id, name]) => html`<a key=${id} href=${`#${id}`}
    aria-current=${page === id ? 'page' : undefined}>${name}</a>`)}</nav>`;
}

export function Top() {
  const h = house.value;
  const about = h ? `${plural(driverNames.value.length, 'driver')} · seed ${h.seed} · faults ${h.fault_level}` : '';
  return html`<header class="top"><div class="about"><svg class="sign" viewBox="0 0 20 20" aria-hidden="true"><path
      d="M3 9.2 10 3l7 6.2V17H3z" fill="none" stroke="currentColor" stroke-width="1.6" stroke-linejoin="round"/>
        <circle cx="10" cy="11.6" r="2.6"/></svg>
    <b>${h ? h.name : 'a house'}</b><span>${about}</span></div><${Tabs}/>
    <div class="right"><${Connection}/><button type="button" class="tool" aria-label="dark theme" aria-pressed=${dark() ? 'true' : 'false'}
      onClick=${turnTheme}><${Icon} name="theme"/></button></div></header>`;
}

function Countdown() {
  const now = useSignal(Date.now());
  useEffect(() => {
    const timer = setInterval(() => { now.value = Date.now(); }, 500);
    return () => clearInterval(timer);
  }, []);
  return html`${Math.max(1, Math.ceil((nextTry.value - now.value) / 1000))} s`;
}

export function Notice() {
  if (state.value === 'lost' && lostAt.value) {
    return html`<div class="notice bad"><p>No connection since ${lostAt.value}. Tries again in <${Countdown}/>.</p>
      <button type="button" class="button" onClick=${connect}>try now</button></div>`;
  }
  return null;
}

export const Alerts = () => html`<div class="alerts">${alerts.value.map(a => html`<div class="alert" role="alert" key=${a.id}>
  <div><p>${a.text}</p>${a.detail && html`<code>${a.detail}</code>`}</div>
  ${a.action && html`<button type="button" class="button" onClick=${() => { close(a.id); a.action.run(); }}>${a.action.name}</button>`}
  <button type="button" class="tool plain" aria-label="close" onClick=${() => close(a.id)}><${Icon} name="off"/></button></div>`)}</div>`;

// Asked once before something is done in the past that drops later inputs.
export function Question() {
  const box = useRef(null);
  const open = useComputed(() => asking.value !== null && past.value !== null);
  useSignalEffect(() => {
    if (open.value && box.current && !box.current.open) box.current.showModal();
    if (!open.value && box.current?.open) box.current.close();
  });
  const dropped = past.value ? past.value.dropped_inputs : 0;
  return html`<dialog class="question" ref=${box} role="alertdialog" aria-labelledby="question" onClose=${() => { asking.value = null; }}>
    <h2 id="question">Go on from this moment?</h2>
    <p>${plural(dropped, 'later input')} of visitors ${dropped === 1 ? 'is' : 'are'} dropped; the record says so. What the house file’s people do happens again by itself.</p>
    <p class="actions"><button type="button" class="button primary" onClick=${() => goOn(asking.value && asking.value.then)}>go on</button>
    <button type="button" class="button" onClick=${() => { asking.value = null; }}>stay in the past</button></p></dialog>`;
}
