// The host's executable as it is handed out: what Windows is told about it and what it needs.

import assert from 'node:assert/strict';
import {execFile} from 'node:child_process';
import {readFile} from 'node:fs/promises';
import {join} from 'node:path';
import test, {before} from 'node:test';
import {promisify} from 'node:util';

import {kBin} from './stand.mjs';

const run = promisify(execFile);
const kHost = join(kBin, 'talu_host.exe');
const kObjdump = 'x86_64-w64-mingw32-objdump';

const kHighEntropy = 0x0020;
const kDynamicBase = 0x0040;
const kNoExecute = 0x0100;
const kExecutes = 0x20000000;
const kWrites = 0x80000000;

// What every Windows that the host supports has in every edition. The rest is loaded late, so that
// the host starts without it and can say what is missing.
const kImports = [
  'advapi32.dll',
  'api-ms-win-core-synch-l1-2-0.dll',
  'kernel32.dll',
  'msvcrt.dll',
  'ole32.dll',
  'user32.dll',
  'winmm.dll',
];

// Room to grow by a third; a library that came along by mistake is larger than that.
const kMaxBytes = 512 * 1024;

let image;
before(async () => image = await readFile(kHost));

/** Offset of the file header, which follows the signature. */
function fileHeader() {
  const offset = image.readUInt32LE(0x3c);
  assert.equal(image.toString('latin1', offset, offset + 4), 'PE\0\0');
  return offset + 4;
}

/** [{name, rights}] of every section. */
function sections() {
  const header = fileHeader();
  const count = image.readUInt16LE(header + 2);
  const first = header + 20 + image.readUInt16LE(header + 16);
  return Array.from({length: count}, (_, i) => {
    const entry = first + 40 * i;
    const name = image.toString('latin1', entry, entry + 8).replace(/\0.*$/, '');
    return {name, rights: image.readUInt32LE(entry + 36)};
  });
}

/** A string of the version resource; null without it. */
function versionString(key) {
  for (const view of [image.toString('utf16le'), image.toString('utf16le', 1)]) {
    const found = view.match(new RegExp(`${key}\0+([^\0]+)\0`));
    if (found) return found[1];
  }
  return null;
}

test('is loaded at random addresses and never runs data', () => {
  const optionalHeader = fileHeader() + 20;
  const flags = image.readUInt16LE(optionalHeader + 70);
  for (const flag of [kHighEntropy, kDynamicBase, kNoExecute]) {
    assert.ok(flags & flag, `0x${flag.toString(16)} is not in 0x${flags.toString(16)}`);
  }
});

test('has no section that is both written and run', () => {
  const found = sections();
  assert.ok(found.some(({rights}) => rights & kExecutes));
  for (const {name, rights} of found) assert.ok(!(rights & kExecutes && rights & kWrites), name);
});

test('watches its stack', () => {
  assert.ok(image.includes('stack smashing detected'));
});

test('needs nothing to start that a Windows could lack', async () => {
  const {stdout} = await run(kObjdump, ['-p', kHost], {maxBuffer: 1 << 26});
  const names = [...stdout.matchAll(/DLL Name: (\S+)/g)].map(([, name]) => name.toLowerCase());
  assert.deepEqual(names.sort(), kImports);
});

test('names its version and the commit it was made from', () => {
  assert.match(versionString('ProductVersion'), /^\d+\.\d+\.\d+ \((unknown|[0-9a-f]{12}(-dirty)?)\)$/);
  assert.equal(versionString('OriginalFilename'), 'talu_host.exe');
});

test('asks for no rights, sees real pixels and knows today’s Windows', () => {
  assert.ok(image.includes('<requestedExecutionLevel level="asInvoker" uiAccess="false"/>'));
  assert.ok(image.includes('>PerMonitorV2, PerMonitor</dpiAwareness>'));
  assert.ok(image.includes('{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}'));
});

test('carries no time stamp, no symbols and no path of the machine that built it', () => {
  assert.equal(image.readUInt32LE(fileHeader() + 4), 0);
  // Of the sections only the link to the symbols has a name too long for its place.
  assert.equal(sections().filter(({name}) => name.startsWith('/')).length, 1);
  assert.ok(image.includes('talu_host.exe.debug'));
  assert.ok(!image.includes('/base/log.cc') && !image.includes('/home/'));
});

test('stays small', () => {
  assert.ok(image.length <= kMaxBytes, `${image.length} bytes`);
});
