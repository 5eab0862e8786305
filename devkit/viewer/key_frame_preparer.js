// Makes each key frame one that decoding can start from, and says how to set the decoder up. Pure.

import {codecString, withoutReordering} from './h264_sps.js';
import {isParameterSet, isSps, joinUnits, splitUnits} from './h264_units.js';

function sameBytes(a, b) {
  return a.length === b.length && a.every((byte, i) => byte === b[i]);
}

export class KeyFramePreparer {
  #parameterSets = [];

  /**
   * For one key frame's bytes {codec, changed, data}: the codec's name, whether the picture's
   * format is another than before, and the bytes to decode. Encoders may send the parameter sets
   * only once; then the last ones are put in front. Null when there never were any.
   */
  prepare(stream) {
    const units = splitUnits(stream);
    const own = units.filter(isParameterSet);
    const hasOwn = own.some(isSps);
    const before = this.#parameterSets.find(isSps);
    if (hasOwn) this.#parameterSets = own.map(({type, data}) => ({type, data: data.slice()}));
    const sps = this.#parameterSets.find(isSps);
    if (!sps) return null;
    return {
      codec: codecString(sps.data),
      changed: !before || !sameBytes(before.data, sps.data),
      data: joinUnits((hasOwn ? units : [...this.#parameterSets, ...units]).map(tellOrder)),
    };
  }
}

function tellOrder(unit) {
  return isSps(unit) ? {...unit, data: withoutReordering(unit.data)} : unit;
}
