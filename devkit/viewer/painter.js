// The canvas that shows the desktop, and the only place that draws on it.

export class Painter {
  #canvas;
  #context;
  width = 0;
  height = 0;

  /** onResize(width, height) is called after the picture got another size. */
  constructor(canvas, {onResize}) {
    this.#canvas = canvas;
    this.onResize = onResize;
    // Desynchronized: the picture need not wait for the rest of the page to be drawn.
    this.#context = canvas.getContext('2d', {alpha: false, desynchronized: true});
  }

  draw(frame) {
    const {displayWidth, displayHeight} = frame;
    if (displayWidth !== this.width || displayHeight !== this.height) {
      this.#resize(displayWidth, displayHeight);
    }
    this.#context.drawImage(frame, 0, 0);
  }

  /** Red, green, blue and alpha of the picture's pixels, row by row. */
  readPixels(x, y, width, height) {
    return this.#context.getImageData(x, y, width, height).data;
  }

  #resize(width, height) {
    this.#canvas.width = width;
    this.#canvas.height = height;
    this.width = width;
    this.height = height;
    this.onResize(width, height);
  }
}
