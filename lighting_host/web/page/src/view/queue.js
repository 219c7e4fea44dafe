// The bus queue of a keypad, in its own order: what was replaced stays in its place.
import { waitingCount } from '../compare.js';
import { hex, plural } from '../figures.js';
import { inText, minute, moment, timeMsText, sinceText } from '../time.js';
import { opcodeText } from '../words.js';
import { Chip, html } from './base.js';

const queueWords = queue => plural(waitingCount(queue), 'message');
const DONE = ['answered', 'given_up', 'dropped'];

// A message gets its number when it is sent.
const Head = ({ m, children }) => html`<div class="message"><b>${m.number === null ? '' : `#${m.number}`}</b><code>${hex(m.opcode, 4)}</code><span>${opcodeText(m.opcode)}
  </span>${children}</div>`;

// One part for each attempt; the last one fills until the message is sent again.
function Attempts({ m, attempts }) {
  const sent = m.sent_ms.length;
  const last = m.sent_ms[sent - 1];
  const part = m.due_ms === null ? 1 : Math.max(0, Math.min(1, (moment.value - last) / Math.max(1, m.due_ms - last)));
  return html`<div class="bar attempts" role="img" aria-label=${`attempt ${sent} of ${attempts}`}>
    ${Array.from({ length: Math.max(attempts, sent) }, (_, i) => html`<i key=${i}
    style=${{ '--p': i < sent - 1 ? '100%' : i === sent - 1 ? `${(part * 100).toFixed(1)}%` : '0%' }}></i>`)}</div>`;
}

function Transit({ m, queue }) {
  const wait = m.due_ms === null ? null : m.due_ms - m.sent_ms[m.sent_ms.length - 1];
  const [least, most] = queue.retry_ms || [20000, 40000];
  return html`<li class="transit"><${Head} m=${m}><${Chip} kind="now">in transit<//><//>
    <div class="sendings">${m.sent_ms.slice(-3).map((t, i) => html`<span key=${t}>${i ? 'again' : 'sent'} ${timeMsText(t)}</span>`)}
      ${m.due_ms !== null && html`<span class="next">again in <b>${inText(m.due_ms - moment.value)}</b></span>`}</div>
    <${Attempts} m=${m} attempts=${queue.attempts || 3}/>
    <p>Attempt ${m.sent_ms.length} of ${queue.attempts || 3}. ${wait !== null && `Waits ${inText(wait)}, drawn from ${least / 1000} to ${most / 1000} s. `}After the last the keypad counts as offline.</p></li>`;
}

function Message({ m, queue }) {
  if (m.state === 'transit') return html`<${Transit} m=${m} queue=${queue}/>`;
  if (m.state === 'superseded') {
    return html`<li class="superseded"><${Head} m=${m}><${Chip} kind="mute">replaced${m.replaced_by ? ` by #${m.replaced_by}` : ''}<//><//>
      </li>`;
  }
  return html`<li><${Head} m=${m}><${Chip} kind="plain">waits${m.queued_ms === null ? '' : ` ${inText(moment.value - m.queued_ms)}`}<//><//></li>`;
}

const DONE_WORDS = { answered: '', given_up: 'given up, ', dropped: 'dropped, ' };
function Done({ m }) {
  const took = m.state === 'answered' && m.done_ms !== null && m.sent_ms.length ? `, ${m.done_ms - m.sent_ms[m.sent_ms.length - 1]} ms` : '';
  return html`<li><${Head} m=${m}><small>${DONE_WORDS[m.state]}${m.done_ms === null ? '' : sinceText(m.done_ms, minute.value)}${took}
    </small><//></li>`;
}

function totalsText(t) {
  return `In all: ${t.queued} queued, ${t.answered} answered, ${t.superseded} superseded, ${t.given_up} given up, ${t.retries === 1 ? '1 retry' : `${t.retries} retries`}.`;
}

export function Queue({ d }) {
  const queue = d.queue;
  if (!queue) return null;
  const open = queue.messages.filter(m => !DONE.includes(m.state));
  const done = queue.messages.filter(m => DONE.includes(m.state));
  const superseded = open.filter(m => m.state === 'superseded').length;
  const transit = open.some(m => m.state === 'transit');
  const waits = waitingCount(queue) - (transit ? 1 : 0);
  const head = [transit ? 'in transit' : 'idle', waits ? `${waits} ${waits === 1 ? 'waits' : 'wait'}` : '', superseded ? `${superseded} superseded` : ''].filter(Boolean).join(' · ');
  return html`<section class="card queue" tabindex="0" aria-label=${`bus queue of ${d.name}`}><h2>Bus queue<span>${head}</span></h2>
    ${open.length ? html`<ol class="messages">${open.map((m, i) => html`<${Message} key=${m.number ?? `waits ${i}`} m=${m} queue=${queue}/>`)}
      </ol>` : html`<p class="quiet">${waitingCount(queue) ? `${queueWords(queue)} in it.` : 'Nothing waits.'}</p>`}
    ${done.length > 0 && html`<h3>Done</h3><ol class="messages old">${done.map(m => html`<${Done} key=${m.number} m=${m}/>`)}</ol>`}
    ${queue.totals && html`<p class="totals">${totalsText(queue.totals)}</p>`}</section>`;
}
