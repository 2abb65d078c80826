// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

/**
 * A stretch of a row, as the server has it: segments one behind the other.
 * @typedef {object} Lane
 * @property {bigint} from  start of the window that was asked for
 * @property {bigint} to
 * @property {number} count
 * @property {Float64Array} starts  behind `from`, one more than segments: the last is the end
 * @property {Uint8Array} looks  a Look each, 128 more where the value came up at the start
 * @property {Float64Array | null} limits  lowest and highest of each, of a curve
 * @property {Float64Array} firings
 * @property {Uint16Array} lengths
 * @property {Uint8Array} texts
 * @property {Float64Array | null} places  where each text starts, made when first asked for
 */

/** The looks of a segment, by their numbers. */
export const Look = Object.freeze({
  Blank: 0, Dense: 1, Low: 2, High: 3, Unknown: 4, HighImpedance: 5, Uninitialized: 6, Weak: 7, WeakLow: 8,
  WeakHigh: 9, DontCare: 10, Bus: 11, BusFloating: 12, BusInPart: 13,
});

const decoder = new TextDecoder();

/** @param {Lane} lane @param {number} index */
export function textOf(lane, index) {
  if (lane.lengths[index] === 0) return '';
  if (!lane.places) {
    lane.places = new Float64Array(lane.count);
    for (let i = 1; i < lane.count; ++i) lane.places[i] = lane.places[i - 1] + lane.lengths[i - 1];
  }
  const start = lane.places[index];
  return decoder.decode(lane.texts.subarray(start, start + lane.lengths[index]));
}

/**
 * @param {DataView} view @param {number} at @param {number} count @param {number} low @param {number} high
 */
function readTimes(view, at, count, low, high) {
  const times = new Float64Array(count);
  // Differences are below 2^53 where they are drawn, so no big numbers are needed for them.
  for (let i = 0; i < count; ++i, at += 8) {
    times[i] = (view.getInt32(at + 4, true) - high) * 4294967296 + (view.getUint32(at, true) - low);
  }
  return times;
}

/**
 * @param {ArrayBuffer} buffer
 * @returns {{id: number, from: bigint, to: bigint, latest: bigint, lanes: Lane[]}}
 */
export function readLanes(buffer) {
  const view = new DataView(buffer);
  const id = view.getUint32(0, true);
  const count = view.getUint32(4, true);
  const from = view.getBigInt64(8, true);
  const to = view.getBigInt64(16, true);
  const latest = view.getBigInt64(24, true);
  const low = view.getUint32(8, true);
  const high = view.getInt32(12, true);
  /** @type {Lane[]} */
  const lanes = [];
  let at = 32;
  for (let i = 0; i < count; ++i) {
    const segments = view.getUint32(at, true);
    const fired = view.getUint32(at + 4, true);
    const isCurve = (view.getUint32(at + 8, true) & 1) !== 0;
    const bytes = view.getUint32(at + 12, true);
    at += 16;
    const starts = readTimes(view, at, segments + 1, low, high);
    at += 8 * (segments + 1);
    const looks = new Uint8Array(buffer, at, segments);
    at += segments;
    let limits = null;
    if (isCurve) {
      limits = new Float64Array(buffer.slice(at, at + 16 * segments));
      at += 16 * segments;
    }
    const firings = readTimes(view, at, fired, low, high);
    at += 8 * fired;
    const lengths = new Uint16Array(buffer.slice(at, at + 2 * segments));
    at += 2 * segments;
    const texts = new Uint8Array(buffer, at, bytes);
    at += bytes;
    lanes.push({ from, to, count: segments, starts, looks, limits, firings, lengths, texts, places: null });
  }
  return { id, from, to, latest, lanes };
}

/** The connection to the program that has the recording. Comes back by itself when it is lost. */
export class Server {
  /**
   * @param {{onOpen: () => void, onNews: (news: any[]) => void, onLost: (why: string) => void,
   *   onControl: (command: any) => Promise<any>}} hooks
   */
  constructor(hooks) {
    this.hooks = hooks;
    const given = new URLSearchParams(location.hash.slice(1)).get('token');
    // A page that reloads still has it; nobody else's page can read it.
    this.token = given || sessionStorage.getItem('token') || '';
    if (given) sessionStorage.setItem('token', given);
    /** @type {Map<number, {resolve: (value: any) => void, reject: (why: Error) => void}>} */
    this.waiting = new Map();
    this.lastId = 0;
    this.isOpen = false;
    this.attempts = 0;
    this.connect();
  }

  connect() {
    this.socket = new WebSocket(`ws://${location.host}/data`);
    this.socket.binaryType = 'arraybuffer';
    this.socket.onopen = () => {
      this.socket?.send(JSON.stringify({ token: this.token }));
      this.isOpen = true;
      this.hooks.onOpen();
    };
    this.socket.onmessage = (event) => this.take(event.data);
    this.socket.onclose = () => {
      const wasOpen = this.isOpen;
      this.isOpen = false;
      for (const request of this.waiting.values()) request.reject(new Error('the connection was lost'));
      this.waiting.clear();
      this.hooks.onLost(wasOpen ? 'The connection was lost.' : 'The program does not answer.');
      const wait = Math.min(5000, 250 * 2 ** this.attempts++);
      setTimeout(() => this.connect(), wait);
    };
  }

  /** @param {ArrayBuffer | string} data */
  take(data) {
    if (typeof data !== 'string') {
      const answer = readLanes(data);
      this.settle(answer.id, answer, null);
      return;
    }
    const json = JSON.parse(data);
    if (json.news) {
      this.hooks.onNews(json.news);
      return;
    }
    if (json.control) {
      this.hooks.onControl(json.control).then(
        (answer) => answer,
        (why) => ({ type: 'error', error: why.message, arguments: [json.control.command || ''], message: why.message }),
      ).then((answer) => this.socket?.send(JSON.stringify({ controlled: answer, program: json.program })));
      return;
    }
    if (json.failure) {
      this.hooks.onLost(json.failure);
      return;
    }
    this.settle(json.id, json, json.error ? new Error(json.error) : null);
  }

  /** @param {number} id @param {any} value @param {Error | null} why */
  settle(id, value, why) {
    this.attempts = 0;
    const request = this.waiting.get(id);
    this.waiting.delete(id);
    if (request) why ? request.reject(why) : request.resolve(value);
  }

  /** @param {string} what @param {object} [fields] @returns {Promise<any>} */
  ask(what, fields = {}) {
    return new Promise((resolve, reject) => {
      if (!this.isOpen || !this.socket) {
        reject(new Error('not connected'));
        return;
      }
      const id = ++this.lastId;
      this.waiting.set(id, { resolve, reject });
      this.socket.send(JSON.stringify({ ask: what, ...fields, id }));
    });
  }

  /** Requests for a place that another one came after are never answered. @param {string} place @param {object} fields */
  askLanes(place, fields) {
    return this.ask('lanes', { place, ...fields });
  }
}
