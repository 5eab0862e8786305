// The WebSocket to the loopback library: connects, finds out why that failed, tries again.

import {Backoff} from './backoff.js';
import {parseBinaryMessage, parseEvent, profileCommand, wrapControlMessage} from './wire.js';

// More than this on its way means that the link is stuck; pointer moves are then left out.
const kCongestedBytes = 64 * 1024;
const kProbeTimeoutMs = 5000;

/**
 * States: 'connecting', 'connected', 'waiting' (before another attempt; reason 'gone', 'refused' or
 * 'lost'), 'forbidden', 'replaced' (connected, but another viewer has the stream), 'closed'.
 */
export class Connection {
  #socket = null;
  #retryTimer = 0;
  #backoff = new Backoff();
  #urlOf;
  #probeUrl;

  state = 'closed';

  /**
   * urlOf() gives the stream's address, probeUrl the page's own. onState(state, {reason, delayMs}),
   * onEvent(event), onBinary(message).
   */
  constructor({urlOf, probeUrl, onState, onEvent, onBinary}) {
    this.#urlOf = urlOf;
    this.#probeUrl = probeUrl;
    this.onState = onState;
    this.onEvent = onEvent;
    this.onBinary = onBinary;
  }

  connect() {
    this.#drop();
    this.#enter('connecting');
    const socket = new WebSocket(this.#urlOf());
    socket.binaryType = 'arraybuffer';
    this.#socket = socket;
    let opened = false;
    let ended = false;
    socket.onopen = () => {
      opened = true;
      this.#backoff.reset();
      this.#enter('connected');
    };
    socket.onmessage = ({data}) => {
      if (typeof data !== 'string') {
        this.#takeBinary(data);
        return;
      }
      const event = parseEvent(data);
      if (event?.event === 'bye') ended = true;
      if (event) this.#takeEvent(event);
    };
    socket.onclose = () => {
      if (socket !== this.#socket) return;
      this.#socket = null;
      // Trying again would take the stream back from the one that has it now.
      if (this.state === 'replaced') return;
      if (opened) {
        this.#retry(ended ? 'gone' : 'lost');
      } else {
        this.#diagnose();
      }
    };
  }

  /** Sends one message for the host; false when there is nobody to send it to. */
  sendControl(text) {
    return this.#send(wrapControlMessage(text));
  }

  sendProfile(profile) {
    return this.#send(profileCommand(profile));
  }

  get congested() {
    return (this.#socket?.bufferedAmount ?? 0) > kCongestedBytes;
  }

  close() {
    this.#drop();
    this.#enter('closed');
  }

  #send(data) {
    if (this.#socket?.readyState !== WebSocket.OPEN) return false;
    this.#socket.send(data);
    return true;
  }

  #drop() {
    clearTimeout(this.#retryTimer);
    const socket = this.#socket;
    this.#socket = null;
    socket?.close();
  }

  #takeBinary(data) {
    const message = parseBinaryMessage(data);
    if (message) this.onBinary(message);
  }

  #takeEvent(event) {
    if (event.event === 'replaced') this.#enter('replaced');
    this.onEvent(event);
  }

  #enter(state, details = {}) {
    this.state = state;
    this.onState(state, details);
  }

  #retry(reason) {
    const delayMs = this.#backoff.next();
    this.#retryTimer = setTimeout(() => this.connect(), delayMs);
    this.#enter('waiting', {reason, delayMs});
  }

  // A WebSocket that fails does not say why; an ordinary request to the same server does.
  async #diagnose() {
    let status = 0;
    try {
      const answer = await fetch(
          this.#probeUrl, {cache: 'no-store', signal: AbortSignal.timeout(kProbeTimeoutMs)});
      status = answer.status;
    } catch {
      // Nobody answers at all: status stays 0.
    }
    if (this.state !== 'connecting' || this.#socket) return;
    if (status === 403) {
      this.#enter('forbidden');
    } else {
      this.#retry(status === 0 ? 'gone' : 'refused');
    }
  }
}
