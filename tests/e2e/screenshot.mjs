// Opens the viewer in headless Chromium, waits for moving pictures and saves what the page shows.
// Usage: node screenshot.mjs URL FILE.png
// Ends with 1 and says why when the page shows no moving pictures.

import {startBrowser} from './browser.mjs';

const kPatienceMs = 60000;
const kPictures = 60;

const [url, file] = process.argv.slice(2);
if (!file) {
  console.error('usage: node screenshot.mjs URL FILE.png');
  process.exit(64);
}

const browser = await startBrowser();
try {
  const page = await browser.newPage({viewport: {width: 1280, height: 800}});
  await page.goto(url);
  // Drawn again and again, and not the same picture each time.
  const moved = await page.evaluate(async ([pictures, patienceMs]) => {
    const lookAtRows = ({width, height}) => {
      const rows = [1, 2, 3, 4, 5].map((i) => Math.floor(i * height / 6));
      return rows.map((y) => window.viewerPixels(0, y, width).join()).join();
    };
    const end = performance.now() + patienceMs;
    const seen = new Set();
    while (performance.now() < end) {
      const state = window.viewerState;
      if (state?.framesDrawn > 0) seen.add(lookAtRows(state));
      if (state?.framesDrawn >= pictures && seen.size >= 3) return true;
      await new Promise((resolve) => setTimeout(resolve, 200));
    }
    return false;
  }, [kPictures, kPatienceMs]);
  await page.screenshot({path: file});
  if (!moved) {
    const {connection, framesDrawn, notice, lastError} =
        await page.evaluate(() => ({...window.viewerState}));
    console.error(
        'The viewer shows no moving pictures: ' +
        JSON.stringify({connection, framesDrawn, notice, lastError}));
    process.exitCode = 1;
  }
} finally {
  await browser.close();
}
