// Reads tests/seeded_faults.txt, for scripts/seed-faults.
//
//   node seeded-faults.mjs check TREE        says which do not fit the sources of TREE; ends with 1 then
//   node seeded-faults.mjs list              prints "NUMBER<tab>FILE<tab>WHAT" for each
//   node seeded-faults.mjs apply NUMBER TREE puts one into the sources of TREE
import {existsSync, readFileSync, writeFileSync} from 'node:fs';
import {dirname, join} from 'node:path';
import {fileURLToPath} from 'node:url';

const kTable = join(dirname(fileURLToPath(import.meta.url)), '../tests/seeded_faults.txt');

function readFaults() {
  const faults = [];
  for (const line of readFileSync(kTable, 'utf8').split('\n')) {
    const head = /^== ([^:]+): (.+)$/.exec(line);
    if (head) {
      faults.push({file: head[1], what: head[2], old: [], fresh: []});
    } else if (line.startsWith('- ')) {
      faults.at(-1).old.push(line.slice(2));
    } else if (line.startsWith('+ ')) {
      faults.at(-1).fresh.push(line.slice(2));
    } else if (line !== '' && !line.startsWith('#')) {
      throw new Error(`${kTable}: what is this? ${line}`);
    }
  }
  return faults;
}

// The file with the fault in it; null unless the old text stands there exactly once.
function faultyText(fault, tree) {
  const file = join(tree, fault.file);
  const parts = existsSync(file) ? readFileSync(file, 'utf8').split(fault.old.join('\n')) : [];
  return parts.length === 2 ? parts.join(fault.fresh.join('\n')) : null;
}

function check(tree) {
  const misfits = readFaults().filter((fault) => faultyText(fault, tree) === null);
  for (const fault of misfits) {
    console.error(
      `${fault.file}: the text of the seeded fault "${fault.what}" does not stand there exactly once;` +
        ' follow the change in tests/seeded_faults.txt',
    );
  }
  return misfits.length === 0;
}

function list() {
  readFaults().forEach((fault, index) => console.log(`${index + 1}\t${fault.file}\t${fault.what}`));
  return true;
}

function apply(number, tree) {
  const fault = readFaults()[number - 1];
  const text = fault === undefined ? null : faultyText(fault, tree);
  if (text === null) {
    return false;
  }
  writeFileSync(join(tree, fault.file), text);
  return true;
}

const commands = {check, list, apply};
const [command, ...rest] = process.argv.slice(2);
process.exit(commands[command](...rest) ? 0 : 1);
