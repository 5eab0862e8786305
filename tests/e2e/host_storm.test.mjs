// The real host beside a library that calls it back from eight threads at once, while the monitors
// change. TALU_STORM_SECONDS in the environment makes the storm longer than its few seconds.

import assert from 'node:assert/strict';
import test from 'node:test';
import {setTimeout as sleep} from 'node:timers/promises';

import {budgetComplaints} from './log_budgets.mjs';
import {until} from './stand.mjs';
import {StormStand} from './storm_stand.mjs';

const kSeconds = Number(process.env.TALU_STORM_SECONDS ?? 4);
const kLayouts = ['1280x720', '1280x720,800x600', '1152x648,1024x768', '1280x720,1024x768'];
const kOver = /after (\d+) calls in a storm (.*)/;

/** The host beside a storm of so many seconds, gone when the test t ends. */
async function startStorm(t, seconds) {
  const stand = await StormStand.start({TALU_STORM_SECONDS: seconds});
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
