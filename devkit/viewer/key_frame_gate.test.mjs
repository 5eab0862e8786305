import assert from 'node:assert/strict';
import test from 'node:test';

import {KeyFrameGate} from './key_frame_gate.js';

const unit = (fields) => ({keyFrame: false, missing: 0, queued: 0, ...fields});
const kKey = unit({keyFrame: true});
const kDelta = unit({});

function openGate() {
  const gate = new KeyFrameGate();
  gate.admit(kKey, 0);
  return gate;
}

test('nothing before the first key frame is decoded, and one is asked for', () => {
  const gate = new KeyFrameGate();
  assert.deepEqual(gate.admit(kDelta, 0), {decode: false, fresh: false, ask: true});
  assert.deepEqual(gate.admit(kKey, 1), {decode: true, fresh: false, ask: false});
  assert.deepEqual(gate.admit(kDelta, 2), {decode: true, fresh: false, ask: false});
});

test('a gap closes the gate until a key frame', () => {
  const gate = openGate();
  assert.deepEqual(gate.admit(unit({missing: 1}), 5), {decode: false, fresh: false, ask: true});
  assert.equal(gate.admit(kDelta, 6).decode, false);
  assert.equal(gate.admit(kKey, 7).decode, true);
  assert.equal(gate.admit(kDelta, 8).decode, true);
});

test('a gap right before a key frame costs nothing', () => {
  assert.deepEqual(
      openGate().admit(unit({keyFrame: true, missing: 9}), 5),
      {decode: true, fresh: false, ask: false});
});

test('asking is repeated, but not with every unit', () => {
  const gate = openGate();
  const asks =
      [0, 10, 500, 999, 1000, 1001, 2500].map((ms) => gate.admit(unit({missing: 1}), 100 + ms).ask);
  assert.deepEqual(asks, [true, false, false, false, true, false, true]);
});

test('a decoder that falls behind gets nothing but the next key frame, and that on its own', () => {
  const gate = openGate();
  assert.equal(gate.admit(unit({queued: 6}), 0).decode, true);
  assert.deepEqual(gate.admit(unit({queued: 7}), 1), {decode: false, fresh: false, ask: true});
  assert.equal(gate.admit(unit({queued: 3}), 2).decode, false);
  assert.deepEqual(
      gate.admit(unit({keyFrame: true, queued: 7}), 3), {decode: true, fresh: true, ask: false});
});

test('a lost decoder waits', () => {
  const gate = openGate();
  gate.lose();
  assert.equal(gate.waiting, true);
  assert.equal(gate.admit(kDelta, 0).decode, false);
});

test('what someone else asked for is not asked again at once', () => {
  const gate = new KeyFrameGate();
  gate.noteAsked(100);
  assert.equal(gate.admit(kDelta, 200).ask, false);
  assert.equal(gate.admit(kDelta, 1100).ask, true);
});

test('a loss after the answer is asked for soon, though not at once', () => {
  const gate = new KeyFrameGate();
  gate.noteAsked(0);
  gate.admit(kKey, 50);
  assert.equal(gate.admit(unit({missing: 1}), 60).ask, false);
  assert.equal(gate.admit(kDelta, 199).ask, false);
  assert.equal(gate.admit(kDelta, 200).ask, true);
  assert.equal(gate.admit(kDelta, 500).ask, false);
});
