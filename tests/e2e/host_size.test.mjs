// The host shares its machine with the desktop's owner: what it may take of it.

import assert from 'node:assert/strict';
import test from 'node:test';

import {hostFileBytes, hostMemory} from './host_size.mjs';

const kLargestFileMb = 2;
// About 95 MB are usual, under Wine, whose own libraries take a good part of them.
const kLargestMemoryMb = 150;

test('the executable stays within its size', async () => {
  assert.ok(await hostFileBytes() <= kLargestFileMb * 2 ** 20, `${await hostFileBytes()} bytes`);
});

test('streaming 1920x1080 stays within its memory', async () => {
  const {memoryMb, residentMb} = await hostMemory();
  assert.ok(memoryMb <= kLargestMemoryMb, `${memoryMb} MB of its own, ${residentMb} MB resident`);
});
