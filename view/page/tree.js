// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

/**
 * @typedef {object} Node
 * @property {'run' | 'scope' | 'variable' | 'more'} type
 * @property {number} run
 * @property {number} scope  of a scope, or the one that a variable is in; -1 for the outermost
 * @property {string} name
 * @property {string} path  full name
 * @property {number} depth
 * @property {boolean} open
 * @property {any} variable
 * @property {number} next  of "more": where the list goes on
 * @property {number} size  what is in a scope
 */

const kNodeHeight = 20;

/** The scopes and variables of the runs, loaded as they are opened, or those that a pattern fits. */
export class Tree {
  /**
   * @param {HTMLElement} element
   * @param {import('./server.js').Server} server
   * @param {(found: {variable: any, run: number, name: string}[]) => void} add
   */
  constructor(element, server, add) {
    this.element = element;
    this.server = server;
    this.add = add;
    /** @type {Node[]} */
    this.nodes = [];
    /** @type {Set<Node>} */
    this.chosen = new Set();
    this.active = 0;
    this.isSearch = false;
    this.request = 0;
    element.addEventListener('scroll', () => this.draw());
    element.addEventListener('keydown', (event) => this.key(event));
    element.addEventListener('click', (event) => this.click(event));
    element.addEventListener('dblclick', (event) => this.open(this.at(event)));
    element.addEventListener('dragstart', (event) => {
      const node = this.at(event);
      if (node && !this.chosen.has(node)) this.choose(node, event);
      event.dataTransfer?.setData('text/x-tracewell', 'signals');
    });
    new ResizeObserver(() => this.draw()).observe(element);
    this.list = document.createElement('div');
    this.list.style.position = 'relative';
    element.append(this.list);
  }

  /** @param {{name: string}[]} runs */
  async load(runs) {
    this.runs = runs;
    this.isSearch = false;
    this.nodes = [];
    this.chosen.clear();
    this.active = 0;
    if (runs.length === 1) {
      this.nodes = await this.children(0, -1, '', 0, 0);
      // One scope alone is opened at once.
      const scopes = this.nodes.filter((node) => node.type === 'scope');
      if (scopes.length === 1) await this.toggle(scopes[0]);
    } else {
      this.nodes = runs.map((run, i) => ({ type: 'run', run: i, scope: -1, name: run.name, path: '', depth: 0, open: false, variable: null, next: 0, size: 1 }));
      await this.toggle(this.nodes[0]);
    }
    this.draw();
  }

  /** @param {number} run @param {number} scope @param {string} path @param {number} depth @param {number} from @returns {Promise<Node[]>} */
  async children(run, scope, path, depth, from) {
    const answer = await this.server.ask('scope', { run, scope, from });
    const join = (/** @type {string} */ name) => (path ? path + '.' + name : name);
    /** @type {Node[]} */
    const nodes = answer.scopes.map((/** @type {any} */ s) => ({
      type: 'scope', run, scope: s.s, name: s.name || '(no name)', path: join(s.name), depth, open: false, variable: s, next: 0, size: s.scopes + s.variables,
    }));
    for (const v of answer.variables) {
      nodes.push({ type: 'variable', run, scope, name: v.name, path: join(v.name), depth, open: false, variable: v, next: 0, size: 0 });
    }
    if (answer.more) nodes.push({ type: 'more', run, scope, name: 'more …', path, depth, open: false, variable: null, next: answer.more, size: 0 });
    return nodes;
  }

  /** @param {Node} node */
  async toggle(node) {
    const at = this.nodes.indexOf(node);
    if (at < 0) return;
    if (node.open) {
      let end = at + 1;
      while (end < this.nodes.length && this.nodes[end].depth > node.depth) ++end;
      this.nodes.splice(at + 1, end - at - 1);
      node.open = false;
    } else {
      node.open = true;
      const inner = await this.children(node.run, node.scope, node.path, node.depth + 1, 0);
      const place = this.nodes.indexOf(node);
      if (place >= 0 && node.open) this.nodes.splice(place + 1, 0, ...inner);
    }
    this.draw();
  }

  /** @param {{pattern: string, mode: string, direction: string}} filter */
  async search(filter) {
    const request = ++this.request;
    if (!filter.pattern && !filter.direction) {
      if (this.isSearch && this.runs) await this.load(this.runs);
      return '';
    }
    /** @type {Node[]} */
    const found = [];
    let isAll = true;
    for (let run = 0; run < (this.runs || []).length; ++run) {
      const answer = await this.server.ask('find', { run, ...filter });
      isAll = isAll && answer.all;
      for (const v of answer.variables) {
        found.push({ type: 'variable', run, scope: -1, name: v.name, path: v.name, depth: 0, open: false, variable: v, next: 0, size: 0 });
      }
    }
    if (request !== this.request) return '';
    this.isSearch = true;
    this.nodes = found;
    this.chosen.clear();
    this.active = 0;
    this.element.scrollTop = 0;
    this.draw();
    return isAll ? `${found.length} found` : `the first ${found.length} are listed`;
  }

  /** @param {Event} event @returns {Node | undefined} */
  at(event) {
    const element = /** @type {HTMLElement} */ (event.target).closest('.node');
    return element ? this.nodes[Number(/** @type {HTMLElement} */ (element).dataset.index)] : undefined;
  }

  /** @param {Node} node @param {MouseEvent | KeyboardEvent} event */
  choose(node, event) {
    const index = this.nodes.indexOf(node);
    if (event.shiftKey) {
      const [a, b] = [Math.min(this.active, index), Math.max(this.active, index)];
      if (!event.ctrlKey) this.chosen.clear();
      for (let i = a; i <= b; ++i) this.chosen.add(this.nodes[i]);
    } else if (event.ctrlKey || event.metaKey) {
      this.chosen.has(node) ? this.chosen.delete(node) : this.chosen.add(node);
      this.active = index;
    } else {
      this.chosen = new Set([node]);
      this.active = index;
    }
    this.draw();
  }

  /** @param {MouseEvent} event */
  click(event) {
    const node = this.at(event);
    if (!node) return;
    this.choose(node, event);
    if (/** @type {HTMLElement} */ (event.target).classList.contains('sign') && node.type !== 'variable') this.toggle(node);
    if (node.type === 'more') this.open(node);
  }

  /** @param {Node | undefined} node */
  async open(node) {
    if (!node) return;
    if (node.type === 'variable') {
      if (!this.chosen.has(node)) this.chosen = new Set([node]);
      this.addChosen();
    } else if (node.type === 'more') {
      const more = await this.children(node.run, node.scope, node.path, node.depth, node.next);
      const at = this.nodes.indexOf(node);
      if (at >= 0) this.nodes.splice(at, 1, ...more);
      this.draw();
    } else {
      await this.toggle(node);
    }
  }

  /** The chosen variables, and all directly in chosen scopes. */
  async addChosen() {
    /** @type {{variable: any, run: number, name: string}[]} */
    const found = [];
    for (const node of this.nodes.filter((one) => this.chosen.has(one))) {
      if (node.type === 'variable') {
        found.push({ variable: node.variable, run: node.run, name: node.path });
      } else if (node.type === 'scope') {
        for (let from = 0, isFirst = true; isFirst || from > 0; isFirst = false) {
          const some = await this.children(node.run, node.scope, node.path, 0, from);
          for (const inner of some) {
            if (inner.type === 'variable') found.push({ variable: inner.variable, run: inner.run, name: inner.path });
          }
          const last = some[some.length - 1];
          from = last && last.type === 'more' ? last.next : 0;
        }
      }
    }
    if (found.length) this.add(found);
  }

  /** @param {KeyboardEvent} event */
  key(event) {
    const node = this.nodes[this.active];
    const go = (/** @type {number} */ index) => {
      const target = Math.max(0, Math.min(this.nodes.length - 1, index));
      if (!this.nodes.length) return;
      const to = this.nodes[target];
      if (event.shiftKey) {
        this.chosen.add(to);
        this.active = target;
      } else {
        this.chosen = new Set([to]);
        this.active = target;
      }
      const y = target * kNodeHeight;
      if (y < this.element.scrollTop) this.element.scrollTop = y;
      if (y + kNodeHeight > this.element.scrollTop + this.element.clientHeight) this.element.scrollTop = y + kNodeHeight - this.element.clientHeight;
      this.draw();
    };
    const page = Math.max(1, Math.floor(this.element.clientHeight / kNodeHeight) - 1);
    switch (event.key) {
      case 'ArrowDown': go(this.active + 1); break;
      case 'ArrowUp': go(this.active - 1); break;
      case 'PageDown': go(this.active + page); break;
      case 'PageUp': go(this.active - page); break;
      case 'Home': go(0); break;
      case 'End': go(this.nodes.length - 1); break;
      case 'ArrowRight':
        if (node && node.type !== 'variable' && !node.open) this.toggle(node);
        else go(this.active + 1);
        break;
      case 'ArrowLeft':
        if (node && node.open) this.toggle(node);
        else if (node) {
          let parent = this.active;
          while (parent > 0 && this.nodes[parent].depth >= node.depth) --parent;
          go(parent);
        }
        break;
      case 'Enter':
        if (node && !this.chosen.has(node)) this.chosen = new Set([node]);
        this.chosen.size === 1 && node && node.type !== 'variable' && !event.ctrlKey ? this.open(node) : this.addChosen();
        break;
      default: return;
    }
    event.preventDefault();
    event.stopPropagation();
  }

  draw() {
    const height = this.element.clientHeight;
    const first = Math.max(0, Math.floor(this.element.scrollTop / kNodeHeight) - 5);
    const last = Math.min(this.nodes.length, Math.ceil((this.element.scrollTop + height) / kNodeHeight) + 5);
    this.list.style.height = this.nodes.length * kNodeHeight + 'px';
    const parts = [];
    for (let i = first; i < last; ++i) {
      const node = this.nodes[i];
      const row = document.createElement('div');
      row.className = 'node ' + node.type + (this.chosen.has(node) ? ' chosen' : '') + (i === this.active ? ' active' : '');
      row.dataset.index = String(i);
      row.id = 'node-' + i;
      row.style.cssText = `position:absolute;left:0;right:0;top:${i * kNodeHeight}px;padding-left:${4 + node.depth * 12}px`;
      row.setAttribute('role', 'treeitem');
      row.setAttribute('aria-level', String(node.depth + 1));
      row.setAttribute('aria-selected', String(this.chosen.has(node)));
      if (node.type !== 'variable') row.setAttribute('aria-expanded', String(node.open));
      row.draggable = node.type !== 'more';
      const sign = document.createElement('span');
      sign.className = 'sign';
      sign.textContent = node.type === 'variable' ? { level: '─', bus: '▭', real: '∿', event: '↑', text: '“' }[/** @type {string} */ (node.variable.form)] || '·' : node.type === 'more' ? '' : node.open ? '▾' : '▸';
      const label = document.createElement('span');
      label.textContent = node.name;
      row.append(sign, label);
      if (node.variable) {
        const sort = document.createElement('span');
        sort.className = 'sort';
        sort.textContent = node.type === 'scope' ? (node.variable.kind === 'module' ? '' : node.variable.kind) : [node.variable.direction, node.variable.type || node.variable.kind].filter(Boolean).join(' ');
        row.append(sort);
      }
      row.title = node.path || node.name;
      parts.push(row);
    }
    this.list.replaceChildren(...parts);
    this.element.setAttribute('aria-activedescendant', this.nodes.length ? 'node-' + this.active : '');
  }
}
