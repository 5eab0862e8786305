// Kills hosts at random moments and looks whether the next start is right. All of them run in the
// prefix and on the display of one stand, so that a start is quick.

import assert from 'node:assert/strict';
import {spawn} from 'node:child_process';
import {once} from 'node:events';
import {mkdir, readdir, readFile, rm, writeFile} from 'node:fs/promises';
import {join} from 'node:path';
import {createInterface} from 'node:readline';
import {setTimeout as sleep} from 'node:timers/promises';
import {fileURLToPath} from 'node:url';

import {processesOf} from './host_process.mjs';
import {kBin, until, windowsPath} from './stand.mjs';
import {WatchingViewer} from './stream_watch.mjs';

const kWineRun = fileURLToPath(new URL('../../scripts/wine-run', import.meta.url));
const kLog = 'temp/talu_host_log.txt';
const kVerdict = 'local/TALUDesk/hw_encoder_verdict.txt';
const kHost = 'talu_host.exe';
// On a machine with too much to do the encoder may be found too slow, and that is a verdict, too.
const kWholeVerdict = /^[^\t]+\t(good|bad)\r\n$/;

/** When a host is killed: while it starts, tests its encoder, streams, stops. */
export const kMoments = ['start', 'self-test', 'stream', 'stop'];

/** One run of the host under a launcher of its own. */
class HostRun {
  lines = [];

  constructor(kills, name) {
    this.kills = kills;
    const {stand, folder} = kills;
    this.process = spawn(
        kWineRun,
        [
          join(kBin, 'talu_launcher.exe'), '--temp', windowsPath(join(folder, 'temp')),
          '--local-appdata', windowsPath(join(folder, 'local')), '--env',
          `TALU_HARDWARE_CODEC=${windowsPath(join(folder, 'hardware-codec'))}`, '--',
          windowsPath(join(kBin, kHost)), '--instance-id', name, '--token', 't', '--access-info',
          'a'
        ],
        {
          stdio: ['pipe', 'pipe', 'ignore'],
          env: {
            ...process.env,
            WINEPREFIX: stand.value('prefix'),
            DISPLAY: stand.value('display'),
            TALU_OVERRIDES: 'd3d11=n,b',
          },
        });
    this.process.stdin.on('error', () => {});
    this.ended = once(this.process, 'exit').then(([code]) => this.code = code);
    createInterface({input: this.process.stdout}).on('line', (line) => this.lines.push(line));
  }

  value(name) {
    return this.lines.find((line) => line.startsWith(`${name}=`))?.slice(name.length + 1);
  }

  async untilProcess() {
    this.pid = await until(async () => {
      assert.equal(this.code, undefined, 'the launcher’s exit code');
      return (await this.kills.hosts())[0];
    }, 'process of the host');
  }

  untilReady() {
    return until(() => {
      assert.ok(!this.lines.includes('failed'), 'the host failed to start');
      return this.lines.includes('ready');
    }, 'READY');
  }

  async kill() {
    try {
      process.kill(this.pid, 'SIGKILL');
    } catch (error) {
      // It has just ended by itself.
      assert.equal(error.code, 'ESRCH');
    }
    await this.ended;
    await until(async () => (await this.kills.hosts()).length === 0, 'end of the killed host');
  }

  async stop() {
    this.process.stdin.end();
    await this.ended;
    assert.equal(this.code, 0, 'exit code');
  }
}

export class HostKills {
  number = 0;
  /** What the verdict file was after the kills. */
  verdicts = {none: 0, empty: 0, whole: 0, broken: 0};
  moments = {};
  startsMs = [];
  #typicalStartMs = 1000;

  /** random: gives numbers from 0 to below 1. */
  static async open(stand, random = Math.random) {
    const kills = new HostKills();
    kills.random = random;
    kills.stand = stand;
    kills.folder = join(stand.files, 'killed');
    for (const name of ['temp', 'local']) await mkdir(join(kills.folder, name), {recursive: true});
    await writeFile(join(kills.folder, 'hardware-codec'), 'good\n');
    kills.own = await processesOf(stand.value('prefix'), kHost);
    kills.sharedMemory = await sharedMemoryIds();
    return kills;
  }

  /** The hosts that run, but for the stand's own. */
  async hosts() {
    const all = await processesOf(this.stand.value('prefix'), kHost);
    return all.filter((pid) => !this.own.includes(pid));
  }

  file(name) {
    return join(this.folder, name);
  }

  /** Kills a host at such a moment; then starts it again and expects all to be well. */
  async round(moment) {
    this.moments[moment] = (this.moments[moment] ?? 0) + 1;
    const killed = this.#start();
    if (moment === 'self-test') await rm(this.file(kVerdict), {force: true});
    await killed.untilProcess();
    await this.#reach(killed, moment);
    await killed.kill();
    const remembered = await this.#judgeVerdict();
    await this.#expectGoodStart(remembered);
  }

  #start() {
    this.number += 1;
    return new HostRun(this, `run-${this.number}.`);
  }

  async #reach(run, moment) {
    if (moment === 'start' || moment === 'self-test') {
      const from = moment === 'start' ? 0 : 0.5;
      await sleep((from + this.random()) * this.#typicalStartMs);
      return;
    }
    await run.untilReady();
    const viewer = await WatchingViewer.open(run.value('viewer'));
    await viewer.untilMore(1, 'pictures');
    if (moment === 'stop') run.process.stdin.end();
    await sleep(this.random() * 500);
  }

  /** Whether there is a verdict that counts. Half a one would be a wrong one. */
  async #judgeVerdict() {
    const text = await readFile(this.file(kVerdict), 'utf8').catch(() => null);
    const whole = kWholeVerdict.test(text ?? '');
    if (text === null)
      this.verdicts.none += 1;
    else if (text === '')
      this.verdicts.empty += 1;
    else if (whole)
      this.verdicts.whole += 1;
    else
      this.verdicts.broken += 1;
    return whole;
  }

  async #expectGoodStart(remembered) {
    const begun = performance.now();
    const run = this.#start();
    await run.untilProcess();
    const appeared = performance.now();
    await run.untilReady();
    this.startsMs.push(performance.now() - begun);
    this.#typicalStartMs = performance.now() - appeared;

    const viewer = await WatchingViewer.open(run.value('viewer'));
    await viewer.untilMore(3, 'pictures');
    assert.deepEqual(viewer.wrong, []);
    await viewer.close();

    const verdict = remembered ? '硬编自检缓存命中: ' : '硬编端到端自检: ';
    const log = await until(async () => {
      const text = await readFile(this.file(kLog), 'utf8');
      return text.includes(verdict) && text;
    }, `“${verdict}” in the log`);
    assert.ok(log.startsWith(`[tcar] Start enter, instance_id=run-${this.number}. `), log);
    assert.equal(log.split('instance_id=run-').length - 1, 3, `another run’s lines: ${log}`);
    await run.stop();
    assert.match(await readFile(this.file(kVerdict), 'utf8'), kWholeVerdict);
    await this.#expectNothingLeft();
  }

  async #expectNothingLeft() {
    assert.deepEqual(await this.hosts(), []);
    assert.deepEqual(await readdir(this.file('temp')), ['talu_host_log.txt']);
    assert.deepEqual(await readdir(this.file('local')), ['TALUDesk']);
    assert.deepEqual(await readdir(this.file('local/TALUDesk')), ['hw_encoder_verdict.txt']);
  }

  /** Shared memory of this user that nobody is attached to and that was not there before. */
  async leftSharedMemory() {
    return (await sharedMemoryIds()).filter((id) => !this.sharedMemory.includes(id));
  }
}

async function sharedMemoryIds() {
  const [head, ...rows] = (await readFile('/proc/sysvipc/shm', 'utf8')).trim().split('\n');
  const columns = head.trim().split(/\s+/);
  const [id, attached] = [columns.indexOf('shmid'), columns.indexOf('nattch')];
  return rows.map((row) => row.trim().split(/\s+/))
      .filter((fields) => fields[attached] === '0')
      .map((fields) => fields[id]);
}
