// Shows the host's cursor shape as the pointer over the picture.

import {rgbaOf} from './host_messages.js';

function drawShape({width, height, bgra}) {
  const canvas = document.createElement('canvas');
  canvas.width = width;
  canvas.height = height;
  canvas.getContext('2d').putImageData(new ImageData(rgbaOf(bgra), width, height), 0, 0);
  return canvas.toDataURL('image/png');
}

const within = (value, length) => Math.min(Math.max(value, 0), length - 1);

export class LocalCursor {
  #surface;
  #shape = null;

  /** {visible, width, height, hotX, hotY} of the last cursor, null before the first. */
  current = null;

  constructor(surface) {
    this.#surface = surface;
  }

  /** A cursor as parseHostMessage() gives it. */
  show(cursor) {
    const {visible, width, height, hotX, hotY, bgra} = cursor;
    this.current = {visible, width, height, hotX, hotY};
    this.#shape = width > 0 && height > 0 ? drawShape({width, height, bgra}) : null;
    this.#surface.style.cursor = this.#css();
  }

  #css() {
    const {visible, width, height, hotX, hotY} = this.current;
    if (!visible) return 'none';
    if (!this.#shape) return 'default';
    return `url(${this.#shape}) ${within(hotX, width)} ${within(hotY, height)}, default`;
  }
}
