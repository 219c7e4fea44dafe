// What the tests of the page share: one browser, a page that is watched for errors and for requests
// that leave the machine, and waiting for something to become true.
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import assert from 'node:assert/strict';
import { after, afterEach, before, beforeEach } from 'node:test';
import { chromium } from 'playwright-core';

const AXE = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
// Long enough for a machine that is busy with other things.
export const TIMEOUT_MS = 20000;
const POLL_MS = 20;

let browser = null;
const startBrowser = async () => {
  browser = await chromium.launch({ executablePath: process.env.CHROMIUM || '/usr/bin/chromium', args: ['--no-sandbox'] });
};
const stopBrowser = () => browser.close();

export class Visitor {
  // Opens the page at that address; `expected` are texts of console errors that a test causes itself.
  static async open(url, { viewport = { width: 1440, height: 900 }, wait = true, expected = [], ...options } = {}) {
    const visitor = new Visitor();
    visitor.context = await browser.newContext({ viewport, ...options });
    visitor.context.setDefaultTimeout(TIMEOUT_MS);
    visitor.page = await visitor.context.newPage();
    visitor.problems = [];
    visitor.watch(expected);
    await visitor.page.goto(url);
    if (wait) await visitor.page.getByRole('status', { name: 'connection' }).getByText(/^(live|paused|paused in the past)$/).waitFor();
    return visitor;
  }

  watch(expected) {
    const { page, problems } = this;
    page.on('console', m => {
      if (m.type() === 'error' && !expected.some(e => m.text().includes(e))) problems.push(`console: ${m.text()}`);
    });
    page.on('pageerror', e => problems.push(`error: ${e.message}`));
    const local = url => ['127.0.0.1', ''].includes(new URL(url).hostname);
    page.on('request', r => { if (!local(r.url())) problems.push(`request to ${r.url()}`); });
    page.on('websocket', s => { if (!local(s.url())) problems.push(`socket to ${s.url()}`); });
  }

  async close() {
    await this.context.close();
    assert.deepEqual(this.problems, []);
  }

  region(name) { return this.page.getByRole('region', { name, exact: true }); }

  button(name, region = null) { return (region ? this.region(region) : this.page).getByRole('button', { name, exact: true }); }

  slider(name) { return this.page.getByRole('slider', { name, exact: true }); }

  switch(name) { return this.page.getByRole('switch', { name, exact: true }); }

  main(name) { return this.page.getByRole('main', { name, exact: true }); }

  status() { return this.page.getByRole('status').innerText(); }

  go(hash) { return this.page.evaluate(h => { location.hash = h; }, hash); }

  // By how many pixels the page is wider than the window.
  tooWide() {
    return this.page.evaluate(() => Math.max(0, document.documentElement.scrollWidth - document.documentElement.clientWidth));
  }

  // The rules of axe-core that are broken, each with the elements that break it.
  async violations() {
    await this.page.evaluate(AXE);
    const found = await this.page.evaluate(() => window.axe.run({ runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa', 'best-practice'] }));
    return found.violations.map(v => `${v.id}: ${v.nodes.slice(0, 3).map(n => `${n.target} ${n.failureSummary}`).join('; ')}`);
  }
}

// Waits until `check` gives something true, and gives that.
export async function until(check, what = check.toString()) {
  for (const end = Date.now() + TIMEOUT_MS; Date.now() < end;) {
    const value = await check();
    if (value) return value;
    await new Promise(done => setTimeout(done, POLL_MS));
  }
  return assert.fail(`never came true: ${what}`);
}

export const attribute = (locator, name, value) => until(async () => await locator.getAttribute(name) === value, `${name} is ${value}`);
export const says = (locator, text) => until(async () => (await locator.innerText()).replace(/\s+/g, ' ').includes(text), `says "${text}"`);

// What each file of tests begins with: a browser for all of its tests, and for each a server anew,
// which is given back to its `end` when the windows are closed. `use.server` may be replaced.
export function withHouse(begin, end = server => server.close()) {
  const use = { server: null, visitors: [] };
  before(startBrowser);
  after(stopBrowser);
  beforeEach(async () => { use.server = await begin(); });
  afterEach(async () => {
    const all = use.visitors;
    use.visitors = [];
    for (const v of all) await v.close();
    await end(use.server);
  });
  // Opens a window at that part of the page; the server's house is as the test left it.
  use.open = async (hash = '', options = {}) => {
    const v = await Visitor.open(`${use.server.url}/${hash}`, options);
    use.visitors.push(v);
    return v;
  };
  // The lines handed in that have these members.
  use.heard = match => use.server.inputs.filter(i => Object.entries(match).every(([k, v]) => i[k] === v));
  return use;
}

export const statusIs = (v, text) => v.page.getByRole('status', { name: 'connection' }).getByText(text, { exact: true }).waitFor();
