import assert from 'node:assert/strict';
import test from 'node:test';

import {HeldKeys} from './held_keys.js';

const key = (code, text = '') => ({action: 'key', hid: 1, code, key: text});
const codes = (keys) => keys.map(({code}) => code);

test('a key is released as it was pressed', () => {
  const held = new HeldKeys();
  held.press(key('KeyA', 'A'));
  assert.deepEqual(held.release('KeyA'), [key('KeyA', 'A')]);
  assert.deepEqual(held.release('KeyA'), []);
});

test('a release without a press is nobody’s', () => {
  assert.deepEqual(new HeldKeys().release('KeyA'), []);
});

test('a repeated key is held once', () => {
  const held = new HeldKeys();
  held.press(key('KeyA'));
  held.press(key('KeyA'));
  assert.equal(held.takeAll().length, 1);
});

test('leaving takes everything once', () => {
  const held = new HeldKeys();
  held.press(key('ControlLeft'));
  held.press(key('KeyC'));
  assert.deepEqual(codes(held.takeAll()), ['ControlLeft', 'KeyC']);
  assert.deepEqual(held.takeAll(), []);
});

test('letting go of Meta lets go of the keys pressed with it, not of other modifiers', () => {
  const held = new HeldKeys();
  for (const code of ['ShiftLeft', 'MetaLeft', 'KeyC']) held.press(key(code));
  assert.deepEqual(codes(held.release('MetaLeft')), ['KeyC', 'MetaLeft']);
  assert.deepEqual(codes(held.takeAll()), ['ShiftLeft']);
});
