// The real host beside the library of storms and floods (devkit/storm).

import {cp, mkdtemp, readdir, rm} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import {join} from 'node:path';

import {kBin, Stand} from './stand.mjs';

export class StormStand {
  #folder;
  #stand;

  /** environment: the library's variables; options: more of devkit/run's. */
  static async start(environment, options = []) {
    const storm = new StormStand();
    storm.#folder = await mkdtemp(join(tmpdir(), 'talu-storm-'));
    try {
      await storm.#start(environment, options);
    } catch (error) {
      await storm.stop();
      throw error;
    }
    return storm;
  }

  async #start(environment, options) {
    for (const name of await readdir(kBin)) {
      if (/\.dll$|^talu_host\.exe$/.test(name)) await cp(join(kBin, name), join(this.#folder, name));
    }
    await cp(join(kBin, 'storm/libtcar_sdk.dll'), join(this.#folder, 'libtcar_sdk.dll'));
    const variables = Object.entries(environment).flatMap(([name, value]) => ['--env', `${name}=${value}`]);
    this.#stand = await Stand.start({
      options: [
        '--host', join(this.#folder, 'talu_host.exe'), ...variables, '--moving',
        'x=100,y=100,w=300,h=300', ...options
      ],
    });
  }

  setMonitors(layout) {
    return this.#stand.setMonitors(layout);
  }

  logText() {
    return this.#stand.logText();
  }

  untilLog(text) {
    return this.#stand.untilLog(text);
  }

  /** The host's exit code; see Stand.stop. */
  async stop(options) {
    const code = await this.#stand?.stop(options);
    await rm(this.#folder, {recursive: true, force: true});
    return code;
  }
}
