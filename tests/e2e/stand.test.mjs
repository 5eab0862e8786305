// The stand itself: whatever way it ends, nothing of it is left.

import assert from 'node:assert/strict';
import {execFile, spawn} from 'node:child_process';
import {existsSync} from 'node:fs';
import {readdir, readFile, readlink} from 'node:fs/promises';
import {dirname, join} from 'node:path';
import test from 'node:test';
import {fileURLToPath} from 'node:url';
import {promisify} from 'node:util';

import {kBin, Stand, until} from './stand.mjs';

const run = promisify(execFile);
const kTop = fileURLToPath(new URL('../../', import.meta.url));
const kStage = join(kBin, 'talu_stage.exe');

/** The processes that run in a Wine prefix or show themselves on its run's display. */
async function processesOf(prefix) {
  const folder = dirname(prefix);
  const found = [];
  for (const pid of (await readdir('/proc')).filter((name) => /^\d+$/.test(name))) {
    try {
      const command = await readFile(`/proc/${pid}/cmdline`, 'utf8');
      const environment = await readFile(`/proc/${pid}/environ`, 'utf8');
      if (command !== '' &&
          (command.includes(folder) || environment.includes(`WINEPREFIX=${prefix}`))) {
        found.push(`${pid} ${command.replaceAll('\0', ' ')} ${await readlink(`/proc/${pid}/exe`)}`);
      }
    } catch {
      // Ended meanwhile, or another user's.
    }
  }
  return found;
}

async function untilNothingRunsIn(prefix) {
  let left = [];
  await until(async () => {
    left = await processesOf(prefix);
    return left.length === 0;
  }, () => `end of ${left.join(', ')}`);
}

const wineRun = (...args) => run(join(kTop, 'scripts/wine-run'), args);

test('a stand that is stopped leaves no process and no file', async () => {
  const stand = await Stand.start({options: ['--solid', 'x=0,y=0']});
  const prefix = stand.value('prefix');
  assert.notEqual((await processesOf(prefix)).length, 0);
  assert.equal(await stand.stop(), 0);
  assert.deepEqual(await processesOf(prefix), []);
  assert.ok(!existsSync(dirname(prefix)));
});

test('a fault that there is not ends the run with the names of those there are', async () => {
  const failed =
      await run(join(kTop, 'devkit/run'), ['--bin', kBin, '--hardware-fault', 'good, stop-after 3'])
          .catch((error) => error);
  assert.equal(failed.code, 1);
  assert.match(failed.stderr, /^run: no fault 'stop-after 3' .*, stops-after N, /);
});

test('a signal to all of the stand’s process group ends it', async () => {
  const stand = spawn(
      join(kTop, 'devkit/run'), ['--bin', kBin, '--no-stage'],
      {detached: true, stdio: ['pipe', 'pipe', 'ignore']});
  let said = '';
  stand.stdout.setEncoding('utf8').on('data', (text) => said += text);
  await until(() => said.includes('ready\n'), 'start of the host', 240000);
  process.kill(-stand.pid, 'SIGTERM');
  await until(() => stand.exitCode !== null, 'end of the stand');
  assert.equal(stand.exitCode, 0);
});

test('what a killed stand leaves is swept up by the next run', async () => {
  const stand = await Stand.start({options: ['--solid', 'x=0,y=0']});
  const prefix = stand.value('prefix');
  stand.signal('SIGKILL');
  await stand.stop();
  await untilNothingRunsIn(prefix);
  await wineRun(kStage, '--help');
  assert.ok(!existsSync(dirname(prefix)));
});

test('a Windows program run for a test gives its exit code, output and complaints', async () => {
  const {stdout, stderr} = await wineRun(kStage, '--help');
  assert.match(stdout, /^Puts windows on the desktop/);
  assert.equal(stderr.replace(/^Making the Wine prefix.*\n/, ''), '');
  const failed = await wineRun(kStage, '--nonsense').catch((error) => error);
  assert.equal(failed.code, 64);
  assert.match(failed.stderr, /unknown actor --nonsense/);
});

test('programs run side by side do not disturb each other', async () => {
  const runs = Array.from({length: 4}, () => wineRun(kStage, '--help'));
  for (const {stdout} of await Promise.all(runs)) assert.match(stdout, /--target/);
});

test('a program that is killed with its runner ends', async () => {
  const child = spawn(join(kTop, 'scripts/wine-run'), [kStage, '--solid', 'x=0,y=0'], {
    env: {...process.env, TALU_DISPLAY: '640x480'},
    stdio: ['pipe', 'pipe', 'inherit'],
  });
  let out = '';
  child.stdout.on('data', (data) => out += data);
  await until(() => out.includes('ready'), 'stage');
  const folders = await readdir(join(kTop, 'build/wine'));
  const folder = folders.find((name) => name.startsWith(`run.${child.pid}.`));
  const ended = new Promise((resolve) => child.on('close', resolve));
  child.kill('SIGTERM');
  assert.equal(await ended, 143);
  assert.deepEqual(await processesOf(join(kTop, 'build/wine', folder, 'prefix')), []);
  assert.ok(!existsSync(join(kTop, 'build/wine', folder)));
});
