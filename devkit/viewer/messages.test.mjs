import assert from 'node:assert/strict';
import test from 'node:test';

import * as messages from './messages.js';

// The host's two readers, to see the messages as it sees them.
function afterColon(body, name) {
  const at = body.indexOf(`"${name}"`);
  const colon = at < 0 ? -1 : body.indexOf(':', at + name.length + 2);
  return colon < 0 ? null : colon + 1;
}
function rawString(body, name) {
  const from = afterColon(body, name);
  const open = from === null ? -1 : body.indexOf('"', from);
  const close = open < 0 ? -1 : body.indexOf('"', open + 1);
  return close < 0 ? null : body.slice(open + 1, close);
}
function rawInt(body, name) {
  const match = /^[ \t]*(-?\d+)/.exec(body.slice(afterColon(body, name)));
  return match ? Number(match[1]) : null;
}
function decodedString(body, name) {
  const from = afterColon(body, name);
  return JSON.parse(/"(?:[^"\\]|\\.)*"/s.exec(body.slice(from))[0]);
}

test('every message is compact and begins with its type', () => {
  const all = [
    messages.listScreens(),
    messages.switchScreen(1),
    messages.requestKeyFrame('c1'),
    messages.bye('c1'),
    messages.reset(),
    messages.mouseMove({x: 1, y: 2}),
    messages.mouseButton(true, {x: 1, y: 2}, 'x1'),
    messages.mouseButton(false, {x: 1, y: 2}, 'left'),
    messages.mouseWheel({x: 1, y: 2}, -3),
    messages.clipboard('a'),
    messages.keyEvent(true, {hid: 458756, code: 'KeyA', key: 'a'}),
    ...messages.textEvents('abc'),
  ];
  assert.deepEqual(all, [
    '{"type":"list_screens"}',
    '{"type":"switch_screen","index":1}',
    '{"type":"request_keyframe","conn":"c1"}',
    '{"type":"bye","conn":"c1"}',
    '{"type":"reset"}',
    '{"type":"mousemove","x":1,"y":2}',
    '{"type":"mousedown","x":1,"y":2,"button":"x1"}',
    '{"type":"mouseup","x":1,"y":2,"button":"left"}',
    '{"type":"mousewheel","x":1,"y":2,"deltaY":-3}',
    '{"type":"clipboard","text":"a"}',
    '{"type":"keydown","hid":458756,"code":"KeyA","key":"a"}',
    '{"type":"text","text":"abc"}',
  ]);
});

test('a side button is not taken for the coordinate of the same letter', () => {
  const body = messages.mouseButton(true, {x: 7, y: 8}, 'x1');
  assert.equal(rawInt(body, 'x'), 7);
  assert.equal(rawInt(body, 'y'), 8);
  assert.equal(rawString(body, 'button'), 'x1');
});

test('the host reads hid, code and key of every printable key, whatever the key says', () => {
  for (let unit = 0x20; unit < 0x7f; unit++) {
    const key = String.fromCharCode(unit);
    const body = messages.keyEvent(true, {hid: 458799, code: 'IntlBackslash', key});
    assert.equal(rawInt(body, 'hid'), 458799);
    assert.equal(rawString(body, 'code'), 'IntlBackslash');
    // A backslash arrives doubled; only its first byte counts.
    assert.equal(rawString(body, 'key')[0], key === '"' ? undefined : key);
  }
});

test('a typed quote never arrives as a backslash key', () => {
  const body = messages.keyEvent(true, {hid: 0, code: '', key: '"'});
  assert.equal(rawString(body, 'key'), '');
});

test('the host finds typed text although the type has the same name', () => {
  for (const text of ['abc', '"', '\\', '"type":"bye"', 'a\r\nb\t', '中文 😀', '\u0000\u001f']) {
    const [body] = messages.textEvents(text);
    assert.ok(body.startsWith('{"type":"text","text":"'));
    assert.equal(decodedString(body, 'text'), text);
    assert.ok(!body.includes('"type":"bye"'));
  }
});

test('long text is cut between characters and nothing is lost', () => {
  for (const text
           of ['a'.repeat(10000),
               'a' +
                   '😀'.repeat(5000)]) {
    const parts = messages.textEvents(text).map((body) => JSON.parse(body).text);
    assert.ok(parts.length > 1);
    assert.equal(parts.join(''), text);
    for (const part of parts) assert.ok(part.isWellFormed?.() ?? true);
  }
});

test('no text makes no message', () => {
  assert.deepEqual(messages.textEvents(''), []);
});

test('clipboard text with quotes cannot look like another type', () => {
  const body = messages.clipboard('"type":"bye"');
  assert.ok(!body.includes('"type":"bye"'));
  assert.equal(decodedString(body, 'text'), '"type":"bye"');
});
