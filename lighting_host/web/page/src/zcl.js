// ZigBee frames of the Groups and Scenes clusters, octet by octet, for reading: what each octet
// means, and the frame in words. A frame that makes no sense gives what could be read of it.
const COMMANDS = {
  4: { 0: 'Add Group', 1: 'View Group', 2: 'Get Group Membership', 3: 'Remove Group', 4: 'Remove All Groups' },
  5: { 0: 'Add Scene', 1: 'View Scene', 2: 'Remove Scene', 3: 'Remove All Scenes', 4: 'Store Scene', 5: 'Recall Scene', 6: 'Get Scene Membership', 0x40: 'Enhanced Add Scene', 0x41: 'Enhanced View Scene' },
};
const GENERAL = { 0: 'Read Attributes', 1: 'Read Attributes Response', 0x0b: 'Default Response' };
const STATUS = { 0: 'success', 0x85: 'invalid field', 0x89: 'no space', 0x8a: 'already there', 0x8b: 'not found', 0x81: 'unknown command', 0x86: 'unsupported attribute' };

const statusText = s => STATUS[s] || `status 0x${s.toString(16)}`;
export const percentOfRaw = raw => Math.floor((raw * 100 + 127) / 254);
export const rawOfPercent = p => Math.floor((p * 254 + 50) / 100);

const octetsOf = hex => (hex.match(/../g) || []).map(o => parseInt(o, 16));
export const spaced = hex => (hex.match(/../g) || []).join(' ');

class Reader {
  constructor(octets) {
    this.octets = octets;
    this.at = 0;
    this.rows = [];
  }

  left() { return this.octets.length - this.at; }

  // Reads so many octets, least significant first; null when there are fewer.
  number(size, name, say = n => String(n)) {
    if (this.left() < size) return null;
    const part = this.octets.slice(this.at, this.at + size);
    this.at += size;
    const value = part.reduceRight((sum, o) => sum * 256 + o, 0);
    this.row(part, name, say(value));
    return value;
  }

  row(part, name, meaning) {
    this.rows.push([part.map(o => o.toString(16).padStart(2, '0')).join(' '), name, meaning]);
  }
}

function readSets(r, out) {
  while (r.left() >= 3) {
    const cluster = r.octets[r.at] + 256 * r.octets[r.at + 1];
    const size = r.octets[r.at + 2];
    const part = r.octets.slice(r.at, r.at + 3 + size);
    r.at += part.length;
    if (cluster === 6) r.row(part, 'On/Off', part[3] ? 'on' : 'off');
    else if (cluster === 8) {
      out.level = percentOfRaw(part[3]);
      r.row(part, 'Level Control', `${part[3]} of 254, ${out.level} %`);
    } else r.row(part, `cluster ${cluster}`, 'passed over');
  }
}

function readScene(r, out, tenths) {
  out.group = r.number(2, 'group');
  out.scene = r.number(1, 'scene in it');
  if (r.left() < 2) return;
  const time = r.number(2, 'time', n => (tenths ? `${n / 10} s` : `${n} s`));
  out.seconds = tenths ? time / 10 : time;
  const length = r.number(1, 'name', n => (n ? `${n} letters` : 'empty'));
  r.at += length || 0;
  readSets(r, out);
}

function readList(r, name, size, count) {
  const list = [];
  for (let i = 0; i < count && r.left() >= size; i += 1) list.push(r.number(size, name));
  return list;
}

function readGroups(r, out, response) {
  switch (out.command) {
    case 2:
      if (response) r.number(1, 'capacity', n => `${n} more`);
      out.list = readList(r, 'group', 2, r.number(1, 'how many') || 0);
      return;
    case 4: return;
    default:
      if (response) out.status = r.number(1, 'status', statusText);
      out.group = r.number(2, 'group');
  }
}

function readScenes(r, out, response) {
  switch (out.command) {
    case 0: case 0x40:
      if (response) {
        out.status = r.number(1, 'status', statusText);
        out.group = r.number(2, 'group');
        out.scene = r.number(1, 'scene in it');
      } else readScene(r, out, out.command === 0x40);
      return;
    case 1: case 0x41:
      if (response) out.status = r.number(1, 'status', statusText);
      readScene(r, out, out.command === 0x41);
      return;
    case 6:
      if (response) {
        out.status = r.number(1, 'status', statusText);
        r.number(1, 'capacity', n => `${n} more`);
      }
      out.group = r.number(2, 'group');
      if (response && out.status === 0) out.list = readList(r, 'scene in it', 1, r.number(1, 'how many') || 0);
      return;
    default:
      if (response) out.status = r.number(1, 'status', statusText);
      out.group = r.number(2, 'group');
      if (r.left()) out.scene = r.number(1, 'scene in it');
  }
}

function readGeneral(r, out) {
  if (out.command === 0) r.number(2, 'attribute', n => (n === 0 ? 'scene count' : `0x${n.toString(16)}`));
  if (out.command !== 1) return;
  r.number(2, 'attribute', n => (n === 0 ? 'scene count' : `0x${n.toString(16)}`));
  out.status = r.number(1, 'status', statusText);
  if (out.status !== 0) return;
  r.number(1, 'type', n => (n === 0x20 ? '8 bits' : `0x${n.toString(16)}`));
  out.count = r.number(1, 'value');
}

// What a frame says: { rows: [[octets, name, meaning]], command, response, ... }.
export function decode(cluster, hex) {
  const r = new Reader(octetsOf(hex));
  const control = r.number(1, 'control', n => `${n & 3 ? 'command' : 'general'}, ${n & 8 ? 'from the light' : 'to the light'}`);
  if (control === null) return { rows: r.rows };
  const response = (control & 8) !== 0;
  const out = { rows: r.rows, response, general: (control & 3) === 0 };
  r.number(1, 'sequence');
  const names = out.general ? GENERAL : COMMANDS[cluster] || {};
  out.command = r.number(1, 'command', n => `${names[n] || `0x${n.toString(16)}`}${response && !out.general ? ' Response' : ''}`);
  if (out.command === null) return out;
  if (out.general) readGeneral(r, out);
  else if (cluster === 4) readGroups(r, out, response);
  else if (cluster === 5) readScenes(r, out, response);
  if (r.left()) r.row(r.octets.slice(r.at), 'rest', '');
  return out;
}

const sceneId = f => (f.scene === null || f.scene === undefined ? '?' : f.scene * 65536 + f.group);
const settings = f => `${f.level ?? '?'} %, ${f.seconds ?? '?'} s`;

function askedWords(cluster, f) {
  if (f.general) return f.command === 0 ? 'how many scenes do you hold?' : 'a general command';
  if (cluster === 4) {
    return { 0: `joins group ${f.group}`, 2: 'which groups?', 3: `leaves group ${f.group}`, 4: 'leaves every group' }[f.command];
  }
  return {
    0: `stores scene ${sceneId(f)}: ${settings(f)}`, 0x40: `stores scene ${sceneId(f)}: ${settings(f)}`,
    1: `show scene ${sceneId(f)}`, 0x41: `show scene ${sceneId(f)}`, 2: `forgets scene ${sceneId(f)}`,
    3: `forgets the scenes of group ${f.group}`, 5: `recalls scene ${sceneId(f)}`, 6: `which scenes of group ${f.group}?`,
  }[f.command];
}

function answerWords(cluster, f) {
  if (f.general) {
    if (f.command === 1) return f.count === undefined ? `does not say: ${statusText(f.status)}` : `holds ${f.count} scenes`;
    return 'a default response';
  }
  if (cluster === 4) {
    if (f.command === 2) return f.list.length ? `is in ${f.list.join(', ')}` : 'is in no group';
    return `group ${f.group}: ${statusText(f.status)}`;
  }
  if (f.command === 6) {
    if (f.status !== 0) return `group ${f.group}: ${statusText(f.status)}`;
    return f.list.length ? `holds ${f.list.join(', ')} of group ${f.group}` : `holds none of group ${f.group}`;
  }
  if ((f.command === 1 || f.command === 0x41) && f.status === 0) return `scene ${sceneId(f)} is ${settings(f)}`;
  return `scene ${sceneId(f)}: ${statusText(f.status)}`;
}

export function zclWords(cluster, hex) {
  const frame = decode(cluster, hex);
  if (frame.command === undefined || frame.command === null) return 'a frame that is cut short';
  const words = frame.response ? answerWords(cluster, frame) : askedWords(cluster, frame);
  return words || 'a command of the cluster';
}
