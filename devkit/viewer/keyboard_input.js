// The keyboard, sent as key messages, and input methods, sent as text.
//
// Keys are caught by a text field that nobody sees: input methods work only where text is wanted.

import {HeldKeys} from './held_keys.js';
import {describeKey} from './key_codes.js';
import {keyEvent, textEvents} from './messages.js';

// How long the key of a paste waits for the text that the browser is about to hand over.
const kPasteWaitMs = 200;
const kInputMethodKeyCode = 229;

function belongsToInputMethod(event) {
  return event.isComposing || event.keyCode === kInputMethodKeyCode || event.key === 'Process';
}

function isPasteShortcut({code, ctrlKey, metaKey, shiftKey, altKey, repeat}) {
  if (altKey || repeat) return false;
  return (code === 'KeyV' && (ctrlKey || metaKey)) || (code === 'Insert' && shiftKey && !ctrlKey);
}

export class KeyboardInput {
  #catcher;
  #sender;
  #held = new HeldKeys();
  #pasteKey = null;
  #pasteTimer = 0;

  /**
   * catcher: the text field. onPaste(text) is called before the keys of a paste are sent, onLeave()
   * when the field has lost the focus, onKey() with every key, while the browser counts it as the
   * user's wish.
   */
  constructor({catcher, sender, onPaste, onLeave, onKey}) {
    this.#catcher = catcher;
    this.#sender = sender;
    const listen = (name, handler) => catcher.addEventListener(name, handler);
    listen('keydown', (event) => {
      onKey();
      this.#keyDown(event);
    });
    listen('keyup', (event) => this.#keyUp(event));
    listen('compositionend', (event) => this.#takeText(event.data));
    listen('input', (event) => {
      if (!event.isComposing) this.#takeText(catcher.value);
    });
    listen('paste', (event) => {
      event.preventDefault();
      onPaste(event.clipboardData.getData('text/plain'));
      this.#sendPasteKey();
    });
    for (const name of ['copy', 'cut', 'contextmenu', 'dragover', 'drop']) {
      listen(name, (event) => event.preventDefault());
    }
    listen('blur', () => {
      catcher.value = '';
      onLeave();
    });
  }

  /** Keys go to the desktop from now on. place: where input methods open their windows. */
  focus(place) {
    if (place) {
      this.#catcher.style.left = `${place.clientX}px`;
      this.#catcher.style.top = `${place.clientY}px`;
    }
    this.#catcher.focus({preventScroll: true});
  }

  /** The same, unless a panel of the page is open. */
  focusIfFree() {
    if (!document.querySelector('.panel:popover-open')) this.focus();
  }

  /** Types a text on the desktop. */
  type(text) {
    for (const message of textEvents(text)) this.#sender.sendInput(message);
  }

  /** Presses keys one after the other and lets go of them backwards. codes: KeyboardEvent.code. */
  chord(codes) {
    const keys = codes.map((code) => describeKey({code, key: ''}));
    for (const key of keys) this.#sender.sendInput(keyEvent(true, key));
    for (const key of keys.reverse()) this.#sender.sendInput(keyEvent(false, key));
  }

  /** Lets go of the keys that are down; false when there are none. */
  release() {
    this.#sendPasteKey();
    const keys = this.#held.takeAll();
    for (const key of keys) this.#sender.sendInput(keyEvent(false, key));
    return keys.length > 0;
  }

  #keyDown(event) {
    if (belongsToInputMethod(event)) return;
    this.#sendPasteKey();
    const key = describeKey(event);
    if (key.action === 'key' && isPasteShortcut(event)) {
      this.#pasteKey = key;
      this.#pasteTimer = setTimeout(() => this.#sendPasteKey(), kPasteWaitMs);
      return;
    }
    event.preventDefault();
    if (key.action === 'text') this.type(key.text);
    if (key.action === 'key') this.#press(key);
  }

  #keyUp(event) {
    this.#sendPasteKey();
    const key = describeKey(event);
    if (key.action !== 'key') return;
    event.preventDefault();
    for (const held of this.#held.release(key.code)) this.#sender.sendInput(keyEvent(false, held));
  }

  #press(key) {
    this.#held.press(key);
    this.#sender.sendInput(keyEvent(true, key));
  }

  #sendPasteKey() {
    clearTimeout(this.#pasteTimer);
    const key = this.#pasteKey;
    this.#pasteKey = null;
    if (key) this.#press(key);
  }

  #takeText(text) {
    this.#catcher.value = '';
    if (text) this.type(text);
  }
}
