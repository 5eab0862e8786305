// Keeps this computer's clipboard and the host's in step, as far as the browser allows.
//
// Writing needs the focus, or a key or click shortly before; reading needs a permission that this
// never asks for by itself (a paste brings its text without one). What the browser forbids can be
// done by hand in the page's text box.

import {forHost, forPage} from './clipboard_text.js';
import {clipboard} from './messages.js';

export class ClipboardLink {
  #sender;
  #known = '';
  #unwritten = null;

  /** The last text that the host sent, as it sent it. */
  hostText = '';

  /** onHostText(text, whether this computer's clipboard has it). */
  constructor({sender, onHostText}) {
    this.#sender = sender;
    this.onHostText = onHostText;
  }

  /** The host's clipboard holds a new text. */
  async takeFromHost(text) {
    this.hostText = text;
    this.#known = forPage(text);
    await this.#write(this.#known);
  }

  /** Tries again what the browser forbade before: call it with a key, a click or the focus. */
  retry() {
    if (this.#unwritten !== null) this.#write(this.#unwritten);
  }

  /** This computer's clipboard holds text: the host gets it unless it has it. */
  offer(text) {
    const known = forPage(text);
    if (known === '' || known === this.#known) return;
    this.put(text);
  }

  /** Puts text on the host's clipboard in any case; false when there is no connection. */
  put(text) {
    if (text === '' || !this.#sender.send(clipboard(forHost(text)))) return false;
    this.#known = forPage(text);
    this.#unwritten = null;
    return true;
  }

  /** Offers what this computer's clipboard holds, if the page may read it without a question. */
  async offerIfAllowed() {
    try {
      const {state} = await navigator.permissions.query({name: 'clipboard-read'});
      if (state === 'granted' && document.hasFocus()) {
        this.offer(await navigator.clipboard.readText());
      }
    } catch {
      // Not every browser lets a page ask; pasting still works.
    }
  }

  /** Copies text to this computer's clipboard; false when the browser forbids it. */
  async copyHere(text) {
    // Not after the write, in whose time the user may have copied something else.
    this.#known = forPage(text);
    try {
      await navigator.clipboard.writeText(text);
      return true;
    } catch {
      return false;
    }
  }

  async #write(text) {
    this.#unwritten = text;
    const written = await this.copyHere(text);
    if (this.#unwritten !== text) return;
    if (written) this.#unwritten = null;
    this.onHostText(text, written);
  }
}
