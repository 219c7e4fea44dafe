// Power over time and energy, by load, room and house.
import { signal, useComputed } from '@preact/signals';
import { useEffect, useRef } from 'preact/hooks';
import uPlot from 'uplot';

import { kwhText, roomText, wattsText } from '../figures.js';
import { powerBegin, powerSeries } from '../power.js';
import { driverHref } from '../route.js';
import { driver, driverNames, powerVersion, rooms } from '../state.js';
import { DAY_MS, clock, dayStart, hoursText, localMs, midnights, minute, minuteText, moment } from '../time.js';
import { Facts, html } from './base.js';
import { dark } from './frame.js';
import { wattsOf } from './house_page.js';

const WINDOWS = [['1 h', 3600000, 'the last hour'], ['24 h', DAY_MS, 'the last 24 hours'], ['all', Infinity, 'all the time']];
const ROOM_COLORS = 9;
const DRAW_EVERY_MS = 1000;
const LOADS_AT_FIRST = 10;

const span = signal(DAY_MS);
// What the chart shows: null for the house by room, else { room } by load, or { load }.
const focus = signal(null);
const allLoads = signal(false);

const isLoad = n => driver(n).value?.watts !== undefined;
const loadsOf = names => names.filter(isLoad);
const used = n => driver(n).value?.energy || { used_wh: 0, today_wh: 0, minutes_on: 0 };
const sum = (names, of) => names.reduce((s, n) => s + of(n), 0);

// Rooms with loads, the most used first; beyond nine colours the smallest are "others".
function roomList() {
  return rooms.value.map(r => ({ room: r.name, names: loadsOf(r.names) })).filter(r => r.names.length)
    .map(r => ({ ...r, today: sum(r.names, n => used(n).today_wh), all: sum(r.names, n => used(n).used_wh), watts: wattsOf(r.names) }))
    .sort((a, b) => b.all - a.all || (a.room < b.room ? -1 : 1))
    .map((r, i) => ({ ...r, color: Math.min(i, ROOM_COLORS) }));
}

const colorOfRoom = (list, room) => list.find(r => r.room === room)?.color ?? ROOM_COLORS;

// What the chart stacks: [{ name, names, color }].
function stacks(list) {
  const f = focus.value;
  if (f?.load) return [{ name: f.load, names: [f.load], color: colorOfRoom(list, driver(f.load).value?.room || '') }];
  if (f) {
    const room = list.find(r => r.room === f.room);
    return (room ? [...room.names] : []).sort((a, b) => used(b).used_wh - used(a).used_wh).map((n, i) => ({ name: n, names: [n], color: Math.min(i, ROOM_COLORS) }));
  }
  const shown = list.slice(0, ROOM_COLORS).map(r => ({ name: roomText(r.room), names: r.names, color: r.color }));
  const others = list.slice(ROOM_COLORS).flatMap(r => r.names);
  return others.length ? [...shown, { name: 'others', names: others, color: ROOM_COLORS }] : shown;
}

function windowNow() {
  const end = clock.value.paused ? clock.value.t_ms : moment.peek();
  const names = loadsOf(driverNames.value);
  const begin = span.value === Infinity ? powerBegin(names) : Math.max(powerBegin(names), end - span.value);
  return [Math.min(begin, end - 60000), Math.max(end, 1)];
}

const token = name => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

// Dashed lines at the midnights of the window, with a word.
function drawMidnights(marks) {
  return plot => {
    const { ctx } = plot;
    ctx.save();
    ctx.strokeStyle = token('--text2');
    ctx.fillStyle = token('--text');
    ctx.lineWidth = devicePixelRatio;
    ctx.setLineDash([4 * devicePixelRatio, 3 * devicePixelRatio]);
    ctx.font = `600 ${12 * devicePixelRatio}px ${token('--sans')}`;
    ctx.textAlign = 'left';
    ctx.textBaseline = 'top';
    for (const t of marks) {
      const x = plot.valToPos(localMs(t) / 1000, 'x', true);
      if (x < plot.bbox.left || x > plot.bbox.left + plot.bbox.width) continue;
      ctx.beginPath();
      ctx.moveTo(x, plot.bbox.top);
      ctx.lineTo(x, plot.bbox.top + plot.bbox.height);
      ctx.stroke();
      if (marks.length < 8) ctx.fillText('midnight', x + 6 * devicePixelRatio, plot.bbox.top + 2 * devicePixelRatio);
    }
    ctx.restore();
  };
}

const axisText = w => (w >= 1000 ? `${(w / 1000).toFixed(1)} kW` : `${w} W`);

function optionsOf(list, width, height, marks, onMove) {
  const axis = { stroke: token('--text3'), font: `12px ${token('--sans')}`, ticks: { show: false } };
  return {
    width, height, pxAlign: false, legend: { show: false },
    tzDate: ts => uPlot.tzDate(new Date(ts * 1000), 'Etc/UTC'),
    scales: { x: { time: true }, y: { range: (u, min, max) => [0, Math.max(max, 10) * 1.06] } },
    axes: [
      { ...axis, size: 26, grid: { show: false }, values: (u, splits) => splits.map(s => new Date(s * 1000).toISOString().slice(11, 16)) },
      { ...axis, size: 60, grid: { stroke: token('--line'), width: 1 }, values: (u, splits) => splits.map(axisText) },
    ],
    cursor: { y: false, points: { show: false }, drag: { x: false, y: false } },
    hooks: { draw: [drawMidnights(marks)], setCursor: [u => onMove(u.cursor.idx)] },
    series: [{}, ...list.map(s => ({ label: s.name, stroke: token(`--room-${s.color}`), fill: token(`--room-${s.color}`), width: 0, paths: uPlot.paths.stepped({ align: 1 }), points: { show: false } }))],
  };
}

// From the bottom up each is drawn over the sum of those after it, so the last is drawn last.
function stackUp(times, series) {
  const above = [];
  let total = new Array(times.length).fill(0);
  for (const values of series) {
    total = total.map((v, i) => v + values[i]);
    above.push(total);
  }
  return [times.map(t => localMs(t) / 1000), ...above.reverse()];
}

const readout = signal('');

function useChart(box, list) {
  const plot = useRef(null);
  const drawn = useRef({ key: '', series: [], times: [] });
  const onMove = at => {
    const { series, times, names } = drawn.current;
    if (at === null || at === undefined || !times[at]) { readout.value = ''; return; }
    const words = series.map((s, i) => [names[i], s[at]]).filter(([, w]) => w >= 1).sort((a, b) => b[1] - a[1]).slice(0, 4).map(([n, w]) => `${n} ${wattsText(w)}`);
    readout.value = `${minuteText(times[at])} · ${wattsText(series.reduce((s, v) => s + v[at], 0))}${words.length ? ` · ${words.join(', ')}` : ''}`;
  };
  const draw = () => {
    const [begin, end] = windowNow();
    const sets = list();
    const [times, series] = powerSeries(sets.map(s => s.names), begin, end);
    drawn.current = { ...drawn.current, series, times, names: sets.map(s => s.name) };
    const marks = midnights(begin, end);
    const key = [sets.map(s => s.name).join(), dark(), box.current.clientWidth, marks.join()].join('|');
    if (!plot.current || drawn.current.key !== key) {
      plot.current?.destroy();
      drawn.current.key = key;
      plot.current = new uPlot(optionsOf([...sets].reverse(), box.current.clientWidth, box.current.clientHeight, marks, onMove), stackUp(times, series), box.current);
    } else plot.current.setData(stackUp(times, series));
  };
  return { draw, end: () => plot.current?.destroy() };
}

function Chart() {
  const box = useRef(null);
  const list = useComputed(roomList);
  const { draw, end } = useChart(box, () => stacks(list.peek()));
  const last = useRef(draw);
  last.current = draw;
  useEffect(() => {
    let seen = '';
    const again = () => {
      const now = [powerVersion.value, Math.floor((clock.value.paused ? clock.value.t_ms : moment.peek()) / (span.value === 3600000 ? 1000 : 30000)), span.value, JSON.stringify(focus.value), dark(), box.current?.clientWidth].join();
      if (now === seen || !box.current) return;
      seen = now;
      last.current();
    };
    again();
    const timer = setInterval(again, DRAW_EVERY_MS / 4);
    return () => {
      clearInterval(timer);
      end();
    };
  }, []);
  const words = focus.value ? `of ${focus.value.load || roomText(focus.value.room)}` : 'stacked by room';
  const over = WINDOWS.find(w => w[1] === span.value)[2];
  const title = focus.value ? `Power of ${focus.value.load || roomText(focus.value.room)}` : 'Power by room';
  return html`<section class="card chart" aria-label="power by room"><h2>${title}<span>
    ${readout.value || (focus.value ? html`<button type="button" class="text"
    onClick=${() => { focus.value = null; }}>back to all rooms</button>` : 'power at the pointer')}</span></h2>
    <div class="plot" ref=${box} role="img" aria-label=${`power over ${over}, ${words}`}></div></section>`;
}

const Key = ({ color }) => html`<i class="key-color" style=${{ background: `var(--room-${color})` }}></i>`;

function RoomTable({ list }) {
  const most = Math.max(...list.map(r => r.today), 1);
  const names = list.flatMap(r => r.names);
  return html`<section class="card" tabindex="0" aria-label="energy by room"><h2>Rooms<span>since midnight</span></h2><table class="table">
    <thead><tr><th scope="col">room</th>
    <th scope="col" class="n">now</th><th scope="col"><span class="hidden">share</span></th><th scope="col" class="n">today</th>
      <th scope="col" class="n">in all</th></tr></thead>
    <tbody>${list.map(r => html`<tr key=${r.room}><th scope="row"><${Key} color=${r.color}/>
      <button type="button" class="text" aria-pressed=${focus.value?.room === r.room ? 'true' : 'false'}
      onClick=${() => { focus.value = focus.value?.room === r.room ? null : { room: r.room }; }}>${roomText(r.room)}</button></th>
      <td class="n">${wattsText(r.watts)}</td><td class="share">
        <i style=${{ width: `${(r.today / most) * 100}%`, background: `var(--room-${r.color})` }}></i></td>
      <td class="n">${kwhText(r.today)}</td><td class="n dim">${kwhText(r.all)}</td></tr>`)}
      <tr class="total"><th scope="row">house</th><td class="n">${wattsText(wattsOf(names))}</td><td></td><td class="n">
        ${kwhText(sum(names, n => used(n).today_wh))}</td><td class="n">${kwhText(sum(names, n => used(n).used_wh))}</td></tr></tbody>
        </table></section>`;
}

function LoadTable({ list }) {
  const names = list.flatMap(r => r.names).sort((a, b) => used(b).today_wh - used(a).today_wh || used(b).used_wh - used(a).used_wh);
  const shown = allLoads.value ? names : names.slice(0, LOADS_AT_FIRST);
  return html`<section class="card" tabindex="0" aria-label="energy by load"><h2>Loads<span>
    ${shown.length} of ${names.length}, most first${names.length > LOADS_AT_FIRST ? html` · <button type="button" class="text"
    onClick=${() => { allLoads.value = !allLoads.value; }}>${allLoads.value ? 'fewer' : 'all'}</button>` : ''}</span></h2>
    <table class="table"><thead><tr><th scope="col">load</th><th scope="col" class="n">on in all</th><th scope="col" class="n">now</th>
      <th scope="col" class="n">today</th><th scope="col" class="n">in all</th></tr></thead>
    <tbody>${shown.map(n => html`<tr key=${n}><th scope="row"><${Key} color=${colorOfRoom(list, driver(n).value.room || '')}/>
      <button type="button" class="text" aria-pressed=${focus.value?.load === n ? 'true' : 'false'}
      onClick=${() => { focus.value = focus.value?.load === n ? null : { load: n }; }}>${n}
        </button> <a class="more" href=${driverHref(n)} aria-label=${`page of ${n}`}>›</a></th>
      <td class="n dim">${hoursText(used(n).minutes_on || 0)}</td><td class="n">${wattsText(driver(n).value.watts)}</td><td class="n">
        ${kwhText(used(n).today_wh)}</td><td class="n dim">${kwhText(used(n).used_wh)}</td></tr>`)}</tbody></table></section>`;
}

function highestToday(names) {
  const t = clock.value.paused ? clock.value.t_ms : moment.peek();
  const [, [total]] = powerSeries([names], Math.max(0, dayStart(t)), Math.max(t, 1));
  return wattsText(Math.max(0, ...total));
}

export function EnergyPage() {
  const list = useComputed(roomList).value;
  const names = list.flatMap(r => r.names);
  const highest = useComputed(() => { powerVersion.value; return highestToday(loadsOf(driverNames.value)); }).value;
  if (names.length === 0) {
    return html`<main id="main" class="empty" tabindex="-1" aria-label="energy"><h1>Energy</h1><p>No driver of this house counts energy.</p>
      </main>`;
  }
  const hours = Math.floor(minute.value / 3600000);
  return html`<main id="main" class="energy-page" tabindex="-1" aria-label="energy"><header class="head"><div><p class="crumb">
    <a href="#house">House</a></p><h1>Energy</h1></div>
    <${Facts} kind="facts huge" list=${[['now', wattsText(wattsOf(names))], ['since midnight', kwhText(sum(names, n => used(n).today_wh))], [`in all, ${hours} h`, kwhText(sum(names, n => used(n).used_wh))], ['highest today', highest]]}/>
    <div class="choice" role="group" aria-label="window">
      ${WINDOWS.map(([name, ms]) => html`<button key=${name} type="button" aria-pressed=${span.value === ms ? 'true' : 'false'}
      onClick=${() => { span.value = ms; }}>${name}</button>`)}</div></header>
    <${Chart}/><${RoomTable} list=${list}/><${LoadTable} list=${list}/></main>`;
}

