// The H.264 sequence parameter set: what the decoder must know beforehand, and the one thing that
// it is better told. Pure. A parameter set here is a whole NAL unit without its start code.

const kProfilesWithChromaFormat =
    new Set([100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134]);
const kExtendedAspectRatio = 255;
const kMacroblock = 16;
const kChromaStep = 2;

/** The codec's name for WebCodecs: avc1. and profile, constraints and level in hexadecimal. */
export function codecString(sps) {
  const hex = [...sps.subarray(1, 4)].map((byte) => byte.toString(16).padStart(2, '0'));
  return `avc1.${hex.join('')}`;
}

class BitReader {
  #bytes;
  #limit;
  position = 0;

  constructor(bytes) {
    this.#bytes = bytes;
    this.#limit = bytes.length * 8;
  }

  bit() {
    if (this.position >= this.#limit) throw new RangeError('parameter set ends early');
    const bit = (this.#bytes[this.position >> 3] >> (7 - (this.position & 7))) & 1;
    this.position += 1;
    return bit;
  }

  bits(count) {
    let value = 0;
    for (let i = 0; i < count; i++) value = value * 2 + this.bit();
    return value;
  }

  unsigned() {
    let zeros = 0;
    while (this.bit() === 0) zeros += 1;
    return 2 ** zeros - 1 + this.bits(zeros);
  }

  signed() {
    const code = this.unsigned();
    return code % 2 === 0 ? -code / 2 : (code + 1) / 2;
  }
}

class BitWriter {
  #bits = [];

  bit(value) {
    this.#bits.push(value);
  }

  unsigned(value) {
    const binary = (value + 1).toString(2);
    for (let i = 1; i < binary.length; i++) this.bit(0);
    for (const digit of binary) this.bit(Number(digit));
  }

  /** The bytes with the stop bit and its padding. */
  finish() {
    const bits = [...this.#bits, 1];
    while (bits.length % 8 !== 0) bits.push(0);
    return Uint8Array.from(
        {length: bits.length / 8},
        (_, i) => bits.slice(i * 8, i * 8 + 8).reduce((byte, bit) => byte * 2 + bit, 0));
  }
}

// Inside a NAL unit a 3 is put after two zero bytes, so that no start code can appear.
function unescape(nal) {
  const bytes = [];
  let zeros = 0;
  for (const byte of nal) {
    if (zeros >= 2 && byte === 3) {
      zeros = 0;
      continue;
    }
    bytes.push(byte);
    zeros = byte === 0 ? zeros + 1 : 0;
  }
  return Uint8Array.from(bytes);
}

function escape(bytes) {
  const nal = [];
  let zeros = 0;
  for (const byte of bytes) {
    if (zeros >= 2 && byte <= 3) {
      nal.push(3);
      zeros = 0;
    }
    nal.push(byte);
    zeros = byte === 0 ? zeros + 1 : 0;
  }
  return Uint8Array.from(nal);
}

function skipScalingList(reader, size) {
  let last = 8;
  let next = 8;
  for (let i = 0; i < size; i++) {
    if (next !== 0) next = (last + reader.signed() + 256) % 256;
    if (next !== 0) last = next;
  }
}

function skipChromaFormat(reader) {
  const chromaFormat = reader.unsigned();
  if (chromaFormat === 3) reader.bit();
  reader.unsigned();
  reader.unsigned();
  reader.bit();
  if (reader.bit() === 0) return;
  const lists = chromaFormat === 3 ? 12 : 8;
  for (let i = 0; i < lists; i++) {
    if (reader.bit() === 1) skipScalingList(reader, i < 6 ? 16 : 64);
  }
}

function skipPictureOrder(reader) {
  const type = reader.unsigned();
  if (type === 0) reader.unsigned();
  if (type !== 1) return;
  reader.bit();
  reader.signed();
  reader.signed();
  const count = reader.unsigned();
  for (let i = 0; i < count; i++) reader.signed();
}

function skipRateDecoder(reader) {
  const count = reader.unsigned() + 1;
  reader.bits(8);
  for (let i = 0; i < count; i++) {
    reader.unsigned();
    reader.unsigned();
    reader.bit();
  }
  reader.bits(20);
}

// Up to the flag that says whether the reordering is given.
function skipUsability(reader) {
  if (reader.bit() === 1 && reader.bits(8) === kExtendedAspectRatio) reader.bits(32);
  if (reader.bit() === 1) reader.bit();
  if (reader.bit() === 1) {
    reader.bits(4);
    if (reader.bit() === 1) reader.bits(24);
  }
  if (reader.bit() === 1) {
    reader.unsigned();
    reader.unsigned();
  }
  if (reader.bit() === 1) reader.bits(65);
  const network = reader.bit();
  if (network === 1) skipRateDecoder(reader);
  const video = reader.bit();
  if (video === 1) skipRateDecoder(reader);
  if (network === 1 || video === 1) reader.bit();
  reader.bit();
}

// Whole macroblocks, less what is cut off at the edges in steps of the chroma's samples.
function readSize(reader) {
  const columns = reader.unsigned() + 1;
  const rows = reader.unsigned() + 1;
  const frameRows = reader.bit() === 1 ? 1 : 2;
  if (frameRows === 2) reader.bit();
  reader.bit();
  let [left, right, top, bottom] = [0, 0, 0, 0];
  if (reader.bit() === 1)
    [left, right, top, bottom] = Array.from({length: 4}, () => reader.unsigned());
  return {
    width: columns * kMacroblock - kChromaStep * (left + right),
    height: frameRows * (rows * kMacroblock - kChromaStep * (top + bottom)),
  };
}

function readLayout(payload) {
  const reader = new BitReader(payload);
  reader.bits(8);
  const profile = reader.bits(8);
  reader.bits(16);
  reader.unsigned();
  if (kProfilesWithChromaFormat.has(profile)) skipChromaFormat(reader);
  reader.unsigned();
  skipPictureOrder(reader);
  const referenceFrames = reader.unsigned();
  reader.bit();
  const size = readSize(reader);
  const usabilityAt = reader.position;
  const hasUsability = reader.bit() === 1;
  if (!hasUsability)
    return {size, referenceFrames, usabilityAt, hasUsability, hasRestriction: false};
  skipUsability(reader);
  const restrictionAt = reader.position;
  return {size, referenceFrames, hasUsability, restrictionAt, hasRestriction: reader.bit() === 1};
}

function writeNoReordering(writer, referenceFrames) {
  writer.bit(1);
  writer.bit(1);
  writer.unsigned(0);
  writer.unsigned(0);
  writer.unsigned(16);
  writer.unsigned(16);
  writer.unsigned(0);
  writer.unsigned(referenceFrames);
}

const kUsabilityFlagsBeforeRestriction = 8;

/** The size of the pictures in pixels: {width, height}. Of 4:2:0 video, as the host's is. */
export function pictureSize(sps) {
  return readLayout(unescape(sps)).size;
}

/**
 * The same parameter set with the promise that pictures come in the order in which they are shown.
 * A hardware decoder that is not told holds several pictures back in case one has to go first; the
 * host's encoder never makes such. Unchanged when it already says how pictures are ordered, or
 * cannot be read.
 */
export function withoutReordering(sps) {
  const payload = unescape(sps);
  let layout;
  try {
    layout = readLayout(payload);
  } catch {
    return sps;
  }
  if (layout.hasRestriction) return sps;
  const reader = new BitReader(payload);
  const writer = new BitWriter();
  const copied = layout.hasUsability ? layout.restrictionAt : layout.usabilityAt;
  for (let i = 0; i < copied; i++) writer.bit(reader.bit());
  if (!layout.hasUsability) {
    writer.bit(1);
    for (let i = 0; i < kUsabilityFlagsBeforeRestriction; i++) writer.bit(0);
  }
  writeNoReordering(writer, layout.referenceFrames);
  return escape(writer.finish());
}
