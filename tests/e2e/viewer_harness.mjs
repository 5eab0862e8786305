// What the tests of the page share: one browser, and for each test a fake host and a page at it.

import assert from 'node:assert/strict';
import {after, before} from 'node:test';

import {startBrowser} from './browser.mjs';
import {FakeHost} from './fake_host.mjs';
import {makeFilm} from './test_video.mjs';

// Generous: a loaded machine is slow, a broken page is broken for ever.
export const kPatienceMs = 60000;

export const kWidth = 640;
export const kHeight = 360;

/** Call once in a test file: gives {film, browser} while its tests run. */
export function useBrowser() {
  const shared = {};
  before(async () => {
    shared.film = makeFilm(kWidth, kHeight);
    shared.browser = await startBrowser();
  });
  after(() => shared.browser?.close());
  return shared;
}

/**
 * A page at a fake host of its own, gone when the test t ends. Every error of the page fails the
 * test. query is added to the address; prepare(page, host) runs before the page is opened.
 */
export async function openPage(
    t, shared, {query = '', context = {}, prepare = async () => {}, showing = true} = {}) {
  const host = await FakeHost.start({film: shared.film});
  t.after(() => host.stop());
  const browserContext = await shared.browser.newContext({
    viewport: {width: 900, height: 600},
    ...context,
  });
  t.after(() => browserContext.close());
  const page = await browserContext.newPage();
  page.setDefaultTimeout(kPatienceMs);
  const errors = [];
  page.on('pageerror', (error) => errors.push(error));
  t.after(() => assert.deepEqual(errors, []));
  await prepare(page, host);
  await page.goto(host.url + query);
  if (showing) await untilState(page, ({framesDrawn}) => framesDrawn > 0);
  return {host, page, context: browserContext};
}

/** Waits until check(window.viewerState, argument) holds in the page. */
export async function untilState(page, check, argument) {
  await page.waitForFunction(
      ([source, value]) =>
          window.viewerState && (0, eval)(`(${source})`)(window.viewerState, value),
      [check.toString(), argument], {timeout: kPatienceMs, polling: 50});
}

export function stateOf(page) {
  return page.evaluate(() => ({...window.viewerState}));
}

/** Waits for pictures that are drawn from now on. */
export async function untilMorePictures(page, count = 3) {
  const {framesDrawn} = await stateOf(page);
  await untilState(page, (state, wanted) => state.framesDrawn >= wanted, framesDrawn + count);
}

/** The middle of a pixel of the picture, in the page's coordinates. */
export function placeOf(page, x, y) {
  return page.evaluate(([px, py]) => {
    const canvas = document.getElementById('picture');
    const rect = canvas.getBoundingClientRect();
    return {
      x: rect.left + (px + 0.5) * rect.width / canvas.width,
      y: rect.top + (py + 0.5) * rect.height / canvas.height,
    };
  }, [x, y]);
}

/** Gives the desktop the keyboard by clicking on the picture, and forgets what was said so far. */
export async function takeKeyboard(page, host) {
  const place = await placeOf(page, 5, 5);
  await page.mouse.click(place.x, place.y);
  await host.until(() => host.saidOf('mouseup').length > 0, 'the click');
  host.messages.length = 0;
}
