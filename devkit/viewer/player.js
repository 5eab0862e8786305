// From encoded units to drawn pictures. Never lets old pictures pile up: what cannot be decoded at
// once is left out up to the next key frame, and the host is asked for one.

import {wallClockMs} from './clock.js';
import {KeyFrameGate} from './key_frame_gate.js';
import {KeyFramePreparer} from './key_frame_preparer.js';
import {SequenceWatch} from './sequence.js';

// The host's conversion: BT.601, limited range, from the desktop's own sRGB.
const kColorSpace = {
  matrix: 'smpte170m',
  fullRange: false,
  primaries: 'bt709',
  transfer: 'iec61966-2-1',
};
const kMaxErrorsInARow = 5;
// Decoders hand the time stamp back unchanged; it only has to be different for each unit.
const kTimestampStepUs = 1000;

/** Why video cannot be decoded here at all: 'webcodecs', 'h264' or null. */
export async function missingAbility() {
  if (typeof VideoDecoder === 'undefined') return 'webcodecs';
  const {supported} = await VideoDecoder.isConfigSupported({codec: 'avc1.4d0028'});
  return supported ? null : 'h264';
}

export class Player {
  #decoder = null;
  #preparer = new KeyFramePreparer();
  #gate = new KeyFrameGate();
  #sequence = new SequenceWatch();
  #inDecoder = new Map();
  #nextTimestamp = 0;
  #errorsInARow = 0;
  #drawing = Promise.resolve();

  codec = '';
  unitsReceived = 0;
  keyFrames = 0;
  gaps = 0;
  unitsLeftOut = 0;
  framesDrawn = 0;
  decodeErrors = 0;

  /**
   * onDrawn(frame record), onKeyFrameNeeded(), onError(text, whether decoding has been given up).
   */
  constructor({painter, statistics, onDrawn, onKeyFrameNeeded, onError}) {
    this.painter = painter;
    this.statistics = statistics;
    this.onDrawn = onDrawn;
    this.onKeyFrameNeeded = onKeyFrameNeeded;
    this.onError = onError;
  }

  /** Before the first unit of a new connection. */
  restart() {
    this.#sequence.restart();
    this.#gate.lose();
    this.#errorsInARow = 0;
    this.#closeDecoder();
  }

  /** One video message as parseBinaryMessage() gives it. */
  accept(unit) {
    const nowMs = wallClockMs();
    this.unitsReceived += 1;
    if (unit.keyFrame) this.keyFrames += 1;
    this.statistics.noteReceived(unit.data.length, nowMs);
    const missing = this.#sequence.observe(unit.sequence);
    this.gaps += missing;
    const queued = this.#decoder?.decodeQueueSize ?? 0;
    const verdict = this.#gate.admit({keyFrame: unit.keyFrame, missing, queued}, nowMs);
    if (verdict.ask) this.onKeyFrameNeeded();
    if (!verdict.decode) {
      this.unitsLeftOut += 1;
      return;
    }
    if (verdict.fresh) this.#closeDecoder();
    this.#decode(unit, nowMs);
  }

  /** Whether the picture stands still because a key frame is missing. */
  get waitingForKeyFrame() {
    return this.#gate.waiting;
  }

  /** Whether a key frame is missing and it is time to ask for it (again). */
  shouldAskAgain() {
    return this.#gate.waiting && this.#gate.shouldAsk(wallClockMs());
  }

  /** Someone else asked for a key frame just now. */
  noteKeyFrameAsked() {
    this.#gate.noteAsked(wallClockMs());
  }

  #decode(unit, receivedMs) {
    let data = unit.data;
    if (unit.keyFrame) {
      const prepared = this.#preparer.prepare(data);
      if (!prepared) {
        this.#lose('the first key frame came without its parameter sets', receivedMs);
        return;
      }
      data = prepared.data;
      if (prepared.changed || !this.#decoder) this.#configure(prepared.codec);
    }
    const timestamp = this.#nextTimestamp;
    this.#nextTimestamp += kTimestampStepUs;
    const {sequence, keyFrame, hostMs, handedOverMs} = unit;
    this.#inDecoder.set(timestamp, {
      sequence,
      keyFrame,
      hostMs,
      handedOverMs,
      bytes: unit.data.length,
      receivedMs,
    });
    try {
      this.#decoder.decode(
          new EncodedVideoChunk({type: keyFrame ? 'key' : 'delta', timestamp, data}));
    } catch (error) {
      this.#fail(error);
    }
  }

  #configure(codec) {
    this.codec = codec;
    if (!this.#decoder) {
      const decoder = new VideoDecoder({
        output: (frame) => this.#show(frame),
        error: (error) => {
          if (decoder === this.#decoder) this.#fail(error);
        },
      });
      this.#decoder = decoder;
    }
    this.#decoder.configure({codec, optimizeForLatency: true, colorSpace: kColorSpace});
  }

  #show(frame) {
    const record = this.#inDecoder.get(frame.timestamp);
    if (!record) {
      frame.close();
      return;
    }
    this.#forgetUpTo(frame.timestamp);
    this.#errorsInARow = 0;
    record.decodedMs = wallClockMs();
    this.#drawing = this.#drawing.then(() => this.#draw(frame, record)).catch(reportError);
  }

  async #draw(frame, record) {
    try {
      await this.painter.draw(frame);
    } finally {
      frame.close();
    }
    record.drawnMs = wallClockMs();
    this.framesDrawn += 1;
    this.statistics.noteDrawn(record);
    this.onDrawn(record);
  }

  #forgetUpTo(timestamp) {
    for (const older of this.#inDecoder.keys()) {
      if (older > timestamp) break;
      this.#inDecoder.delete(older);
    }
  }

  #fail(error) {
    this.#closeDecoder();
    this.#lose(error.message, wallClockMs());
  }

  #lose(reason, nowMs) {
    this.decodeErrors += 1;
    this.#errorsInARow += 1;
    this.#gate.lose();
    this.onError(reason, this.#errorsInARow >= kMaxErrorsInARow);
    if (this.#gate.shouldAsk(nowMs)) this.onKeyFrameNeeded();
  }

  #closeDecoder() {
    if (this.#decoder && this.#decoder.state !== 'closed') this.#decoder.close();
    this.#decoder = null;
    this.#inDecoder.clear();
  }
}
