'use strict';
// The page stays responsive while the module works: the module runs in a
// worker, so a key pressed while a large request decodes is handled before
// the tree comes, and frames keep coming. The figures are measured and
// written down (build/inspector/responsiveness.txt), not asserted. A second
// input given while the first still decodes wins over it.

const { describe, test } = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const b = require('./lib/browser.cjs');
const { runTool } = require('./lib/expect-tree.cjs');
const { forgetShown } = require('./lib/actions.cjs');

const VIA_POINTS = 50000;

// A route request with VIA_POINTS via points (as size.cjs makes it), as a file.
function bigRoute() {
  const dir = b.tmpDir();
  const bin = path.join(dir, 'route-responsive.bin');
  const example = JSON.parse(fs.readFileSync(path.join(__dirname, '..', '..', 'examples', 'route.json'), 'utf8'));
  example.param.viaPoints = Array.from({ length: VIA_POINTS }, (_, i) => ({
    latitude: 39 + (i % 1000) / 1000, longitude: 116 + Math.floor(i / 1000) / 100, primaryText: `via ${i}`, pointType: 3,
  }));
  const json = path.join(dir, 'route-responsive.json');
  fs.writeFileSync(json, JSON.stringify(example));
  runTool(b.TOOL, ['encode', 'route', json, '--now-ms', '1700000000000', '-o', bin]);
  return bin;
}

// Starts recording in the page: the time between animation frames, and the
// keys the tree handles together with whether the tree had come yet.
const startProbe = (page) => page.evaluate(() => {
  const p = { gaps: [], keys: [], last: performance.now(), running: true };
  window.navreqProbe = p;
  const tick = (t) => {
    p.gaps.push(t - p.last);
    p.last = t;
    if (p.running) requestAnimationFrame(tick);
  };
  requestAnimationFrame(tick);
  document.addEventListener('keydown', (e) => {
    p.keys.push({ key: e.key, shown: document.body.dataset.shown === 'a', status: document.querySelector('#status-a').textContent });
  }, true);
});

const stopProbe = (page) => page.evaluate(() => {
  const p = window.navreqProbe;
  p.running = false;
  return { gaps: p.gaps, keys: p.keys };
});

// Milliseconds until the page runs a frame callback, asked from outside.
const frameRoundTrip = async (page) => {
  const t0 = process.hrtime.bigint();
  await page.evaluate(() => new Promise((r) => requestAnimationFrame(() => r())));
  return Number(process.hrtime.bigint() - t0) / 1e6;
};

const decoding = (page) => page.evaluate(() => document.body.dataset.shown !== 'a');

describe('responsiveness', () => {
  let bin;
  test('a large request decodes while the page answers keys and frames', async () => {
    bin = bigRoute();
    const size = fs.statSync(bin).size;
    const page = await b.newPage();
    try {
      await b.openPage(page, '#hex=' + b.hexOf('route'));
      await b.waitShown(page, 'a');
      const workers = page.workers().length;
      await (await b.itemByPath(page, 'a', 'cmd_name')).focus();
      await forgetShown(page);
      await startProbe(page);
      const t0 = Date.now();
      await (await page.$('#file-a')).uploadFile(bin);
      await page.waitForFunction(() => /Decoding/.test(document.querySelector('#status-a').textContent),
        { timeout: 10000 });

      // While the module decodes: key presses (each one's time until the
      // page has handled it) and frame round trips.
      const keyMs = [];
      const frameMs = [];
      while (await decoding(page) && keyMs.length < 20) {
        const k0 = process.hrtime.bigint();
        await page.keyboard.press(keyMs.length % 2 ? 'ArrowUp' : 'ArrowDown');
        keyMs.push(Number(process.hrtime.bigint() - k0) / 1e6);
        frameMs.push(await frameRoundTrip(page));
      }
      await b.waitShown(page, 'a', 90000);
      const loadMs = Date.now() - t0;
      const probe = await stopProbe(page);
      const during = probe.keys.filter((k) => !k.shown);
      const maxGap = Math.max(...probe.gaps);
      const slow = probe.gaps.filter((g) => g > 100).length;

      // The via list's next window: the module walks the request again.
      await page.evaluate(() => window.navreqInspector.expandAll('a'));
      const more = await page.waitForSelector('#tree-a li.more[role=treeitem]', { timeout: 10000 });
      // The expanded tree's first layout is not the window's: let it pass.
      // (Enter rather than a click: a pointer's hit test on a tree of
      // 125,000 elements costs a frame of its own.)
      await more.focus();
      await frameRoundTrip(page);
      await frameRoundTrip(page);
      await startProbe(page);
      const w0 = Date.now();
      await page.keyboard.press('Enter');
      const windowFrames = [];
      while (windowFrames.length < 20 && await page.evaluate(() => !document.querySelector('#tree-a [data-path="body.via_points[999]"]'))) {
        windowFrames.push(await frameRoundTrip(page));
      }
      await page.waitForSelector('#tree-a [data-path="body.via_points[999]"]', { timeout: 30000 });
      const windowMs = Date.now() - w0;
      const wprobe = await stopProbe(page);
      const fmt = (list) => (list.length ? list.map((x) => x.toFixed(0)).join(', ') : 'none');
      const note = `route with ${VIA_POINTS} via points (${size} bytes), file given to shown ${loadMs} ms; ` +
        `module in a worker: ${workers > 0 ? 'yes' : 'no'}\n` +
        `while decoding: ${during.length} key presses handled before the tree came, each handled in ${fmt(keyMs)} ms; ` +
        `frame round trips ${fmt(frameMs)} ms\n` +
        `frames from the file to the tree: ${probe.gaps.length}, longest gap ${maxGap.toFixed(0)} ms, ` +
        `${slow} gaps over 100 ms (the tree's JSON is read and rendered on the page)\n` +
        `next window of 500 via points: Enter to rendered ${windowMs} ms; frame round trips meanwhile ` +
        `${fmt(windowFrames)} ms; longest gap between frames ${Math.max(...wprobe.gaps).toFixed(0)} ms\n`;
      fs.writeFileSync(path.join(b.OUT, 'responsiveness.txt'), note);
      console.log(note.trim());

      assert.ok(workers > 0, 'the module runs in a worker');
      assert.ok(keyMs.length > 0, 'the module was still decoding when the first key was pressed');
      assert.ok(during.length > 0, 'a key pressed while decoding was handled before the tree came');
      assert.ok(during.every((k) => /Decoding/.test(k.status)), 'meanwhile the status says it decodes');
      assert.ok(windowFrames.length > 0, 'frames came while the next window loaded');
      assert.deepEqual(page.navreqErrors, [], 'page errors');
    } finally {
      await page.close();
    }
  });

  test('a second input given while the first decodes is the one shown', async () => {
    const page = await b.newPage();
    try {
      await b.openPage(page);
      await forgetShown(page);
      await (await page.$('#file-a')).uploadFile(bin || bigRoute());
      await page.waitForFunction(() => /Decoding/.test(document.querySelector('#status-a').textContent),
        { timeout: 10000 });
      const small = [...Buffer.from(b.hexOf('refresh'), 'hex')];
      await page.evaluate((bytes) => { window.navreqInspector.load('a', new Uint8Array(bytes)); }, small);
      await b.waitShown(page, 'a', 90000);
      // A comparison is queued behind both decodes: once it is listed, the
      // large request's answer has come (and been dropped) too.
      await page.evaluate((bytes) => window.navreqInspector.load('b', new Uint8Array(bytes)), small);
      await page.waitForFunction(() => /No differences/.test(document.querySelector('#diff-summary').textContent),
        { timeout: 90000 });
      const state = await page.evaluate(() => ({
        shown: document.body.dataset.shown,
        vias: document.querySelectorAll('#tree-a [data-path^="body.via_points"]').length,
        status: document.querySelector('#status-a').textContent,
        input: document.querySelector('#input-a').value,
      }));
      assert.equal(state.shown, 'a');
      assert.equal(state.vias, 0, 'tree A shows no via point of the large request');
      assert.match(state.status, new RegExp(`\\b${small.length} bytes\\b`), 'the status line counts the second input\'s bytes');
      assert.equal(state.input, b.hexOf('refresh'), 'the text box shows the second input');
      assert.deepEqual(page.navreqErrors, [], 'page errors');
    } finally {
      await page.close();
    }
  });
});
