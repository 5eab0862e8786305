// Measures the processor time that the host takes for a frame, beside other ways of doing the same
// on the same display in the same run: a native pipeline with the same encoder, settings and
// conversion (bench/native_pipeline.cc), and ffmpeg's.
// Usage: node measure_cpu.mjs NATIVE_PIPELINE [SECONDS]
//
// The desktop is 1280x720, still or with half of it moving at 60 pictures a second, and 30 frames a
// second are asked for. They are counted as the viewer gets them: of a still desktop the host sends
// fewer, since it waits 50 ms for news. The viewer throws them away.

import {execFile} from 'node:child_process';
import {readFile} from 'node:fs/promises';
import {setTimeout as sleep} from 'node:timers/promises';
import {promisify} from 'node:util';
import WebSocket from 'ws';

import {figure} from './figures.mjs';
import {processesOf} from './host_process.mjs';
import {Stand, until} from './stand.mjs';

const run = promisify(execFile);
const [, , kNativePipeline, seconds] = process.argv;
const kSeconds = Number(seconds ?? 20);
const kWidth = 1280;
const kHeight = 720;
const kFps = 30;
const kKbps = 8000;
const kMsPerTick = 10;

/** Milliseconds of processor time so far. */
async function cpuMs(pid) {
  const stat = await readFile(`/proc/${pid}/stat`, 'utf8');
  const fields = stat.slice(stat.lastIndexOf(')') + 2).split(' ');
  const [user, system] = [11, 12].map((at) => Number(fields[at]));
  return (user + system) * kMsPerTick;
}

/** A viewer that counts units. */
class CountingViewer {
  units = 0;

  constructor(stand) {
    const url = new URL(stand.viewer);
    this.socket = new WebSocket(
        `ws://${url.host}/stream?token=${url.searchParams.get('token')}&fps=${kFps}&max=${kKbps}`);
    this.socket.on('message', (data, binary) => {
      if (binary && data[0] === 1) this.units += 1;
    });
    this.socket.on('error', () => {});
  }
}

async function measureHost(stand) {
  const [host] = await processesOf(stand.value('prefix'), 'talu_host.exe');
  const [server] = await processesOf(stand.value('prefix'), 'wineserver64');
  const viewer = new CountingViewer(stand);
  await until(() => viewer.units >= 30, 'first units');
  const look = async () => ({
    host: await cpuMs(host),
    server: server ? await cpuMs(server) : 0,
    units: viewer.units,
  });
  const before = await look();
  await sleep(kSeconds * 1000);
  const after = await look();
  viewer.socket.close();
  const units = after.units - before.units;
  return {
    fps: units / kSeconds,
    host: (after.host - before.host) / units,
    server: (after.server - before.server) / units,
  };
}

async function measureNative(display) {
  const {stdout} = await run(
      kNativePipeline, [kWidth, kHeight, kFps, kKbps, kSeconds].map(String),
      {env: {...process.env, DISPLAY: display}});
  return Object.fromEntries(stdout.trim().split('\n').map((line) => {
    const [name, value] = line.split('\t');
    return [name, Number(value)];
  }));
}

/** The encoder that ffmpeg is to use: the same where it has it. */
async function ffmpegEncoder() {
  const {stdout} = await run('ffmpeg', ['-hide_banner', '-encoders']);
  return stdout.includes('libopenh264') ?
      ['libopenh264'] :
      ['libx264', '-preset', 'ultrafast', '-tune', 'zerolatency', '-threads', '1'];
}

/** ffmpeg's own account of its processor time, for each frame. */
async function measureFfmpeg(display, encoder) {
  const {stderr} = await run('ffmpeg', [
    '-nostdin', '-hide_banner', '-benchmark', '-f', 'x11grab', '-video_size',
    `${kWidth}x${kHeight}`, '-framerate', String(kFps), '-i', display, '-t', String(kSeconds), '-pix_fmt',
    'yuv420p', '-c:v', ...encoder, '-b:v', `${kKbps}k`, '-g', String(2 * kFps), '-f', 'null', '-',
  ]);
  const [, user, system] = /utime=([\d.]+)s stime=([\d.]+)s/.exec(stderr);
  const frames = Number([...stderr.matchAll(/frame=\s*(\d+)/g)].at(-1)[1]);
  return (Number(user) + Number(system)) * 1000 / frames;
}

async function measure(name, actors) {
  const stand = await Stand.start({options: ['--monitors', `${kWidth}x${kHeight}`, ...actors]});
  try {
    const host = await measureHost(stand);
    const native = await measureNative(stand.value('display'));
    const encoder = await ffmpegEncoder();
    const ffmpeg = await measureFfmpeg(stand.value('display'), encoder);
    figure(`${name}, frames a second of the host`, host.fps);
    figure(`${name}, host, a frame`, host.host, 'ms');
    figure(`${name}, wineserver, a frame`, host.server, 'ms');
    figure(`${name}, native pipeline, a frame`, native.cpu_ms, 'ms');
    for (const part of ['grab', 'convert', 'encode']) {
      figure(`${name}, native pipeline, ${part}`, native[`${part}_ms`], 'ms');
    }
    figure(`${name}, ffmpeg with ${encoder[0]}, a frame`, ffmpeg, 'ms');
    figure(`${name}, host to native pipeline`, host.host / native.cpu_ms);
    figure(`${name}, host to ffmpeg`, host.host / ffmpeg);
  } finally {
    await stand.stop();
  }
}

await measure('still', ['--solid', 'x=0,y=0,w=640,h=720,colour=204060']);
await measure('half moving', ['--moving', 'x=0,y=0,w=640,h=720,fps=60']);
