// The page as a controller: mouse, keyboard, text, monitors and cursor, against a fake host.

import assert from 'node:assert/strict';
import test from 'node:test';

import {kHeight, kWidth, openPage, placeOf, stateOf, takeKeyboard, untilState, useBrowser,} from './viewer_harness.mjs';

const shared = useBrowser();
const kAWithPage = 0x70004;

async function clickPixel(page, host, x, y, options) {
  const before = host.saidOf('mousedown').length;
  const place = await placeOf(page, x, y);
  await page.mouse.click(place.x, place.y, options);
  await host.until(() => host.saidOf('mouseup').length > before, 'the click');
  return host.saidOf('mousedown')[before];
}

const kCorners = [[0, 0], [kWidth - 1, 0], [0, kHeight - 1], [kWidth - 1, kHeight - 1], [321, 179]];

for (const [what, context] of [
         ['a small window', {viewport: {width: 500, height: 400}}],
         ['a large window', {viewport: {width: 1500, height: 1000}}],
         ['a dense display', {viewport: {width: 900, height: 600}, deviceScaleFactor: 1.5}],
]) {
  test(`a click hits the pixel aimed at in ${what}`, async (t) => {
    const {page, host} = await openPage(t, shared, {context});
    for (const [x, y] of kCorners) {
      assert.deepEqual(
          await clickPixel(page, host, x, y), {type: 'mousedown', x, y, button: 'left'});
    }
  });
}

test(
    'a click hits the pixel aimed at when the picture is larger than the window and scrolled',
    async (t) => {
      const {page, host} =
          await openPage(t, shared, {context: {viewport: {width: 400, height: 300}}});
      await page.click('#mode-button');
      await page.waitForFunction(() => document.getElementById('picture').clientWidth === 640);
      await page.evaluate(() => document.getElementById('stage').scrollTo(200, 100));
      assert.deepEqual(
          await clickPixel(page, host, 321, 179),
          {type: 'mousedown', x: 321, y: 179, button: 'left'});
    });

test(
    'in full screen the toolbar is out of the way, all keys are asked for and clicks hit',
    async (t) => {
      const {page, host} = await openPage(t, shared, {
        prepare: (newPage) => newPage.addInitScript(() => {
          navigator.keyboard.lock = async () => window.keysLocked = true;
          navigator.keyboard.unlock = () => window.keysLocked = false;
        }),
      });
      await page.click('#full-screen-button');
      await page.waitForFunction(() => document.fullscreenElement && window.keysLocked);
      await page.mouse.move(400, 300);
      await page.waitForFunction(
          () => document.querySelector('.toolbar').getBoundingClientRect().bottom < 6);
      assert.deepEqual(
          await clickPixel(page, host, 639, 359),
          {type: 'mousedown', x: 639, y: 359, button: 'left'});
      await page.keyboard.press('a');
      await host.until(() => host.saidOf('keyup').length === 1, 'the key');
      await page.evaluate(() => document.exitFullscreen());
      await page.waitForFunction(() => !document.fullscreenElement && window.keysLocked === false);
    });

test('a finger taps like the left button', async (t) => {
  const {page, host} = await openPage(t, shared, {context: {hasTouch: true}});
  const place = await placeOf(page, 200, 100);
  await page.touchscreen.tap(place.x, place.y);
  await host.until(() => host.saidOf('mouseup').length > 0, 'the tap');
  assert.deepEqual(host.saidOf('mousedown', 'mouseup'), [
    {type: 'mousedown', x: 200, y: 100, button: 'left'},
    {type: 'mouseup', x: 200, y: 100, button: 'left'},
  ]);
});

test('messages are in the exact form that the host searches', async (t) => {
  const {page, host} = await openPage(t, shared);
  await clickPixel(page, host, 10, 20);
  await host.until(
      () => host.messages.includes('{"type":"mouseup","x":10,"y":20,"button":"left"}'),
      'the release');
  assert.ok(host.messages.includes('{"type":"mousemove","x":10,"y":20}'));
  assert.ok(host.messages.includes('{"type":"mousedown","x":10,"y":20,"button":"left"}'));
});

test('left, right and middle button', async (t) => {
  const {page, host} = await openPage(t, shared);
  for (const button of ['left', 'right', 'middle']) {
    assert.equal((await clickPixel(page, host, 50, 50, {button})).button, button);
  }
  assert.deepEqual(host.saidOf('mouseup').map(({button}) => button), ['left', 'right', 'middle']);
});

test('the side buttons, and the page stays where it is', async (t) => {
  const {page, host, context} = await openPage(t, shared);
  const {url} = host;
  const place = await placeOf(page, 60, 61);
  const session = await context.newCDPSession(page);
  for (const [button, buttons] of [['back', 8], ['forward', 16]]) {
    for (const [type, held] of [['mousePressed', buttons], ['mouseReleased', 0]]) {
      await session.send(
          'Input.dispatchMouseEvent', {type, ...place, button, buttons: held, clickCount: 1});
    }
  }
  await host.until(() => host.saidOf('mouseup').length === 2, 'two releases');
  assert.deepEqual(
      host.saidOf('mousedown', 'mouseup').map(({type, button}) => `${type} ${button}`),
      ['mousedown x1', 'mouseup x1', 'mousedown x2', 'mouseup x2']);
  assert.equal(page.url(), url);
});

test('two buttons held together go down and up one by one', async (t) => {
  const {page, host} = await openPage(t, shared);
  const place = await placeOf(page, 30, 30);
  await page.mouse.move(place.x, place.y);
  await page.mouse.down({button: 'left'});
  await page.mouse.down({button: 'right'});
  await page.mouse.up({button: 'left'});
  await page.mouse.up({button: 'right'});
  await host.until(() => host.saidOf('mouseup').length === 2, 'two releases');
  assert.deepEqual(
      host.saidOf('mousedown', 'mouseup').map(({type, button}) => `${type} ${button}`),
      ['mousedown left', 'mousedown right', 'mouseup left', 'mouseup right']);
});

test('a drag leaves the picture and ends at its edge', async (t) => {
  const {page, host} = await openPage(t, shared);
  const from = await placeOf(page, 100, 100);
  await page.mouse.move(from.x, from.y);
  await page.mouse.down();
  await page.mouse.move(from.x + 20, from.y + 20);
  await page.mouse.move(5, 595);
  await page.mouse.up();
  const [release] = await host.until(
      () => host.saidOf('mouseup').length > 0 && host.saidOf('mouseup'), 'the release');
  assert.equal(release.y, kHeight - 1);
});

test('the wheel turns in whole notches, down is positive, the pointer comes first', async (t) => {
  const {page, host} = await openPage(t, shared);
  const place = await placeOf(page, 70, 80);
  await page.mouse.move(place.x, place.y);
  await page.mouse.wheel(0, 120);
  await host.until(() => host.saidOf('mousewheel').length === 1, 'a notch down');
  for (let i = 0; i < 2; i++) await page.mouse.wheel(0, -120);
  await host.until(
      () => host.saidOf('mousewheel').reduce((sum, {deltaY}) => sum + deltaY, 0) <= -1,
      'notches up');
  const [first] = host.saidOf('mousewheel');
  assert.deepEqual(first, {type: 'mousewheel', x: 70, y: 80, deltaY: 1});
  assert.deepEqual(host.saidOf('mousemove').at(-1), {type: 'mousemove', x: 70, y: 80});
});

test('a key goes with hid, code and key, pressed and released', async (t) => {
  const {page, host} = await openPage(t, shared);
  await takeKeyboard(page, host);
  await page.keyboard.press('a');
  await page.keyboard.press('Shift+Digit1');
  await host.until(() => host.saidOf('keyup').length === 3, 'three releases');
  assert.equal(host.wishes[0], '{"type":"keydown","hid":458756,"code":"KeyA","key":"a"}');
  assert.equal(host.wishes[1], '{"type":"keyup","hid":458756,"code":"KeyA","key":"a"}');
  assert.deepEqual(
      host.wished.slice(2).map(({type, code}) => `${type} ${code}`),
      ['keydown ShiftLeft', 'keydown Digit1', 'keyup Digit1', 'keyup ShiftLeft']);
});

test('keys that the browser would use itself go to the desktop', async (t) => {
  const {page, host} = await openPage(t, shared);
  await takeKeyboard(page, host);
  const chords =
      ['F5', 'Control+r', 'Control+p', 'Control+f', 'Tab', 'Alt+ArrowLeft', 'Escape', 'F1'];
  for (const chord of chords) await page.keyboard.press(chord);
  await host.until(() => host.saidOf('keyup').some(({code}) => code === 'F1'), 'the last key');
  const pressed = host.saidOf('keydown').map(({code}) => code);
  assert.deepEqual(pressed, [
    'F5', 'ControlLeft', 'KeyR', 'ControlLeft', 'KeyP', 'ControlLeft', 'KeyF', 'Tab', 'AltLeft',
    'ArrowLeft', 'Escape', 'F1'
  ]);
  assert.equal((await stateOf(page)).connected, true);
});

test('a key held down repeats', async (t) => {
  const {page, host} = await openPage(t, shared);
  await takeKeyboard(page, host);
  for (let i = 0; i < 3; i++) await page.keyboard.down('a');
  await page.keyboard.up('a');
  await host.until(() => host.saidOf('keyup').length === 1, 'the release');
  assert.deepEqual(host.wished.map(({type}) => type), ['keydown', 'keydown', 'keydown', 'keyup']);
});

test('what an input method composes is typed as text, once', async (t) => {
  const {page, host, context} = await openPage(t, shared);
  await takeKeyboard(page, host);
  const session = await context.newCDPSession(page);
  for (const text of ['z', 'zh', '中']) {
    await session.send(
        'Input.imeSetComposition', {text, selectionStart: text.length, selectionEnd: text.length});
  }
  await session.send('Input.insertText', {text: '中文😀'});
  await host.until(() => host.saidOf('text').length > 0, 'the text');
  await page.keyboard.press('a');
  await host.until(() => host.saidOf('keyup').length > 0, 'the next key');
  assert.deepEqual(
      host.messages.filter((body) => body.startsWith('{"type":"text"')),
      ['{"type":"text","text":"中文😀"}']);
});

test('text that comes without keys is typed', async (t) => {
  const {page, host} = await openPage(t, shared);
  await takeKeyboard(page, host);
  await page.keyboard.insertText('naïve "quotes" \\ 😀');
  await host.until(() => host.saidOf('text').length > 0, 'the text');
  assert.deepEqual(host.saidOf('text'), [{type: 'text', text: 'naïve "quotes" \\ 😀'}]);
});

test('leaving the picture lets go of keys and buttons, then of everything', async (t) => {
  const {page, host} = await openPage(t, shared);
  await takeKeyboard(page, host);
  await page.keyboard.down('Control');
  await page.keyboard.down('a');
  await page.evaluate(() => document.activeElement.blur());
  await host.until(() => host.saidOf('reset').length > 0, 'the reset');
  assert.deepEqual(
      host.wished.map(({type, code}) => code ? `${type} ${code}` : type),
      ['keydown ControlLeft', 'keydown KeyA', 'keyup ControlLeft', 'keyup KeyA', 'reset']);
  await page.evaluate(() => window.dispatchEvent(new Event('blur')));
  await clickPixel(page, host, 1, 1);
  assert.equal(host.saidOf('reset').length, 1);
});

test('a held button is let go when the window loses the focus', async (t) => {
  const {page, host} = await openPage(t, shared);
  const place = await placeOf(page, 9, 9);
  await page.mouse.move(place.x, place.y);
  await page.mouse.down({button: 'middle'});
  await page.evaluate(() => window.dispatchEvent(new Event('blur')));
  await host.until(() => host.saidOf('reset').length > 0, 'the reset');
  assert.deepEqual(
      host.saidOf('mousedown', 'mouseup', 'reset').map(({type}) => type),
      ['mousedown', 'mouseup', 'reset']);
});

test(
    'leaving with nothing held says nothing, for a release that needs none opens menus',
    async (t) => {
      const {page, host} = await openPage(t, shared);
      await takeKeyboard(page, host);
      await page.keyboard.press('a');
      await page.evaluate(() => window.dispatchEvent(new Event('blur')));
      await page.click('#text-button');
      await page.fill('#text-box', 'x');
      await page.click('[data-do=type]');
      await host.until(() => host.saidOf('text').length > 0, 'the text');
      assert.deepEqual(host.wished.map(({type}) => type), ['keydown', 'keyup', 'text']);
    });

test('a hidden page lets go of everything', async (t) => {
  const {page, host} = await openPage(t, shared);
  await takeKeyboard(page, host);
  await page.keyboard.down('Shift');
  await page.evaluate(() => {
    Object.defineProperty(document, 'hidden', {value: true});
    document.dispatchEvent(new Event('visibilitychange'));
  });
  await host.until(() => host.saidOf('reset').length > 0, 'the reset');
  assert.equal(host.saidOf('keyup')[0].code, 'ShiftLeft');
});

test('chords that the browser keeps are sent from the keys panel', async (t) => {
  const {page, host} = await openPage(t, shared);
  await page.click('#keys-button');
  await page.click('[data-chord="ControlLeft KeyW"]');
  await host.until(() => host.saidOf('keyup').length === 2, 'two releases');
  assert.deepEqual(
      host.saidOf('keydown', 'keyup').map(({type, code}) => `${type} ${code}`),
      ['keydown ControlLeft', 'keydown KeyW', 'keyup KeyW', 'keyup ControlLeft']);
  assert.equal(host.saidOf('keydown')[0].hid, 0x700e0);
});

test('after a panel is closed the keyboard is the desktop’s again', async (t) => {
  const {page, host} = await openPage(t, shared);
  await page.click('#text-button');
  await page.keyboard.press('Escape');
  await page.waitForFunction(() => document.activeElement.id === 'catcher');
  await page.keyboard.press('a');
  await host.until(() => host.saidOf('keydown').some(({hid}) => hid === kAWithPage), 'the key');
});

const kScreens = '{"type":"screens","current":0,"screens":[' +
    '{"index":0,"name":"\\\\\\\\.\\\\DISPLAY1","width":1280,"height":720,"primary":true},' +
    '{"index":2,"name":"\\\\\\\\.\\\\DISPLAY3","width":1024,"height":768,"primary":false}]}';

test('the page asks for the monitors, lists them and switches by the host’s index', async (t) => {
  const {page, host} = await openPage(t, shared);
  assert.deepEqual(host.said[0], {type: 'list_screens'});
  host.sendText(kScreens);
  const buttons = page.locator('#screens button');
  await buttons.nth(1).waitFor();
  assert.match(await buttons.nth(1).innerText(), /DISPLAY3\s+1024×768/);
  assert.equal(await buttons.nth(0).getAttribute('aria-pressed'), 'true');
  await buttons.nth(1).click();
  await host.until(
      () => host.messages.includes('{"type":"switch_screen","index":2}'), 'the switch');
  host.sendText(kScreens.replace('"current":0', '"current":2'));
  await untilState(page, ({screens}) => screens.current === 2);
  assert.equal(await buttons.nth(1).getAttribute('aria-pressed'), 'true');
});

test('the pointer takes the host’s shape and hot spot, hides with it and comes back', async (t) => {
  const {page, host} = await openPage(t, shared);
  const shape = {width: 2, height: 2, hotX: 1, hotY: 0, bgra: Buffer.alloc(16, 0xff)};
  const shown = () => page.evaluate(() => document.getElementById('picture').style.cursor);
  host.sendCursor({visible: true, ...shape});
  await untilState(page, ({cursor}) => cursor?.visible === true);
  assert.match(await shown(), /^url\("?data:image\/png;base64,.*"?\) 1 0, default$/);
  host.sendCursor({visible: false, ...shape});
  await untilState(page, ({cursor}) => cursor.visible === false);
  assert.equal(await shown(), 'none');
  host.sendCursor({visible: true, width: 0, height: 0, hotX: 0, hotY: 0, bgra: Buffer.alloc(0)});
  await untilState(page, ({cursor}) => cursor.visible === true);
  assert.equal(await shown(), 'default');
});

test('the pointer’s picture has the host’s colours', async (t) => {
  const {page, host} = await openPage(t, shared);
  host.sendCursor({
    visible: true,
    width: 1,
    height: 1,
    hotX: 0,
    hotY: 0,
    bgra: Buffer.from([10, 20, 200, 255])
  });
  await untilState(page, ({cursor}) => cursor !== null);
  const pixel = await page.evaluate(async () => {
    const image = new Image();
    image.src = /url\("?(data:[^")]*)/.exec(document.getElementById('picture').style.cursor)[1];
    await image.decode();
    const context = new OffscreenCanvas(1, 1).getContext('2d');
    context.drawImage(image, 0, 0);
    return [...context.getImageData(0, 0, 1, 1).data];
  });
  assert.deepEqual(pixel, [200, 20, 10, 255]);
});
