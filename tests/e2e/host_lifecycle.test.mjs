// Starting and stopping the real host: verdicts, exit codes, log.

import assert from 'node:assert/strict';
import {execFile} from 'node:child_process';
import {copyFile, mkdtemp, readFile, rm} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import test, {after, before} from 'node:test';
import {fileURLToPath} from 'node:url';
import {promisify} from 'node:util';

import {startBrowser} from './browser.mjs';
import {kBin, windowsPath} from './stand.mjs';
import {openViewer, startStand} from './stream_harness.mjs';
import {untilMorePictures} from './viewer_harness.mjs';

const kWineRun = fileURLToPath(new URL('../../scripts/wine-run', import.meta.url));
const kCredentials = ['--instance-id', 'one', '--token', 'two', '--access-info', 'three'];

let browser;
before(async () => browser = await startBrowser());
after(() => browser?.close());

const run = promisify(execFile);
const plainLines = (text) => text.replaceAll('\r\n', '\n');
const logOf = async (stand) => plainLines(await stand.logText());

// Other threads' lines may come between the two, and after them those of the self-test, which goes
// on until the process is gone.
function assertEndOfLog(log) {
  assert.match(log, /\n\[host\] 正在停止...\n([^]*\n)?\[host\] 已退出\n(\[agent\] .*\n)*$/);
}

async function makeFolder(t) {
  const folder = await mkdtemp(join(tmpdir(), 'talu-test-'));
  t.after(() => rm(folder, {recursive: true, force: true}));
  return folder;
}

/** Runs the host under the launcher without a display; {code, lines, errors, log}. */
async function launch(t, host, options) {
  const folder = await makeFolder(t);
  const outcome =
      await run(
          kWineRun,
          [
            join(kBin, 'talu_launcher.exe'), '--temp', windowsPath(folder), '--', windowsPath(host),
            ...options,
          ],
          {encoding: 'utf8'})
          .then(({stdout, stderr}) => ({code: 0, stdout, stderr}), (error) => error);
  return {
    code: outcome.code,
    lines: outcome.stdout.split('\n'),
    errors: outcome.stderr,
    log: plainLines(await readFile(join(folder, 'talu_host_log.txt'), 'utf8')),
  };
}

test('the end of its input stops the host with exit code 0', async (t) => {
  const stand = await startStand(t, ['--no-stage']);
  assert.equal(await stand.stop({keepFiles: true}), 0);
  assert.equal(stand.value('exit'), '0');
  assertEndOfLog(await logOf(stand));
});

test('Ctrl+C stops the host with exit code 0', async (t) => {
  const stand = await startStand(t, ['--no-stage', '--launcher', '--stop-with', 'ctrl-c']);
  assert.equal(await stand.stop({keepFiles: true}), 0);
  assert.equal(stand.value('exit'), '0');
  assertEndOfLog(await logOf(stand));
});

test('the end of its input stops the host while somebody watches', async (t) => {
  const stand = await startStand(t, ['--moving', 'x=100,y=100,w=300,h=300']);
  const page = await openViewer(t, browser, stand);
  await untilMorePictures(page, 10);
  assert.equal(await stand.stop({keepFiles: true}), 0);
  assertEndOfLog(await logOf(stand));
});

test('a signal takes the stand down with the host’s own exit code', async (t) => {
  const stand = await startStand(t, ['--no-stage']);
  stand.signal('SIGTERM');
  assert.equal(await stand.ended(), 0);
  assert.equal(stand.value('exit'), '0');
});

test('standard error holds the one line about the start and nothing else', async (t) => {
  const stand = await startStand(t, ['--no-stage']);
  await stand.stop({keepFiles: true});
  const own = stand.errors.split('\n').filter((line) => !line.startsWith('Making the Wine prefix'));
  assert.deepEqual(own, ['[host] READY\r', '']);
});

test('missing options give exit code 2 and nothing on standard error', async (t) => {
  for (const options of [[], kCredentials.slice(0, 4), [...kCredentials.slice(0, 5), '']]) {
    const {code, lines, errors, log} = await launch(t, join(kBin, 'talu_host.exe'), options);
    assert.equal(code, 2);
    assert.equal(errors.replace(/^Making the Wine prefix.*\n/, ''), '');
    assert.ok(!lines.includes('ready') && !lines.includes('failed'));
    assert.equal(log, '[host] 缺少必填参数 --instance-id/--token/--access-info\n');
  }
});

test('a missing library gives FAILED and exit code 1', async (t) => {
  const alone = join(await makeFolder(t), 'talu_host.exe');
  await copyFile(join(kBin, 'talu_host.exe'), alone);
  const {code, lines, errors, log} = await launch(t, alone, kCredentials);
  assert.equal(code, 1);
  assert.ok(lines.includes('failed'), lines);
  assert.equal(errors.replace(/^Making the Wine prefix.*\n/, ''), '[host] FAILED\r\n');
  assert.ok(log.endsWith('[host] push start FAILED, exit\n'), log);
});

test('a desktop that cannot be captured gives FAILED and exit code 1', async (t) => {
  // Without a display there is no desktop.
  const {code, lines, log} = await launch(t, join(kBin, 'talu_host.exe'), kCredentials);
  assert.equal(code, 1);
  assert.ok(lines.includes('failed'), lines);
  assert.ok(log.endsWith('[host] push start FAILED, exit\n'), log);
});
