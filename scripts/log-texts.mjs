// Compares the log texts in the host's sources with those that docs/log.md and docs/log.zh-CN.md explain.
// Usage: node log-texts.mjs
// Each text in the code has to be explained, each explained text has to be in the code, and the
// tables of both languages have to explain the same ones. Ends with 1 where that is not so.

import {execFileSync} from 'node:child_process';
import {readFileSync} from 'node:fs';
import {dirname, join} from 'node:path';
import {fileURLToPath} from 'node:url';

const kTop = join(dirname(fileURLToPath(import.meta.url)), '..');
const kRooms = ['base', 'host', 'session', 'capture', 'encoder', 'control', 'input', 'clipboard'];
// Stands for a bar that does not part columns.
const kGap = '\u0001';
// The encoder's own test of the hardware, no test of the source.
const kSelfTest = 'encoder/hardware_self_test.cc';
// Standard error's own lines; README explains them.
const kVerdicts = ['[host] READY', '[host] FAILED'];

const read = (name) => readFileSync(join(kTop, name), 'utf8');

/** Every format string of the rooms that begins with an area's prefix. */
function textsOfCode() {
  const files = execFileSync('git', ['ls-files', ...kRooms.map((room) => `${room}/*.cc`)],
    {cwd: kTop, encoding: 'utf8'}).split('\n').filter((name) => name !== '' &&
      (!name.endsWith('_test.cc') || name === kSelfTest) && !name.includes('/fakes/'));
  const texts = new Map();
  for (const file of files) {
    // Parts of one string that stand on lines of their own are one string.
    const source = read(file).replace(/"\s*\n\s*"/g, '');
    for (const [, text] of source.matchAll(/"(\[(?:agent|host|tcar)\] [^"]*?)(?:\\n)?"/g)) {
      if (!kVerdicts.includes(text)) texts.set(text, file);
    }
  }
  return texts;
}

/** A line as the code may write it: every value is "N". */
const sampleOf = (format) => format.replace(/%(?:\.\*)?0?\d*(?:ll|[lz])?[a-zA-Z]/g, 'N');

/**
 * The lines that a document's text stands for. Values are written as "...", CALL, a size as WxH and
 * others as one capital letter. A text that only begins in one literal ends there with a colon.
 */
function explains(text, sample) {
  if (/:$/.test(sample) && text.startsWith(sample)) return true;
  const value = /\.\.\.(?=$|[^.]|N)|WxH|Ffps|CALL|(?<![A-Za-z])[A-Z](?![A-Za-z])/g;
  if (text === sample) return true;
  const fixed = text.split(value).map((part) => part.replace(/[.*+?^${}()|[\]\\]/g, '\\$&'));
  return fixed.length > 1 && new RegExp(`^${fixed.join('.+')}$`).test(sample);
}

/** Every text between backticks in the first column of a document's tables. */
function textsOfDocument(name) {
  const texts = [];
  for (const line of read(name).split('\n').filter((row) => row.startsWith('| `['))) {
    const column = line.replaceAll('\\|', kGap).split('|')[1];
    for (const [, text] of column.matchAll(/`([^`]*)`/g)) texts.push(text.replaceAll(kGap, '|'));
  }
  return texts;
}

const code = textsOfCode();
let complaints = 0;
const complain = (text) => {
  console.error(text);
  ++complaints;
};

const documents = ['docs/log.md', 'docs/log.zh-CN.md'];
const explained = documents.map(textsOfDocument);
documents.forEach((name, i) => {
  const known = explained[i];
  const used = new Set();
  for (const [format, file] of code) {
    const sample = sampleOf(format);
    const found = known.filter((text) => explains(text, sample));
    if (found.length === 0) complain(`${file}: "${format}" is not in ${name}`);
    found.forEach((text) => used.add(text));
  }
  for (const text of known) if (!used.has(text)) complain(`${name}: nothing writes "${text}"`);
});
for (const text of explained[0]) {
  if (!explained[1].includes(text)) complain(`${documents[1]} lacks "${text}"`);
}
for (const text of explained[1]) {
  if (!explained[0].includes(text)) complain(`${documents[0]} lacks "${text}"`);
}
process.exitCode = complaints > 0 ? 1 : 0;
