// Keeps what scripts/bench measured, and makes the tables and plots of docs/performance.md from it.
//
// Usage: node bench-figures.mjs benchmark FILE    Google Benchmark's JSON, as figures
//        node bench-figures.mjs lines PREFIX      "name TAB number" lines from standard input
//        node bench-figures.mjs keep PART FIGURES DIRECTORY LOAD_BEFORE LOAD_AFTER
//        node bench-figures.mjs page DIRECTORY PAGE
//
// A figure is {name, value, unit}; a part's file holds them with what the machine was doing.

import {existsSync, readFileSync, writeFileSync} from 'node:fs';
import {cpus, release} from 'node:os';
import {basename, dirname, join, relative} from 'node:path';

import {figure} from '../tests/e2e/figures.mjs';

// What is aimed at: the largest value, or the smallest one.
const kGoals = [
  {part: 'nv12', name: /^Nv12Hot 1920x1080: to_libyuv$/, most: 0.75},
  {part: 'nv12', name: /^Nv12Cold .*: to_libyuv$/, most: 0.6},
  {part: 'frame', name: /^FramePath .*: to_memcpy$/, most: 2.2},
  {part: 'frame', name: /^LoopPass: us$/, most: 20},
  {part: 'control', name: /^MouseMove: us$/, most: 2},
  {part: 'control', name: /^MouseMove: allocations$/, most: 2},
  {part: 'control', name: /^(FindString|Escape) .*: gbps$/, least: 1},
  {part: 'pacing', name: /: median_ms$/, most: 0.2},
  {part: 'pacing', name: /: p99_ms$/, most: 1.5},
  {part: 'click', name: /^hardware.*click to canvas: median$/, above: 'floor: median', most: 16},
  {part: 'click', name: /^hardware.*canvas: 95th percentile$/, above: 'floor: 95th percentile', most: 30},
  {part: 'click', name: /^software.*click to canvas: median$/, above: 'floor: median', most: 22},
  {part: 'click', name: /^software.*canvas: 95th percentile$/, above: 'floor: 95th percentile', most: 45},
  {part: 'cpu', name: /^half moving, host to native pipeline$/, most: 1.5},
];

// --- Taking figures in ---------------------------------------------------------------------------

// What Google Benchmark tells of every benchmark.
const kCommonFields = new Set([
  'name', 'family_index', 'per_family_instance_index', 'run_name', 'run_type', 'repetitions',
  'repetition_index', 'threads', 'iterations', 'real_time', 'cpu_time', 'time_unit', 'label',
]);

/** "FramePath 1280x720" of "FramePath/1280/720/iterations:12/manual_time". */
function subjectOf({run_name: name, label}) {
  const [subject, ...rest] = name.split('/');
  const numbers = rest.filter((part) => /^\d+$/.test(part));
  if (numbers.length === 2) return `${subject} ${numbers.join('x')}`;
  return label ? `${subject} ${label}` : subject;
}

function takeBenchmark(file) {
  for (const benchmark of JSON.parse(readFileSync(file, 'utf8')).benchmarks) {
    for (const [counter, value] of Object.entries(benchmark)) {
      if (!kCommonFields.has(counter)) figure(`${subjectOf(benchmark)}: ${counter}`, value);
    }
  }
}

function takeLines(prefix) {
  for (const line of readFileSync(0, 'utf8').split(/\r?\n/)) {
    const [name, value] = line.split('\t');
    if (value !== undefined) figure(`${prefix}: ${name}`, Number(value));
  }
}

function keep(part, figuresFile, directory, loadBefore, loadAfter) {
  const lines = readFileSync(figuresFile, 'utf8').trim().split('\n');
  const kept = {
    part,
    processor: cpus()[0].model,
    processors: cpus().length,
    system: release(),
    loadBefore: Number(loadBefore),
    loadAfter: Number(loadAfter),
    figures: lines.map((line) => JSON.parse(line)).map(({name, value, unit}) => ({
      name,
      value: Number(value.toPrecision(4)),
      unit,
    })),
  };
  writeFileSync(join(directory, `${part}.json`), `${JSON.stringify(kept, null, 1)}\n`);
}

// --- Tables --------------------------------------------------------------------------------------

function goalOf(kept, {name, value}) {
  const goal = kGoals.find((each) => each.part === kept.part && each.name.test(name));
  if (!goal) return {text: '', held: ''};
  const before = name.slice(0, name.lastIndexOf(','));
  const base = goal.above ? valueOf(kept, `${before}, ${goal.above}`) : 0;
  const held = goal.least === undefined ? value - base <= goal.most : value >= goal.least;
  const limit = goal.least === undefined ? `≤ ${goal.above ? 'floor + ' : ''}${goal.most}` : `≥ ${goal.least}`;
  return {text: limit, held: held ? 'yes' : 'no'};
}

function valueOf(kept, name) {
  return kept.figures.find((each) => each.name === name)?.value;
}

function table(kept) {
  const rows = kept.figures.map((each) => {
    const {text, held} = goalOf(kept, each);
    return `| ${each.name} | ${each.value}${each.unit ? ` ${each.unit}` : ''} | ${text} | ${held} |`;
  });
  return [
    `Measured on ${kept.processors} × ${kept.processor.trim()}; load average ${kept.loadBefore} before and ` +
        `${kept.loadAfter} after.`,
    '',
    '| figure | measured | goal | held |',
    '|---|---|---|---|',
    ...rows,
  ].join('\n');
}

// --- Plots ---------------------------------------------------------------------------------------

const kColours = ['#2b6cb0', '#dd6b20', '#2f855a', '#805ad5', '#c05621', '#319795', '#b83280', '#718096', '#d69e2e'];
const kLabelWidth = 290;
const kPlotWidth = 470;
const kRowHeight = 24;

const escaped = (text) => text.replaceAll('&', '&amp;').replaceAll('<', '&lt;');

/** Bars: rows of {label, parts: [{name, value}], goal}; goal draws a mark. */
function barChart({title, unit, rows}) {
  const length = ({parts}) => parts.reduce((sum, {value}) => sum + Math.max(value, 0), 0);
  const largest = Math.max(...rows.map((row) => Math.max(length(row), row.goal ?? 0))) * 1.12;
  const names = [...new Set(rows.flatMap(({parts}) => parts.map(({name}) => name)))];
  const legend = names.length > 1 ? names : [];
  const legendRows = Math.ceil(legend.length / 4);
  const top = 40 + legendRows * 18;
  const height = top + rows.length * kRowHeight + 14;
  const width = kLabelWidth + kPlotWidth + 70;
  const scale = (value) => value / largest * kPlotWidth;
  const out = [
    `<svg xmlns="http://www.w3.org/2000/svg" width="${width}" height="${height}" ` +
        `font-family="DejaVu Sans, sans-serif" font-size="12">`,
    `<rect width="${width}" height="${height}" fill="#fff"/>`,
    `<text x="12" y="22" font-size="14" font-weight="bold">${escaped(title)}, ${escaped(unit)}</text>`,
  ];
  legend.forEach((name, at) => {
    const x = 12 + at % 4 * 200;
    const y = 36 + Math.floor(at / 4) * 18;
    out.push(
        `<rect x="${x}" y="${y}" width="11" height="11" fill="${kColours[at % kColours.length]}"/>`,
        `<text x="${x + 16}" y="${y + 10}">${escaped(name)}</text>`);
  });
  rows.forEach((row, at) => {
    const y = top + at * kRowHeight;
    let x = kLabelWidth;
    out.push(`<text x="${kLabelWidth - 8}" y="${y + 15}" text-anchor="end">${escaped(row.label)}</text>`);
    for (const {name, value} of row.parts) {
      const long = scale(Math.max(value, 0));
      out.push(
          `<rect x="${x.toFixed(1)}" y="${y + 3}" width="${long.toFixed(1)}" height="16" ` +
          `fill="${kColours[names.indexOf(name) % kColours.length]}"/>`);
      x += long;
    }
    out.push(`<text x="${(x + 5).toFixed(1)}" y="${y + 15}">${Number(length(row).toPrecision(3))}</text>`);
    if (row.goal !== undefined) {
      const mark = (kLabelWidth + scale(row.goal)).toFixed(1);
      out.push(`<path d="M${mark} ${y}v22" stroke="#c53030" stroke-width="2"/>`);
    }
  });
  return [...out, '</svg>', ''].join('\n');
}

const single = (label, value, goal) => ({label, parts: [{name: 'measured', value}], goal});

/** One row for each figure whose name matches; label(match) names it. */
function rowsOf(kept, pattern, label) {
  return kept.figures.flatMap((each) => {
    const match = pattern.exec(each.name);
    if (!match) return [];
    const goal = kGoals.find(({part, name}) => part === kept.part && name.test(each.name));
    return [single(label(match), each.value, goal?.above ? undefined : goal?.most ?? goal?.least)];
  });
}

/** Each variant's click and floor in their parts' medians. */
function clickRows(kept) {
  const rows = new Map();
  for (const {name, value} of kept.figures) {
    const match = /^(.*), (?:part (.*)|(floor)): median$/.exec(name);
    if (!match) continue;
    const label = match[3] ? `${match[1]}: floor` : match[1];
    if (!rows.has(label)) rows.set(label, {label, parts: []});
    rows.get(label).parts.push({name: match[2] ?? 'floor', value});
  }
  return [...rows.values()];
}

// The red mark is the goal.
const kPlots = {
  nv12: (kept) => ({
    title: 'Conversion to NV12: time over libyuv’s',
    unit: 'ratio',
    rows: rowsOf(kept, /^Nv12(Hot|Cold) (.*): to_libyuv$/, ([, kind, size]) => `${size}, ${kind.toLowerCase()}`),
  }),
  frame: (kept) => ({
    title: 'A frame’s way without the encoder: time over memcpy of its bytes',
    unit: 'ratio',
    rows: rowsOf(kept, /^FramePath (.*): to_memcpy$/, ([, size]) => size),
  }),
  control: (kept) => ({
    title: 'Text of a clipboard message of 16 KiB',
    unit: 'GB/s',
    rows: rowsOf(
        kept, /^(FindString|Escape) (.*): gbps$/,
        ([, way, text]) => `${way === 'Escape' ? 'write' : 'read'}, ${text}`),
  }),
  pacing: (kept) => ({
    title: 'Pacing under Wine: distance from the loop’s arithmetic',
    unit: 'ms',
    rows: rowsOf(kept, /^(.*): (median|p95|p99)_ms$/, ([, fps, which]) => `${fps}, ${which}`),
  }),
  click: (kept) => ({title: 'From a click to the canvas: medians of the parts', unit: 'ms', rows: clickRows(kept)}),
  cpu: (kept) => ({
    title: 'Processor time for a frame at 1280x720',
    unit: 'ms',
    rows: rowsOf(kept, /^(still|half moving), (.*), a frame$/, ([, desktop, who]) => `${desktop}: ${who}`),
  }),
};

function makePage(directory, page) {
  let text = readFileSync(page, 'utf8');
  for (const [, part] of text.matchAll(/<!-- figures: (\w+) -->/g)) {
    const file = join(directory, `${part}.json`);
    if (!existsSync(file)) continue;
    const kept = JSON.parse(readFileSync(file, 'utf8'));
    let block = table(kept);
    if (kPlots[part]) {
      const plot = join(directory, `${part}.svg`);
      const chart = kPlots[part](kept);
      writeFileSync(plot, barChart(chart));
      block = `![${chart.title}](${relative(dirname(page), plot)})\n\n${block}`;
    }
    const marks = new RegExp(`(<!-- figures: ${part} -->)[^]*?(<!-- end of ${part} -->)`);
    text = text.replace(marks, (_, begin, end) => `${begin}\n${block}\n${end}`);
  }
  writeFileSync(page, text);
}

const kCommands = {benchmark: takeBenchmark, lines: takeLines, keep, page: makePage};
const [command, ...settings] = process.argv.slice(2);
if (!kCommands[command]) {
  console.error(`${basename(process.argv[1])}: no command '${command}'`);
  process.exit(2);
}
kCommands[command](...settings);
