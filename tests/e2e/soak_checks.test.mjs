// What the long runs judge by: that it finds what is wrong, and only that.

import assert from 'node:assert/strict';
import test from 'node:test';

import {windowsMemoryMb} from './host_process.mjs';
import {budgetComplaints} from './log_budgets.mjs';
import {gainPerHour} from './soak_report.mjs';
import {SizeWatch} from './stream_watch.mjs';

const kLater = Number.MAX_SAFE_INTEGER;

test('a size that was never allowed is wrong at once', () => {
  const watch = new SizeWatch();
  watch.allow('1280x720', '1024x768');
  watch.check('1024x768', 0);
  assert.deepEqual(watch.wrong, []);
  watch.check('800x600', 0);
  assert.deepEqual(watch.wrong, ['800x600, not one of 1280x720 1024x768']);
});

test('the old size is right until the change is done and wrong afterwards', () => {
  const watch = new SizeWatch();
  watch.only('1280x720');
  watch.allow('1024x768');
  watch.check('1280x720', kLater);
  watch.only('1024x768');
  // Given away before the change, and read after it.
  watch.check('1280x720', 0);
  assert.deepEqual(watch.wrong, []);
  watch.check('1280x720', kLater);
  assert.deepEqual(watch.wrong, ['1280x720 after the change to 1024x768']);
});

test('the old size is wrong after the first picture of the new one', () => {
  const watch = new SizeWatch();
  watch.only('1280x720');
  watch.allow('1024x768');
  watch.only('1024x768');
  watch.check('1024x768', kLater);
  watch.check('1280x720', 0);
  assert.deepEqual(watch.wrong, ['1280x720, not one of 1024x768']);
});

const repeat = (line, times) => `${line}\r\n`.repeat(times);

test('a log within its budgets is not complained about', () => {
  assert.deepEqual(
      budgetComplaints([
        repeat('[agent] desktop_input inject OK: {}', 19),
        '[agent] clipboard <- controller (3 bytes)\n',
        repeat('[agent] SendInput mouse flags=0x8001 abs=(1,2) -> 1', 20),
        '[agent] StreamLoop 线程已进入，开始采集/编码循环\n',
        repeat('[agent] 送帧失败: x', 5),
        '[agent] StreamLoop 线程已进入，开始采集/编码循环\n',
        repeat('[agent] 送帧失败: x', 5),
        '[agent] push stats: loops=120 reused=0 encoded=120 sent_ok=120 sent_err=0\n',
        '[agent] 尚未采到首帧 (累计 61 次)\n',
      ].join('')),
      []);
});

test('every budget that is exceeded is complained about', () => {
  const complaints = budgetComplaints([
    repeat('[agent] custom msg label=x ignored, data={}', 21),
    repeat('[agent] SendInput mouse flags=0x8001 abs=(1,2) -> 1', 21),
    repeat('[agent] SendInput key vk=65 down=1 -> 1', 21),
    repeat('[agent] ProcessInput failed hr=0x80004005', 6),
    repeat('[agent] ProcessInput(async) 失败 0x80004005', 4),
    repeat('[agent] 送帧失败: x', 6),
    '[agent] push stats: loops=121 reused=0\n',
    '[agent] 尚未采到首帧 (累计 60 次)\n',
  ].join(''));
  assert.equal(complaints.length, 8, complaints.join('\n'));
});

test('what grows is told by the second half, in an hour', () => {
  const samples = Array.from(
      {length: 61},
      (_, minutes) => ({minutes, handles: minutes < 30 ? 5 * minutes : 100 + minutes}));
  assert.ok(Math.abs(gainPerHour(samples, 'handles') - 60) < 1e-6);
  assert.equal(gainPerHour([{minutes: 0, handles: null}], 'handles'), 0);
});

test('memory below Wine is what belongs to Windows’ programs', () => {
  const region = (range, name, kib) =>
      `${range} rw-p 00000000 00:00 0   ${name}\nSize: 99 kB\nAnonymous:   ${kib} kB\n`;
  const maps = [
    region('00110000-00210000', '', 1024),
    region('6fffff000000-6fffff010000', '/usr/lib/wine/ntdll.dll', 512),
    region('9a2c4000-9b282000', '[heap]', 4096),
    region('7efeb0000000-7efeb126a000', '', 4096),
  ];
  assert.equal(windowsMemoryMb(maps.join('')), 1.5);
});
