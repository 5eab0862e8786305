// Floods of the real host: more messages, and larger ones, than any controller sends.

import {execFile} from 'node:child_process';
import {join} from 'node:path';
import {setImmediate as turn} from 'node:timers/promises';
import {fileURLToPath} from 'node:url';
import {promisify} from 'node:util';

import {wrapControlMessage} from '../../devkit/viewer/wire.js';

import {kBin, until} from './stand.mjs';
import {WatchingViewer} from './stream_watch.mjs';

const kWineRun = fileURLToPath(new URL('../../scripts/wine-run', import.meta.url));
const kBatch = 500;
const kUnsentBytes = 1 << 20;

/** What the library takes in one message. */
export const kLargestBodyBytes = 64 << 20;

export class Flood {
  /** Somebody watches while somebody else floods. */
  static async start(stand) {
    const flood = new Flood();
    flood.stand = stand;
    flood.viewer = await WatchingViewer.open(stand.viewer);
    flood.controller = await WatchingViewer.open(stand.viewer, {query: '&control=1'});
    await flood.untilPictures();
    return flood;
  }

  /** Moves of the mouse, as fast as they are taken. */
  async inputs(count) {
    const {socket} = this.controller;
    for (let sent = 0; sent < count; sent++) {
      socket.send(wrapControlMessage(`{"type":"mousemove","x":${sent % 1000},"y":${sent % 600}}`));
      if (sent % kBatch !== 0) continue;
      do {
        await turn();
      } while (socket.bufferedAmount > kUnsentBytes);
    }
  }

  /** One clipboard message of that many bytes. */
  hugeText(bytes) {
    const head = '{"type":"clipboard","text":"';
    this.controller.sendText(`${head}${'x'.repeat(bytes - head.length - 2)}"}`);
  }

  /** Puts a text of so many letters on the desktop's clipboard. */
  async copyOnDesktop(letters) {
    await promisify(execFile)(kWineRun, [join(kBin, 'talu_clip.exe'), String(letters)], {
      env: {
        ...process.env,
        WINEPREFIX: this.stand.value('prefix'),
        DISPLAY: this.stand.value('display'),
      },
    });
  }

  /** Waits for the answer to a message that stands behind all others. */
  async untilHandled() {
    const before = this.controller.countOf('screens');
    this.controller.send({type: 'list_screens'});
    await until(() => this.controller.countOf('screens') > before, 'answer after a flood');
  }

  untilPictures() {
    return this.viewer.untilMore(3, 'pictures in a flood');
  }

  async stop() {
    await this.controller.close();
    await this.viewer.close();
  }
}
