// The short form of the sweep: some of the calls that the host makes fail under it.

import assert from 'node:assert/strict';
import test, {after, before} from 'node:test';

import {startSweepStand, Sweep} from './sweep.mjs';
import {callOf} from './sweep_calls.mjs';

let stand;
let sweep;
before(async () => {
  stand = await startSweepStand();
  sweep = new Sweep(stand, {brief: true});
});
after(async () => {
  await sweep?.close();
  await stand?.stop();
});

const has = (lines, text) => lines.some((line) => line.includes(text));

function faultOf(call, label, occurrence) {
  const {group, faults} = callOf(call);
  const fault = faults.find((one) => one.label.includes(label));
  assert.ok(fault, `${call} does not fail with ${label}`);
  return {call, group, occurrence, fault};
}

const kServing = [
  ['IDXGIOutputDuplication::AcquireNextFrame', 'ACCESS_LOST', 'first'],
  ['IDXGIOutputDuplication::AcquireNextFrame', 'DEVICE_REMOVED', 'always'],
  ['IDXGIOutput1::DuplicateOutput', 'E_ACCESSDENIED', 'first'],
  ['ID3D11DeviceContext::Map', 'DEVICE_REMOVED', 'first'],
  ['CoCreateInstance', 'REGDB_E_CLASSNOTREG', 'always'],
  ['MFCreateSample', 'E_OUTOFMEMORY', 'always'],
  ['IMFTransform::ProcessOutput', 'STREAM_CHANGE', 'first'],
  ['tcar_session_send_encoded_video_frame', '7', 'always'],
  ['_beginthreadex', 'error 8', 'first'],
];

for (const [call, label, occurrence] of kServing) {
  test(`the stream is back after ${call} failed with ${label}, ${occurrence}`, async () => {
    const outcome = await sweep.strikeStream(faultOf(call, label, occurrence));
    assert.equal(outcome.trouble, undefined, outcome.trouble);
    assert.ok(outcome.struck > 0, 'the fault struck');
    assert.equal(outcome.exit, null, 'the process is alive');
    assert.equal(outcome.surplus, '', 'nothing is lost');
    assert.deepEqual(outcome.monitorsTold.filter((count) => count !== 2), [], 'the lists of monitors');
  });
}

test('every call that was made so far is listed', async () => {
  assert.deepEqual(await sweep.unlistedCalls(), []);
});

test('without Direct3D the start fails with one line that says so', async () => {
  const outcome = await sweep.strikeStart(faultOf('LoadLibraryW', 'error 126', 'second'));
  assert.deepEqual([outcome.struck, outcome.verdict, outcome.exit], [1, 'FAILED', 1]);
  const missing = outcome.lines.filter((line) => line.includes('Windows component missing'));
  assert.equal(missing.length, 1, outcome.lines.join('\n'));
  assert.match(missing[0], /Direct3D 11/);
});

test('without Media Foundation the host starts and says so in one line', async () => {
  const outcome = await sweep.strikeStart(faultOf('LoadLibraryW', 'error 126', 'later'));
  assert.deepEqual([outcome.struck, outcome.verdict, outcome.exit], [1, 'READY', 0], outcome.trouble);
  assert.ok(has(outcome.lines, 'Windows component missing: Media Foundation'), outcome.lines.join('\n'));
});

test('a library that refuses the session gives FAILED and exit code 1', async () => {
  const outcome = await sweep.strikeStart(faultOf('tcar_session_create', '6', 'first'));
  assert.deepEqual([outcome.struck, outcome.verdict, outcome.exit], [1, 'FAILED', 1]);
});
