// A server of the live protocol for tests of the page alone: a house of which only what the tests
// touch really happens. It is no model of the program.
import { createReadStream, existsSync } from 'node:fs';
import { createServer } from 'node:http';
import { extname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { WebSocketServer } from 'ws';

export const PAGE = fileURLToPath(new URL('../../lighting_host/web/page/dist', import.meta.url));
const TYPES = { '.html': 'text/html; charset=utf-8', '.js': 'text/javascript; charset=utf-8', '.css': 'text/css; charset=utf-8', '.svg': 'image/svg+xml' };
const POLICY = "default-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'";
const TICK_MS = 50;

export class HouseServer {
  constructor(house) {
    this.house = house;
    this.visitors = new Set();
    this.lines = [];
    // Every line that visitors handed in, in order.
    this.inputs = [];
    // The error with which lines are refused, by their "house" word.
    this.refuse = {};
    this.present = null;
    this.token = null;
  }

  async listen(port = 0) {
    this.http = createServer((request, response) => this.answer(request, response));
    this.sockets = new WebSocketServer({ noServer: true });
    this.http.on('upgrade', (request, socket, head) => {
      if (this.token) return socket.destroy();
      return this.sockets.handleUpgrade(request, socket, head, ws => this.welcome(ws, request));
    });
    await new Promise(done => this.http.listen(port, '127.0.0.1', done));
    this.port = this.http.address().port;
    this.timer = setInterval(() => this.pass(), TICK_MS);
    return this;
  }

  get url() { return `http://127.0.0.1:${this.port}`; }

  async close() {
    clearInterval(this.timer);
    for (const v of this.visitors) v.ws.terminate();
    this.visitors.clear();
    this.http.closeAllConnections();
    await new Promise(done => this.http.close(done));
  }

  answer(request, response) {
    const path = new URL(request.url, this.url).pathname;
    const send = (status, type, body) => response.writeHead(status, { 'Content-Type': type, 'Content-Security-Policy': POLICY, 'Cache-Control': 'no-store' }).end(body);
    if (path === '/api/house') {
      if (this.token) return send(401, 'text/plain', 'token needed');
      return send(200, 'application/json', JSON.stringify(this.snapshot()));
    }
    const file = join(PAGE, path === '/' ? 'index.html' : path === '/token' ? 'token.html' : path);
    if (!file.startsWith(PAGE) || !existsSync(file)) return send(404, 'text/plain', 'not here');
    response.writeHead(200, { 'Content-Type': TYPES[extname(file)] || 'text/plain', 'Content-Security-Policy': POLICY });
    return createReadStream(file).pipe(response);
  }

  snapshot() {
    const h = this.house;
    h.clock.seq = this.seq();
    return { ...h, seq: this.seq(), visitors: this.visitors.size };
  }

  seq() { return this.lines.length ? this.lines[this.lines.length - 1].seq : 0; }

  welcome(ws, request) {
    const watching = new URL(request.url, this.url).searchParams.has('watch');
    const visitor = { ws, watching, line: 0, hear: null, waits: [] };
    this.visitors.add(visitor);
    const { program, run, branch, first_seq } = this.house;
    this.tell(visitor, { hello: 1, program, run, branch, seq: this.seq(), first_seq, watching });
    ws.on('message', data => this.receive(visitor, String(data)));
    ws.on('close', () => {
      this.visitors.delete(visitor);
      this.change({ visitors: this.visitors.size });
    });
    this.change({ visitors: this.visitors.size });
  }

  // What is told at once goes in one message, a line each.
  tell(visitor, line) {
    visitor.waits.push(JSON.stringify(line));
    if (visitor.waits.length > 1) return;
    setImmediate(() => {
      const text = visitor.waits.join('\n');
      visitor.waits = [];
      if (this.visitors.has(visitor)) visitor.ws.send(text);
    });
  }

  page(line) { for (const v of this.visitors) if (v.hear?.page) this.tell(v, { t_ms: this.house.clock.t_ms, ...line }); }

  rev() { this.house.rev += 1; return this.house.rev; }

  change(value) {
    Object.assign(this.house, value);
    this.page({ page: 'house', rev: this.rev(), value });
  }

  driver(name) { return this.house.drivers.find(d => d.name === name); }

  changeDriver(name, value) {
    Object.assign(this.driver(name), value);
    this.page({ page: 'driver', rev: this.rev(), driver: name, value });
  }

  mark(kind, driver, words) {
    const value = { t_ms: this.house.clock.t_ms, kind, driver, words };
    this.house.marks = [...this.house.marks, value].sort((a, b) => a.t_ms - b.t_ms);
    this.page({ page: 'mark', rev: this.rev(), value });
  }

  // Puts a line on the tape; gives its number.
  line(line) {
    const full = { seq: this.seq() + 1, t_ms: this.house.clock.t_ms, ...line };
    this.lines.push(full);
    for (const v of this.visitors) if (v.hear) this.tell(v, full);
    return full.seq;
  }

  clock(value = {}) {
    Object.assign(this.house.clock, value, { seq: this.seq() });
    this.page({ page: 'clock', value: { ...this.house.clock } });
  }

  pass() {
    const { clock } = this.house;
    if (clock.paused) return;
    clock.t_ms += TICK_MS * clock.speed;
    this.passed = (this.passed || 0) + TICK_MS;
    this.onPass?.();
    if (this.passed >= 500) {
      this.passed = 0;
      this.clock();
    }
  }

  receive(visitor, text) {
    visitor.line += 1;
    const done = error => {
      if (error) this.tell(visitor, { error, line: visitor.line });
      this.tell(visitor, { done: visitor.line });
    };
    let line;
    try { line = JSON.parse(text); } catch { return done('no JSON object'); }
    if (line.hear || 'since' in line) {
      visitor.hear = line.hear || visitor.hear;
      if ('since' in line) this.since(visitor, line);
      return done();
    }
    if (visitor.watching) return done('this visitor watches only');
    this.inputs.push(line);
    if (this.refuse[line.house]) return done(this.refuse[line.house]);
    return done(this.use(line));
  }

  since(visitor, { since, branch }) {
    const { first_seq } = this.house;
    if ((branch !== undefined && branch !== this.house.branch) || since < first_seq - 1 || since > this.seq()) {
      return this.tell(visitor, { gone: since, first_seq, seq: this.seq(), branch: this.house.branch });
    }
    for (const l of this.lines) if (l.seq > since) this.tell(visitor, l);
    return undefined;
  }

  use(line) {
    const of = line.house && line.house in USES ? this.line({ cause: 'visitor', visitor: 'desk', driver: line.driver, line: { ...line, driver: undefined }, of: null }) : null;
    const run = USES[line.house];
    return run ? run(this, line, of) : undefined;
  }
}

const holdKey = line => ('contact' in line ? { contact: line.contact } : { button: line.button });

function press(server, line, of) {
  const d = server.driver(line.driver);
  const t = server.house.clock.t_ms;
  if ('contact' in line) {
    return server.changeDriver(d.name, { contacts: d.contacts.map((c, i) => (i === line.contact ? { pressed: line.do !== 'release' } : c)) });
  }
  const down = line.do === 'press';
  const buttons = d.buttons.map(b => (b.id === line.button ? { ...b, pressed: down, led: down ? b.on_color : b.off_color, uses: b.uses + (down ? 1 : 0) } : b));
  server.line({ driver: d.name, call: 'ReportButtonEvent', args: [line.button, down ? 1 : 0], of });
  server.changeDriver(d.name, { buttons, hold: down ? { ...holdKey(line), since_ms: t, ends_ms: t + 1000, timer: 107 } : null });
  if (!down) return;
  clearTimeout(server.holding);
  server.holding = setTimeout(() => {
    if (!d.hold) return;
    const timer = server.line({ driver: d.name, cause: 'timer', timer: 107, started_ms: t, of });
    server.line({ driver: d.name, event: 6003, of: timer });
  }, 1000);
}

// Ends are told the same way as in the program: a ramp is only a change of members.
function ramp(server, name, to, ms) {
  const from = server.driver(name).level;
  const ends = server.house.clock.t_ms + ms;
  const watts = v => Math.round((server.driver(name).lamp_watts * v) / 100);
  if (ms === 0) return server.changeDriver(name, { level: to, ramp: null, watts: watts(to) });
  server.changeDriver(name, { ramp: { to, ends_ms: ends } });
  const begin = Date.now();
  const timer = setInterval(() => {
    const d = server.driver(name);
    if (!d.ramp || !server.timer) return clearInterval(timer);
    const part = Math.min(1, (Date.now() - begin) / ms);
    const level = Math.round(from + (to - from) * part);
    return server.changeDriver(name, { level, watts: watts(level), ...(part === 1 ? { ramp: null } : {}) });
  }, 100);
  server.http.on('close', () => clearInterval(timer));
}

function rewind(server, line) {
  const house = server.house;
  if (!server.present) server.present = { house: structuredClone(house), lines: server.lines };
  const { now_ms } = { now_ms: server.present.house.clock.t_ms };
  house.clock = { ...house.clock, t_ms: line.t_ms, paused: true };
  server.lines = server.present.lines.filter(l => l.t_ms <= line.t_ms);
  house.branch += 1;
  const now = {};
  const sofa = server.present.house.drivers.find(d => d.name === 'sofa');
  if (sofa) {
    now.sofa = { level: sofa.level, watts: sofa.watts };
    Object.assign(server.driver('sofa'), { level: 0, watts: 0 });
  }
  house.past = { now_ms, now_seq: server.present.lines.at(-1)?.seq || 0, break: null, dropped_inputs: 7, now };
  server.page({ page: 'snapshot', rev: server.rev(), branch: house.branch });
}

function leavePast(server, keep) {
  if (!server.present) return 'the house is not in the past';
  const { rev, branch } = server.house;
  if (keep) server.house.past = null;
  else {
    server.house = server.present.house;
    server.lines = server.present.lines;
  }
  server.present = null;
  Object.assign(server.house, { rev, branch: branch + 1, past: null });
  server.page({ page: 'snapshot', rev: server.rev(), branch: server.house.branch });
  return undefined;
}

function power(server, line, of) {
  const d = server.driver(line.driver);
  server.changeDriver(d.name, { faults: { ...d.faults, power: line.on, power_ms: server.house.clock.t_ms } });
  if (!line.on && d.faults.forgets && d.holds) server.changeDriver(d.name, { holds: { ...d.holds, groups: [], scenes: [] } });
  if (!line.on) server.mark('fault', d.name, 'lost its power');
  if (line.on && d.scene_map?.length) repair(server, d, of);
}

// A walk that mends everything in three steps.
function repair(server, d, of) {
  const t = server.house.clock.t_ms;
  const frame = (way, cluster, hex) => ({ t_ms: server.house.clock.t_ms, way, cluster, hex });
  const frames = [frame('out', 4, '01010200'), frame('in', 4, '0901021000'), ...d.scene_map.map(s => frame('out', 4, `010200${s.id.toString(16).padStart(2, '0')}0000`))];
  const asked = server.line({ driver: d.name, zcl: 'get_group_membership', cluster: 4, endpoint: 1, hex: '01010200', of });
  const heard = server.line({ driver: d.name, cause: 'device', of: asked, line: { zcl_frame: { cluster: 4, hex: '0901021000' } } });
  for (const s of d.scene_map) server.line({ driver: d.name, zcl: 'add_group', cluster: 4, endpoint: 1, group: s.id, hex: `010200${s.id.toString(16).padStart(2, '0')}0000`, of: heard });
  const sync = { since_ms: t, ended_ms: null, how: null, next_ms: t + 5000, pause_ms: 5000, watchdog_ms: t + 80000, timer: 12, frames };
  server.changeDriver(d.name, { sync, holds: { ...d.holds, groups: d.scene_map.map(s => s.id) } });
  server.mend = () => {
    const scenes = d.scene_map.map(s => ({ group: s.id, number: 0, level: Math.floor((s.level * 254 + 50) / 100), time_ms: s.time_ms }));
    server.line({ driver: d.name, call: 'SynchronizationDone', args: [], of: null });
    server.changeDriver(d.name, { sync: { ...sync, ended_ms: server.house.clock.t_ms, how: 'done', next_ms: null }, holds: { ...d.holds, groups: d.scene_map.map(s => s.id), scenes } });
  };
}

function breaks(server, line) {
  const list = server.house.breaks;
  if (line.when) return server.change({ breaks: [...list, { id: list.length + 1, when: line.when, enabled: true, met_ms: null, met_seq: null }] });
  if (line.remove) return server.change({ breaks: list.filter(b => b.id !== line.id) });
  return server.change({ breaks: list.map(b => (b.id === line.id ? { ...b, enabled: line.enabled } : b)) });
}

function group(server, line) {
  const g = server.house.groups.find(x => x.id === line.id);
  for (const name of g.members) {
    if (line.do === 'stop') server.changeDriver(name, { ramp: null });
    else ramp(server, name, line.do === 'up' ? 100 : line.do === 'down' ? 0 : line.level, line.do === 'level' ? line.time_ms : 5000);
  }
  server.change({ groups: server.house.groups.map(x => (x.id === line.id ? { ...x, last_ms: server.house.clock.t_ms } : x)) });
}

const USES = {
  pause: s => s.clock({ paused: true }),
  play: s => (s.house.past ? 'the house is in the past' : s.clock({ paused: false })),
  speed: (s, line) => s.clock({ speed: line.value }),
  step: (s, line) => {
    s.clock({ paused: true, t_ms: s.house.clock.t_ms + (line.ms || 360) });
    s.line({ driver: 'fridge', cause: 'timer', timer: 9, started_ms: s.house.clock.t_ms - 360, of: null });
  },
  act: press,
  level: (s, line) => ramp(s, line.driver, line.level, 0),
  scene: (s, line) => s.change({ scenes: s.house.scenes.map(x => (x.id === line.id ? { ...x, last_ms: s.house.clock.t_ms, times: x.times + 1 } : x)) }),
  group,
  power,
  fault: (s, { house, driver, ...what }) => (driver ? s.changeDriver(driver, { faults: { ...s.driver(driver).faults, ...what } }) : s.change({ faults: { ...s.house.faults, ...what } })),
  break: breaks,
  rewind,
  now: s => leavePast(s, false),
  go_on: s => leavePast(s, true),
  stop: () => undefined,
};
