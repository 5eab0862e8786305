// Full screen, in which the browser lets the page have nearly all keys.

/** Wires a button; element is what fills the screen. onChange(active). */
export function wireFullScreen({button, element, onChange}) {
  button.addEventListener('click', async () => {
    try {
      if (document.fullscreenElement) {
        await document.exitFullscreen();
      } else {
        await element.requestFullscreen({navigationUI: 'hide'});
      }
    } catch {
      // The browser may refuse, in a frame for example; the page stays as it is.
    }
  });
  document.addEventListener('fullscreenchange', async () => {
    const active = document.fullscreenElement === element;
    onChange(active);
    if (!active) {
      navigator.keyboard?.unlock?.();
      return;
    }
    try {
      await navigator.keyboard?.lock?.();
    } catch {
      // Without the lock the browser keeps its own shortcuts, nothing else is different.
    }
  });
}
