import assert from 'node:assert/strict';
import test from 'node:test';

import {forHost, forPage} from './clipboard_text.js';

test('lines end as Windows wants them, once', () => {
  assert.equal(forHost('a\nb\r\nc\rd'), 'a\r\nb\r\nc\rd');
});

test('lines end as the page wants them', () => {
  assert.equal(forPage('a\r\nb\nc\rd'), 'a\nb\nc\rd');
});

test('text that came from the host is the same when it goes back', () => {
  assert.equal(forHost(forPage('中文\r\n😀\r\n')), '中文\r\n😀\r\n');
});
