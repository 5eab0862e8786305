// The host's process as Linux sees it: found by the Wine prefix it runs in, killed, measured.

import {spawn} from 'node:child_process';
import {readdir, readFile} from 'node:fs/promises';
import {join} from 'node:path';
import {createInterface} from 'node:readline';
import {fileURLToPath} from 'node:url';

import {kBin} from './stand.mjs';

const kWineRun = fileURLToPath(new URL('../../scripts/wine-run', import.meta.url));

const readOrNothing = (file) => readFile(file, 'utf8').catch(() => '');

/** The processes of a prefix whose program's name ends so: [pid, ...]. */
export async function processesOf(prefix, program) {
  const found = [];
  for (const pid of (await readdir('/proc')).filter((name) => /^\d+$/.test(name))) {
    const [name] = (await readOrNothing(`/proc/${pid}/cmdline`)).split('\0');
    // The launcher names the program too, among its arguments.
    if (!name.endsWith(program)) continue;
    const environment = await readOrNothing(`/proc/${pid}/environ`);
    if (environment.split('\0').includes(`WINEPREFIX=${prefix}`)) found.push(Number(pid));
  }
  return found;
}

// Where Wine ends the address space that it gives to Windows' programs and DLLs; what is above
// belongs to its Unix libraries: the C library's heap, the renderer.
const kWindowsEnd = 0x7000_0000_0000;

/**
 * MB of a process's own memory below Wine's border: the host's stacks and heap, and those of the
 * Windows DLLs it uses. maps is the text of /proc/PID/smaps.
 */
export function windowsMemoryMb(maps) {
  let counted = false;
  let kib = 0;
  for (const line of maps.split('\n')) {
    const region = /^([0-9a-f]+)-[0-9a-f]+ \S+ \S+ \S+ \S+ *(.*)/.exec(line);
    if (region) counted = parseInt(region[1], 16) < kWindowsEnd && !region[2].startsWith('[');
    else if (counted) kib += Number(/^Anonymous: +(\d+) kB/.exec(line)?.[1] ?? 0);
  }
  return kib / 1024;
}

/**
 * Memory in MB, threads and open files of a process now; null when it is gone. Memory is what the
 * process has to itself: not the mapped files, which Wine's programs share.
 */
export async function measureProcess(pid) {
  const status = await readOrNothing(`/proc/${pid}/status`);
  const field = (name) => Number(new RegExp(`^${name}:\\s+(\\d+)`, 'm').exec(status)?.[1]);
  if (!Number.isFinite(field('RssAnon'))) return null;
  const files = await readdir(`/proc/${pid}/fd`).catch(() => []);
  return {
    memoryMb: field('RssAnon') / 1024,
    windowsMb: windowsMemoryMb(await readOrNothing(`/proc/${pid}/smaps`)),
    residentMb: field('VmRSS') / 1024,
    threads: field('Threads'),
    files: files.length,
  };
}

/** Windows' handles of a program in a stand's prefix, counted again and again. */
export class HandleGauge {
  #process;

  /** The last count; null before the first. */
  handles = null;

  constructor(stand, program, intervalMs) {
    this.#process = spawn(kWineRun, [join(kBin, 'talu_gauge.exe'), program, String(intervalMs)], {
      env: {...process.env, WINEPREFIX: stand.value('prefix')},
      stdio: ['pipe', 'pipe', 'inherit']
    });
    this.#process.stdin.on('error', () => {});
    createInterface({input: this.#process.stdout}).on('line', (line) => {
      this.handles = Number(line);
    });
  }

  stop() {
    this.#process.stdin.end();
  }
}
