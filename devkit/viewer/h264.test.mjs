import assert from 'node:assert/strict';
import test from 'node:test';

import {codecString, pictureSize, withoutReordering} from './h264_sps.js';
import {isParameterSet, isSps, joinUnits, splitUnits} from './h264_units.js';
import {KeyFramePreparer} from './key_frame_preparer.js';

// Bits written as text: fixed fields as they are, exp-Golomb numbers by ue().
const ue = (value) => {
  const digits = (value + 1).toString(2);
  return '0'.repeat(digits.length - 1) + digits;
};
const fixed = (value, count) => value.toString(2).padStart(count, '0');

function nal(bits) {
  let padded = bits + '1';
  while (padded.length % 8 !== 0) padded += '0';
  const bytes = [];
  let zeros = 0;
  for (const [byte] of padded.matchAll(/.{8}/g)) {
    const value = parseInt(byte, 2);
    if (zeros >= 2 && value <= 3) {
      bytes.push(3);
      zeros = 0;
    }
    bytes.push(value);
    zeros = value === 0 ? zeros + 1 : 0;
  }
  return Uint8Array.from(bytes);
}

// A Main profile set for 1280x720 with two reference frames, up to the flag for what follows.
const kMainHead = fixed(0x67, 8) + fixed(77, 8) + fixed(0, 8) + fixed(31, 8) + ue(0) + ue(0) +
    ue(0) + ue(2) + ue(2) + '0' + ue(79) + ue(44) + '1' +
    '1' +
    '0';
const kNoReordering = '1' +
    '1' + ue(0) + ue(0) + ue(16) + ue(16) + ue(0) + ue(2);
// Aspect ratio 1:1, nothing on overscan, limited-range video of given colours, timing, no rates.
const kUsability = '1' + fixed(1, 8) + '0' +
    '1' + fixed(5, 3) + '0' +
    '1' + fixed(6, 8) + fixed(6, 8) + fixed(6, 8) + '0' +
    '1' + fixed(1, 32) + fixed(60, 32) + '1' +
    '0' +
    '0' +
    '0';

test('the codec is named by profile, constraints and level', () => {
  assert.equal(codecString(Uint8Array.of(0x67, 0x4d, 0x00, 0x1f, 0xff)), 'avc1.4d001f');
  assert.equal(codecString(Uint8Array.of(0x67, 0x42, 0xc0, 0x0a)), 'avc1.42c00a');
});

test('the size is that of the whole blocks less what is cut off', () => {
  assert.deepEqual(pictureSize(nal(kMainHead + '0')), {width: 1280, height: 720});
  // 1150x648 of 72 by 41 blocks: a column of two pixels and four rows of two are cut off.
  const cut = fixed(0x67, 8) + fixed(77, 8) + fixed(0, 8) + fixed(31, 8) + ue(0) + ue(0) + ue(0) +
      ue(2) + ue(2) + '0' + ue(71) + ue(40) + '1' +
      '1' +
      '1' + ue(0) + ue(1) + ue(0) + ue(4) + '0';
  assert.deepEqual(pictureSize(nal(cut)), {width: 1150, height: 648});
});

test('a set without any usability part gets one that promises display order', () => {
  assert.deepEqual(
      withoutReordering(nal(kMainHead + '0')),
      nal(kMainHead + '1' +
          '00000000' + kNoReordering));
});

test('a usability part keeps all it says and gets the promise', () => {
  assert.deepEqual(
      withoutReordering(nal(kMainHead + '1' + kUsability + '0')),
      nal(kMainHead + '1' + kUsability + kNoReordering));
});

test('a set that already says how pictures are ordered stays as it is', () => {
  const sps = nal(kMainHead + '1' + kUsability + kNoReordering);
  assert.equal(withoutReordering(sps), sps);
});

test('rates of a rate decoder are stepped over', () => {
  const rates = ue(0) + fixed(0, 8) + ue(100) + ue(200) + '0' + fixed(0, 20);
  const usability = '0000' +
      '0' +
      '1' + rates + '1' + rates + '0' +
      '0';
  assert.deepEqual(
      withoutReordering(nal(kMainHead + '1' + usability + '0')),
      nal(kMainHead + '1' + usability + kNoReordering));
});

test('a High profile set with scaling lists is understood', () => {
  const lists = '1' + ue(0) + '1'.repeat(15) + '0'.repeat(7);
  const head = fixed(0x67, 8) + fixed(100, 8) + fixed(0, 8) + fixed(40, 8) + ue(0) + ue(1) + ue(0) +
      ue(0) + '0' +
      '1' + lists + ue(0) + ue(2) + ue(2) + '0' + ue(119) + ue(67) + '1' +
      '1' +
      '1' + ue(0) + ue(0) + ue(0) + ue(4);
  assert.deepEqual(
      withoutReordering(nal(head + '0')),
      nal(head + '1' +
          '00000000' + kNoReordering));
});

test('picture order of the second kind is stepped over', () => {
  const head = fixed(0x67, 8) + fixed(77, 8) + fixed(0, 8) + fixed(31, 8) + ue(0) + ue(0) + ue(1) +
      '0' + ue(3) + ue(4) + ue(2) + ue(1) + ue(2) + ue(2) + '0' + ue(79) + ue(44) + '0' +
      '0' +
      '1' +
      '0';
  assert.deepEqual(
      withoutReordering(nal(head + '0')),
      nal(head + '1' +
          '00000000' + kNoReordering));
});

test('a set that is cut short is left alone, wherever it ends', () => {
  const whole = nal(kMainHead + '1' + kUsability + '0');
  for (let length = 0; length < 20; length++) {
    const part = whole.slice(0, length);
    assert.equal(withoutReordering(part), part);
  }
});

test('units are found behind short and long start codes, without their trailing zeros', () => {
  const stream = Uint8Array.of(0, 0, 0, 1, 0x67, 5, 0, 0, 1, 0x68, 6, 0, 0, 0, 1, 0x65, 0, 3, 1, 0);
  assert.deepEqual(
      splitUnits(stream).map(({type, data}) => [type, ...data]),
      [[7, 0x67, 5], [8, 0x68, 6], [5, 0x65, 0, 3, 1]]);
});

test('bytes without a start code hold no units', () => {
  for (const bytes of [[], [1], [0, 0], [0, 0, 1], [0, 1, 2, 1, 0, 1], [0, 0, 1, 0, 0, 1]]) {
    assert.deepEqual(splitUnits(Uint8Array.from(bytes)), []);
  }
});

test('joined units split into themselves', () => {
  const units = splitUnits(Uint8Array.of(0, 0, 1, 0x67, 1, 0, 0, 1, 0x68, 2, 0, 0, 1, 0x65, 3));
  assert.deepEqual(
      splitUnits(joinUnits(units)).map(({data}) => [...data]), units.map(({data}) => [...data]));
  assert.deepEqual(units.map(isSps), [true, false, false]);
  assert.deepEqual(units.map(isParameterSet), [true, true, false]);
});

const unit = (...bytes) => ({type: bytes[0] & 31, data: Uint8Array.from(bytes)});
const kSpsUnit = {
  type: 7,
  data: nal(kMainHead + '0')
};
const kPpsUnit = unit(0x68, 1, 2);
const kPicture = unit(0x65, 9, 9);

test('a key frame says how the decoder is set up, and whether that is new', () => {
  const preparer = new KeyFramePreparer();
  const stream = joinUnits([kSpsUnit, kPpsUnit, kPicture]);
  const first = preparer.prepare(stream);
  assert.equal(first.codec, 'avc1.4d001f');
  assert.equal(first.changed, true);
  assert.equal(preparer.prepare(stream).changed, false);
  const other = {type: 7, data: nal(kMainHead.replace(ue(79), ue(59)) + '0')};
  assert.equal(preparer.prepare(joinUnits([other, kPpsUnit, kPicture])).changed, true);
});

test('a key frame without parameter sets gets the last ones', () => {
  const preparer = new KeyFramePreparer();
  preparer.prepare(joinUnits([kSpsUnit, kPpsUnit, kPicture]));
  const types = splitUnits(preparer.prepare(joinUnits([kPicture])).data).map(({type}) => type);
  assert.deepEqual(types, [7, 8, 5]);
});

test('a key frame before any parameter set cannot be decoded', () => {
  assert.equal(new KeyFramePreparer().prepare(joinUnits([kPicture])), null);
});
