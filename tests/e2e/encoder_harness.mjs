// What the tests of the host's encoders share: hosts beside each other on one desktop, each with a
// machine of its own to find (faults of the transforms, a remembered verdict), the log's lines
// about encoders, and the calls on the transforms.

import {mkdirSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';

import {Stand, until} from './stand.mjs';

export const kVerdictFile = 'local/TALUDesk/hw_encoder_verdict.txt';
export const kCredentials = ['--instance-id', 'one', '--token', 'two', '--access-info', 'three'];

/** The lines, without their "[agent] ", which begins each. */
export const kLines = {
  manager: 'SET_D3D_MANAGER -> 0x00000000',
  noRequestAtAll: '硬编 600ms 未发首个 NeedInput，判定本机硬编不可用，回退软件编码器',
  noRequest: '编码器 300ms 内未发出 NeedInput，跳过本帧（MFT 未就绪？）',
  refused: 'ProcessInput(async) 失败 0x80004005',
  fallBack: '硬件异步编码器持续无输出，回退软件编码器重建...',
  fellBack: '已回退到软件编码器，下一帧起恢复出流',
  silent: '编码器收帧 3 秒无任何输出，重建编码器...',
  testedGood: '硬编端到端自检: good(用硬编) (MS)，结论已落盘（换显卡/驱动自动重测）',
  testedBad: '硬编端到端自检: bad(用软编) (MS)，结论已落盘（换显卡/驱动自动重测）',
  rememberedGood: '硬编自检缓存命中: good(用硬编)',
  rememberedBad: '硬编自检缓存命中: bad(用软编)',
  softwareForced: '编码器偏好: 强制软件编码(D3D 硬编关闭)',
  lowered: '编码器降载: 60 -> 30 fps',
  noEncoder: 'H.264 编码器初始化失败',
};

const kAboutEncoders = /编码器|硬编|D3D|H264 encoder|ProcessInput|SetBitrate/;

/** The log's lines about encoders. How long the self-test took is left out. */
export function encoderLines(log) {
  return log.split(/\r?\n/)
      .slice(0, -1)
      .filter((line) => kAboutEncoders.test(line))
      .map((line) => line.replace(/^\[agent\] /, '').replace(/\(\d+ ms\)/, '(MS)'));
}

/** Waits until the host's lines about encoders end in these, and gives all of them. */
export async function untilEncoderLines(host, ...last) {
  let lines = [];
  await until(async () => {
    lines = encoderLines(await host.logText());
    return JSON.stringify(lines.slice(-last.length)) === JSON.stringify(last);
  }, () => `lines ${last.join(' | ')}; there is ${lines.join(' | ')}`);
  return lines;
}

/**
 * The calls on the transforms so far, oldest first, without what the transforms told by
 * themselves.
 */
export async function callsOf(host) {
  const lines = (await host.fileText('calls-on-codec')).split('\n').slice(0, -1);
  return lines.filter((line) => !/: (event \d+|coding failed)/.test(line));
}

/** What a transform was asked: the calls without its name. */
export function callsOn(name, calls) {
  return calls.filter((call) => call.startsWith(`${name}: `))
      .map((call) => call.slice(name.length + 2));
}

/**
 * A host on the desktop of a stand, gone when the test t ends. hardware and software: the settings
 * of the transforms' control files, null for none; verdict: the verdict file's bytes beforehand;
 * prepare(files): more of that kind; options: devkit/run's, or a function that gives them for the
 * directory of the run's files; the rest is Stand.start's.
 */
export async function startHost(
    t, stand,
    {hardware = 'good', software = null, verdict = null, prepare, options = [], ...others} = {}) {
  const host = await Stand.start({
    ...others,
    beside: stand,
    options: (files) => {
      writeFileSync(join(files, 'calls-on-codec'), '');
      if (hardware !== null) writeFileSync(join(files, 'hardware-codec'), `${hardware}\n`);
      if (software !== null) writeFileSync(join(files, 'software-codec'), `${software}\n`);
      if (verdict !== null) {
        mkdirSync(join(files, 'local/TALUDesk'), {recursive: true});
        writeFileSync(join(files, kVerdictFile), verdict);
      }
      prepare?.(files);
      return typeof options === 'function' ? options(files) : options;
    },
  });
  t.after(() => host.stop());
  return host;
}

/** Runs a test for each of the cases, two at a time: {name, ...}. */
export function forEachCase(t, cases, run) {
  return Promise.all(cases.map((one) => t.test(one.name, (subtest) => run(subtest, one))));
}
