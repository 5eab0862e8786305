// The text box: shows the host's clipboard, and does by hand what the browser does not let the page
// do by itself.

export class TextPanel {
  #box;
  #note;

  /** root: the panel; link: the ClipboardLink; type(text): types on the desktop. */
  constructor({root, link, type}) {
    this.#box = root.querySelector('textarea');
    this.#note = root.querySelector('[data-part=note]');
    const on = (name, handler) =>
        root.querySelector(`[data-do=${name}]`).addEventListener('click', handler);
    on('put', () => this.#say(link.put(this.#box.value) ? 'Sent.' : 'Nothing was sent.'));
    on('type', () => {
      type(this.#box.value);
      this.#say('Typed.');
    });
    on('copy', async () => {
      const copied = await link.copyHere(this.#box.value);
      if (!copied) this.#box.select();
      this.#say(copied ? 'Copied.' : 'The browser forbids it; press Ctrl+C.');
    });
    on('read', async () => {
      try {
        this.#box.value = await navigator.clipboard.readText();
        this.#say('');
      } catch {
        this.#say('The browser forbids it; paste into the box.');
      }
    });
  }

  /** The host's clipboard has a new text. */
  showHostText(text) {
    if (document.activeElement === this.#box && this.#box.value !== '') {
      this.#say('The desktop’s clipboard has a new text; what you write here stays.');
      return;
    }
    this.#box.value = text;
    this.#say('From the desktop’s clipboard.');
  }

  #say(note) {
    this.#note.textContent = note;
  }
}
