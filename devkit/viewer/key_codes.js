// Which key a keyboard event is, in the host's terms. Pure.
//
// The host goes by the key's place on the keyboard (its USB HID usage), then by its code's name,
// then by the first byte of its text. The last way guesses: it would press A for "AudioVolumeUp".
// So a key without a place that the host knows is typed as text where it stands for a character,
// and stays here otherwise.

const kKeyboardPage = 0x00070000;

function named(prefix, names, firstUsage) {
  return [...names].map((name, i) => [prefix + name, firstUsage + i]);
}

function numbered(prefix, first, last, firstUsage) {
  return Array.from(
      {length: last - first + 1}, (_, i) => [`${prefix}${first + i}`, firstUsage + i]);
}

/** KeyboardEvent.code to HID usage on the keyboard page. */
export const kUsageByCode = new Map([
  ...named('Key', 'ABCDEFGHIJKLMNOPQRSTUVWXYZ', 4),
  ...numbered('Digit', 1, 9, 30),
  ['Digit0', 39],
  ...named(
      '',
      [
        'Enter',
        'Escape',
        'Backspace',
        'Tab',
        'Space',
        'Minus',
        'Equal',
        'BracketLeft',
        'BracketRight',
        'Backslash',
      ],
      40),
  ...named('', ['Semicolon', 'Quote', 'Backquote', 'Comma', 'Period', 'Slash', 'CapsLock'], 51),
  ...numbered('F', 1, 12, 58),
  ...named(
      '',
      [
        'PrintScreen',    'ScrollLock',     'Pause',     'Insert',      'Home',
        'PageUp',         'Delete',         'End',       'PageDown',    'ArrowRight',
        'ArrowLeft',      'ArrowDown',      'ArrowUp',   'NumLock',     'NumpadDivide',
        'NumpadMultiply', 'NumpadSubtract', 'NumpadAdd', 'NumpadEnter',
      ],
      70),
  ...numbered('Numpad', 1, 9, 89),
  ['Numpad0', 98],
  ['NumpadDecimal', 99],
  ['IntlBackslash', 100],
  ['ContextMenu', 101],
  ['Power', 102],
  ['NumpadEqual', 103],
  ...numbered('F', 13, 24, 104),
  ['Open', 116],
  ['Help', 117],
  ['Select', 119],
  ['Again', 121],
  ['Undo', 122],
  ['Cut', 123],
  ['Copy', 124],
  ['Paste', 125],
  ['Find', 126],
  ['AudioVolumeMute', 127],
  ['AudioVolumeUp', 128],
  ['AudioVolumeDown', 129],
  ['NumpadComma', 133],
  ['IntlRo', 135],
  ['KanaMode', 136],
  ['IntlYen', 137],
  ['Convert', 138],
  ['NonConvert', 139],
  ...numbered('Lang', 1, 5, 144),
  ...named(
      '',
      [
        'ControlLeft',
        'ShiftLeft',
        'AltLeft',
        'MetaLeft',
        'ControlRight',
        'ShiftRight',
        'AltRight',
        'MetaRight',
      ],
      224),
]);

// Soft keyboards name keys without saying where they are.
const kCodeByKey = new Map([
  ...['Enter', 'Escape', 'Backspace', 'Tab', 'Delete', 'Insert', 'Home', 'End', 'PageUp',
      'PageDown', 'ArrowUp', 'ArrowDown', 'ArrowLeft', 'ArrowRight']
      .map((key) => [key, key]),
  ['Shift', 'ShiftLeft'],
  ['Control', 'ControlLeft'],
  ['Alt', 'AltLeft'],
  ['Meta', 'MetaLeft'],
]);

const between = (usage, first, last) => usage >= first && usage <= last;

/** Whether the host has a key for a usage of the keyboard page. */
export function hostKnowsUsage(usage) {
  return (between(usage, 4, 99) && usage !== 50) || usage === 101 || between(usage, 104, 115) ||
      between(usage, 224, 231);
}

/** The usage with its page, as messages carry it; 0 when the code has none. */
export function hidOf(code) {
  const usage = kUsageByCode.get(code);
  return usage === undefined ? 0 : kKeyboardPage + usage;
}

function isOneCharacter(key) {
  return [...key].length === 1;
}

/**
 * What to do about a keyboard event: {action: 'key', hid, code, key}, {action: 'text', text} or
 * {action: 'none'}.
 */
export function describeKey({code, key, ctrlKey, altKey, metaKey}) {
  const place = kUsageByCode.has(code) ? code : kCodeByKey.get(key) ?? code;
  const hid = hidOf(place);
  if (hid !== 0 && hostKnowsUsage(hid - kKeyboardPage)) {
    return {action: 'key', hid, code: place, key};
  }
  if (!isOneCharacter(key)) return {action: 'none'};
  if (!ctrlKey && !altKey && !metaKey) return {action: 'text', text: key};
  return key.charCodeAt(0) < 0x80 ? {action: 'key', hid, code: place, key} : {action: 'none'};
}
