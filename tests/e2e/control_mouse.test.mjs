// The mouse from the page to the windows of both monitors, on the real host.

import assert from 'node:assert/strict';
import test from 'node:test';

import {clickPixel, kPrimary, kSecond, openDesktop, untilLines, useDesktop,} from './control_harness.mjs';
import {placeOf} from './viewer_harness.mjs';

const kScreens = [{...kPrimary, notes: 'primary.txt'}, {...kSecond, notes: 'second.txt'}];

const shared = useDesktop({
  actors: [
    ['target', 'x=0,y=0,w=1280,h=720,colour=204060,file=FILE/primary.txt'],
    ['target', 'x=-1024,y=0,w=1024,h=768,colour=602040,file=FILE/second.txt'],
  ],
});

/** Clicks and gives what the window under the pointer noted of it. */
async function clickAndRead({page, stand}, screen, x, y) {
  const notes = await stand.linesFromHere(screen.notes);
  await clickPixel(page, x, y);
  return untilLines(notes, (lines) => lines.length >= 2, `click at ${x},${y}`);
}

function pixelsOf({width, height}) {
  return [[0, 0], [width - 1, 0], [0, height - 1], [width - 1, height - 1], [321, 179]];
}

for (const [what, context, mode] of [
         ['at its own size', {viewport: {width: 1400, height: 900}}, 'fit'],
         ['made smaller', {viewport: {width: 800, height: 400}}, 'fit'],
         ['enlarged', {viewport: {width: 1900, height: 1200}}, 'fit'],
         [
           'on a dense display', {viewport: {width: 900, height: 600}, deviceScaleFactor: 1.5},
           'fit'
         ],
         ['larger than the page, scrolled', {viewport: {width: 700, height: 500}}, 'actual'],
]) {
  for (const screen of kScreens) {
    test(`a click hits the pixel aimed at on monitor ${screen.index}, ${what}`, async (t) => {
      const desktop = await openDesktop(t, shared, {screen, context});
      if (mode === 'actual') await desktop.page.click('#mode-button');
      for (const [x, y] of pixelsOf(screen)) {
        // In the middle of what is seen, where the picture is larger than that.
        await desktop.page.evaluate(([px, py]) => {
          const stage = document.getElementById('stage');
          stage.scrollTo(px - stage.clientWidth / 2, py - stage.clientHeight / 2);
        }, [x, y]);
        const place = `${x + screen.left} ${y}`;
        assert.deepEqual(
            await clickAndRead(desktop, screen, x, y), [`down left ${place}`, `up left ${place}`]);
      }
    });
  }
}

// Windows takes 65536ths of the desktop, which the host rounds down: near its left and upper edge
// that can be the pixel before.
test('a click near the desktop’s corner is off by a pixel at the most', async (t) => {
  const screen = kScreens[1];
  const desktop =
      await openDesktop(t, shared, {screen, context: {viewport: {width: 1400, height: 900}}});
  for (const [x, y] of [[1, 1], [2, 5], [37, 4], [70, 2]]) {
    const [down] = await clickAndRead(desktop, screen, x, y);
    const [, hitX, hitY] = /^down left (-?\d+) (-?\d+)$/.exec(down).map(Number);
    assert.ok(
        Math.abs(hitX - (x + screen.left)) <= 1 && Math.abs(hitY - y) <= 1,
        `${down} instead of ${x + screen.left} ${y}`);
  }
});

test('the picture shows what the click has done', async (t) => {
  const {page} = await openDesktop(t, shared);
  const change = page.evaluate(() => window.viewerPixelChange(640, 100, 60000));
  await clickPixel(page, 640, 100);
  const {before, after} = await change;
  for (let channel = 0; channel < 3; channel++) {
    assert.ok(Math.abs(before[channel] + after[channel] - 255) < 24, `from ${before} to ${after}`);
  }
});

for (const screen of kScreens) {
  test(`all five buttons go down and up on monitor ${screen.index}`, async (t) => {
    const {page, stand, context} = await openDesktop(t, shared, {screen});
    const notes = await stand.linesFromHere(screen.notes);
    for (const button of ['left', 'right', 'middle']) await clickPixel(page, 200, 500, {button});
    const session = await context.newCDPSession(page);
    const place = await placeOf(page, 200, 500);
    for (const [button, buttons] of [['back', 8], ['forward', 16]]) {
      for (const [type, held] of [['mousePressed', buttons], ['mouseReleased', 0]]) {
        await session.send(
            'Input.dispatchMouseEvent', {type, ...place, button, buttons: held, clickCount: 1});
      }
    }
    const at = `${200 + screen.left} 500`;
    assert.deepEqual(await untilLines(notes, (lines) => lines.length >= 10, 'five clicks'), [
      'left', 'right', 'middle', 'x1', 'x2'
    ].flatMap((button) => [`down ${button} ${at}`, `up ${button} ${at}`]));
  });
}

test('the wheel turns in both directions at the pointer’s place', async (t) => {
  const {page, stand} = await openDesktop(t, shared, {screen: kScreens[1]});
  const place = await placeOf(page, 300, 400);
  await page.mouse.move(place.x, place.y);
  for (const [turn, noted] of [[120, -120], [-120, 120]]) {
    const notes = await stand.linesFromHere('second.txt');
    await page.mouse.wheel(0, turn);
    const [line] = await untilLines(notes, (lines) => lines.length >= 1, 'notch');
    const [, delta, x, y] = /^wheel (-?\d+) (-?\d+) (\d+)$/.exec(line).map(Number);
    assert.equal(delta, noted);
    // The browser tells whole pixels of the page for a wheel.
    assert.ok(Math.abs(x + 724) <= 1 && Math.abs(y - 400) <= 1, line);
  }
});

test('a drag goes down where it begins and up where it ends', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  const notes = await stand.linesFromHere('primary.txt');
  const from = await placeOf(page, 100, 600);
  const to = await placeOf(page, 500, 650);
  await page.mouse.move(from.x, from.y);
  await page.mouse.down();
  await page.mouse.move(to.x, to.y, {steps: 8});
  await page.mouse.up();
  assert.deepEqual(
      await untilLines(notes, (lines) => lines.length >= 2, 'drag'),
      ['down left 100 600', 'up left 500 650']);
});
