'use strict';
// Browser tests of navreq-inspector.html. One Chromium serves every suite;
// the suites are required in the order they run.

const { test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const b = require('./lib/browser.cjs');

before(async () => {
  await b.launch();
});
after(async () => {
  await b.close();
});

require('./tree.cjs');
require('./edits.cjs');
require('./forms.cjs');
require('./har.cjs');
require('./size.cjs');
require('./responsive.cjs');
require('./hostile.cjs');

test('the page made no request outside file:// and data:', () => {
  assert.deepEqual(b.offline, []);
});
