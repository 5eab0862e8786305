// The pointer over the picture, sent as mouse messages.

import {mouseButton, mouseMove, mouseWheel} from './messages.js';
import {buttonChanges, toPicture} from './pointer_map.js';
import {WheelAccumulator} from './wheel.js';

// A pointer that reports a thousand times a second need not be followed that closely.
const kLeastMoveIntervalMs = 4;
const kHistoryButtons = new Set([3, 4]);

export class MouseInput {
  #surface;
  #sender;
  #sizeOf;
  #buttons = 0;
  #point = {x: 0, y: 0};
  #sentPoint = null;
  #sentAtMs = -Infinity;
  #moveTimer = 0;
  #wheel = new WheelAccumulator();

  /** surface: the element that shows the picture; sizeOf(): the picture's {width, height}. */
  constructor({surface, sender, sizeOf, onPress}) {
    this.#surface = surface;
    this.#sender = sender;
    this.#sizeOf = sizeOf;
    const listen = (name, handler, options) => surface.addEventListener(name, handler, options);
    // Raw updates come at once, pointermove only with the next frame of the page.
    listen('pointerrawupdate', (event) => this.#move(event));
    listen('pointermove', (event) => this.#take(event));
    listen('pointerup', (event) => this.#take(event));
    listen('pointercancel', () => this.#changeButtons(0));
    listen('pointerdown', (event) => {
      surface.setPointerCapture(event.pointerId);
      onPress(event);
      this.#take(event);
    });
    listen('wheel', (event) => this.#roll(event), {passive: false});
    for (const name of ['contextmenu', 'mousedown', 'dragstart']) {
      listen(name, (event) => event.preventDefault());
    }
    for (const name of ['mouseup', 'auxclick']) {
      listen(name, (event) => {
        if (kHistoryButtons.has(event.button)) event.preventDefault();
      });
    }
  }

  /** Lets go of the buttons that are down; false when there are none. */
  release() {
    const held = this.#buttons !== 0;
    this.#changeButtons(0);
    return held;
  }

  #take(event) {
    // A touch that has ended lies nowhere: it only lets go.
    this.#move(event);
    this.#changeButtons(event.buttons);
  }

  #locate(event) {
    const {width, height} = this.#sizeOf();
    this.#point = toPicture(event, this.#surface.getBoundingClientRect(), width, height);
  }

  #move(event) {
    this.#locate(event);
    const waitMs = this.#sentAtMs + kLeastMoveIntervalMs - event.timeStamp;
    if (waitMs <= 0) {
      this.#sendPoint(event.timeStamp);
    } else if (this.#moveTimer === 0) {
      this.#moveTimer = setTimeout(() => this.#sendPoint(performance.now()), waitMs);
    }
  }

  #sendPoint(nowMs) {
    clearTimeout(this.#moveTimer);
    this.#moveTimer = 0;
    const {x, y} = this.#point;
    if (this.#sentPoint?.x === x && this.#sentPoint?.y === y) return;
    if (!this.#sender.sendMove(mouseMove(this.#point))) return;
    this.#sentPoint = {x, y};
    this.#sentAtMs = nowMs;
  }

  #changeButtons(buttons) {
    for (const {button, down} of buttonChanges(this.#buttons, buttons)) {
      this.#cancelMove();
      if (this.#sender.sendInput(mouseButton(down, this.#point, button))) {
        this.#sentPoint = {...this.#point};
      }
    }
    this.#buttons = buttons;
  }

  // A button or the wheel says where the pointer is; a move after it would be late.
  #cancelMove() {
    clearTimeout(this.#moveTimer);
    this.#moveTimer = 0;
  }

  #roll(event) {
    event.preventDefault();
    this.#locate(event);
    const notches = this.#wheel.add(event);
    if (notches === 0) return;
    // The host does not move the pointer for the wheel, and turns what lies under it.
    this.#sendPoint(event.timeStamp);
    this.#sender.sendInput(mouseWheel(this.#point, notches));
  }
}
