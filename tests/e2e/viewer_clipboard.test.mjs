// The clipboard in both directions, with and without the browser's leave, against a fake host.

import assert from 'node:assert/strict';
import test from 'node:test';

import {openPage, takeKeyboard, untilState, useBrowser} from './viewer_harness.mjs';

const shared = useBrowser();
const kAllowed = {
  permissions: ['clipboard-read', 'clipboard-write']
};
const kText = '中文 😀 "quoted" \\ tab\t';

const clipboardOf = (page) => page.evaluate(() => navigator.clipboard.readText());
const clipboardsSaid = (host) => host.saidOf('clipboard').map(({text}) => text);

function sendClipboard(host, text) {
  host.sendText(JSON.stringify({type: 'clipboard', text}));
}

test('the host’s text reaches this computer’s clipboard and is not sent back', async (t) => {
  const {page, host} = await openPage(t, shared, {context: kAllowed});
  await takeKeyboard(page, host);
  sendClipboard(host, `${kText}\r\nline`);
  await untilState(page, ({hostClipboard}) => hostClipboard !== '');
  await page.waitForFunction(
      () => navigator.clipboard.readText().then((text) => text.includes('line')));
  assert.equal(await clipboardOf(page), `${kText}\nline`);
  await page.evaluate(() => window.dispatchEvent(new Event('focus')));
  await page.keyboard.press('Control+v');
  await host.until(() => host.saidOf('keyup').some(({code}) => code === 'KeyV'), 'the paste');
  assert.deepEqual(clipboardsSaid(host), []);
});

test('a paste brings this computer’s text to the host before its keys', async (t) => {
  const {page, host} = await openPage(t, shared, {context: {permissions: ['clipboard-write']}});
  await takeKeyboard(page, host);
  await page.evaluate((text) => navigator.clipboard.writeText(text), kText);
  await page.keyboard.press('Control+v');
  await host.until(() => host.saidOf('keyup').length === 2, 'two releases');
  assert.deepEqual(host.wished.map(({type, code, text}) => `${type} ${code ?? text}`), [
    'keydown ControlLeft',
    `clipboard ${kText}`,
    'keydown KeyV',
    'keyup KeyV',
    'keyup ControlLeft',
  ]);
  assert.deepEqual(host.saidOf('text'), []);
});

test('a second paste of the same text sends the keys alone', async (t) => {
  const {page, host} = await openPage(t, shared, {context: kAllowed});
  await takeKeyboard(page, host);
  await page.evaluate(() => navigator.clipboard.writeText('once'));
  for (let i = 0; i < 2; i++) await page.keyboard.press('Control+v');
  await host.until(() => host.saidOf('keyup').length === 4, 'four releases');
  assert.deepEqual(clipboardsSaid(host), ['once']);
});

test('where reading is allowed, coming back to the page brings the text', async (t) => {
  const {page, host} = await openPage(t, shared, {context: kAllowed});
  await page.evaluate(() => navigator.clipboard.writeText('a\nb'));
  await page.evaluate(() => window.dispatchEvent(new Event('focus')));
  // All pages share one clipboard: what was there before may have been brought first.
  await host.until(() => clipboardsSaid(host).at(-1) === 'a\r\nb', 'the text');
});

const forbidClipboard = (page) => page.addInitScript(() => {
  const forbid = () => Promise.reject(new DOMException('forbidden', 'NotAllowedError'));
  navigator.clipboard.writeText = forbid;
  navigator.clipboard.readText = forbid;
});

test('where writing is forbidden the text box has the host’s text, and says so', async (t) => {
  const {page, host} = await openPage(t, shared, {prepare: forbidClipboard});
  sendClipboard(host, kText);
  await page.locator('#text-button.attention').waitFor();
  await page.click('#text-button');
  assert.equal(await page.inputValue('#text-box'), kText);
  await page.click('[data-do=copy]');
  await page.getByText('The browser forbids it; press Ctrl+C.').waitFor();
});

test('the text box sends to the host’s clipboard and types', async (t) => {
  const {page, host} = await openPage(t, shared, {prepare: forbidClipboard});
  await page.click('#text-button');
  await page.fill('#text-box', 'one\ntwo');
  await page.click('[data-do=put]');
  await page.click('[data-do=type]');
  await host.until(() => host.saidOf('text').length > 0, 'the text');
  assert.deepEqual(clipboardsSaid(host), ['one\r\ntwo']);
  assert.deepEqual(
      host.messages.filter((body) => body.startsWith('{"type":"text"')),
      ['{"type":"text","text":"one\\ntwo"}']);
});

test('what the browser forbade at first is written with the next key', async (t) => {
  const {page, host} = await openPage(t, shared, {
    context: kAllowed,
    prepare: (newPage) => newPage.addInitScript(() => {
      const real = navigator.clipboard.writeText.bind(navigator.clipboard);
      window.forbidden = true;
      navigator.clipboard.writeText = (text) =>
          window.forbidden ? Promise.reject(new DOMException('no', 'NotAllowedError')) : real(text);
    }),
  });
  await takeKeyboard(page, host);
  sendClipboard(host, 'later');
  await page.locator('#text-button.attention').waitFor();
  await page.evaluate(() => window.forbidden = false);
  await page.keyboard.press('a');
  await page.waitForFunction(() => navigator.clipboard.readText().then((text) => text === 'later'));
  await page.waitForFunction(() => !document.querySelector('#text-button.attention'));
});

test('a new text of the host’s does not take away what is being written', async (t) => {
  const {page, host} = await openPage(t, shared, {prepare: forbidClipboard});
  await page.click('#text-button');
  await page.fill('#text-box', 'half a sen');
  sendClipboard(host, 'intruder');
  await page.getByText('what you write here stays').waitFor();
  assert.equal(await page.inputValue('#text-box'), 'half a sen');
});
