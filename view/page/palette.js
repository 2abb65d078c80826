// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

/**
 * What can be done, by menu, by key and by name.
 * @typedef {object} Command
 * @property {string} name
 * @property {string} title
 * @property {string} keys  as "Ctrl+Z", several with a blank between them; empty for none
 * @property {(event?: Event) => void} run
 * @property {boolean} [isInMenu]
 * @property {boolean} [begins]  a line stands in front of it in the menu
 */

const dialog = () => /** @type {HTMLDialogElement} */ (document.getElementById('dialog'));

/** @param {Node[]} content @param {string} label @param {string} [style] */
function show(content, label, style = '') {
  const element = dialog();
  element.className = style;
  element.setAttribute('aria-label', label);
  element.replaceChildren(...content);
  if (!element.open) element.showModal();
  return element;
}

/** @param {string} tag @param {string} text */
function make(tag, text) {
  const element = document.createElement(tag);
  element.textContent = text;
  return element;
}

/** Asks for a line of text; null when it was not given. @param {string} title @param {string} value @param {string} [hint] @returns {Promise<string | null>} */
export function askText(title, value, hint = '') {
  return new Promise((resolve) => {
    const form = document.createElement('form');
    const input = document.createElement('input');
    input.value = value;
    input.placeholder = hint;
    input.setAttribute('aria-label', title);
    const buttons = make('div', '');
    buttons.className = 'buttons';
    const cancel = make('button', 'Cancel');
    cancel.setAttribute('type', 'button');
    const good = make('button', 'OK');
    buttons.append(cancel, good);
    form.append(make('h2', title), input, buttons);
    const element = show([form], title);
    let answer = /** @type {string | null} */ (null);
    cancel.onclick = () => element.close();
    form.onsubmit = (event) => {
      event.preventDefault();
      answer = input.value;
      element.close();
    };
    element.onclose = () => resolve(answer);
    input.select();
  });
}

/** @param {Command[]} commands */
export function showHelp(commands) {
  const table = document.createElement('table');
  for (const command of commands) {
    if (!command.keys) continue;
    const row = document.createElement('tr');
    const keys = document.createElement('td');
    for (const key of command.keys.split(' ')) keys.append(make('kbd', key), ' ');
    row.append(keys, make('td', command.title));
    table.append(row);
  }
  for (const [keys, title] of [
    ['Click', 'Set the cursor; near an edge it snaps to it'], ['Drag', 'Zoom to a stretch'],
    ['Ctrl+Wheel', 'Zoom at the pointer'], ['Shift+Wheel', 'Pan'], ['Wheel', 'Scroll the rows'],
    ['Right click', 'A menu for the chosen rows'], ['Enter', 'In the tree: show the chosen signals'],
  ]) {
    const row = document.createElement('tr');
    const cell = document.createElement('td');
    cell.append(make('kbd', keys));
    row.append(cell, make('td', title));
    table.append(row);
  }
  const close = make('button', 'Close');
  const element = show([make('h2', 'Keys'), table, close], 'Keys');
  close.onclick = () => element.close();
  element.onclose = null;
}

/** @param {Command[]} commands */
export function showPalette(commands) {
  const input = document.createElement('input');
  input.placeholder = 'What to do';
  input.setAttribute('aria-label', 'What to do');
  input.setAttribute('role', 'combobox');
  const list = document.createElement('ul');
  list.setAttribute('role', 'listbox');
  let found = commands;
  let active = 0;
  const element = show([input, list], 'Commands', 'palette');
  const run = (/** @type {number} */ index) => {
    element.close();
    found[index]?.run();
  };
  const draw = () => {
    const words = input.value.toLowerCase().split(/\s+/);
    found = commands.filter((command) => words.every((word) => command.title.toLowerCase().includes(word)));
    active = Math.max(0, Math.min(active, found.length - 1));
    list.replaceChildren(...found.map((command, i) => {
      const item = document.createElement('li');
      item.className = i === active ? 'active' : '';
      item.setAttribute('role', 'option');
      item.setAttribute('aria-selected', String(i === active));
      item.append(make('span', command.title), make('span', command.keys.split(' ')[0] || ''));
      item.onclick = () => run(i);
      return item;
    }));
    list.children[active]?.scrollIntoView({ block: 'nearest' });
  };
  input.oninput = () => {
    active = 0;
    draw();
  };
  input.onkeydown = (event) => {
    if (event.key === 'ArrowDown') ++active;
    else if (event.key === 'ArrowUp') --active;
    else if (event.key === 'Enter') return run(active);
    else return;
    event.preventDefault();
    draw();
  };
  element.onclose = null;
  draw();
}

/** @param {Command[]} commands @param {number} x @param {number} y */
export function showMenu(commands, x, y) {
  const menu = /** @type {HTMLElement} */ (document.getElementById('menu'));
  const close = () => {
    menu.hidden = true;
    removeEventListener('pointerdown', outside, true);
  };
  const outside = (/** @type {PointerEvent} */ event) => {
    if (!menu.contains(/** @type {Node} */ (event.target))) close();
  };
  menu.replaceChildren();
  for (const command of commands) {
    if (command.begins) menu.append(document.createElement('hr'));
    const button = document.createElement('button');
    button.setAttribute('role', 'menuitem');
    button.append(make('span', command.title), make('span', command.keys.split(' ')[0] || ''));
    button.onclick = () => {
      close();
      command.run();
    };
    menu.append(button);
  }
  menu.hidden = false;
  menu.style.left = Math.min(x, innerWidth - menu.offsetWidth - 4) + 'px';
  menu.style.top = Math.max(4, Math.min(y, innerHeight - menu.offsetHeight - 4)) + 'px';
  menu.onkeydown = (event) => {
    const items = /** @type {HTMLElement[]} */ ([...menu.querySelectorAll('button')]);
    const at = items.indexOf(/** @type {HTMLElement} */ (document.activeElement));
    if (event.key === 'Escape') close();
    else if (event.key === 'ArrowDown') items[(at + 1) % items.length].focus();
    else if (event.key === 'ArrowUp') items[(at + items.length - 1) % items.length].focus();
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  addEventListener('pointerdown', outside, true);
  /** @type {HTMLElement | null} */ (menu.querySelector('button'))?.focus();
}
