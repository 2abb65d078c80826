// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

const kUnits = ['s', 'ms', 'us', 'ns', 'ps', 'fs', 'as', 'zs'];

/** Times of a recording as text and back. They are counts of its timescale, exact to 2^63. */
export class TimeScale {
  /** @param {string} factor @param {number} exponent of ten, in seconds */
  constructor(factor, exponent) {
    this.factor = BigInt(factor);
    this.exponent = exponent;
  }

  /** In the unit that reads best, and exact: "12.5 us". @param {bigint} time @returns {string} */
  format(time) {
    if (time < 0n) return '-' + this.format(-time);
    if (time === 0n) return '0 ' + this.unitOf(this.exponent);
    let digits = (time * this.factor).toString();
    // The point stands behind the first digits, of a unit of a thousand.
    const highest = digits.length - 1 + this.exponent;
    const unit = Math.max(0, Math.min(kUnits.length - 1, Math.ceil(-highest / 3)));
    const places = -3 * unit - this.exponent;
    let text;
    if (places <= 0) {
      text = digits + '0'.repeat(-places);
    } else {
      digits = digits.padStart(places + 1, '0');
      const fraction = digits.slice(-places).replace(/0+$/, '');
      text = digits.slice(0, -places) + (fraction ? '.' + fraction : '');
    }
    return text + ' ' + kUnits[unit];
  }

  /** @param {number} exponent */
  unitOf(exponent) {
    return kUnits[Math.max(0, Math.min(kUnits.length - 1, Math.ceil(-exponent / 3)))];
  }

  /** Seconds of a span, about. @param {bigint} time */
  seconds(time) {
    return Number(time) * Number(this.factor) * 10 ** this.exponent;
  }

  /** "12.5us", "40 ns", or a plain count; null for what is no time. @param {string} text @returns {bigint | null} */
  parse(text) {
    const match = /^\s*(\d+)(?:\.(\d*))?(?:e(\d+))?\s*([munpfaz\u00b5\u03bc]?s)?\s*$/i.exec(text);
    if (!match) return null;
    const whole = match[1];
    const fraction = match[2] || '';
    let digits = BigInt(whole + fraction);
    let power = Number(match[3] || 0) - fraction.length;
    let divisor = 1n;
    if (match[4]) {
      const unit = kUnits.indexOf(match[4].toLowerCase().replace(/[\u00b5\u03bc]/, 'u'));
      if (unit < 0) return null;
      power += -3 * unit - this.exponent;
      divisor = this.factor;
    }
    if (power > 60) return null;
    digits = power >= 0 ? digits * 10n ** BigInt(power) : digits / 10n ** BigInt(-power);
    const time = digits / divisor;
    return time < 2n ** 63n ? time : null;
  }
}

/**
 * Round times for a ruler, about `count` of them.
 * @param {bigint} from @param {bigint} to @param {number} count @param {TimeScale} scale
 * @returns {{time: bigint, label: string}[]}
 */
export function ticksOf(from, to, count, scale) {
  const span = to > from ? to - from : 1n;
  const rough = (span * scale.factor) / BigInt(Math.max(1, count)) || 1n;
  // 1, 2 or 5 times a power of ten of the unit behind the factor.
  const power = 10n ** BigInt(rough.toString().length - 1);
  let step = [1n, 2n, 5n, 10n].map((times) => times * power).find((candidate) => candidate >= rough) || 10n * power;
  if (step % scale.factor !== 0n) step = ((step + scale.factor - 1n) / scale.factor) * scale.factor;
  const units = step / scale.factor || 1n;
  const ticks = [];
  for (let time = ((from + units - 1n) / units) * units; time <= to && ticks.length < 200; time += units) {
    ticks.push({ time, label: scale.format(time) });
  }
  return ticks;
}
