// How the real host chooses its encoder, and what it does when that one fails: by its log, its
// verdict file, the calls on the transforms, and what a viewer gets.

import assert from 'node:assert/strict';
import {existsSync, mkdirSync, writeFileSync} from 'node:fs';
import {dirname, join} from 'node:path';
import test, {after, before} from 'node:test';
import {setTimeout as sleep} from 'node:timers/promises';

import {profileCommand} from '../../devkit/viewer/wire.js';

import {BareViewer} from './control_harness.mjs';
import {callsOf, callsOn, encoderLines, forEachCase, kCredentials, kLines, kVerdictFile, startHost, untilEncoderLines,} from './encoder_harness.mjs';
import {kBin, Stand, until, windowsPath} from './stand.mjs';

const kSize = '640x480';
const kProfile = '&fps=60&max=3000';
const kForced = [...kCredentials, '--force-software', '1'];

// The desktop that all hosts share, and what they call its graphics card.
const shared = {};
let key;
before(async () => {
  shared.stand = await Stand.start({
    options: ['--hardware', '--monitors', kSize, '--moving', 'x=50,y=50,w=200,h=150,fps=60'],
  });
  await untilEncoderLines(shared.stand, kLines.testedGood);
  key = (await shared.stand.fileText(kVerdictFile)).split('\t')[0];
});
after(() => shared.stand?.stop());

const verdictOf = (word) => `${key}\t${word}\r\n`;
const ready = (kind, fps = 30, kbps = 8000) =>
    `H264 encoder ready: ${kind} MFT, ${kSize}@${fps}fps ${kbps}kbps CBR`;
const hardwareReady = (...rates) => [kLines.manager, ready('HARDWARE ASYNC', ...rates)];
const softwareReady = (...rates) => ready('SOFTWARE SYNC', ...rates);

/** Lines of the self-test that end in good and bad. */
const kTestedGood = [...hardwareReady(), kLines.testedGood];
const kTestedInSoftware = [softwareReady(), kLines.testedBad];
const kNeverAsked = [kLines.manager, kLines.noRequestAtAll, ...kTestedInSoftware];
const kFellBack = [kLines.fallBack, softwareReady(), kLines.fellBack];

/**
 * Lines of the encoder that a subscriber gets who asks for 60 frames per second and 3000 kbit/s.
 */
const kStreamsInHardware = hardwareReady(60, 3000);
const kStreamsInSoftware = [softwareReady(30, 3000), kLines.lowered];

/** A host that remembers its hardware as good, and streams in it. */
async function startInHardware(t) {
  const host = await startHost(t, shared.stand, {verdict: verdictOf('good')});
  await untilEncoderLines(host, kLines.rememberedGood);
  const viewer = await watch(t, host);
  await untilMoreUnits(viewer, 5);
  return {host, viewer};
}

function watch(t, host) {
  return BareViewer.open(t, host, {query: kProfile});
}

/** Waits for that many more units than there are. */
function untilMoreUnits(viewer, count) {
  const wanted = viewer.units.length + count;
  return until(
      () => viewer.units.length >= wanted,
      () => `unit ${wanted}; there are ${viewer.units.length}`);
}

const kSelfTests = [
  {name: 'good', lines: kTestedGood, good: true},
  {name: 'activation-fails', lines: kTestedGood, good: true, on: 'hardware 2'},
  {
    name: 'no-codec-api, provides-samples',
    lines: kTestedGood,
    good: true,
    check: (calls) => {
      assert.ok(!calls.some((call) => call.startsWith('SetValue')), calls.join('\n'));
      assert.ok(calls.includes('GetOutputStreamInfo flags 0x103'), calls.join('\n'));
    },
  },
  {name: 'asks-late 40, swallows 3', lines: kTestedGood, good: true},
  {name: 'asks-late 5000', lines: kNeverAsked},
  {name: 'never-asks', lines: kNeverAsked},
  {name: 'init-fails', lines: kTestedInSoftware, on: null},
  {name: 'refuses-output-type', lines: [kLines.manager, ...kTestedInSoftware]},
  {name: 'no-output', lines: [...hardwareReady(), kLines.testedBad]},
  // The test is given its output by the software that took over, if that is in time.
  {
    name: 'refuses-input',
    lines: [
      ...hardwareReady(), kLines.refused, kLines.noRequest, kLines.refused, kLines.noRequest,
      ...kFellBack
    ],
    verdicts: [kLines.testedGood, kLines.testedBad],
  },
];

async function untilTested(host) {
  await host.untilLog('硬编端到端自检');
  return encoderLines(await host.logText());
}

test('the self-test finds out which hardware can be used', {concurrency: 2}, async (t) => {
  await forEachCase(t, kSelfTests, async (t, row) => {
    const {name, good = false, on = 'hardware 1'} = row;
    const {verdicts = [row.lines.at(-1)], check = () => {}} = row;
    const host = await startHost(t, shared.stand, {hardware: name.replaceAll(', ', '\n')});
    const lines = await untilTested(host);
    const verdict = lines.at(-1);
    assert.ok(verdicts.includes(verdict), lines.join('\n'));
    assert.deepEqual(lines, row.verdicts ? [...row.lines, verdict] : row.lines);
    const remembered = verdict === kLines.testedGood ? 'good' : 'bad';
    assert.equal(await host.fileText(kVerdictFile), verdictOf(remembered));
    await untilMoreUnits(await watch(t, host), 5);
    assert.deepEqual(
        encoderLines(await host.logText()),
        [...lines, ...(good ? kStreamsInHardware : kStreamsInSoftware)]);
    const calls = await callsOf(host);
    const other = ['hardware 1', 'hardware 2'].filter((one) => one !== on);
    for (const one of other) assert.deepEqual(callsOn(one, calls), []);
    check(callsOn(on, calls));
    assert.equal(await host.stop(), 0);
  });
});

const kOther = () => `${key.slice(0, -1)}${key.endsWith('0') ? '1' : '0'}`;
const kVerdicts = [
  {
    name: 'good',
    bytes: () => verdictOf('good'),
    lines: [kLines.rememberedGood, ...kStreamsInHardware],
  },
  {
    name: 'bad',
    bytes: () => verdictOf('bad'),
    lines: [kLines.rememberedBad, ...kStreamsInSoftware],
  },
  {
    name: 'a damaged word',
    bytes: () => `${key}\tgo`,
    lines: [kLines.rememberedBad, ...kStreamsInSoftware],
  },
  {
    name: 'good for another driver',
    bytes: () => `${kOther()}\tgood\r\n`,
    lines: [...kTestedGood, ...kStreamsInHardware],
    after: () => verdictOf('good'),
  },
  {
    name: 'half a line',
    bytes: () => key,
    lines: [...kTestedGood, ...kStreamsInHardware],
    after: () => verdictOf('good'),
  },
  {
    name: 'eight million bytes',
    bytes: () => 'x'.repeat(8e6),
    lines: [...kTestedGood, ...kStreamsInHardware],
    after: () => verdictOf('good'),
  },
  {
    name: 'good, and software is forced',
    bytes: () => verdictOf('good'),
    hostOptions: kForced,
    lines: [kLines.softwareForced, kLines.rememberedGood, ...kStreamsInSoftware],
  },
  {
    name: 'nothing, and software is forced',
    bytes: () => null,
    hostOptions: kForced,
    lines: [kLines.softwareForced, ...kStreamsInSoftware],
    after: () => '',
  },
];

test('what the verdict file holds decides the next start', {concurrency: 2}, async (t) => {
  await forEachCase(t, kVerdicts, async (t, {bytes, lines, hostOptions = [], after = bytes}) => {
    const host = await startHost(t, shared.stand, {verdict: bytes(), hostOptions});
    // Whoever subscribes before that may get hardware that the verdict is yet to rule out.
    const start = lines.slice(0, -2);
    await untilEncoderLines(host, start.at(-1));
    const viewer = await watch(t, host);
    await untilMoreUnits(viewer, 5);
    assert.deepEqual(encoderLines(await host.logText()), lines);
    const calls = await callsOf(host);
    if (!lines.includes(kLines.manager)) {
      assert.ok(!calls.some((call) => call.startsWith('hardware')), calls.join('\n'));
    }
    assert.equal(await host.stop({keepFiles: true}), 0);
    assert.equal(await host.fileText(kVerdictFile), after());
  });
});

const kLostVerdicts = [
  {
    name: 'a file in the place of its directory',
    prepare: (files) => {
      mkdirSync(join(files, 'local'));
      writeFileSync(join(files, 'local/TALUDesk'), '');
    },
  },
  {
    name: 'a directory in its place',
    prepare: (files) => mkdirSync(join(files, kVerdictFile), {recursive: true}),
  },
  {name: 'no place for it', options: ['--env', 'LOCALAPPDATA=']},
  {
    name: 'a directory that is missing',
    options: (files) => ['--launcher', '--local-appdata', windowsPath(join(files, 'missing'))],
  },
];

test('a verdict that cannot be kept is found anew', {concurrency: 2}, async (t) => {
  await forEachCase(t, kLostVerdicts, async (t, {prepare, options}) => {
    const host = await startHost(t, shared.stand, {hardware: 'init-fails', prepare, options});
    assert.deepEqual(await untilEncoderLines(host, kLines.testedBad), kTestedInSoftware);
    await untilMoreUnits(await watch(t, host), 5);
    assert.equal(await host.stop({keepFiles: true}), 0);
    assert.equal(await host.fileText(kVerdictFile), '');
  });
});

const kLocales = join(dirname(kBin), 'encoder/locales');
const kChinese = {
  LC_ALL: 'zh_CN.UTF-8',
  LOCPATH: kLocales
};
const kPlaces = [
  {name: 'on a Chinese system', locale: kChinese, kept: true},
  {name: 'on another system', locale: {LC_ALL: 'C'}},
];

test('a user with a Chinese name has an encoder', async (t) => {
  await forEachCase(t, kPlaces, async (t, {locale, kept = false}) => {
    if (kept && !existsSync(join(kLocales, 'zh_CN.UTF-8'))) return t.skip('no Chinese locale');
    const host = await startHost(t, shared.stand, {
      hardware: 'init-fails',
      locale,
      prepare: (files) => mkdirSync(join(files, '用户')),
      options: (files) => ['--launcher', '--local-appdata', windowsPath(join(files, '用户'))],
    });
    assert.deepEqual(await untilEncoderLines(host, kLines.testedBad), kTestedInSoftware);
    await untilMoreUnits(await watch(t, host), 5);
    assert.equal(await host.stop({keepFiles: true}), 0);
    const bytes = await host.fileText('用户/TALUDesk/hw_encoder_verdict.txt');
    if (kept) assert.equal(bytes, verdictOf('bad'));
  });
});

test('hosts that find their verdicts at the same time leave one of them', async (t) => {
  const place = windowsPath(join(shared.stand.files, 'temp'));
  const hosts = await Promise.all(['never-asks', 'never-asks', 'good'].map(
      (hardware) => startHost(
          t, shared.stand, {hardware, options: ['--launcher', '--local-appdata', place]})));
  // Whoever comes late finds a verdict there.
  for (const host of hosts) {
    await until(
        async () => /硬编端到端自检|硬编自检缓存命中/.test(await host.logText()),
        'verdict');
  }
  for (const host of hosts) assert.equal(await host.stop(), 0);
  const bytes = await shared.stand.fileText('temp/TALUDesk/hw_encoder_verdict.txt');
  assert.ok([verdictOf('good'), verdictOf('bad')].includes(bytes), JSON.stringify(bytes));
});

const kOk = '-> 0x00000000';

/** The calls that build an encoder for kProfile, from its making to its first picture. */
function building({hardware, fps}) {
  const query = (name, hr) => `QueryInterface ${name}, ASYNC_UNLOCK 1, LOW_LATENCY 1 -> 0x${hr}`;
  return [
    'made',
    'GetAttributes',
    query('IMFMediaEventGenerator', hardware ? '00000000' : '80004002'),
    query('ICodecAPI', '00000000'),
    ...(hardware ? [`ProcessMessage SET_D3D_MANAGER ${kOk}`] : []),
    'GetStreamIDs -> 0x80004001',
    `SetValue AVEncCommonRateControlMode 0 ${kOk}`,
    `SetValue AVEncCommonMeanBitRate 3000000 ${kOk}`,
    `SetValue AVEncMPVDefaultBPictureCount 0 ${kOk}`,
    `SetValue AVEncCommonLowLatency 1 ${kOk}`,
    `SetValue AVEncMPVGOPSize ${2 * fps} ${kOk}`,
    `SetOutputType H264 ${kSize}@${fps}/1 3000000 bit/s profile 77 ${kOk}`,
    `SetInputType NV12 ${kSize}@${fps}/1 0 bit/s profile 0 ${kOk}`,
    'GetOutputStreamInfo flags 0x3',
    `ProcessMessage COMMAND_FLUSH ${kOk}`,
    `ProcessMessage NOTIFY_BEGIN_STREAMING ${kOk}`,
    `ProcessMessage NOTIFY_START_OF_STREAM ${kOk}`,
  ];
}

const kTakingDown = [
  `ProcessMessage NOTIFY_END_OF_STREAM ${kOk}`,
  `ProcessMessage NOTIFY_END_STREAMING ${kOk}`,
  'gone',
];
const kTaken = `ProcessInput ${kOk}`;
const kGiven = `ProcessOutput ${kOk}`;
const kForcing = `SetValue AVEncVideoForceKeyFrame 1 ${kOk}`;

/** Each picture answers the request just read; each announced unit is fetched at once. */
function assertInTurn(calls) {
  calls.forEach((call, at) => {
    if (call === kTaken) assert.equal(calls[at - 1], 'GetEvent 601', `before call ${at}`);
    if (call === kGiven) assert.equal(calls[at - 1], 'GetEvent 602', `before call ${at}`);
    if (call === 'GetEvent 602') assert.equal(calls[at + 1], kGiven, `after call ${at}`);
  });
}

/** Cuts the calls after the first that is this one: [those up to it, the rest]. */
function cutAfter(calls, last) {
  const at = calls.indexOf(last) + 1;
  assert.notEqual(at, 0, calls.join('\n'));
  return [calls.slice(0, at), calls.slice(at)];
}

test('a hardware transform is called in this order', async (t) => {
  const {host, viewer} = await startInHardware(t);
  await untilMoreUnits(viewer, 30);
  await host.stop({keepFiles: true});
  const calls = await callsOf(host);
  const [start, rest] = cutAfter(callsOn('hardware 1', calls), kTaken);
  assert.equal(start.length + rest.length, calls.length, 'no other transform is made');
  // The first picture answers the request that the probe saw.
  assert.deepEqual(
      start, [...building({hardware: true, fps: 60}), 'GetEvent 601', kForcing, kTaken]);
  assertInTurn(rest.slice(0, -kTakingDown.length).filter((call) => call !== kForcing));
  assert.deepEqual(rest.slice(-kTakingDown.length), kTakingDown);
});

test('the software transform is called in this order', async (t) => {
  const host = await startHost(t, shared.stand, {hostOptions: kForced});
  await untilMoreUnits(await watch(t, host), 30);
  await host.stop({keepFiles: true});
  const calls = await callsOf(host);
  const [start, rest] = cutAfter(callsOn('software', calls), kTaken);
  assert.equal(start.length + rest.length, calls.length, 'no other transform is made');
  assert.deepEqual(start, [...building({hardware: false, fps: 30}), kForcing, kTaken]);
  const pictures = rest.slice(0, -kTakingDown.length).filter((call) => call !== kForcing);
  assert.deepEqual(pictures, pictures.map((_, at) => at % 2 ? kTaken : kGiven));
  assert.deepEqual(rest.slice(-kTakingDown.length), kTakingDown);
});

const kDeaths = [
  {name: 'stops-after 0', lines: [kLines.noRequest, kLines.noRequest, kLines.fallBack]},
  {
    name: 'refuses-input',
    lines: [kLines.refused, kLines.noRequest, kLines.refused, kLines.noRequest, kLines.fallBack],
  },
  {name: 'no-output', lines: [kLines.silent]},
];

test('a viewer keeps its picture when the hardware dies', {concurrency: 2}, async (t) => {
  await forEachCase(t, kDeaths, async (t, {name, lines}) => {
    const {host, viewer} = await startInHardware(t);
    viewer.socket.send(profileCommand({fps: 0, max: 2000, min: 0}));
    const changed = `encoder SetBitrate 2000 kbps ${kOk}`;
    await untilEncoderLines(host, changed);
    await host.writeFaults('hardware-codec', [name]);
    const end = [softwareReady(30, 3000), ...(name === 'no-output' ? [] : [kLines.fellBack])];
    await untilEncoderLines(host, ...end);
    await untilMoreUnits(viewer, 20);
    assert.deepEqual(
        encoderLines(await host.logText()),
        [kLines.rememberedGood, ...kStreamsInHardware, changed, ...lines, ...end]);
    assert.equal(await host.fileText(kVerdictFile), verdictOf('bad'));
    await host.stop({keepFiles: true});

    const calls = await callsOf(host);
    const hardware = callsOn('hardware 1', calls);
    assert.deepEqual(hardware.slice(-kTakingDown.length), kTakingDown);
    const gone = calls.indexOf('hardware 1: gone');
    const [start] = cutAfter(callsOn('software', calls.slice(gone)), kTaken);
    // The bit rate is the one that the encoder was first built with.
    assert.deepEqual(start, [...building({hardware: false, fps: 30}), kTaken]);
    assert.ok(!calls.slice(0, gone).some((call) => call.startsWith('software')));

    // Nothing is lost on the way but the pictures that the hardware did not take.
    const inHardware = hardware.filter((call) => call === kGiven).length;
    assert.ok(viewer.units[inHardware].keyFrame, 'the first unit in software is a key frame');
    assert.deepEqual(
        viewer.units.map(({sequence}) => sequence),
        viewer.units.map((_, at) => viewer.units[0].sequence + at));
  });
});

test('faults that pass leave the stream to the hardware', async (t) => {
  const {host, viewer} = await startInHardware(t);
  for (const fault of ['asks-late 30', 'swallows 5', 'stream-change', 'prompt', 'good']) {
    await host.writeFaults('hardware-codec', [fault]);
    await untilMoreUnits(viewer, 20);
  }
  assert.deepEqual(
      encoderLines(await host.logText()), [kLines.rememberedGood, ...kStreamsInHardware]);
  const calls = callsOn('hardware 1', await callsOf(host));
  const [, later] = cutAfter(calls, 'ProcessOutput -> 0xC00D6D61');
  assert.match(later[0], /^SetOutputType .* -> 0x00000000$/);
});

test('of pictures that software refuses five are mentioned', async (t) => {
  const host = await startHost(t, shared.stand, {hostOptions: kForced, software: 'refuses-input'});
  const viewer = await watch(t, host);
  const refused = (await callsOf(host)).length;
  await until(
      async () => (await callsOf(host)).filter((call) => call.includes('ProcessInput')).length > 8,
      'ninth refused picture');
  assert.equal(viewer.units.length, 0);
  await host.writeFaults('software-codec', ['good']);
  await untilMoreUnits(viewer, 5);
  const lines = encoderLines(await host.logText());
  const refusals = lines.filter((line) => line.startsWith('ProcessInput'));
  assert.deepEqual(refusals, Array(5).fill('ProcessInput failed hr=0x80004005'));
});

test('a machine without any transform streams once it has one', async (t) => {
  const host = await startHost(t, shared.stand, {hardware: null, software: 'absent'});
  await untilEncoderLines(host, kLines.testedBad);
  await watch(t, host);
  assert.deepEqual(
      await untilEncoderLines(host, kLines.noEncoder), [kLines.testedBad, kLines.noEncoder]);
  await host.writeFaults('software-codec', ['good']);
  await untilMoreUnits(await watch(t, host), 5);
  assert.deepEqual(
      encoderLines(await host.logText()),
      [kLines.testedBad, kLines.noEncoder, ...kStreamsInSoftware]);
});

const kFailedStart = {
  expectReady: false,
  prepare: (files) => writeFileSync(join(files, 'loopback-faults'), 'create-fails 5\n'),
};

test('a start that fails ends the host in the middle of the self-test', {concurrency: 2}, (t) => {
  const cases = ['good', 'never-asks', 'no-output'].map((name) => ({name}));
  return forEachCase(t, cases, async (t, {name}) => {
    const host = await startHost(t, shared.stand, {...kFailedStart, hardware: name});
    assert.equal(await host.ended(), 1);
    assert.ok(host.lines.includes('failed'));
    assert.ok((await host.logText()).includes('[host] push start FAILED, exit'));
    assert.match(await host.fileText(kVerdictFile), /^([^\t]+\t(good|bad)\r\n)?$/);
  });
});

const kMoments = [0, 150, 300, 450, 700, 1000].map(
    (ms, at) => ({
      name: `${ms} ms after the start, hardware ${at % 2 ? 'no-output' : 'never-asks'}`,
      ms,
      hardware: at % 2 ? 'no-output' : 'never-asks',
    }));

test('the host may be stopped at any moment of the self-test', {concurrency: 2}, async (t) => {
  await forEachCase(t, kMoments, async (t, {ms, hardware}) => {
    const host = await startHost(t, shared.stand, {hardware});
    await sleep(ms);
    assert.equal(await host.stop({keepFiles: true}), 0);
    assert.ok((await host.logText()).includes('[host] 已退出'));
    assert.match(await host.fileText(kVerdictFile), /^([^\t]+\t(good|bad)\r\n)?$/);
  });
});
