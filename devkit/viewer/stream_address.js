// Addresses: what the page's own address asks for, and where its stream is. Pure.

const kLimits = {
  fps: 240,
  max: 200000,
  min: 200000
};

function readNumber(query, name) {
  const text = query.get(name) ?? '';
  return /^\d{1,9}$/.test(text) ? Math.min(Number(text), kLimits[name]) : 0;
}

/** The wanted frame rate and bit rates (kbit/s) of a page's address; 0 is 'not given'. */
export function profileOf(pageUrl) {
  const query = new URL(pageUrl).searchParams;
  return {
    fps: readNumber(query, 'fps'),
    max: readNumber(query, 'max'),
    min: readNumber(query, 'min'),
  };
}

/** The WebSocket's address for a page's address and a profile. */
export function streamUrl(pageUrl, profile) {
  const url = new URL('/stream', pageUrl);
  url.protocol = url.protocol === 'https:' ? 'wss:' : 'ws:';
  url.searchParams.set('token', new URL(pageUrl).searchParams.get('token') ?? '');
  for (const name of Object.keys(kLimits)) {
    if (profile[name]) url.searchParams.set(name, String(profile[name]));
  }
  return url.href;
}

/** The page's address with another profile in it, so that a reload keeps what was chosen. */
export function pageUrlWithProfile(pageUrl, profile) {
  const url = new URL(pageUrl);
  for (const name of Object.keys(kLimits)) {
    if (profile[name]) {
      url.searchParams.set(name, String(profile[name]));
    } else {
      url.searchParams.delete(name);
    }
  }
  return url.href;
}
