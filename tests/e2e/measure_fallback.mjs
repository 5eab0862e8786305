// Measures how long a viewer's picture stands still when the hardware encoder dies: from the last
// picture that it encoded to the first one in software, at the viewer. Prints one line per run.
// Usage: node measure_fallback.mjs [RUNS]

import {startBrowser} from './browser.mjs';
import {figure} from './figures.mjs';
import {Stand, until} from './stand.mjs';

const runs = Number(process.argv[2] ?? 3);
const kMoving = ['--monitors', '1280x720', '--moving', 'x=0,y=0,w=640,h=720,fps=60'];

async function measure(browser) {
  const stand = await Stand.start({options: ['--hardware', ...kMoving]});
  try {
    await stand.untilLog('硬编端到端自检: good');
    const page = await browser.newPage({viewport: {width: 1280, height: 800}});
    await page.goto(`${stand.viewer}&fps=30`);
    const drawn = () => page.evaluate(() => window.viewerState?.framesDrawn ?? 0);
    await until(async () => await drawn() >= 60, 'first pictures');
    await stand.writeFaults('hardware-codec', ['stops-after 5']);
    await stand.untilLog('SOFTWARE');
    const then = await drawn();
    await until(async () => await drawn() >= then + 20, 'pictures in software');
    const times = await page.evaluate(() => window.viewerFrames(60).map((frame) => frame.drawnMs));
    await page.close();
    return Math.max(...times.slice(1).map((time, at) => time - times[at]));
  } finally {
    await stand.stop();
  }
}

const browser = await startBrowser();
try {
  for (let run = 0; run < runs; ++run) {
    figure(`last hardware to first software picture, run ${run + 1}`, await measure(browser), 'ms');
  }
} finally {
  await browser.close();
}
