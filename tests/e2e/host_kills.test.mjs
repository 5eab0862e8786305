// Killed in the middle of something, the host starts again as if nothing had been.

import assert from 'node:assert/strict';
import test from 'node:test';

import {HostKills, kMoments} from './host_kills.mjs';
import {useStand} from './stand.mjs';

const shared = useStand({options: ['--moving', 'x=100,y=100,w=300,h=300']});

test('after a kill at any moment the next start is right', async () => {
  const kills = await HostKills.open(shared.stand);
  for (const moment of [...kMoments, 'self-test']) await kills.round(moment);
  assert.equal(kills.verdicts.broken, 0);
  assert.deepEqual(await kills.leftSharedMemory(), []);
});
