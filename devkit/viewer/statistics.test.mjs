import assert from 'node:assert/strict';
import test from 'node:test';

import {stagesOf, StreamStatistics} from './statistics.js';

const frame = (drawnMs, fields = {}) => ({
  sequence: 1,
  hostMs: drawnMs - 15,
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
  assert.deepEqual(stages, {hostMs: 0, sendMs: 2, decodeMs: 6, drawMs: 2, ageMs: 10});
});

test('the host’s time is what exceeds its quickest frame’s', () => {
  const statistics = new StreamStatistics();
  statistics.noteDrawn(frame(100));
  statistics.noteDrawn(frame(200, {hostMs: 200 - 15 - 4}));
  assert.equal(statistics.summary(250).stages.hostMs, 2);
});

test('a new run of the stream, whose time stamps begin anew, has a quickest frame of its own', () => {
  const statistics = new StreamStatistics();
  statistics.noteDrawn(frame(5000));
  statistics.noteDrawn(frame(7000, {hostMs: 0}));
  statistics.noteDrawn(frame(7100, {hostMs: 97}));
  assert.equal(statistics.summary(7150).stages.hostMs, 1.5);
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
