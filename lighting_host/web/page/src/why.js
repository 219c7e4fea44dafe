// The page that `lighting-host why` writes: in what share of the runs a symptom still comes when
// chance goes another way from a moment on, over that moment.
import uPlot from 'uplot';

const odds = JSON.parse(document.getElementById('odds').textContent);
// With every input that it takes it comes as in the record: that is a run too.
const moments = odds.cause === 'inputs' ? [...odds.moments, { t_ms: odds.certain_ms, came: 1, runs: 1 }] : odds.moments;
const main = document.querySelector('main');

const two = n => String(n).padStart(2, '0');
// "1h12m09.000s", as the program writes it.
const timeText = ms => {
  const s = Math.floor(ms / 1000);
  return `${two(Math.floor(s / 3600))}h${two(Math.floor(s / 60) % 60)}m${two(s % 60)}.${String(ms % 1000).padStart(3, '0')}s`;
};
const axisText = s => `${two(Math.floor(s / 3600))}:${two(Math.floor(s / 60) % 60)}:${two(Math.floor(s) % 60)}`;
const share = m => Math.floor((100 * m.came) / m.runs);
const token = name => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

function add(tag, text, attributes = {}, parent = main) {
  const element = document.createElement(tag);
  if (text) element.textContent = text;
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  parent.append(element);
  return element;
}

function stepText() {
  if (odds.cause === 'start') return 'It comes from the start on, whatever is drawn and handed in.';
  const step = `Up to ${timeText(odds.avoidable_ms)} it could be avoided, from ${timeText(odds.certain_ms)} on not.`;
  return odds.cause === 'inputs' ? `${step} Chance has no part in it: the inputs after each moment were left out.` : step;
}

// Upright lines with a word each: the step, and where the record shows the symptom.
function drawMarks(plot) {
  const { ctx, bbox } = plot;
  const px = devicePixelRatio;
  const marks = [[odds.t_ms, 'it is seen', '--text2', 18], ...(odds.cause === 'start' ? [] : [[odds.certain_ms, 'the step', '--bad', 2]])];
  ctx.save();
  ctx.font = `600 ${12 * px}px ${token('--sans')}`;
  ctx.textBaseline = 'top';
  ctx.lineWidth = 2 * px;
  for (const [ms, words, color, down] of marks) {
    const x = plot.valToPos(ms / 1000, 'x', true);
    const left = x > bbox.left + bbox.width / 2;
    ctx.strokeStyle = token(color);
    ctx.fillStyle = token(color);
    ctx.textAlign = left ? 'right' : 'left';
    ctx.beginPath();
    ctx.moveTo(x, bbox.top);
    ctx.lineTo(x, bbox.top + bbox.height);
    ctx.stroke();
    ctx.fillText(words, x + (left ? -6 : 6) * px, bbox.top + down * px);
  }
  ctx.restore();
}

function optionsOf(box) {
  const axis = { stroke: token('--text3'), font: `12px ${token('--sans')}`, ticks: { show: false } };
  return {
    width: box.clientWidth - 16, height: box.clientHeight - 16, legend: { show: false },
    scales: { x: { time: false, range: (u, min, max) => [min, Math.max(max, odds.t_ms / 1000, min + 1)] }, y: { range: [0, 105] } },
    axes: [
      { ...axis, size: 26, space: 90, grid: { show: false }, values: (u, splits) => splits.map(axisText) },
      { ...axis, size: 56, grid: { stroke: token('--line'), width: 1 }, values: (u, splits) => splits.map(s => `${s} %`) },
    ],
    cursor: { y: false, drag: { x: true, y: false } },
    hooks: { draw: [drawMarks] },
    series: [{}, { stroke: token('--accent'), width: 2, points: { show: true, size: 6, fill: token('--accent') } }],
  };
}

function showChart() {
  const box = add('div', '', { class: 'chart', role: 'img', 'aria-label': `share of the runs in which it still comes; ${stepText()}` });
  const data = [moments.map(m => m.t_ms / 1000), moments.map(share)];
  let plot = null;
  const draw = () => {
    plot?.destroy();
    plot = new uPlot(optionsOf(box), data, box);
  };
  draw();
  addEventListener('resize', draw);
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => { showTheme(); draw(); });
}

function showTable() {
  add('h2', 'The moments');
  const box = add('div', '', { class: 'scroll', role: 'region', 'aria-label': 'moments', tabindex: '0' });
  const table = add('table', '', {}, box);
  const head = add('tr', '', {}, add('thead', '', {}, table));
  for (const name of ['other from there on', 'it came', 'of', 'share']) add('th', name, { scope: 'col' }, head);
  const body = add('tbody', '', {}, table);
  for (const m of moments) {
    const row = add('tr', '', m.came === m.runs ? { class: 'certain' } : {}, body);
    for (const text of [timeText(m.t_ms), m.came, m.runs, `${share(m)} %`]) add('td', String(text), {}, row);
  }
}

const showTheme = () => document.documentElement.setAttribute('data-theme', matchMedia('(prefers-color-scheme: dark)').matches ? 'dark' : 'light');

function show() {
  showTheme();
  add('h1', 'Since when could it not be avoided?');
  add('p', `${odds.symptom}, at ${timeText(odds.t_ms)}`, { class: 'symptom' });
  add('p', stepText(), { class: 'step', role: 'status', 'aria-label': 'step' });
  showChart();
  if (odds.lines.length > 0) {
    add('h2', 'What happened there');
    add('pre', odds.lines.map(line => JSON.stringify(line)).join('\n'), { tabindex: '0', role: 'region', 'aria-label': 'what happened there' });
  }
  showTable();
}

show();
