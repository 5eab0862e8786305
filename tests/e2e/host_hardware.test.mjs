// The hardware encoder of the real host, good and failing, as a viewer's page shows it.

import assert from 'node:assert/strict';
import {cpSync} from 'node:fs';
import {join} from 'node:path';
import test, {after, before} from 'node:test';

import {startBrowser} from './browser.mjs';
import {openViewer, startStand} from './stream_harness.mjs';
import {stateOf, untilMorePictures} from './viewer_harness.mjs';

const kMoving = ['--moving', 'x=100,y=100,w=500,h=400'];
const kVerdict = 'local/TALUDesk/hw_encoder_verdict.txt';
const kSelfTestGood = '硬编端到端自检: good';
const kHardware = 'H264 encoder ready: HARDWARE ASYNC MFT, 1280x720';
const kSoftware = 'H264 encoder ready: SOFTWARE SYNC MFT, 1280x720';

let browser;
before(async () => browser = await startBrowser());
after(() => browser?.close());

test('a hardware encoder that passes its test streams the desktop', async (t) => {
  const stand = await startStand(t, ['--hardware', ...kMoving]);
  await stand.untilLog(kSelfTestGood);
  const page = await openViewer(t, browser, stand);
  await untilMorePictures(page, 60);
  const log = await stand.logText();
  assert.ok(log.includes(kHardware), log);
  assert.ok(!log.includes(kSoftware), log);
  assert.match(await stand.fileText(kVerdict), /^[^\t]+\tgood\r\n$/);
});

test('the picture goes on in software when the hardware stops asking for input', async (t) => {
  const first = await startStand(t, ['--hardware', ...kMoving]);
  await first.untilLog(kSelfTestGood);
  const page = await openViewer(t, browser, first);
  await untilMorePictures(page, 30);
  await first.writeFaults('hardware-codec', ['stops-after 5']);
  const log = await first.untilLog(kSoftware);
  const fallback = log.slice(0, log.indexOf(kSoftware)).split(kHardware).at(-1);
  assert.equal(
      fallback.split('编码器 300ms 内未发出 NeedInput').length - 1, 2,
      `two lost pictures: ${fallback}`);
  assert.ok(fallback.includes('硬件异步编码器持续无输出，回退软件编码器重建...'), fallback);
  await untilMorePictures(page, 60);
  assert.equal((await stateOf(page)).decodeErrors, 0);
  assert.match(await first.fileText(kVerdict), /^[^\t]+\tbad\r\n$/);
  assert.equal(await first.stop({keepFiles: true}), 0);

  // The next start remembers, although the hardware is good again.
  const next = await startStand(t, (files) => {
    cpSync(join(first.files, 'local'), join(files, 'local'), {recursive: true});
    return ['--hardware', ...kMoving];
  });
  await next.untilLog('硬编自检缓存命中: bad');
  await untilMorePictures(await openViewer(t, browser, next), 30);
  const nextLog = await next.logText();
  assert.ok(nextLog.includes(kSoftware) && !nextLog.includes(kHardware), nextLog);
});
