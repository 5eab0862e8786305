import assert from 'node:assert/strict';
import test from 'node:test';

import {describeKey, hidOf, hostKnowsUsage, kUsageByCode} from './key_codes.js';

const kPage = 0x70000;
const press = (code, key, modifiers = {}) => describeKey({code, key, ...modifiers});

test('usages of the keyboard page, row by row', () => {
  const expected = {
    KeyA: 4,
    KeyZ: 29,
    Digit1: 30,
    Digit9: 38,
    Digit0: 39,
    Enter: 40,
    Escape: 41,
    Backspace: 42,
    Tab: 43,
    Space: 44,
    Minus: 45,
    Equal: 46,
    BracketLeft: 47,
    BracketRight: 48,
    Backslash: 49,
    Semicolon: 51,
    Quote: 52,
    Backquote: 53,
    Comma: 54,
    Period: 55,
    Slash: 56,
    CapsLock: 57,
    F1: 58,
    F12: 69,
    PrintScreen: 70,
    ScrollLock: 71,
    Pause: 72,
    Insert: 73,
    Home: 74,
    PageUp: 75,
    Delete: 76,
    End: 77,
    PageDown: 78,
    ArrowRight: 79,
    ArrowLeft: 80,
    ArrowDown: 81,
    ArrowUp: 82,
    NumLock: 83,
    NumpadDivide: 84,
    NumpadMultiply: 85,
    NumpadSubtract: 86,
    NumpadAdd: 87,
    NumpadEnter: 88,
    Numpad1: 89,
    Numpad9: 97,
    Numpad0: 98,
    NumpadDecimal: 99,
    IntlBackslash: 100,
    ContextMenu: 101,
    Power: 102,
    NumpadEqual: 103,
    F13: 104,
    F24: 115,
    IntlRo: 135,
    IntlYen: 137,
    Lang1: 144,
    ControlLeft: 224,
    ShiftLeft: 225,
    AltLeft: 226,
    MetaLeft: 227,
    ControlRight: 228,
    ShiftRight: 229,
    AltRight: 230,
    MetaRight: 231,
  };
  for (const [code, usage] of Object.entries(expected)) {
    assert.equal(hidOf(code), kPage + usage, code);
  }
  assert.equal(hidOf('BrowserBack'), 0);
});

test('no two codes share a usage', () => {
  assert.equal(new Set(kUsageByCode.values()).size, kUsageByCode.size);
});

test('an ordinary key goes by its place, with all three names', () => {
  assert.deepEqual(press('KeyA', 'a'), {action: 'key', hid: 458756, code: 'KeyA', key: 'a'});
  assert.deepEqual(
      press('Quote', '"', {shiftKey: true}),
      {action: 'key', hid: kPage + 52, code: 'Quote', key: '"'});
  assert.deepEqual(
      press('BracketLeft', 'Dead'),
      {action: 'key', hid: kPage + 47, code: 'BracketLeft', key: 'Dead'});
});

test('a key whose place the host does not know is typed as its character', () => {
  assert.deepEqual(press('IntlBackslash', '<'), {action: 'text', text: '<'});
  assert.deepEqual(press('IntlYen', '"'), {action: 'text', text: '"'});
  assert.deepEqual(press('', '😀'), {action: 'text', text: '😀'});
});

test('with Ctrl it stays a key, if the host can make one of its character', () => {
  assert.equal(press('IntlBackslash', '<', {ctrlKey: true}).action, 'key');
  assert.equal(press('IntlBackslash', 'ä', {ctrlKey: true}).action, 'none');
});

test('a key that the host would guess wrongly is not sent', () => {
  for (const key of ['AudioVolumeUp', 'Unidentified', 'Fn', 'BrowserBack', 'Dead']) {
    assert.deepEqual(press(key, key), {action: 'none'}, key);
  }
});

test('a soft keyboard that names no place still gives Enter, arrows and the like', () => {
  assert.deepEqual(
      press('', 'Enter'), {action: 'key', hid: kPage + 40, code: 'Enter', key: 'Enter'});
  assert.equal(press('', 'ArrowUp').hid, kPage + 82);
  assert.equal(press('', 'Control').code, 'ControlLeft');
});

test('the host has keys for these usages and for no others', () => {
  const known = [];
  for (let usage = 0; usage < 300; usage++) {
    if (hostKnowsUsage(usage)) known.push(usage);
  }
  const range = (first, last) => Array.from({length: last - first + 1}, (_, i) => first + i);
  assert.deepEqual(
      known, [...range(4, 49), ...range(51, 99), 101, ...range(104, 115), ...range(224, 231)]);
});
