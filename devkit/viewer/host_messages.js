// What the host says to the page: screens, clipboard and cursor shape. Pure.

const kCursorMarker = 0xc0;
const kCursorHeaderBytes = 18;
const kMaxCursorSide = 1024;

/**
 * The body of one control message (a Uint8Array) as {type: 'cursor' | 'screens' | 'clipboard',
 * ...}; null for anything else.
 */
export function parseHostMessage(body) {
  if (body.length === 0) return null;
  return body[0] === kCursorMarker ? parseCursor(body) : parseText(body);
}

function parseCursor(body) {
  if (body.length < kCursorHeaderBytes) return null;
  const view = new DataView(body.buffer, body.byteOffset, body.byteLength);
  const width = view.getInt32(2, true);
  const height = view.getInt32(6, true);
  const sane = (side) => side >= 0 && side <= kMaxCursorSide;
  if (!sane(width) || !sane(height)) return null;
  const pixels = body.subarray(kCursorHeaderBytes);
  if (pixels.length < width * height * 4) return null;
  return {
    type: 'cursor',
    visible: body[1] !== 0,
    width,
    height,
    hotX: view.getInt32(10, true),
    hotY: view.getInt32(14, true),
    bgra: pixels.subarray(0, width * height * 4),
  };
}

function parseText(body) {
  let message;
  try {
    message = JSON.parse(new TextDecoder().decode(body));
  } catch {
    return null;
  }
  if (message?.type === 'clipboard' && typeof message.text === 'string') {
    return {type: 'clipboard', text: message.text};
  }
  if (message?.type === 'screens' && Array.isArray(message.screens)) {
    return {type: 'screens', current: message.current, screens: message.screens.map(readScreen)};
  }
  return null;
}

function readScreen({index, name, width, height, primary}) {
  return {index, name: String(name), width, height, primary: primary === true};
}

/** Straight-alpha RGBA, as ImageData wants it. */
export function rgbaOf(bgra) {
  const rgba = new Uint8ClampedArray(bgra.length);
  for (let i = 0; i < bgra.length; i += 4) {
    rgba[i] = bgra[i + 2];
    rgba[i + 1] = bgra[i + 1];
    rgba[i + 2] = bgra[i];
    rgba[i + 3] = bgra[i + 3];
  }
  return rgba;
}

/** A display's device name as people say it: \\.\DISPLAY2 is DISPLAY2. */
export function shortScreenName(name) {
  return name.replace(/^\\\\\.\\/, '');
}
