// Measures what a flood of 100,000 mouse moves a second leaves of the pictures.
// Usage: node measure_flood.mjs [SECONDS]

import {figure} from './figures.mjs';
import {until} from './stand.mjs';
import {StormStand} from './storm_stand.mjs';

const kSeconds = Number(process.argv[2] ?? 20);
const kResult = /flood: (\S+) inputs, (\S+) pictures a second; without (\S+)/;
const kMoving = ['--monitors', '1280x720', '--moving', 'x=0,y=0,w=640,h=720,fps=60'];

async function measure(name, options) {
  const stand = await StormStand.start({TALU_FLOOD_SECONDS: kSeconds}, [...kMoving, ...options]);
  try {
    const [, inputs, flooded, quiet] = await until(
        async () => kResult.exec(await stand.logText()), 'rates', 3 * kSeconds * 1000 + 60000);
    figure(`${name}, inputs a second`, Number(inputs));
    figure(`${name}, pictures a second without the flood`, Number(quiet));
    figure(`${name}, pictures a second in the flood`, Number(flooded));
    figure(`${name}, pictures in the flood to without`, flooded / quiet);
  } finally {
    await stand.stop();
  }
}

await measure('software', []);
await measure('hardware', ['--hardware']);
