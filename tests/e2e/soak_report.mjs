// What became of a long run: slopes, and a picture of the samples. Pure but for savePlot.

import {startBrowser} from './browser.mjs';

const kPlot = {
  width: 1100,
  panelHeight: 170,
  left: 90,
  right: 20,
  top: 40,
  gap: 40,
};

/** Least squares over points [x, y]: the slope. */
export function slopeOf(points) {
  const mean = (at) => points.reduce((sum, point) => sum + point[at], 0) / points.length;
  const [meanX, meanY] = [mean(0), mean(1)];
  let above = 0;
  let below = 0;
  for (const [x, y] of points) {
    above += (x - meanX) * (y - meanY);
    below += (x - meanX) ** 2;
  }
  return below === 0 ? 0 : above / below;
}

/** What a figure of the samples ({minutes, ...}) gains in an hour, by their second half. */
export function gainPerHour(samples, name) {
  const known = samples.filter((sample) => Number.isFinite(sample[name]));
  const half = known.slice(Math.floor(known.length / 2));
  return half.length < 3 ? 0 : slopeOf(half.map((sample) => [sample.minutes / 60, sample[name]]));
}

const escape = (text) => text.replaceAll('&', '&amp;').replaceAll('<', '&lt;');

function panel(samples, {name, label, colour}, top) {
  const points = samples.filter((sample) => Number.isFinite(sample[name]));
  const values = points.map((sample) => sample[name]);
  const low = Math.floor(Math.min(...values) * 0.95);
  const high = Math.max(low + 1, Math.ceil(Math.max(...values) * 1.05));
  const end = Math.max(samples.at(-1).minutes, 1 / 60);
  const innerWidth = kPlot.width - kPlot.left - kPlot.right;
  const x = (minutes) => kPlot.left + innerWidth * minutes / end;
  const y = (value) => top + kPlot.panelHeight * (high - value) / (high - low);
  const line =
      points.map((sample) => `${x(sample.minutes).toFixed(1)},${y(sample[name]).toFixed(1)}`);
  const grid = [low, (low + high) / 2, high].map(
      (value) => `
    <line x1="${kPlot.left}" x2="${kPlot.width - kPlot.right}" y1="${y(value)}" y2="${y(value)}"
      stroke="#ddd"/>
    <text x="${kPlot.left - 8}" y="${y(value) + 4}" text-anchor="end">${
          + value.toFixed(1)}</text>`);
  const ticks = [0, 1, 2, 3, 4, 5, 6].map(
      (tick) => `
    <text x="${x(end * tick / 6)}" y="${top + kPlot.panelHeight + 16}" text-anchor="middle">${
          (end * tick / 6).toFixed(end < 12 ? 1 : 0)}</text>`);
  return `
    <text x="${kPlot.left}" y="${top - 6}" font-weight="bold">${escape(label)}</text>
    ${grid.join('')}${ticks.join('')}
    <polyline points="${line.join(' ')}" fill="none" stroke="${colour}" stroke-width="1.5"/>`;
}

/** The samples as a picture (SVG), a panel each for panels [{name, label, colour}, ...]. */
export function drawPlot(samples, panels, title) {
  const step = kPlot.panelHeight + kPlot.gap;
  const height = kPlot.top + 20 + panels.length * step;
  return `<svg xmlns="http://www.w3.org/2000/svg" width="${kPlot.width}" height="${height}"
    font-family="sans-serif" font-size="12"><rect width="100%" height="100%" fill="white"/>
    <text x="${kPlot.left}" y="22" font-size="15">${escape(title)}</text>
    ${panels.map((one, i) => panel(samples, one, kPlot.top + 20 + i * step)).join('')}</svg>`;
}

/** Writes an SVG as a PNG file. */
export async function savePlot(svg, file) {
  const browser = await startBrowser();
  try {
    const page = await browser.newPage();
    await page.setContent(`<body style="margin:0">${svg}</body>`);
    await page.locator('svg').screenshot({path: file});
  } finally {
    await browser.close();
  }
}
