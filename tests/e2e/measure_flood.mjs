// Measures what a flood of 100,000 mouse moves a second leaves of the pictures.
// Usage: node measure_flood.mjs [SECONDS]

import {figure} from './figures.mjs';
import {until} from './stand.mjs';
import {StormStand} from './storm_stand.mjs';

const kSeconds = Number(process.argv[2] ?? 20);
const kResult = /flood: (\S+) inputs, (\S+) pictures a second; without (\S+)/;
// The flood moves the mouse over the left half of the desktop.
const kBeside = 'x=640,y=0,w=640,h=720,fps=60';
const kUnderTheMouse = 'x=0,y=0,w=640,h=720,fps=60';

async function measure(name, moving, options = []) {
  const stand = await StormStand.start(
      {TALU_FLOOD_SECONDS: kSeconds}, ['--monitors', '1280x720', '--moving', moving, ...options]);
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

await measure('software', kBeside);
await measure('hardware', kBeside, ['--hardware']);
await measure('software, what moves is under the mouse', kUnderTheMouse);
