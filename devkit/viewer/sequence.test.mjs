import assert from 'node:assert/strict';
import test from 'node:test';

import {SequenceWatch} from './sequence.js';

test('a stream may start anywhere and has no gaps when it counts on', () => {
  const watch = new SequenceWatch();
  assert.deepEqual([7, 8, 9].map((n) => watch.observe(n)), [0, 0, 0]);
});

test('missing units are counted', () => {
  const watch = new SequenceWatch();
  assert.deepEqual([1, 3, 10].map((n) => watch.observe(n)), [0, 1, 6]);
});

test('the count wraps without a gap', () => {
  const watch = new SequenceWatch();
  assert.deepEqual([0xffffffff, 0, 2].map((n) => watch.observe(n)), [0, 0, 1]);
});

test('a new connection is no gap', () => {
  const watch = new SequenceWatch();
  watch.observe(1);
  watch.restart();
  assert.equal(watch.observe(100), 0);
});
