// SPDX-License-Identifier: BSD-3-Clause
//
//   node test.js TRACEWELL [CHROMIUM]
//
// Drives the page in a browser, by mouse and by key, and holds what it shows against the command line.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { connect } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { chromium } from 'playwright-core';

const [tracewell, chromiumPath = '/usr/bin/chromium'] = process.argv.slice(2);
const place = mkdtempSync(join(tmpdir(), 'tracewell-view-'));
const file = (name) => join(place, name);
const flags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync'];

/** A clocked run with all kinds of signals; `odd` is what one value is at 500 ns. */
function writeRun(name, odd) {
  let text = '$timescale 1 ns $end\n$scope module top $end\n$var wire 1 ! clk $end\n$var reg 8 " count [7:0] $end\n' +
    '$var real 64 # level $end\n$var event 1 $ tick $end\n$var reg 4 % state [3:0] $end\n$upscope $end\n$enddefinitions $end\n';
  for (let i = 0; i < 200; ++i) {
    text += `#${5 * i}\n${i % 2}!\n`;
    if (i % 2) text += `b${((i >> 1) % 256).toString(2)} "\nr${Math.sin(i / 9)} #\n1$\n`;
    if (i === 100) text += `b${odd} %\n`;
    if (i === 3) text += 'bx %\n';
  }
  writeFileSync(file(name), text + '#1000\n');
}

const processes = [];
/** @returns {Promise<string>} the address */
function view(args, options = {}) {
  const server = spawn(tracewell, ['view', '--no-open', ...args], { cwd: place, ...options });
  processes.push(server);
  server.stderr.on('data', () => {});
  return new Promise((resolve) => server.stdout.once('data', (data) => resolve(String(data).trim())));
}

const browser = await chromium.launch({ executablePath: chromiumPath, args: flags });
async function open(address, viewport = { width: 1200, height: 600 }) {
  const page = await browser.newPage({ viewport });
  page.on('pageerror', (error) => { throw error; });
  await page.goto(address);
  await until(page, '#state', /./);
  await page.waitForTimeout(400);
  return page;
}
/** Waits until the text of an element fits; the page lets no test evaluate texts for that. */
async function until(page, selector, pattern) {
  for (let i = 0; i < 100; ++i) {
    if (pattern.test(await page.textContent(selector))) return;
    await page.waitForTimeout(50);
  }
  assert.fail(`${selector} is "${await page.textContent(selector)}", not ${pattern}`);
}
const rowNames = (page) => page.evaluate(() => window.tracewell.model.rows.map((row) => row.name || row.label));
const shown = (page) => page.evaluate(() => [String(window.tracewell.model.from), String(window.tracewell.model.to)].map(Number));
const cursor = (page) => page.evaluate(() => String(window.tracewell.model.cursor));
const press = async (page, ...keys) => {
  for (const key of keys) await page.keyboard.press(key);
  await page.waitForTimeout(250);
};
const choose = async (page, name) => {
  await page.locator('#rows-body .row', { hasText: name }).first().click();
  await page.waitForTimeout(100);
};
const pixel = (page, x, y) => page.evaluate(([left, top]) => {
  const canvas = document.getElementById('pixels');
  return [...canvas.getContext('2d').getImageData(left, top, 1, 1).data].slice(0, 3).join();
}, [x, y]);

const tests = {
  async 'a small design is shown at once, with the values of the command line'() {
    const page = await open(await view([file('a.vcd')]));
    assert.deepEqual(await rowNames(page), ['top.clk', 'top.count[7:0]', 'top.level', 'top.tick', 'top.state[3:0]']);
    await page.fill('#goto', '303ns');
    await page.keyboard.press('Enter');
    await page.waitForTimeout(400);
    const values = await page.locator('#rows-body .value').allTextContents();
    const told = JSON.parse(execFileSync(tracewell, ['values', file('a.vcd'), 'top.clk', 'top.count', '--from', '303', '--to', '303', '--json']));
    assert.ok(JSON.stringify(told).includes(values[1]), `${values[1]} is in ${JSON.stringify(told)}`);
    assert.equal(values[0], '0');
    await page.close();
  },

  async 'a condition is searched, stepped through and shown as a row'() {
    const page = await open(await view([file('a.vcd')]));
    const told = execFileSync(tracewell, ['search', file('a.vcd'), 'top.count[2:0] == 5 && top.clk', '--json'])
      .toString().trim().split('\n').slice(0, -1).map((line) => JSON.parse(line));
    await press(page, 'Control+f');
    await page.keyboard.type('top.count[2:0] == 5 && clk');
    await press(page, 'Enter');
    await until(page, '#message', new RegExp(`Match 1 of ${told.length} matches`));
    assert.equal(await cursor(page), String(told[0].time));
    await press(page, 'Enter', 'Enter', 'Shift+Enter');
    assert.equal(await cursor(page), String(told[1].time));
    await page.click('#match-row');
    await until(page, '#rows-body', /top\.count\[2:0\] == 5 && clk/);
    await page.waitForTimeout(400);
    const lane = await page.evaluate(() => {
      const { model, lanes } = window.tracewell;
      const row = model.rows[model.rows.length - 1];
      const made = lanes.get(row.id);
      return [...made.starts].map((start) => Number(made.from) + start);
    });
    assert.deepEqual(lane.slice(1, 5), told.slice(0, 2).flatMap((match) => [match.time, match.end]));
    await page.fill('#condition', '@(posedge clk) top.count > 3 ##2 top.count == 8');
    await page.click('#match-next');
    await until(page, '#message', /Match 1 of 1 match/);
    await page.fill('#condition', 'top.count ==');
    await page.click('#match-next');
    await until(page, '#message', /condition: a signal, a number or a parenthesis is expected/);
    await page.close();
  },

  async 'lanes are drawn where the changes are'() {
    const page = await open(await view([file('a.vcd')]));
    await page.fill('#goto', '50');
    await page.keyboard.press('Enter');
    await page.focus('#rows');
    await press(page, '+', '+', '+', '+');
    const [from, to] = await shown(page);
    const width = await page.evaluate(() => document.getElementById('waves').clientWidth);
    const place = (time) => Math.round(((time - from) / (to - from)) * width);
    // The clock is high in the second half of each 10 ns, low in the first.
    const high = await pixel(page, place(57.5), 28 + 5);
    const low = await pixel(page, place(52.5), 28 + 5);
    assert.notEqual(high, low);
    assert.equal(await pixel(page, place(67.5), 28 + 5), high);
    assert.equal(await pixel(page, place(62.5), 28 + 5), low);
    await page.close();
  },

  async 'zoom and pan by key, wheel and drag'() {
    const page = await open(await view([file('a.vcd')]));
    const whole = await shown(page);
    await page.focus('#rows');
    await press(page, '+');
    const zoomed = await shown(page);
    assert.ok(zoomed[1] - zoomed[0] < 0.6 * (whole[1] - whole[0]));
    await press(page, 'ArrowRight');
    assert.ok((await shown(page))[0] > zoomed[0]);
    await press(page, 'f');
    assert.deepEqual(await shown(page), whole);
    await page.mouse.move(800, 200);
    await page.keyboard.down('Control');
    await page.mouse.wheel(0, -400);
    await page.keyboard.up('Control');
    await page.waitForTimeout(300);
    assert.ok((await shown(page))[1] - (await shown(page))[0] < 0.5 * (whole[1] - whole[0]));
    await press(page, 'f');
    await page.mouse.move(700, 300);
    await page.mouse.down();
    await page.mouse.move(900, 300, { steps: 5 });
    await page.mouse.up();
    await page.waitForTimeout(300);
    const dragged = await shown(page);
    assert.ok(dragged[1] - dragged[0] < 0.5 * (whole[1] - whole[0]));
    await press(page, 'Home');
    assert.equal((await shown(page))[0], 0);
    await page.close();
  },

  async 'cursor, markers, changes, values and counts'() {
    const page = await open(await view([file('a.vcd')]));
    await choose(page, 'top.count');
    await page.fill('#goto', '100');
    await page.keyboard.press('Enter');
    await page.focus('#rows');
    await press(page, 'm', 'Control+ArrowRight');
    assert.equal(await cursor(page), '105');
    assert.match(await page.textContent('#delta-text'), /A: \+5 ns \(200 MHz\)/);
    await press(page, ',');
    assert.equal(await cursor(page), '95');
    await press(page, 'v');
    await page.keyboard.type('2a');
    await press(page, 'Enter');
    assert.equal(await cursor(page), '425');
    await choose(page, 'top.clk');
    await press(page, 'e');
    assert.match(await page.textContent('#message'), /65 changes, 33 rising, 32 falling/);
    // A click near an edge snaps to it.
    await press(page, 'Escape', 'f', '+', '+', '+');
    const [from, to] = await shown(page);
    const box = await page.locator('#waves').boundingBox();
    const edge = Math.ceil(from / 5 + 2) * 5;
    await page.mouse.click(box.x + ((edge - from) / (to - from)) * box.width + 2, box.y + 28 + 13);
    await page.waitForTimeout(200);
    assert.equal(Number(await cursor(page)), edge);
    await page.close();
  },

  async 'rows are added, moved, grouped, changed, removed, and all of it undone'() {
    const page = await open(await view([file('a.vcd')]));
    await page.focus('#tree');
    await press(page, 'Home', 'ArrowDown', 'Enter');
    assert.equal((await rowNames(page)).length, 6);
    await page.focus('#rows');
    await press(page, 'Delete');
    assert.equal((await rowNames(page)).length, 5);
    await choose(page, 'top.level');
    await press(page, 'Alt+ArrowUp');
    assert.equal((await rowNames(page))[1], 'top.level');
    await press(page, 'g');
    await page.keyboard.type('analog');
    await press(page, 'Enter');
    assert.ok((await rowNames(page)).includes('analog'));
    await choose(page, 'top.count');
    await press(page, 'b');
    assert.ok((await rowNames(page)).length >= 14);
    await choose(page, 'top.state');
    await press(page, 'Shift+B');
    await page.fill('#goto', '600');
    await page.keyboard.press('Enter');
    await page.waitForTimeout(300);
    assert.ok((await page.locator('#rows-body .value').allTextContents()).includes('1010'));
    await page.focus('#rows');
    for (let i = 0; i < 7; ++i) await press(page, 'Control+z');
    assert.deepEqual(await rowNames(page), ['top.clk', 'top.count[7:0]', 'top.level', 'top.tick', 'top.state[3:0]']);
    await press(page, 'Control+y');
    assert.equal((await rowNames(page)).length, 6);
    await page.close();
  },

  async 'a session is kept, and serves the next run'() {
    const address = await view([file('a.vcd'), '--session', file('s.json')]);
    const page = await open(address);
    await choose(page, 'top.count');
    await press(page, 'Shift+D', 'Control+s');
    assert.match(await page.textContent('#message'), /Saved/);
    await page.reload();
    await page.waitForTimeout(600);
    assert.equal(await page.evaluate(() => window.tracewell.model.rows[1].radix), 'dec');
    await page.close();
    assert.equal(JSON.parse(readFileSync(file('s.json'))).tracewell, 1);
    const next = await open(await view([file('b.vcd'), '--session', file('s.json')]));
    assert.equal(await next.evaluate(() => window.tracewell.model.rows[1].radix), 'dec');
    await next.close();
  },

  async 'what differs between two runs is marked'() {
    const page = await open(await view([file('a.vcd'), '--with', file('b.vcd')]));
    await page.focus('#rows');
    await press(page, 'x');
    await page.waitForTimeout(500);
    assert.match(await page.textContent('#message'), /1 of 5 signals differ, the first at 500 ns/);
    assert.equal(await cursor(page), '500');
    await page.close();
  },

  async 'a simulation is followed, killed, and followed again'() {
    const address = await new Promise((resolve) => {
      const started = view(['--live']);
      const kernel = spawn(tracewell, ['replay', file('a.vcd'), '--live', '--speed', '2e-7'], { cwd: place });
      processes.push(kernel);
      started.then((text) => resolve([text, kernel]));
    });
    const page = await open(address[0]);
    const first = await page.textContent('#state');
    await page.waitForTimeout(600);
    const second = await page.textContent('#state');
    assert.match(first, /running/);
    assert.notEqual(first, second);
    address[1].kill('SIGKILL');
    await until(page, '#state', /ends at/);
    const again = spawn(tracewell, ['replay', file('a.vcd'), '--live', '--speed', '2e-7'], { cwd: place });
    processes.push(again);
    await until(page, '#state', /running/);
    assert.equal((await rowNames(page)).length, 5);
    await page.close();
  },

  async 'another program drives the page'() {
    const port = 20000 + (process.pid % 20000);
    const page = await open(await view([file('a.vcd'), '--control', String(port)]));
    const socket = connect(port, '127.0.0.1');
    let heard = '';
    socket.on('data', (data) => { heard += data; });
    const say = async (command) => {
      heard = '';
      socket.write(JSON.stringify({ type: 'command', ...command }) + '\n');
      for (let i = 0; i < 60 && !heard.includes('\n'); ++i) await page.waitForTimeout(50);
      return JSON.parse(heard);
    };
    await page.waitForTimeout(200);
    assert.equal(JSON.parse(heard).type, 'greeting');
    assert.equal((await say({ command: 'clear' })).command, 'ack');
    const added = await say({ command: 'add_variables', variables: ['top.count', 'top.state'] });
    assert.equal(added.ids.length, 2);
    assert.deepEqual(await rowNames(page), ['top.count[7:0]', 'top.state[3:0]']);
    assert.equal((await say({ command: 'get_item_info', ids: added.ids })).results[1].name, 'top.state[3:0]');
    await say({ command: 'set_cursor', timestamp: 300 });
    assert.equal(await cursor(page), '300');
    await say({ command: 'set_viewport_range', start: 100, end: 200 });
    assert.deepEqual(await shown(page), [100, 200]);
    assert.equal((await say({ command: 'add_variables', variables: ['top.gone'] })).type, 'error');
    assert.equal((await say({ command: 'launch' })).type, 'error');
    socket.destroy();
    await page.close();
  },

  async 'nobody is shut out: roles, names and contrast'() {
    for (const colorScheme of ['light', 'dark']) {
      const page = await browser.newPage({ viewport: { width: 1200, height: 600 }, colorScheme, bypassCSP: true });
      await page.goto(await view([file('a.vcd')]));
      await page.waitForTimeout(500);
      const axe = readFileSync(new URL('./node_modules/axe-core/axe.min.js', import.meta.url), 'utf8');
      const found = await page.evaluate(`${axe}; axe.run(document).then((r) => r.violations.map((v) => v.id + ': ' + v.nodes.map((n) => n.target).join(' ')))`);
      assert.deepEqual(found, []);
      await page.close();
    }
  },
};

writeRun('a.vcd', '1010');
writeRun('b.vcd', '0101');
let failures = 0;
const wanted = process.env.ONLY;
for (const [name, test] of Object.entries(tests)) {
  if (wanted && !name.includes(wanted)) continue;
  try {
    await test();
    console.log(`ok      ${name}`);
  } catch (error) {
    ++failures;
    console.log(`FAILED  ${name}\n${error.message}\n${String(error.stack).split('\n').slice(1, 4).join('\n')}`);
  }
}
await browser.close();
for (const process of processes) process.kill('SIGTERM');
rmSync(place, { recursive: true, force: true });
process.exit(failures === 0 ? 0 : 1);
