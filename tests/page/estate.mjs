// A large, mixed house for the page's tests: the example house over and over, each with rooms, drivers,
// scenes and load groups of its own.
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

import { EXAMPLE_HOUSE } from './program.mjs';

const DRIVERS_APART = 1000;
const SCENES_APART = 25;

function wing(house, number) {
  const inside = house.slice(house.indexOf('<house>') + '<house>'.length, house.lastIndexOf('</house>'));
  const named = text => `${text}_${number}`;
  return inside
    .replace(/(<driver name|\bdriver|\bfrom|\bto|\broom)="(\w+)"/g, (all, key, value) => (/^\d+$/.test(value) ? all : `${key}="${named(value)}"`))
    .replace(/<member>(\w+)</g, (all, name) => `<member>${named(name)}<`)
    .replace(/(<driver [^>]*\bid)="(\d+)"/g, (all, key, id) => `${key}="${Number(id) + DRIVERS_APART * number}"`)
    .replace(/(<(?:scene|load_group) id)="(\d+)" name="([^"]*)"/g, (all, key, id, name) => `${key}="${Number(id) + SCENES_APART * number}" name="${name} ${number}"`);
}

// Writes a house of so many wings into a folder of its own; `remove` takes it away.
export function writeEstate(wings) {
  const house = readFileSync(EXAMPLE_HOUSE, 'utf8');
  const folder = mkdtempSync(join(tmpdir(), 'estate-'));
  const path = join(folder, 'estate.xml');
  writeFileSync(path, `<house>${Array.from({ length: wings }, (_, i) => wing(house, i)).join('\n')}</house>\n`);
  return { path, remove: () => rmSync(folder, { recursive: true }) };
}
