// The real host under Wine on a stand of its own (devkit/run), for end-to-end tests.
//
// TALU_BIN names another build's folder of programs than build/windows/bin.

import {execFile, spawn} from 'node:child_process';
import {once} from 'node:events';
import {mkdtemp, readFile, rename, rm, writeFile} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {createInterface} from 'node:readline';
import {after, before} from 'node:test';
import {setTimeout as sleep} from 'node:timers/promises';
import {fileURLToPath} from 'node:url';
import {promisify} from 'node:util';

const kTop = fileURLToPath(new URL('../../', import.meta.url));
// Generous: a loaded machine is slow, a broken host is broken for ever.
const kStartMs = 240000;
const kStopMs = 120000;
const kWaitMs = 60000;
const kPollMs = 50;

/** The folder of the built programs. */
export const kBin = process.env.TALU_BIN ?? join(kTop, 'build/windows/bin');

/** Wine's name of a file. */
export function windowsPath(file) {
  return `Z:${file.replaceAll('/', '\\')}`;
}

/** Waits until look(), which may be asynchronous, gives something, and returns that. */
export async function until(look, what, timeoutMs = kWaitMs) {
  const end = Date.now() + timeoutMs;
  for (;;) {
    const found = await look();
    if (found) return found;
    if (Date.now() > end) {
      throw new Error(
          `within ${timeoutMs / 1000} s: no ${typeof what === 'string' ? what : what()}`);
    }
    await sleep(kPollMs);
  }
}

export class Stand {
  #process;
  #exited;
  #complaints = '';
  #beside = null;
  #environment = process.env;

  #lineTimes = [];

  /** Lines of devkit/run so far. */
  lines = [];

  /**
   * options: devkit/run's, or a function that gives them for the directory of the run's files;
   * hostOptions: the host's own. With expectReady = false the wait is for any verdict. beside: a stand
   * whose desktop the host is to share; that one has to end last. locale: variables of the locale.
   */
  static async start(
      {options = [], hostOptions = [], expectReady = true, beside = null, locale = {}} = {}) {
    const stand = new Stand();
    stand.#beside = beside;
    stand.#environment = {...process.env, ...locale};
    if (beside) stand.#environment.DISPLAY = beside.value('display');
    stand.files = await mkdtemp(join(tmpdir(), 'talu-stand-'));
    try {
      await stand.#start(
          typeof options === 'function' ? options(stand.files) : options, hostOptions, expectReady);
    } catch (error) {
      error.message += `\n${stand.#complaints}\n${await stand.logText()}`;
      await stand.stop().catch(() => {});
      throw error;
    }
    return stand;
  }

  async #start(options, hostOptions, expectReady) {
    const host = hostOptions.length > 0 ? ['--', ...hostOptions] : [];
    const beside = this.#beside ? ['--beside', this.#beside.value('prefix')] : [];
    this.#process = spawn(
        join(kTop, 'devkit/run'),
        ['--bin', kBin, '--files', this.files, ...beside, ...options, ...host],
        {stdio: ['pipe', 'pipe', 'pipe'], env: this.#environment});
    this.#process.stderr.setEncoding('utf8').on('data', (text) => this.#complaints += text);
    // Writing to one that has ended is no news.
    this.#process.stdin.on('error', () => {});
    this.#exited = once(this.#process, 'exit').then(([code]) => code);
    createInterface({input: this.#process.stdout}).on('line', (line) => {
      this.lines.push(line);
      this.#lineTimes.push(performance.now());
    });
    const ended = () => this.#process.exitCode !== null || this.#process.signalCode !== null;
    await until(
        () => this.lines.some((line) => /^(ready|failed|exit=.*)$/.test(line)) || ended(),
        'verdict of the host', kStartMs);
    if (expectReady && !this.lines.includes('ready')) throw new Error('the host is not ready');
  }

  /** The value of a line of devkit/run: display, prefix, log, viewer, exit. */
  value(name) {
    return this.lines.find((line) => line.startsWith(`${name}=`))?.slice(name.length + 1);
  }

  /** Milliseconds between the lines of devkit/run that begin so. */
  millisecondsBetween(first, second) {
    const timeOf = (start) => this.#lineTimes[this.lines.findIndex((line) => line.startsWith(start))];
    return timeOf(second) - timeOf(first);
  }

  /** The address of the page. */
  get viewer() {
    return this.value('viewer');
  }

  /** A file of the run; '' while it is missing. */
  async fileText(name) {
    try {
      return await readFile(join(this.files, name), 'utf8');
    } catch {
      return '';
    }
  }

  logText() {
    return this.fileText('temp/talu_host_log.txt');
  }

  /** The lines that a file of the run gets from now on: a function that gives those so far. */
  async linesFromHere(name) {
    const {length} = await this.fileText(name);
    return async () => (await this.fileText(name)).slice(length).split(/\r?\n/).slice(0, -1);
  }

  /** The same for the host's log. */
  logFromHere() {
    return this.linesFromHere('temp/talu_host_log.txt');
  }

  /** Waits until the host's log holds text and gives the log. */
  untilLog(text) {
    return until(async () => {
      const log = await this.logText();
      return log.includes(text) && log;
    }, `“${text}” in the log`);
  }

  /** What came on standard error: the host's lines, and complaints of the stand. */
  get errors() {
    return this.#complaints;
  }

  /** Writes a control file of faults, one of those that devkit/run --help names. */
  async writeFaults(name, lines) {
    // Renamed into place, so that nobody reads half of it.
    const draft = join(this.files, `${name}.new`);
    await writeFile(draft, lines.map((line) => `${line}\n`).join(''));
    await rename(draft, join(this.files, name));
  }

  signal(name) {
    this.#process.kill(name);
  }

  /** Lays the monitors out anew while everything runs. */
  async setMonitors(layout) {
    await promisify(execFile)(
        join(kTop, 'devkit/wine/desktop/set-monitors'), [layout],
        {env: {...process.env, DISPLAY: this.value('display')}});
  }

  /** Waits until the stand has ended; gives the host's exit code. */
  async ended() {
    const code = await Promise.race([this.#exited, sleep(kStopMs, 'late', {ref: false})]);
    if (code === 'late') {
      this.#process.kill('SIGKILL');
      throw new Error(`the stand did not end within ${kStopMs / 1000} s`);
    }
    return code;
  }

  /**
   * Ends the host as its parent would, and the stand; gives the host's exit code. The run's files
   * are gone then, unless keepFiles is set: then the next stop removes them.
   */
  async stop({keepFiles = false} = {}) {
    let code = null;
    if (this.#process) {
      this.#process.stdin.end();
      code = await this.ended();
    }
    if (!keepFiles) await rm(this.files, {recursive: true, force: true});
    return code;
  }
}

/** Call once in a test file: gives {stand} while its tests run. */
export function useStand(options) {
  const shared = {};
  before(async () => {
    shared.stand = await Stand.start(options);
  });
  after(() => shared.stand?.stop());
  return shared;
}
