// The sweep: every call of the host's fails at its first, second and every later occurrence, one at
// a time, while the host starts, serves a controller, and stops.

import {setTimeout as sleep} from 'node:timers/promises';

import {Stand, until, windowsPath} from './stand.mjs';
import {callOf} from './sweep_calls.mjs';
import {checkInput, checkPictures, goesOn, kMonitors, kNotes, kStage, Subscriber, workThrough} from './sweep_round.mjs';
import {SweptHost} from './swept_host.mjs';

const kBalanceMs = 10000;
const kBriefBalanceMs = 2000;
// The groups whose calls another mode leads to.
const kMetByOtherMode = new Set(['Direct3D 11', 'DXGI']);
// After faults in these, typing and copying have to work again, too.
const kWorkedByInput = new Set(['Input', 'Clipboard', 'Windows and messages']);

export function startSweepStand() {
  return Stand.start({options: (files) => kStage(`${windowsPath(files)}\\${kNotes}`)});
}

const unlisted = (calls) => Object.keys(calls).filter((name) => callOf(name) === undefined);

const subtract = (now, before) => Object.fromEntries(
    Object.entries(now).map(([name, count]) => [name, count - (before[name] ?? 0)])
        .filter(([, count]) => count > 0));

export class Sweep {
  #marker = Math.floor(Math.random() * 9000) * 10;
  #host = null;
  #baseline = null;

  /** brief: with less patience, and without another mode, for a short form. */
  constructor(stand, {hardware = false, brief = false} = {}) {
    this.stand = stand;
    this.hardware = hardware;
    this.brief = brief;
  }

  /**
   * The calls of the parts of a run without a fault, each {call: count}: start, stream and stop. The
   * calls of stream are counted in a round as each call's own faults get it. worked: those of stream
   * up to the moment when a lasting fault is taken away.
   */
  async census() {
    const host = await this.#freshHost();
    const start = (await host.status()).calls;
    await this.#cleanRound(host, {withInput: true});
    await this.#settle(host);
    const plain = await this.#countRound(host, {otherMode: false});
    const varied = await this.#countRound(host, {otherMode: true});
    const before = (await host.status()).calls;
    await host.stop();
    const end = JSON.parse((await host.reportText()).trim().split('\n').at(-1));
    this.unlisted = unlisted(end.calls);
    this.atEnd = end.held;
    const ownRound = (part) => Object.fromEntries([
      ...Object.entries(plain[part]).filter(([call]) => !kMetByOtherMode.has(callOf(call)?.group)),
      ...Object.entries(varied[part]).filter(([call]) => kMetByOtherMode.has(callOf(call)?.group)),
    ]);
    return {
      start,
      stream: ownRound('stream'),
      worked: ownRound('worked'),
      stop: subtract(end.calls, before),
    };
  }

  async #countRound(host, options) {
    const before = (await host.status()).calls;
    const subscriber = await Subscriber.open(host);
    await workThrough(this.stand, subscriber, ++this.#marker, options);
    const worked = (await host.status()).calls;
    await goesOn(subscriber);
    await subscriber.close();
    await this.#settle(host);
    const after = (await host.status()).calls;
    return {worked: subtract(worked, before), stream: subtract(after, before)};
  }

  /** Waits until the self-test is over, whose calls come when they like. */
  async #freshHost(options = {}) {
    const host = await SweptHost.start(this.stand, {hardware: this.hardware, ...options});
    if (host.ready) await this.#untilSelfTest(host);
    return host;
  }

  async #untilSelfTest(host) {
    await until(async () => {
      const log = await host.logText();
      return /硬编端到端自检|硬编自检缓存命中/.test(log) || host.exitCode !== null;
    }, 'self-test’s end', 30000).catch(() => {});
  }

  async #cleanRound(host, {withInput = false} = {}) {
    const subscriber = await Subscriber.open(host);
    try {
      await checkPictures(subscriber);
      if (withInput) await checkInput(this.stand, subscriber, ++this.#marker);
    } finally {
      await subscriber.close();
    }
  }

  /** Waits until the host has come to rest after a subscription; gives what it holds. */
  async #settle(host) {
    let held = null;
    let same = 0;
    await until(async () => {
      const now = (await host.status())?.held;
      same = JSON.stringify(now) === JSON.stringify(held) ? same + 1 : 0;
      held = now;
      return same >= 3;
    }, 'rest', kBalanceMs).catch(() => {});
    return held;
  }

  /** What is held more than at the baseline, as text; '' when nothing is. */
  async #surplus(host) {
    let text = '';
    await until(async () => {
      const {held} = await host.status();
      const more = subtract(held, this.#baseline);
      text = Object.entries(more).map(([name, count]) => `${count} ${name}`).join(', ');
      return text === '';
    }, 'balance', this.brief ? kBriefBalanceMs : kBalanceMs).catch(() => {});
    return text;
  }

  async #streamingHost() {
    if (this.#host && this.#host.exitCode === null) return this.#host;
    this.#host = await this.#freshHost();
    await this.#cleanRound(this.#host, {withInput: !this.brief});
    await this.#cleanRound(this.#host);
    this.#baseline = await this.#settle(this.#host);
    return this.#host;
  }

  /**
   * One fault while a controller is served: {struck, pictures, kept, back, surplus, exit, lines}.
   */
  async strikeStream(fault) {
    const outcome = await this.#strikeStreamOnce(fault);
    // What a first failure makes for good is no loss. What is lost is lost again with the same fault.
    if (!outcome.surplus || !this.#host) return outcome;
    this.#baseline = await this.#settle(this.#host);
    const again = await this.#strikeStreamOnce(fault);
    outcome.surplus = again.surplus;
    if (again.surplus) await this.dropHost();
    return outcome;
  }

  async #strikeStreamOnce(fault) {
    const host = await this.#streamingHost();
    const outcome = {...fault, part: 'stream', struck: 0, kept: '', back: false, surplus: '', exit: null};
    const logBefore = (await host.logText()).length;
    try {
      await host.arm(fault);
      const subscriber = await Subscriber.open(host);
      outcome.pictures = await workThrough(this.stand, subscriber, ++this.#marker, {
        otherMode: kMetByOtherMode.has(fault.group) && !this.brief,
        brief: this.brief,
      });
      if (fault.occurrence === 'later' || fault.occurrence === 'always') {
        outcome.struck += await host.disarm();
      }
      outcome.kept =
          host.exitCode === null ? await goesOn(subscriber, {brief: this.brief}) : '';
      outcome.monitorsTold =
          subscriber.viewer.messagesOf('screens').map(({screens}) => screens.length);
      if (outcome.struck > 0) await host.arm(fault);
      await subscriber.close();
      await this.#settle(host);
      outcome.struck += await host.disarm();
      outcome.lines = this.#linesOf((await host.logText()).slice(logBefore));
      await this.#cleanRound(host, {withInput: kWorkedByInput.has(fault.group)});
      outcome.back = true;
      outcome.surplus = await this.#surplus(host);
    } catch (error) {
      outcome.trouble = error.message;
    }
    outcome.exit = host.exitCode;
    if (outcome.trouble) await this.stand.setMonitors(kMonitors);
    const gaveUp = this.hardware && (await host.logText()).includes('encoder ready: SOFTWARE');
    if (outcome.trouble || gaveUp || outcome.exit !== null) await this.dropHost();
    return outcome;
  }

  /** One fault from the process's first instruction on. */
  async strikeStart(fault) {
    const outcome = {...fault, part: 'start', struck: 0, back: false, surplus: '', exit: null};
    const host = await SweptHost.start(this.stand, {fault, hardware: this.hardware});
    outcome.verdict = host.ready ? 'READY' : host.failed ? 'FAILED' : 'none';
    try {
      if (host.ready) {
        await this.#untilSelfTest(host);
        await host.disarm();
        if (host.exitCode !== null) return await this.#noteEnd(host, outcome);
        await this.#cleanRound(host, {withInput: kWorkedByInput.has(fault.group)});
        outcome.back = true;
        outcome.exit = await host.stop();
      } else {
        outcome.exit = await host.ended();
        outcome.back = true;
      }
    } catch (error) {
      outcome.trouble = error.message;
      await host.stop();
      outcome.exit = host.exitCode;
    }
    return this.#noteEnd(host, outcome);
  }

  async #noteEnd(host, outcome) {
    outcome.exit = host.exitCode;
    outcome.struck = (await host.reportText()).includes('struck ') ? 1 : 0;
    outcome.lines = this.#linesOf(await host.logText());
    return outcome;
  }

  /** One fault while the host stops. */
  async strikeStop(fault) {
    const outcome = {...fault, part: 'stop', struck: 0, back: true, surplus: '', exit: null};
    const host = await this.#freshHost();
    const subscriber = await Subscriber.open(host);
    await subscriber.keyFrameAfter(0, 60000);
    await host.arm(fault);
    outcome.exit = await host.stop();
    await subscriber.close();
    return this.#noteEnd(host, outcome);
  }

  #linesOf(log) {
    return [...new Set(log.split(/\r?\n/).filter((line) => line))];
  }

  /** The calls of the host in use that sweep_calls.mjs does not list. */
  async unlistedCalls() {
    const {calls} = await (await this.#streamingHost()).status();
    return unlisted(calls);
  }

  async dropHost() {
    const host = this.#host;
    this.#host = null;
    if (host && host.exitCode === null) await host.stop();
  }

  async close() {
    await this.dropHost();
    await sleep(0);
  }
}

/**
 * The faults of one of a census' parts: {call, group, occurrence, fault} per call, way and occurrence
 * that there is. One that strikes every later occurrence needs a third one while it is in force.
 */
export function faultsOf(census, part) {
  const faults = [];
  for (const [call, count] of Object.entries(census[part])) {
    const known = callOf(call);
    if (!known) continue;
    const lasting = part === 'stream' ? census.worked[call] ?? 0 : count;
    const occurrences = [['first', count >= 1], ['second', count >= 2], ['later', lasting >= 3]];
    for (const fault of known.faults) {
      for (const [occurrence, isMet] of occurrences) {
        if (isMet) faults.push({call, group: known.group, occurrence, fault});
      }
    }
  }
  return faults;
}
