// Figures in words.

export const percent = v => Math.round(v);

// [figure, unit], so that the unit can be set apart.
export function watts(w) {
  if (w === null || w === undefined) return ['–', ' W'];
  return Math.abs(w) >= 1000 ? [(w / 1000).toFixed(2), ' kW'] : [String(Math.round(w)), ' W'];
}
export const wattsText = w => watts(w).join('');
export const kwhText = (wh, digits = 3) => `${(wh / 1000).toFixed(digits)} kWh`;

// 18442 as "18 442".
export const count = n => String(n).replace(/\B(?=(\d{3})+(?!\d))/g, ' ');

export const plural = (n, one, many = `${one}s`) => `${n} ${n === 1 ? one : many}`;

export const hex = (n, width) => Number(n).toString(16).padStart(width, '0');

// How bright a colour of six hex digits is, 0 to 1, by its brightest part.
export function brightness(color) {
  const n = parseInt(color, 16);
  return Number.isNaN(n) ? 0 : Math.max(n >> 16, (n >> 8) & 255, n & 255) / 255;
}

// Below this a lit LED reads as off.
export const LED_ON_FROM = 0.15;

export function ledText(button) {
  const color = button.led || '000000';
  const state = brightness(color) >= LED_ON_FROM ? 'on' : 'off';
  return `LED ${button.blink_ms && state === 'on' ? 'blinking' : state}, colour ${color}`;
}

export const capital = text => text.charAt(0).toUpperCase() + text.slice(1);

// "living_wall" as a room's name.
export const roomText = room => (room ? capital(room.replace(/_/g, ' ')) : 'no room');
