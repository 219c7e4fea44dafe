// The time bar: play, step, speed, and the day as a lane to go back in.
import { useSignal, useSignalEffect } from '@preact/signals';
import { useEffect, useMemo, useRef } from 'preact/hooks';

import { canMoveTime, isRealTime } from '../connection.js';
import { plural } from '../figures.js';
import { activity, marks, past, rewinding } from '../state.js';
import { DAY_MS, clock, dateText, dayStart, midnights, minuteText, moment, msOfDay, pad, shortDateText, timeMsText, timeText }
  from '../time.js';
import { copyLink, nowMs, playOrPause, rewind, setSpeed, step, stopRewind } from '../use.js';
import { Icon, KindIcon, html } from './base.js';

const SPEEDS = [1, 10, 60, 600];
const SETTLE_MS = 300;
const KEYS = { ArrowLeft: -1000, ArrowRight: 1000, ArrowDown: -60000, ArrowUp: 60000, PageDown: -3600000, PageUp: 3600000 };

const share = ms => `${((ms / DAY_MS) * 100).toFixed(3)}%`;

// Goes to the mark before or after this moment.
const NEAR_MS = 5;
export function toMark(direction) {
  const at = clock.value.paused ? clock.value.t_ms : moment.value;
  const times = [...new Set(marks.value.map(m => m.t_ms))].sort((a, b) => a - b);
  const to = direction < 0 ? times.filter(t => t < at - NEAR_MS).pop() : times.find(t => t > at + NEAR_MS);
  if (to !== undefined) rewind(to);
}

function Transport() {
  const paused = clock.value.paused;
  const disabled = !canMoveTime();
  return html`<div class="transport" role="group" aria-label="transport">
    <button type="button" class="tool play" aria-label=${paused ? 'play' : 'pause'} disabled=${disabled} onClick=${playOrPause}>
      <${Icon} name=${paused ? 'play' : 'pause'}/></button>
    <button type="button" class="tool" aria-label="step" title="to the next timer" disabled=${disabled} onClick=${step}>
      <${Icon} name="step"/></button>
    <button type="button" class="tool narrow" aria-label="previous mark" disabled=${disabled} onClick=${() => toMark(-1)}>
      <${Icon} name="back"/></button>
    <button type="button" class="tool narrow" aria-label="next mark" disabled=${disabled} onClick=${() => toMark(1)}><${Icon} name="next"/>
      </button>
    ${isRealTime() ? html`<span class="quiet" title="a lamp of this house is real, and lives in real time">real time</span>`
      : html`<${Speed} disabled=${disabled}/>`}</div>`;
}

function Speed({ disabled }) {
  const speed = clock.value.speed;
  const speeds = SPEEDS.includes(speed) ? SPEEDS : [...SPEEDS, speed].sort((a, b) => a - b);
  return html`<select class="speed" aria-label="speed" disabled=${disabled} value=${String(speed)}
    onChange=${e => setSpeed(Number(e.currentTarget.value))}>
    ${speeds.map(s => html`<option key=${s} value=${String(s)} selected=${s === speed}>${s}×</option>`)}</select>`;
}

function Days({ shown }) {
  const now = nowMs();
  const days = [...midnights(1, now), ...(dayStart(0) <= 0 ? [dayStart(0)] : [])].sort((a, b) => b - a);
  if (days.length < 2) return html`<span>${shortDateText(shown)}</span>`;
  const of = dayStart(shown);
  return html`<select class="day" aria-label="day" disabled=${!canMoveTime()}
    onChange=${e => rewind(Math.min(nowMs(), Number(e.currentTarget.value) + msOfDay(shown)))}>
    ${days.map(t => html`<option key=${t} value=${t} selected=${t === of}>${shortDateText(Math.max(t, 0))}</option>`)}</select>`;
}

function Moment({ shown }) {
  return html`<div class="moment"><span class="figure">${timeText(shown)}<small>.${pad(msOfDay(shown) % 1000, 3)}</small></span>
    <${Days} shown=${shown}/></div>`;
}

function activityPath({ bucket_ms, counts }, begin) {
  const first = Math.ceil(begin / bucket_ms);
  const mine = counts.slice(Math.max(0, first), Math.max(0, first + Math.round(DAY_MS / bucket_ms)));
  const most = Math.max(...mine, 1);
  const scale = 144 / (DAY_MS / bucket_ms);
  return mine.map((n, i) => {
    if (n === 0) return '';
    const tall = Math.max(1, Math.sqrt(n / most) * 28);
    const x = (Math.max(first, 0) - first + i) * scale + 0.12;
    return `M${x.toFixed(2)} 28V${(28 - tall).toFixed(1)}h${(0.76 * scale).toFixed(2)}V28z`;
  }).join('');
}

function Activity({ begin }) {
  const path = useMemo(() => activityPath(activity.value, begin), [activity.value, begin]);
  return html`<svg class="activity" viewBox="0 0 144 28" preserveAspectRatio="none" aria-hidden="true"><path d=${path}/></svg>`;
}

const marksOf = begin => marks.value.filter(m => m.t_ms >= begin && m.t_ms < begin + DAY_MS);
const MOST_SIGNS = 200;

function MarkSigns({ begin }) {
  return useMemo(() => marksOf(begin).slice(-MOST_SIGNS).map((m, i) => html`<i key=${`${m.t_ms} ${i}`} class=${`mark of-${m.kind}`}
    style=${{ left: share(m.t_ms - begin) }}><${KindIcon} kind=${m.kind}/></i>`), [marks.value, begin]);
}

// The lane of a day. `asked` is the moment that a person is choosing, null while none is chosen.
function Lane({ shown, asked, ask }) {
  const lane = useRef(null);
  const begin = dayStart(shown);
  const now = nowMs();
  const nowShare = now < begin ? 0 : Math.min(1, (now - begin) / DAY_MS);
  const words = asked !== null ? 'chosen' : past.value ? 'paused in the past' : 'now';
  const disabled = !canMoveTime();
  const at = event => {
    const r = lane.current.getBoundingClientRect();
    ask(begin + Math.max(0, Math.min(1, (event.clientX - r.left) / r.width)) * DAY_MS);
  };
  const onKeyDown = event => {
    if (disabled) return;
    const to = event.key === 'Home' ? 0 : event.key === 'End' ? now : event.key in KEYS ? shown + KEYS[event.key] : null;
    if (to === null) return;
    event.preventDefault();
    ask(to);
  };
  return html`<div class="lane" ref=${lane} role="slider" tabindex="0" aria-label="time" aria-disabled=${disabled ? 'true' : undefined}
      aria-valuemin="0" aria-valuemax=${DAY_MS} aria-valuenow=${msOfDay(shown)} aria-valuetext=${`${timeMsText(shown)}, ${dateText(shown)}, ${words}`}
      onKeyDown=${onKeyDown}
      onPointerDown=${e => { if (!disabled && e.button === 0) { lane.current.setPointerCapture(e.pointerId); at(e); } }}
      onPointerMove=${e => { if (lane.current.hasPointerCapture(e.pointerId)) at(e); }}>
    <div class="night morning"></div><div class="night evening"></div><${Activity} begin=${begin}/>
    ${past.value && html`<div class="later" style=${{ left: share(msOfDay(shown)), right: `${(1 - nowShare) * 100}%` }}></div>`}
    <div class="future" style=${{ left: `${nowShare * 100}%` }}></div><${MarkSigns} begin=${begin}/>
    ${past.value && nowShare < 1 && html`<b class="now-line" style=${{ left: `${nowShare * 100}%` }}></b>`}
    <b class="playhead" style=${{ left: share(msOfDay(shown)) }}><i></i></b>${rewinding.value && html`<${Progress}/>`}</div>`;
}

function Progress() {
  const { to_ms, at_ms } = rewinding.value;
  return html`<span class="progress" role="progressbar" aria-label="rewind" aria-valuemin="0" aria-valuemax="100"
    aria-valuenow=${Math.round((at_ms / Math.max(1, to_ms)) * 100)}
    style=${{ width: `${(at_ms / Math.max(1, to_ms)) * 100}%` }}></span>`;
}

const Hours = () => html`<div class="hours" aria-hidden="true">
  ${[0, 3, 6, 9, 12, 15, 18, 21, 24].map(hour => html`<span key=${hour} style=${{ left: `${(hour / 24) * 100}%` }}>${pad(hour)}</span>`)}
  </div>`;

function MarkCounts({ begin }) {
  const mine = marksOf(begin);
  const kinds = [['break', 'break'], ['warning', 'warning'], ['fault', 'fault']];
  return html`<ul class="mark-counts" aria-label="marks of the day">${kinds.map(([kind, name]) => {
    const n = mine.filter(m => m.kind === kind).length;
    return html`<li key=${kind}><${KindIcon} kind=${kind}/><b>${n}</b> ${plural(n, name).replace(/^\d+ /, '')}</li>`;
  })}</ul>`;
}

// The moment that a person asks for is shown until the house is there, or has refused.
const ARRIVES_WITHIN_MS = 2000;
function useAsked() {
  const asked = useSignal(null);
  const timers = useRef({});
  const forget = () => { asked.value = null; };
  const ask = to => {
    asked.value = Math.round(Math.max(0, Math.min(nowMs(), to)));
    clearTimeout(timers.current.send);
    clearTimeout(timers.current.forget);
    timers.current.send = setTimeout(async () => {
      const taken = await rewind(asked.value);
      timers.current.forget = setTimeout(forget, taken ? ARRIVES_WITHIN_MS : 0);
    }, SETTLE_MS);
  };
  useSignalEffect(() => { if (clock.value.paused && clock.value.t_ms === asked.peek()) forget(); });
  useEffect(() => () => {
    clearTimeout(timers.current.send);
    clearTimeout(timers.current.forget);
  }, []);
  return [asked.value, ask];
}

export function TimeBar() {
  const [asked, ask] = useAsked();
  const shown = asked ?? (clock.value.paused ? clock.value.t_ms : moment.value);
  return html`<footer class="time-bar" aria-label="time"><${Transport}/><${Moment} shown=${shown}/>
    <div class="track"><${Lane} shown=${shown} asked=${asked} ask=${ask}/><${Hours}/></div>
    ${rewinding.value ? html`<button type="button" class="button" onClick=${stopRewind}>stop</button>` : html`<${MarkCounts}
      begin=${dayStart(shown)}/>`}
    <button type="button" class="tool" aria-label="copy a link to this moment" onClick=${copyLink}><${Icon} name="link"/></button>
      </footer>`;
}
