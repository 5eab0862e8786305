// Plays the loopback library and the host behind it, for tests of the page alone: serves the page,
// sends a film, notes what the page says.

import {readFile} from 'node:fs/promises';
import {createServer} from 'node:http';
import {extname, join, normalize} from 'node:path';
import {fileURLToPath} from 'node:url';
import {WebSocketServer} from 'ws';

const kViewerFolder = fileURLToPath(new URL('../../devkit/viewer/', import.meta.url));
const kTypes = {
  '.html': 'text/html; charset=utf-8',
  '.css': 'text/css; charset=utf-8',
  '.js': 'text/javascript; charset=utf-8',
};
const kPictureIntervalMs = 33;

function videoMessage({keyFrame, data}, sequence) {
  const header = Buffer.alloc(24);
  header[0] = 1;
  header[1] = keyFrame ? 1 : 0;
  header.writeUInt32LE(sequence, 4);
  header.writeBigInt64LE(BigInt(sequence) * 33n, 8);
  header.writeBigInt64LE(
      BigInt(Math.round((performance.timeOrigin + performance.now()) * 1000)), 16);
  return Buffer.concat([header, data]);
}

export class FakeHost {
  #film;
  #position = 0;
  #sequence = 0;
  #timer = 0;
  #client = null;
  #waiters = new Set();

  token = 'a-token';
  /** Bodies of the control messages, in order, of all connections. */
  messages = [];
  /** Text messages, parsed. */
  commands = [];
  /** The stream's addresses as they were opened. */
  streams = [];
  /** Units not sent although they are counted. */
  unitsToLose = 0;
  /** Units sent with wrong bytes. */
  unitsToSpoil = 0;
  playing = true;
  refusing = false;

  static async start({film, port = 0}) {
    const host = new FakeHost();
    host.#film = film;
    host.server = createServer((request, response) => host.#serve(request, response));
    host.sockets = new WebSocketServer({noServer: true});
    host.server.on('upgrade', (request, socket, head) => host.#upgrade(request, socket, head));
    host.server.listen(port, '127.0.0.1');
    await new Promise((resolve, reject) => {
      host.server.once('listening', resolve);
      host.server.once('error', reject);
    });
    host.port = host.server.address().port;
    host.#timer = setInterval(() => host.#sendPicture(), kPictureIntervalMs);
    return host;
  }

  get url() {
    return `http://127.0.0.1:${this.port}/?token=${this.token}`;
  }

  /** Another film, from a key frame on. */
  showFilm(film) {
    this.#film = film;
    this.#position = 0;
  }

  /** The messages as objects. */
  get said() {
    return this.messages.map((text) => JSON.parse(text));
  }

  /** messages without the requests for key frames, made whenever a busy page falls behind. */
  get wishes() {
    return this.messages.filter((text) => !text.startsWith('{"type":"request_keyframe"'));
  }

  /** The same as objects. */
  get wished() {
    return this.wishes.map((text) => JSON.parse(text));
  }

  saidOf(...types) {
    return this.said.filter(({type}) => types.includes(type));
  }

  /** Waits until check() gives something; looks again after every message. */
  until(check, what, timeoutMs = 30000) {
    return new Promise((resolve, reject) => {
      const look = () => {
        const found = check();
        if (!found) return;
        clearTimeout(timer);
        this.#waiters.delete(look);
        resolve(found);
      };
      const timer = setTimeout(() => {
        this.#waiters.delete(look);
        reject(new Error(`${what} did not happen; the page said ${this.messages.join(' ')}`));
      }, timeoutMs);
      this.#waiters.add(look);
      look();
    });
  }

  sendEvent(event) {
    this.#client?.send(JSON.stringify(event));
  }

  sendText(text) {
    this.#sendControl(Buffer.from(text));
  }

  sendCursor({visible, width, height, hotX, hotY, bgra}) {
    const body = Buffer.alloc(18 + bgra.length);
    body[0] = 0xc0;
    body[1] = visible ? 1 : 0;
    [width, height, hotX, hotY].forEach((value, i) => body.writeInt32LE(value, 2 + i * 4));
    body.set(bgra, 18);
    this.#sendControl(body);
  }

  /** Tells the page that another viewer has the stream. */
  replaceViewer() {
    this.sendEvent({event: 'replaced'});
    this.playing = false;
  }

  dropConnection() {
    this.#client?.terminate();
  }

  async stop() {
    clearInterval(this.#timer);
    for (const client of this.sockets.clients) client.terminate();
    this.server.closeAllConnections();
    await new Promise((resolve) => this.server.close(resolve));
  }

  #sendControl(body) {
    this.#client?.send(Buffer.concat([Buffer.from([2, 0, 0, 0]), body]));
  }

  async #serve(request, response) {
    const url = new URL(request.url, this.url);
    if (url.pathname === '/' && url.searchParams.get('token') !== this.token) {
      response.writeHead(403).end();
      return;
    }
    const name = url.pathname === '/' ? 'index.html' : normalize(url.pathname).slice(1);
    const type = kTypes[extname(name)];
    try {
      if (!type || name.includes('/')) throw new Error('not a file of the page');
      const content = await readFile(join(kViewerFolder, name));
      response.writeHead(200, {'Content-Type': type, 'Cache-Control': 'no-store'}).end(content);
    } catch {
      response.writeHead(404).end();
    }
  }

  #upgrade(request, socket, head) {
    const url = new URL(request.url, this.url);
    const known = url.pathname === '/stream' && url.searchParams.get('token') === this.token;
    if (!known || this.refusing) {
      socket.end(`HTTP/1.1 ${known ? 503 : 403} No\r\nConnection: close\r\n\r\n`);
      return;
    }
    this.sockets.handleUpgrade(request, socket, head, (client) => this.#welcome(client, url));
  }

  #welcome(client, url) {
    this.streams.push(url);
    this.#client = client;
    this.#position = 0;
    client.on('message', (data, binary) => this.#take(data, binary));
    client.send(JSON.stringify(
        {event: 'hello', instance: 'fake', width: 640, height: 360, subscriber: true}));
    this.#lookAround();
  }

  #take(data, binary) {
    if (!binary) {
      this.commands.push(JSON.parse(data.toString()));
    } else if (data[0] === 2) {
      this.messages.push(data.subarray(1).toString());
    } else {
      throw new Error(`the page sent a message of kind ${data[0]}`);
    }
    this.#lookAround();
  }

  #lookAround() {
    for (const look of [...this.#waiters]) look();
  }

  #sendPicture() {
    if (!this.playing || this.#client?.readyState !== 1) return;
    const picture = this.#film[this.#position];
    this.#position = (this.#position + 1) % this.#film.length;
    const sequence = this.#sequence++;
    if (this.unitsToLose > 0) {
      this.unitsToLose -= 1;
      return;
    }
    const spoilt = this.unitsToSpoil > 0;
    if (spoilt) this.unitsToSpoil -= 1;
    const data = spoilt ? Buffer.alloc(picture.data.length, 0xff) : picture.data;
    this.#client.send(videoMessage({...picture, data}, sequence));
  }
}
