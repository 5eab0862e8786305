// The real host's pointer becomes the page's: shapes of every kind, hot spots, hidden.

import assert from 'node:assert/strict';
import test from 'node:test';

import {openDesktop, startDesktop, useDesktop} from './control_harness.mjs';
import {until} from './stand.mjs';
import {placeOf, untilState} from './viewer_harness.mjs';

const kKinds = ['arrow', 'ibeam', 'cross', 'hand', 'hidden', 'colour', 'mono'];
const kSide = 150;
const middleOf = (kind) => [kKinds.indexOf(kind) * kSide + kSide / 2, kSide / 2];
const actors = kKinds.map(
    (kind,
     i) => ['cursor', `x=${i * kSide},y=0,w=${kSide},h=${kSide},cursor=${kind},colour=2060a0`]);

async function pointAt(page, kind) {
  const place = await placeOf(page, ...middleOf(kind));
  await page.mouse.move(place.x, place.y);
}

/** The pixels of the pointer that the page shows: {width, height, rgba}, or its CSS name. */
const shownCursor = (page) => page.evaluate(async () => {
  const {cursor} = document.getElementById('picture').style;
  const address = /url\("?(data:[^")]*)/.exec(cursor)?.[1];
  if (!address) return {name: cursor};
  const image = new Image();
  image.src = address;
  await image.decode();
  const canvas = new OffscreenCanvas(image.width, image.height);
  const context = canvas.getContext('2d');
  context.drawImage(image, 0, 0);
  const {data} = context.getImageData(0, 0, image.width, image.height);
  return {
    name: cursor.replace(/url\([^)]*\)/, 'url'),
    width: image.width,
    height: image.height,
    rgba: [...data]
  };
});

function pixelOf({width, rgba}, x, y) {
  const at = (y * width + x) * 4;
  return rgba.slice(at, at + 4);
}

const untilCursor = (page, wanted) => untilState(
    page,
    ({cursor}, fields) =>
        cursor !== null && Object.entries(fields).every(([name, value]) => cursor[name] === value),
    wanted);

/** shownCursor() once it has that hot spot: Wine may show an arrow for a moment in between. */
async function untilShown(page, hotX, hotY) {
  let shown;
  await until(async () => {
    shown = await shownCursor(page);
    return shown.name === `url ${hotX} ${hotY}, default`;
  }, () => `a pointer with hot spot ${hotX}, ${hotY}; it is ${shown.name}`);
  return shown;
}

const kUpper = [0xff, 0x40, 0x20, 255];
const kLower = [0x20, 0x40, 0xff, 255];

async function assertColourCursor(page) {
  await untilCursor(page, {visible: true, hotX: 5, hotY: 7});
  const shown = await untilShown(page, 5, 7);
  assert.deepEqual(pixelOf(shown, 3, 3), kUpper);
  assert.deepEqual(pixelOf(shown, 20, 20), kLower);
}

const shared = useDesktop({actors});

test('the pointer of each window becomes the page’s', async (t) => {
  const {page} = await openDesktop(t, shared);
  const seen = [];
  for (const kind of ['arrow', 'colour', 'ibeam', 'colour', 'cross', 'colour', 'hand', 'colour']) {
    await pointAt(page, kind);
    // Between two system shapes a known one, so that each is waited for.
    if (kind === 'colour') {
      await assertColourCursor(page);
      continue;
    }
    await untilState(
        page, ({cursor}) => cursor?.visible && !(cursor.hotX === 5 && cursor.hotY === 7));
    const shown = await shownCursor(page);
    assert.ok(shown.width > 0 && shown.rgba.some((value) => value > 0), kind);
    seen.push(JSON.stringify(shown));
  }
  assert.equal(new Set(seen).size, 4);
});

test('a monochrome pointer has its black, white and see-through quarters', async (t) => {
  const {page} = await openDesktop(t, shared);
  await pointAt(page, 'mono');
  await untilCursor(page, {visible: true, hotX: 9, hotY: 3});
  const shown = await untilShown(page, 9, 3);
  assert.deepEqual(pixelOf(shown, 4, 4), [0, 0, 0, 255]);
  assert.deepEqual(pixelOf(shown, 28, 4), [255, 255, 255, 255]);
  assert.equal(pixelOf(shown, 4, 28)[3], 0);
});

test('a pointer that a window hides is hidden here, and comes back', async (t) => {
  const {page} = await openDesktop(t, shared);
  await pointAt(page, 'colour');
  await assertColourCursor(page);
  await pointAt(page, 'hidden');
  await untilCursor(page, {visible: false});
  await until(async () => (await shownCursor(page)).name === 'none', 'no pointer');
  await pointAt(page, 'colour');
  await assertColourCursor(page);
});

for (const kind of ['color', 'monochrome', 'masked']) {
  test(`a pointer delivered as a ${kind} shape is shown`, async (t) => {
    const own =
        await startDesktop({actors, options: ['--env', `TALU_DESKTOP_CURSOR_KIND=${kind}`]});
    t.after(() => own.stand.stop());
    const {page} = await openDesktop(t, {...own, browser: shared.browser});
    await pointAt(page, 'colour');
    await untilCursor(page, {visible: true, hotX: 5, hotY: 7});
    const shown = await untilShown(page, 5, 7);
    if (kind === 'monochrome') {
      // Bright and dark alone, but as opaque as it was.
      assert.equal(pixelOf(shown, 3, 3)[3], 255);
      assert.ok(shown.rgba.every((value) => value === 0 || value === 255));
    } else {
      assert.deepEqual(pixelOf(shown, 3, 3), kUpper);
      assert.deepEqual(pixelOf(shown, 20, 20), kLower);
    }
  });
}
