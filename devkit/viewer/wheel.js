// Wheel events to whole notches. Pure.
//
// A wheel's notch is 100 or 120 CSS pixels, three lines, or legacy wheelDelta 120 whatever the
// zoom; a touchpad sends many small deltas, which add up to notches here.

const kPixelsPerNotch = 100;
const kLinesPerNotch = 3;
const kNotchesPerPage = 10;
const kLegacyPerNotch = 120;
// A touchpad's wheelDelta can be a multiple of 120 by chance, with far fewer pixels behind it.
const kLeastPixelsOfANotch = 50;
const kDeltaModeLine = 1;
const kDeltaModePage = 2;

function exactNotches(pixels, legacy) {
  if (!legacy || legacy % kLegacyPerNotch !== 0) return null;
  const notches = -legacy / kLegacyPerNotch;
  return Math.abs(pixels) >= Math.abs(notches) * kLeastPixelsOfANotch ? notches : null;
}

export class WheelAccumulator {
  #rest = 0;

  /**
   * The whole notches due after one event, positive scrolls down; what is left over waits for the
   * next event, unless the direction turns. Shift with a wheel arrives as a sideways scroll here,
   * but the host has Shift down itself and needs the wheel as it was.
   */
  add({deltaX = 0, deltaY, deltaMode, shiftKey, wheelDeltaX, wheelDeltaY}) {
    const sideways = shiftKey && deltaY === 0;
    const delta = sideways ? deltaX : deltaY;
    const exact =
        deltaMode === 0 ? exactNotches(delta, sideways ? wheelDeltaX : wheelDeltaY) : null;
    if (exact !== null) {
      this.#rest = 0;
      return exact;
    }
    const notches = this.#notchesOf(delta, deltaMode);
    if (notches * this.#rest < 0) this.#rest = 0;
    // Rounded, so that ten times 0.1 is one.
    this.#rest = Math.round((this.#rest + notches) * 1e6) / 1e6;
    const whole = Math.trunc(this.#rest);
    this.#rest -= whole;
    return whole + 0;
  }

  #notchesOf(delta, deltaMode) {
    if (deltaMode === kDeltaModeLine) return delta / kLinesPerNotch;
    if (deltaMode === kDeltaModePage) return delta * kNotchesPerPage;
    return delta / kPixelsPerNotch;
  }
}
