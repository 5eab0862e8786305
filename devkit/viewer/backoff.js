// How long to wait before each new attempt to connect: soon at first, then ever less often. Pure.

const kFirstMs = 250;
const kMaxMs = 5000;

export class Backoff {
  #nextMs = kFirstMs;

  next() {
    const delayMs = this.#nextMs;
    this.#nextMs = Math.min(delayMs * 2, kMaxMs);
    return delayMs;
  }

  reset() {
    this.#nextMs = kFirstMs;
  }
}
