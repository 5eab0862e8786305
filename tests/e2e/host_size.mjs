// How large the host is: its file, and its memory while it streams.

import {stat} from 'node:fs/promises';
import {join} from 'node:path';

import {measureProcess, processesOf} from './host_process.mjs';
import {kBin, Stand} from './stand.mjs';
import {WatchingViewer} from './stream_watch.mjs';

const kFrames = 60;

/** Bytes of the executable. */
export async function hostFileBytes() {
  return (await stat(join(kBin, 'talu_host.exe'))).size;
}

/** measureProcess() of the host after two seconds' frames of a moving 1920x1080 desktop. */
export async function hostMemory() {
  const stand = await Stand.start(
      {options: ['--monitors', '1920x1080', '--moving', 'x=0,y=0,w=400,h=400']});
  try {
    const [host] = await processesOf(stand.value('prefix'), 'talu_host.exe');
    const viewer = await WatchingViewer.open(stand.viewer, {query: '&fps=30'});
    await viewer.untilMore(kFrames, 'frames');
    const memory = await measureProcess(host);
    await viewer.close();
    return memory;
  } finally {
    await stand.stop();
  }
}
