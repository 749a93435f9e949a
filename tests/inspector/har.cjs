'use strict';
// A HAR file opened in the page: its entries listed by the module's binding
// of the library's HAR reader (requests to pick, skipped entries with their
// reasons), the first request shown, and a picked one shown as any request,
// each tree the one `navreq dump --json FILE.har#N` prints.

const { describe, test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const b = require('./lib/browser.cjs');
const { dumpJson, expectedTree, firstMismatch } = require('./lib/expect-tree.cjs');
const { describeMismatch, forgetShown } = require('./lib/actions.cjs');

// Entries: the route search as base64, a GET, a body a browser damaged
// (U+FFFD), the stop event as Latin-1 text (JSON.stringify writes each byte
// as one code point), and a body with surrogate escapes for its bytes.
function harText() {
  const bytes = (kind) => Buffer.from(b.hexOf(kind), 'hex');
  const post = (url, postData) => ({ request: { method: 'POST', url, headers: [], postData } });
  const surrogates = (buf) => {
    // Every byte from 0x80 on escaped: the example's are not UTF-8.
    let text = '';
    for (const c of buf) text += c < 0x80 ? String.fromCharCode(c) : '\\udc' + c.toString(16).padStart(2, '0');
    return text;
  };
  const entries = [
    post('https://nav.example/route', { mimeType: 'application/octet-stream', text: bytes('route').toString('base64'), encoding: 'base64' }),
    { request: { method: 'GET', url: 'https://nav.example/status', headers: [] } },
    post('https://nav.example/broken', { mimeType: 'application/octet-stream', text: '\f\u0010\u0005\ufffd' }),
    post('https://nav.example/stop', { mimeType: 'application/octet-stream', text: bytes('navstop').toString('latin1') }),
    post('https://nav.example/plus', { mimeType: 'application/octet-stream', text: 'SURROGATES' }),
  ];
  // JSON.stringify cannot write a lone surrogate escape: it goes in as text.
  return JSON.stringify({ log: { version: '1.2', entries } })
    .replace('SURROGATES', JSON.stringify(surrogates(bytes('plus'))).slice(1, -1).replace(/\\\\udc/g, '\\udc'));
}

describe('HAR files', () => {
  let page;
  let file;
  before(async () => {
    file = path.join(b.tmpDir(), 'capture.har');
    fs.writeFileSync(file, harText());
    page = await b.newPage();
    await b.openPage(page);
  });
  after(async () => {
    if (page) await page.close();
  });

  async function treeMatches(entry) {
    const expected = expectedTree(dumpJson(b.TOOL, file + '#' + entry));
    await page.evaluate(() => window.navreqInspector.expandAll('a'));
    const shown = await b.readTree(page, 'a');
    const m = firstMismatch(expected.items, shown.items);
    if (m) assert.fail(`entry ${entry}: ${describeMismatch(m)}`);
  }

  test('an opened .har lists its entries and shows the first request', async () => {
    await forgetShown(page);
    await (await page.$('#file-a')).uploadFile(file);
    await b.waitShown(page, 'a');
    const listed = await page.$$eval('#har-a li', (items) => items.map((li) => li.textContent));
    assert.deepEqual(listed, [
      'entry 0: POST https://nav.example/route (base64)',
      'entry 1: GET https://nav.example/status: skipped, no body',
      'entry 2: POST https://nav.example/broken: skipped, damaged: 1 U+FFFD replacement characters: bytes that were not UTF-8 were lost',
      'entry 3: POST https://nav.example/stop (latin-1)',
      'entry 4: POST https://nav.example/plus (surrogate escapes)',
    ]);
    assert.equal(await page.$eval('#har-a', (e) => e.hidden), false);
    assert.equal(await page.$eval('#har-a .har-title', (e) => e.textContent), 'capture.har: 3 requests in 5 entries');
    assert.deepEqual(await page.$$eval('#har-a button[aria-pressed=true]', (bs) => bs.map((x) => x.textContent)),
      ['entry 0: POST https://nav.example/route (base64)']);
    await treeMatches(0);
    assert.match(await page.$eval('#status-a', (e) => e.textContent), /^capture\.har#0 · Package/);
  });

  for (const entry of [3, 4]) {
    test(`picking entry ${entry} shows it as any request`, async () => {
      await forgetShown(page);
      await page.click(`#har-a li[data-entry="${entry}"] button`);
      await b.waitShown(page, 'a');
      await treeMatches(entry);
      assert.match(await page.$eval('#status-a', (e) => e.textContent), new RegExp(`^capture\\.har#${entry} · `));
      assert.deepEqual(page.navreqErrors, []);
    });
  }

  test('a request given after the HAR file hides its list', async () => {
    await forgetShown(page);
    const bin = path.join(b.tmpDir(), 'slice.bin');
    fs.writeFileSync(bin, Buffer.from(b.hexOf('slice'), 'hex'));
    await (await page.$('#file-a')).uploadFile(bin);
    await b.waitShown(page, 'a');
    assert.equal(await page.$eval('#har-a', (e) => e.hidden), true);
  });

  test('a broken HAR file is an error in the words of the library', async () => {
    const broken = path.join(b.tmpDir(), 'broken.har');
    fs.writeFileSync(broken, '{"log": {"entries": [}');
    await (await page.$('#file-a')).uploadFile(broken);
    await page.waitForFunction(() => document.querySelector('#message-a').textContent.trim() !== '', { timeout: 5000 });
    assert.equal(await page.$eval('#message-a', (e) => e.textContent.trim()),
      'broken.har: not valid JSON at line 1, column 22: unexpected character \'}\'.');
  });
});
