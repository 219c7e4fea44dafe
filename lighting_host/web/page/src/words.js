// What a line of the tape means, in words; and its raw form beside it.
import { driver } from './state.js';
import { hex } from './figures.js';
import { spaced, zclWords } from './zcl.js';

const WARNINGS = ['WARN', 'ERROR', 'FATAL'];
const CAUSES = { visitor: 'visitor', people: 'people', house: 'house', timer: 'timer', device: 'trap' };
const OUTPUTS = ['event', 'call', 'variable', 'mib', 'zcl', 'gateway'];

export function kindOf(line) {
  if ('cause' in line) return CAUSES[line.cause] || 'other';
  if ('log' in line) return WARNINGS.includes(line.level) ? 'warning' : 'log';
  if ('assert' in line) return 'warning';
  for (const kind of OUTPUTS) if (kind in line) return kind;
  return 'other';
}

// Opcodes of the bus, by number.
const OPCODES = {
  0x1110: 'backlight', 0x1280: 'colour of every LED', 0x12c0: 'set-up of every LED',
  0x13c0: 'behaviour of every button', 0x2110: 'acts on a button', 0x9000: 'answers', 0x9010: 'announces itself',
  0x9020: 'tells its firmware', 0x9030: 'a button is used', 0x9100: 'the gateway\'s status',
};
export const opcodeText = opcode => OPCODES[opcode] || `message 0x${hex(opcode, 4)}`;

// Messages of wired devices. Of some the parameters are told as well.
const MIBS = {
  'nx.dmx.led': p => `LED ${num(p[0])}: channel ${num(p[1])} is ${p[2]}`,
  'nx.dmx.btn': p => `button ${num(p[0])}: setting ${num(p[1])} is ${p[2]}`,
  'nx.dmx.bmc': () => 'hold time',
  'nx.dmx.rbp': () => 'acts on a button',
  'nx.dmx.bp': p => `button ${num(p[0])} pushed`,
  'nx.dmx.hb': p => `button ${num(p[0])}: hold begins`,
  'nx.dmx.hc': p => `button ${num(p[0])} is still held`,
  'nx.dmx.he': p => `button ${num(p[0])} released`,
  'nx.dmx.sc': p => `button ${num(p[0])} clicked`,
  'nx.dmx.cc': p => `button ${num(p[0])} clicked ${num(p[1])} times`,
  'nx.dmx.pwr': p => `reports ${num(p[2])} W`,
  'nx.als.sga': p => (p.length > 1 ? `report ${num(p[0])}: element ${p[1]}` : 'report your elements'),
  'nx.als.sgt': p => `element ${p[0] || ''}`,
  'nx.als.sad': p => `stores element ${p[0] || ''}`,
  'nx.als.srm': p => `removes element ${p[0] || ''}`,
  'nx.als.sra': () => 'removes every element',
  'nx.als.sgo': p => `starts scene ${num(p[0])}`,
  'nx.als.sac': () => 'a scene has run to its end',
  'nx.als.gad': p => `adds group ${num(p[0])}`,
  'nx.als.grm': p => `removes group ${num(p[0])}`,
  'nx.als.gra': () => 'removes every group',
  'nx.als.ssr': () => 'starts a ramp of a scene',
  'nx.als.skr': () => 'stops a ramp of a scene',
};

function num(text) {
  const n = parseInt(text, 16);
  return Number.isNaN(n) ? text ?? '?' : String(n);
}

export function mibWords(name, params, type) {
  const words = MIBS[name] ? MIBS[name](params || []) : name;
  return type === 2 ? `asks: ${words}` : words;
}

const buttonName = (name, id) => {
  const found = (driver(name).value?.buttons || []).find(b => b.id === Number(id));
  return found?.name || `button ${id}`;
};
const BUS_USES = ['released', 'pressed', 'clicked', 'is still held'];
const BUTTON_EVENTS = ['released', 'pressed', 'clicked', 'double-clicked', 'clicked three times'];

const CALLS = {
  StartButtonTimer: () => 'hold timer of 1000 ms starts',
  KillButtonTimer: a => `hold timer ${a[0]} is stopped`,
  ReportButtonEvent: (a, name) => `${buttonName(name, a[0])} ${BUTTON_EVENTS[a[1]] || `event ${a[1]}`}`,
  SetLedColor: a => `LED ${a[0]}: colour ${a[2]}`,
  SetLedParam: a => `LED ${a[0]}: parameter ${a[1]} is ${a[2]}`,
  OnDeviceOffline: () => 'the device no longer answers',
  SynchronizationDone: () => 'the synchronisation is done',
  AddSceneFailed: a => `the light refused scene ${a[0]}, status ${a[1]}`,
  GroupSetLevel: a => `goes to ${a[1]} % in ${a[2]} ms, load group ${a[0]}`,
  GroupStartRamp: a => `starts a ramp ${a[2] ? 'up' : 'down'}, load group ${a[0]}`,
  GroupStopRamp: a => `stops its ramp, load group ${a[0]}`,
  GroupSyncStarted: () => 'writes the groups anew',
  GroupSyncStopped: () => 'the groups are written',
  ExecuteScene: a => `executes scene ${a[0]}`,
  StartSyncTimer: () => 'waits for the end of the reports',
  KillSyncTimer: a => `timer ${a[0]} is stopped`,
  ScenePushConflict: a => `scene ${a[0]} is held with another origin`,
  EnergyValueToUI: a => `tells the user interface ${a[0]} ${a[1]}`,
};

function variableWords(line) {
  const known = (driver(line.driver).value?.variables || []).find(v => v.id === line.variable);
  const name = line.name || known?.name || `variable ${line.variable}`;
  if (line.op === 'remove') return `${name} is removed`;
  const unit = /POWER$/.test(name) ? ' W' : '';
  return `${name} is ${line.value}${unit}`;
}

function gatewayWords(line) {
  const param = name => line.params.find(p => p.name === name)?.value;
  const opcode = Number(param('OPCODE'));
  return Number.isFinite(opcode) ? `sends: ${opcodeText(opcode)}` : `sends ${line.gateway}`;
}

// An input line, as visitors and devices hand it in.
export function inputWords(line) {
  if (line.trap) return mibWords(line.trap, line.params);
  if (line.reply) return `answers: ${mibWords(line.reply, line.params)}`;
  if (line.zcl_frame) return zclWords(line.zcl_frame.cluster, line.zcl_frame.hex);
  if ('online' in line) return line.online ? 'is online' : 'is offline';
  if (line.command) return [line.command, ...Object.entries(line.params || {}).slice(0, 3).map(p => p.join(' '))].join(', ');
  if (line.button) return `${line.button.action || line.button.do} of button ${line.button.id ?? line.button.index}`;
  if (line.bus_frame) return busWords(line.bus_frame);
  if (line.bus) return `bus: ${Object.keys(line.bus)[0]}`;
  if (typeof line.house === 'string') return houseWords(line);
  const [first] = Object.keys(line).filter(k => k !== 'driver');
  return first ? `${first.replace(/_/g, ' ')}` : 'an input';
}

function busWords(frame) {
  const opcode = Number(frame.opcode);
  const [button, use] = (frame.payload || '').match(/../g) || [];
  if (opcode === 0x9030) return `button ${num(button)} ${BUS_USES[num(use)] || 'is used'}`;
  return opcodeText(opcode);
}

function houseWords({ house, driver: name, ...rest }) {
  const of = name || 'the house';
  switch (house) {
    case 'power': return `power of ${of} ${rest.on ? 'on' : 'off'}`;
    case 'fault': return `faults of ${of}: ${Object.entries(rest).map(([k, v]) => `${k.replace(/_.*/, '')} ${v}`).join(', ')}`;
    case 'act': return `${{ press: 'presses', release: 'releases', click: 'clicks' }[rest.do] || rest.do} ${rest.contact === undefined ? buttonName(name, rest.button) : `contact ${rest.contact}`}`;
    case 'level': return `takes ${of} to ${rest.level} %`;
    case 'scene': return `recalls scene ${rest.id}`;
    case 'group': return `load group ${rest.id}: ${rest.do}`;
    default: return house.replace(/_/g, ' ');
  }
}

function causeWords(line) {
  switch (line.cause) {
    case 'visitor': return `${line.visitor || 'a visitor'}: ${inputWords({ driver: line.driver, ...line.line })}`;
    case 'device': return inputWords(line.line || {});
    case 'timer': return line.started_ms === undefined || line.started_ms === null
      ? `timer ${line.timer} runs out`
      : `timer ${line.timer} of ${((line.t_ms - line.started_ms) / 1000).toFixed(1)} s runs out`;
    default: return line.words || line.cause;
  }
}

export function wordsOf(line) {
  if ('cause' in line) return causeWords(line);
  if ('zcl' in line) return zclWords(line.cluster, line.hex || '');
  if ('mib' in line) return mibWords(line.mib, line.params, line.type);
  if ('gateway' in line) return gatewayWords(line);
  if ('variable' in line) return variableWords(line);
  if ('call' in line) return CALLS[line.call] ? CALLS[line.call](line.args || [], line.driver) : line.call;
  if ('event' in line) return `event ${line.event} fires`;
  if ('log' in line) return line.log;
  if ('assert' in line) return 'an assertion failed';
  if ('bound_call' in line) return `tells its bound device ${line.bound_call}`;
  if ('bound_call_result' in line) return `the bound call results in ${line.bound_call_result}`;
  if ('binding' in line) return `binding ${line.binding} is ${line.op === 'remove' ? 'removed' : 'added'}`;
  if ('unhandled' in line) return `does not know the command ${line.unhandled}`;
  if ('ui' in line) return 'tells the user interface';
  if ('condition' in line) return `condition ${line.condition} is ${line.result}`;
  if ('state' in line) return 'its state';
  if ('answer' in line) return `answers ${line.answer}`;
  return Object.keys(line).find(k => !['seq', 't_ms', 'driver', 'of'].includes(k)) || '';
}

export function rawOf(line) {
  if ('cause' in line) return line.line ? rawInput(line.line) : '';
  if ('zcl' in line) return spaced(line.hex || '');
  if ('mib' in line) return [line.mib, ...(line.params || [])].join(' ');
  if ('gateway' in line) return rawGateway(line);
  if ('variable' in line) return line.op === 'remove' ? `${line.variable}` : `${line.variable} = ${line.value}`;
  if ('call' in line) return `${line.call} ${JSON.stringify(line.args || [])}`;
  if ('event' in line) return String(line.event);
  if ('log' in line) return `${line.level} ${(line.file || '').replace(/.*\//, '')}:${line.line ?? ''}`;
  if ('assert' in line) return `${line.assert}:${line.line}`;
  const { seq, t_ms, driver: of, of: cause, ...rest } = line;
  return JSON.stringify(rest);
}

function rawGateway(line) {
  return line.params.map(p => (p.name === 'OPCODE' ? hex(p.value, 4) : p.value)).join(' ');
}

function rawInput(line) {
  if (line.zcl_frame) return spaced(line.zcl_frame.hex || '');
  if (line.trap || line.reply) return [line.trap || line.reply, ...(line.params || [])].join(' ');
  if (line.bus_frame) return `bus ${hex(line.bus_frame.opcode, 4)} ${spaced(line.bus_frame.payload || '')}`;
  return JSON.stringify(line);
}

// A break's condition in words, as its switch is named.
export function conditionText(when) {
  const of = when.driver ? ` of ${when.driver}` : '';
  if ('log' in when) return `${when.log === 'WARN' ? 'any warning' : `a log record of ${when.log} or above`}${of}`;
  if ('assert' in when) return `an assertion${of}`;
  if ('event' in when) return `${when.event === null ? 'any event' : `event ${when.event}`}${of}`;
  if ('packet' in when) return `packet ${when.packet}${of}`;
  if ('text' in when) return `text ${when.text}${of}`;
  if ('variable' in when) {
    const how = ['above', 'below', 'is'].find(k => k in when);
    return `${when.variable}${of} ${how || ''} ${how ? when[how] : ''}`.trim();
  }
  return JSON.stringify(when);
}
