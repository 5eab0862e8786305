// Counts the units of the stream that never arrived. Pure.

export class SequenceWatch {
  #next = null;

  /** How many units are missing before this one; the first one has none before it. */
  observe(sequence) {
    const missing = this.#next === null ? 0 : (sequence - this.#next) >>> 0;
    this.#next = (sequence + 1) >>> 0;
    return missing;
  }

  restart() {
    this.#next = null;
  }
}
