// Decides which units the decoder gets: after a loss, an error or a pile-up nothing but a key frame
// helps, and the host must be asked for one, though not with every unit. Pure; times in ms.

// Four frames late is old for a desktop; a decoder that keeps up has one or two in hand.
const kMaxQueuedUnits = 6;
const kAskAgainMs = 1000;
// A loss right after the key frame that was asked for is a new loss, but asking with every one
// would make a stream of nothing but key frames.
const kAskAfterAnswerMs = 200;

export class KeyFrameGate {
  #waiting = true;
  #askedAtMs = -Infinity;
  #answered = true;

  /**
   * One unit: {keyFrame, missing units before it, units queued in the decoder}. Gives
   * {decode, fresh, ask}: hand it to the decoder; throw away what is queued first; ask for a key
   * frame.
   */
  admit({keyFrame, missing, queued}, nowMs) {
    const piledUp = queued > kMaxQueuedUnits;
    if (missing > 0 || piledUp) this.#waiting = true;
    if (keyFrame) {
      this.#waiting = false;
      this.#answered = true;
      return {decode: true, fresh: piledUp, ask: false};
    }
    return {decode: !this.#waiting, fresh: false, ask: this.#waiting && this.shouldAsk(nowMs)};
  }

  /** The decoder failed or is new: everything up to the next key frame is lost. */
  lose() {
    this.#waiting = true;
  }

  /** Whether it is time to ask (again); counts as asked. */
  shouldAsk(nowMs) {
    const pauseMs = this.#answered ? kAskAfterAnswerMs : kAskAgainMs;
    if (nowMs - this.#askedAtMs < pauseMs) return false;
    this.noteAsked(nowMs);
    return true;
  }

  /** Someone has asked already. */
  noteAsked(nowMs) {
    this.#askedAtMs = nowMs;
    this.#answered = false;
  }

  get waiting() {
    return this.#waiting;
  }
}
