// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

/** "Ctrl+Shift+K" of an event, letters small without Shift. @param {KeyboardEvent} event */
export function keyOf(event) {
  const key = event.key === ' ' ? 'Space' : event.key.length === 1 ? event.key.toUpperCase() : event.key;
  const isLetter = /^[A-Z]$/.test(key);
  const named = key.length > 1;
  return (event.ctrlKey || event.metaKey ? 'Ctrl+' : '') + (event.altKey ? 'Alt+' : '') + (event.shiftKey && (isLetter || named) ? 'Shift+' : '') + key;
}

/** Runs the command that a key has, but where a text is being written. @param {import('./palette.js').Command[]} commands */
export function listenForKeys(commands) {
  /** @type {Map<string, import('./palette.js').Command>} */
  const byKey = new Map();
  for (const command of commands) for (const key of command.keys.split(' ')) if (key) byKey.set(key, command);
  addEventListener('keydown', (event) => {
    const target = /** @type {HTMLElement} */ (event.target);
    const isWriting = target.closest('input, select, textarea, dialog, [role=menu]') !== null;
    const key = keyOf(event);
    if (isWriting && !(event.ctrlKey && ['Ctrl+K', 'Ctrl+S'].includes(key))) {
      if (event.key === 'Escape') target.blur();
      return;
    }
    const command = byKey.get(key);
    if (!command) return;
    event.preventDefault();
    command.run(event);
  });
}
