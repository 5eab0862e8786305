// Pointer geometry: where the picture lies in the stage, which of its pixels a pointer is on, and
// which buttons went down or up. Pure; all lengths in CSS pixels unless they say otherwise.

const clamp = (value, low, high) => Math.min(Math.max(value, low), high);

/**
 * The pixel of a picture of width x height that a point of the page lies on; rect is the
 * picture's.
 */
export function toPicture({clientX, clientY}, rect, width, height) {
  const scale = (offset, length, pixels) =>
      length > 0 ? clamp(Math.floor(offset * pixels / length), 0, Math.max(pixels - 1, 0)) : 0;
  return {
    x: scale(clientX - rect.left, rect.width, width),
    y: scale(clientY - rect.top, rect.height, height),
  };
}

// A picture enlarged by less than this gains nothing, but its text loses its sharpness.
const kLeastEnlargement = 1.15;

/**
 * The picture's size in the page. mode 'fit' fills the stage as far as the shape allows, unless the
 * picture nearly fills it as it is; mode 'actual' gives every pixel of the picture one pixel of the
 * display.
 */
export function pictureSize(stage, picture, mode, devicePixelRatio) {
  const fitting = Math.min(stage.width / picture.width, stage.height / picture.height);
  const actual = 1 / devicePixelRatio;
  const sharp = fitting >= actual && fitting < actual * kLeastEnlargement;
  const scale = mode === 'actual' || sharp ? actual : fitting;
  return {width: picture.width * scale, height: picture.height * scale};
}

const kButtons = [[1, 'left'], [2, 'right'], [4, 'middle'], [8, 'x1'], [16, 'x2']];

/** From one value of MouseEvent.buttons to the next: [{button, down}, ...]. */
export function buttonChanges(before, after) {
  return kButtons.filter(([bit]) => ((before ^ after) & bit) !== 0)
      .map(([bit, button]) => ({button, down: (after & bit) !== 0}));
}
