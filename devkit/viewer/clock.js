// The wall clock in milliseconds with fractions, to compare with the host's on the same machine.
//
// performance.now() is finer than Date.now(), but it stands still while the machine sleeps and does
// not follow when the clock is set; then it is brought back.

const kMaxDriftMs = 2;
let originMs = performance.timeOrigin;

export function wallClockMs() {
  const fineMs = originMs + performance.now();
  // The middle of the millisecond that Date.now() names.
  const driftMs = fineMs - (Date.now() + 0.5);
  if (Math.abs(driftMs) <= kMaxDriftMs) return fineMs;
  originMs -= driftMs;
  return fineMs - driftMs;
}
