// One round of what a controller does with a host: subscribe, watch, switch, another mode, input,
// clipboard, unsubscribe. Once as it goes while a fault strikes, once to see that all of it works.

import {setTimeout as sleep} from 'node:timers/promises';

import {BareViewer} from './control_harness.mjs';
import {until} from './stand.mjs';

export const kMonitors = '640x480,480x360@left';
const kOtherMode = '640x480,400x300@left';
/** The text field of the stand's desktop. */
export const kNotes = 'notes.txt';
export const kStage = (notes) =>
    ['--monitors', kMonitors, '--edit', `x=40,y=40,w=300,h=200,title=Notes,file=${notes}`,
     '--moving', 'x=420,y=60,w=160,h=120', '--moving', 'x=-440,y=60,w=160,h=120'];

// How long a step is watched for its effect while a fault is about.
const kStepMs = 2500;
const kBriefStepMs = 600;
// How soon the stream has to be back for a subscription to count as kept.
const kKeptMs = 15000;
const kPatienceMs = 60000;

const kKeys = {
  Escape: 0x70029,
  ControlLeft: 0x700e0,
  ShiftLeft: 0x700e1,
  Home: 0x7004a,
  End: 0x7004d,
  Delete: 0x7004c,
  KeyC: 0x70006,
  KeyV: 0x70019,
};

let conns = 0;

/** A subscriber without a page. */
export class Subscriber {
  static async open(host) {
    const subscriber = new Subscriber();
    subscriber.viewer = await BareViewer.open({after: () => {}}, host);
    subscriber.conn = `c${++conns}`;
    return subscriber;
  }

  get units() {
    return this.viewer.units;
  }

  send(message) {
    this.viewer.send(message);
  }

  command(fields) {
    this.viewer.socket.send(JSON.stringify(fields));
  }

  requestKeyFrame() {
    this.send({type: 'request_keyframe', conn: this.conn});
  }

  /** Waits for a key frame after the first count units; false when none comes in time. */
  async keyFrameAfter(count, timeoutMs) {
    return waitFor(() => this.units.slice(count).some(({keyFrame}) => keyFrame), timeoutMs);
  }

  /** Shows another monitor; false when it or its first picture does not come in time. */
  async switchTo(index, timeoutMs) {
    const told = this.viewer.messages.length;
    this.send({type: 'switch_screen', index});
    const isTold = () => this.viewer.messages.slice(told).some((text) => {
      const {type, current} = JSON.parse(text);
      return type === 'screens' && current === index;
    });
    if (!await waitFor(isTold, timeoutMs)) return false;
    // The last pictures of the old monitor were on their way before the message.
    return this.keyFrameAfter(this.units.length, timeoutMs);
  }

  press(...codes) {
    for (const code of codes) this.#key('keydown', code);
    for (const code of codes.reverse()) this.#key('keyup', code);
  }

  #key(type, code) {
    this.send({type, hid: kKeys[code], code, key: ''});
  }

  clickNotes() {
    // Letting go of all buttons opens the text field's menu.
    this.press('Escape');
    const place = {x: 150, y: 150};
    this.send({type: 'mousemove', ...place});
    this.send({type: 'mousedown', ...place, button: 'left'});
    this.send({type: 'mouseup', ...place, button: 'left'});
  }

  selectAll() {
    this.press('ControlLeft', 'Home');
    this.press('ControlLeft', 'ShiftLeft', 'End');
  }

  async close({bye = false} = {}) {
    if (bye) this.send({type: 'bye', conn: this.conn});
    await this.viewer.close();
  }
}

async function waitFor(look, timeoutMs) {
  return until(look, 'it', timeoutMs).then(() => true, () => false);
}

/**
 * Everything once, whatever comes of it: otherMode: with another mode of the monitor; brief: with less
 * patience. Gives how many pictures came meanwhile.
 */
export async function workThrough(
    stand, subscriber, marker, {otherMode = true, brief = false} = {}) {
  const {units} = subscriber;
  const stepMs = brief ? kBriefStepMs : kStepMs;
  subscriber.requestKeyFrame();
  await waitFor(() => units.length >= 3, stepMs);
  subscriber.command({command: 'profile', fps: 30, max: 3000 + marker % 500, min: 1000});
  subscriber.command({command: 'screen_info'});
  subscriber.send({type: 'list_screens'});
  await subscriber.switchTo(1, stepMs);
  if (otherMode) {
    await stand.setMonitors(kOtherMode);
    await sleep(stepMs);
    await stand.setMonitors(kMonitors);
  }
  await subscriber.switchTo(0, stepMs);
  subscriber.clickNotes();
  subscriber.send({type: 'mousewheel', x: 150, y: 150, deltaY: 1});
  subscriber.send({type: 'keydown', hid: 0, code: '', key: 'a'});
  subscriber.send({type: 'keyup', hid: 0, code: '', key: 'a'});
  subscriber.send({type: 'text', text: `t${marker}`});
  const copied = subscriber.viewer.messagesOf('clipboard').length;
  subscriber.selectAll();
  subscriber.press('ControlLeft', 'KeyC');
  // Else the host may find both texts in one look at the clipboard.
  await waitFor(() => subscriber.viewer.messagesOf('clipboard').length > copied, stepMs);
  subscriber.send({type: 'clipboard', text: `c${marker}`});
  subscriber.press('ControlLeft', 'KeyV');
  await sleep(brief ? 50 : 250);
  return units.length;
}

/**
 * How the subscription goes on with pictures of both monitors: 'itself', 'switch' when only with
 * another choice of monitor; '' when it does not.
 */
export async function goesOn(subscriber, {brief = false} = {}) {
  subscriber.requestKeyFrame();
  if (brief) return await subscriber.keyFrameAfter(subscriber.units.length, kBriefStepMs) ? 'itself' : '';
  const itself = await subscriber.keyFrameAfter(subscriber.units.length, kKeptMs);
  const goes = await subscriber.switchTo(1, kKeptMs) && await subscriber.switchTo(0, kKeptMs);
  if (!goes) return '';
  return itself ? 'itself' : 'switch';
}

/** Throws when the pictures of a new subscription do not come; they begin with one newly captured. */
export async function checkPictures(subscriber) {
  const must = async (promise, what) => {
    if (!await promise) throw new Error(`no ${what} although the fault is gone`);
  };
  const {units} = subscriber;
  await must(subscriber.keyFrameAfter(0, kPatienceMs), 'key frame');
  await must(waitFor(() => units.length > 3, kPatienceMs), 'pictures');
}

/** Throws when text cannot be typed, copied from the host and pasted into it. */
export async function checkInput(stand, subscriber, marker) {
  const notes = () => stand.fileText(kNotes);
  // A fault may have left a key down, and the text field without the keyboard.
  const repeat = async (act, seen, what) => {
    const end = Date.now() + kPatienceMs;
    for (;;) {
      await act();
      if (await waitFor(seen, 1500)) return;
      if (Date.now() > end) throw new Error(`no ${what} although the fault is gone`);
    }
  };
  await repeat(() => {
    subscriber.send({type: 'reset'});
    subscriber.clickNotes();
    subscriber.selectAll();
    subscriber.press('Delete');
    subscriber.send({type: 'text', text: `typed${marker}`});
  }, async () => (await notes()).includes(`typed${marker}`), 'typed text');
  await repeat(() => {
    subscriber.selectAll();
    subscriber.press('ControlLeft', 'KeyC');
  }, () => subscriber.viewer.messagesOf('clipboard').some(({text}) => text.includes(`typed${marker}`)),
     'copied text');
  await repeat(() => {
    subscriber.send({type: 'clipboard', text: `pasted${marker}`});
    subscriber.press('ControlLeft', 'KeyV');
  }, async () => (await notes()).includes(`pasted${marker}`), 'pasted text');
}
