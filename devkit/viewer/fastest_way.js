// Finds out which of several ways to do the same thing is the fastest here: each is tried a few times,
// in turns, then the one with the shortest time stays. Pure.

const kTries = 8;

export class FastestWay {
  #times;
  #chosen = null;

  /** Ways are numbered from 0. */
  constructor(count) {
    this.#times = Array.from({length: count}, () => []);
  }

  /** The way to go next. */
  get next() {
    if (this.#chosen !== null) return this.#chosen;
    const possible = this.#possible();
    return possible.reduce((a, b) => this.#times[b].length < this.#times[a].length ? b : a);
  }

  /** A way took so long. */
  note(way, ms) {
    if (this.#chosen !== null || this.#times[way] === null) return;
    this.#times[way].push(ms);
    this.#choose();
  }

  /** A way does not work here; at least one has to. */
  fail(way) {
    this.#times[way] = null;
    this.#chosen = null;
    this.#choose();
  }

  #possible() {
    return [...this.#times.keys()].filter((way) => this.#times[way] !== null);
  }

  // Other work on the machine only ever adds time, so the shortest one tells most.
  #choose() {
    const possible = this.#possible();
    if (possible.some((way) => this.#times[way].length < kTries)) return;
    const best = (way) => Math.min(...this.#times[way]);
    this.#chosen = possible.reduce((a, b) => best(b) < best(a) ? b : a);
  }
}
