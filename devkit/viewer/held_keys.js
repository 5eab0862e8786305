// Which keys the host believes to be down, so that none stays down when the page turns away. Pure.

const isMeta = (code) => code === 'MetaLeft' || code === 'MetaRight';
const isModifier = (code) => /^(Control|Shift|Alt|Meta)(Left|Right)$/.test(code);

export class HeldKeys {
  #held = new Map();

  /** description: a key as describeKey() gives it. */
  press(description) {
    this.#held.set(description.code, description);
  }

  /**
   * What to release for one key-up: the key as it was pressed, nothing when it was not.
   * Some systems report no other key's release while Meta is down, so Meta's own release lets go
   * of the keys pressed with it.
   */
  release(code) {
    const description = this.#held.get(code);
    if (!description) return [];
    this.#held.delete(code);
    return isMeta(code) ? [...this.#take((held) => !isModifier(held)), description] : [description];
  }

  /** All keys that are down; afterwards none is. */
  takeAll() {
    return this.#take(() => true);
  }

  #take(wanted) {
    const taken = [...this.#held].filter(([code]) => wanted(code));
    for (const [code] of taken) this.#held.delete(code);
    return taken.map(([, description]) => description);
  }
}
