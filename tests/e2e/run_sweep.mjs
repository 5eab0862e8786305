// The long form of the sweep. Usage: run_sweep.mjs RESULTS PART...
// PART: start, stream, stop, hardware. One line of JSON per fault is added to RESULTS; faults that it
// already holds are left out, so that a sweep that was ended goes on.

import {appendFileSync, existsSync, readFileSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';

import {faultsOf, startSweepStand, Sweep} from './sweep.mjs';
import {kFaultsInHardware} from './sweep_calls.mjs';

const [results, ...parts] = process.argv.slice(2);
// Of several sweeps side by side each takes its share of the faults: TALU_SWEEP_SHARE=1/3.
const [share, shares] = (process.env.TALU_SWEEP_SHARE ?? '0/1').split('/').map(Number);
const keyOf = ({part, call, occurrence, fault}) => [part, call, occurrence, fault.label].join(' ');
const done = new Set(
    existsSync(results) ?
        readFileSync(results, 'utf8').split('\n').filter((line) => line).map((line) => {
          const outcome = JSON.parse(line);
          // What could not be reached may be another time.
          return outcome.struck > 0 ? keyOf(outcome) : '';
        }) :
        []);

function keep(outcome) {
  appendFileSync(results, `${JSON.stringify(outcome)}\n`);
}

// The most telling first, should the sweep be ended early.
const kOrder = ['later', 'first', 'second'];
const sorted = (faults) =>
    kOrder.flatMap((occurrence) => faults.filter((fault) => fault.occurrence === occurrence));

const stand = await startSweepStand();
writeFileSync(join(stand.files, 'swept-hardware'), 'good\n');
try {
  for (const part of parts) {
    const hardware = part === 'hardware';
    const sweep = new Sweep(stand, {hardware});
    const census = await sweep.census();
    if (sweep.unlisted.length > 0) {
      throw new Error(`in no list of sweep_calls.mjs: ${sweep.unlisted.join(', ')}`);
    }
    keep({census, part, atEnd: sweep.atEnd});
    let faults = faultsOf(census[hardware ? 'stream' : part]);
    if (hardware) faults = faults.filter(({call}) => kFaultsInHardware.includes(call));
    faults = sorted(faults)
                 .filter((_, i) => i % shares === share)
                 .filter((fault) => !done.has(keyOf({...fault, part})));
    for (const [i, fault] of faults.entries()) {
      const strike = {
        start: () => sweep.strikeStart(fault),
        stream: () => sweep.strikeStream(fault),
        hardware: () => sweep.strikeStream(fault),
        stop: () => sweep.strikeStop(fault),
      };
      const outcome = await strike[part]();
      keep({...outcome, part});
      const {verdict = '', struck, kept, back, surplus, exit, trouble = ''} = outcome;
      console.log(
          `${new Date().toTimeString().slice(0, 8)} ${part} ${i + 1}/${faults.length} ${fault.call} ${fault.occurrence} ${fault.fault.label}:`,
          JSON.stringify({verdict, struck, kept, back, surplus, exit, trouble: trouble.slice(0, 200)}));
    }
    await sweep.close();
  }
} finally {
  await stand.stop();
}
