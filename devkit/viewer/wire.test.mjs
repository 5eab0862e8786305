import assert from 'node:assert/strict';
import test from 'node:test';

import {parseBinaryMessage, parseEvent, profileCommand, wrapControlMessage} from './wire.js';

function videoMessage({flags, sequence, hostMs, handedOverUs, data}) {
  const message = new Uint8Array(24 + data.length);
  const view = new DataView(message.buffer);
  view.setUint8(0, 1);
  view.setUint8(1, flags);
  view.setUint32(4, sequence, true);
  view.setBigInt64(8, hostMs, true);
  view.setBigInt64(16, handedOverUs, true);
  message.set(data, 24);
  return message.buffer;
}

test('a video message gives its fields', () => {
  const unit = parseBinaryMessage(videoMessage({
    flags: 1,
    sequence: 0xfffffffe,
    hostMs: -5n,
    handedOverUs: 1700000000123456n,
    data: [9, 8, 7],
  }));
  assert.equal(unit.kind, 'video');
  assert.equal(unit.keyFrame, true);
  assert.equal(unit.sequence, 0xfffffffe);
  assert.equal(unit.hostMs, -5);
  assert.equal(unit.handedOverMs, 1700000000123.456);
  assert.deepEqual([...unit.data], [9, 8, 7]);
});

test('only the lowest flag means a key frame', () => {
  const of = (flags) =>
      parseBinaryMessage(videoMessage({flags, sequence: 0, hostMs: 0n, handedOverUs: 0n, data: []}))
          .keyFrame;
  assert.equal(of(0), false);
  assert.equal(of(0xfe), false);
  assert.equal(of(0xff), true);
});

test('a control message gives the body after four bytes', () => {
  const message = parseBinaryMessage(Uint8Array.of(2, 0, 0, 0, 0x7b, 0x7d).buffer);
  assert.equal(message.kind, 'control');
  assert.deepEqual([...message.body], [0x7b, 0x7d]);
});

test('messages that are cut short or unknown are none', () => {
  for (let length = 0; length < 24; length++) {
    const bytes = new Uint8Array(length);
    if (length > 0) bytes[0] = 1;
    assert.equal(parseBinaryMessage(bytes.buffer), null);
  }
  assert.equal(parseBinaryMessage(Uint8Array.of(2, 0, 0).buffer), null);
  assert.equal(parseBinaryMessage(Uint8Array.of(9, 0, 0, 0, 1).buffer), null);
});

test('events are objects with an event name', () => {
  assert.deepEqual(
      parseEvent('{"event":"screen","width":3,"height":4}'),
      {event: 'screen', width: 3, height: 4});
  for (const text of ['', '{', 'null', '1', '{"event":1}', '{"x":"event"}']) {
    assert.equal(parseEvent(text), null);
  }
});

test('a message for the host is its UTF-8 after the kind', () => {
  assert.deepEqual([...wrapControlMessage('é"')], [2, 0xc3, 0xa9, 0x22]);
});

test('the profile command is one flat object', () => {
  assert.equal(
      profileCommand({fps: 60, max: 8000, min: 0}),
      '{"command":"profile","fps":60,"max":8000,"min":0}');
});
