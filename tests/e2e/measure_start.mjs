// Measures how long a start takes, from the host's process to READY, and how large the host is.
// Usage: node measure_start.mjs [STARTS]

import {figure, times} from './figures.mjs';
import {hostFileBytes, hostMemory} from './host_size.mjs';
import {Stand} from './stand.mjs';

const kStarts = Number(process.argv[2] ?? 10);

const startsMs = [];
for (let start = 0; start < kStarts; ++start) {
  // A window first, so that Wine is up when the host is started.
  const stand = await Stand.start({options: ['--solid', 'x=0,y=0,w=10,h=10,colour=ff0000']});
  startsMs.push(stand.millisecondsBetween('pid=', 'ready'));
  await stand.stop();
}
times('start to READY', startsMs);
figure('executable', await hostFileBytes() / 1024, 'KiB');
const {memoryMb, residentMb} = await hostMemory();
figure('memory of its own, streaming 1920x1080', memoryMb, 'MB');
figure('resident with what programs share, streaming 1920x1080', residentMb, 'MB');
