// Choosing, losing and rearranging monitors while the real host streams.

import assert from 'node:assert/strict';
import test from 'node:test';

import {BareViewer, clickPixel, kBoth, kPrimary, kSecond, openDesktop, showScreen, untilColours, untilLine, untilLines, useDesktop,} from './control_harness.mjs';
import {until} from './stand.mjs';
import {stateOf, untilMorePictures, untilState} from './viewer_harness.mjs';

const kSide = 64;
// Colours of the corners from the upper left, line by line, and of what lies between them.
const kCorners = {
  [kPrimary.index]: ['#e04020', '#20c040', '#2040e0', '#e0c020'],
  [kSecond.index]: ['#20c0c0', '#c020c0', '#808080', '#f0f0f0'],
};
const kMiddle = {
  [kPrimary.index]: '#204060',
  [kSecond.index]: '#602040',
};

function cornersOf({width, height}) {
  return [[0, 0], [width - kSide, 0], [0, height - kSide], [width - kSide, height - kSide]];
}

function actorsOf(screen) {
  const {index, left, width, height} = screen;
  return [
    [
      'target',
      `x=${left + kSide},y=${kSide},w=${width - 2 * kSide},h=${height - 2 * kSide},colour=${
          kMiddle[index].slice(1)},file=FILE/${index}.txt`
    ],
    ...cornersOf(screen).map(
        ([x, y], i) =>
            ['solid',
             `x=${x + left},y=${y},w=${kSide},h=${kSide},colour=${kCorners[index][i].slice(1)}`]),
  ];
}

const shared = useDesktop({
  actors: [
    ...actorsOf(kPrimary),
    ...actorsOf(kSecond),
  ],
});

const untilPictureOf = (page, screen) => untilColours(
    page,
    cornersOf(screen).map(
        ([x, y], i) => [x + kSide / 2, y + kSide / 2, kCorners[screen.index][i]]));

/** Puts the monitors back when the test t ends. */
const restoreMonitors = (t) => t.after(() => shared.stand.setMonitors(kBoth));

async function assertClickHits({page, stand}, file, x, y, left) {
  const notes = await stand.linesFromHere(file);
  await clickPixel(page, x, y);
  const lines = await untilLines(notes, (all) => all.length >= 2, `click at ${x},${y}`);
  assert.deepEqual(lines, [`down left ${x + left} ${y}`, `up left ${x + left} ${y}`]);
}

test('the page shows the other monitor and comes back', async (t) => {
  const desktop = await openDesktop(t, shared);
  const {page, stand} = desktop;
  await untilPictureOf(page, kPrimary);
  const log = await stand.logFromHere();
  await showScreen(page, kSecond);
  await untilPictureOf(page, kSecond);
  await assertClickHits(desktop, '1.txt', 500, 300, -1024);
  await showScreen(page, kPrimary);
  await untilPictureOf(page, kPrimary);
  await assertClickHits(desktop, '0.txt', 500, 300, 0);
  const lines = await untilLine(log, '[agent] 已切换到屏幕 0 (1280x720 @ 0,0)');
  const told = lines.filter((line) => /H264 encoder ready|已切换到屏幕/.test(line));
  assert.equal(told.length, 4, told.join('\n'));
  assert.match(told[0], /encoder ready: .* 1024x768@/);
  assert.equal(told[1], '[agent] 已切换到屏幕 1 (1024x768 @ -1024,0)');
  assert.match(told[2], /encoder ready: .* 1280x720@/);
  const {decodeErrors, gaps, screens} = await stateOf(page);
  assert.deepEqual({decodeErrors, gaps}, {decodeErrors: 0, gaps: 0});
  assert.deepEqual(
      screens.screens.map(({index, width, height, primary}) => ({index, width, height, primary})), [
        {index: 0, width: 1280, height: 720, primary: true},
        {index: 1, width: 1024, height: 768, primary: false},
      ]);
});

test('choosing the monitor that is shown keeps the encoder and sends a key frame', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  await untilMorePictures(page, 2);
  const {keyFrames} = await stateOf(page);
  const log = await stand.logFromHere();
  await page.click('#screens button[data-screen="0"]');
  const lines = await untilLine(log, '已切换到屏幕 0');
  await untilState(page, (state, before) => state.keyFrames > before, keyFrames);
  assert.ok(!lines.some((line) => line.includes('encoder ready')), lines.join('\n'));
});

test('a monitor that is not there leaves the picture as it is, and the list is told', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  const controller = await BareViewer.open(t, stand, {control: true});
  const log = await stand.logFromHere();
  controller.send({type: 'switch_screen', index: 7});
  await untilLine(log, '[agent] 切屏到 7 失败，保持当前屏');
  await until(() => controller.messagesOf('screens').length > 0, 'screens message');
  const [{current, screens}] = controller.messagesOf('screens');
  assert.deepEqual([current, screens.length], [0, 2]);
  await untilMorePictures(page);
  await untilPictureOf(page, kPrimary);
});

test('unplugging the shown monitor leaves a page that can go on with the other', async (t) => {
  const desktop = await openDesktop(t, shared, {screen: kSecond});
  const {page, stand} = desktop;
  restoreMonitors(t);
  const controller = await BareViewer.open(t, stand, {control: true});
  await stand.setMonitors('1280x720');
  // The last picture, again and again.
  await untilMorePictures(page, 10);
  controller.send({type: 'list_screens'});
  await untilState(page, ({screens}) => screens.screens.length === 1);
  // Wine leaves the windows where they were, so the picture says no more than its size.
  await showScreen(page, kPrimary);
  await untilMorePictures(page);
  // And back again, when it is back.
  await stand.setMonitors(kBoth);
  controller.send({type: 'list_screens'});
  await untilState(page, ({screens}) => screens.screens.length === 2);
  await showScreen(page, kSecond);
  await untilPictureOf(page, kSecond);
  await assertClickHits(desktop, '1.txt', 500, 300, -1024);
});

test('a monitor that was unplugged and comes back is shown again by itself', async (t) => {
  const {page, stand} = await openDesktop(t, shared, {screen: kSecond});
  restoreMonitors(t);
  await stand.setMonitors('1280x720');
  await untilMorePictures(page, 10);
  await stand.setMonitors('1280x720,800x600@left');
  await untilState(page, ({width, height}) => width === 800 && height === 600);
});

test('another mode of the shown monitor is shown at its size, and clicks hit', async (t) => {
  const desktop = await openDesktop(t, shared, {screen: kSecond});
  const {page, stand} = desktop;
  restoreMonitors(t);
  const log = await stand.logFromHere();
  await stand.setMonitors('1280x720,800x600@left');
  await untilState(page, ({width, height}) => width === 800 && height === 600);
  await untilLine(log, '[agent] picture size is now 800x600');
  // The second monitor begins 800 pixels left of the primary now.
  await assertClickHits(desktop, '1.txt', 500, 300, -800);
});
