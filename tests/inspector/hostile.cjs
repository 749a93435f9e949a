'use strict';
// Hostile input: every committed input of the reader's fuzz target (seeds
// and crash reproducers: broken gzip, counts past the end, nesting without
// end, map entries cut after their key, ...) loads in the page and expands
// whole without a script error.

const { describe, test } = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const b = require('./lib/browser.cjs');
const { forgetShown } = require('./lib/actions.cjs');

const FUZZ = path.join(__dirname, '..', '..', 'fuzz');
const inputs = ['corpus', 'regressions'].flatMap((folder) => {
  const dir = path.join(FUZZ, folder, 'kse_reader');
  return fs.existsSync(dir) ? fs.readdirSync(dir).sort().map((f) => path.join(dir, f)) : [];
});

describe('hostile input', () => {
  test(`the reader's ${inputs.length} fuzz inputs load and expand without a script error`, async () => {
    assert.ok(inputs.length >= 20, 'the fuzz seeds and reproducers are there');
    const page = await b.newPage();
    try {
      await b.openPage(page);
      for (const file of inputs) {
        await forgetShown(page);
        await (await page.$('#file-a')).uploadFile(file);
        const empty = fs.statSync(file).size === 0;
        if (empty) {
          await page.waitForFunction(() => document.querySelector('#message-a').textContent.trim() !== '');
          continue;
        }
        await b.waitShown(page, 'a');
        await page.evaluate(() => window.navreqInspector.expandAll('a'));
        const items = await page.evaluate(() => document.querySelectorAll('#tree-a [role=treeitem]').length);
        assert.ok(items > 0, `${path.basename(file)}: the tree shows something`);
        assert.deepEqual(page.navreqErrors, [], `${path.basename(file)}: script errors`);
      }
    } finally {
      await page.close();
    }
  });
});
