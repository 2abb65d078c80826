// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

import { Look, textOf } from './server.js';
import { ticksOf } from './times.js';

/** @typedef {import('./server.js').Lane} Lane */
/** @typedef {import('./model.js').Row} Row */

export const kRowHeight = 26;
export const kHeadHeight = 28;

/** Colours that a row may have, apart in lightness too: for eyes that tell hues badly. */
export const kRowColors = ['', '#0072b2', '#d55e00', '#009e73', '#cc79a7', '#e69f00', '#56b4e9', '#7a5195'];

const kLight = {
  page: '#ffffff', grid: '#e6eaef', text: '#1f2328', soft: '#59636e', level: '#1a7f37', bus: '#0969da', busFill: '#ddf4ff',
  unknown: '#cf222e', unknownFill: '#ffd7d5', floating: '#bc4c00', floatingFill: '#ffe2c7', nine: '#8250df', nineFill: '#eddeff',
  dense: '#7aa7d9', denseLevel: '#7fb58e', event: '#bf3989', cursor: '#cf222e', marker: '#9a6700', selection: '#0969da30',
  stripe: '#f6f8fa', differs: '#ffd33d66',
};
const kDark = {
  page: '#0d1117', grid: '#21262d', text: '#e6edf3', soft: '#9198a1', level: '#3fb950', bus: '#4493f8', busFill: '#132c4c',
  unknown: '#ff7b72', unknownFill: '#5c1f1f', floating: '#f0883e', floatingFill: '#4a2d12', nine: '#bc8cff', nineFill: '#39255c',
  dense: '#27527f', denseLevel: '#22633a', event: '#f778ba', cursor: '#ff7b72', marker: '#d29922', selection: '#4493f840',
  stripe: '#12171e', differs: '#d2992255',
};

/** @param {string} hex @returns {number} as a pixel of an ImageData, opaque */
function pixelOf(hex) {
  const value = parseInt(hex.slice(1, 7), 16);
  return (0xff000000 | ((value & 0xff) << 16) | (value & 0xff00) | (value >> 16)) >>> 0;
}

/** @param {string} color @param {string} page @param {number} share */
function mix(color, page, share) {
  const a = parseInt(color.slice(1, 7), 16);
  const b = parseInt(page.slice(1, 7), 16);
  let result = 0;
  for (const shift of [16, 8, 0]) {
    result |= Math.round(((a >> shift) & 255) * share + ((b >> shift) & 255) * (1 - share)) << shift;
  }
  return '#' + result.toString(16).padStart(6, '0');
}

/** The part of a page that shows lanes: pixels on one canvas, text and cursors on another one above it. */
export class Waves {
  /** @param {HTMLCanvasElement} pixels @param {HTMLCanvasElement} overlay */
  constructor(pixels, overlay) {
    this.pixels = pixels;
    this.overlay = overlay;
    this.width = 1;
    this.height = 1;
    this.ratio = 1;
    this.colors = kLight;
    /** @type {Record<string, number>} */
    this.palette = {};
    /** @type {({line: number, fill: number, dense: number} | null)[]} */
    this.rowPalette = [];
    this.setTheme(false);
    /** @type {ImageData | null} */
    this.image = null;
    this.words = new Uint32Array(0);
  }

  /** @param {boolean} isDark */
  setTheme(isDark) {
    this.colors = isDark ? kDark : kLight;
    this.palette = {};
    for (const [name, color] of Object.entries(this.colors)) this.palette[name] = pixelOf(color);
    this.rowPalette = kRowColors.map((color) => color === '' ? null : { line: pixelOf(color), fill: pixelOf(mix(color, this.colors.page, 0.22)), dense: pixelOf(mix(color, this.colors.page, 0.6)) });
  }

  /** @param {number} width @param {number} height in CSS pixels @param {number} ratio */
  resize(width, height, ratio) {
    this.width = Math.max(1, Math.floor(width));
    this.height = Math.max(1, Math.floor(height));
    this.ratio = ratio;
    for (const canvas of [this.pixels, this.overlay]) {
      canvas.width = Math.round(this.width * ratio);
      canvas.height = Math.round(this.height * ratio);
    }
    this.image = null;
  }

  /**
   * @param {object} scene
   * @param {bigint} scene.from  time of the left edge
   * @param {number} scene.scale  units of time a CSS pixel
   * @param {{row: Row, y: number, height: number, lane: Lane | null, isChosen: boolean, differs: bigint | null}[]} scene.rows
   * @param {import('./times.js').TimeScale} scene.times
   * @param {bigint | null} scene.cursor
   * @param {{name: string, time: bigint}[]} scene.markers
   * @param {[number, number] | null} scene.selection  in CSS pixels
   * @param {bigint} scene.end  where the run ends
   */
  draw(scene) {
    const { ratio } = this;
    const w = this.pixels.width;
    const h = this.pixels.height;
    const context = this.pixels.getContext('2d', { alpha: false });
    const over = this.overlay.getContext('2d');
    if (!context || !over) return;
    if (!this.image || this.image.width !== w || this.image.height !== h) {
      this.image = context.createImageData(w, h);
      this.words = new Uint32Array(this.image.data.buffer);
    }
    this.words.fill(this.palette.page);
    over.setTransform(ratio, 0, 0, ratio, 0, 0);
    over.clearRect(0, 0, this.width, this.height);
    over.font = '11px ui-monospace, "DejaVu Sans Mono", Menlo, Consolas, monospace';
    over.textBaseline = 'middle';
    this.drawGrid(scene, over);
    for (const entry of scene.rows) {
      if (entry.y + entry.height < kHeadHeight || entry.y > this.height) continue;
      if (entry.isChosen) this.fill(0, entry.y * ratio, w, (entry.y + entry.height) * ratio, this.palette.stripe, kHeadHeight * ratio);
      if (entry.lane) this.drawRow(entry, scene, over);
    }
    context.putImageData(this.image, 0, 0);
    this.drawCursors(scene, over);
  }

  /** @param {any} scene @param {CanvasRenderingContext2D} over */
  drawGrid(scene, over) {
    const to = scene.from + BigInt(Math.ceil(this.width * scene.scale));
    over.fillStyle = this.colors.soft;
    over.textAlign = 'center';
    const head = Math.round(kHeadHeight * this.ratio);
    for (const tick of ticksOf(scene.from, to, Math.max(2, Math.floor(this.width / 110)), scene.times)) {
      const x = Number(tick.time - scene.from) / scene.scale;
      this.column(Math.round(x * this.ratio), head - 5 * this.ratio, this.pixels.height, this.palette.grid);
      if (x > 20 && x < this.width - 20) over.fillText(tick.label, x, 12);
    }
    const end = Number(scene.end - scene.from) / scene.scale;
    if (end < this.width) this.column(Math.round(Math.max(end, 0) * this.ratio), head, this.pixels.height, this.palette.soft);
    this.fill(0, head - 1, this.pixels.width, head, this.palette.grid, 0);
  }

  /** @param {number} x @param {number} y0 @param {number} y1 @param {number} color */
  column(x, y0, y1, color) {
    const w = this.pixels.width;
    if (x < 0 || x >= w) return;
    const end = Math.min(this.pixels.height, Math.ceil(y1));
    for (let at = Math.max(0, Math.floor(y0)) * w + x; at < end * w; at += w) this.words[at] = color;
  }

  /** @param {number} x0 @param {number} y0 @param {number} x1 @param {number} y1 @param {number} color @param {number} top */
  fill(x0, y0, x1, y1, color, top) {
    const w = this.pixels.width;
    const left = Math.max(0, Math.round(x0));
    const right = Math.min(w, Math.round(x1));
    if (right <= left) return;
    const bottom = Math.min(this.pixels.height, Math.round(y1));
    for (let y = Math.max(top, Math.round(y0)); y < bottom; ++y) this.words.fill(color, y * w + left, y * w + right);
  }

  /** Slanted lines, for what cannot be told by its colour alone. */
  /** @param {number} x0 @param {number} y0 @param {number} x1 @param {number} y1 @param {number} color @param {boolean} isFalling */
  hatch(x0, y0, x1, y1, color, isFalling) {
    const w = this.pixels.width;
    const step = Math.round(6 * this.ratio);
    const top = Math.max(Math.round(kHeadHeight * this.ratio), Math.round(y0));
    const bottom = Math.min(this.pixels.height, Math.round(y1));
    const left = Math.max(0, Math.round(x0));
    const right = Math.min(w, Math.round(x1));
    for (let y = top; y < bottom; ++y) {
      const shift = isFalling ? y : -y;
      let x = left + ((((shift - left) % step) + step) % step);
      for (; x < right; x += step) this.words[y * w + x] = color;
    }
  }

  /** @param {any} entry @param {any} scene @param {CanvasRenderingContext2D} over */
  drawRow(entry, scene, over) {
    const { row, lane } = entry;
    const { ratio, palette } = this;
    const own = row.color ? this.rowPalette[row.color] : null;
    const pad = Math.round(4 * ratio);
    const top = Math.round(entry.y * ratio) + pad;
    const bottom = Math.round((entry.y + entry.height) * ratio) - pad;
    const clip = Math.round(kHeadHeight * ratio);
    const offset = Number(lane.from - scene.from);
    const inverse = ratio / scene.scale;
    const thick = Math.max(1, Math.round(ratio));
    const w = this.pixels.width;
    if (entry.differs !== null) {
      const x = Number(entry.differs - scene.from) * inverse;
      this.fill(x, entry.y * ratio, w, (entry.y + entry.height) * ratio, pixelOf(mix(this.colors.marker, this.colors.page, 0.18)), clip);
    }
    if (row.form === 'event') {
      this.drawFirings(lane, offset, inverse, top, bottom, own ? own.line : palette.event, clip);
      return;
    }
    if (lane.limits) {
      this.drawCurve(entry, lane, offset, inverse, top, bottom, own ? own.line : palette.bus, over, clip);
      return;
    }
    const isLevel = row.form === 'level';
    const line = own ? own.line : isLevel ? palette.level : palette.bus;
    const fillColor = own ? own.fill : palette.busFill;
    const dense = own ? own.dense : isLevel ? palette.denseLevel : palette.dense;
    // The first segment that is seen.
    let first = 0;
    for (let low = 0, high = lane.count; low < high; ) {
      const middle = (low + high) >> 1;
      if ((lane.starts[middle + 1] + offset) * inverse < 0) low = middle + 1;
      else high = middle;
      first = low;
    }
    let before = first > 0 ? lane.looks[first - 1] & 127 : Look.Blank;
    for (let i = first; i < lane.count; ++i) {
      const x0 = (lane.starts[i] + offset) * inverse;
      if (x0 > w) break;
      const x1 = (lane.starts[i + 1] + offset) * inverse;
      const look = lane.looks[i] & 127;
      const starts = (lane.looks[i] & 128) !== 0 || i > 0;
      if (look === Look.Dense) {
        this.fill(x0, top, Math.max(x1, x0 + 1), bottom, dense, clip);
      } else if (isLevel) {
        this.drawLevel(look, before, starts, x0, x1, top, bottom, line, thick, clip);
      } else if (look !== Look.Blank) {
        this.drawBus(look, x0, x1, top, bottom, line, fillColor, thick, clip);
        this.drawText(lane, i, x0 / ratio, x1 / ratio, entry, over, look);
      }
      before = look;
    }
  }

  /**
   * @param {number} look @param {number} before @param {boolean} starts @param {number} x0 @param {number} x1
   * @param {number} top @param {number} bottom @param {number} line @param {number} thick @param {number} clip
   */
  drawLevel(look, before, starts, x0, x1, top, bottom, line, thick, clip) {
    const { palette } = this;
    const middle = Math.round((top + bottom) / 2);
    const end = Math.max(x1, x0 + thick);
    switch (look) {
      case Look.Low: case Look.WeakLow:
        this.fill(x0, bottom - thick, end, bottom, line, clip);
        break;
      case Look.High: case Look.WeakHigh:
        this.fill(x0, top, end, top + thick, line, clip);
        this.fill(x0, top + thick, end, top + 3 * thick, line, clip);
        break;
      case Look.HighImpedance:
        this.fill(x0, middle - thick, end, middle + thick, palette.floating, clip);
        break;
      case Look.Blank:
        return;
      default: {
        const isUnknown = look === Look.Unknown;
        this.fill(x0, top, end, bottom, isUnknown ? palette.unknownFill : palette.nineFill, clip);
        this.hatch(x0, top, end, bottom, isUnknown ? palette.unknown : palette.nine, !isUnknown);
      }
    }
    if (look === Look.WeakLow || look === Look.WeakHigh) this.hatch(x0, top, end, bottom, line, false);
    if (starts && before !== look && before !== Look.Blank) {
      this.fill(x0, top, x0 + thick, bottom, line, clip);
    }
  }

  /**
   * @param {number} look @param {number} x0 @param {number} x1 @param {number} top @param {number} bottom
   * @param {number} line @param {number} fillColor @param {number} thick @param {number} clip
   */
  drawBus(look, x0, x1, top, bottom, line, fillColor, thick, clip) {
    const { palette } = this;
    let edge = line;
    let inner = fillColor;
    if (look === Look.Unknown || look === Look.BusInPart) {
      edge = palette.unknown;
      inner = palette.unknownFill;
    } else if (look === Look.HighImpedance || look === Look.BusFloating) {
      edge = palette.floating;
      inner = palette.floatingFill;
    } else if (look !== Look.Bus) {
      edge = palette.nine;
      inner = palette.nineFill;
    }
    if (look === Look.HighImpedance) {
      const middle = Math.round((top + bottom) / 2);
      this.fill(x0, middle - thick, Math.max(x1, x0 + thick), middle + thick, edge, clip);
      return;
    }
    this.fill(x0, top, x1, bottom, inner, clip);
    if (look < Look.Bus) this.hatch(x0, top, x1, bottom, edge, look > Look.Unknown && look < Look.Bus);
    this.fill(x0, top, x1, top + thick, edge, clip);
    this.fill(x0, bottom - thick, x1, bottom, edge, clip);
    // Edges that lean towards the middle, so that two values side by side are told apart.
    const slope = Math.min(Math.round(3 * this.ratio), Math.floor((x1 - x0) / 2));
    const half = (bottom - top) / 2;
    const w = this.pixels.width;
    for (let y = Math.max(top, clip); y < Math.min(bottom, this.pixels.height); ++y) {
      const lean = Math.round((Math.abs(y - (top + bottom) / 2) / half) * slope);
      for (const [x, way] of [[Math.round(x0), 1], [Math.round(x1), -1]]) {
        const at = x + way * lean;
        for (let gap = x; way * (at - gap) > 0; gap += way) if (gap >= 0 && gap < w) this.words[y * w + gap] = palette.page;
        if (at >= 0 && at < w) this.words[y * w + at] = edge;
      }
    }
  }

  /**
   * @param {Lane} lane @param {number} index @param {number} x0 @param {number} x1 @param {any} entry
   * @param {CanvasRenderingContext2D} over @param {number} look
   */
  drawText(lane, index, x0, x1, entry, over, look) {
    const left = Math.max(x0, 0);
    const right = Math.min(x1, this.width);
    const room = Math.floor((right - left - 8) / 6.65);
    if (room < 1 || lane.lengths[index] === 0) return;
    let text = entry.transform ? entry.transform(textOf(lane, index)) : textOf(lane, index);
    if (text.length > room) {
      text = room < 3 ? '' : text.slice(0, room - 1) + '…';
    }
    if (!text) return;
    if (look < Look.Bus) {
      // Hatching leaves no text readable.
      const width = over.measureText(text).width + 6;
      over.fillStyle = this.colors.page;
      over.fillRect((left + right - width) / 2, entry.y + entry.height / 2 - 7, width, 14);
    }
    over.fillStyle = look === Look.Bus ? this.colors.text : look === Look.BusFloating ? this.colors.floating : this.colors.text;
    over.textAlign = 'center';
    const y = entry.y + entry.height / 2 + 0.5;
    if (y < kHeadHeight) return;
    over.fillText(text, (left + right) / 2, y);
  }

  /** @param {Lane} lane @param {number} offset @param {number} inverse @param {number} top @param {number} bottom @param {number} color @param {number} clip */
  drawFirings(lane, offset, inverse, top, bottom, color, clip) {
    const w = this.pixels.width;
    for (let i = 0; i < lane.count; ++i) {
      if ((lane.looks[i] & 127) === Look.Dense) this.fill((lane.starts[i] + offset) * inverse, top, (lane.starts[i + 1] + offset) * inverse, bottom, color, clip);
    }
    for (const time of lane.firings) {
      const x = Math.round((time + offset) * inverse);
      if (x < 0 || x >= w) continue;
      this.column(x, Math.max(top, clip), bottom, color);
      for (let i = 1; i < 4 * this.ratio; ++i) {
        this.column(x - i, Math.max(top + i, clip), top + i + 1, color);
        this.column(x + i, Math.max(top + i, clip), top + i + 1, color);
      }
    }
  }

  /**
   * @param {any} entry @param {Lane} lane @param {number} offset @param {number} inverse @param {number} top @param {number} bottom
   * @param {number} color @param {CanvasRenderingContext2D} over @param {number} clip
   */
  drawCurve(entry, lane, offset, inverse, top, bottom, color, over, clip) {
    const limits = /** @type {Float64Array} */ (lane.limits);
    const w = this.pixels.width;
    let lowest = Infinity;
    let highest = -Infinity;
    for (let i = 0; i < lane.count; ++i) {
      if ((lane.starts[i + 1] + offset) * inverse < 0 || (lane.starts[i] + offset) * inverse > w) continue;
      if (limits[2 * i] < lowest) lowest = limits[2 * i];
      if (limits[2 * i + 1] > highest) highest = limits[2 * i + 1];
    }
    if (entry.row.scale) [lowest, highest] = entry.row.scale;
    if (!(highest >= lowest)) [lowest, highest] = [0, 1];
    const span = highest - lowest || 1;
    const thick = Math.max(1, Math.round(this.ratio));
    const yOf = (/** @type {number} */ value) => Math.round(bottom - thick - ((Math.min(Math.max(value, lowest), highest) - lowest) / span) * (bottom - top - thick));
    let previous = NaN;
    for (let i = 0; i < lane.count; ++i) {
      const x0 = (lane.starts[i] + offset) * inverse;
      const x1 = (lane.starts[i + 1] + offset) * inverse;
      const low = limits[2 * i];
      const high = limits[2 * i + 1];
      if (!(high >= low)) {
        if (x1 >= 0 && x0 <= w && (lane.looks[i] & 127) !== Look.Blank) {
          this.fill(x0, top, x1, bottom, this.palette.unknownFill, clip);
        }
        previous = NaN;
        continue;
      }
      const yLow = yOf(low);
      const yHigh = yOf(high);
      if (x1 >= 0 && x0 <= w) {
        const isLine = entry.row.curve === 'line' && low === high;
        if (isLine && !Number.isNaN(previous)) {
          this.slope(x0, previous, x1, yLow, color, clip, thick);
        } else {
          this.fill(x0, yHigh, Math.max(x1, x0 + thick), yLow + thick, color, clip);
          if (!Number.isNaN(previous)) this.fill(x0, Math.min(previous, yHigh), x0 + thick, Math.max(previous, yLow) + thick, color, clip);
        }
      }
      previous = yLow;
    }
    const number = (/** @type {number} */ value) => String(Number(value.toPrecision(5)));
    if (entry.height > 40 && entry.y > kHeadHeight - 10) {
      over.textAlign = 'left';
      over.fillStyle = this.colors.soft;
      over.fillText(number(highest), 3, entry.y + 10);
      over.fillText(number(lowest), 3, entry.y + entry.height - 9);
    }
  }

  /** @param {number} x0 @param {number} y0 @param {number} x1 @param {number} y1 @param {number} color @param {number} clip @param {number} thick */
  slope(x0, y0, x1, y1, color, clip, thick) {
    const w = this.pixels.width;
    const left = Math.max(0, Math.round(x0));
    const right = Math.min(w - 1, Math.round(x1));
    let last = Math.round(y0 + ((y1 - y0) * (left - x0)) / Math.max(1, x1 - x0));
    for (let x = left; x <= right; ++x) {
      const y = Math.round(y0 + ((y1 - y0) * Math.min(1, (x - x0) / Math.max(1, x1 - x0))));
      this.column(x, Math.max(clip, Math.min(last, y)), Math.max(last, y) + thick, color);
      last = y;
    }
  }

  /** @param {any} scene @param {CanvasRenderingContext2D} over */
  drawCursors(scene, over) {
    const place = (/** @type {bigint} */ time) => Math.round(Number(time - scene.from) / scene.scale) + 0.5;
    const stroke = (/** @type {number} */ x, /** @type {string} */ color, /** @type {string} */ label) => {
      if (x < -1 || x > this.width + 1) return;
      over.strokeStyle = color;
      over.beginPath();
      over.moveTo(x, label ? 22 : kHeadHeight);
      over.lineTo(x, this.height);
      over.stroke();
      if (label) {
        over.font = 'bold 11px system-ui, "DejaVu Sans", sans-serif';
        const width = over.measureText(label).width + 8;
        over.fillStyle = color;
        over.fillRect(x - width / 2, 19, width, 9 + 4);
        over.fillStyle = this.colors.page;
        over.textAlign = 'center';
        over.fillText(label, x, 26);
      }
    };
    for (const marker of scene.markers) stroke(place(marker.time), this.colors.marker, marker.name);
    if (scene.cursor !== null) stroke(place(scene.cursor), this.colors.cursor, '');
    if (scene.selection) {
      const [a, b] = scene.selection;
      over.fillStyle = this.colors.selection;
      over.fillRect(Math.min(a, b), 0, Math.abs(b - a), this.height);
    }
  }
}
