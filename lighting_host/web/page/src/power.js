// Power over time, from the steps of each load.
import { powerOf } from './state.js';

// The value of steps [t, watts] at t.
function valueAt(steps, t) {
  let low = 0;
  let high = steps.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (steps[middle][0] <= t) low = middle + 1;
    else high = middle;
  }
  return low ? steps[low - 1][1] : 0;
}

// Every time from a to b at which one of the loads changes, both ends included.
function timesOf(names, a, b) {
  const times = new Set([a, b]);
  for (const name of names) for (const [t] of powerOf(name)) if (t > a && t < b) times.add(t);
  return [...times].sort((x, y) => x - y);
}

// More points than this cannot be seen.
const POINTS = 3000;

// Of neighbours in one slot of time the highest counts, so that no peak is lost.
function thin(times, sums, slots) {
  if (times.length <= slots) return [times, sums];
  const a = times[0];
  const width = (times[times.length - 1] - a) / slots;
  const keptTimes = [];
  const kept = sums.map(() => []);
  let slot = -1;
  times.forEach((t, i) => {
    const mine = Math.floor((t - a) / width);
    if (mine !== slot) {
      slot = mine;
      keptTimes.push(t);
      sums.forEach((s, k) => kept[k].push(s[i]));
    } else sums.forEach((s, k) => { kept[k][kept[k].length - 1] = Math.max(kept[k][kept[k].length - 1], s[i]); });
  });
  return [keptTimes, kept];
}

// The power of each set of loads from a to b: [times, [watts of the first set, ...]].
export function powerSeries(sets, a, b) {
  const times = timesOf(sets.flat(), a, b);
  const sums = sets.map(names => {
    const sum = new Array(times.length).fill(0);
    for (const name of names) addSteps(sum, times, powerOf(name));
    return sum;
  });
  return thin(times, sums, POINTS);
}

function addSteps(sum, times, steps) {
  let at = 0;
  let value = 0;
  times.forEach((t, i) => {
    while (at < steps.length && steps[at][0] <= t) {
      value = steps[at][1];
      at += 1;
    }
    sum[i] += value;
  });
}

// The first moment of which the power of a load is known.
export function powerBegin(names) {
  let first = Infinity;
  for (const name of names) if (powerOf(name).length) first = Math.min(first, powerOf(name)[0][0]);
  return first === Infinity ? 0 : first;
}

export const powerAt = (name, t) => valueAt(powerOf(name), t);
