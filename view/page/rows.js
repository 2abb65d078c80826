// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

import { kHeadHeight, kRowHeight, kRowColors } from './waves.js';

/** @typedef {import('./model.js').Row} Row */

/** @param {Row} row */
export function heightOf(row) {
  return row.type === 'signal' ? kRowHeight * (row.tall || 1) : kRowHeight;
}

/** What a row is called. @param {Row} row */
export function nameOf(row) {
  if (row.label) return row.label;
  const name = row.name || '';
  return row.bits ? name.replace(/\[[^\]]*\]$/, '') + (row.bits[0] === row.bits[1] ? `[${row.bits[0]}]` : `[${row.bits[0]}:${row.bits[1]}]`) : name;
}

/** Names and values beside the waves: a grid, of which only what is seen is made. */
export class Rows {
  /**
   * @param {HTMLElement} grid @param {HTMLElement} body @param {import('./model.js').Model} model
   * @param {{menu: (x: number, y: number) => void, rename: (row: Row) => void, dropSignals: (before: number) => void}} hooks
   */
  constructor(grid, body, model, hooks) {
    this.grid = grid;
    this.body = body;
    this.model = model;
    this.hooks = hooks;
    this.scroll = 0;
    this.anchor = -1;
    this.isShort = true;
    /** @type {Map<number, string>} */
    this.values = new Map();
    body.addEventListener('click', (event) => this.click(event));
    body.addEventListener('dblclick', (event) => {
      const row = this.at(event);
      if (row) this.hooks.rename(row);
    });
    body.addEventListener('contextmenu', (event) => {
      const row = this.at(event);
      if (row && !model.chosen.has(row.id)) this.choose(row, event);
      event.preventDefault();
      this.hooks.menu(event.clientX, event.clientY);
    });
    body.addEventListener('dragstart', (event) => {
      const row = this.at(event);
      if (row && !model.chosen.has(row.id)) this.choose(row, event);
      event.dataTransfer?.setData('text/x-tracewell', 'rows');
    });
    body.addEventListener('dragover', (event) => {
      event.preventDefault();
      for (const element of body.querySelectorAll('.drop')) element.classList.remove('drop');
      /** @type {HTMLElement} */ (event.target).closest('.row')?.classList.add('drop');
    });
    body.addEventListener('drop', (event) => {
      event.preventDefault();
      const row = this.at(event);
      const before = row ? row.id : -1;
      event.dataTransfer?.getData('text/x-tracewell') === 'rows' ? model.moveTo(before) : this.hooks.dropSignals(before);
    });
  }

  /** @param {Event} event */
  at(event) {
    const element = /** @type {HTMLElement} */ (event.target).closest('.row');
    return element ? this.model.row(Number(/** @type {HTMLElement} */ (element).dataset.id)) : undefined;
  }

  /** @param {Row} row @param {MouseEvent | KeyboardEvent} event */
  choose(row, event) {
    const { model } = this;
    if (event.shiftKey) {
      const shown = model.visible();
      const a = shown.findIndex((one) => one.id === (this.anchor >= 0 ? this.anchor : model.active));
      const b = shown.indexOf(row);
      model.chosen = new Set(shown.slice(Math.max(0, Math.min(a, b)), Math.max(a, b) + 1).map((one) => one.id));
    } else if (event.ctrlKey || event.metaKey) {
      model.chosen.has(row.id) ? model.chosen.delete(row.id) : model.chosen.add(row.id);
      this.anchor = row.id;
    } else {
      model.chosen = new Set([row.id]);
      this.anchor = row.id;
    }
    model.active = row.id;
    model.changed();
  }

  /** @param {MouseEvent} event */
  click(event) {
    const row = this.at(event);
    if (!row) return;
    this.choose(row, event);
    if (row.type === 'group' && /** @type {HTMLElement} */ (event.target).classList.contains('sign')) this.toggle(row);
  }

  /** @param {Row} row */
  toggle(row) {
    this.model.edit(() => {
      row.open = !row.open;
    });
  }

  /** @param {number} by @param {KeyboardEvent} event */
  move(by, event) {
    const shown = this.model.visible();
    if (!shown.length) return;
    const at = shown.findIndex((row) => row.id === this.model.active);
    const to = shown[Math.max(0, Math.min(shown.length - 1, at + by))];
    if (event.shiftKey) {
      if (this.anchor < 0) this.anchor = this.model.active;
      this.choose(to, event);
    } else {
      this.choose(to, event);
    }
    this.reveal(to);
  }

  /** @param {Row} row */
  reveal(row) {
    let y = 0;
    for (const one of this.model.visible()) {
      if (one === row) break;
      y += heightOf(one);
    }
    const height = this.grid.clientHeight - kHeadHeight;
    if (y < this.scroll) this.scrollTo(y);
    if (y + heightOf(row) > this.scroll + height) this.scrollTo(y + heightOf(row) - height);
  }

  total() {
    return this.model.visible().reduce((sum, row) => sum + heightOf(row), 0);
  }

  /** @param {number} y */
  scrollTo(y) {
    const height = this.grid.clientHeight - kHeadHeight;
    this.scroll = Math.max(0, Math.min(y, this.total() - height + kRowHeight));
    this.model.changed();
  }

  /** Rows with their places from the top of the stage. @returns {{row: Row, y: number, height: number}[]} */
  placed() {
    const places = [];
    let y = kHeadHeight - this.scroll;
    const bottom = this.grid.clientHeight;
    for (const row of this.model.visible()) {
      const height = heightOf(row);
      if (y + height > kHeadHeight && y < bottom) places.push({ row, y, height });
      y += height;
      if (y > bottom) break;
    }
    return places;
  }

  draw() {
    const parts = [];
    const { model } = this;
    const shown = model.visible();
    for (const { row, y, height } of this.placed()) {
      const element = document.createElement('div');
      element.className = 'row ' + row.type + (model.chosen.has(row.id) ? ' chosen' : '') + ((row.v ?? 0) === -1 ? ' lost' : '');
      element.dataset.id = String(row.id);
      element.id = 'row-' + row.id;
      element.draggable = true;
      element.style.cssText = `top:${y - kHeadHeight}px;height:${height}px;padding-left:${8 + row.depth * 12}px`;
      element.setAttribute('role', 'row');
      element.setAttribute('aria-selected', String(model.chosen.has(row.id)));
      element.setAttribute('aria-rowindex', String(shown.indexOf(row) + 1));
      if (row.type === 'group') {
        const sign = document.createElement('span');
        sign.className = 'sign';
        sign.textContent = row.open ? '▾' : '▸';
        element.append(sign);
        element.setAttribute('aria-expanded', String(row.open));
      }
      if (row.run) {
        const tag = document.createElement('span');
        tag.className = 'tag';
        tag.textContent = 'B';
        tag.title = 'of the second recording';
        element.append(tag);
      }
      const label = document.createElement('span');
      label.className = 'label';
      label.setAttribute('role', 'gridcell');
      const name = nameOf(row);
      // The end of a path says more than its start.
      label.textContent = this.isShort && row.type === 'signal' && !row.label ? name.replace(/^.*\.(?=[^.]*\.[^.]*$)/, '') : name;
      label.title = name + (row.type === 'signal' ? ` (${[row.direction, row.vtype || row.kind, (row.v ?? 0) === -1 ? 'not in this recording' : ''].filter(Boolean).join(', ')})` : '');
      if (row.color) label.style.color = kRowColors[row.color];
      element.append(label);
      if (row.type === 'signal') {
        const value = document.createElement('span');
        value.className = 'value';
        value.setAttribute('role', 'gridcell');
        value.textContent = this.values.get(row.id) ?? '';
        value.title = value.textContent || '';
        element.append(value);
      }
      parts.push(element);
    }
    this.body.replaceChildren(...parts);
    this.grid.setAttribute('aria-rowcount', String(shown.length));
    this.grid.setAttribute('aria-activedescendant', model.active >= 0 ? 'row-' + model.active : '');
  }
}
