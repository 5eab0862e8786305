// Kills the host at many random moments. Usage: node kill.mjs COUNT   (scripts/kill-test builds)

import {HostKills, kMoments} from './host_kills.mjs';
import {Stand} from './stand.mjs';

const kReportEvery = 20;

const count = Number(process.argv[2]);
if (!(count > 0)) throw new Error('node kill.mjs COUNT');
const stand = await Stand.start({options: ['--moving', 'x=100,y=100,w=300,h=300']});
let kills;
try {
  kills = await HostKills.open(stand);
  for (let done = 0; done < count; done++) {
    if (done % kReportEvery === 0) console.log(`${done} of ${count}`);
    await kills.round(kMoments[done % kMoments.length]);
  }
  const starts = kills.startsMs.sort((a, b) => a - b);
  const left = await kills.leftSharedMemory();
  console.log(`kills: ${JSON.stringify(kills.moments)}`);
  console.log(`verdict files after them: ${JSON.stringify(kills.verdicts)}`);
  console.log(`the ${starts.length} starts after them, all right; ms to READY: median ${
      starts[starts.length >> 1].toFixed(0)}, longest ${starts.at(-1).toFixed(0)}`);
  console.log(`shared memory left: ${left.length}`);
  if (kills.verdicts.broken > 0 || left.length > 0) process.exitCode = 1;
} catch (error) {
  console.log(`round ${kills?.number}: ${error.stack}`);
  process.exitCode = 1;
} finally {
  await stand.stop();
}
