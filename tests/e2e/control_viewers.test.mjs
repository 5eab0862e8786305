// Viewers that come, go, and take over from each other, on the real host.

import assert from 'node:assert/strict';
import test from 'node:test';
import {setTimeout as sleep} from 'node:timers/promises';

import {BareViewer, clickPixel, openDesktop, untilLine, untilLines, useDesktop,} from './control_harness.mjs';
import {until} from './stand.mjs';
import {stateOf, untilMorePictures, untilState} from './viewer_harness.mjs';

const shared = useDesktop({
  actors: [
    ['moving', 'x=0,y=0,w=400,h=300'],
    ['target', 'x=500,y=100,w=400,h=400,colour=204060,file=FILE/target.txt'],
  ],
});

const kPaused = '[agent] viewer bye -> pause encoding';

/** Subscribes as the connection conn and waits for pictures. */
async function subscribe(t, stand, conn) {
  const viewer = await BareViewer.open(t, stand);
  viewer.send({type: 'request_keyframe', conn});
  await until(() => viewer.units.length > 3, 'pictures');
  return viewer;
}

/** Waits until what was on its way when the host paused has come. */
async function untilQuiet({units}) {
  let before = -1;
  await until(async () => {
    if (units.length === before) return true;
    before = units.length;
    await sleep(1000);
    return false;
  }, 'end of the pictures');
}

for (const [what, message, line] of [
         ['input', {type: 'mousemove', x: 5, y: 5}, '[agent] input received -> resume encoding'],
         [
           'a request for a key frame',
           {type: 'request_keyframe', conn: 'again'},
           '[agent] request_keyframe(conn=again) -> force I frame',
         ],
]) {
  test(`bye stops the pictures, and ${what} brings them back, a key frame first`, async (t) => {
    const {stand} = shared;
    const viewer = await subscribe(t, stand, 'first');
    const log = await stand.logFromHere();
    viewer.send({type: 'bye', conn: 'first'});
    await untilLine(log, kPaused);
    await untilQuiet(viewer);
    const last = viewer.units.at(-1).sequence;
    const count = viewer.units.length;
    viewer.send(message);
    await untilLine(log, line);
    await until(() => viewer.units.length > count + 3, 'pictures');
    const next = viewer.units[count];
    // The numbers count what the host sends: nothing came in between.
    assert.deepEqual(next, {sequence: last + 1, keyFrame: true});
  });
}

test('bye lets go of a held button', async (t) => {
  const {stand} = shared;
  const viewer = await subscribe(t, stand, 'holder');
  const notes = await stand.linesFromHere('target.txt');
  viewer.send({type: 'mousedown', x: 600, y: 200, button: 'left'});
  await untilLine(notes, 'down left 600 200');
  viewer.send({type: 'bye', conn: 'holder'});
  await untilLine(notes, 'up left 600 200');
});

test('a page whose pictures stop says so, and goes on when the mouse moves', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  const controller = await BareViewer.open(t, stand, {control: true});
  controller.send({type: 'bye'});
  await untilState(page, ({notice}) => notice === 'The picture stands still');
  await clickPixel(page, 700, 300);
  await untilMorePictures(page);
  await untilState(page, ({notice, decodeErrors}) => notice === '' && decodeErrors === 0);
});

test('a page that is closed says bye for its connection', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  const {conn} = await stateOf(page);
  const log = await stand.logFromHere();
  await page.goto('about:blank');
  const lines = await untilLine(log, kPaused);
  assert.ok(!lines.some((line) => line.includes('stale')), lines.join('\n'));
  assert.ok((await stand.logText()).includes(`request_keyframe(conn=${conn})`));
});

test('the next page gets pictures at once', async (t) => {
  const first = await openDesktop(t, shared);
  await first.page.goto('about:blank');
  const second = await openDesktop(t, shared);
  await untilMorePictures(second.page);
});

test('a second page takes over, and the first one’s late bye is stale', async (t) => {
  const first = await openDesktop(t, shared);
  const second = await openDesktop(t, shared);
  await untilState(first.page, ({connection}) => connection === 'replaced');
  assert.equal((await stateOf(first.page)).notice, 'Another viewer has taken over');
  const old = (await stateOf(first.page)).conn;
  const current = (await stateOf(second.page)).conn;
  const log = await shared.stand.logFromHere();
  await first.page.goto('about:blank');
  const lines = await untilLine(log, `[agent] stale bye (conn=${old}, current=${current}) ignored`);
  assert.ok(!lines.includes(kPaused), lines.join('\n'));
  await untilMorePictures(second.page, 10);
  // The second one works, and says its own bye.
  const notes = await shared.stand.linesFromHere('target.txt');
  await clickPixel(second.page, 700, 300);
  await untilLines(notes, (all) => all.length >= 2, 'click');
});

test('a page that was replaced takes the desktop back', async (t) => {
  const first = await openDesktop(t, shared);
  const second = await openDesktop(t, shared);
  await untilState(first.page, ({connection}) => connection === 'replaced');
  await first.page.click('#notice button');
  await untilMorePictures(first.page);
  await untilState(second.page, ({connection}) => connection === 'replaced');
});
