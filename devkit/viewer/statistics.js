// What the viewer measured about the stream's last second, and each frame's way. Pure; times in ms.
//
// A frame's record: {sequence, keyFrame, bytes, hostMs, handedOverMs, receivedMs, decodeStartMs,
// decodedMs, drawnMs}; the times from handedOverMs on are wall-clock times.

const kWindowMs = 1000;
const kKeptFrames = 600;

const mean = (values) => values.reduce((sum, value) => sum + value, 0) / values.length;

/** What one frame's stages took. ageMs is from hand-over to drawn. */
export function stagesOf(frame) {
  return {
    sendMs: frame.receivedMs - frame.handedOverMs,
    decodeMs: frame.decodedMs - frame.receivedMs,
    drawMs: frame.drawnMs - frame.decodedMs,
    ageMs: frame.drawnMs - frame.handedOverMs,
  };
}

export class StreamStatistics {
  #received = [];
  #drawn = [];
  // Where in these the current run of the stream begins.
  #runStart = 0;

  noteReceived(bytes, nowMs) {
    this.#received.push({bytes, nowMs});
    this.#forget(nowMs);
  }

  noteDrawn(frame) {
    // Time stamps that begin anew are of another run of the stream.
    if (this.#drawn.length > 0 && frame.hostMs < this.#drawn.at(-1).hostMs) this.#runStart = this.#drawn.length;
    this.#drawn.push(frame);
    if (this.#drawn.length > kKeptFrames) {
      this.#drawn.shift();
      this.#runStart = Math.max(0, this.#runStart - 1);
    }
  }

  /**
   * {fps, kbps, stages or null}: over the last second; stages holds the means of stagesOf, and
   * hostMs: from the host's time stamp, which it takes after the grab, to hand-over, as far as it
   * exceeds the quickest of the frames kept. The host's clock has a start of its own.
   */
  summary(nowMs) {
    this.#forget(nowMs);
    const frames = this.#recentFrames(nowMs);
    const bits = this.#received.reduce((sum, unit) => sum + unit.bytes, 0) * 8;
    return {
      fps: frames.length * 1000 / kWindowMs,
      kbps: bits / kWindowMs,
      stages: frames.length > 0 ? {hostMs: this.#meanHostMs(frames), ...meanStages(frames)} : null,
    };
  }

  /** The last frames drawn, oldest first. */
  lastFrames(count = kKeptFrames) {
    return count > 0 ? this.#drawn.slice(-count).map((frame) => ({...frame})) : [];
  }

  #recentFrames(nowMs) {
    let first = this.#drawn.length;
    while (first > 0 && nowMs - this.#drawn[first - 1].drawnMs < kWindowMs) first -= 1;
    return this.#drawn.slice(first);
  }

  #meanHostMs(recent) {
    const lag = ({handedOverMs, hostMs}) => handedOverMs - hostMs;
    const run = this.#drawn.slice(this.#runStart);
    return mean(recent.slice(-run.length).map(lag)) - Math.min(...run.map(lag));
  }

  #forget(nowMs) {
    while (this.#received.length > 0 && nowMs - this.#received[0].nowMs >= kWindowMs) {
      this.#received.shift();
    }
  }
}

function meanStages(frames) {
  const stages = frames.map(stagesOf);
  const names = Object.keys(stages[0]);
  return Object.fromEntries(names.map((name) => [name, mean(stages.map((each) => each[name]))]));
}
