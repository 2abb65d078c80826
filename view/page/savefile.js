// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

/**
 * Reads what GTKWave saves: names of signals with flags, groups, comments, markers and the cursor. What
 * has no place here is passed over.
 * @param {string} text
 * @returns {{rows: any[], markers: {name: string, time: string}[], cursor: string | null}}
 */
export function readSaveFile(text) {
  const kRadix = [[0x2, 'hex'], [0x4, 'dec'], [0x8, 'bin'], [0x10, 'oct'], [0x400, 'signed'], [0x800, 'ascii']];
  const kAnalog = 0x8000 | 0x10000;
  /** @type {any[]} */
  const rows = [];
  /** @type {{name: string, time: string}[]} */
  const markers = [];
  let cursor = null;
  let flags = 0;
  let depth = 0;
  let color = 0;
  for (const raw of text.split(/\r?\n/)) {
    const line = raw.trim();
    if (!line) continue;
    if (line.startsWith('*')) {
      // Zoom, then the times of the cursor and of the markers; -1 for none.
      const numbers = line.slice(1).trim().split(/\s+/).slice(1);
      numbers.forEach((number, i) => {
        if (!/^\d+$/.test(number)) return;
        if (i === 0) cursor = number;
        else markers.push({ name: i <= 26 ? String.fromCharCode(64 + i) : 'M' + i, time: number });
      });
    } else if (line.startsWith('[color]')) {
      color = Number(line.slice(7)) || 0;
    } else if (line.startsWith('[') || line.startsWith('^') || line.startsWith('!') || line.startsWith('?')) {
      continue;
    } else if (line.startsWith('@')) {
      flags = parseInt(line.slice(1), 16) || 0;
    } else if (line.startsWith('-')) {
      const label = line.slice(1);
      const isGroup = (flags & 0x800000) !== 0;
      const isEnd = (flags & 0x1000000) !== 0;
      if (isGroup) {
        rows.push({ type: 'group', label, depth, open: (flags & 0x400000) === 0 });
        depth += 1;
      } else if (isEnd) {
        depth = Math.max(0, depth - 1);
      } else {
        rows.push({ type: 'divider', label, depth });
      }
    } else if (line.startsWith('#')) {
      // Single bits put together: the vector that they are of.
      const name = line.slice(1).split(/\s+/)[0];
      rows.push({ type: 'signal', name: name.replace(/^\{(.*)\}$/, '$1'), depth, radix: 'auto', color: color % 8 });
    } else {
      // "+{alias} name"
      const match = /^(?:\+\{?([^}\s]*)\}?\s+)?(.*)$/.exec(line);
      const name = match ? match[2].replace(/^\(\d+\)/, '') : line;
      const radix = kRadix.find(([bit]) => (flags & Number(bit)) !== 0);
      rows.push({
        type: 'signal', name, label: (match && match[1]) || '', depth, radix: radix ? radix[1] : 'auto', color: color % 8,
        curve: (flags & kAnalog) !== 0 ? ((flags & 0x8000) !== 0 ? 'steps' : 'line') : '',
      });
      color = 0;
    }
  }
  return { rows, markers, cursor };
}
