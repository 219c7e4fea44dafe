// The page: starts the connection and draws what it brings.
import { effect, signal } from '@preact/signals';
import { Component, render } from 'preact';

import { say } from './alerts.js';
import { canMoveTime, connect, state } from './connection.js';
import { driverHref, go, route } from './route.js';
import { house, past } from './state.js';
import { clock, startTicking } from './time.js';
import { backToNow, playOrPause, rewind, step } from './use.js';
import { html } from './view/base.js';
import { DriverPage } from './view/driver_page.js';
import { EnergyPage } from './view/energy_page.js';
import { Alerts, Notice, Question, Top } from './view/frame.js';
import { HousePage } from './view/house_page.js';
import { PastPage } from './view/past_page.js';
import { TapePage, focusFilter } from './view/tape_page.js';
import { TimeBar, toMark } from './view/timebar.js';

const PAGES = { house: HousePage, driver: DriverPage, energy: EnergyPage, tape: TapePage, past: PastPage };

const Waiting = () => html`<main id="main" class="empty" tabindex="-1" aria-label="house"><h1>
  ${state.value === 'connecting' ? 'Asks the house …' : 'No connection'}</h1>
  <p>${state.value === 'connecting' ? 'It answers in a moment.' : 'Is “lighting-host serve” running? The page goes on by itself as soon as it does.'}</p></main>`;

// What goes wrong in one part of the page is said, and leaves the rest alone.
class Guard extends Component {
  componentDidCatch(error) {
    say('A part of this page could not be drawn. Load the page again.', String(error));
    this.setState({ broken: true });
  }

  render({ children }) {
    return this.state.broken ? html`<main id="main" class="empty" aria-label="house"><h1>This page could not be drawn</h1>
      </main>` : children;
  }
}

function skip(event) {
  event.preventDefault();
  document.getElementById('main')?.focus();
}

function App() {
  const { page, params } = route.value;
  const Page = house.value ? PAGES[page] : Waiting;
  const kind = `${state.value === 'live' ? '' : 'is-lost'} ${clock.value.paused ? 'is-paused' : ''} ${past.value ? 'is-past' : ''}`;
  return html`<div class=${`app ${kind}`}><a class="skip" href="#main" onClick=${skip}>skip to the page</a><${Top}/><div class="notices">
    <${Notice}/><${Alerts}/></div>
    <${Guard} key=${`${page} ${params.driver || ''}`}><${Page}/><//>${house.value && html`<${TimeBar}/>`}<${Question}/></div>`;
}

// Shortcuts that hold outside of fields.
const FIELDS = 'input, select, textarea, button, a, [role="slider"], dialog';
const SHORTCUTS = { ' ': playOrPause, '.': step, '[': () => toMark(-1), ']': () => toMark(1) };

addEventListener('keydown', event => {
  if (event.defaultPrevented || event.ctrlKey || event.metaKey || event.altKey) return;
  const typing = event.target.matches?.('input:not([type="range"]):not([type="checkbox"]), textarea, select');
  if (typing) return;
  if (event.key === '/') {
    event.preventDefault();
    go('#tape');
    setTimeout(focusFilter, 50);
    return;
  }
  const run = SHORTCUTS[event.key];
  if (!run || !canMoveTime() || (event.key === ' ' && event.target.closest?.(FIELDS))) return;
  event.preventDefault();
  run();
});

// Into the past with its page, out of it with the house's.
const wasPast = signal(false);
effect(() => {
  const now = past.value !== null;
  if (now === wasPast.peek()) return;
  wasPast.value = now;
  if (now && route.peek().page === 'house') go('#past');
  if (!now && route.peek().page === 'past') go('#house');
});

// After a change of page a reader that stood on what is gone begins at the new one.
let shownPage = '';
effect(() => {
  const { page, params } = route.value;
  const now = `${page} ${params.driver || ''}`;
  if (now === shownPage) return;
  const first = shownPage === '';
  shownPage = now;
  if (first) return;
  setTimeout(() => {
    if (document.activeElement && document.activeElement !== document.body) return;
    document.getElementById('main')?.focus({ preventScroll: true });
    scrollTo(0, 0);
  });
});

// A link that holds a moment goes there once the house is known; a moment that there is not is now.
const linked = signal(route.peek().params.t);
effect(() => {
  const t = linked.value;
  if (t === undefined || state.value !== 'live' || !house.value) return;
  linked.value = undefined;
  const { driver, page } = { ...route.peek().params, page: route.peek().page };
  history.replaceState(null, '', driver ? driverHref(driver) : `#${page}`);
  if (!canMoveTime() || !/^\d+$/.test(t)) return;
  const end = past.peek() ? past.peek().now_ms : clock.peek().t_ms;
  if (Number(t) < end) rewind(Number(t));
  else if (past.peek()) backToNow();
});

effect(() => { if (house.value) document.title = `${house.value.name}, a live house`; });

startTicking();
connect();
render(html`<${App}/>`, document.getElementById('page'));
