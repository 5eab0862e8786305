import assert from 'node:assert/strict';
import test from 'node:test';

import {Backoff} from './backoff.js';

test('attempts come ever less often, never rarer than every five seconds', () => {
  const backoff = new Backoff();
  assert.deepEqual(
      Array.from({length: 7}, () => backoff.next()), [250, 500, 1000, 2000, 4000, 5000, 5000]);
});

test('after a success the next trouble starts anew', () => {
  const backoff = new Backoff();
  backoff.next();
  backoff.next();
  backoff.reset();
  assert.equal(backoff.next(), 250);
});
