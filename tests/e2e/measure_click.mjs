// Measures how long it takes from a click in the page to its effect on the page's canvas: the driver
// clicks, the host injects, a window turns its colour, and the picture with that colour is drawn.
// Usage: node measure_click.mjs [CLICKS]
//
// The floor is the same driver clicking the same page, which turns a colour of its own at once: what
// then is measured is the browser's. Parts are told from the wall clocks of the page, the window and
// the library, which are one machine's. What the host does between a picture's grab and its
// hand-over is known by its own time stamps but for a constant, which is chosen so that the quickest
// picture took no time; so the wait for the capture holds the quickest conversion and encoding.

import {join} from 'node:path';
import {setTimeout as sleep} from 'node:timers/promises';

import {startBrowser} from './browser.mjs';
import {times} from './figures.mjs';
import {Stand, until, windowsPath} from './stand.mjs';

const kClicks = Number(process.argv[2] ?? 100);
const kWarmUpFrames = 60;
const kTarget = {x: 540, y: 310, w: 200, h: 100};
const kPoint = {x: 640, y: 360};
const kTimeoutMs = 30000;

const nowMs = () => performance.timeOrigin + performance.now();

/** Where a pixel of the picture lies in the page. */
function placeInPage(page, point) {
  return page.evaluate(({x, y}) => {
    const canvas = document.getElementById('picture');
    const box = canvas.getBoundingClientRect();
    return {
      x: box.left + (x + 0.5) * box.width / canvas.width,
      y: box.top + (y + 0.5) * box.height / canvas.height,
    };
  }, point);
}

/** Clicks there after a pause that falls on any phase of the frames; when the press was begun. */
async function click(page, at, number) {
  await sleep(150 + number * 37 % 101);
  const beganMs = nowMs();
  await page.mouse.move(at.x, at.y);
  await page.mouse.down();
  return beganMs;
}

async function measureFloor(page, at) {
  await page.evaluate(() => {
    const canvas = document.createElement('canvas');
    const context = canvas.getContext('2d', {alpha: false, desynchronized: true});
    document.getElementById('stage').append(canvas);
    let on = false;
    window.floorAtMs = 0;
    addEventListener('pointerdown', () => {
      on = !on;
      context.fillStyle = on ? '#fff' : '#000';
      context.fillRect(0, 0, canvas.width, canvas.height);
      const [red] = context.getImageData(0, 0, 1, 1).data;
      if ((red > 128) === on) window.floorAtMs = performance.timeOrigin + performance.now();
    }, {capture: true});
  });
  const took = [];
  for (let number = 0; number < kClicks; ++number) {
    const beganMs = await click(page, at, number);
    await page.mouse.up();
    took.push(await page.evaluate(() => window.floorAtMs) - beganMs);
  }
  return took;
}

/** The microseconds that the window noted with its last press: {received, painted} in ms. */
async function lastPress(stand, presses) {
  const lines = await until(async () => {
    const text = await stand.fileText('target.txt');
    const downs = text.split('\n').filter((line) => /^down left .* painted \d+$/.test(line));
    return downs.length >= presses && downs;
  }, 'press in the window');
  const [, received, painted] = /received (\d+) painted (\d+)$/.exec(lines[presses - 1]);
  return {received: received / 1000, painted: painted / 1000};
}

async function measureClick(page, stand, at, number) {
  await page.evaluate(({x, y, timeout}) => {
    window.pixelChange = window.viewerPixelChange(x, y, timeout);
    // Looked at later.
    window.pixelChange.catch(() => {});
  }, {...kPoint, timeout: kTimeoutMs});
  const beganMs = await click(page, at, number);
  const {frame, sentMs} = await page.evaluate(async () => {
    const {frame} = await window.pixelChange;
    const down = window.viewerState.sent.findLast(({text}) => text.includes('mousedown'));
    return {frame, sentMs: down.atMs};
  });
  await page.mouse.up();
  const {received, painted} = await lastPress(stand, number + 1);
  return {beganMs, sentMs, received, painted, ...frame};
}

/** The wall clock at the host's time stamp 0, as late as the frames allow. */
async function hostStartMs(page) {
  const frames = await page.evaluate(() => window.viewerFrames());
  return Math.min(...frames.map(({handedOverMs, hostMs}) => handedOverMs - hostMs));
}

function report(name, clicks, floor, startMs) {
  const all = (part) => clicks.map(part);
  times(`${name}, click to canvas`, all((each) => each.drawnMs - each.beganMs));
  times(`${name}, floor`, floor);
  const parts = {
    'driver to page': (each) => each.sentMs - each.beganMs,
    'message and injection': (each) => each.received - each.sentMs,
    'window paints': (each) => each.painted - each.received,
    'capture wait, copy': (each) => startMs + each.hostMs - each.painted,
    'conversion, encoding': (each) => each.handedOverMs - startMs - each.hostMs,
    'send': (each) => each.receivedMs - each.handedOverMs,
    'decode': (each) => each.decodedMs - each.receivedMs,
    'draw': (each) => each.drawnMs - each.decodedMs,
  };
  for (const [part, take] of Object.entries(parts)) times(`${name}, part ${part}`, all(take));
}

async function measure(browser, name, options, fps) {
  const target = Object.entries(kTarget).map(([key, value]) => `${key}=${value}`).join(',');
  const stand = await Stand.start({
    options: (files) => [
      '--monitors', '1280x720', ...options, '--target',
      `${target},colour=204060,times=1,file=${windowsPath(join(files, 'target.txt'))}`,
    ],
  });
  try {
    if (options.length > 0) await stand.untilLog('硬编端到端自检: good');
    const page = await browser.newPage({viewport: {width: 1400, height: 900}});
    await page.goto(`${stand.viewer}&fps=${fps}`);
    await until(
        () => page.evaluate((frames) => window.viewerState?.framesDrawn >= frames, kWarmUpFrames),
        'first pictures');
    const at = await placeInPage(page, kPoint);
    const clicks = [];
    for (let number = 0; number < kClicks; ++number) {
      clicks.push(await measureClick(page, stand, at, number));
    }
    const startMs = await hostStartMs(page);
    const floor = await measureFloor(page, at);
    report(name, clicks, floor, startMs);
    await page.close();
  } finally {
    await stand.stop();
  }
}

const browser = await startBrowser();
try {
  await measure(browser, 'hardware-like, prompt, 60 fps', ['--hardware-fault', 'prompt'], 60);
  await measure(browser, 'hardware-like, 60 fps', ['--hardware'], 60);
  await measure(browser, 'software, 30 fps', [], 30);
} finally {
  await browser.close();
}
