import assert from 'node:assert/strict';
import test from 'node:test';

import {WheelAccumulator} from './wheel.js';

const pixels = (deltaY, wheelDeltaY = 0) => ({deltaY, deltaMode: 0, wheelDeltaY});
const roll = (events) => {
  const wheel = new WheelAccumulator();
  return events.map((event) => wheel.add(event));
};

test('one notch of a wheel is one notch, whatever it is in pixels', () => {
  for (const size of [53, 66.7, 100, 120, 150]) {
    assert.deepEqual(roll([pixels(size, -120), pixels(-size, 120)]), [1, -1]);
  }
  assert.deepEqual(roll([pixels(300, -360)]), [3]);
});

test('small steps add up to notches and nothing is lost', () => {
  assert.deepEqual(roll(new Array(10).fill(pixels(10, -12))), [0, 0, 0, 0, 0, 0, 0, 0, 0, 1]);
  assert.deepEqual(roll([pixels(250), pixels(50)]), [2, 1]);
});

test('a small step is no notch although its old-style delta is one by chance', () => {
  assert.deepEqual(roll([pixels(40, -120), pixels(40, -120), pixels(40, -120)]), [0, 0, 1]);
});

test('turning round starts anew', () => {
  assert.deepEqual(roll([pixels(90), pixels(-20), pixels(-80)]), [0, 0, -1]);
});

test('lines and pages', () => {
  assert.deepEqual(roll([{deltaY: 3, deltaMode: 1}, {deltaY: -1, deltaMode: 1}]), [1, 0]);
  assert.deepEqual(roll([{deltaY: 1, deltaMode: 2}]), [10]);
});

test('Shift turns the wheel sideways here but not on the host', () => {
  assert.deepEqual(
      roll([{deltaX: 100, deltaY: 0, deltaMode: 0, shiftKey: true, wheelDeltaX: -120}]), [1]);
  assert.deepEqual(roll([{deltaX: 100, deltaY: 0, deltaMode: 0, wheelDeltaX: -120}]), [0]);
});
