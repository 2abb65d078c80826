// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

const kLineHeight = 18;
const kPiece = 500;

/** The lines of a simulation's log, beside the waves. */
export class LogView {
  /**
   * @param {HTMLElement} element @param {import('./server.js').Server} server
   * @param {(time: bigint) => void} goTo
   */
  constructor(element, server, goTo) {
    this.element = element;
    this.server = server;
    this.goTo = goTo;
    this.count = 0;
    this.active = -1;
    /** @type {Map<number, {text: string, time: string}[]>} */
    this.pieces = new Map();
    /** @type {Set<number>} */
    this.asked = new Set();
    this.list = document.createElement('div');
    this.list.style.position = 'relative';
    element.append(this.list);
    element.addEventListener('scroll', () => this.draw());
    element.addEventListener('click', (event) => {
      const line = /** @type {HTMLElement} */ (event.target).closest('.line');
      if (line) this.choose(Number(/** @type {HTMLElement} */ (line).dataset.index));
    });
    element.addEventListener('keydown', (event) => {
      const by = { ArrowDown: 1, ArrowUp: -1, PageDown: 8, PageUp: -8 }[event.key];
      if (!by) return;
      event.preventDefault();
      event.stopPropagation();
      this.choose(Math.max(0, Math.min(this.count - 1, this.active + by)));
    });
    new ResizeObserver(() => this.draw()).observe(element);
  }

  /** @param {number} count @param {import('./times.js').TimeScale} times */
  load(count, times) {
    this.count = count;
    this.times = times;
    this.pieces.clear();
    this.asked.clear();
    /** @type {HTMLElement} */ (this.element.parentElement).hidden = count === 0;
    this.draw();
  }

  /** @param {number} index */
  lineOf(index) {
    return this.pieces.get(Math.floor(index / kPiece))?.[index % kPiece];
  }

  /** @param {number} index */
  async choose(index) {
    this.active = index;
    this.reveal();
    await this.fetch(Math.floor(index / kPiece));
    const line = this.lineOf(index);
    if (line && BigInt(line.time) >= 0n) this.goTo(BigInt(line.time));
    this.draw();
  }

  reveal() {
    const y = this.active * kLineHeight;
    const height = this.element.clientHeight;
    if (y < this.element.scrollTop || y + kLineHeight > this.element.scrollTop + height) this.element.scrollTop = y - height / 2;
  }

  /** The cursor has moved. @param {bigint} time */
  async follow(time) {
    if (!this.count) return;
    const answer = await this.server.ask('log', { time: time.toString() });
    if (answer.line < this.count && answer.line !== this.active) {
      this.active = answer.line;
      this.reveal();
    }
    this.draw();
  }

  /** @param {number} piece */
  async fetch(piece) {
    if (this.asked.has(piece)) return;
    this.asked.add(piece);
    const answer = await this.server.ask('log', { from: piece * kPiece });
    this.pieces.set(piece, answer.lines.slice(0, kPiece));
    this.draw();
  }

  draw() {
    if (!this.count) return;
    this.list.style.height = this.count * kLineHeight + 'px';
    const first = Math.max(0, Math.floor(this.element.scrollTop / kLineHeight) - 3);
    const last = Math.min(this.count, Math.ceil((this.element.scrollTop + this.element.clientHeight) / kLineHeight) + 3);
    const parts = [];
    for (let i = first; i < last; ++i) {
      const line = this.lineOf(i);
      if (!line) this.fetch(Math.floor(i / kPiece)).catch(() => {});
      const row = document.createElement('div');
      row.className = 'line' + (i === this.active ? ' chosen' : '');
      row.dataset.index = String(i);
      row.style.top = i * kLineHeight + 'px';
      row.setAttribute('role', 'option');
      row.setAttribute('aria-selected', String(i === this.active));
      const when = document.createElement('span');
      when.className = 'when';
      when.textContent = line && this.times && BigInt(line.time) >= 0n ? this.times.format(BigInt(line.time)) : '';
      row.append(when, line ? line.text : '…');
      parts.push(row);
    }
    this.list.replaceChildren(...parts);
  }
}
