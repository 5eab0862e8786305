// Writes docs/reliability.md from what the sweep saw. Usage: sweep_table.mjs RESULTS... >FILE

import {readFileSync} from 'node:fs';

import {callOf, failingCalls, kFailing, kLeft} from './sweep_calls.mjs';
import {keyOf, plannedFaults, readResults} from './sweep_results.mjs';

const {censuses, outcomes} = readResults(process.argv.slice(2));
// Each fault once, by what came of it last.
const strikes = [...new Map(
    outcomes.filter(({struck}) => struck > 0).map((outcome) => [keyOf(outcome), outcome])).values()];

// So many pictures come in any round that is not short of them.
const kFewPictures = 5;

// A thread that cannot be had while the host starts ends the process with a system error.
const kSystemErrorCode = 3;
const kMakesThreads = new Set(['_beginthreadex', 'CreateEventA', 'CreateSemaphoreA']);

// Without them the host does not hear of its own clipboard for the rest of the run, and says so.
const kMakesWatcher = new Set(['RegisterClassExW', 'CreateWindowExW', 'AddClipboardFormatListener', 'GetMessageW']);

// Standard input that cannot be read is to the host what its parent's end is: it stops.
const stopsAtParentsEnd = ({call, part, verdict, exit}) =>
    call === 'fgets' && part === 'start' && verdict === 'READY' && exit === 0;

// What a run's outcome is called, and how the host comes back from it.
const kWhat = {
  failed: 'the start fails: `FAILED`, exit code 1',
  ended: (code) => `the process ends before a verdict, exit code ${code}`,
  endedLater: (code) => `the process ends after READY, exit code ${code}`,
  started: 'the host starts',
  parentsEnd: 'the host starts and stops, exit code 0, as when its parent ends',
  pictures: 'pictures go on',
  noPictures: 'no new pictures while it lasts',
  stopped: 'the host stops, exit code 0',
  badStop: (code) => `the stop ends with exit code ${code}`,
};
const kRecovery = {
  nothing: 'nothing to recover',
  itself: 'by itself, in the same subscription',
  chosen: 'in the same subscription, when a monitor is chosen',
  next: 'with the next subscription',
  copying: 'copying from the host with the next start; all else goes on',
  anew: 'with the next start',
  broken: 'NOT RECOVERED',
};

function whatOf(outcome) {
  const {part, verdict, exit, pictures, occurrence} = outcome;
  if (stopsAtParentsEnd(outcome)) return kWhat.parentsEnd;
  if (part === 'start') {
    if (verdict === 'READY') return exit === 0 ? kWhat.started : kWhat.endedLater(exit);
    return verdict === 'FAILED' && exit === 1 ? kWhat.failed : kWhat.ended(exit);
  }
  if (part === 'stop') return exit === 0 ? kWhat.stopped : kWhat.badStop(exit);
  const lasting = occurrence === 'later';
  return lasting && pictures < kFewPictures ? kWhat.noPictures : kWhat.pictures;
}

/** How it came back; also what makes a sweep fail. */
export function recoveryOf(outcome) {
  const {call, part, verdict, exit, kept, back, surplus, trouble} = outcome;
  if (stopsAtParentsEnd(outcome)) return kRecovery.anew;
  if (part === 'start' && exit === kSystemErrorCode && kMakesThreads.has(call)) {
    return kRecovery.anew;
  }
  if (kMakesWatcher.has(call) && trouble?.startsWith('no copied text')) {
    return kRecovery.copying;
  }
  if (trouble || surplus || !back) return kRecovery.broken;
  if (part === 'start') {
    if (verdict === 'READY') return exit === 0 ? kRecovery.nothing : kRecovery.broken;
    return kRecovery.anew;
  }
  if (part === 'stop') return exit === 0 ? kRecovery.nothing : kRecovery.broken;
  if (exit !== null) return kRecovery.broken;
  if (kept === 'switch') return kRecovery.chosen;
  return kept ? kRecovery.itself : kRecovery.next;
}

const kTelling = /失败|无法|缺|不可用|回退|跳过|missing|not started|BLOCKED|lastError|failed/;

function tellingLine({lines = []}) {
  const line = lines.find((one) => kTelling.test(one) && !/硬编端到端自检|push start FAILED/.test(one));
  return line?.replace(/\|/g, '\\|').slice(0, 90);
}

const unique = (values) => [...new Set(values)];

const kPartNames = {start: 'start', stream: 'serving', hardware: 'serving, hardware', stop: 'stop'};

function cellOf(rows, textOf) {
  const parts = Object.keys(kPartNames).filter((part) => rows.some((row) => row.part === part));
  const texts = new Map();
  for (const part of parts) {
    const text = unique(rows.filter((row) => row.part === part).map(textOf)).join(', or ');
    texts.set(text, [...texts.get(text) ?? [], kPartNames[part]]);
  }
  if (texts.size === 1) return [...texts.keys()][0];
  return [...texts].map(([text, names]) => `${names.join(' and ')}: ${text}`).join('; ');
}

function rowOf(call) {
  const rows = strikes.filter((strike) => strike.call === call);
  if (rows.length === 0) return null;
  const faults = unique(rows.map(({fault}) => fault.label)).join('; ');
  const line = rows.map(tellingLine).find((text) => text);
  const what = cellOf(rows, whatOf) + (line ? `; log: \`${line}\`` : '');
  return `| \`${call}\` | ${faults} | ${rows.length} | ${what} | ${cellOf(rows, recoveryOf)} |`;
}

const called = new Set(censuses.flatMap(
    ({census}) => Object.values(census).flatMap((counts) => Object.keys(counts))));
const didStrike = new Set(strikes.map(keyOf));
const missed = plannedFaults(censuses).filter((fault) => !didStrike.has(keyOf(fault)));
const triesOf = (fault) => outcomes.filter((outcome) => keyOf(outcome) === keyOf(fault)).length;
const missedText = missed.map((fault) => {
  const {part, call, occurrence} = fault;
  const tries = triesOf(fault);
  const reason = tries === 0 ? 'not tried' : `not met in ${tries} ${tries === 1 ? 'try' : 'tries'}`;
  return `\`${call}\`, ${occurrence}, ${kPartNames[part]} (${reason})`;
}).join('; ');
const struck = unique(strikes.map(({call}) => call));
const notStruck = failingCalls().map(({call}) => call).filter((call) => !struck.includes(call));
const counts = {};
for (const strike of strikes) {
  const recovery = recoveryOf(strike);
  counts[recovery] = (counts[recovery] ?? 0) + 1;
}

const tables = Object.entries(kFailing).map(([group, calls]) => {
  const rows = Object.keys(calls).map(rowOf).filter((row) => row);
  return [
    `## ${group}`,
    '',
    '| call | fails with | times | what happens | how it recovers |',
    '|---|---|---|---|---|',
    ...rows,
    '',
  ].join('\n');
});

const leftCalled = Object.entries(kLeft).map(([reason, calls]) => {
  const counted = calls.filter((call) => called.has(call));
  // Those that are not even counted.
  const made = counted.length > 0 ? counted : calls;
  return `| ${reason} | ${made.map((call) => `\`${call}\``).join(', ')} |`;
});

console.log(`# Reliability

What becomes of the host when a call that it makes fails. \`scripts/sweep\` writes this page from what
it saw: it runs the unmodified host under Wine with a library in its process (\`devkit/sweep\`) that
fails one call at a time, at its first, its second and every later occurrence, while the host starts,
serves a controller (subscribe, stream, switch the monitor, another mode, input, clipboard both ways,
unsubscribe) and stops. After each fault the host must be alive, or have ended with the exit code
that it should; hold no reference, handle, lock or memory block more than before; and stream to a
new subscription.

This page: **${strikes.length} faults** that struck, in **${struck.length} calls** of ${called.size} that the host made.
${missed.length === 0 ? 'All of the sweep’s faults are in it.' : `Not in it: ${missedText}.`}

| how it recovered | faults |
|---|---|
${Object.entries(counts).map(([text, count]) => `| ${text} | ${count} |`).join('\n')}

*Times* counts the occurrences in all parts of a run that were failed. *Serving, hardware* is with a
transform that behaves like a graphics card's.

${tables.join('\n')}
## Not struck

${notStruck.length === 0 ? 'None.' : `Listed, but not struck in these runs: ${notStruck.map((call) => `\`${call}\``).join(', ')}.`}

## Left as they are

| reason | calls |
|---|---|
| a reference is taken or given back | \`AddRef\`, \`Release\` of every interface |
${leftCalled.join('\n')}

${readFileSync(new URL('long_forms.md', import.meta.url), 'utf8').trim()}`);

const broken = strikes.filter((strike) => recoveryOf(strike) === kRecovery.broken);
for (const {part, call, occurrence, fault, exit, surplus, trouble = ''} of broken) {
  console.error(`${part} ${call} ${occurrence} ${fault.label}: exit=${exit} ${surplus} ${trouble.split('\n')[0]}`);
}
const unlisted = [...called].filter((call) => callOf(call) === undefined);
if (unlisted.length > 0) console.error(`in no list: ${unlisted.join(', ')}`);
process.exitCode = broken.length + unlisted.length > 0 ? 1 : 0;
