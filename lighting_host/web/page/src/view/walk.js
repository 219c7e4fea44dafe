// A repair or a synchronisation as a walk: what was asked, answered, mended, and what comes next.
import { isRepaired, lightGroups, lightRows, repairCounts, syncName } from '../compare.js';
import { capital, hex } from '../figures.js';
import { inText, minute, moment, sinceText, timeMsText } from '../time.js';
import { mibWords } from '../words.js';
import { decode, spaced, zclWords } from '../zcl.js';
import { Bar, Facts, html } from './base.js';

const ARROWS = { out: '→', in: '←', note: '!' };
const SIDE = { out: 'to the device', in: 'from the device', note: 'note' };
const MENDS = ['nx.als.gad', 'nx.als.gra', 'nx.als.grm', 'nx.als.sad', 'nx.als.srm', 'nx.als.sra'];

function frameWords(f) {
  if (f.hex) return zclWords(f.cluster, f.hex);
  if (f.mib) return mibWords(f.mib, f.params, f.type);
  return f.words || '';
}

function frameKind(f) {
  if (f.way === 'note') return 'bad';
  if (f.way === 'in') return 'answer';
  if (f.mib) return MENDS.includes(f.mib) ? 'mend' : 'ask';
  if (!f.hex) return 'ask';
  const { general, command } = decode(f.cluster, f.hex);
  return !general && (f.cluster === 4 ? [0, 3, 4] : [0, 2, 3]).includes(command) ? 'mend' : 'ask';
}

function rawText(f) {
  if (f.hex) return f.hex.length > 14 ? `${f.hex.length / 2} octets` : spaced(f.hex);
  return f.mib ? [f.mib.replace(/^nx\.(als|dmx)\./, ''), ...(f.params || []).slice(0, 2)].join(' ') : '';
}

const shortTime = t => timeMsText(t).slice(3);

const Step = ({ f }) => html`<li class=${frameKind(f)}><time>${shortTime(f.t_ms)}</time><i aria-label=${SIDE[f.way]} role="img">
  ${ARROWS[f.way]}</i>
  <span>${frameWords(f)}</span><code title=${f.hex ? spaced(f.hex) : ''}>${rawText(f)}</code></li>`;

function Next({ sync }) {
  if (sync.ended_ms !== null || sync.next_ms === null || sync.next_ms === undefined) return null;
  const left = sync.next_ms - moment.value;
  const pause = sync.pause_ms || 1;
  return html`<li class="next"><time>${shortTime(sync.next_ms)}</time><i aria-hidden="true">→</i><span>goes on <b>in ${inText(left)}</b>
    </span>
    <code>of ${inText(pause)}</code><${Bar} part=${1 - left / pause}/></li>`;
}

// What a light's walk has still to do, as far as both tables tell.
function toCome(d) {
  if (!isRepaired(d) || d.sync.ended_ms !== null) return [];
  const groups = lightGroups(d).missing.map(g => `join group ${g}`);
  const words = { missing: 'store scene', differs: 'store scene', extra: 'forget scene' };
  return [...groups, ...lightRows(d).filter(r => words[r.state]).map(r => `${words[r.state]} ${r.id}`)];
}

function endFacts(d) {
  const { sync } = d;
  const facts = [];
  if (sync.ended_ms !== null) facts.push(['ended', `${timeMsText(sync.ended_ms)}, ${sync.how || 'done'}`]);
  if (sync.timer) facts.push(['timer', String(sync.timer)]);
  if (sync.ended_ms === null && sync.watchdog_ms) {
    facts.push(['watchdog', `gives up at ${timeMsText(sync.watchdog_ms)}, in ${inText(sync.watchdog_ms - moment.value)}`]);
  }
  return facts;
}

// The numbers of a dimmer's reports, those missed among them.
function reportsOf(sync) {
  const came = sync.frames.filter(f => f.way === 'in' && f.mib === 'nx.als.sga' && (f.params || []).length > 1).map(f => parseInt(f.params[0], 16));
  if (came.length === 0) return [];
  const most = Math.min(Math.max(...came), 63);
  return Array.from({ length: most + 1 }, (_, i) => ({ number: i, came: came.includes(i) }));
}

function Reports({ sync }) {
  const list = reportsOf(sync);
  if (list.length === 0) return null;
  const lost = list.filter(r => !r.came).length;
  return html`<div class="reports" role="img" aria-label=${`reports 0 to ${list.length - 1}; ${lost} missed`}>
    ${list.map(r => html`<i key=${r.number} class=${r.came ? '' : 'missed'}>${r.number}</i>`)}
      <span>reports; ${lost ? `${lost} lost` : 'none lost'}</span></div>`;
}

export function Walk({ d }) {
  const name = syncName(d);
  const title = capital(name);
  const { sync } = d;
  if (!sync) return html`<section class="card walk" aria-label=${`${name} of ${d.name}`}><h2>${title}</h2><p class="quiet">None so far.</p>
    </section>`;
  const runs = sync.ended_ms === null;
  const more = toCome(d);
  return html`<section class="card walk" tabindex="0" aria-label=${`${name} of ${d.name}`}>
    <h2>${title} ${runs ? 'under way' : 'of last time'}<span>since ${sinceText(sync.since_ms, minute.value)}</span></h2>
      <${Reports} sync=${sync}/>
    <ol>${sync.frames.slice(-60).map((f, i) => html`<${Step} key=${`${f.seq ?? ''} ${f.t_ms} ${i}`} f=${f}/>`)}<${Next} sync=${sync}/>
      ${more.map(words => html`<li class="to-come" key=${words}><time></time><i aria-hidden="true">→</i><span>${words}</span>
        <code>to come</code></li>`)}</ol>
    <${Facts} kind="pairs" list=${endFacts(d)}/></section>`;
}

const Cells = ({ full, all, words, kind }) => html`<span class=${`cells ${kind}`} role="img" aria-label=${words}>
  ${Array.from({ length: Math.min(all, 16) }, (_, i) => html`<i key=${i}
    class=${i < (all > 16 ? Math.round((full / all) * 16) : full) ? 'full' : ''}></i>`)}</span>`;

// How many frames a light's repair takes, against the fewest that can do.
export function Frames({ d }) {
  if (!d.sync) return null;
  const { sent, toCome: left, questions } = repairCounts(d);
  return html`<section aria-label=${`frames of ${d.name}`}><h3>Frames of ${d.sync.ended_ms === null ? 'this' : 'the last'} repair</h3>
    <p class="meter"><span class="label">repairs</span>
      <${Cells} kind="mend" full=${sent} all=${sent + left} words=${`${sent} repairs sent, ${left} to come`}/>
      <span class="figure">${sent} <small>of ${sent + left}, the fewest possible</small></span></p>
    <p class="meter"><span class="label">questions</span>
      <${Cells} kind="ask" full=${questions} all=${questions} words=${`${questions} questions asked`}/>
      <span class="figure">${questions}</span></p></section>`;
}

export const elementText = id => hex(id, 4);
