// The clipboards of this computer and of the real host, in both directions.

import assert from 'node:assert/strict';
import test from 'node:test';

import {BareViewer, enterEdit, openDesktop, selectAll, untilFileText, untilLine, useDesktop} from './control_harness.mjs';
import {until} from './stand.mjs';
import {untilState} from './viewer_harness.mjs';

const kText = '剪贴板 😀 “quoted” "plain" \\ tab\t第二';
const kAllowed = {
  permissions: ['clipboard-read', 'clipboard-write']
};

const kEdits = ['copied', 'pasted', 'echo', 'both'];
const edit = (name) => ({
  x: 10,
  y: 10 + kEdits.indexOf(name) * 110,
});

const shared = useDesktop({
  actors: kEdits.map((name) => {
    const {x, y} = edit(name);
    return ['edit', `x=${x},y=${y},w=600,h=100,file=FILE/${name}.txt`];
  }),
});

const untilText = (stand, name, text) => untilFileText(stand, `${name}.txt`, text);

function enter(page, stand, name) {
  const {x, y} = edit(name);
  return enterEdit(page, x + 50, y + 50, (text) => untilText(stand, name, text));
}

/** Types a text, selects and copies all of it with the keys of the desktop. */
async function copyOnHost(page, stand, name, text) {
  await page.keyboard.insertText(text);
  await untilText(stand, name, text.replaceAll('\n', '\r\n'));
  await selectAll(page);
  await page.keyboard.press('Control+KeyC');
}

// A field pastes nothing while some program has the clipboard open, as those that keep in step with it
// do for a moment after a change. Whoever sits there pastes again.
const kPasteMs = 5000;

/** Pastes, over all of the text if it takes more than one try. */
async function paste(page, stand, name, wanted) {
  const has = async () => await stand.fileText(`${name}.txt`) === wanted;
  const comes = () => until(has, 'paste', kPasteMs).then(() => true, () => false);
  await until(async () => {
    await page.keyboard.press('Control+KeyV');
    if (await comes()) return true;
    await selectAll(page);
    return false;
  }, `"${wanted}" pasted`);
}

const untilHostClipboard = (page, text) =>
    untilState(page, ({hostClipboard}, wanted) => hostClipboard === wanted, text);

/** The page writes what it was told a moment later. */
const untilLocalClipboard = (page, wanted) => until(
    () => page.evaluate(
        (text) => navigator.clipboard.readText().then((is) => is === text), wanted),
    'text on the clipboard');

test('text copied on the desktop reaches this computer’s clipboard', async (t) => {
  const {page, stand} = await openDesktop(t, shared, {context: kAllowed});
  await enter(page, stand, 'copied');
  await copyOnHost(page, stand, 'copied', `${kText}\nnext line`);
  await untilHostClipboard(page, `${kText}\r\nnext line`);
  await untilLocalClipboard(page, `${kText}\nnext line`);
});

test('text copied on this computer is pasted on the desktop', async (t) => {
  const {page, stand} = await openDesktop(t, shared, {context: kAllowed});
  await enter(page, stand, 'pasted');
  await page.evaluate((text) => navigator.clipboard.writeText(text), `${kText}\nnext line`);
  await paste(page, stand, 'pasted', `${kText}\r\nnext line`);
});

test('what the page put on the host’s clipboard does not come back', async (t) => {
  const {page, stand} = await openDesktop(t, shared, {context: kAllowed});
  await enter(page, stand, 'echo');
  const controller = await BareViewer.open(t, stand, {control: true});
  controller.send({type: 'clipboard', text: '来自页面 😀'});
  await paste(page, stand, 'echo', '来自页面 😀');
  // Changes of the clipboard are told in their order: had the first come back, it would stand
  // before this one.
  await page.keyboard.insertText('!');
  await selectAll(page);
  await page.keyboard.press('Control+KeyC');
  await untilHostClipboard(page, '来自页面 😀!');
  await until(() => controller.messagesOf('clipboard').length > 0, 'clipboard message');
  assert.deepEqual(controller.messagesOf('clipboard').map(({text}) => text), ['来自页面 😀!']);
});

test('the clipboards take turns', async (t) => {
  const {page, stand} = await openDesktop(t, shared, {context: kAllowed});
  await enter(page, stand, 'both');
  const log = await stand.logFromHere();
  for (const round of ['一', '二', '三']) {
    await copyOnHost(page, stand, 'both', `host ${round}`);
    await untilHostClipboard(page, `host ${round}`);
    await untilLocalClipboard(page, `host ${round}`);
    await page.evaluate((text) => navigator.clipboard.writeText(text), `page ${round}`);
    await paste(page, stand, 'both', `page ${round}`);
    await selectAll(page);
  }
  await untilLine(log, 'clipboard -> controller');
});
