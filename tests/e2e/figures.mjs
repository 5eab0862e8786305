// What the measuring programs print, and keep for scripts/bench.

import {appendFileSync} from 'node:fs';

/**
 * Prints one figure. Where TALU_FIGURES names a file it gets the figure, too: a line of JSON with
 * name, value and unit.
 */
export function figure(name, value, unit = '') {
  const text = typeof value === 'number' ? String(Number(value.toPrecision(4))) : value;
  console.log(`${name.padEnd(60)} ${text} ${unit}`.trimEnd());
  if (process.env.TALU_FIGURES) {
    appendFileSync(process.env.TALU_FIGURES, `${JSON.stringify({name, value, unit})}\n`);
  }
}

/** The value below which that part of the values lies. */
export function quantile(values, part) {
  const sorted = [...values].sort((a, b) => a - b);
  return sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * part))];
}

export const median = (values) => quantile(values, 0.5);

/** The median and the 95th percentile of times in ms. */
export function times(name, values) {
  figure(`${name}: median`, median(values), 'ms');
  figure(`${name}: 95th percentile`, quantile(values, 0.95), 'ms');
}
