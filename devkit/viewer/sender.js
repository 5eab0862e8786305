// Sends messages for the host.

const kKeptMessages = 64;

export class Sender {
  /** The last messages, oldest first: {atMs, text}. */
  recent = [];
  count = 0;

  constructor({connection, clockMs}) {
    this.connection = connection;
    this.clockMs = clockMs;
  }

  /** A message that is no input: screens, clipboard, key frames, bye. */
  send(text) {
    if (!this.connection.sendControl(text)) return false;
    this.count += 1;
    this.recent.push({atMs: this.clockMs(), text});
    if (this.recent.length > kKeptMessages) this.recent.shift();
    return true;
  }

  /** Mouse, keys and text; only while this page has the stream. */
  sendInput(text) {
    return this.connection.state === 'connected' && this.send(text);
  }

  /** A pointer move, left out while the link is stuck: the next one says it all. */
  sendMove(text) {
    return !this.connection.congested && this.sendInput(text);
  }
}
