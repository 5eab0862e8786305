// Measures what a viewer gets, and how long a start takes. Prints one line per figure.
// Usage: node measure_stream.mjs
// The desktop is 1280x720, half of it moves at 60 pictures a second; the viewer, in headless
// Chromium on the same machine, asks for 30.

import {loadavg} from 'node:os';

import {startBrowser} from './browser.mjs';
import {Stand, until} from './stand.mjs';

const kAskedFps = 30;
const kWarmUpFrames = 60;
const kSeconds = 20;
const kStarts = 5;

const median = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];

function print(name, value) {
  console.log(`${name.padEnd(44)} ${value}`);
}

/** Pictures drawn in kSeconds, and what the page says of the stages. */
async function measureViewer(stand) {
  const browser = await startBrowser();
  try {
    const page = await browser.newPage({viewport: {width: 1280, height: 800}});
    await page.goto(`${stand.viewer}&fps=${kAskedFps}`);
    await until(
        () => page.evaluate((frames) => window.viewerState?.framesDrawn >= frames, kWarmUpFrames),
        'first pictures');
    return await page.evaluate(async (seconds) => {
      const before = window.viewerState.framesDrawn;
      const start = performance.now();
      await new Promise((resolve) => setTimeout(resolve, seconds * 1000));
      const drawn = window.viewerState.framesDrawn - before;
      return {
        fps: drawn * 1000 / (performance.now() - start),
        stages: {...window.viewerState.stages},
      };
    }, kSeconds);
  } finally {
    await browser.close();
  }
}

print('load average before', loadavg()[0].toFixed(2));
const startsMs = [];
for (let start = 0; start < kStarts; ++start) {
  // A window first, so that Wine is up when the host is started.
  const stand = await Stand.start({options: ['--solid', 'x=0,y=0,w=10,h=10,colour=ff0000']});
  startsMs.push(stand.millisecondsBetween('pid=', 'ready'));
  await stand.stop();
}
print(`start to READY, ms, median of ${kStarts}`, median(startsMs).toFixed(0));
const stand = await Stand.start({
  options: ['--monitors', '1280x720', '--moving', 'x=0,y=0,w=640,h=720,fps=60'],
});
try {
  const {fps, stages} = await measureViewer(stand);
  print(`pictures a second drawn, ${kAskedFps} asked for`, fps.toFixed(1));
  for (const [stage, ms] of Object.entries(stages)) {
    print(`mean ${stage.replace(/Ms$/, '')}, ms`, ms === null ? 'none' : ms.toFixed(1));
  }
} finally {
  await stand.stop();
}
