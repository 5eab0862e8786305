import assert from 'node:assert/strict';
import test from 'node:test';

import {pageUrlWithProfile, profileOf, streamUrl} from './stream_address.js';

const kPage = 'http://127.0.0.1:8123/?token=abc&fps=60&max=8000';

test('the wanted rates come from the address; what is missing or no number is 0', () => {
  assert.deepEqual(profileOf(kPage), {fps: 60, max: 8000, min: 0});
  assert.deepEqual(profileOf('http://h/?fps=-3&max=1e3&min='), {fps: 0, max: 0, min: 0});
  assert.deepEqual(profileOf('http://h/?fps=99999'), {fps: 240, max: 0, min: 0});
});

test('the stream has the token and only the rates that are given', () => {
  assert.equal(
      streamUrl(kPage, {fps: 60, max: 0, min: 500}),
      'ws://127.0.0.1:8123/stream?token=abc&fps=60&min=500');
  assert.equal(streamUrl('https://h/?token=t', {fps: 0, max: 0, min: 0}), 'wss://h/stream?token=t');
});

test('the page address keeps its token and takes the new rates', () => {
  assert.equal(
      pageUrlWithProfile(kPage, {fps: 30, max: 0, min: 0}),
      'http://127.0.0.1:8123/?token=abc&fps=30');
});
