// The place where the picture is shown: keeps the canvas as large as it fits, or at its own size.

import {pictureSize} from './pointer_map.js';

export class Stage {
  #element;
  #canvas;
  #picture = {width: 0, height: 0};

  /** 'fit' or 'actual'. */
  mode = 'fit';

  constructor({element, canvas}) {
    this.#element = element;
    this.#canvas = canvas;
    new ResizeObserver(() => this.#layOut()).observe(element);
  }

  setPicture(width, height) {
    this.#picture = {width, height};
    this.#layOut();
  }

  setMode(mode) {
    this.mode = mode;
    this.#element.dataset.mode = mode;
    this.#layOut();
  }

  #layOut() {
    if (this.#picture.width === 0 || this.#picture.height === 0) return;
    const room = {width: this.#element.clientWidth, height: this.#element.clientHeight};
    const {width, height} = pictureSize(room, this.#picture, this.mode, devicePixelRatio);
    this.#canvas.style.width = `${width}px`;
    this.#canvas.style.height = `${height}px`;
  }
}
