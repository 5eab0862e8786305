// A viewer without a page that looks at every unit it gets: key frames first, pictures of the right
// size. For long runs, in which the picture's size is the sign of the monitor it shows.

import {once} from 'node:events';
import WebSocket from 'ws';

import {pictureSize} from '../../devkit/viewer/h264_sps.js';
import {isSps, splitUnits} from '../../devkit/viewer/h264_units.js';
import {parseBinaryMessage, parseEvent, wrapControlMessage} from '../../devkit/viewer/wire.js';

import {until} from './stand.mjs';

/** "1280x720" of a unit with parameter sets; null without. */
function sizeOf(unit) {
  const sps = splitUnits(unit).find(isSps);
  if (!sps) return null;
  const {width, height} = pictureSize(sps.data);
  return `${width}x${height}`;
}

/** The sizes that pictures may have, and what was wrong with those that came. */
export class SizeWatch {
  #allowed = new Set();
  #only = null;
  #onlyFromMs = Infinity;

  wrong = [];

  /** From now on pictures may have one of these sizes, until only() says which. */
  allow(...sizes) {
    if (this.#only) this.#allowed.add(this.#only);
    this.#only = null;
    for (const size of sizes) this.#allowed.add(size);
  }

  /** What the host gives away after this moment has this size. */
  only(size) {
    this.#only = size;
    this.#onlyFromMs = Date.now();
    this.#allowed.add(size);
  }

  check(size, handedOverMs) {
    if (!this.#allowed.has(size)) {
      this.wrong.push(`${size}, not one of ${[...this.#allowed].join(' ')}`);
    } else if (this.#only && handedOverMs > this.#onlyFromMs) {
      if (size === this.#only)
        this.#allowed = new Set([size]);
      else
        this.wrong.push(`${size} after the change to ${this.#only}`);
    }
  }
}

export class WatchingViewer {
  units = 0;
  keyFrames = 0;
  bytes = 0;
  /** Of the last key frame. */
  size = null;
  /** The host's texts, parsed; the last of each type. */
  said = new Map();
  saidCounts = new Map();
  replaced = false;
  closed = false;
  /** What was wrong with the order of units. */
  wrong = [];

  /** watch: a SizeWatch, or null. query: like "&control=1&fps=10". */
  static async open(address, {watch = null, query = ''} = {}) {
    const viewer = new WatchingViewer();
    const url = new URL(address);
    viewer.watch = watch;
    viewer.socket = new WebSocket(
        `ws://${url.host}/stream?token=${url.searchParams.get('token')}${query}`,
        {perMessageDeflate: false});
    viewer.socket.binaryType = 'arraybuffer';
    viewer.socket.on('close', () => viewer.closed = true);
    viewer.socket.on('message', (data, binary) => viewer.#take(data, binary));
    // An error comes with its own close.
    viewer.socket.on('error', () => {});
    viewer.openedMs = performance.now();
    await until(() => {
      if (viewer.closed) throw new Error('the stream was refused');
      return viewer.greeted;
    }, 'greeting of the stream');
    return viewer;
  }

  send(message) {
    this.sendText(JSON.stringify(message));
  }

  /** A body as it stands. */
  sendText(text) {
    this.socket.send(wrapControlMessage(text));
  }

  command(fields) {
    this.socket.send(JSON.stringify(fields));
  }

  /** Waits for that many more units. */
  async untilMore(count, what) {
    const wanted = this.units + count;
    await until(() => {
      if (this.closed) throw new Error(`connection lost while waiting for ${what}`);
      return this.units >= wanted;
    }, what);
  }

  /** How many texts of a type have come. */
  countOf(type) {
    return this.saidCounts.get(type) ?? 0;
  }

  async close() {
    if (this.socket.readyState === WebSocket.CLOSED) return;
    const closed = once(this.socket, 'close');
    this.socket.close();
    await closed;
  }

  #take(data, binary) {
    this.greeted = true;
    if (!binary) {
      if (parseEvent(data.toString())?.event === 'replaced') this.replaced = true;
      return;
    }
    const message = parseBinaryMessage(data);
    if (message?.kind === 'video')
      this.#takeUnit(message);
    else if (message?.body[0] === '{'.charCodeAt())
      this.#takeText(JSON.parse(new TextDecoder().decode(message.body)));
  }

  #takeText(message) {
    this.said.set(message.type, message);
    this.saidCounts.set(message.type, this.countOf(message.type) + 1);
  }

  #takeUnit({keyFrame, data, handedOverMs}) {
    if (this.units === 0) {
      this.firstUnitMs = performance.now() - this.openedMs;
      if (!keyFrame) this.wrong.push('the first unit is no key frame');
    }
    this.units += 1;
    this.bytes += data.length;
    if (keyFrame) {
      this.keyFrames += 1;
      const size = sizeOf(data);
      if (size === null) this.wrong.push('a key frame without parameter sets');
      this.size = size ?? this.size;
    }
    if (this.size !== null) this.watch?.check(this.size, handedOverMs);
  }
}
