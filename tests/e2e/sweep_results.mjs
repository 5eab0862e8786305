// What the sweep has written down: a line of JSON for each census and for each fault.

import {readFileSync} from 'node:fs';

import {faultsOf} from './sweep.mjs';
import {kFaultsInHardware} from './sweep_calls.mjs';

/** {censuses, outcomes} of files; of files that are missing, none. */
export function readResults(files) {
  const lines = files.flatMap(linesOf).map((line) => JSON.parse(line));
  return {
    censuses: lines.filter(({census}) => census),
    outcomes: lines.filter(({census}) => !census),
  };
}

function linesOf(file) {
  try {
    return readFileSync(file, 'utf8').split('\n').filter((line) => line);
  } catch (error) {
    if (error.code === 'ENOENT') return [];
    throw error;
  }
}

/** One fault's name, the same in every run. */
export const keyOf = ({part, call, occurrence, fault}) => [part, call, occurrence, fault.label].join(' ');

/** The faults that any of the censuses asks for, each once, with their part. */
export function plannedFaults(censuses) {
  const planned = new Map();
  for (const {census, part} of censuses) {
    const inHardware = part === 'hardware';
    for (const fault of faultsOf(census, inHardware ? 'stream' : part)) {
      if (inHardware && !kFaultsInHardware.includes(fault.call)) continue;
      planned.set(keyOf({...fault, part}), {...fault, part});
    }
  }
  return [...planned.values()];
}
