import assert from 'node:assert/strict';
import test from 'node:test';

import {parseHostMessage, rgbaOf, shortScreenName} from './host_messages.js';

const text = (value) => new TextEncoder().encode(value);

function cursorMessage({visible = 1, width, height, hotX = 0, hotY = 0, pixels}) {
  const body = new Uint8Array(18 + pixels.length);
  const view = new DataView(body.buffer);
  body[0] = 0xc0;
  body[1] = visible;
  view.setInt32(2, width, true);
  view.setInt32(6, height, true);
  view.setInt32(10, hotX, true);
  view.setInt32(14, hotY, true);
  body.set(pixels, 18);
  return body;
}

test('a cursor gives its shape, hot spot and visibility', () => {
  const cursor = parseHostMessage(
      cursorMessage({width: 2, height: 1, hotX: 1, hotY: -1, pixels: [1, 2, 3, 4, 5, 6, 7, 8]}));
  assert.equal(cursor.type, 'cursor');
  assert.equal(cursor.visible, true);
  assert.deepEqual([cursor.width, cursor.height, cursor.hotX, cursor.hotY], [2, 1, 1, -1]);
  assert.deepEqual([...cursor.bgra], [1, 2, 3, 4, 5, 6, 7, 8]);
});

test('a cursor inside a larger buffer is read from where it begins', () => {
  const whole =
      new Uint8Array([9, 9, ...cursorMessage({width: 1, height: 1, pixels: [1, 2, 3, 4]})]);
  assert.equal(parseHostMessage(whole.subarray(2)).width, 1);
});

test('a hidden cursor without pixels is a cursor', () => {
  const cursor = parseHostMessage(cursorMessage({visible: 0, width: 0, height: 0, pixels: []}));
  assert.equal(cursor.visible, false);
});

test('a cursor that is cut short or has an impossible size is nothing', () => {
  const whole = cursorMessage({width: 2, height: 2, pixels: new Array(16).fill(0)});
  for (let length = 0; length < whole.length; length++) {
    assert.equal(parseHostMessage(whole.subarray(0, length)), null);
  }
  assert.equal(parseHostMessage(cursorMessage({width: -1, height: 2, pixels: []})), null);
  assert.equal(parseHostMessage(cursorMessage({width: 5000, height: 0, pixels: []})), null);
});

test('blue and red change places, alpha stays', () => {
  assert.deepEqual([...rgbaOf(Uint8Array.of(1, 2, 3, 4, 5, 6, 7, 8))], [3, 2, 1, 4, 7, 6, 5, 8]);
});

test('the screens message lists monitors, gaps in the indices included', () => {
  const message = parseHostMessage(text(
      '{"type":"screens","current":2,"screens":[' +
      '{"index":0,"name":"\\\\\\\\.\\\\DISPLAY1","width":1280,"height":720,"primary":true},' +
      '{"index":2,"name":"\\\\\\\\.\\\\DISPLAY3","width":1024,"height":768,"primary":false}]}'));
  assert.equal(message.current, 2);
  assert.deepEqual(message.screens.map((screen) => screen.index), [0, 2]);
  assert.equal(message.screens[1].name, '\\\\.\\DISPLAY3');
  assert.equal(message.screens[0].primary, true);
});

test('clipboard text arrives whole', () => {
  assert.deepEqual(
      parseHostMessage(text('{"type":"clipboard","text":"a\\r\\n中文😀"}')),
      {type: 'clipboard', text: 'a\r\n中文😀'});
});

test('anything else from the host is nothing', () => {
  for (const body
           of ['', '{', '[]', '{"type":"clipboard"}', '{"type":"screens"}', '{"type":"x"}']) {
    assert.equal(parseHostMessage(text(body)), null);
  }
});

test('display names lose what only Windows needs', () => {
  assert.equal(shortScreenName('\\\\.\\DISPLAY2'), 'DISPLAY2');
  assert.equal(shortScreenName('HDMI-1'), 'HDMI-1');
});
