// What the tests of the real host's stream share: a stand per test, and a page at it.

import assert from 'node:assert/strict';

import {Stand, until} from './stand.mjs';
import {kPatienceMs, untilState} from './viewer_harness.mjs';

/** A stand with options of devkit/run, gone when the test t ends. */
export async function startStand(t, options) {
  const stand = await Stand.start({options});
  t.after(() => stand.stop());
  return stand;
}

/**
 * A viewer's page, gone when the test t ends; its errors fail the test. Waits for the first picture.
 * query is added to the address.
 */
export async function openViewer(t, browser, stand, {query = ''} = {}) {
  const context = await browser.newContext({viewport: {width: 1400, height: 900}});
  t.after(() => context.close());
  const page = await context.newPage();
  page.setDefaultTimeout(kPatienceMs);
  const errors = [];
  page.on('pageerror', (error) => errors.push(error));
  t.after(() => assert.deepEqual(errors, []));
  try {
    await page.goto(stand.viewer + query);
    await untilState(page, ({framesDrawn}) => framesDrawn > 0);
  } catch (error) {
    error.message += `\nThe host's log:\n${await stand.logText()}`;
    throw error;
  }
  return page;
}

/** Waits until the picture's pixel at x, y is the colour [red, green, blue], give or take. */
export async function untilColour(page, x, y, colour, tolerance = 6) {
  let pixel = [];
  await until(async () => {
    pixel = await page.evaluate(([px, py]) => window.viewerPixels(px, py), [x, y]);
    return colour.every((value, i) => Math.abs(value - pixel[i]) <= tolerance);
  }, () => `${colour} at ${x}, ${y}; it is ${pixel}`);
}
