// Makes small H.264 films of known colours, converted the way the host converts.

import {execFileSync} from 'node:child_process';
import {mkdtempSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';

/** The colours of the bars, left to right: [red, green, blue]. */
export const kBars = [
  [255, 255, 255],
  [0, 0, 0],
  [255, 0, 0],
  [0, 255, 0],
  [0, 0, 255],
  [30, 144, 255],
  [200, 100, 50],
  [128, 128, 128],
];

const kFrames = 30;
const kKeyFrameEvery = 10;
const kAccessUnitDelimiter = 9;
const kIdr = 5;

function nv12({width, height, colorAt}) {
  const picture = Buffer.alloc(width * height * 3 / 2);
  for (let y = 0; y < height; y++) {
    for (let x = 0; x < width; x++) {
      const [r, g, b] = colorAt(x, y);
      picture[y * width + x] = ((66 * r + 129 * g + 25 * b + 128) >> 8) + 16;
      if (x % 2 !== 0 || y % 2 !== 0) continue;
      const chroma = width * height + (y / 2) * width + x;
      picture[chroma] = Math.trunc((112 * b - 74 * g - 38 * r + 128) / 256) + 128;
      picture[chroma + 1] = Math.trunc((112 * r - 94 * g - 18 * b + 128) / 256) + 128;
    }
  }
  return picture;
}

// Colour bars; below them a strip that is white in one half of the film and black in the other.
function barsWithStrip(width, height, frame) {
  const strip = frame * 2 < kFrames ? [255, 255, 255] : [0, 0, 0];
  return nv12({
    width,
    height,
    colorAt: (x, y) => y >= height * 3 / 4 ? strip : kBars[Math.floor(x * kBars.length / width)],
  });
}

function encode(pictures, width, height) {
  const folder = mkdtempSync(join(tmpdir(), 'film-'));
  try {
    const input = join(folder, 'film.nv12');
    writeFileSync(input, Buffer.concat(pictures));
    return execFileSync(
        'ffmpeg',
        [
          '-loglevel',
          'error',
          '-f',
          'rawvideo',
          '-pix_fmt',
          'nv12',
          '-s',
          `${width}x${height}`,
          '-r',
          '30',
          '-i',
          input,
          '-c:v',
          'libx264',
          '-profile:v',
          'main',
          '-preset',
          'veryfast',
          '-bf',
          '0',
          '-g',
          String(kKeyFrameEvery),
          '-qp',
          '12',
          '-threads',
          '1',
          '-x264-params',
          `aud=1:scenecut=0:keyint_min=${kKeyFrameEvery}`,
          '-f',
          'h264',
          '-'
        ],
        {maxBuffer: 1 << 28});
  } finally {
    rmSync(folder, {recursive: true});
  }
}

// Start codes of three bytes; a fourth zero before them belongs to the unit that follows.
function unitStarts(stream) {
  const starts = [];
  for (let at = stream.indexOf(1); at >= 0; at = stream.indexOf(1, at + 1)) {
    if (at < 2 || stream[at - 1] !== 0 || stream[at - 2] !== 0) continue;
    const begin = stream[at - 3] === 0 ? at - 3 : at - 2;
    starts.push({begin, type: stream[at + 1] & 0x1f});
  }
  return starts;
}

function cutIntoPictures(stream) {
  const starts = unitStarts(stream);
  const firsts = starts.filter(({type}) => type === kAccessUnitDelimiter).map(({begin}) => begin);
  return firsts.map((begin, i) => {
    const end = firsts[i + 1] ?? stream.length;
    const keyFrame =
        starts.some((start) => start.type === kIdr && start.begin >= begin && start.begin < end);
    return {keyFrame, data: stream.subarray(begin, end)};
  });
}

/** The pictures of a film of bars: [{keyFrame, data}, ...], to be shown in a loop. */
export function makeFilm(width, height) {
  const pictures = Array.from({length: kFrames}, (_, i) => barsWithStrip(width, height, i));
  return cutIntoPictures(encode(pictures, width, height));
}
