// The controls for frame rate and bit rates.

export class QualityPanel {
  #form;

  /** onApply({fps, max, min}): kbit/s, 0 leaves one open. */
  constructor({form, profile, onApply}) {
    this.#form = form;
    this.show(profile);
    form.addEventListener('submit', (event) => {
      event.preventDefault();
      onApply(this.#read());
    });
  }

  show(profile) {
    for (const [name, value] of Object.entries(profile)) {
      this.#form.elements[name].value = value === 0 ? '' : String(value);
    }
  }

  #read() {
    const number = (name) => Math.trunc(Number(this.#form.elements[name].value)) || 0;
    return {fps: number('fps'), max: number('max'), min: number('min')};
  }
}
