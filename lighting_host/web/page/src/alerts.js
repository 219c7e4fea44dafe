// What must be said once and stays until it is closed.
import { signal } from '@preact/signals';

export const alerts = signal([]);
const MOST = 5;
let last = 0;

// `action`, if any, is { name, run }.
export function say(text, detail = '', action = null) {
  last += 1;
  const again = alerts.value.filter(a => a.text !== text || a.detail !== detail);
  alerts.value = [...again, { id: last, text, detail, action }].slice(-MOST);
}

export const close = id => { alerts.value = alerts.value.filter(a => a.id !== id); };
