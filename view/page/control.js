// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

import { kRowColors } from './waves.js';

/** @typedef {import('./model.js').Row} Row */

/** Colours by their usual names, to those that rows have. */
const kNames = ['', 'blue', 'orange', 'green', 'pink', 'yellow', 'cyan', 'violet'];

/**
 * Does what another program asks, in the words of the waveform control protocol, and answers it.
 * @param {any} command
 * @param {object} page
 * @param {import('./model.js').Model} page.model
 * @param {(names: string[]) => Promise<(any | null)[]>} page.resolve
 * @param {(scope: string, isRecursive: boolean) => Promise<any[]>} page.inScope
 * @param {(time: bigint | null, reveals: boolean) => void} page.setCursor
 * @param {(from: bigint, to: bigint) => void} page.look
 * @param {() => void} page.fit
 */
export async function obey(command, page) {
  const { model } = page;
  const acknowledge = () => ({ type: 'response', command: 'ack' });
  const answer = (/** @type {object} */ fields) => ({ type: 'response', command: command.command, ...fields });
  const rowOf = (/** @type {any} */ id) => {
    const row = model.row(Number(id));
    if (!row) throw new Error(`there is no item ${id}`);
    return row;
  };
  const add = (/** @type {any[]} */ variables) => {
    const rows = variables.map((v) => model.signal(v, 0, v.name));
    model.add(rows);
    return answer({ ids: rows.map((row) => row.id) });
  };
  const timeOf = (/** @type {any} */ value) => BigInt(typeof value === 'number' ? Math.round(value) : value);
  switch (command.command) {
    case 'get_item_list':
      return answer({ ids: model.rows.map((row) => row.id) });
    case 'get_item_info':
      return answer({ results: (command.ids || []).map((/** @type {any} */ id) => {
        const row = rowOf(id);
        return { name: row.label || row.name || '', type: row.type === 'signal' ? 'Variable' : row.type === 'group' ? 'Group' : 'Divider', id: row.id };
      }) });
    case 'add_variables':
    case 'add_items': {
      const names = command.variables || command.names || command.items || [];
      const found = await page.resolve(names);
      const variables = [];
      for (let i = 0; i < names.length; ++i) {
        if (found[i]) variables.push(found[i]);
        else if (command.command === 'add_items') variables.push(...(await page.inScope(names[i], Boolean(command.recursive))));
        else throw new Error(`there is no signal ${names[i]}`);
      }
      return add(variables);
    }
    case 'add_scope':
      return add(await page.inScope(command.scope, Boolean(command.recursive)));
    case 'remove_items':
      model.chosen = new Set((command.ids || []).map(Number));
      model.remove();
      return acknowledge();
    case 'clear':
      model.chosen = new Set(model.rows.map((row) => row.id));
      model.remove();
      return acknowledge();
    case 'set_item_color': {
      const row = rowOf(command.id);
      const wanted = String(command.color).toLowerCase();
      const color = Math.max(kNames.indexOf(wanted), kRowColors.indexOf(wanted));
      model.edit(() => { row.color = color > 0 ? color : 2; });
      return acknowledge();
    }
    case 'focus_item':
      model.active = rowOf(command.id).id;
      model.chosen = new Set([model.active]);
      model.changed();
      return acknowledge();
    case 'add_markers': {
      /** @type {number[]} */
      const ids = [];
      model.edit(() => {
        for (const marker of command.markers || []) {
          model.markers.push({ name: String(marker.name || 'M' + (model.markers.length + 1)), time: timeOf(marker.time) });
          ids.push(model.markers.length);
        }
      });
      const moving = (command.markers || []).find((/** @type {any} */ marker) => marker.move_focus);
      if (moving) page.setCursor(timeOf(moving.time), true);
      return answer({ ids });
    }
    case 'cursor_set':
    case 'set_cursor':
      page.setCursor(timeOf(command.timestamp), true);
      return acknowledge();
    case 'set_viewport_to': {
      const half = (model.to - model.from) / 2n;
      const time = timeOf(command.timestamp);
      page.look(time - half, time + half);
      return acknowledge();
    }
    case 'set_viewport_range':
      page.look(timeOf(command.start), timeOf(command.end));
      return acknowledge();
    case 'zoom_to_fit':
      page.fit();
      return acknowledge();
    default:
      throw new Error(`there is no command ${command.command}`);
  }
}
