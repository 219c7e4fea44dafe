// What every part of the page is made of.
import { h } from 'preact';
import htm from 'htm';

export const html = htm.bind(h);

const STROKE = { fill: 'none', stroke: 'currentColor', 'stroke-width': '1.6', 'stroke-linecap': 'round', 'stroke-linejoin': 'round' };
const FILLED = { fill: 'currentColor' };
const SHAPES = {
  play: [['M5 3.2v9.6L13 8z', FILLED]],
  pause: [['M4 3h3v10H4zM9 3h3v10H9z', FILLED]],
  step: [['M3 3.2v9.6L10 8zM11 3h2v10h-2z', FILLED]],
  back: [['M10.5 3 5.5 8l5 5', STROKE]],
  next: [['m5.5 3 5 5-5 5', STROKE]],
  up: [['m4 10 4-4 4 4', STROKE]],
  down: [['m4 6 4 4 4-4', STROKE]],
  off: [['m4.5 4.5 7 7m0-7-7 7', STROKE]],
  bad: [['M8 1.5 14.5 8 8 14.5 1.5 8z', FILLED]],
  warn: [['M8 2.5 14.5 13.5h-13z', FILLED]],
  now: [['M2 8h11M9.5 4.5 13 8l-3.5 3.5', STROKE]],
  flag: [['M4 2v12M4 3h8l-2.2 2.8L12 8.6H4', STROKE]],
  check: [['m3 8.5 3.2 3.2L13 5', STROKE]],
  link: [['M6.6 9.4 9.4 6.6M5.2 7.6 3.6 9.2a2.26 2.26 0 0 0 3.2 3.2l1.6-1.6M10.8 8.4l1.6-1.6a2.26 2.26 0 0 0-3.2-3.2L7.6 5.2', STROKE]],
  theme: [['M8 3a5 5 0 1 0 0 10A5 5 0 1 0 8 3z', STROKE], ['M8 3a5 5 0 0 1 0 10z', FILLED]],
};

export const Icon = ({ name, kind = '' }) => html`<svg class=${`icon ${kind}`} viewBox="0 0 16 16" aria-hidden="true" focusable="false">
  ${SHAPES[name].map(([d, look]) => html`<path d=${d} ...${look}/>`)}</svg>`;

const MARKS = { bad: 'bad', warn: 'warn', now: 'now', break: 'flag', fault: 'bad', warning: 'warn' };
export const KindIcon = ({ kind }) => html`<${Icon} name=${MARKS[kind] || 'warn'} kind=${`of-${kind}`}/>`;

// A lamp as bright as its level, in percent.
export const Lamp = ({ level }) => html`<i class="lamp" style=${{ '--v': String((level || 0) / 100) }}></i>`;

// The sign of a driver in lists.
export function Sign({ d }) {
  if (d.level !== undefined) return html`<${Lamp} level=${d.level}/>`;
  if (d.watts !== undefined) return html`<i class=${`outlet ${d.watts > 1 ? 'on' : ''}`}></i>`;
  return html`<i class="plate-sign"></i>`;
}

export const Chip = ({ kind, children }) => html`<span class=${`chip ${kind}`}>${children}</span>`;

// A figure with its unit apart.
export const Figure = ({ parts, kind = '' }) => html`<span class=${`figure ${kind}`}>${parts[0]}<small>${parts[1]}</small></span>`;

// Facts as a list of [label, value].
export const Facts = ({ list, kind = 'facts' }) => html`<dl class=${kind}>
  ${list.map(([label, value], i) => html`<div key=${i}><dt>${label}</dt><dd>${value}</dd></div>`)}</dl>`;

export const Bar = ({ part, kind = '' }) => html`<div class=${`bar ${kind}`}>
  <i style=${{ width: `${Math.max(0, Math.min(1, part)) * 100}%` }}></i></div>`;
