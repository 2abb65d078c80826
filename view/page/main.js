// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

import { obey } from './control.js';
import { listenForKeys } from './keys.js';
import { LogView } from './log.js';
import { isTrueAt, laneOf, matchFrom, readCondition, readMatches } from './matches.js';
import { Model } from './model.js';
import { askText, showHelp, showMenu, showPalette } from './palette.js';
import { composePicture, download } from './pictures.js';
import { Rows, heightOf, nameOf } from './rows.js';
import { readSaveFile } from './savefile.js';
import { Look, Server } from './server.js';
import { TimeScale } from './times.js';
import { Tree } from './tree.js';
import { Waves, kHeadHeight, kRowColors } from './waves.js';

/** @typedef {import('./model.js').Row} Row */
/** @typedef {import('./server.js').Lane} Lane */

const kSnap = 6;
/** No recording has a later time. */
const kLastTime = 2n ** 63n - 1n;
const element = (/** @type {string} */ id) => /** @type {HTMLElement} */ (document.getElementById(id));
const input = (/** @type {string} */ id) => /** @type {HTMLInputElement} */ (document.getElementById(id));

const model = new Model();
/** @type {any[]} */
let runs = [];
let times = new TimeScale('1', -9);
/** @type {bigint} */
let latest = 0n;
let isFollowing = false;
let keeps = false;
/** @type {Map<string, bigint>} by name, where two runs differ first */
let differences = new Map();
/** @type {Map<number, Lane>} by row */
const lanes = new Map();
/** @type {Map<string, import('./matches.js').Matches>} by the condition as it was typed */
const matches = new Map();
/** Which rows and stretch the lanes are of. */
let shownKey = '';
let isWaiting = false;
let isStale = false;
/** @type {[number, number] | null} */
let selection = null;

const waves = new Waves(/** @type {HTMLCanvasElement} */ (element('pixels')), /** @type {HTMLCanvasElement} */ (element('overlay')));
const server = new Server({ onOpen: () => start().catch(complain), onNews: takeNews, onLost: (why) => say(why, true),
  onControl: (command) => obey(command, {
    model, setCursor, look, fit,
    resolve: async (names) => (await server.ask('resolve', { run: 0, names })).variables,
    inScope: async (scope, isRecursive) => {
      const found = await server.ask('find', { run: 0, mode: 'glob', pattern: scope + '.*' });
      return found.variables.filter((/** @type {any} */ v) => isRecursive || !v.name.slice(scope.length + 1).replace(/\[.*$/, '').includes('.'));
    },
  }),
});
const tree = new Tree(element('tree'), server, (found) => {
  model.add(found.map(({ variable, run, name }) => model.signal(variable, run, name)));
});
const rows = new Rows(element('rows'), element('rows-body'), model, {
  menu: (x, y) => showMenu(commands.filter((command) => command.isInMenu), x, y),
  rename: (row) => rename(row),
  dropSignals: (before) => {
    tree.addChosen().then(() => model.moveTo(before)).catch(complain);
  },
});
const log = new LogView(element('log-lines'), server, (time) => setCursor(time, true));

/** @param {string} text @param {boolean} [isBad] */
function say(text, isBad = false) {
  element('message').textContent = text;
  if (isBad) element('state').classList.add('bad');
}

/** @param {unknown} why */
function complain(why) {
  say(why instanceof Error ? why.message : String(why));
}

// What is seen.

function stageWidth() {
  return Math.max(1, element('waves').clientWidth);
}

/** Units of time a CSS pixel. */
function scale() {
  return Math.max(Number(model.to - model.from) / stageWidth(), 1e-9);
}

/** @param {number} x in CSS pixels @returns {bigint} */
function timeAt(x) {
  const time = model.from + BigInt(Math.round(x * scale()));
  return time < 0n ? 0n : time;
}

/** @param {bigint} from @param {bigint} to */
function look(from, to) {
  const end = latest > 0n ? latest : 1n;
  let span = to - from;
  if (span < 2n) span = 2n;
  let most = end + end / 4n + 10n;
  if (most > kLastTime) most = kLastTime;
  if (span > most) span = most;
  const middle = (from + to) / 2n;
  let start = middle - span / 2n;
  if (start + span > most) start = most - span;
  if (start < 0n) start = 0n;
  model.from = start;
  model.to = start + span;
  schedule();
}

function fit() {
  isFollowing = runs.some((run) => run.running);
  look(0n, latest + latest / 50n + 1n);
}

/** @param {number} factor @param {number} [x] the place that stays */
function zoom(factor, x = stageWidth() / 2) {
  const span = Number(model.to - model.from);
  const fixed = model.from + BigInt(Math.round(x * scale()));
  const next = Math.max(2, span * factor);
  const from = fixed - BigInt(Math.round((x / stageWidth()) * next));
  isFollowing = false;
  look(from, from + BigInt(Math.round(next)));
}

/** @param {number} share of what is seen */
function pan(share) {
  const step = BigInt(Math.round(Number(model.to - model.from) * share)) || (share > 0 ? 1n : -1n);
  isFollowing = false;
  look(model.from + step, model.to + step);
}

/** @param {bigint | null} time @param {boolean} [reveals] */
function setCursor(time, reveals = false) {
  model.cursor = time;
  if (time !== null && reveals && (time < model.from || time > model.to)) {
    const half = (model.to - model.from) / 2n;
    look(time - half, time + half);
  }
  if (time !== null) log.follow(time).catch(complain);
  schedule();
}

// Lanes: three times what is seen, at a resolution of a power of two, so that a pan shows at once.

/** @param {Row} row */
function requestOf(row) {
  /** @type {any} */
  const request = { v: row.v, radix: row.point ? 'signed' : row.radix || 'auto' };
  if (row.bits) request.bits = row.bits;
  if (row.curve) request.curve = row.curve;
  return request;
}

function wantedStretch() {
  const exponent = Math.max(0, Math.floor(Math.log2(scale())));
  const unit = 1n << BigInt(exponent);
  const span = model.to - model.from;
  let from = ((model.from - span) / unit) * unit;
  if (from < 0n) from = 0n;
  const pixels = (model.to + span - from) / unit + 1n;
  const few = pixels > 20000n ? 20000n : pixels;
  // Below one unit a pixel every change is asked for.
  const to = from + pixels * unit;
  return { from, to: to > kLastTime ? kLastTime : to, pixels: scale() < 1 ? 20000 : Number(few), exponent };
}

/** Whether what is there serves for what is seen. @param {Lane} lane */
function covers(lane) {
  const end = model.to < latest ? model.to : latest;
  return lane.from <= model.from && lane.to >= end;
}

/** Rows with matches need nobody. */
function makeMatchLanes() {
  for (const { row } of rows.placed()) {
    const found = row.condition ? matches.get(row.condition) : undefined;
    if (!found) continue;
    const stretch = wantedStretch();
    lanes.set(row.id, laneOf(found, stretch.from, stretch.to, latest));
  }
}

async function fetchLanes() {
  if (isWaiting) {
    isStale = true;
    return;
  }
  const shown = rows.placed().filter(({ row }) => row.type === 'signal' && (row.v ?? -1) >= 0);
  const stretch = wantedStretch();
  const key = stretch.exponent + (scale() < 1 ? 'x' : '') + shown.map(({ row }) => row.id + JSON.stringify(requestOf(row))).join();
  if (key === shownKey && shown.every(({ row }) => lanes.has(row.id) && covers(/** @type {Lane} */ (lanes.get(row.id)))) && !isLive()) return;
  isWaiting = true;
  isStale = false;
  try {
    for (const run of new Set(shown.map(({ row }) => row.run || 0))) {
      const some = shown.filter(({ row }) => (row.run || 0) === run);
      const answer = await server.askLanes('stage' + run, {
        run, rows: some.map(({ row }) => requestOf(row)), from: stretch.from.toString(), to: stretch.to.toString(), pixels: stretch.pixels,
      });
      some.forEach(({ row }, i) => lanes.set(row.id, answer.lanes[i]));
    }
    shownKey = key;
  } catch (why) {
    complain(why);
  } finally {
    isWaiting = false;
  }
  draw();
  if (isStale) fetchLanes();
}

let valueRequest = 0;
async function fetchValues() {
  const request = ++valueRequest;
  const shown = rows.placed().filter(({ row }) => row.type === 'signal' && (row.v ?? -1) >= 0);
  const time = model.cursor ?? (isLive() ? latest : null);
  if (time === null) {
    rows.values.clear();
    return rows.draw();
  }
  for (const { row } of rows.placed()) {
    const found = row.condition ? matches.get(row.condition) : undefined;
    if (found) rows.values.set(row.id, isTrueAt(found, time) ? '1' : '0');
  }
  for (const run of new Set(shown.map(({ row }) => row.run || 0))) {
    const some = shown.filter(({ row }) => (row.run || 0) === run);
    const answer = await server.ask('values', { run, rows: some.map(({ row }) => requestOf(row)), time: time.toString() });
    if (request !== valueRequest) return;
    some.forEach(({ row }, i) => rows.values.set(row.id, transformOf(row)?.(answer.values[i]) ?? answer.values[i]));
  }
  rows.draw();
}

/** Fixed-point numbers are made of whole ones here. @param {Row} row @returns {((text: string) => string) | null} */
function transformOf(row) {
  const point = row.point || 0;
  if (!point) return null;
  return (text) => {
    if (!/^-?\d+$/.test(text)) return text;
    const isBelow = text.startsWith('-');
    const digits = BigInt(text) < 0n ? -BigInt(text) : BigInt(text);
    const whole = digits >> BigInt(point);
    const rest = digits & ((1n << BigInt(point)) - 1n);
    const fraction = ((rest * 10n ** BigInt(point)) >> BigInt(point)).toString().padStart(point, '0').replace(/0+$/, '');
    return (isBelow ? '-' : '') + whole + (fraction ? '.' + fraction : '');
  };
}

function isLive() {
  return runs.some((run) => run.running);
}

// Drawing, at most once a frame.

let isScheduled = false;
function schedule() {
  if (isScheduled) return;
  isScheduled = true;
  requestAnimationFrame(() => {
    isScheduled = false;
    rows.draw();
    makeMatchLanes();
    draw();
    fetchLanes();
    valuesSoon();
  });
}

let valueTimer = 0;
function valuesSoon() {
  clearTimeout(valueTimer);
  valueTimer = window.setTimeout(() => fetchValues().catch(complain), 30);
}

function draw() {
  waves.draw({
    from: model.from, scale: scale(), times, cursor: model.cursor, markers: model.markers, selection, end: latest,
    rows: rows.placed().map(({ row, y, height }) => ({
      row, y, height, lane: lanes.get(row.id) || null, isChosen: model.chosen.has(row.id), differs: differences.get(row.name || '') ?? null,
      transform: transformOf(row),
    })),
  });
  element('empty').hidden = model.rows.length > 0;
  element('empty').style.display = model.rows.length > 0 ? 'none' : '';
  element('cursor-text').textContent = model.cursor === null ? `${times.format(model.from)} – ${times.format(model.to)}` : 'Cursor ' + times.format(model.cursor);
  element('delta-text').textContent = deltas();
}

function deltas() {
  if (model.cursor === null || !model.markers.length) return '';
  const cursor = model.cursor;
  return model.markers.slice(-3).map((marker) => {
    const delta = cursor - marker.time;
    const seconds = Math.abs(times.seconds(delta));
    const hertz = seconds > 0 ? 1 / seconds : 0;
    const unit = hertz >= 1e9 ? [1e9, 'GHz'] : hertz >= 1e6 ? [1e6, 'MHz'] : hertz >= 1e3 ? [1e3, 'kHz'] : [1, 'Hz'];
    return `${marker.name}: ${delta < 0n ? '' : '+'}${times.format(delta)}${hertz ? ` (${Number((hertz / Number(unit[0])).toPrecision(6))} ${unit[1]})` : ''}`;
  }).join('   ');
}

// The start, and news.

async function start() {
  const hello = await server.ask('hello');
  const isFirst = runs.length === 0;
  const isAnother = !isFirst && hello.runs.some((/** @type {any} */ run, /** @type {number} */ i) => runs[i]?.generation !== run.generation);
  runs = hello.runs;
  keeps = hello.keeps;
  times = new TimeScale(runs[0].factor, runs[0].exponent);
  latest = BigInt(runs[0].latest);
  document.title = `${runs[0].name} – Tracewell`;
  element('name').textContent = runs.map((run) => run.name.replace(/^.*\//, '')).join(' and ');
  element('name').title = runs.map((run) => `${run.name}: ${run.madeBy} ${run.date}`).join('\n');
  showState();
  say('');
  log.load(hello.logLines, times);
  await tree.load(runs);
  shownKey = '';
  if (isFirst) {
    fit();
    if (hello.session) await openSession(hello.session);
    else await showSome();
  } else if (isAnother) {
    await openSession(model.session());
  }
  schedule();
}

/** A page that shows nothing helps nobody: the first signals of a small design. */
async function showSome() {
  const found = await server.ask('find', { run: 0, pattern: '', most: 24 });
  if (runs[0].variables <= 24) {
    model.add(found.variables.map((/** @type {any} */ v) => model.signal(v, 0, v.name)));
    model.past = [];
  }
}

function showState() {
  const state = element('state');
  const lacks = runs.flatMap((run) => run.lacks || []);
  state.textContent = (isLive() ? `running, ${times.format(latest)}` : `ends at ${times.format(latest)}`) + (lacks.length ? `; not whole: ${lacks[0]}` : '');
  state.title = lacks.join('\n');
  state.classList.toggle('bad', lacks.length > 0);
}

/** @param {any[]} news */
function takeNews(news) {
  if (!runs.length) return;
  const isAnother = news.some((run, i) => run.generation !== runs[i].generation);
  const wasLive = isLive();
  news.forEach((run, i) => Object.assign(runs[i], run));
  latest = BigInt(runs[0].latest);
  showState();
  if (isAnother) {
    start().catch(complain);
    return;
  }
  if (isFollowing && latest > 0n) {
    if (model.from === 0n || latest < model.to - model.from) look(0n, latest + latest / 50n + 1n);
    else look(latest - (model.to - model.from), latest);
  }
  if (wasLive && !isLive()) say('The simulation has ended.');
  shownKey = '';
  schedule();
}

// Sessions.

/** @param {any} session rows go by names, so that it serves another run */
async function openSession(session) {
  const wanted = session.rows || [];
  for (let run = 0; run < Math.max(1, runs.length); ++run) {
    const some = wanted.filter((/** @type {any} */ row) => row.type === 'signal' && !row.condition && (row.run || 0) === run);
    const answer = some.length ? await server.ask('resolve', { run, names: some.map((/** @type {any} */ row) => row.name) }) : { variables: [] };
    some.forEach((/** @type {any} */ row, /** @type {number} */ i) => {
      const found = answer.variables[i];
      row.v = found ? found.v : -1;
      if (found) {
        const isSlice = Array.isArray(row.bits);
        Object.assign(row, { name: found.name, form: isSlice ? row.form : found.form, width: isSlice ? row.width : found.width, kind: found.kind, range: found.range || '', direction: found.direction || '', vtype: found.type || '' });
      }
    });
  }
  for (const row of wanted) {
    if (!row.condition) continue;
    row.v = -2;
    findMatches(row.condition).then(schedule).catch(complain);
  }
  const lost = wanted.filter((/** @type {any} */ row) => row.type === 'signal' && row.v === -1).length;
  model.edit(() => {
    model.rows = wanted.map((/** @type {any} */ row) => ({ label: '', depth: 0, radix: 'auto', point: 0, curve: '', scale: null, color: 0, tall: 1, run: 0, bits: null, ...row, id: ++model.lastId }));
    model.markers = (session.markers || []).map((/** @type {any} */ m) => ({ name: m.name, time: BigInt(m.time) }));
    model.chosen = new Set();
    model.active = model.rows.length ? model.rows[0].id : -1;
  });
  model.cursor = session.cursor === null || session.cursor === undefined ? null : BigInt(session.cursor);
  if (session.from && session.to && BigInt(session.to) > BigInt(session.from)) look(BigInt(session.from), BigInt(session.to));
  shownKey = '';
  if (lost) say(`${lost} signals of the session are not in this recording.`);
  schedule();
}

async function saveSession() {
  const session = model.session();
  if (keeps) {
    const answer = await server.ask('save', { session });
    say('Saved in ' + answer.saved);
  } else {
    download(new Blob([JSON.stringify(session, null, 2) + '\n'], { type: 'application/json' }), 'session.json');
  }
}

input('file').addEventListener('change', async () => {
  const file = input('file').files?.[0];
  input('file').value = '';
  if (!file) return;
  try {
    const text = await file.text();
    await openSession(text.trimStart().startsWith('{') ? JSON.parse(text) : readSaveFile(text));
  } catch (why) {
    complain(why instanceof SyntaxError ? new Error(`${file.name} is no session`) : why);
  }
});

// What commands do.

/** @param {Row} row */
async function rename(row) {
  const label = await askText(row.type === 'signal' ? 'Rename signal' : 'Rename', row.label || nameOf(row), row.name);
  if (label !== null) model.edit(() => { row.label = label === row.name ? '' : label; });
}

/** @param {boolean} forward */
async function stepChange(forward) {
  const row = model.activeSignal();
  if (!row) return say('Choose a signal first.');
  const time = model.cursor ?? model.from;
  const answer = await server.ask('step', { run: row.run || 0, row: requestOf(row), time: time.toString(), forward });
  if (answer.time === null) say(`There is no change of ${nameOf(row)} ${forward ? 'behind' : 'before'} it.`);
  else setCursor(BigInt(answer.time), true);
}

let searched = '';
/** @param {boolean} forward @param {boolean} asks */
async function searchValue(forward, asks) {
  const row = model.activeSignal();
  if (!row) return say('Choose a signal first.');
  if (asks || !searched) {
    const text = await askText(`Value of ${nameOf(row)}`, searched, 'as it is shown: ff, x, IDLE');
    if (text === null || text === '') return;
    searched = text;
  }
  const answer = await server.ask('findValue', { run: row.run || 0, row: requestOf(row), time: (model.cursor ?? (forward ? 0n : latest)).toString(), text: searched, forward });
  if (answer.time === null) say(`${nameOf(row)} is not ${searched} ${forward ? 'behind' : 'before'} the cursor${answer.all ? '' : ' in the changes that were looked at'}.`);
  else setCursor(BigInt(answer.time), true);
}

/** What was looked for last. */
let condition = '';

/** Finds where a condition is true, unless that is known. @param {string} text */
async function findMatches(text) {
  const known = matches.get(text);
  if (known) return known;
  say('Searching …');
  const found = readMatches(await server.ask('matches', { run: 0, ...readCondition(text) }));
  matches.set(text, found);
  return found;
}

/** @param {boolean} forward */
async function stepMatch(forward) {
  const text = input('condition').value.trim();
  if (!text) return input('condition').focus();
  const isNew = text !== condition;
  const found = await findMatches(text);
  condition = text;
  const from = model.cursor ?? (forward ? -1n : latest + 1n);
  const match = matchFrom(found, isNew && forward ? from - 1n : from, forward);
  const more = found.through === null ? '' : `, looked for up to ${times.format(found.through)}`;
  const count = `${found.begins.length} match${found.begins.length === 1 ? '' : 'es'}${more}`;
  if (!found.begins.length) return say(`It is never true${more}.`);
  const index = match ? match.index : forward ? 0 : found.begins.length - 1;
  setCursor(found.begins[index], true);
  say(`Match ${index + 1} of ${count}${match ? '' : forward ? ', from the start again' : ', from the end again'}.`);
}

/** The matches as a row. */
async function addMatchRow() {
  const text = input('condition').value.trim();
  if (!text) return input('condition').focus();
  const found = await findMatches(text);
  condition = text;
  /** @type {Row} */
  const row = {
    id: ++model.lastId, type: 'signal', label: text, depth: 0, run: 0, v: -2, name: text, form: found.areMoments ? 'event' : 'level', width: 1,
    kind: 'condition', direction: '', vtype: '', range: '', bits: null, radix: 'auto', point: 0, curve: '', scale: null, color: 2, tall: 1, condition: text,
  };
  model.add([row]);
  say(`${found.begins.length} match${found.begins.length === 1 ? '' : 'es'}.`);
}

async function countEdges() {
  const row = model.activeSignal();
  if (!row) return say('Choose a signal first.');
  const marker = model.markers[model.markers.length - 1];
  const [a, b] = model.cursor !== null && marker ? [model.cursor, marker.time] : [model.from, model.to];
  const [from, to] = a < b ? [a, b] : [b, a];
  const answer = await server.ask('count', { run: row.run || 0, row: requestOf(row), from: from.toString(), to: to.toString() });
  say(`${nameOf(row)}: ${answer.all ? '' : 'at least '}${answer.changes} changes${answer.level ? `, ${answer.rises} rising, ${answer.falls} falling` : ''} between ${times.format(from)} and ${times.format(to)}`);
}

function addMarker() {
  if (model.cursor === null) return say('Set the cursor first: click into the waves.');
  const cursor = model.cursor;
  const used = new Set(model.markers.map((marker) => marker.name));
  let name = '';
  for (let i = 0; !name; ++i) {
    const candidate = i < 26 ? String.fromCharCode(65 + i) : 'M' + (i + 1);
    if (!used.has(candidate)) name = candidate;
  }
  model.edit(() => model.markers.push({ name, time: cursor }));
  schedule();
}

async function nameMarker() {
  const marker = model.markers[model.markers.length - 1];
  if (!marker) return say('There is no marker.');
  const name = await askText('Name of the marker', marker.name);
  if (name) model.edit(() => { marker.name = name; });
}

/** @param {boolean} forward */
function goMarker(forward) {
  const from = model.cursor ?? -1n;
  const sorted = [...model.markers].sort((a, b) => (a.time < b.time ? -1 : 1));
  const marker = forward ? sorted.find((one) => one.time > from) : sorted.reverse().find((one) => one.time < from);
  if (marker) setCursor(marker.time, true);
  else say('There is no marker there.');
}

async function markDifferences() {
  say('Comparing …');
  const answer = await server.ask('differences');
  differences = new Map(answer.differences.map((/** @type {any} */ one) => [one.name, BigInt(one.time)]));
  const first = answer.differences[0];
  say(first ? `${answer.differences.length} of ${answer.compared} signals differ, the first at ${times.format(BigInt(first.time))}.` : `All ${answer.compared} signals are the same.`);
  if (first) {
    const known = new Set(model.rows.map((row) => (row.run || 0) + (row.name || '')));
    const names = answer.differences.slice(0, 50).map((/** @type {any} */ one) => one.name);
    /** @type {{row: Row, order: number}[]} */
    const added = [];
    for (const run of [0, 1]) {
      const found = await server.ask('resolve', { run, names });
      found.variables.forEach((/** @type {any} */ v, /** @type {number} */ i) => {
        if (v && !known.has(run + v.name)) added.push({ row: model.signal(v, run, v.name), order: i });
      });
    }
    added.sort((a, b) => a.order - b.order);
    model.add(added.map((one) => one.row));
    setCursor(BigInt(first.time), true);
  }
  schedule();
}

async function savePng() {
  const placed = rows.placed();
  const canvas = composePicture(waves, placed.map(({ row, y, height }) => ({ y, height, name: nameOf(row), value: rows.values.get(row.id) || '' })), element('rows').clientWidth);
  canvas.toBlob((blob) => blob && download(blob, 'waves.png'));
}

async function saveSvg() {
  const shown = rows.placed().map(({ row }) => row).filter((row) => row.type === 'signal' && (row.v ?? -1) >= 0 && !row.run);
  const answer = await server.ask('svg', { rows: shown.map(requestOf), from: model.from.toString(), to: (model.to < latest ? model.to : latest).toString(), width: Math.round(stageWidth() + element('rows').clientWidth) });
  download(new Blob([answer.svg], { type: 'image/svg+xml' }), 'waves.svg');
}

function toggleTheme() {
  const isDark = document.documentElement.dataset.theme !== 'dark';
  applyTheme(isDark);
  try {
    localStorage.setItem('theme', isDark ? 'dark' : 'light');
  } catch { /* a browser that keeps nothing */ }
}

/** @param {boolean} isDark */
function applyTheme(isDark) {
  document.documentElement.dataset.theme = isDark ? 'dark' : 'light';
  waves.setTheme(isDark);
  schedule();
}

/** @param {Partial<Row>} change */
const set = (change) => () => {
  model.editChosen((row) => Object.assign(row, row.type === 'signal' ? change : {}));
  lanes.clear();
  shownKey = '';
};

async function fixedPoint() {
  const text = await askText('Bits behind the point', '8');
  const point = Number(text);
  if (text === null) return;
  if (!(point >= 1 && point <= 256)) return say('Write a number from 1 to 256.');
  set({ point })();
}

async function curveScale() {
  const text = await askText('Lowest and highest of the curve', '', '0 255; empty to fit');
  if (text === null) return;
  const numbers = text.trim().split(/\s+/).map(Number);
  if (text.trim() && !(numbers.length === 2 && numbers[1] > numbers[0])) return say('Write two numbers, the lower one first.');
  set({ scale: text.trim() ? [numbers[0], numbers[1]] : null })();
}

async function bitsOfBus() {
  const row = model.activeSignal();
  if (!row || row.form !== 'bus') return say('Choose a bus first.');
  const text = await askText(`Bits of ${nameOf(row)}`, '7:4', 'left:right');
  const match = /^\s*\[?(-?\d+)(?:\s*:\s*(-?\d+))?\]?\s*$/.exec(text || '');
  if (!match) return text === null ? undefined : say('Write bits as 7:4 or 3.');
  const bits = /** @type {[number, number]} */ ([Number(match[1]), Number(match[2] ?? match[1])]);
  const width = Math.abs(bits[0] - bits[1]) + 1;
  model.add([{ ...row, id: ++model.lastId, depth: 0, bits, width, form: width === 1 ? 'level' : 'bus', label: '' }]);
}

async function goTo(/** @type {string} */ text) {
  const time = times.parse(text);
  if (time === null) return say(`${text} is no time; write it like 12.5us.`);
  setCursor(time, true);
}

/** @type {import('./palette.js').Command[]} */
const commands = [
  { name: 'zoomIn', title: 'Zoom in', keys: '+ =', run: () => zoom(0.5, cursorX()) },
  { name: 'zoomOut', title: 'Zoom out', keys: '-', run: () => zoom(2, cursorX()) },
  { name: 'fit', title: 'Show the whole run', keys: 'F', run: fit },
  { name: 'left', title: 'Pan left', keys: 'ArrowLeft', run: () => pan(-0.25) },
  { name: 'right', title: 'Pan right', keys: 'ArrowRight', run: () => pan(0.25) },
  { name: 'home', title: 'To the start', keys: 'Home', run: () => { setCursor(0n); look(0n, model.to - model.from); } },
  { name: 'end', title: 'To the end', keys: 'End', run: () => { const span = model.to - model.from; isFollowing = isLive(); setCursor(isLive() ? null : latest); look(latest - span + span / 20n, latest + span / 20n); } },
  { name: 'next', title: 'Next change of the chosen signal', keys: 'Ctrl+ArrowRight .', run: () => stepChange(true).catch(complain) },
  { name: 'previous', title: 'Previous change of the chosen signal', keys: 'Ctrl+ArrowLeft ,', run: () => stepChange(false).catch(complain) },
  { name: 'up', title: 'The row above', keys: 'ArrowUp Shift+ArrowUp', run: (event) => rows.move(-1, /** @type {KeyboardEvent} */ (event)) },
  { name: 'down', title: 'The row below', keys: 'ArrowDown Shift+ArrowDown', run: (event) => rows.move(1, /** @type {KeyboardEvent} */ (event)) },
  { name: 'all', title: 'Choose all rows', keys: 'Ctrl+A', run: () => { model.chosen = new Set(model.rows.map((row) => row.id)); model.changed(); } },
  { name: 'rowUp', title: 'Move the chosen rows up', keys: 'Alt+ArrowUp', run: () => model.moveBy(-1) },
  { name: 'rowDown', title: 'Move the chosen rows down', keys: 'Alt+ArrowDown', run: () => model.moveBy(1) },
  { name: 'goTo', title: 'Go to a time …', keys: 'Ctrl+G', run: async () => { const text = await askText('Go to a time', '', '12.5us'); if (text) goTo(text); } },
  { name: 'find', title: 'Find signals', keys: '/', run: () => input('pattern').focus() },
  { name: 'findValue', title: 'Find a value of the chosen signal', keys: 'V', run: () => searchValue(true, true).catch(complain) },
  { name: 'nextValue', title: 'The next such value', keys: 'N', run: () => searchValue(true, false).catch(complain) },
  { name: 'previousValue', title: 'The previous such value', keys: 'Shift+N', run: () => searchValue(false, false).catch(complain) },
  { name: 'search', title: 'Search for a condition …', keys: 'Ctrl+F', run: () => { input('condition').focus(); input('condition').select(); } },
  { name: 'nextMatch', title: 'Next match of the condition', keys: 'F3', run: () => stepMatch(true).catch(complain) },
  { name: 'previousMatch', title: 'Previous match of the condition', keys: 'Shift+F3', run: () => stepMatch(false).catch(complain) },
  { name: 'matchRow', title: 'Show the matches of the condition as a row', keys: 'Shift+F', run: () => addMatchRow().catch(complain) },
  { name: 'marker', title: 'Put a marker at the cursor', keys: 'M', run: addMarker },
  { name: 'nameMarker', title: 'Name the last marker', keys: 'Shift+M', run: () => nameMarker() },
  { name: 'nextMarker', title: 'Next marker', keys: ']', run: () => goMarker(true) },
  { name: 'previousMarker', title: 'Previous marker', keys: '[', run: () => goMarker(false) },
  { name: 'removeMarker', title: 'Remove the last marker', keys: 'Shift+Delete', run: () => { if (model.markers.length) model.edit(() => model.markers.pop()); } },
  { name: 'count', title: 'Count the edges between cursor and marker', keys: 'E', run: () => countEdges().catch(complain) },
  { name: 'noCursor', title: 'Take the cursor away', keys: 'Escape', run: () => { selection = null; setCursor(null); } },
  { name: 'bin', title: 'Binary', keys: 'Shift+B', isInMenu: true, run: set({ radix: 'bin', point: 0 }) },
  { name: 'hex', title: 'Hexadecimal', keys: 'Shift+H', isInMenu: true, run: set({ radix: 'hex', point: 0 }) },
  { name: 'dec', title: 'Decimal', keys: 'Shift+D', isInMenu: true, run: set({ radix: 'dec', point: 0 }) },
  { name: 'signed', title: 'Signed decimal', keys: 'Shift+S', isInMenu: true, run: set({ radix: 'signed', point: 0 }) },
  { name: 'oct', title: 'Octal', keys: '', isInMenu: true, run: set({ radix: 'oct', point: 0 }) },
  { name: 'ascii', title: 'ASCII', keys: 'Shift+A', isInMenu: true, run: set({ radix: 'ascii', point: 0 }) },
  { name: 'fixed', title: 'Fixed point …', keys: '', isInMenu: true, run: () => fixedPoint() },
  { name: 'auto', title: 'Names of values, or as the kind has it', keys: 'Shift+E', isInMenu: true, run: set({ radix: 'auto', point: 0 }) },
  { name: 'steps', title: 'As a curve of steps', keys: 'Shift+C', isInMenu: true, begins: true, run: set({ curve: 'steps', tall: 3 }) },
  { name: 'lines', title: 'As a curve of lines', keys: '', isInMenu: true, run: set({ curve: 'line', tall: 3 }) },
  { name: 'plain', title: 'As a bus', keys: '', isInMenu: true, run: set({ curve: '', tall: 1 }) },
  { name: 'scale', title: 'Scale of the curve …', keys: '', isInMenu: true, run: () => curveScale() },
  { name: 'taller', title: 'Higher rows', keys: 'Ctrl+ArrowDown', run: () => model.editChosen((row) => { row.tall = Math.min(12, (row.tall || 1) + 1); }) },
  { name: 'lower', title: 'Lower rows', keys: 'Ctrl+ArrowUp', run: () => model.editChosen((row) => { row.tall = Math.max(1, (row.tall || 1) - 1); }) },
  { name: 'bits', title: 'Bits of the bus as rows', keys: 'B', isInMenu: true, begins: true, run: () => { const row = model.activeSignal(); if (row) model.expandBits(row); } },
  { name: 'slice', title: 'Some bits as a row …', keys: '', isInMenu: true, run: () => bitsOfBus() },
  { name: 'color', title: 'Next colour', keys: 'C', isInMenu: true, begins: true, run: () => model.editChosen((row) => { row.color = ((row.color || 0) + 1) % kRowColors.length; }) },
  { name: 'rename', title: 'Rename', keys: 'F2', isInMenu: true, run: () => { const row = model.row(model.active); if (row) rename(row); } },
  { name: 'group', title: 'Group the chosen rows', keys: 'G', isInMenu: true, run: async () => { const name = await askText('Name of the group', 'group'); if (name !== null) model.group(name); } },
  { name: 'ungroup', title: 'Take the group apart', keys: 'Shift+G', isInMenu: true, run: () => model.ungroup() },
  { name: 'divider', title: 'A divider behind the row', keys: 'D', isInMenu: true, run: () => model.divider('') },
  { name: 'fold', title: 'Open or close the group', keys: 'Space', run: () => { const row = model.row(model.active); if (row?.type === 'group') rows.toggle(row); } },
  { name: 'remove', title: 'Remove the chosen rows', keys: 'Delete Backspace', isInMenu: true, begins: true, run: () => model.remove() },
  { name: 'undo', title: 'Undo', keys: 'Ctrl+Z', run: () => { if (!model.undo()) say('There is nothing to undo.'); } },
  { name: 'redo', title: 'Redo', keys: 'Ctrl+Y Ctrl+Shift+Z', run: () => { if (!model.redo()) say('There is nothing to redo.'); } },
  { name: 'differences', title: 'Show what differs between the two recordings', keys: 'X', run: () => markDifferences().catch(complain) },
  { name: 'save', title: 'Save the session', keys: 'Ctrl+S', run: () => saveSession().catch(complain) },
  { name: 'open', title: 'Open a session, or a save file of GTKWave', keys: 'Ctrl+O', run: () => input('file').click() },
  { name: 'png', title: 'Save a picture (PNG)', keys: '', run: () => savePng() },
  { name: 'svg', title: 'Save a picture (SVG)', keys: '', run: () => saveSvg().catch(complain) },
  { name: 'paths', title: 'Whole paths, or their ends', keys: 'P', run: () => { rows.isShort = !rows.isShort; schedule(); } },
  { name: 'theme', title: 'Light or dark', keys: 'T', run: toggleTheme },
  { name: 'palette', title: 'All commands', keys: 'Ctrl+K Ctrl+Shift+P', run: () => showPalette(commands) },
  { name: 'help', title: 'All keys', keys: '?', run: () => showHelp(commands) },
];

function cursorX() {
  if (model.cursor === null) return stageWidth() / 2;
  const x = Number(model.cursor - model.from) / scale();
  return x < 0 || x > stageWidth() ? stageWidth() / 2 : x;
}

// The mouse in the waves.

/** The nearest edge of the row at a place. @param {number} x @param {number} y @returns {bigint | null} */
function edgeNear(x, y) {
  const place = rows.placed().find((one) => y >= one.y && y < one.y + one.height);
  const lane = place && lanes.get(place.row.id);
  if (!lane) return null;
  const offset = Number(model.from - lane.from);
  const middle = offset + x * scale();
  let best = null;
  let distance = kSnap * scale();
  const consider = (/** @type {number} */ at) => {
    if (Math.abs(at - middle) <= distance) {
      distance = Math.abs(at - middle);
      best = lane.from + BigInt(Math.round(at));
    }
  };
  for (let i = 0; i < lane.count; ++i) {
    if ((lane.looks[i] & 127) !== Look.Dense && ((lane.looks[i] & 128) !== 0 || i > 0)) consider(lane.starts[i]);
  }
  for (const at of lane.firings) consider(at);
  return best;
}

const stage = element('waves');
/** @type {{x: number, y: number} | null} */
let press = null;
stage.addEventListener('pointerdown', (event) => {
  if (event.button !== 0) return;
  stage.setPointerCapture(event.pointerId);
  press = { x: event.offsetX, y: event.offsetY };
  element('rows').focus({ preventScroll: true });
});
stage.addEventListener('pointermove', (event) => {
  if (!press) return;
  const x = event.clientX - stage.getBoundingClientRect().left;
  selection = Math.abs(x - press.x) > 4 ? [press.x, x] : null;
  draw();
});
stage.addEventListener('pointerup', (event) => {
  if (!press) return;
  const x = event.clientX - stage.getBoundingClientRect().left;
  const start = press;
  press = null;
  if (selection) {
    const [a, b] = [Math.min(start.x, x), Math.max(start.x, x)];
    selection = null;
    isFollowing = false;
    look(timeAt(a), timeAt(b));
    return;
  }
  const place = rows.placed().find((one) => start.y >= one.y && start.y < one.y + one.height);
  if (place && start.y > kHeadHeight) rows.choose(place.row, event);
  setCursor(edgeNear(x, start.y) ?? timeAt(x));
});
stage.addEventListener('contextmenu', (event) => {
  event.preventDefault();
  showMenu(commands.filter((command) => command.isInMenu), event.clientX, event.clientY);
});
for (const part of [stage, element('rows')]) {
  part.addEventListener('wheel', (event) => {
    event.preventDefault();
    const amount = event.deltaMode === 1 ? event.deltaY * 20 : event.deltaY;
    if (event.ctrlKey) zoom(2 ** (amount / 200), part === stage ? event.clientX - stage.getBoundingClientRect().left : stageWidth() / 2);
    else if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) pan(((event.deltaX || amount) / stageWidth()) * 0.8);
    else rows.scrollTo(rows.scroll + amount);
  }, { passive: false });
}
for (const target of [stage]) {
  target.addEventListener('dragover', (event) => event.preventDefault());
  target.addEventListener('drop', (event) => {
    event.preventDefault();
    if (event.dataTransfer?.getData('text/x-tracewell') === 'signals') tree.addChosen().catch(complain);
  });
}

// The rest of the page.

for (const [id, name] of [['zoom-in', 'zoomIn'], ['zoom-out', 'zoomOut'], ['fit', 'fit'], ['undo', 'undo'], ['match-next', 'nextMatch'], ['match-previous', 'previousMatch'], ['match-row', 'matchRow'], ['redo', 'redo'], ['commands', 'palette'], ['help', 'help']]) {
  element(id).addEventListener('click', () => commands.find((command) => command.name === name)?.run());
}
input('goto').addEventListener('keydown', (event) => {
  if (event.key !== 'Enter') return;
  goTo(input('goto').value);
  input('goto').blur();
});
input('condition').addEventListener('keydown', (event) => {
  if (event.key === 'Escape') input('condition').blur();
  if (event.key !== 'Enter') return;
  event.preventDefault();
  stepMatch(!event.shiftKey).catch(complain);
});
let searchTimer = 0;
for (const id of ['pattern', 'mode', 'direction']) {
  input(id).addEventListener('input', () => {
    clearTimeout(searchTimer);
    searchTimer = window.setTimeout(() => {
      tree.search({ pattern: input('pattern').value, mode: input('mode').value, direction: input('direction').value }).then(say).catch(complain);
    }, 120);
  });
}
input('pattern').addEventListener('keydown', (event) => {
  if (event.key === 'ArrowDown' || event.key === 'Enter') {
    event.preventDefault();
    element('tree').focus();
  }
});

/** Lets a part be made wider by its edge. @param {string} edge @param {(event: PointerEvent) => void} change */
function dragEdge(edge, change) {
  element(edge).addEventListener('pointerdown', (event) => {
    element(edge).setPointerCapture(event.pointerId);
    const move = (/** @type {PointerEvent} */ moved) => change(moved);
    element(edge).addEventListener('pointermove', move);
    element(edge).addEventListener('pointerup', () => element(edge).removeEventListener('pointermove', move), { once: true });
  });
}
dragEdge('side-edge', (event) => { element('side').style.width = Math.max(120, event.clientX) + 'px'; });
dragEdge('rows-edge', (event) => { element('rows').style.width = Math.max(100, event.clientX - element('rows').getBoundingClientRect().left) + 'px'; });
dragEdge('log-edge', (event) => { element('log').style.height = Math.max(60, element('foot').getBoundingClientRect().top - event.clientY) + 'px'; });

listenForKeys(commands);
model.listeners.add(schedule);
new ResizeObserver(() => {
  waves.resize(stage.clientWidth, stage.clientHeight, devicePixelRatio || 1);
  rows.scrollTo(rows.scroll);
  schedule();
}).observe(stage);
let theme = null;
try {
  theme = localStorage.getItem('theme');
} catch { /* a browser that keeps nothing */ }
applyTheme(theme ? theme === 'dark' : matchMedia('(prefers-color-scheme: dark)').matches);
// For who drives the page from outside: tests.
Object.assign(window, { tracewell: { model, lanes, heightOf, times: () => times, latest: () => latest } });
