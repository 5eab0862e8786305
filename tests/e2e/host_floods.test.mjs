// Floods and ill-behaved viewers: the picture goes on, everything is handled, the host lives.

import assert from 'node:assert/strict';
import {once} from 'node:events';
import {connect} from 'node:net';
import test from 'node:test';
import WebSocket from 'ws';

import {Flood, kLargestBodyBytes} from './floods.mjs';
import {until, useStand} from './stand.mjs';
import {WatchingViewer} from './stream_watch.mjs';

const kIllegalFrames = [
  [0x83, 0x81, 0, 0, 0, 0, 0x78],              // a reserved opcode
  [0xc2, 0x81, 0, 0, 0, 0, 0x78],              // a reserved bit
  [0x82, 0x01, 0x78],                          // not masked
  [0x80, 0x81, 0, 0, 0, 0, 0x78],              // a continuation of nothing
  [0x82, 0xff, 0x7f, ...Array(7).fill(0xff)],  // longer than any memory
];

const shared = useStand({options: ['--moving', 'x=100,y=100,w=500,h=400']});

/** A flood at work on the shared stand, over when the test t ends. */
async function startFlood(t) {
  const flood = await Flood.start(shared.stand);
  t.after(() => flood.stop());
  return flood;
}

test('a flood of input leaves the picture going and is handled to its end', async (t) => {
  const flood = await startFlood(t);
  await flood.inputs(500);
  await flood.untilHandled();
  await flood.untilPictures();
});

test('a message of 64 MiB leaves the picture going and is handled', async (t) => {
  const flood = await startFlood(t);
  flood.hugeText(kLargestBodyBytes);
  await flood.untilPictures();
  await flood.untilHandled();
  await flood.untilPictures();
});

test('a clipboard text of 100 MB on the desktop leaves the picture going', async (t) => {
  const flood = await startFlood(t);
  const log = await shared.stand.logFromHere();
  await flood.copyOnDesktop(1e8);
  await flood.untilPictures();
  await until(
      async () => (await log()).some((line) => line.includes('clipboard 100000030 bytes 超过')),
      'word on the text that is too long');
  await flood.untilPictures();
});

test('ill-behaved viewers are nothing to the host and to who watches', async (t) => {
  const flood = await startFlood(t);
  const url = new URL(shared.stand.viewer);
  const log = await shared.stand.logFromHere();
  const sockets = [];
  t.after(() => sockets.forEach((socket) => socket.destroy()));
  for (let i = 0; i < 200; i++) {
    const socket = connect(Number(url.port), '127.0.0.1');
    sockets.push(socket);
    // Turned away at any moment.
    socket.on('error', () => {});
    await once(socket, 'connect');
    // Silent, half a request, a wrong token.
    if (i % 3 === 1) socket.write('GET / HT');
    if (i % 3 === 2) socket.write(`GET /?token=guess HTTP/1.1\r\nHost: ${url.host}\r\n\r\n`);
  }
  for (const bytes of kIllegalFrames) {
    const viewer = new WebSocket(`ws://${url.host}/stream${url.search}&control=1`);
    viewer.on('error', () => {});
    await once(viewer, 'open');
    const closed = once(viewer, 'close');
    viewer._socket.write(Buffer.from(bytes));
    await closed;
  }
  const deaf = new WebSocket(`ws://${url.host}/stream${url.search}&control=1`);
  await once(deaf, 'open');
  deaf.pause();
  t.after(() => deaf.terminate());
  await flood.untilPictures();
  await flood.untilHandled();
  assert.ok(!flood.viewer.replaced);
  const known = /viewer refused|controller connected|push stats|screens info/;
  const said = (await log()).filter((line) => !known.test(line));
  assert.deepEqual(said, []);
});

test('after it all a new viewer gets its pictures', async () => {
  const viewer = await WatchingViewer.open(shared.stand.viewer);
  await viewer.untilMore(3, 'pictures');
  await viewer.close();
});
