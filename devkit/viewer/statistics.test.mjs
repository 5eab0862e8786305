import assert from 'node:assert/strict';
import test from 'node:test';

import {stagesOf, StreamStatistics} from './statistics.js';

const frame = (drawnMs, fields = {}) => ({
  sequence: 1,
  handedOverMs: drawnMs - 10,
  receivedMs: drawnMs - 8,
  decodedMs: drawnMs - 2,
  drawnMs,
  ...fields,
});

test('a frame’s stages add up to its age', () => {
  assert.deepEqual(stagesOf(frame(1000)), {sendMs: 2, decodeMs: 6, drawMs: 2, ageMs: 10});
});

test('rates count the last second only', () => {
  const statistics = new StreamStatistics();
  for (let ms = 0; ms < 3000; ms += 100) {
    statistics.noteReceived(125, ms);
    statistics.noteDrawn(frame(ms));
  }
  const {fps, kbps, stages} = statistics.summary(2900);
  assert.equal(fps, 10);
  assert.equal(kbps, 10);
  assert.deepEqual(stages, {sendMs: 2, decodeMs: 6, drawMs: 2, ageMs: 10});
});

test('when nothing comes any more the figures fall to nothing', () => {
  const statistics = new StreamStatistics();
  statistics.noteReceived(1000, 0);
  statistics.noteDrawn(frame(0));
  assert.deepEqual(statistics.summary(5000), {fps: 0, kbps: 0, stages: null});
});

test('the last frames are kept, oldest first, and their number is bounded', () => {
  const statistics = new StreamStatistics();
  for (let i = 0; i < 2000; i++) statistics.noteDrawn(frame(i, {sequence: i}));
  assert.deepEqual(statistics.lastFrames(2).map(({sequence}) => sequence), [1998, 1999]);
  assert.deepEqual(statistics.lastFrames(0), []);
  assert.ok(statistics.lastFrames().length <= 600);
});

test('who looks at the frames cannot change them', () => {
  const statistics = new StreamStatistics();
  statistics.noteDrawn(frame(5));
  statistics.lastFrames(1)[0].drawnMs = 99;
  assert.equal(statistics.lastFrames(1)[0].drawnMs, 5);
});
