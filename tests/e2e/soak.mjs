// Works the real host for a long time as its users would, at random, and watches its health.
// Usage: node soak.mjs MINUTES FOLDER [SEED]      (scripts/soak builds what it needs)
// Writes FOLDER/report.txt, FOLDER/soak.png, FOLDER/samples.json and FOLDER/host.log. The exit code
// is 0 when nothing was wrong.

import {mkdir, writeFile} from 'node:fs/promises';
import {loadavg} from 'node:os';
import {join} from 'node:path';
import {setTimeout as sleep} from 'node:timers/promises';

import {HandleGauge, measureProcess, processesOf} from './host_process.mjs';
import {budgetComplaints} from './log_budgets.mjs';
import {drawPlot, gainPerHour, savePlot} from './soak_report.mjs';
import {Stand, until, windowsPath} from './stand.mjs';
import {SizeWatch, WatchingViewer} from './stream_watch.mjs';

const kSampleMs = 5000;
// Every monitor and mode has a size of its own, so that a picture's size tells what it shows.
const kLayouts = [
  ['1280x720', '1024x768'],
  ['1280x720', '800x600'],
  ['1152x648', '1024x768'],
  ['1280x720'],
];
const kEdit = {
  x: 20,
  y: 400,
};
const kDesktopFaults =
    ['access-lost', 'no-frames', 'device-removed', 'acquire-fails 0x80004005', 'hide-cursor'];
const kCodecFaults = ['swallows 8', 'stream-change', 'no-output', 'refuses-input', 'no-codec-api'];
const kLibraryFaults =
    ['send-fails 12 5', 'message-fails 4 5', 'screen-fails 3 5', 'send-takes 40'];
// The hardware encoder dies here, of the whole time; from then on the software encoder serves.
const kHardwareShare = 0.35;
// What the second half of an hour may gain and still count as nothing. Wine's own heap moves by
// some megabytes.
const kLimits = {
  memoryMb: 24,
  windowsMb: 6,
  handles: 12,
  threads: 3,
};
const kSlopeMinutes = 30;

/** Numbers that come again with the same seed. */
class Random {
  #state;

  constructor(seed) {
    this.#state = seed >>> 0;
  }

  /** From 0 to below 1. */
  next() {
    this.#state = (this.#state + 0x6d2b79f5) >>> 0;
    let mixed = this.#state;
    mixed = Math.imul(mixed ^ (mixed >>> 15), mixed | 1);
    mixed ^= mixed + Math.imul(mixed ^ (mixed >>> 7), mixed | 61);
    return ((mixed ^ (mixed >>> 14)) >>> 0) / 2 ** 32;
  }

  from(low, high) {
    return low + Math.floor(this.next() * (high - low + 1));
  }

  pick(list) {
    return list[this.from(0, list.length - 1)];
  }
}

const key = (down, usage, code = '') =>
    ({type: down ? 'keydown' : 'keyup', hid: 0x70000 + usage, code, key: ''});
const kUsage = {
  c: 6,
  escape: 41,
  home: 74,
  end: 77,
  control: 224,
  shift: 225,
};
// Letters, digits, Enter, arrows: nothing that closes a window.
const kHarmlessKeys = [4, 5, 8, 12, 18, 24, 30, 33, 39, 40, 44, 54, 79, 80, 81, 82, 74, 77];
const kTexts = ['hello', '云桌面', '😀🎉', 'a\r\nb', 'tab\there', '"quoted" \\ text', 'e\u0301'];

class Soak {
  counts = new Map();
  samples = [];
  firstKeyFramesMs = [];
  watch = new SizeWatch();
  viewer = null;
  layout = kLayouts[0];
  shown = 0;
  pictures = 0;
  megabytes = 0;
  conn = 0;

  constructor(minutes, seed) {
    this.totalMs = minutes * 60000;
    this.random = new Random(seed);
  }

  count(what, times = 1) {
    this.counts.set(what, (this.counts.get(what) ?? 0) + times);
  }

  get minutes() {
    return (performance.now() - this.startedMs) / 60000;
  }

  async start() {
    this.stand = await Stand.start({
      options: (files) =>
          ['--hardware', '--monitors', this.layout.join(), '--moving',
           'x=300,y=40,w=400,h=300,fps=20', '--moving', 'x=1400,y=40,w=300,h=200,fps=10',
           '--target',
           `x=760,y=400,w=300,h=200,colour=204060,file=${windowsPath(files)}\\target.txt`, '--edit',
           `x=${kEdit.x},y=${kEdit.y},w=600,h=100,file=${windowsPath(files)}\\edit.txt`],
    });
    const found = await processesOf(this.stand.value('prefix'), 'talu_host.exe');
    if (found.length !== 1) throw new Error(`${found.length} processes of the host`);
    [this.pid] = found;
    this.gauge = new HandleGauge(this.stand, 'talu_host.exe', kSampleMs);
    this.startedMs = performance.now();
    this.watch.only(this.layout[0]);
    this.sampler = setInterval(() => this.sample(), kSampleMs);
  }

  async sample() {
    const figures = await measureProcess(this.pid);
    if (figures === null) {
      this.died = true;
      return;
    }
    this.samples.push(
        {minutes: this.minutes, load: loadavg()[0], handles: this.gauge.handles, ...figures});
  }

  async run() {
    await this.join();
    const actions = [
      [6, this.join],         [3, this.leave],        [3, this.takeOver],
      [3, this.visit],        [6, this.setProfile],   [8, this.askForKeyFrame],
      [20, this.useMouse],    [14, this.useKeys],     [8, this.enterText],
      [8, this.setClipboard], [6, this.copyOnHost],   [4, this.listScreens],
      [7, this.switchScreen], [3, this.switchWildly], [4, this.changeLayout],
      [3, this.unplugShown],  [5, this.pause],        [3, this.breakCapture],
      [3, this.breakEncoder], [3, this.breakLibrary], [2, this.loseEncoder],
      [4, this.talkNonsense], [10, this.justWatch],
    ];
    const bag = actions.flatMap(([weight, action]) => Array(weight).fill(action));
    while (performance.now() - this.startedMs < this.totalMs) {
      if (!this.hardwareDead && performance.now() - this.startedMs > kHardwareShare * this.totalMs)
        await this.killHardware();
      const action = this.random.pick(bag);
      this.current = action.name;
      await action.call(this);
      this.check();
      await sleep(this.random.from(20, 400));
    }
    if (this.viewer) await this.leave();
  }

  /** Throws when something was wrong with what came. */
  check() {
    const wrong = [...this.watch.wrong, ...(this.viewer?.wrong ?? [])];
    if (this.died) wrong.push('the host died');
    if (wrong.length > 0) throw new Error(wrong.slice(0, 5).join('; '));
  }

  // --- Coming and going ---

  async open(query = '') {
    const fps = this.random.pick([5, 10, 15, 20, 0]);
    const max = this.random.pick([0, 1000, 3000, 8000]);
    const viewer = await WatchingViewer.open(
        this.stand.viewer, {watch: this.watch, query: `&fps=${fps}&max=${max}${query}`});
    this.count('subscriptions');
    return viewer;
  }

  async untilFirstKeyFrame(viewer) {
    await until(() => {
      if (viewer.closed) throw new Error('connection lost before the first key frame');
      return viewer.units > 0;
    }, 'first key frame of a subscription');
    this.firstKeyFramesMs.push(viewer.firstUnitMs);
  }

  async join() {
    if (this.viewer) return;
    this.viewer = await this.open();
    await this.untilFirstKeyFrame(this.viewer);
  }

  async withViewer() {
    await this.join();
    return this.viewer;
  }

  async drop(viewer) {
    this.pictures += viewer.units;
    this.megabytes += viewer.bytes / 1e6;
    await viewer.close();
    if (viewer.wrong.length > 0) throw new Error(viewer.wrong.join('; '));
  }

  async leave() {
    if (!this.viewer) return;
    const {viewer} = this;
    this.viewer = null;
    if (this.random.next() < 0.5) viewer.send({type: 'bye', conn: this.conn});
    await this.drop(viewer);
    this.count('leaves');
  }

  /** A second viewer takes the stream, and the first one's bye comes late. */
  async takeOver() {
    const first = await this.withViewer();
    this.viewer = await this.open();
    await this.untilFirstKeyFrame(this.viewer);
    await until(() => first.replaced, 'news of being replaced');
    this.viewer.send({type: 'request_keyframe', conn: `c${++this.conn}`});
    first.send({type: 'bye', conn: 'an-old-one'});
    await this.drop(first);
    await this.viewer.untilMore(2, 'pictures of the viewer that took over');
    this.count('takeovers');
  }

  /** A controller that never subscribes. */
  async visit() {
    const visitor = await WatchingViewer.open(this.stand.viewer, {query: '&control=1'});
    visitor.send({type: 'list_screens'});
    await until(() => visitor.countOf('screens') > 0, 'list of monitors for a visitor');
    visitor.send({type: 'mousemove', x: this.random.from(0, 700), y: this.random.from(0, 700)});
    if (visitor.units > 0) throw new Error('a controller got pictures');
    await visitor.close();
    this.count('visits');
  }

  // --- What a controller says ---

  async setProfile() {
    (await this.withViewer()).command({
      command: 'profile',
      fps: this.random.pick([0, 5, 10, 20]),
      max: this.random.pick([0, 800, 4000, 9000]),
      min: this.random.from(0, 1000),
    });
    this.count('profiles');
  }

  async askForKeyFrame() {
    const viewer = await this.withViewer();
    const {keyFrames} = viewer;
    if (this.random.next() < 0.5)
      viewer.command({command: 'keyframe'});
    else
      viewer.send({type: 'request_keyframe', conn: `c${++this.conn}`});
    await until(() => viewer.keyFrames > keyFrames, 'key frame that was asked for');
    this.count('key-frame requests');
  }

  async useMouse() {
    const viewer = await this.withViewer();
    const point = () => ({x: this.random.from(-50, 1400), y: this.random.from(-50, 900)});
    for (let left = this.random.from(1, 25); left > 0; left--) {
      viewer.send({type: 'mousemove', ...point()});
      this.count('mouse events');
    }
    const button = this.random.pick(['left', 'middle', 'x1', 'x2']);
    const at = point();
    viewer.send({type: 'mousedown', ...at, button});
    // Some are never let go of, but by a reset or a bye.
    if (this.random.next() < 0.8) viewer.send({type: 'mouseup', ...at, button});
    viewer.send({type: 'mousewheel', ...point(), deltaY: this.random.from(-3, 3)});
    this.count('mouse events', 3);
  }

  async useKeys() {
    const viewer = await this.withViewer();
    for (let left = this.random.from(1, 10); left > 0; left--) {
      const usage = this.random.pick(kHarmlessKeys);
      viewer.send(key(true, usage));
      viewer.send(key(false, usage));
      this.count('key events', 2);
    }
    if (this.random.next() < 0.2) viewer.send({type: 'reset'});
  }

  async enterText() {
    (await this.withViewer()).send({type: 'text', text: this.random.pick(kTexts)});
    this.count('texts');
  }

  async setClipboard() {
    const text = this.random.pick(kTexts).repeat(this.random.pick([1, 10, 300, 5000]));
    (await this.withViewer()).send({type: 'clipboard', text});
    this.count('clipboard texts to the host');
  }

  /** Types into the desktop's text field, copies it, and looks whether it comes. */
  async copyOnHost() {
    if (this.shown !== 0 || this.layout[0] !== '1280x720') return;
    const viewer = await this.withViewer();
    const text = `copy ${this.random.from(0, 1e9)} 剪贴板`;
    const press = (...usages) => {
      for (const usage of usages) viewer.send(key(true, usage));
      for (const usage of usages.reverse()) viewer.send(key(false, usage));
    };
    const selectAll = () => {
      press(kUsage.control, kUsage.home);
      press(kUsage.control, kUsage.shift, kUsage.end);
    };
    viewer.send({type: 'reset'});
    press(kUsage.escape);
    const at = {x: kEdit.x + 300, y: kEdit.y + 50, button: 'left'};
    viewer.send({type: 'mousedown', ...at});
    viewer.send({type: 'mouseup', ...at});
    // Wine lets go of held keys when the pointer arrives in a window.
    await sleep(500);
    selectAll();
    viewer.send({type: 'text', text});
    await sleep(300);
    selectAll();
    press(kUsage.control, kUsage.c);
    this.count('copies on the host');
    const came = () => viewer.said.get('clipboard')?.text.includes(text);
    await until(came, 'copy', 10000).then(() => this.count('copies that came'), () => {});
  }

  async listScreens() {
    const viewer = await this.withViewer();
    const before = viewer.countOf('screens');
    viewer.send({type: 'list_screens'});
    await until(() => viewer.countOf('screens') > before, 'list of monitors');
    const {screens, current} = viewer.said.get('screens');
    const sizes = screens.map(({width, height}) => `${width}x${height}`);
    if (sizes.join() !== this.layout.join() || current !== this.shown)
      throw new Error(`list ${sizes} showing ${current}, not ${this.layout} showing ${this.shown}`);
    this.count('lists of monitors');
  }

  async talkNonsense() {
    const viewer = await this.withViewer();
    viewer.sendText(this.random.pick([
      '{}',
      '{"type":"clipboard","text":""}',
      '{"type":"switch_screen"}',
      '[1,2,3]',
      '{"type":"switch_screen","index":-5}',
      '{"type":"keydown","hid":',
      '\u0000\u0001',
      `{"type":"text","text":"${'\\u'.repeat(50)}"}`,
      '{"type":"mousemove","x":99999999999,"y":1}',
    ]));
    viewer.command({command: 'screen_info'});
    this.count('odd messages');
  }

  async justWatch() {
    await sleep(this.random.pick([500, 1000, 3000, 10000]));
  }

  // --- Monitors ---

  /** Waits for the picture of what is shown, and lets nothing else pass from then on. */
  async settle() {
    const viewer = await this.withViewer();
    const size = this.layout[this.shown];
    viewer.send({type: 'request_keyframe', conn: `c${++this.conn}`});
    await until(() => viewer.size === size, () => `picture of ${size}; it is ${viewer.size}`);
    this.watch.only(size);
    await viewer.untilMore(2, 'pictures after a change of the monitor');
  }

  async switchTo(index) {
    const viewer = await this.withViewer();
    const before = viewer.countOf('screens');
    this.watch.allow(this.layout[this.shown], this.layout[index] ?? this.layout[this.shown]);
    viewer.send({type: 'switch_screen', index});
    await until(() => viewer.countOf('screens') > before, 'answer to a switch');
    if (index < this.layout.length) this.shown = index;
    const {current} = viewer.said.get('screens');
    if (current !== this.shown) throw new Error(`shows ${current} after a switch to ${index}`);
    // The answer came after the switch: what is given away from now on is the new monitor's.
    this.watch.only(this.layout[this.shown]);
    this.count('switches');
  }

  async switchScreen() {
    await this.switchTo(this.random.pick([0, 1, 1, 7]));
    await this.settle();
  }

  async switchWildly() {
    const viewer = await this.withViewer();
    this.watch.allow(...this.layout);
    const rounds = this.random.from(3, 12);
    let index = this.shown;
    for (let left = rounds; left > 0; left--) {
      index = this.random.from(0, this.layout.length - 1);
      viewer.send({type: 'switch_screen', index});
    }
    this.count('switches', rounds);
    await until(() => viewer.said.get('screens')?.current === index, 'end of many switches');
    await viewer.untilMore(10, 'pictures after many switches');
    await until(() => viewer.said.get('screens').current === index, 'end of many switches');
    this.shown = index;
    await this.settle();
  }

  async setLayout(layout) {
    this.watch.allow(this.layout[this.shown], layout[this.shown] ?? this.layout[this.shown]);
    await this.stand.setMonitors(layout.join());
    this.layout = layout;
    this.count('changes of the layout');
  }

  async changeLayout() {
    const layout = this.random.pick(kLayouts.filter(({length}) => length > this.shown));
    await this.setLayout(layout);
    await this.settle();
  }

  async unplugShown() {
    if (this.layout.length < 2) await this.setLayout(kLayouts[0]);
    if (this.shown !== 1) await this.switchTo(1);
    await this.settle();
    const viewer = await this.withViewer();
    const old = this.layout[1];
    await this.setLayout(['1280x720']);
    await viewer.untilMore(5, 'the last picture, again');
    if (viewer.size !== old) throw new Error(`${viewer.size} of a monitor that is unplugged`);
    this.count('monitors unplugged');
    if (this.random.next() < 0.5) {
      this.watch.allow(old, '1280x720');
      await this.switchTo(0);
    } else {
      const layout = this.random.pick(kLayouts.slice(0, 3));
      this.watch.allow(old, layout[1]);
      await this.stand.setMonitors(layout.join());
      this.layout = layout;
    }
    await this.settle();
  }

  // --- What goes wrong ---

  async pause() {
    const viewer = await this.withViewer();
    const conn = `c${++this.conn}`;
    viewer.send({type: 'request_keyframe', conn});
    viewer.send({type: 'bye', conn});
    await sleep(this.random.pick([100, 500, 2000]));
    const resume = this.random.pick([
      () => viewer.send({type: 'mousemove', x: 5, y: 5}),
      () => viewer.send({type: 'request_keyframe', conn}),
      () => viewer.command({command: 'keyframe'}),
    ]);
    resume();
    const {keyFrames} = viewer;
    await until(() => viewer.keyFrames > keyFrames, 'key frame after a pause');
    this.count('pauses');
  }

  async whileFaulty(file, faults) {
    await this.stand.writeFaults(file, faults);
    await sleep(this.random.pick([300, 1000, 3000]));
    if (this.random.next() < 0.3 && this.viewer) await this.useMouse();
    await this.stand.writeFaults(file, []);
    await this.settle();
  }

  async breakCapture() {
    await this.withViewer();
    const faults = [this.random.pick(kDesktopFaults)];
    if (faults[0] === 'access-lost') faults.push(`duplicate-fails ${this.random.from(0, 9)}`);
    await this.whileFaulty('desktop-faults', faults);
    this.count('capture faults');
  }

  async breakEncoder() {
    await this.withViewer();
    const file = this.hardwareDead ? 'software-codec' : 'hardware-codec';
    // A hardware encoder that refuses is given up for good; its end comes later.
    const faults = this.hardwareDead ? kCodecFaults : kCodecFaults.slice(0, 2);
    await this.whileFaulty(file, [this.random.pick(faults)]);
    if (!this.hardwareDead) await this.stand.writeFaults(file, ['good']);
    this.count('encoder faults');
  }

  async breakLibrary() {
    await this.withViewer();
    await this.whileFaulty('loopback-faults', [this.random.pick(kLibraryFaults)]);
    this.count('library faults');
  }

  /** A subscription that gets no encoder, then one that does. */
  async loseEncoder() {
    if (!this.hardwareDead) return;
    if (this.viewer) await this.leave();
    await this.stand.writeFaults('software-codec', ['init-fails']);
    const log = await this.stand.logFromHere();
    const failing = await this.open();
    await until(
        async () => (await log()).some((line) => line.includes('编码器初始化失败')),
        'encoder that fails');
    await this.stand.writeFaults('software-codec', []);
    if (this.random.next() < 0.5) await this.drop(failing);
    this.viewer = await this.open();
    await this.untilFirstKeyFrame(this.viewer);
    if (!failing.closed) await this.drop(failing);
    this.count('encoders refused');
  }

  async killHardware() {
    await this.withViewer();
    await this.stand.writeFaults('hardware-codec', ['stops-after 5']);
    await this.stand.untilLog('已回退到软件编码器');
    this.hardwareDead = true;
    this.fallbackMinutes = this.minutes;
    await this.settle();
    this.count('hardware encoders lost');
  }

  // --- The end ---

  async stop() {
    clearInterval(this.sampler);
    this.gauge?.stop();
    await this.viewer?.close();
    this.log = await this.stand.logText();
    const code = await this.stand.stop({keepFiles: true});
    this.log = await this.stand.logText();
    await this.stand.stop();
    return code;
  }
}

function percentile(values, share) {
  const sorted = [...values].sort((a, b) => a - b);
  return sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * share))] ?? NaN;
}

function report(soak, seed, exitCode, complaints) {
  const {samples, firstKeyFramesMs} = soak;
  const lines = [
    `minutes ${soak.minutes.toFixed(1)}, seed ${seed}, load average ${
        Math.min(...samples.map(({load}) => load)).toFixed(1)} to ${
        Math.max(...samples.map(({load}) => load)).toFixed(1)}`,
    `pictures received ${soak.pictures}, ${soak.megabytes.toFixed(1)} MB`,
    `first key frame of a subscription, ms: median ${
        percentile(firstKeyFramesMs, 0.5).toFixed(0)}, longest ${
        percentile(firstKeyFramesMs, 1).toFixed(0)}, of ${firstKeyFramesMs.length}`,
    `hardware encoder lost after minute ${(soak.fallbackMinutes ?? NaN).toFixed(1)}`,
    `log ${(soak.log.length / 1024).toFixed(0)} KiB, ${soak.log.split('\n').length} lines`,
    '',
    'done: ' + [...soak.counts].sort().map(([what, times]) => `${what} ${times}`).join(', '),
    '',
    'figure                   first      last   highest   gain per hour (second half)',
  ];
  for (const [name, label] of [
           ['memoryMb', 'private memory, MB'], ['windowsMb', 'below Wine, MB'], ['residentMb', 'resident memory, MB'],
           ['handles', 'handles'], ['threads', 'threads'], ['files', 'open files (Linux)']]) {
    const values = samples.map((sample) => sample[name]).filter(Number.isFinite);
    const column = (value) => value.toFixed(1).padStart(10);
    lines.push(
        label.padEnd(20) + column(values[0]) + column(values.at(-1)) + column(Math.max(...values)) +
        column(gainPerHour(samples, name)));
    if (soak.minutes >= kSlopeMinutes && gainPerHour(samples, name) > kLimits[name])
      complaints.push(`${label} grow by ${gainPerHour(samples, name).toFixed(1)} an hour`);
  }
  if (exitCode !== 0) complaints.push(`exit code ${exitCode}`);
  lines.push('', ...complaints.map((text) => `WRONG: ${text}`));
  lines.push(`verdict: ${complaints.length === 0 ? 'nothing was wrong' : 'something was wrong'}`);
  return lines.join('\n') + '\n';
}

const [minutesText, folder, seedText] = process.argv.slice(2);
const minutes = Number(minutesText);
const seed = Number(seedText ?? Date.now() % 1e6);
if (!(minutes > 0) || !folder) throw new Error('node soak.mjs MINUTES FOLDER [SEED]');
await mkdir(folder, {recursive: true});
console.log(`${minutes} minutes with seed ${seed}`);
const soak = new Soak(minutes, seed);
const complaints = [];
await soak.start();
const progress = setInterval(() => {
  const {memoryMb, handles, threads} = soak.samples.at(-1) ?? {};
  console.log(`minute ${soak.minutes.toFixed(0)}: ${memoryMb?.toFixed(0)} MB, ${handles} handles, ${
      threads} threads`);
}, 60000);
// Ctrl+C ends the run early, with its report.
process.on('SIGINT', () => soak.totalMs = 0);
process.on('SIGTERM', () => soak.totalMs = 0);
try {
  await soak.run();
} catch (error) {
  complaints.push(`${soak.current}: ${error.message}`);
}
clearInterval(progress);
await soak.sample();
const exitCode = await soak.stop();
complaints.push(...budgetComplaints(soak.log));
const text = report(soak, seed, exitCode, complaints);
await writeFile(join(folder, 'report.txt'), text);
await writeFile(join(folder, 'samples.json'), JSON.stringify(soak.samples));
await writeFile(join(folder, 'host.log'), soak.log);
await savePlot(
    drawPlot(
        soak.samples,
        [
          {name: 'memoryMb', label: 'private memory of the host, MB', colour: '#2266bb'},
          {name: 'windowsMb', label: 'of it below Wine: the host and its DLLs, MB', colour: '#774499'},
          {name: 'handles', label: 'handles', colour: '#bb4422'},
          {name: 'threads', label: 'threads', colour: '#228844'},
        ],
        `${soak.minutes.toFixed(0)} minutes of random use; minutes from left to right`),
    join(folder, 'soak.png'));
console.log(text);
process.exit(complaints.length === 0 ? 0 : 1);
