// The real host beside a library that calls it back from eight threads at once, while the monitors
// change. TALU_STORM_SECONDS in the environment makes the storm longer than its few seconds.

import assert from 'node:assert/strict';
import {cp, mkdtemp, readdir, rm} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import test from 'node:test';
import {setTimeout as sleep} from 'node:timers/promises';

import {budgetComplaints} from './log_budgets.mjs';
import {kBin, Stand, until} from './stand.mjs';

const kSeconds = Number(process.env.TALU_STORM_SECONDS ?? 4);
const kLayouts = ['1280x720', '1280x720,800x600', '1152x648,1024x768', '1280x720,1024x768'];
const kOver = /after (\d+) calls in a storm (.*)/;

/** The host with the storm for a library, in a folder that is gone when the test t ends. */
async function startStorm(t, seconds) {
  const folder = await mkdtemp(join(tmpdir(), 'talu-storm-'));
  t.after(() => rm(folder, {recursive: true, force: true}));
  for (const name of await readdir(kBin)) {
    if (/\.dll$|^talu_host\.exe$/.test(name)) await cp(join(kBin, name), join(folder, name));
  }
  await cp(join(kBin, 'storm/libtcar_sdk.dll'), join(folder, 'libtcar_sdk.dll'));
  const stand = await Stand.start({
    options: [
      '--host', join(folder, 'talu_host.exe'), '--env', `TALU_STORM_SECONDS=${seconds}`, '--moving',
      'x=100,y=100,w=300,h=300'
    ],
  });
  t.after(() => stand.stop());
  return stand;
}

test('after a storm of callbacks and changing monitors a subscriber gets pictures', async (t) => {
  const stand = await startStorm(t, kSeconds);
  const log = () => stand.logText();
  const end = Date.now() + kSeconds * 1000;
  for (let change = 0; Date.now() < end; change++) {
    await stand.setMonitors(kLayouts[change % kLayouts.length]);
    await sleep(500);
  }
  await stand.setMonitors('1280x720,1024x768');
  const [, calls, outcome] = await until(async () => kOver.exec(await log()), 'end of the storm');
  t.diagnostic(`${calls} calls in ${kSeconds} s`);
  assert.equal(outcome.trim(), 'pictures, a key frame first');
  assert.equal(await stand.stop({keepFiles: true}), 0);
  assert.deepEqual(budgetComplaints(await log()), []);
});

test('a host that is stopped in the middle of a storm ends with exit code 0', async (t) => {
  const stand = await startStorm(t, 600);
  await stand.untilLog('START pushing');
  assert.equal(await stand.stop(), 0);
});
