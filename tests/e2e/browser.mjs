// Chromium for the tests.

import {chromium} from 'playwright-core';

const kArguments = [
  '--no-sandbox',
  '--disable-gpu',
  '--disable-quic',
  '--no-first-run',
  '--disable-background-networking',
  '--disable-component-update',
  '--disable-sync',
];

/** The browser named by CHROMIUM, or Debian's. */
export function startBrowser({args = [], ...options} = {}) {
  return chromium.launch({
    executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
    args: [...kArguments, ...args],
    ...options,
  });
}
