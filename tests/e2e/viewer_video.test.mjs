// The page's picture: colours, sizes, losses and errors, against a fake host.

import assert from 'node:assert/strict';
import test from 'node:test';

import {kBars, makeFilm} from './test_video.mjs';
import {kHeight, kWidth, openPage, stateOf, untilMorePictures, untilState, useBrowser,} from './viewer_harness.mjs';

const kTolerance = 6;
const shared = useBrowser();

async function assertBars(page, width, height) {
  for (const [i, bar] of kBars.entries()) {
    const x = Math.floor((i + 0.5) * width / kBars.length);
    const pixel =
        await page.evaluate(([px, py]) => window.viewerPixels(px, py), [x, Math.floor(height / 3)]);
    for (let channel = 0; channel < 3; channel++) {
      const off = Math.abs(pixel[channel] - bar[channel]);
      assert.ok(off <= kTolerance, `bar ${bar} is shown as ${pixel}`);
    }
  }
}

test('colours are the desktop’s own', async (t) => {
  const {page} = await openPage(t, shared);
  await assertBars(page, kWidth, kHeight);
});

// The page tries its ways of drawing in the first pictures and then takes the faster one.
const kPicturesUntilChosen = 20;

test('colours are the desktop’s own where converting frames is the faster way', async (t) => {
  const {page} = await openPage(t, shared, {
    prepare: (newPage) => newPage.addInitScript(() => {
      CanvasRenderingContext2D.prototype.drawImage = () => {
        const endMs = performance.now() + 50;
        while (performance.now() < endMs);
      };
    }),
  });
  await untilMorePictures(page, kPicturesUntilChosen);
  await assertBars(page, kWidth, kHeight);
});

test('colours are the desktop’s own where frames cannot be converted', async (t) => {
  const {page} = await openPage(t, shared, {
    prepare: (newPage) => newPage.addInitScript(() => {
      VideoFrame.prototype.copyTo = () => Promise.reject(new DOMException('no', 'NotSupportedError'));
    }),
  });
  await untilMorePictures(page, kPicturesUntilChosen);
  await assertBars(page, kWidth, kHeight);
});

test('what is seen on the screen is what is on the canvas', async (t) => {
  const {page} = await openPage(t, shared, {context: {viewport: {width: 640, height: 460}}});
  const shot = await page.locator('#picture').screenshot();
  const red = await page.evaluate(async (base64) => {
    const image = new Image();
    image.src = `data:image/png;base64,${base64}`;
    await image.decode();
    const canvas = new OffscreenCanvas(image.width, image.height);
    const context = canvas.getContext('2d');
    context.drawImage(image, 0, 0);
    return [...context.getImageData(image.width * 2.5 / 8, image.height / 3, 1, 1).data];
  }, shot.toString('base64'));
  assert.ok(red[0] > 240 && red[1] < 15 && red[2] < 15, `red is seen as ${red}`);
});

test('pictures keep coming and the page says how many and what they cost', async (t) => {
  const {page} = await openPage(t, shared);
  await untilState(page, ({framesDrawn, keyFrames}) => framesDrawn > 40 && keyFrames > 3);
  await untilState(page, ({fps, kbps, stages}) => fps > 0 && kbps > 0 && stages !== null);
  const state = await stateOf(page);
  assert.equal(state.width, kWidth);
  assert.equal(state.height, kHeight);
  assert.match(state.codec, /^avc1\.4d[0-9a-f]{4}$/);
  assert.equal(state.gaps, 0);
  assert.equal(state.decodeErrors, 0);
  assert.equal(state.notice, '');
  assert.ok(state.stages.decodeMs >= 0 && state.stages.drawMs >= 0, JSON.stringify(state.stages));
  assert.ok(Number.isFinite(state.stages.sendMs) && Number.isFinite(state.stages.ageMs));
  const status = await page.locator('#status').innerText();
  for (const words of ['Connected', '640×360', 'fps', 'bit/s', 'send', 'decode', 'draw', 'age']) {
    assert.ok(status.includes(words), `${words} in ${status}`);
  }
});

test('a frame’s times are in the order in which they happen', async (t) => {
  const {page} = await openPage(t, shared);
  await untilMorePictures(page, 10);
  const frames = await page.evaluate(() => window.viewerFrames(5));
  assert.equal(frames.length, 5);
  for (const frame of frames) {
    assert.ok(frame.receivedMs <= frame.decodedMs && frame.decodedMs <= frame.drawnMs);
  }
  assert.deepEqual(frames.map(({sequence}) => sequence - frames[0].sequence), [0, 1, 2, 3, 4]);
});

test('a pixel that changes is told with the frame that changed it', async (t) => {
  const {page} = await openPage(t, shared);
  const change = await page.evaluate(() => window.viewerPixelChange(20, 340));
  assert.notDeepEqual(change.before, change.after);
  assert.ok(change.frame.drawnMs > 0);
});

test('another size in the middle of the stream is shown at that size', async (t) => {
  const {page, host} = await openPage(t, shared);
  host.showFilm(makeFilm(320, 480));
  await untilState(page, ({width, height}) => width === 320 && height === 480);
  await untilMorePictures(page);
  await assertBars(page, 320, 480);
  assert.equal((await stateOf(page)).decodeErrors, 0);
});

test('a loss shows in no picture', async (t) => {
  const {page, host} = await openPage(t, shared);
  host.unitsToLose = 2;
  await untilState(page, ({gaps}) => gaps > 0);
  await untilMorePictures(page);
  const state = await stateOf(page);
  assert.equal(state.gaps, 2);
  assert.equal(state.decodeErrors, 0);
  await assertBars(page, kWidth, kHeight);
});

test('a loss in front of delta frames asks for a key frame with the page’s id', async (t) => {
  const {page, host} = await openPage(t, shared);
  const {conn} = await stateOf(page);
  const asked = host.saidOf('request_keyframe').length;
  // From a film without key frames nothing but the request gets out of it.
  const deltas = shared.film.filter(({keyFrame}) => !keyFrame);
  host.showFilm(deltas);
  host.unitsToLose = 1;
  await host.until(() => host.saidOf('request_keyframe').length > asked, 'asking for a key frame');
  assert.deepEqual(host.saidOf('request_keyframe').at(-1), {type: 'request_keyframe', conn});
  await untilState(
      page, ({waitingForKeyFrame, unitsLeftOut}) => waitingForKeyFrame && unitsLeftOut > 0);
  host.showFilm(shared.film);
  await untilMorePictures(page);
  await assertBars(page, kWidth, kHeight);
});

test('after a decoder error the page asks for a key frame and goes on', async (t) => {
  const {page, host} = await openPage(t, shared);
  const asked = host.saidOf('request_keyframe').length;
  host.showFilm(shared.film.filter(({keyFrame}) => !keyFrame));
  host.unitsToSpoil = 1;
  await untilState(page, ({decodeErrors}) => decodeErrors > 0);
  await host.until(() => host.saidOf('request_keyframe').length > asked, 'asking for a key frame');
  host.showFilm(shared.film);
  await untilMorePictures(page);
  await assertBars(page, kWidth, kHeight);
  assert.notEqual((await stateOf(page)).lastError, '');
  assert.equal((await stateOf(page)).notice, '');
});

test('a decoder that always fails is told in plain words, and can be tried again', async (t) => {
  const {page, host} = await openPage(t, shared);
  host.unitsToSpoil = Infinity;
  await untilState(page, ({notice}) => notice === 'The video cannot be decoded');
  await page.click('#notice button');
  await host.until(() => host.streams.length === 2, 'the second connection');
  host.unitsToSpoil = 0;
  await untilMorePictures(page);
  await untilState(page, ({notice}) => notice === '');
});

test('a decoder that falls behind is relieved and a key frame asked for', async (t) => {
  const {page, host} = await openPage(t, shared, {
    prepare: (newPage) => newPage.addInitScript(() => {
      const real = Object.getOwnPropertyDescriptor(VideoDecoder.prototype, 'decodeQueueSize').get;
      Object.defineProperty(VideoDecoder.prototype, 'decodeQueueSize', {
        get() {
          return window.pileUp ? 100 : real.call(this);
        },
      });
    }),
  });
  const asked = host.saidOf('request_keyframe').length;
  await page.evaluate(() => window.pileUp = true);
  await untilState(page, ({unitsLeftOut}) => unitsLeftOut > 0);
  await host.until(() => host.saidOf('request_keyframe').length > asked, 'asking for a key frame');
  await page.evaluate(() => window.pileUp = false);
  await untilMorePictures(page);
});

test(
    'a host that falls silent is told as such, and the next picture takes the words away',
    async (t) => {
      const {page, host} = await openPage(t, shared);
      host.playing = false;
      await untilState(page, ({notice}) => notice === 'The picture stands still');
      const asked = host.saidOf('request_keyframe').length;
      await page.click('#notice button');
      await host.until(
          () => host.saidOf('request_keyframe').length > asked, 'asking for a key frame');
      host.playing = true;
      await untilState(page, ({notice}) => notice === '');
    });
