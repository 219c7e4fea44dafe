// The socket to the house: opens it, opens it again when it is lost, and hands on what comes.
import { batch, signal } from '@preact/signals';

import { say } from './alerts.js';
import { addMark, changeClock, changeDriver, changeHouse, house, past, rewinding, takeSnapshot }
  from './state.js';
import { addLine, clearTape, cutTape, lastSeq } from './tape.js';
import { clock, ownTimeText } from './time.js';

const VERSION = 1;
// Seconds until the next try; the last one over and over.
const TRIES = [1, 2, 4, 8, 10];
// How much of the tape is asked for at first.
const TAPE_AT_FIRST = 2000;
const FAST_SPEED = 60;
const FLUSH_MS = 250;
// Too slow: the code with which the program drops a visitor.
const DROPPED = 1013;

// connecting, live, lost or dropped; and when it was lost, when it is tried again, what to say.
export const state = signal('connecting');
export const lostAt = signal('');
export const nextTry = signal(0);
export const news = signal('');
export const watching = signal(false);

let socket = null;
let lines = 0;
let waiting = new Map();
let tries = 0;
let timer = 0;
let seqWhenLost = null;
let held = null;
let rev = -1;
let greeted = false;
const slow = new Map();

const query = new URLSearchParams(location.search);
const suffix = query.has('watch') ? '?watch' : query.has('name') ? `?name=${encodeURIComponent(query.get('name'))}` : '';

// Sends a line; the promise says whether it was taken. What was refused is said in the page.
export function send(line) {
  if (!socket || socket.readyState !== WebSocket.OPEN) return Promise.resolve(false);
  const text = JSON.stringify(line);
  lines += 1;
  const number = lines;
  socket.send(text);
  return new Promise(resolve => waiting.set(number, { resolve, text, error: null }));
}

function answered({ error, done, line }) {
  const number = error === undefined ? done : line;
  const sent = waiting.get(number);
  if (!sent) return;
  if (error !== undefined) {
    sent.error = error;
    return;
  }
  waiting.delete(number);
  if (sent.error) say(`Refused: ${sent.error}`, sent.text);
  sent.resolve(!sent.error);
}

function pageLine(line) {
  if (line.rev !== undefined) {
    if (line.rev <= rev) return;
    rev = line.rev;
  }
  switch (line.page) {
    case 'clock': return changeClock(line.value);
    case 'driver': return driverLine(line);
    case 'house': return changeHouse(line.value);
    case 'mark': return addMark(line.value);
    case 'break': return say(`Paused: ${line.words}`);
    case 'rewind': rewinding.value = { to_ms: line.to_ms, at_ms: line.at_ms }; return undefined;
    case 'snapshot': return void snapshot(line.branch);
    default: return undefined;
  }
}

function driverLine({ driver, value, t_ms }) {
  const t = t_ms ?? clock.value.t_ms;
  if (clock.value.speed < FAST_SPEED || clock.value.paused) {
    flush();
    changeDriver(driver, value, t);
    return;
  }
  const { value: before } = slow.get(driver) || {};
  slow.set(driver, { value: { ...before, ...value }, t });
}

// At a fast speed figures change a few times a second only, so that they can be read.
function flush() {
  if (slow.size === 0) return;
  batch(() => {
    for (const [name, { value, t }] of slow) changeDriver(name, value, t);
  });
  slow.clear();
}
setInterval(flush, FLUSH_MS);

function take(message) {
  if ('page' in message) pageLine(message);
  else if ('seq' in message) addLine(message);
}

// A message of the socket: one or more lines, a JSON object each. A line that is none is passed over.
function receive(text) {
  batch(() => {
    for (const line of text.split('\n')) {
      let message = null;
      try {
        message = JSON.parse(line);
      } catch { /* see above */ }
      if (message !== null && typeof message === 'object') hear(message);
    }
  });
}

function hear(message) {
  if ('hello' in message) welcome(message);
  else if ('done' in message || ('error' in message && 'line' in message)) answered(message);
  else if ('gone' in message) askTape(message, 0);
  else if (held) held.push(message);
  else take(message);
}

function askTape({ first_seq, seq, branch }, from) {
  const since = Math.max(first_seq - 1, from || seq - TAPE_AT_FIRST, 0);
  if (!from) clearTape();
  return send({ hear: { page: true }, since, branch });
}

async function welcome(hello) {
  greeted = true;
  if (hello.hello !== VERSION) say(`The program speaks version ${hello.hello} of the live protocol, this page version ${VERSION}.`, 'Load the page again.');
  watching.value = hello.watching;
  const known = house.value;
  const anew = known !== null && known.run !== hello.run;
  const follows = known !== null && !anew && known.branch === hello.branch && lastSeq() <= hello.seq;
  held = [];
  askTape(hello, follows ? lastSeq() : 0);
  if (!await snapshot(hello.branch)) return;
  tries = 0;
  state.value = 'live';
  if (anew) news.value = `started anew at ${ownTimeText()}`;
  else if (seqWhenLost !== null) news.value = `back, ${Math.max(0, clock.value.seq - seqWhenLost)} outputs later`;
  seqWhenLost = null;
}

// Takes a snapshot, then what came meanwhile.
async function snapshot(branch) {
  const mine = socket;
  held ||= [];
  try {
    const reply = await fetch('/api/house', { cache: 'no-store' });
    if (reply.status === 401) {
      location.assign('/token');
      return false;
    }
    if (!reply.ok) throw new Error(`status ${reply.status}`);
    const value = await reply.json();
    if (mine !== socket) return false;
    const before = house.value;
    rev = value.rev;
    slow.clear();
    takeSnapshot(value);
    if (before && (before.branch !== value.branch || before.run !== value.run)) {
      cutTape(value.seq);
      if (lastSeq() < value.seq && branch !== undefined && mine.readyState === WebSocket.OPEN) askTape(value, lastSeq());
    }
    const later = held;
    held = null;
    batch(() => later.forEach(take));
    return true;
  } catch (error) {
    if (mine === socket) {
      say('The house could not be read.', String(error.message || error));
      mine.close();
    }
    return false;
  }
}

function lost(event) {
  for (const { resolve } of waiting.values()) resolve(false);
  waiting = new Map();
  held = null;
  slow.clear();
  if (state.value !== 'lost') {
    lostAt.value = ownTimeText();
    if (house.value) seqWhenLost = clock.value.seq;
  }
  news.value = '';
  if (event && event.code === DROPPED) {
    state.value = 'dropped';
    say(`No longer watching: ${event.reason || 'this page read too slowly'}`, '', { name: 'watch again', run: connect });
    return;
  }
  state.value = 'lost';
  if (!greeted) askForToken();
  const seconds = TRIES[Math.min(tries, TRIES.length - 1)];
  tries += 1;
  nextTry.value = Date.now() + seconds * 1000;
  clearTimeout(timer);
  timer = setTimeout(connect, seconds * 1000);
}

// A socket that is refused does not say why; a request does.
function askForToken() {
  fetch('/api/house', { cache: 'no-store' })
    .then(reply => reply.status === 401 && location.assign('/token'))
    .catch(() => {});
}

export function connect() {
  clearTimeout(timer);
  greeted = false;
  if (socket) {
    socket.onclose = null;
    socket.onmessage = null;
    socket.close();
  }
  if (house.value === null) state.value = 'connecting';
  lines = 0;
  const scheme = location.protocol === 'https:' ? 'wss' : 'ws';
  socket = new WebSocket(`${scheme}://${location.host}/protocol${suffix}`);
  socket.onmessage = event => receive(event.data);
  socket.onclose = lost;
}

// In the past nobody can use the house; without a connection, or watching only, neither.
export const canUse = () => state.value === 'live' && !watching.value;
// Where lamps are real, so is time: nobody pauses it, moves it or goes back in it.
export const isRealTime = () => Boolean(house.value && house.value.real_time);
export const canMoveTime = () => canUse() && !isRealTime();
export const inPast = () => past.value !== null;
