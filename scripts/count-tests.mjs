// Adds up what a run of scripts/test left in its results folder and prints "N passed, N failed".
// Usage: node count-tests.mjs FOLDER
// Reads stages.list, fuzz.list, PRESET.xml (ctest's JUnit file) and e2e.tap. A program that ended
// before it could tell its tests' outcome counts as one failed test, and so does a stage that failed
// without a failed test in it. Ends with 1 when anything failed.

import {existsSync, readFileSync} from 'node:fs';
import {join} from 'node:path';

const folder = process.argv[2];

function textOf(name) {
  const path = join(folder, name);
  return existsSync(path) ? readFileSync(path, 'utf8') : '';
}

const firstNumber = (text, expression) => Number(text.match(expression)?.[1] ?? 0);

/** Of one test program's whole output; null when it is neither GoogleTest's nor node's. */
function countOutput(text) {
  if (/^\[=+\] Running /m.test(text)) {
    return {
      passed: firstNumber(text, /^\[  PASSED  \] (\d+) tests?\./m),
      failed: firstNumber(text, /^\[  FAILED  \] (\d+) tests?, listed below/m),
    };
  }
  if (/^(?:#|ℹ) tests \d+$/m.test(text)) {
    return {
      passed: firstNumber(text, /^(?:#|ℹ) pass (\d+)$/m),
      failed: firstNumber(text, /^(?:#|ℹ) fail (\d+)$/m) +
          firstNumber(text, /^(?:#|ℹ) cancelled (\d+)$/m),
    };
  }
  return null;
}

function unescape(text) {
  return text.replaceAll('&lt;', '<').replaceAll('&gt;', '>').replaceAll('&quot;', '"')
      .replaceAll('&amp;', '&').replaceAll('\r', '');
}

function countProgram(attributes, body) {
  const ranWell = / status="run"/.test(attributes);
  const output = unescape(body.match(/<system-out>([^]*?)<\/system-out>/)?.[1] ?? '');
  const counted = countOutput(output) ?? {passed: ranWell ? 1 : 0, failed: 0};
  if (!ranWell && counted.failed === 0) counted.failed = 1;
  return counted;
}

function countPreset(name) {
  const programs = textOf(`${name}.xml`).matchAll(/<testcase ([^>]*)>([^]*?)<\/testcase>/g);
  return [...programs].map(([, attributes, body]) => countProgram(attributes, body));
}

function countList(name) {
  return textOf(name).split('\n').filter((line) => line !== '').map(
      (line) => line.startsWith('ok ') ? {passed: 1, failed: 0} : {passed: 0, failed: 1});
}

function countStage(stage) {
  if (stage === 'format') return [];
  if (stage === 'fuzz') return countList('fuzz.list');
  if (stage === 'e2e') return [countOutput(textOf('e2e.tap')) ?? {passed: 0, failed: 0}];
  return countPreset(stage);
}

let passed = 0;
let failed = 0;
for (const line of textOf('stages.list').split('\n').filter((text) => text !== '')) {
  const stage = line.replace(/^(not )?ok /, '');
  const counts = countStage(stage);
  const stagePassed = counts.reduce((sum, count) => sum + count.passed, 0);
  let stageFailed = counts.reduce((sum, count) => sum + count.failed, 0);
  if (line.startsWith('not ') && stageFailed === 0) stageFailed = 1;
  const isOneCheck = stage === 'format' && stageFailed === 0;
  passed += isOneCheck ? 1 : stagePassed;
  failed += stageFailed;
}
console.log(`${passed} passed, ${failed} failed`);
process.exitCode = failed > 0 || passed === 0 ? 1 : 0;
