// What the page says, in plain words, when it cannot show the desktop. Pure.

const kModernBrowser = 'Open this address in a current Chromium-family browser';

const kByTrouble = {
  webcodecs: {
    title: 'This browser cannot decode the video',
    detail: `It has no WebCodecs here. ${kModernBrowser}, and use 127.0.0.1 or HTTPS: ` +
        'browsers switch WebCodecs off on other plain addresses.',
  },
  h264: {
    title: 'This browser has no H.264 decoder',
    detail: `The desktop is sent as H.264 video. ${kModernBrowser} that was built with it.`,
  },
  decoder: {
    title: 'The video cannot be decoded',
    detail: 'The decoder failed several times in a row.',
    action: 'Try again',
  },
  forbidden: {
    title: 'The host did not let this page in',
    detail: 'It answered 403: the token in the address is not the one of the running host. ' +
        'Each start has a new one; open the address that the host printed last.',
    action: 'Try again',
  },
  replaced: {
    title: 'Another viewer has taken over',
    detail: 'The desktop is shown in another window now.',
    action: 'Take it back',
  },
  gone: {
    title: 'The host is not running',
    detail: 'Nothing answers at this address. The page connects by itself when it is back.',
    action: 'Try now',
  },
  refused: {
    title: 'The stream was refused',
    detail: 'The server answers, but it does not open the stream.',
    action: 'Try now',
  },
  lost: {
    title: 'The connection was lost',
    detail: 'The page is trying to get it back.',
    action: 'Try now',
  },
  connecting: {title: 'Connecting…', detail: ''},
  firstPicture: {
    title: 'Waiting for the first picture…',
    detail: 'Connected; the host has not sent a picture yet.',
  },
  stalled: {
    title: 'The picture stands still',
    detail: 'Connected, but no new pictures arrive. The host may be paused, or its desktop ' +
        'locked or switched off.',
    action: 'Ask again',
  },
};

/** {title, detail, action or undefined} for one of the names above. */
export function explain(trouble) {
  return kByTrouble[trouble];
}
