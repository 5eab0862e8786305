// One encoded picture in H.264's byte-stream form (Annex B): the NAL units in it. Pure.

const kSps = 7;
const kPps = 8;
const kTypeMask = 0x1f;
const kStartCode = Uint8Array.of(0, 0, 0, 1);

/** The NAL units of a byte stream, without start codes and trailing zeros: [{type, data}, ...]. */
export function splitUnits(stream) {
  const units = [];
  let begin = -1;
  const close = (end) => {
    if (begin < 0) return;
    while (end > begin && stream[end - 1] === 0) end -= 1;
    if (end > begin)
      units.push({type: stream[begin] & kTypeMask, data: stream.subarray(begin, end)});
  };
  for (let i = stream.indexOf(1, 2); i >= 0; i = stream.indexOf(1, i + 1)) {
    if (stream[i - 1] !== 0 || stream[i - 2] !== 0) continue;
    close(i - 2);
    begin = i + 1;
  }
  close(stream.length);
  return units;
}

export function joinUnits(units) {
  const total = units.reduce((sum, unit) => sum + kStartCode.length + unit.data.length, 0);
  const stream = new Uint8Array(total);
  let at = 0;
  for (const {data} of units) {
    stream.set(kStartCode, at);
    stream.set(data, at + kStartCode.length);
    at += kStartCode.length + data.length;
  }
  return stream;
}

export const isSps = (unit) => unit.type === kSps;
export const isParameterSet = (unit) => unit.type === kSps || unit.type === kPps;
