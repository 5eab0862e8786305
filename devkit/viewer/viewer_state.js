// What scripts and tests may look at, in one place. Read-only: nothing here changes the page.
//
// window.viewerState
//   connection        'connecting', 'connected', 'waiting', 'forbidden', 'replaced' or 'closed'
//   connected         connection is 'connected'
//   conn              the page's random connection id
//   instance          the host's name as the library tells it
//   width, height     size of the picture on the canvas, 0 before the first
//   screenSize        {width, height} that the host reported last, or null
//   codec             as WebCodecs names it, for example 'avc1.4d001f'
//   unitsReceived     video units received
//   framesDrawn       pictures drawn
//   keyFrames         key frames received
//   gaps              units that the sequence numbers show to be missing
//   unitsLeftOut      units received but not decoded, for want of a key frame
//   keyFrameRequests  key frames asked for, the one after connecting included
//   decodeErrors      times that decoding failed
//   waitingForKeyFrame  whether nothing but a key frame helps now
//   fps, kbps         over the last second
//   stages            {hostMs, sendMs, decodeMs, drawMs, ageMs}: means over the last second, or
//                     null. host: grab to hand-over, beyond the quickest picture's; send: host's
//                     hand-over to received, decode: to decoded, draw: to drawn; age: all from
//                     hand-over on
//   screens           {current, screens: [{index, name, width, height, primary}]} or null
//   cursor            {visible, width, height, hotX, hotY} or null
//   hostClipboard     the text that the host sent last
//   notice            title of what is shown over the picture, '' when nothing is
//   lastError         the last decoder error, '' when there was none
//   sentCount         messages sent for the host
//   sent              the last 64 of them, oldest first: [{atMs, text}] (wall clock)
// window.viewerFrames(count)
//   the last frames drawn, oldest first: {sequence, keyFrame, bytes, hostMs, handedOverMs,
//   receivedMs, decodedMs, drawnMs}; times from handedOverMs on are wall clock in milliseconds
// window.viewerPixels(x, y, width = 1, height = 1)
//   [red, green, blue, alpha, ...] of the picture's pixels, row by row
// window.viewerPixelChange(x, y, timeoutMs = 30000)
//   a promise of {before, after, frame}: the first frame drawn from now on in which the pixel
//   differs by more than 48 in a channel; rejected after timeoutMs

const kChangedBy = 48;

export class FrameWatch {
  #watchers = new Set();

  /** For every frame drawn. */
  note(frame) {
    for (const watcher of [...this.#watchers]) watcher(frame);
  }

  /** Resolves with the frame for which look() gives something. */
  until(look, timeoutMs) {
    return new Promise((resolve, reject) => {
      const watcher = (frame) => {
        const found = look();
        if (!found) return;
        end();
        resolve({...found, frame: {...frame}});
      };
      const timer = setTimeout(() => {
        end();
        reject(new Error(`no such frame within ${timeoutMs} ms`));
      }, timeoutMs);
      const end = () => {
        clearTimeout(timer);
        this.#watchers.delete(watcher);
      };
      this.#watchers.add(watcher);
    });
  }
}

/** read: an object of functions without arguments, one for each property of viewerState. */
export function publishState({read, statistics, painter, frameWatch}) {
  const properties = Object.entries(read).map(([name, get]) => [name, {get, enumerable: true}]);
  const publish = (name, value) => Object.defineProperty(window, name, {value});
  publish(
      'viewerState', Object.freeze(Object.defineProperties({}, Object.fromEntries(properties))));
  publish('viewerFrames', (count) => statistics.lastFrames(count));
  publish(
      'viewerPixels',
      (x, y, width = 1, height = 1) => [...painter.readPixels(x, y, width, height)]);
  publish('viewerPixelChange', (x, y, timeoutMs = 30000) => {
    const before = [...painter.readPixels(x, y, 1, 1)];
    return frameWatch.until(() => {
      const after = [...painter.readPixels(x, y, 1, 1)];
      const changed = after.some((value, i) => Math.abs(value - before[i]) > kChangedBy);
      return changed ? {before, after} : null;
    }, timeoutMs);
  });
}
