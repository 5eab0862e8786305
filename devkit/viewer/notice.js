// The words over the picture when there is nothing to see, or nothing new.

import {explain} from './explanations.js';

export class Notice {
  #root;
  #title;
  #detail;
  #button;

  /** The name in explanations.js of what is shown now; null when nothing is. */
  trouble = null;

  constructor({root, onAction}) {
    this.#root = root;
    this.#title = root.querySelector('[data-part=title]');
    this.#detail = root.querySelector('[data-part=detail]');
    this.#button = root.querySelector('button');
    this.#button.addEventListener('click', () => onAction(this.trouble));
  }

  /** reason: what exactly went wrong, added to the explanation. */
  show(trouble, reason = '') {
    this.trouble = trouble;
    this.#root.hidden = trouble === null;
    if (trouble === null) return;
    const {title, detail, action} = explain(trouble);
    this.#title.textContent = title;
    this.#detail.textContent = reason ? `${detail} (${reason})` : detail;
    this.#button.hidden = !action;
    this.#button.textContent = action ?? '';
  }

  get title() {
    return this.trouble === null ? '' : explain(this.trouble).title;
  }
}
