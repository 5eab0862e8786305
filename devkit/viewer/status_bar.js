// The line below the picture: connection, size, rates, age and the stages' costs.

const kDash = '–';

function milliseconds(value) {
  if (value === undefined) return kDash;
  return value < 9.95 ? value.toFixed(1) : value.toFixed(0);
}

function bitRate(kbps) {
  return kbps < 1000 ? `${kbps.toFixed(0)} kbit/s` : `${(kbps / 1000).toFixed(1)} Mbit/s`;
}

const kLabels = {
  connecting: 'Connecting',
  connected: 'Connected',
  waiting: 'Not connected',
  forbidden: 'Not let in',
  replaced: 'Taken over',
  closed: 'Closed',
};

export class StatusBar {
  #parts;

  /** root: the element whose [data-part] children are filled. */
  constructor(root) {
    this.#parts = new Map([...root.querySelectorAll('[data-part]')].map(
        (element) => [element.dataset.part, element]));
    this.root = root;
  }

  setConnection(state) {
    this.root.dataset.state = state;
    this.#set('connection', kLabels[state]);
  }

  setPicture(width, height) {
    this.#set('size', `${width}×${height}`);
  }

  /** As StreamStatistics.summary() gives it; live says whether the figures mean anything. */
  setFigures({fps, kbps, stages}, live) {
    this.#set('fps', live ? `${fps.toFixed(0)} fps` : `${kDash} fps`);
    this.#set('rate', live ? bitRate(kbps) : `${kDash} Mbit/s`);
    for (const stage of ['age', 'host', 'send', 'decode', 'draw']) {
      this.#set(stage, milliseconds(live ? stages?.[`${stage}Ms`] : undefined));
    }
  }

  #set(part, text) {
    const element = this.#parts.get(part);
    if (element.textContent !== text) element.textContent = text;
  }
}
