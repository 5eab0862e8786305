// Puts the page together: who tells whom about what.

import {ClipboardLink} from './clipboard_link.js';
import {wallClockMs} from './clock.js';
import {Connection} from './connection.js';
import {wireFullScreen} from './full_screen.js';
import {parseHostMessage} from './host_messages.js';
import {KeyboardInput} from './keyboard_input.js';
import {LocalCursor} from './local_cursor.js';
import {bye, listScreens, requestKeyFrame, reset, switchScreen} from './messages.js';
import {MouseInput} from './mouse_input.js';
import {Notice} from './notice.js';
import {Painter} from './painter.js';
import {missingAbility, Player} from './player.js';
import {QualityPanel} from './quality_panel.js';
import {ScreenPicker} from './screen_picker.js';
import {Sender} from './sender.js';
import {Stage} from './stage.js';
import {StreamStatistics} from './statistics.js';
import {StatusBar} from './status_bar.js';
import {pageUrlWithProfile, profileOf, streamUrl} from './stream_address.js';
import {TextPanel} from './text_panel.js';
import {FrameWatch, publishState} from './viewer_state.js';

const kStatusIntervalMs = 500;
// The host sends the unchanged desktop again and again, so silence is a fault or a pause.
const kSilenceMs = 3000;

const find = (id) => document.getElementById(id);

class Viewer {
  conn = crypto.randomUUID();
  profile = profileOf(location.href);
  hello = null;
  screenSize = null;
  screens = null;
  keyFrameRequests = 0;
  lastError = '';
  lastDrawnMs = 0;

  start() {
    this.#makeParts();
    this.#wireControls();
    this.#wireLeaving();
    this.#publish();
    this.connection.connect();
    setInterval(() => this.#tick(), kStatusIntervalMs);
  }

  #makeParts() {
    this.statistics = new StreamStatistics();
    this.frameWatch = new FrameWatch();
    this.connection = new Connection({
      urlOf: () => streamUrl(location.href, this.profile),
      probeUrl: location.href,
      onState: (state, details) => this.#onState(state, details),
      onEvent: (event) => this.#onEvent(event),
      onBinary: (message) => this.#onBinary(message),
    });
    this.sender = new Sender({connection: this.connection, clockMs: wallClockMs});
    this.statusBar = new StatusBar(find('status'));
    this.notice = new Notice({root: find('notice'), onAction: () => this.#actOnNotice()});
    const canvas = find('picture');
    this.stage = new Stage({element: find('stage'), canvas});
    this.painter = new Painter(canvas, {
      onResize: (width, height) => {
        this.stage.setPicture(width, height);
        this.statusBar.setPicture(width, height);
      },
    });
    this.player = new Player({
      painter: this.painter,
      statistics: this.statistics,
      onDrawn: (frame) => this.#onDrawn(frame),
      onKeyFrameNeeded: () => this.#askForKeyFrame(),
      onError: (text, givenUp) => this.#onDecodeError(text, givenUp),
    });
    this.cursor = new LocalCursor(canvas);
    this.clipboard = new ClipboardLink({
      sender: this.sender,
      onHostText: (text, written) => {
        this.textPanel.showHostText(text);
        find('text-button').classList.toggle('attention', !written);
      },
    });
    this.keyboard = new KeyboardInput({
      catcher: find('catcher'),
      sender: this.sender,
      onPaste: (text) => this.clipboard.offer(text),
      onLeave: () => this.#releaseEverything(),
      onKey: () => this.clipboard.retry(),
    });
    this.mouse = new MouseInput({
      surface: canvas,
      sender: this.sender,
      sizeOf: () => this.#pictureSize(),
      onPress: (event) => {
        this.keyboard.focus(event);
        this.clipboard.retry();
      },
    });
    this.textPanel = new TextPanel({
      root: find('text-panel'),
      link: this.clipboard,
      type: (text) => this.keyboard.type(text),
    });
  }

  #wireControls() {
    this.screenPicker = new ScreenPicker({
      root: find('screens'),
      onPick: (index) => {
        this.sender.send(switchScreen(index));
        this.keyboard.focus();
      },
    });
    this.qualityPanel = new QualityPanel({
      form: find('quality-form'),
      profile: this.profile,
      onApply: (profile) => this.#applyProfile(profile),
    });
    find('keys-panel').addEventListener('click', ({target}) => {
      const button = target.closest('button[data-chord]');
      if (!button) return;
      this.keyboard.chord(button.dataset.chord.split(' '));
      find('keys-panel').hidePopover();
      this.keyboard.focus();
    });
    find('mode-button').addEventListener('click', () => {
      this.stage.setMode(this.stage.mode === 'fit' ? 'actual' : 'fit');
      find('mode-button').setAttribute('aria-pressed', String(this.stage.mode === 'actual'));
      this.keyboard.focus();
    });
    find('reconnect-button').addEventListener('click', () => this.#reconnect());
    find('text-button').addEventListener('click', () => {
      find('text-button').classList.remove('attention');
    });
    for (const panel of document.querySelectorAll('.panel')) {
      panel.addEventListener('toggle', ({newState}) => {
        if (newState === 'closed') this.keyboard.focusIfFree();
      });
    }
    wireFullScreen({
      button: find('full-screen-button'),
      element: find('page'),
      onChange: (active) => {
        find('page').classList.toggle('full-screen', active);
        this.keyboard.focus();
      },
    });
  }

  #wireLeaving() {
    addEventListener('focus', () => {
      this.clipboard.retry();
      this.clipboard.offerIfAllowed();
    });
    addEventListener('blur', () => this.#releaseEverything());
    document.addEventListener('visibilitychange', () => {
      if (document.hidden) this.#releaseEverything();
    });
    addEventListener('pagehide', () => {
      this.#releaseEverything();
      this.sender.send(bye(this.conn));
      this.connection.close();
    });
    addEventListener('pageshow', ({persisted}) => {
      if (persisted) this.connection.connect();
    });
  }

  #publish() {
    const {player, painter, sender} = this;
    const summary = () => this.statistics.summary(wallClockMs());
    publishState({
      statistics: this.statistics,
      painter,
      frameWatch: this.frameWatch,
      read: {
        connection: () => this.connection.state,
        connected: () => this.connection.state === 'connected',
        conn: () => this.conn,
        instance: () => this.hello?.instance ?? '',
        width: () => painter.width,
        height: () => painter.height,
        screenSize: () => this.screenSize,
        codec: () => player.codec,
        unitsReceived: () => player.unitsReceived,
        framesDrawn: () => player.framesDrawn,
        keyFrames: () => player.keyFrames,
        gaps: () => player.gaps,
        unitsLeftOut: () => player.unitsLeftOut,
        keyFrameRequests: () => this.keyFrameRequests,
        decodeErrors: () => player.decodeErrors,
        waitingForKeyFrame: () => player.waitingForKeyFrame,
        fps: () => summary().fps,
        kbps: () => summary().kbps,
        stages: () => summary().stages,
        screens: () => this.screens,
        cursor: () => this.cursor.current,
        hostClipboard: () => this.clipboard.hostText,
        notice: () => this.notice.title,
        lastError: () => this.lastError,
        sentCount: () => sender.count,
        sent: () => sender.recent.map((message) => ({...message})),
      },
    });
  }

  #onState(state, {reason}) {
    this.statusBar.setConnection(state);
    find('page').dataset.state = state;
    if (state === 'connected') {
      this.player.restart();
      this.lastDrawnMs = 0;
      this.connectedMs = wallClockMs();
      this.notice.show('firstPicture');
    } else if (state === 'waiting') {
      this.notice.show(reason);
    } else if (state === 'connecting') {
      // Between two attempts the words that explain the trouble stay.
      if (this.notice.trouble === null) this.notice.show('connecting');
    } else if (state !== 'closed') {
      this.notice.show(state);
    }
  }

  #onEvent(event) {
    if (event.event === 'hello') {
      this.hello = event;
      this.sender.send(listScreens());
      this.#askForKeyFrame();
      this.keyboard.focusIfFree();
      this.clipboard.offerIfAllowed();
    }
    if (event.event === 'hello' || event.event === 'screen') {
      this.screenSize = {width: event.width, height: event.height};
    }
  }

  #onBinary(message) {
    if (message.kind === 'video') {
      this.player.accept(message);
      return;
    }
    const said = parseHostMessage(message.body);
    if (said?.type === 'cursor') this.cursor.show(said);
    if (said?.type === 'clipboard') this.clipboard.takeFromHost(said.text);
    if (said?.type === 'screens') {
      this.screens = {current: said.current, screens: said.screens};
      this.screenPicker.show(said);
    }
  }

  #onDrawn(frame) {
    this.lastDrawnMs = frame.drawnMs;
    if (this.notice.trouble !== null && this.connection.state === 'connected') {
      this.notice.show(null);
    }
    this.frameWatch.note(frame);
  }

  #onDecodeError(text, givenUp) {
    this.lastError = text;
    if (givenUp) this.notice.show('decoder', text);
  }

  #askForKeyFrame() {
    if (!this.sender.send(requestKeyFrame(this.conn))) return;
    this.keyFrameRequests += 1;
    this.player.noteKeyFrameAsked();
  }

  #pictureSize() {
    if (this.painter.width > 0) return {width: this.painter.width, height: this.painter.height};
    return this.screenSize ?? {width: 0, height: 0};
  }

  // Only where something is held: the host then lets go of the right button too, and to let go of
  // that opens a menu wherever it was not down.
  #releaseEverything() {
    const keys = this.keyboard.release();
    const buttons = this.mouse.release();
    if (keys || buttons) this.sender.sendInput(reset());
  }

  #applyProfile(profile) {
    const newRate = profile.fps !== this.profile.fps;
    this.profile = profile;
    history.replaceState(null, '', pageUrlWithProfile(location.href, profile));
    find('quality-panel').hidePopover();
    this.connection.sendProfile(profile);
    // The host takes a new frame rate with a new subscription only.
    if (newRate) this.#reconnect();
    this.keyboard.focus();
  }

  #reconnect() {
    this.#releaseEverything();
    this.connection.connect();
    this.keyboard.focus();
  }

  #actOnNotice() {
    if (this.notice.trouble === 'stalled') {
      this.#askForKeyFrame();
      this.keyboard.focus();
    } else {
      this.#reconnect();
    }
  }

  #tick() {
    const nowMs = wallClockMs();
    const live = this.connection.state === 'connected';
    this.statusBar.setFigures(this.statistics.summary(nowMs), live);
    if (!live) return;
    const quietMs = nowMs - Math.max(this.lastDrawnMs, this.connectedMs);
    if (quietMs < kSilenceMs || this.notice.trouble === 'decoder') return;
    if (this.lastDrawnMs > 0) this.notice.show('stalled');
    if (this.player.shouldAskAgain()) this.#askForKeyFrame();
  }
}

async function main() {
  const trouble = await missingAbility();
  if (trouble === null) {
    new Viewer().start();
    return;
  }
  new Notice({root: find('notice'), onAction: () => {}}).show(trouble);
  find('page').dataset.state = 'unsupported';
}

main();
