// What the host's log may hold of its noisy lines. Pure.

// The first few of a process.
const kProcessBudgets = [
  ['custom messages', 20, /^\[agent\] (custom msg label=|desktop_input inject |clipboard <- )/],
  ['mouse injections', 20, /^\[agent\] SendInput mouse /],
  ['key injections', 20, /^\[agent\] SendInput key /],
  ['refused pictures', 5, /^\[agent\] ProcessInput failed /],
  ['refused pictures of a hardware encoder', 3, /^\[agent\] ProcessInput\(async\) /],
];
const kSendFailures = 5;
const kEvery = 60;

/** What is wrong with a log: sentences. */
export function budgetComplaints(log) {
  const lines = log.split(/\r?\n/);
  const complaints = [];
  for (const [what, budget, pattern] of kProcessBudgets) {
    const count = lines.filter((line) => pattern.test(line)).length;
    if (count > budget) complaints.push(`${count} lines on ${what}, not ${budget}`);
  }
  let sendFailures = 0;
  for (const line of lines) {
    if (line.includes('StreamLoop 线程已进入')) sendFailures = 0;
    if (line.includes('送帧失败') && ++sendFailures > kSendFailures)
      complaints.push(`a stream’s send failure number ${sendFailures}`);
    const loops = /push stats: loops=(\d+)/.exec(line);
    if (loops && Number(loops[1]) % kEvery !== 0) complaints.push(`statistics of loop ${loops[1]}`);
    const waits = /尚未采到首帧 \(累计 (\d+) 次\)/.exec(line);
    if (waits && Number(waits[1]) % kEvery !== 1) complaints.push(`first-frame wait ${waits[1]}`);
  }
  return complaints;
}
