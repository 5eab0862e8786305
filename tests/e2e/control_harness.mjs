// What the tests of working on the desktop share: the real host with windows on its desktop, the
// viewer page in Chromium, and a viewer without a page for what a page does not do.

import assert from 'node:assert/strict';
import {after, before} from 'node:test';
import WebSocket from 'ws';

import {parseBinaryMessage, wrapControlMessage} from '../../devkit/viewer/wire.js';

import {startBrowser} from './browser.mjs';
import {Stand, until, windowsPath} from './stand.mjs';
import {kPatienceMs, placeOf, untilState} from './viewer_harness.mjs';

export const kPrimary = {
  index: 0,
  width: 1280,
  height: 720,
  left: 0,
};
/** Left of the primary monitor, and of another size. */
export const kSecond = {
  index: 1,
  width: 1024,
  height: 768,
  left: -1024,
};
export const kBoth = '1280x720,1024x768@left';

/**
 * Starts the host: {stand}. actors: pairs of a kind and its settings, in which FILE/ stands for the
 * directory of the run's files; options: devkit/run's own.
 */
export async function startDesktop({actors, monitors = kBoth, options = []}) {
  const stage = (files) => actors.flatMap(
      ([kind,
        settings]) => [`--${kind}`, settings.replace('FILE/', () => `${windowsPath(files)}\\`)]);
  const stand = await Stand.start(
      {options: (files) => ['--monitors', monitors, ...stage(files), ...options]});
  return {stand};
}

/** Call once in a test file, with startDesktop's settings: {stand, browser} while tests run. */
export function useDesktop(settings) {
  const shared = {};
  before(async () => {
    Object.assign(shared, await startDesktop(settings));
    shared.browser = await startBrowser();
  });
  after(async () => {
    await shared.browser?.close();
    const code = await shared.stand?.stop();
    assert.equal(code, 0, 'the host’s exit code');
  });
  return shared;
}

/**
 * The viewer page showing a monitor, gone when the test t ends. Every error of the page fails the
 * test.
 */
export async function openDesktop(t, {stand, browser}, {screen = kPrimary, context = {}} = {}) {
  const browserContext =
      await browser.newContext({viewport: {width: 1300, height: 830}, ...context});
  const page = await browserContext.newPage();
  page.setDefaultTimeout(kPatienceMs);
  const errors = [];
  page.on('pageerror', (error) => errors.push(error));
  t.after(() => assert.deepEqual(errors, []));
  t.after(async () => {
    await leave(page, stand);
    await browserContext.close();
  });
  await page.goto(stand.viewer);
  await untilState(page, ({framesDrawn, screens}) => framesDrawn > 0 && screens !== null);
  await showScreen(page, screen);
  return {page, context: browserContext, stand};
}

/** Closes the viewer page, so that its bye does not come in the middle of the next test. */
export async function leave(page, stand) {
  const conn = await page.evaluate(() => window.viewerState?.connected && window.viewerState.conn);
  if (!conn) return;
  const log = await stand.logFromHere();
  await page.goto('about:blank');
  await untilLines(
      log,
      (lines) => lines.some(
          (line) => line.includes('viewer bye ->') || line.includes(`stale bye (conn=${conn}`)),
      'bye of the page');
}

/** Picks a monitor as a user does and waits for its picture. */
export async function showScreen(page, {index, width, height}) {
  const button = page.locator(`#screens button[data-screen="${index}"]`);
  if (await button.getAttribute('aria-pressed') !== 'true') await button.click();
  await untilState(
      page,
      (state, wanted) => state.screens.current === wanted.index && state.width === wanted.width &&
          state.height === wanted.height,
      {index, width, height});
}

/**
 * Gives an edit control of the stage the keyboard by a click on a pixel of it, and empties it;
 * untilText(text) waits for its text.
 */
export async function enterEdit(page, x, y, untilText) {
  // A page that left let go of the right button, and that opens the control's menu.
  await page.keyboard.press('Escape');
  await clickPixel(page, x, y);
  // A key that has come and gone shows that Wine is done with the pointer's arrival too: it lets go
  // of held keys at that.
  await page.keyboard.press('Period');
  await untilText('.');
  await page.keyboard.press('Backspace');
  await untilText('');
}

/** Selects all of an edit control's text; Wine's does not know Ctrl+A. */
export async function selectAll(page) {
  await page.keyboard.press('Control+Home');
  await page.keyboard.press('Control+Shift+End');
}

/** Waits for the text of an edit control's file. */
export function untilFileText(stand, name, text) {
  let is;
  return until(async () => {
    is = await stand.fileText(name);
    return is === text;
  }, () => `text ${JSON.stringify(text)} but ${JSON.stringify(is)}`);
}

/** Clicks on a pixel of the picture. options: Playwright's. */
export async function clickPixel(page, x, y, options) {
  const place = await placeOf(page, x, y);
  await page.mouse.click(place.x, place.y, options);
}

/** Waits for the lines of a function as linesFromHere() gives it to be enough, and gives them. */
export async function untilLines(linesOf, enough, what) {
  let lines = [];
  await until(async () => {
    lines = await linesOf();
    return enough(lines);
  }, () => `${what}; there is: ${lines.join(' | ')}`);
  return lines;
}

export function untilLine(linesOf, text) {
  return untilLines(
      linesOf, (lines) => lines.some((line) => line.includes(text)), `line “${text}”`);
}

const kColourTolerance = 8;

/** Waits until pixels of the picture have their colours: [[x, y, '#rrggbb'], ...]. */
export async function untilColours(page, wanted) {
  const points = wanted.map(([x, y, colour]) => {
    const rgb = [1, 3, 5].map((at) => parseInt(colour.slice(at, at + 2), 16));
    return {x, y, rgb};
  });
  const wrong = () => page.evaluate(
      ([pixels, tolerance]) =>
          pixels.map(({x, y, rgb}) => ({x, y, rgb, is: window.viewerPixels(x, y)}))
              .filter(({rgb, is}) => rgb.some((value, i) => Math.abs(value - is[i]) > tolerance)),
      [points, kColourTolerance]);
  let left = [];
  await until(async () => {
    left = await wrong();
    return left.length === 0;
  }, () => `picture with the right colours: ${JSON.stringify(left)}`);
}

/** A viewer that keeps what comes: {sequence, keyFrame} of the units, texts of the host. */
export class BareViewer {
  units = [];
  messages = [];

  /**
   * control: without taking the stream from whoever has it; query: more of the address. Gone when
   * the test t ends.
   */
  static async open(t, stand, {control = false, query = ''} = {}) {
    const viewer = new BareViewer();
    const url = new URL(stand.viewer);
    const token = url.searchParams.get('token');
    viewer.socket =
        new WebSocket(
            `ws://${url.host}/stream?token=${token}${control ? '&control=1' : ''}${query}`);
    viewer.socket.binaryType = 'arraybuffer';
    t.after(() => viewer.close());
    let greeted = false;
    let trouble = null;
    viewer.socket.on('error', (error) => trouble = error);
    viewer.socket.on('message', (data, binary) => {
      greeted = true;
      if (binary) viewer.#take(parseBinaryMessage(data));
    });
    await until(() => {
      if (trouble) throw trouble;
      return greeted;
    }, 'greeting of the stream');
    return viewer;
  }

  send(message) {
    this.socket.send(wrapControlMessage(JSON.stringify(message)));
  }

  async close() {
    if (this.socket.readyState === WebSocket.CLOSED) return;
    const closed = new Promise((resolve) => this.socket.once('close', resolve));
    this.socket.close();
    await closed;
  }

  /** The texts of one type, parsed. */
  messagesOf(type) {
    return this.messages.map((text) => JSON.parse(text)).filter((message) => message.type === type);
  }

  #take({kind, body, sequence, keyFrame}) {
    if (kind === 'video')
      this.units.push({sequence, keyFrame});
    else if (body[0] === '{'.charCodeAt())
      this.messages.push(new TextDecoder().decode(body));
  }
}
