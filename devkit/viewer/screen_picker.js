// One button for each monitor of the host.

import {shortScreenName} from './host_messages.js';

export class ScreenPicker {
  #root;

  /** onPick(index): the host's index of the monitor. */
  constructor({root, onPick}) {
    this.#root = root;
    root.addEventListener('click', ({target}) => {
      const button = target.closest('button[data-screen]');
      if (button) onPick(Number(button.dataset.screen));
    });
  }

  /** A screens message as parseHostMessage() gives it. */
  show({current, screens}) {
    this.#root.replaceChildren(...screens.map((screen) => this.#button(screen, current)));
    this.#root.hidden = screens.length === 0;
  }

  #button({index, name, width, height, primary}, current) {
    const button = document.createElement('button');
    button.type = 'button';
    button.dataset.screen = String(index);
    button.setAttribute('aria-pressed', String(index === current));
    button.title = `${name}, ${width}×${height}${primary ? ', primary' : ''}`;
    const label = document.createElement('span');
    label.textContent = shortScreenName(name);
    const size = document.createElement('small');
    size.textContent = `${width}×${height}`;
    button.append(label, size);
    return button;
  }
}
