// The long form of the sweep. Usage: run_sweep.mjs RESULTS SIDES PART...
// PART: start, stream, stop, hardware. SIDES stands take from one list of faults. One line of JSON per
// fault is added to RESULTS; faults that struck in it before are left out, so that a sweep that was
// ended goes on.

import {appendFileSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';

import {startSweepStand, Sweep} from './sweep.mjs';
import {keyOf, plannedFaults, readResults} from './sweep_results.mjs';

const [results, sides, ...parts] = process.argv.slice(2);

// How often a fault may miss its call, which under load comes late.
const kTries = 3;

function keep(outcome) {
  appendFileSync(results, `${JSON.stringify(outcome)}\n`);
}

// The most telling first, should the sweep be ended early.
const kOrder = ['later', 'first', 'second'];

async function makeCensus(stand, part) {
  const sweep = new Sweep(stand, {hardware: part === 'hardware'});
  const census = await sweep.census();
  if (sweep.unlisted.length > 0) {
    throw new Error(`in no list of sweep_calls.mjs: ${sweep.unlisted.join(', ')}`);
  }
  keep({census, part, atEnd: sweep.atEnd});
}

/** What is left of a part's faults, by all censuses so far. */
function faultsLeft(part) {
  const {censuses, outcomes} = readResults([results]);
  const struck = new Set(outcomes.filter((outcome) => outcome.struck > 0).map(keyOf));
  const left = plannedFaults(censuses).filter((fault) => fault.part === part && !struck.has(keyOf(fault)));
  return kOrder.flatMap((occurrence) => left.filter((fault) => fault.occurrence === occurrence));
}

const kStrikes = {
  start: (sweep, fault) => sweep.strikeStart(fault),
  stream: (sweep, fault) => sweep.strikeStream(fault),
  hardware: (sweep, fault) => sweep.strikeStream(fault),
  stop: (sweep, fault) => sweep.strikeStop(fault),
};

function tell(count, {part, call, occurrence, fault, ...outcome}) {
  const {verdict = '', struck, kept, back, surplus, exit, trouble = ''} = outcome;
  console.log(
      `${new Date().toTimeString().slice(0, 8)} ${part} ${count} ${call} ${occurrence} ${fault.label}:`,
      JSON.stringify({verdict, struck, kept, back, surplus, exit, trouble: trouble.slice(0, 200)}));
}

/** Strikes what is in the list until it is empty; gives what did not reach its call. */
async function workOff(stand, part, list, total) {
  const sweep = new Sweep(stand, {hardware: part === 'hardware'});
  const missed = [];
  for (let fault = list.shift(); fault; fault = list.shift()) {
    const count = `${total - list.length}/${total}`;
    const outcome = {...await kStrikes[part](sweep, fault), part};
    keep(outcome);
    tell(count, outcome);
    if (outcome.struck === 0) missed.push(fault);
  }
  await sweep.close();
  return missed;
}

const stands = [];
try {
  for (let side = 0; side < Number(sides); ++side) {
    const stand = await startSweepStand();
    stands.push(stand);
    writeFileSync(join(stand.files, 'swept-hardware'), 'good\n');
  }
  for (const part of parts) {
    await makeCensus(stands[0], part);
    let list = faultsLeft(part);
    for (let turn = 0; turn < kTries && list.length > 0; ++turn) {
      const total = list.length;
      const missed = await Promise.all(stands.map((stand) => workOff(stand, part, list, total)));
      list = missed.flat();
    }
  }
} finally {
  await Promise.all(stands.map((stand) => stand.stop()));
}
