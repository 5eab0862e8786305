import assert from 'node:assert/strict';
import test from 'node:test';

import {FastestWay} from './fastest_way.js';

/** Goes as it is told, with these times; the ways gone. */
function go(ways, times, rounds) {
  return Array.from({length: rounds}, () => {
    const way = ways.next;
    ways.note(way, times[way]);
    return way;
  });
}

test('every way is tried in turns, then the fastest stays', () => {
  const ways = new FastestWay(2);
  assert.deepEqual(go(ways, [6, 1], 16), [0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1]);
  assert.deepEqual(go(ways, [6, 100], 5), [1, 1, 1, 1, 1]);
});

test('of equally fast ways the first stays', () => {
  const ways = new FastestWay(3);
  go(ways, [2, 2, 2], 24);
  assert.equal(ways.next, 0);
});

test('a hiccup does not decide', () => {
  const ways = new FastestWay(2);
  ways.note(0, 500);
  go(ways, [1, 2], 20);
  assert.equal(ways.next, 0);
});

test('a way that fails is never gone again', () => {
  const ways = new FastestWay(2);
  go(ways, [6, 1], 3);
  ways.fail(1);
  assert.deepEqual(new Set(go(ways, [6], 20)), new Set([0]));
});

test('nor when it had been chosen', () => {
  const ways = new FastestWay(2);
  go(ways, [6, 1], 16);
  ways.fail(1);
  assert.equal(ways.next, 0);
});
