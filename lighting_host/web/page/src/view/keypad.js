// Keypads and puck modules as they hang on the wall: buttons with LEDs, contacts.
import { useSignal } from '@preact/signals';

import { send } from '../connection.js';
import { brightness, ledText } from '../figures.js';
import { act, canTouch } from '../use.js';
import { html } from './base.js';
import { useHold } from './hold.js';

const idOf = text => text.replace(/[^A-Za-z0-9]/g, '-');
export const ledId = (driver, button, big) => `led-${idOf(driver)}-${button}${big ? '-wall' : ''}`;

// A blink no faster than three times a second.
const FASTEST_BLINK_MS = 334;

export function Led({ button }) {
  const blinks = button.blink_ms > 0;
  const style = { '--c': `#${button.led || '000000'}`, '--b': String(Math.max(0.06, brightness(button.led || '000000')).toFixed(2)) };
  if (blinks) style['--blink'] = `${Math.max(FASTEST_BLINK_MS, button.blink_ms * 2)}ms`;
  return html`<i class=${`led ${blinks ? 'blinks' : ''}`} data-color=${button.led} style=${style}></i>`;
}

// How a button of a driver is pressed: at its simulated device; without one a button on the bus as if
// its device had said so.
const STILL_HELD_MS = 500;
function useFinger(d, button) {
  const timer = useSignal(0);
  const say = action => send({ driver: d.name, button: { id: button.id, action } });
  if (d.simulated || !d.queue) {
    return [() => act(d.name, { do: 'press', button: button.id }), () => act(d.name, { do: 'release', button: button.id })];
  }
  return [
    () => {
      say('push');
      timer.value = setInterval(() => say('hold'), STILL_HELD_MS);
    },
    () => {
      clearInterval(timer.peek());
      say('release');
    },
  ];
}

function Button({ d, button, big }) {
  const [press, release] = useFinger(d, button);
  const disabled = !canTouch();
  const { held, on } = useHold(press, release, disabled);
  const down = held || button.pressed;
  const led = ledId(d.name, button.id, big);
  const name = button.name || `button ${button.id}`;
  return html`<button type="button" class=${`key ${down ? 'held' : ''}`} aria-pressed=${down ? 'true' : 'false'}
      aria-describedby=${led} disabled=${disabled} style=${{ '--slots': String(Math.max(1, button.slots || 1)) }} ...${on}>
    <${Led} button=${button}/><span class="engraving">${name}</span></button>
    <span class="hidden" id=${led}>${ledText(button)}</span>`;
}

export function Plate({ d, big = false }) {
  if (!d.buttons || d.buttons.length === 0) return null;
  return html`<div class=${big ? 'big-plate' : `plate of-${Math.min(d.buttons.length, 8)}`}
    style=${{ '--buttons': String(d.buttons.length) }}>
    ${d.buttons.map(b => html`<${Button} key=${b.id} d=${d} button=${b} big=${big}/>`)}</div>`;
}

// What a puck module says when a contact is pushed and let go, for a driver without a device.
const CONTACT_NUMBERS = ['00000007', '00000008'];
function contactLine(d, index, down) {
  if (d.simulated) return act(d.name, { do: down ? 'press' : 'release', contact: index });
  return send({ driver: d.name, trap: down ? 'nx.dmx.bp' : 'nx.dmx.he', params: [CONTACT_NUMBERS[index]] });
}

function Contact({ d, index, pressed }) {
  return html`<button type="button" class="contact" aria-pressed=${pressed ? 'true' : 'false'} disabled=${!canTouch()}
    onClick=${() => contactLine(d, index, !pressed)}><i></i>contact ${index}</button>`;
}

export function Contacts({ d }) {
  if (!d.contacts || d.contacts.length === 0) return null;
  return html`<span class="contacts">${d.contacts.map((c, i) => html`<${Contact} key=${i} d=${d} index=${i} pressed=${c.pressed}/>`)}
    </span>`;
}
