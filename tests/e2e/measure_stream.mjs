// Measures what a viewer gets. Prints one line per figure.
// Usage: node measure_stream.mjs
// The desktop is 1280x720, half of it moves at 60 pictures a second; the viewer, in headless
// Chromium on the same machine, asks for 30.

import {startBrowser} from './browser.mjs';
import {figure} from './figures.mjs';
import {Stand, until} from './stand.mjs';

const kAskedFps = 30;
const kWarmUpFrames = 60;
const kSeconds = 20;

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

const stand = await Stand.start({
  options: ['--monitors', '1280x720', '--moving', 'x=0,y=0,w=640,h=720,fps=60'],
});
try {
  const {fps, stages} = await measureViewer(stand);
  figure(`pictures a second drawn, ${kAskedFps} asked for`, fps);
  for (const [stage, ms] of Object.entries(stages)) {
    if (ms !== null) figure(`mean ${stage.replace(/Ms$/, '')}`, ms, 'ms');
  }
} finally {
  await stand.stop();
}
