import assert from 'node:assert/strict';
import test from 'node:test';

import {buttonChanges, pictureSize, toPicture} from './pointer_map.js';

const rect = (left, top, width, height) => ({left, top, width, height});
const at = (clientX, clientY) => ({clientX, clientY});

test('every pixel of an unscaled picture is hit in its middle', () => {
  for (const x of [0, 1, 639, 1279]) {
    assert.deepEqual(toPicture(at(10.5 + x, 20.5), rect(10, 20, 1280, 720), 1280, 720), {x, y: 0});
  }
});

test('every pixel is reached at any scale of half a pixel per pixel and more', () => {
  for (const scale of [0.5, 0.66, 0.9, 1, 1.25, 1.5, 2, 3.7]) {
    for (let x = 0; x < 1280; x++) {
      const middle = (x + 0.5) * scale;
      const hit =
          toPicture(at(middle + 7.3, 1), rect(7.3, 0, 1280 * scale, 720 * scale), 1280, 720);
      assert.equal(hit.x, x);
    }
  }
});

test('outside the picture the nearest pixel counts', () => {
  const r = rect(100, 100, 400, 300);
  assert.deepEqual(toPicture(at(-50, 50), r, 800, 600), {x: 0, y: 0});
  assert.deepEqual(toPicture(at(500, 400), r, 800, 600), {x: 799, y: 599});
  assert.deepEqual(toPicture(at(9999, 9999), r, 800, 600), {x: 799, y: 599});
});

test('without a picture the point is the corner', () => {
  assert.deepEqual(toPicture(at(5, 5), rect(0, 0, 0, 0), 0, 0), {x: 0, y: 0});
});

test('a fitted picture fills one direction and keeps its shape', () => {
  const stage = {width: 1000, height: 500};
  assert.deepEqual(
      pictureSize(stage, {width: 400, height: 100}, 'fit', 1), {width: 1000, height: 250});
  assert.deepEqual(
      pictureSize(stage, {width: 100, height: 100}, 'fit', 2), {width: 500, height: 500});
});

test('a picture that nearly fills the stage is shown sharp', () => {
  const picture = {width: 1280, height: 720};
  assert.deepEqual(pictureSize({width: 1300, height: 740}, picture, 'fit', 1), picture);
  assert.deepEqual(
      pictureSize({width: 650, height: 370}, picture, 'fit', 2), {width: 640, height: 360});
  assert.deepEqual(
      pictureSize({width: 1920, height: 1080}, picture, 'fit', 1), {width: 1920, height: 1080});
});

test('at its own size one pixel is one pixel of the display', () => {
  assert.deepEqual(
      pictureSize({width: 10, height: 10}, {width: 1280, height: 720}, 'actual', 2),
      {width: 640, height: 360});
});

test('buttons go down and up one by one, all five of them', () => {
  assert.deepEqual(buttonChanges(0, 31), [
    {button: 'left', down: true},
    {button: 'right', down: true},
    {button: 'middle', down: true},
    {button: 'x1', down: true},
    {button: 'x2', down: true},
  ]);
  assert.deepEqual(
      buttonChanges(1, 2), [{button: 'left', down: false}, {button: 'right', down: true}]);
  assert.deepEqual(buttonChanges(5, 5), []);
});
