// The desktop's picture, from the real host on a stand to the page's canvas.

import assert from 'node:assert/strict';
import test, {after, before} from 'node:test';

import {startBrowser} from './browser.mjs';
import {until} from './stand.mjs';
import {openViewer, startStand, untilColour} from './stream_harness.mjs';
import {stateOf, untilMorePictures, untilState} from './viewer_harness.mjs';

const kColours = {
  ff0000: [255, 0, 0],
  '00ff00': [0, 255, 0],
  '0000ff': [0, 0, 255],
  ffffff: [255, 255, 255],
  '000000': [0, 0, 0],
  808080: [128, 128, 128],
  cc6633: [204, 102, 51],
  102040: [16, 32, 64],
};
const kPatchSize = 90;

let browser;
before(async () => browser = await startBrowser());
after(() => browser?.close());

/** One patch per colour in a row, as options of the stand, the first at left, top. */
function patches(left, top) {
  return Object.keys(kColours).flatMap((colour, i) => [
    '--solid',
    `x=${left + i * kPatchSize},y=${top},w=${kPatchSize},h=${kPatchSize},colour=${colour}`,
  ]);
}

/** Where they are in the picture of a monitor whose corner is 0, 0. */
async function untilPatches(page, left, top) {
  for (const [i, colour] of Object.values(kColours).entries()) {
    await untilColour(page, left + i * kPatchSize + kPatchSize / 2, top + kPatchSize / 2, colour);
  }
}

const kMoving = ['--moving', 'x=200,y=300,w=400,h=300'];

test('a window of known colours appears in the canvas', async (t) => {
  const stand = await startStand(t, patches(40, 60));
  const page = await openViewer(t, browser, stand);
  await untilPatches(page, 40, 60);
  const {width, height, decodeErrors, gaps} = await stateOf(page);
  assert.deepEqual({width, height, decodeErrors, gaps}, {
    width: 1280,
    height: 720,
    decodeErrors: 0,
    gaps: 0,
  });
});

test('a moving window keeps arriving', async (t) => {
  const stand = await startStand(t, kMoving);
  const page = await openViewer(t, browser, stand);
  await untilState(page, ({framesDrawn}) => framesDrawn >= 150);
  const seen = new Set();
  await until(async () => {
    seen.add(String(await page.evaluate(() => window.viewerPixels(200, 400, 400, 1))));
    return seen.size >= 10;
  }, 'ten different pictures');
});

test('a mode change mid-stream goes on at the new size', async (t) => {
  const stand = await startStand(t, [...patches(40, 60), ...kMoving]);
  const page = await openViewer(t, browser, stand);
  for (const [width, height] of [[1600, 900], [1024, 768], [1280, 720]]) {
    await stand.setMonitors(`${width}x${height},1024x768`);
    await untilState(
        page, (state, size) => state.width === size[0] && state.height === size[1],
        [width, height]);
    await untilPatches(page, 40, 60);
    await untilMorePictures(page, 30);
  }
  assert.equal((await stateOf(page)).decodeErrors, 0);
});

test('of a monitor with an odd size the last column and row are left out', async (t) => {
  const stand = await startStand(t, ['--monitors', '1281x721', ...patches(40, 60)]);
  const page = await openViewer(t, browser, stand);
  await untilPatches(page, 40, 60);
  const {width, height} = await stateOf(page);
  assert.deepEqual([width, height], [1280, 720]);
});

test('who leaves and comes back sees the desktop again', async (t) => {
  const stand = await startStand(t, [...patches(40, 60), ...kMoving]);
  for (let visit = 1; visit <= 3; visit++) {
    const page = await openViewer(t, browser, stand, {query: '&fps=30'});
    await untilPatches(page, 40, 60);
    await untilMorePictures(page, 10);
    assert.equal((await stateOf(page)).decodeErrors, 0);
    await page.close();
    await until(
        async () => (await stand.logText()).split('[agent] StreamLoop exit:').length > visit,
        `the end of stream ${visit}`);
  }
});

test('a viewer that comes late to a desktop where nothing moves sees it', async (t) => {
  const stand = await startStand(t, patches(40, 60));
  await stand.untilLog('等待操控端订阅');
  const page = await openViewer(t, browser, stand);
  await untilPatches(page, 40, 60);
});

test('who comes back to an empty desktop sees it again', async (t) => {
  const stand = await startStand(t, ['--no-stage']);
  for (let visit = 1; visit <= 2; visit++) {
    const page = await openViewer(t, browser, stand);
    await untilMorePictures(page, 2);
    await page.close();
    await until(
        async () => (await stand.logText()).split('[agent] StreamLoop exit:').length > visit,
        `the end of stream ${visit}`);
  }
});
