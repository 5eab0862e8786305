// The WebSocket's messages, byte by byte: what the loopback library sends and what it reads.
// Numbers are little-endian. Pure.

const kKindVideo = 1;
const kKindControl = 2;
const kVideoHeaderBytes = 24;
const kHostControlHeaderBytes = 4;
const kKeyFrameFlag = 1;

const utf8 = new TextEncoder();

/**
 * One binary message (an ArrayBuffer) from the library:
 * {kind: 'video', keyFrame, sequence, hostMs, handedOverMs, data} or {kind: 'control', body}.
 * hostMs is the host's own time stamp, handedOverMs the wall clock when the host gave the unit
 * away. Null when it is neither, or cut short.
 */
export function parseBinaryMessage(buffer) {
  const view = new DataView(buffer);
  if (view.byteLength < kHostControlHeaderBytes) return null;
  const kind = view.getUint8(0);
  if (kind === kKindControl) {
    return {kind: 'control', body: new Uint8Array(buffer, kHostControlHeaderBytes)};
  }
  if (kind !== kKindVideo || view.byteLength < kVideoHeaderBytes) return null;
  return {
    kind: 'video',
    keyFrame: (view.getUint8(1) & kKeyFrameFlag) !== 0,
    sequence: view.getUint32(4, true),
    hostMs: Number(view.getBigInt64(8, true)),
    handedOverMs: Number(view.getBigInt64(16, true)) / 1000,
    data: new Uint8Array(buffer, kVideoHeaderBytes),
  };
}

/** A text message from the library, {event: name, ...}; null when it is none. */
export function parseEvent(text) {
  try {
    const event = JSON.parse(text);
    return typeof event?.event === 'string' ? event : null;
  } catch {
    return null;
  }
}

/** The bytes that carry one message for the host. */
export function wrapControlMessage(text) {
  const body = utf8.encode(text);
  const message = new Uint8Array(1 + body.length);
  message[0] = kKindControl;
  message.set(body, 1);
  return message;
}

/** The command that changes the wanted bit rates (kbit/s) and frame rate; 0 leaves one open. */
export function profileCommand({fps, max, min}) {
  return JSON.stringify({command: 'profile', fps, max, min});
}
