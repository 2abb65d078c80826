// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

import { Look } from './server.js';

/** @typedef {import('./server.js').Lane} Lane */

/**
 * Where a condition is true: by time.
 * @typedef {object} Matches
 * @property {bigint[]} begins
 * @property {(bigint | null)[]} ends  null where it is true to the end
 * @property {boolean} areMoments  no match lasts
 * @property {bigint | null} through  there may be more behind it
 */

/**
 * A condition as it is typed: "top.valid && !top.ready", or "@(posedge top.clk) a ##1 b" to look at events alone.
 * @param {string} text
 * @returns {{on: string, expression: string}}
 */
export function readCondition(text) {
  const trimmed = text.trim();
  if (!trimmed.startsWith('@')) return { on: '', expression: trimmed };
  const open = trimmed.indexOf('(');
  if (open < 0) return { on: trimmed.slice(1), expression: '' };
  let depth = 0;
  for (let i = open; i < trimmed.length; ++i) {
    depth += trimmed[i] === '(' ? 1 : trimmed[i] === ')' ? -1 : 0;
    if (depth === 0) return { on: trimmed.slice(open + 1, i), expression: trimmed.slice(i + 1).trim() };
  }
  return { on: trimmed.slice(open + 1), expression: '' };
}

/** @param {any} answer of the server @returns {Matches} */
export function readMatches(answer) {
  const begins = answer.begins.map(BigInt);
  const ends = answer.ends.map((/** @type {string | null} */ end) => (end === null ? null : BigInt(end)));
  return {
    begins, ends, through: answer.through === null ? null : BigInt(answer.through),
    areMoments: begins.length > 0 && begins.every((/** @type {bigint} */ begin, /** @type {number} */ i) => begin === ends[i]),
  };
}

/** How many matches begin before a time, or at it. @param {Matches} matches @param {bigint} time */
function countUpTo(matches, time) {
  let low = 0;
  let high = matches.begins.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (matches.begins[middle] <= time) low = middle + 1;
    else high = middle;
  }
  return low;
}

/** The next match behind a time, or the last one before it; null for none. @param {Matches} matches @param {bigint} time @param {boolean} forward */
export function matchFrom(matches, time, forward) {
  const at = forward ? countUpTo(matches, time) : countUpTo(matches, time - 1n) - 1;
  return at < 0 || at >= matches.begins.length ? null : { index: at, time: matches.begins[at] };
}

/** Whether the condition is true at a time. @param {Matches} matches @param {bigint} time */
export function isTrueAt(matches, time) {
  const at = countUpTo(matches, time) - 1;
  if (at < 0) return false;
  const end = matches.ends[at];
  return matches.begins[at] === time || end === null || time < end;
}

/**
 * The matches as a lane: a level that is high while the condition is true, or events.
 * @param {Matches} matches @param {bigint} from @param {bigint} to @param {bigint} latest
 * @returns {Lane}
 */
export function laneOf(matches, from, to, latest) {
  const end = to < latest ? to : latest;
  /** @type {number[]} */
  const starts = [];
  /** @type {number[]} */
  const looks = [];
  /** @type {number[]} */
  const firings = [];
  const behind = (/** @type {bigint} */ time) => Number(time - from);
  const put = (/** @type {bigint} */ start, /** @type {number} */ look) => {
    if (looks.length && starts[starts.length - 1] === behind(start)) looks.pop(), starts.pop();
    starts.push(behind(start));
    looks.push(look + (start > from ? 128 : 0));
  };
  if (end > from && !matches.areMoments) put(from, Look.Low);
  const first = Math.max(0, countUpTo(matches, from) - 1);
  for (let i = first; i < matches.begins.length && matches.begins[i] <= end; ++i) {
    const begin = matches.begins[i];
    const last = matches.ends[i] ?? end;
    if (matches.areMoments) {
      if (begin >= from) firings.push(behind(begin));
      continue;
    }
    if (last <= from || begin >= end) continue;
    put(begin < from ? from : begin, Look.High);
    if (last < end) put(last, Look.Low);
  }
  const count = looks.length;
  starts.push(behind(end > from ? end : from));
  return {
    from, to, count, starts: Float64Array.from(starts), looks: Uint8Array.from(looks), limits: null,
    firings: Float64Array.from(firings), lengths: new Uint16Array(count), texts: new Uint8Array(0), places: null,
  };
}
