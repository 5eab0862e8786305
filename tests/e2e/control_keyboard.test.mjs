// Keys and text from the page into real edit controls, on the real host.

import assert from 'node:assert/strict';
import test from 'node:test';

import {BareViewer, clickPixel, enterEdit, openDesktop, selectAll, untilFileText, untilLines, useDesktop} from './control_harness.mjs';
import {placeOf} from './viewer_harness.mjs';

// One edit control for each test, so that they do not depend on each other.
const kEdits = ['keys', 'chords', 'box', 'composed', 'lines', 'long', 'dragged'];
const edit = (name) => ({
  x: 10,
  y: 10 + kEdits.indexOf(name) * 100,
});

const shared = useDesktop({
  actors: [
    ...kEdits.map((name) => {
      const {x, y} = edit(name);
      return ['edit', `x=${x},y=${y},w=600,h=90,file=FILE/${name}.txt`];
    }),
    ['target', 'x=700,y=10,w=400,h=400,file=FILE/target.txt'],
  ],
});

const untilText = (stand, name, text) => untilFileText(stand, `${name}.txt`, text);

function enter(page, stand, name) {
  const {x, y} = edit(name);
  return enterEdit(page, x + 50, y + 50, (text) => untilText(stand, name, text));
}

test('keys type what stands on them', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  await enter(page, stand, 'keys');
  for (const key of ['KeyT', 'KeyA', 'Digit1', 'Minus', 'Space', 'Slash']) {
    await page.keyboard.press(key);
  }
  await untilText(stand, 'keys', 'ta1- /');
});

test('held keys change others, and editing keys edit', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  await enter(page, stand, 'chords');
  for (const key of ['Shift+KeyH', 'KeyI', 'Shift+Digit1', 'Enter', 'KeyB', 'KeyC']) {
    await page.keyboard.press(key);
  }
  await untilText(stand, 'chords', 'Hi!\r\nbc');
  for (const key of ['ArrowLeft', 'Backspace', 'Home', 'KeyX', 'End', 'Shift+Home']) {
    await page.keyboard.press(key);
  }
  await page.keyboard.press('KeyY');
  await untilText(stand, 'chords', 'Hi!\r\ny');
  await selectAll(page);
  await page.keyboard.press('Delete');
  await untilText(stand, 'chords', '');
});

test('a key goes down when it is pressed and up when it is let go', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  await clickPixel(page, 900, 200);
  const notes = await stand.linesFromHere('target.txt');
  await page.keyboard.down('KeyQ');
  await untilLines(notes, (lines) => lines.includes('key 81 down'), 'key down');
  assert.ok(!(await notes()).includes('key 81 up'));
  await page.keyboard.up('KeyQ');
  await untilLines(notes, (lines) => lines.includes('key 81 up'), 'key up');
});

test('keys that are held when the page loses the focus are let go', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  await clickPixel(page, 900, 200);
  const notes = await stand.linesFromHere('target.txt');
  await page.keyboard.down('KeyW');
  await untilLines(notes, (lines) => lines.includes('key 87 down'), 'key down');
  await page.evaluate(() => window.dispatchEvent(new Event('blur')));
  await untilLines(notes, (lines) => lines.includes('key 87 up'), 'key up');
});

test('the text box types Unicode text, emoji and lines', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  await enter(page, stand, 'box');
  await page.click('#text-button');
  await page.fill('#text-box', 'Grüße, 你好 😀 "quoted" \\ tab\tend\nsecond 第二行');
  await page.click('[data-do=type]');
  await untilText(stand, 'box', 'Grüße, 你好 😀 "quoted" \\ tab\tend\r\nsecond 第二行');
});

test('what an input method composes arrives', async (t) => {
  const {page, stand, context} = await openDesktop(t, shared);
  await enter(page, stand, 'composed');
  const session = await context.newCDPSession(page);
  for (const text of ['z', 'zh', '中']) {
    await session.send(
        'Input.imeSetComposition', {text, selectionStart: text.length, selectionEnd: text.length});
  }
  await session.send('Input.insertText', {text: '中文😀'});
  await untilText(stand, 'composed', '中文😀');
});

test('carriage return and line feed make one new line', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  await enter(page, stand, 'lines');
  const controller = await BareViewer.open(t, stand, {control: true});
  controller.send({type: 'text', text: 'a\r\nb\nc\r'});
  await untilText(stand, 'lines', 'a\r\nb\r\nc');
});

test('a text of many characters arrives whole', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  await enter(page, stand, 'long');
  await page.click('#text-button');
  const text = 'All of it, 全部！😀 '.repeat(40);
  await page.fill('#text-box', text);
  await page.click('[data-do=type]');
  await untilText(stand, 'long', text);
});

test('text that the mouse is dragged over is replaced by the next key', async (t) => {
  const {page, stand} = await openDesktop(t, shared);
  await enter(page, stand, 'dragged');
  await page.keyboard.insertText('drag over me');
  await untilText(stand, 'dragged', 'drag over me');
  const {x, y} = edit('dragged');
  const from = await placeOf(page, x + 1, y + 8);
  const to = await placeOf(page, x + 500, y + 8);
  await page.mouse.move(from.x, from.y);
  await page.mouse.down();
  await page.mouse.move(to.x, to.y, {steps: 8});
  await page.mouse.up();
  await page.keyboard.press('KeyZ');
  await untilText(stand, 'dragged', 'z');
});
