// What the page says to the host, as text. Pure.
//
// The host searches these texts byte by byte instead of parsing them, so their form matters:
// - no white space: the type is recognised as the exact fragment "type":"NAME";
// - the type comes first, and the text of a text event right after it: the host takes the first
//   quoted "text" it meets (the type's value) and then the next quoted string;
// - the fields of a key event stand in an order in which no value can be taken for a later name.
// JSON.stringify writes exactly that compact form, in the order of the properties.

const kMaxTextUnits = 4096;

const write = (fields) => JSON.stringify(fields);

export const listScreens = () => write({type: 'list_screens'});
export const switchScreen = (index) => write({type: 'switch_screen', index});
export const requestKeyFrame = (conn) => write({type: 'request_keyframe', conn});
export const bye = (conn) => write({type: 'bye', conn});
export const reset = () => write({type: 'reset'});
export const mouseMove = ({x, y}) => write({type: 'mousemove', x, y});
export const mouseButton = (down, {x, y}, button) =>
    write({type: down ? 'mousedown' : 'mouseup', x, y, button});
/** notches: whole steps of the wheel, positive scrolls down. */
export const mouseWheel = ({x, y}, notches) => write({type: 'mousewheel', x, y, deltaY: notches});
export const clipboard = (text) => write({type: 'clipboard', text});

/**
 * key: {hid, code, key}. The host reads the key's text raw, up to the next quote, whatever stands
 * before it: a quote would arrive as a backslash and press that key, so it is left out.
 */
export function keyEvent(down, {hid, code, key}) {
  return write({
    type: down ? 'keydown' : 'keyup',
    hid,
    code,
    key: key === '"' ? '' : key,
  });
}

function isHighSurrogate(unit) {
  return unit >= 0xd800 && unit <= 0xdbff;
}

/** Typed text as one or more messages; long text is cut between characters. */
export function textEvents(text) {
  const events = [];
  for (let start = 0; start < text.length;) {
    let end = Math.min(start + kMaxTextUnits, text.length);
    if (end < text.length && isHighSurrogate(text.charCodeAt(end - 1))) end -= 1;
    events.push(write({type: 'text', text: text.slice(start, end)}));
    start = end;
  }
  return events;
}
