// Prints what a coverage run counted: one row for each file.
// Usage: node coverage-table.mjs FILE.json [--branches]
// FILE.json is gcovr's. With --branches the lines with a branch never taken are named, too.

import {readFileSync} from 'node:fs';

const [file, option] = process.argv.slice(2);
const showBranches = option === '--branches';

/** "3, 7-9" for 3, 7, 8, 9. */
function rangesOf(numbers) {
  const ranges = [];
  for (const number of numbers) {
    const last = ranges.at(-1);
    if (last?.to === number - 1) last.to = number;
    else ranges.push({from: number, to: number});
  }
  return ranges.map(({from, to}) => (from === to ? `${from}` : `${from}-${to}`)).join(', ');
}

/** One line may be counted several times, once for each form of a template. */
function mergedLines(lines) {
  const merged = new Map();
  for (const line of lines) {
    if (line['gcovr/noncode']) continue;
    const known = merged.get(line.line_number);
    if (known === undefined) {
      merged.set(line.line_number, {count: line.count, branches: line.branches.map(({count}) => count)});
    } else {
      known.count += line.count;
      line.branches.forEach(({count}, at) => {
        known.branches[at] = (known.branches[at] ?? 0) + count;
      });
    }
  }
  return [...merged].sort(([a], [b]) => a - b).map(([number, line]) => ({number, ...line}));
}

function rowOf({file: name, lines}) {
  const merged = mergedLines(lines);
  const branches = merged.flatMap((line) => line.branches);
  return {
    name,
    lines: merged.length,
    linesRun: merged.filter((line) => line.count > 0).length,
    branches: branches.length,
    branchesTaken: branches.filter((count) => count > 0).length,
    missing: rangesOf(merged.filter((line) => line.count === 0).map((line) => line.number)),
    missingBranches: rangesOf(merged
      .filter((line) => line.count > 0 && line.branches.includes(0)).map((line) => line.number)),
  };
}

const percent = (part, whole) => (whole === 0 ? '-' : `${(Math.floor(part * 1000 / whole) / 10).toFixed(1)}`);
const sum = (rows, field) => rows.reduce((total, row) => total + row[field], 0);

function print(row) {
  const cells = [row.name.padEnd(34), percent(row.linesRun, row.lines).padStart(7),
    percent(row.branchesTaken, row.branches).padStart(10), `  ${row.missing}`];
  if (showBranches && row.missingBranches) cells.push(`  branches at ${row.missingBranches}`);
  console.log(cells.join('').trimEnd());
}

const rows = JSON.parse(readFileSync(file, 'utf8')).files.map(rowOf).filter((row) => row.lines > 0);
console.log(`${'file'.padEnd(34)}${'lines %'.padStart(7)}${'branches %'.padStart(10)}  lines never executed`);
rows.forEach(print);
print({name: 'all', missing: '', ...Object.fromEntries(
  ['lines', 'linesRun', 'branches', 'branchesTaken'].map((field) => [field, sum(rows, field)]))});
