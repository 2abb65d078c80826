// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

/**
 * A row of the picture.
 * @typedef {object} Row
 * @property {number} id
 * @property {'signal' | 'divider' | 'group'} type
 * @property {string} label  what is shown, when it was renamed
 * @property {number} depth  how many groups it is in
 * @property {boolean} [open]  of a group
 * @property {number} [run]  of a signal, as all that follows
 * @property {number} [v]  its number in the run; -1 for one that the run does not have, -2 for a condition
 * @property {string} [name]
 * @property {string} [form]  level, bus, real, event, text
 * @property {number} [width]
 * @property {string} [kind]
 * @property {string} [direction]
 * @property {string} [vtype]
 * @property {string} [range]
 * @property {[number, number] | null} [bits]
 * @property {string} [radix]
 * @property {number} [point]  bits behind the point, of a fixed-point number
 * @property {string} [curve]  '', steps or line
 * @property {[number, number] | null} [scale]  of a curve, by hand
 * @property {number} [color]
 * @property {string} [condition]  what the row shows the matches of, in place of a signal
 * @property {number} [tall]  how many times as high as usual
 */

/** @typedef {{name: string, time: bigint}} Marker */

const kMostUndo = 200;

/** What a user arranges: rows, markers, what is seen. All that changes rows can be undone. */
export class Model {
  constructor() {
    /** @type {Row[]} */
    this.rows = [];
    /** @type {Set<number>} */
    this.chosen = new Set();
    /** The row that keys move from; -1 for none. */
    this.active = -1;
    /** @type {Marker[]} */
    this.markers = [];
    /** @type {bigint | null} */
    this.cursor = null;
    this.from = 0n;
    this.to = 1n;
    this.lastId = 0;
    /** @type {string[]} */
    this.past = [];
    /** @type {string[]} */
    this.future = [];
    /** @type {Set<() => void>} */
    this.listeners = new Set();
  }

  changed() {
    for (const listener of this.listeners) listener();
  }

  snapshot() {
    return JSON.stringify({ rows: this.rows, markers: this.markers.map((m) => ({ name: m.name, time: m.time.toString() })) });
  }

  /** @param {string} text */
  restore(text) {
    const state = JSON.parse(text);
    this.rows = state.rows;
    this.markers = state.markers.map((/** @type {any} */ m) => ({ name: m.name, time: BigInt(m.time) }));
    const ids = new Set(this.rows.map((row) => row.id));
    this.chosen = new Set([...this.chosen].filter((id) => ids.has(id)));
    if (!ids.has(this.active)) this.active = this.rows.length ? this.rows[0].id : -1;
  }

  /** Does something to the rows or markers that can be undone. @param {() => void} change */
  edit(change) {
    this.past.push(this.snapshot());
    if (this.past.length > kMostUndo) this.past.shift();
    this.future = [];
    change();
    this.changed();
  }

  undo() {
    const state = this.past.pop();
    if (state === undefined) return false;
    this.future.push(this.snapshot());
    this.restore(state);
    this.changed();
    return true;
  }

  redo() {
    const state = this.future.pop();
    if (state === undefined) return false;
    this.past.push(this.snapshot());
    this.restore(state);
    this.changed();
    return true;
  }

  /** Rows that are not within a closed group. */
  visible() {
    /** @type {Row[]} */
    const rows = [];
    let hidden = Infinity;
    for (const row of this.rows) {
      if (row.depth > hidden) continue;
      hidden = row.type === 'group' && !row.open ? row.depth : Infinity;
      rows.push(row);
    }
    return rows;
  }

  /** @param {number} id */
  row(id) {
    return this.rows.find((row) => row.id === id);
  }

  chosenRows() {
    return this.rows.filter((row) => this.chosen.has(row.id));
  }

  /** The signal that keys go by. */
  activeSignal() {
    const row = this.row(this.active);
    return row && row.type === 'signal' && (row.v ?? -1) >= 0 ? row : undefined;
  }

  /**
   * What a variable of the server becomes.
   * @param {any} variable @param {number} run @param {string} name
   * @returns {Row}
   */
  signal(variable, run, name) {
    return {
      id: ++this.lastId, type: 'signal', label: '', depth: 0, run, v: variable.v, name, form: variable.form,
      width: variable.width, kind: variable.kind, direction: variable.direction || '', vtype: variable.type || '',
      range: variable.range || '', bits: null, radix: 'auto', point: 0, curve: '', scale: null, color: 0, tall: 1,
    };
  }

  /** Behind the active row, or at the end. @param {Row[]} rows */
  add(rows) {
    if (!rows.length) return;
    this.edit(() => {
      const at = this.rows.findIndex((row) => row.id === this.active);
      const place = at < 0 ? this.rows.length : this.endOf(at);
      const depth = at < 0 ? 0 : this.rows[at].depth + (this.rows[at].type === 'group' ? 1 : 0);
      for (const row of rows) row.depth += depth;
      this.rows.splice(place, 0, ...rows);
      this.chosen = new Set(rows.map((row) => row.id));
      this.active = rows[rows.length - 1].id;
    });
  }

  /** Behind a row and, of a group, what is in it. @param {number} at */
  endOf(at) {
    let end = at + 1;
    if (this.rows[at].type === 'group') {
      while (end < this.rows.length && this.rows[end].depth > this.rows[at].depth) ++end;
    }
    return end;
  }

  /** The chosen rows with all that is in their groups. */
  chosenWithInner() {
    const ids = new Set(this.chosen);
    for (let i = 0; i < this.rows.length; ++i) {
      if (ids.has(this.rows[i].id)) for (let j = i + 1; j < this.endOf(i); ++j) ids.add(this.rows[j].id);
    }
    return ids;
  }

  remove() {
    if (!this.chosen.size) return;
    this.edit(() => {
      const gone = this.chosenWithInner();
      const first = this.rows.findIndex((row) => gone.has(row.id));
      this.rows = this.rows.filter((row) => !gone.has(row.id));
      const next = this.rows[Math.min(first, this.rows.length - 1)];
      this.active = next ? next.id : -1;
      this.chosen = new Set(next ? [next.id] : []);
    });
  }

  /** In front of the row with that id, or at the end. @param {number} id */
  moveTo(id) {
    const moved = this.chosenWithInner();
    if (!moved.size || moved.has(id)) return;
    this.edit(() => {
      const rows = this.rows.filter((row) => moved.has(row.id));
      const rest = this.rows.filter((row) => !moved.has(row.id));
      const at = rest.findIndex((row) => row.id === id);
      const depth = at < 0 ? 0 : rest[at].depth;
      const shift = depth - Math.min(...rows.map((row) => row.depth));
      for (const row of rows) row.depth += shift;
      rest.splice(at < 0 ? rest.length : at, 0, ...rows);
      this.rows = rest;
    });
  }

  /** @param {number} by */
  moveBy(by) {
    const shown = this.visible().filter((row) => !this.chosen.has(row.id));
    const all = this.visible();
    const first = all.findIndex((row) => this.chosen.has(row.id));
    if (first < 0) return;
    const place = first + by;
    if (place < 0) return;
    this.moveTo(place >= shown.length ? -1 : shown[place].id);
  }

  /** @param {string} label */
  group(label) {
    if (!this.chosen.size) return;
    this.edit(() => {
      const inner = this.chosenWithInner();
      const rows = this.rows.filter((row) => inner.has(row.id));
      const at = this.rows.findIndex((row) => inner.has(row.id));
      const depth = this.rows[at].depth;
      const lowest = Math.min(...rows.map((row) => row.depth));
      for (const row of rows) row.depth += depth + 1 - lowest;
      /** @type {Row} */
      const group = { id: ++this.lastId, type: 'group', label, depth, open: true };
      const rest = this.rows.filter((row) => !inner.has(row.id));
      const before = this.rows.slice(0, at).filter((row) => !inner.has(row.id)).length;
      rest.splice(before, 0, group, ...rows);
      this.rows = rest;
      this.chosen = new Set([group.id]);
      this.active = group.id;
    });
  }

  ungroup() {
    const groups = this.chosenRows().filter((row) => row.type === 'group');
    if (!groups.length) return;
    this.edit(() => {
      for (const group of groups) {
        const at = this.rows.indexOf(group);
        const end = this.endOf(at);
        for (let i = at + 1; i < end; ++i) --this.rows[i].depth;
        this.rows.splice(at, 1);
      }
    });
  }

  /** @param {string} label */
  divider(label) {
    this.add([{ id: ++this.lastId, type: 'divider', label, depth: 0 }]);
  }

  /** @param {(row: Row) => void} change */
  editChosen(change) {
    const rows = this.chosenRows();
    if (rows.length) this.edit(() => rows.forEach(change));
  }

  /** A bus by its bits, in a group of its own. @param {Row} row */
  expandBits(row) {
    if (row.type !== 'signal' || row.form !== 'bus' || row.bits) return;
    const match = /\[(-?\d+):(-?\d+)\]/.exec(row.range || '');
    const width = row.width || 1;
    const left = match ? Number(match[1]) : width - 1;
    const right = match ? Number(match[2]) : 0;
    if (width > 1024) return;
    this.edit(() => {
      const at = this.rows.indexOf(row);
      /** @type {Row[]} */
      const bits = [];
      for (let i = left, step = left > right ? -1 : 1; ; i += step) {
        bits.push({ ...row, id: ++this.lastId, depth: row.depth + 1, bits: [i, i], width: 1, form: 'level', label: '', curve: '', tall: 1 });
        if (i === right) break;
      }
      /** @type {Row} */
      const group = { id: ++this.lastId, type: 'group', label: row.label || row.name || '', depth: row.depth, open: true };
      row.depth += 1;
      this.rows.splice(at, 1, group, row, ...bits);
    });
  }

  /** The arrangement as a session keeps it: by names, so that it serves another run. */
  session() {
    return {
      tracewell: 1,
      rows: this.rows.map(({ v, ...row }) => row),
      markers: this.markers.map((m) => ({ name: m.name, time: m.time.toString() })),
      cursor: this.cursor === null ? null : this.cursor.toString(),
      from: this.from.toString(),
      to: this.to.toString(),
    };
  }
}
