'use strict';
// Big inputs stay responsive (virtual hex rows), the page file stays small,
// load times are measured (written down, not asserted), and screenshots are
// kept for people.

const { describe, test } = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const b = require('./lib/browser.cjs');
const { runTool } = require('./lib/expect-tree.cjs');
const { selectByClick, forgetShown } = require('./lib/actions.cjs');

const VIA_POINTS = 50000;
const MAX_PAGE_BYTES = 1572864;

// Hex rows the DOM holds: distinct 16-byte rows with rendered cells, per pane.
const renderedRows = (page) => page.evaluate(() => {
  let rows = 0;
  for (const pane of document.querySelectorAll('.hex-pane')) {
    const set = new Set([...pane.querySelectorAll('[data-offset]')].map((c) => Math.floor(c.dataset.offset / 16)));
    rows += set.size;
  }
  return rows;
});

// Scrolls a pane (or its scrolling child) to the end; true when the cell of
// `last` is then rendered.
async function scrollToEnd(page, buffer, last) {
  await page.evaluate((buf) => {
    const pane = document.querySelector(`.hex-pane[data-buffer="${buf}"]`);
    const scrollers = [pane, ...pane.querySelectorAll('*')].filter((e) => e.scrollHeight > e.clientHeight + 1 &&
      ['auto', 'scroll'].includes(getComputedStyle(e).overflowY));
    for (const s of scrollers) {
      s.scrollTop = s.scrollHeight;
      s.dispatchEvent(new Event('scroll'));
    }
  }, buffer);
  return page.waitForFunction((buf, off) =>
    !!document.querySelector(`.hex-pane[data-buffer="${buf}"] [data-offset="${off}"]`),
  { timeout: 5000 }, buffer, last).then(() => true, () => false);
}

describe('size and speed', () => {
  test(`route with ${VIA_POINTS} via points`, async () => {
    const dir = b.tmpDir();
    const example = JSON.parse(fs.readFileSync(path.join(__dirname, '..', '..', 'examples', 'route.json'), 'utf8'));
    const via = [];
    for (let i = 0; i < VIA_POINTS; i++) {
      via.push({ latitude: 39 + (i % 1000) / 1000, longitude: 116 + Math.floor(i / 1000) / 100,
        primaryText: `via ${i}`, pointType: 3 });
    }
    example.param.viaPoints = via;
    const json = path.join(dir, 'route-big.json');
    const bin = path.join(dir, 'route-big.bin');
    fs.writeFileSync(json, JSON.stringify(example));
    runTool(b.TOOL, ['encode', 'route', json, '--now-ms', '1700000000000', '-o', bin]);
    const size = fs.statSync(bin).size;
    const body = /@(\d+)\+(\d+) 8 body bytes\[\d+\]: gzip, (\d+) bytes inflated/.exec(
      runTool(b.TOOL, ['dump', bin]).split('\n').find((l) => / 8 body bytes/.test(l)) || '');
    assert.ok(body, 'the big body is compressed');
    const inflated = Number(body[3]);
    assert.ok(inflated > 4000000, `the inflated body is big (${inflated} bytes)`);

    const page = await b.newPage();
    try {
      await b.openPage(page);
      await forgetShown(page);
      const input = await page.$('#file-a');
      const t0 = Date.now();
      await input.uploadFile(bin);
      await b.waitShown(page, 'a', 90000);
      const loadMs = Date.now() - t0;
      const rows = await renderedRows(page);
      const note = `route with ${VIA_POINTS} via points: ${size} bytes, body ${inflated} bytes inflated; ` +
        `file given to shown ${loadMs} ms; ${rows} hex rows in the DOM\n`;
      fs.writeFileSync(path.join(b.OUT, 'large-input.txt'), note);
      console.log(note.trim());
      assert.ok(rows < 500, `hex rows in the DOM after loading: ${rows}`);
      assert.ok(await scrollToEnd(page, 'a:0', size - 1), `the input pane scrolls to offset ${size - 1}`);
      assert.ok(await renderedRows(page) < 500, 'hex rows after scrolling the input pane');

      // The via list comes in windows of 500: its first window, then one more.
      const viaItems = () => page.evaluate(() => [...document.querySelectorAll('#tree-a [role=treeitem]')]
        .filter((it) => /^body\.via_points\[\d+\]$/.test(it.dataset.path || '')).length);
      await page.evaluate(() => window.navreqInspector.expandAll('a'));
      await page.waitForFunction(() => !!document.querySelector('#tree-a li.more[role=treeitem]'), { timeout: 10000 });
      assert.equal(await viaItems(), 500, 'the first window of the via list');
      const more = await page.$('#tree-a li.more[role=treeitem]');
      assert.match(await more.evaluate((el) => el.textContent), /500/, 'the more item says how many come next');
      await page.mouse.move(0, 0);
      const second0 = Date.now();
      await more.click();
      await page.waitForFunction(() => [...document.querySelectorAll('#tree-a [role=treeitem]')]
        .filter((it) => /^body\.via_points\[\d+\]$/.test(it.dataset.path || '')).length === 1000, { timeout: 30000 });
      const secondMs = Date.now() - second0;
      assert.ok(await page.$('#tree-a [data-path="body.via_points[999]"]'), 'the second window ends at [999]');
      // The third goes on from where the second stopped (timed, not asserted).
      const third0 = Date.now();
      await (await page.$('#tree-a li.more[role=treeitem]')).click();
      await page.waitForFunction(() => !!document.querySelector('#tree-a [data-path="body.via_points[1499]"]'),
        { timeout: 30000 });
      const windows = `via list windows: the second ${secondMs} ms (the request walked to the list's end), ` +
        `the third ${Date.now() - third0} ms (resumed)\n`;
      fs.appendFileSync(path.join(b.OUT, 'large-input.txt'), windows);
      console.log(windows.trim());

      // Open the body and select its first field: the inflated pane.
      await selectByClick(page, 'a', 'body');
      await page.keyboard.press('ArrowRight');
      await page.waitForFunction(() => [...document.querySelectorAll('#tree-a [role=treeitem]')]
        .some((it) => it.dataset.path === 'body.start'), { timeout: 10000 });
      await selectByClick(page, 'a', 'body.start');
      assert.ok(await scrollToEnd(page, 'a:1', inflated - 1), `the inflated pane scrolls to offset ${inflated - 1}`);
      assert.ok(await renderedRows(page) < 500, 'hex rows after scrolling the inflated pane');
      assert.deepEqual(page.navreqErrors, [], 'page errors');
    } finally {
      await page.close();
    }
  });

  test('page file size', () => {
    const size = fs.statSync(b.PAGE).size;
    fs.mkdirSync(b.OUT, { recursive: true });
    fs.writeFileSync(path.join(b.OUT, 'page-size.txt'), `${size} bytes\n`);
    console.log(`navreq-inspector.html: ${size} bytes`);
    assert.ok(size <= MAX_PAGE_BYTES, `${size} bytes > ${MAX_PAGE_BYTES}`);
  });

  test('load time of the route example (measured, not asserted)', async () => {
    const runs = [];
    for (let i = 0; i < 5; i++) {
      const page = await b.newPage();
      try {
        await b.openPage(page, '#hex=' + b.hexOf('route'));
        await b.waitShown(page, 'a');
        const ms = await page.evaluate(() => window.navreqInspector.shownMs);
        assert.equal(typeof ms, 'number', 'navreqInspector.shownMs is a number');
        runs.push(ms);
      } finally {
        await page.close();
      }
    }
    const sorted = [...runs].sort((x, y) => x - y);
    const median = sorted[2];
    const text = `route example, navigation start to shown: median ${median.toFixed(1)} ms; ` +
      `runs ${runs.map((r) => r.toFixed(1)).join(', ')} ms\n`;
    fs.writeFileSync(path.join(b.OUT, 'load-time.txt'), text);
    console.log(text.trim());
  });

  test('screenshot: route with a body field selected', async () => {
    const page = await b.newPage(1400, 900);
    try {
      await b.openPage(page, '#hex=' + b.hexOf('route'));
      await b.waitShown(page, 'a');
      await page.evaluate(() => window.navreqInspector.expandAll('a'));
      await selectByClick(page, 'a', 'body.start.point.longitude');
      fs.mkdirSync(path.join(b.OUT, 'screenshots'), { recursive: true });
      const file = path.join(b.OUT, 'screenshots', 'route.png');
      await page.screenshot({ path: file });
      assert.ok(fs.statSync(file).size > 1000);
    } finally {
      await page.close();
    }
  });
});
