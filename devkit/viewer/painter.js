// The canvas that shows the desktop, and the only place that draws on it.
//
// There are two ways. Where the browser draws with a graphics card drawImage() is the faster one. Where
// it draws with the processor drawImage() takes 6 ms for 1280x720, while converting the frame to pixels
// and putting those takes 1 ms, with the same pixels. Which it is shows in the first frames.

import {FastestWay} from './fastest_way.js';

const kDrawImage = 0;
const kPutPixels = 1;

export class Painter {
  #canvas;
  #context;
  #ways = new FastestWay(2);
  #pixels = null;
  width = 0;
  height = 0;

  /** onResize(width, height) is called after the picture got another size. */
  constructor(canvas, {onResize}) {
    this.#canvas = canvas;
    this.onResize = onResize;
    // Desynchronized: the picture need not wait for the rest of the page to be drawn.
    this.#context = canvas.getContext('2d', {alpha: false, desynchronized: true});
  }

  /** Resolves once it is drawn. One at a time. */
  async draw(frame) {
    const way = this.#ways.next;
    const beganMs = performance.now();
    if (way === kPutPixels && !await this.#convert(frame)) {
      this.#ways.fail(kPutPixels);
      return this.draw(frame);
    }
    const {displayWidth, displayHeight} = frame;
    if (displayWidth !== this.width || displayHeight !== this.height) {
      this.#resize(displayWidth, displayHeight);
    }
    if (way === kPutPixels) {
      this.#context.putImageData(this.#pixels, 0, 0);
    } else {
      this.#context.drawImage(frame, 0, 0);
    }
    this.#ways.note(way, performance.now() - beganMs);
  }

  /** Red, green, blue and alpha of the picture's pixels, row by row. */
  readPixels(x, y, width, height) {
    return this.#context.getImageData(x, y, width, height).data;
  }

  // False where the browser cannot.
  async #convert(frame) {
    const {displayWidth: width, displayHeight: height, visibleRect} = frame;
    if (visibleRect.width !== width || visibleRect.height !== height) return false;
    if (this.#pixels?.width !== width || this.#pixels.height !== height) {
      this.#pixels = new ImageData(width, height);
    }
    try {
      await frame.copyTo(this.#pixels.data, {format: 'RGBA'});
      return true;
    } catch {
      return false;
    }
  }

  #resize(width, height) {
    this.#canvas.width = width;
    this.#canvas.height = height;
    this.width = width;
    this.height = height;
    this.onResize(width, height);
  }
}
