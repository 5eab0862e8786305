import assert from 'node:assert/strict';
import test from 'node:test';

import {explain} from './explanations.js';

test('every trouble has words', () => {
  for (const trouble
           of ['webcodecs', 'h264', 'decoder', 'forbidden', 'replaced', 'gone', 'refused', 'lost',
               'connecting', 'firstPicture', 'stalled']) {
    assert.ok(explain(trouble).title.length > 0, trouble);
    assert.equal(typeof explain(trouble).detail, 'string', trouble);
  }
});
