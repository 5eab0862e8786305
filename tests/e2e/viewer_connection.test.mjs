// Coming, going and being told why not: the page's connection, against a fake host.

import assert from 'node:assert/strict';
import test from 'node:test';

import {FakeHost} from './fake_host.mjs';
import {openPage, stateOf, untilMorePictures, untilState, useBrowser} from './viewer_harness.mjs';

const shared = useBrowser();

test('a new page asks for the monitors and for a key frame under its own id', async (t) => {
  const {page, host} = await openPage(t, shared);
  const {conn} = await stateOf(page);
  assert.match(conn, /^[0-9a-f-]{36}$/);
  assert.deepEqual(
      host.messages.slice(0, 2),
      ['{"type":"list_screens"}', `{"type":"request_keyframe","conn":"${conn}"}`]);
});

test('every page has another id', async (t) => {
  const {page, host, context} = await openPage(t, shared);
  const second = await context.newPage();
  await second.goto(host.url);
  await untilState(second, ({conn}) => conn !== '');
  assert.notEqual((await stateOf(page)).conn, (await stateOf(second)).conn);
});

test('the rates of the address are asked for', async (t) => {
  const {host} = await openPage(t, shared, {query: '&fps=60&max=8000&min=500'});
  const asked = host.streams[0].searchParams;
  assert.deepEqual(['fps', 'max', 'min'].map((name) => asked.get(name)), ['60', '8000', '500']);
});

test('other bit rates are a command, another frame rate a new stream', async (t) => {
  const {page, host} = await openPage(t, shared, {query: '&fps=30'});
  await page.click('#quality-button');
  await page.fill('input[name=max]', '4000');
  await page.click('#quality-form [type=submit]');
  await host.until(() => host.commands.length === 1, 'the command');
  assert.deepEqual(host.commands[0], {command: 'profile', fps: 30, max: 4000, min: 0});
  assert.equal(host.streams.length, 1);
  await page.click('#quality-button');
  await page.fill('input[name=fps]', '60');
  await page.click('#quality-form [type=submit]');
  await host.until(() => host.streams.length === 2, 'a new stream');
  assert.equal(host.streams[1].searchParams.get('fps'), '60');
  assert.equal(new URL(page.url()).searchParams.get('fps'), '60');
  await untilMorePictures(page);
});

test('a page that closes says bye with its id', async (t) => {
  const {page, host} = await openPage(t, shared);
  const {conn} = await stateOf(page);
  await page.close();
  await host.until(() => host.saidOf('bye').length > 0, 'the bye');
  assert.equal(host.messages.at(-1), `{"type":"bye","conn":"${conn}"}`);
});

test('a page that is reloaded says bye and comes back as another', async (t) => {
  const {page, host} = await openPage(t, shared);
  const {conn} = await stateOf(page);
  await page.reload();
  await untilState(page, ({framesDrawn}) => framesDrawn > 0);
  assert.deepEqual(host.saidOf('bye'), [{type: 'bye', conn}]);
  assert.notEqual((await stateOf(page)).conn, conn);
});

test('a lost connection comes back by itself, under the same id', async (t) => {
  const {page, host} = await openPage(t, shared);
  const {conn} = await stateOf(page);
  host.dropConnection();
  await host.until(() => host.streams.length === 2, 'the second connection');
  await untilMorePictures(page);
  await untilState(page, ({connected, notice}) => connected && notice === '');
  assert.equal((await stateOf(page)).conn, conn);
  assert.equal(host.saidOf('list_screens').length, 2);
  assert.deepEqual(host.saidOf('request_keyframe').at(-1), {type: 'request_keyframe', conn});
});

test('a host that has gone is told, and found again when it is back', async (t) => {
  const {page, host} = await openPage(t, shared);
  host.sendEvent({event: 'bye'});
  await host.stop();
  await untilState(
      page,
      ({notice, connection}) => notice === 'The host is not running' && connection !== 'connected');
  const again = await FakeHost.start({film: shared.film, port: host.port});
  t.after(() => again.stop());
  await untilState(page, ({connected, notice}) => connected && notice === '');
});

test('the reconnect button makes a new connection', async (t) => {
  const {page, host} = await openPage(t, shared);
  await page.click('#reconnect-button');
  await host.until(() => host.streams.length === 2, 'the second connection');
  await untilMorePictures(page);
});

test('another host’s token is explained, and nothing is tried again by itself', async (t) => {
  const {page, host} = await openPage(t, shared);
  host.token = 'another';
  host.dropConnection();
  await untilState(
      page,
      ({notice, connection}) =>
          notice === 'The host did not let this page in' && connection === 'forbidden');
  host.token = 'a-token';
  await page.click('#notice button');
  await untilState(page, ({connected}) => connected);
});

test('a stream that is refused is told apart from a host that is gone', async (t) => {
  const {page, host} = await openPage(t, shared);
  host.refusing = true;
  host.dropConnection();
  await untilState(page, ({notice}) => notice === 'The stream was refused');
  host.refusing = false;
  await untilState(page, ({connected}) => connected);
});

test(
    'a viewer that was replaced stays quiet, says its late bye, and can take the stream back',
    async (t) => {
      const {page, host} = await openPage(t, shared);
      host.replaceViewer();
      await untilState(page, ({connection}) => connection === 'replaced');
      assert.equal((await stateOf(page)).notice, 'Another viewer has taken over');
      host.messages.length = 0;
      await page.mouse.move(300, 300);
      await page.mouse.click(310, 200);
      await page.keyboard.press('a');
      host.playing = true;
      await page.click('#notice button');
      await host.until(() => host.streams.length === 2, 'the second connection');
      await untilState(page, ({connected}) => connected);
      assert.deepEqual(host.saidOf('mousedown', 'mouseup', 'keydown', 'keyup', 'reset'), []);
    });

test('a replaced viewer’s closing page still says bye', async (t) => {
  const {page, host} = await openPage(t, shared);
  const {conn} = await stateOf(page);
  host.replaceViewer();
  await untilState(page, ({connection}) => connection === 'replaced');
  await page.close();
  await host.until(() => host.saidOf('bye').length > 0, 'the bye');
  assert.deepEqual(host.saidOf('bye'), [{type: 'bye', conn}]);
});

test(
    'a replaced viewer does not take the stream back by itself when its connection ends',
    async (t) => {
      const {page, host} = await openPage(t, shared);
      host.replaceViewer();
      await untilState(page, ({connection}) => connection === 'replaced');
      host.dropConnection();
      await page.evaluate(() => new Promise((resolve) => setTimeout(resolve, 1500)));
      assert.equal(host.streams.length, 1);
      assert.equal((await stateOf(page)).connection, 'replaced');
    });

test('a browser without WebCodecs is told what it lacks', async (t) => {
  const {page} = await openPage(t, shared, {
    showing: false,
    prepare: (newPage) => newPage.addInitScript(() => delete window.VideoDecoder),
  });
  await page.getByText('This browser cannot decode the video').waitFor();
});

test('a browser without H.264 is told what it lacks', async (t) => {
  const {page} = await openPage(t, shared, {
    showing: false,
    prepare: (newPage) => newPage.addInitScript(() => {
      VideoDecoder.isConfigSupported = async () => ({supported: false});
    }),
  });
  await page.getByText('This browser has no H.264 decoder').waitFor();
});
