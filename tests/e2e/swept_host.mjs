// A host with the library of faults in it, on a stand that runs.

import {spawn} from 'node:child_process';
import {mkdir, readFile} from 'node:fs/promises';
import {connect} from 'node:net';
import {join} from 'node:path';
import {createInterface} from 'node:readline';
import {setTimeout as sleep} from 'node:timers/promises';

import {kBin, until, windowsPath} from './stand.mjs';

const kWine = '/usr/lib/wine/wine64';
const kReadySeconds = 60;
// The launcher's wait for the verdict, and then for the end.
const kStartMs = 150000;
const kCredentials =
    ['--app-id', '1', '--instance-id', 'sweep', '--token', 'sweep', '--access-info', 'sweep'];
const kForEver = 2 ** 52;

/** Which calls a fault strikes, counted from the moment it is set. */
export const kOccurrences = {
  first: [1, 1],
  second: [2, 2],
  later: [3, kForEver],
  always: [1, kForEver],
};

function orderOf({call, occurrence, fault}) {
  const [from, to] = kOccurrences[occurrence];
  const value = BigInt.asUintN(64, BigInt(fault.value));
  return `arm ${call} ${from} ${to} ${value} ${fault.error} ${fault.way}`;
}

async function textOf(file) {
  return await readFile(file, 'utf8').catch(() => '');
}

let number = 0;

export class SweptHost {
  lines = [];
  errors = '';
  #replies = [];
  #gone = false;

  /**
   * fault: {call, occurrence, fault} in force from the first instruction on. hardware: encode with a
   * transform like a graphics card's. Waits for the verdict, or the end.
   */
  static async start(stand, settings = {}) {
    const host = await this.#startOnce(stand, settings);
    // One start in some hundreds hangs under Wine with the library in the process.
    const hung = host.errors.includes('no verdict from the host');
    return hung ? this.#startOnce(stand, settings) : host;
  }

  static async #startOnce(stand, {fault = null, hardware = false}) {
    const host = new SweptHost();
    host.files = join(stand.files, `swept-${++number}`);
    await mkdir(join(host.files, 'temp'), {recursive: true});
    await mkdir(join(host.files, 'local'));
    host.#spawn(stand, fault, hardware);
    const told = () => host.lines.some((line) => /^(ready|failed|exit=.*)$/.test(line));
    await until(told, 'verdict', kStartMs).catch(async (error) => {
      error.message += `\n${host.lines.join('\n')}\n${host.errors}\n${await host.logText()}`;
      throw error;
    });
    return host;
  }

  #spawn(stand, fault, hardware) {
    const place = (name) => windowsPath(join(this.files, name));
    const variables = {
      TALU_FAULTS_PORT: place('port'),
      TALU_FAULTS_REPORT: place('report'),
      TCAR_LOOPBACK_TOKEN: 'sweep',
      ...hardware && {TALU_HARDWARE_CODEC: windowsPath(join(stand.files, 'swept-hardware'))},
      ...fault && {TALU_FAULTS_FIRST: orderOf(fault)},
    };
    this.process = spawn(
        kWine,
        [
          join(kBin, 'talu_launcher.exe'), '--temp', place('temp'), '--local-appdata',
          place('local'), '--url-file', place('url'), '--ready-timeout', `${kReadySeconds}`, '--stop-timeout', '60',
          '--load',
          windowsPath(join(kBin, process.env.TALU_FAULTS_DLL ?? 'talu_faults.dll')),
          ...Object.entries(variables).flatMap(([name, value]) => ['--env', `${name}=${value}`]),
          '--', windowsPath(join(kBin, 'talu_host.exe')), ...kCredentials,
        ],
        {
          // Where the host's log is when there is no folder for temporary files.
          cwd: this.files,
          env: {
            ...process.env,
            DISPLAY: stand.value('display'),
            WINEPREFIX: stand.value('prefix'),
            WINEDEBUG: '-all',
            WINEARCH: 'win64',
            WINEDLLPATH: join(kBin, 'wine'),
            WINEDLLOVERRIDES:
                'winemenubuilder.exe=d;mscoree=d;mshtml=d;winedbg.exe=d;d3d11=n,b',
          },
        });
    this.process.stdin.on('error', () => {});
    this.process.stderr.setEncoding('utf8').on('data', (text) => this.errors += text);
    createInterface({input: this.process.stdout}).on('line', (line) => this.lines.push(line));
  }

  get ready() {
    return this.lines.includes('ready');
  }

  get failed() {
    return this.lines.includes('failed');
  }

  /** The host's exit code; null while it lives. */
  get exitCode() {
    const line = this.lines.find((one) => one.startsWith('exit='));
    return line ? Number(line.slice(5)) : null;
  }

  get viewer() {
    return this.lines.find((line) => line.startsWith('viewer='))?.slice(7);
  }

  logText() {
    return textOf(join(this.files, 'temp/talu_host_log.txt'));
  }

  reportText() {
    return textOf(join(this.files, 'report'));
  }

  async #connect() {
    const port = await until(
        async () => Number(await textOf(join(this.files, 'port'))), 'port of the library of faults');
    this.socket = connect(port, '127.0.0.1');
    this.socket.on('error', () => this.#gone = true);
    this.socket.on('close', () => this.#gone = true);
    createInterface({input: this.socket})
        .on('line', (line) => this.#replies.push(line))
        .on('error', () => {});
  }

  /** Gives an order to the library of faults; null when the host ended over it. */
  async order(line) {
    if (!this.socket) await this.#connect();
    this.socket.write(`${line}\n`);
    await until(() => this.#replies.length > 0 || this.#gone, `answer to ${line}`);
    return this.#replies.shift() ?? null;
  }

  arm(fault) {
    return this.order(orderOf(fault));
  }

  /** How often the fault struck. */
  async disarm() {
    return Number((await this.order('disarm'))?.split(' ')[1] ?? 0);
  }

  /** {calls, held} */
  async status() {
    const reply = await this.order('status');
    if (reply === null) throw new Error('the host has ended');
    return JSON.parse(reply);
  }

  /** Waits until the host has ended; gives its exit code. */
  async ended() {
    await until(() => this.exitCode !== null, 'end of the host', 180000);
    this.socket?.destroy();
    await sleep(0);
    return this.exitCode;
  }

  /** Ends the host as its parent would; gives its exit code. */
  stop() {
    this.process.stdin.end();
    return this.ended();
  }
}
