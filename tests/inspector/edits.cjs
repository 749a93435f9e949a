'use strict';
// Damaged and edited requests: a route request cut short, and a one-field
// edit of it compared with the original.

const { describe, test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const b = require('./lib/browser.cjs');
const { RawNumber, dumpJson, expectedTree, firstMismatch, parseJsonKeepingNumbers, runTool } =
  require('./lib/expect-tree.cjs');
const { checkSelection, describeMismatch, setInput } = require('./lib/actions.cjs');

// The status line of side A: what the page says about the last decode.
async function statusText(page) {
  return page.evaluate(() => {
    const el = document.querySelector('#status-a') || document.querySelector('#panel-a [role=status]');
    return el ? el.textContent : '';
  });
}

// JSON text back from a tree read with parseJsonKeepingNumbers.
function stringifyRaw(v) {
  if (v instanceof RawNumber) return v.text;
  if (Array.isArray(v)) return '[' + v.map(stringifyRaw).join(',') + ']';
  if (v && typeof v === 'object') {
    return '{' + Object.entries(v).map(([k, x]) => JSON.stringify(k) + ':' + stringifyRaw(x)).join(',') + '}';
  }
  return JSON.stringify(v);
}

// The route request with body.start.point.longitude moved from 116378624
// to 116398624 (0.02 degrees east), packed by the tool.
function editedRoute(dir) {
  const a = path.join(b.GOLDEN, 'route.hex');
  const tree = parseJsonKeepingNumbers(runTool(b.TOOL, ['dump', '--json', a]));
  const body = tree.fields.find((f) => f.name === 'body');
  const start = body.kse.fields.find((f) => f.name === 'start');
  const point = start.fields.find((f) => f.name === 'point');
  const lon = point.fields.find((f) => f.name === 'longitude');
  assert.equal(lon.value.text, '116378624');
  lon.value = new RawNumber('116398624');
  const treeFile = path.join(dir, 'route-edited.tree.json');
  fs.writeFileSync(treeFile, stringifyRaw(tree));
  const out = path.join(dir, 'route-edited.bin');
  runTool(b.TOOL, ['pack', treeFile, '-o', out]);
  return { a, bFile: out, bytes: fs.readFileSync(out) };
}

describe('route cut short', () => {
  for (const n of [120, 263]) {
    // 120 ends inside the Header's bytes (@31+232): the Header does not
    // decode and its bytes stay undecoded. 263 ends right after the Header:
    // the Package then lacks its body (and what follows it).
    test(`first ${n} bytes`, async () => {
      const dir = b.tmpDir();
      const hex = b.hexOf('route').slice(0, 2 * n);
      const file = path.join(dir, `route-cut-${n}.hex`);
      fs.writeFileSync(file, hex + '\n');
      const doc = dumpJson(b.TOOL, file);
      const expected = expectedTree(doc);
      const page = await b.newPage();
      try {
        await b.openPage(page, '#hex=' + hex);
        await b.waitShown(page, 'a');
        await page.evaluate(() => window.navreqInspector.expandAll('a'));
        const shown = await b.readTree(page, 'a');
        const m = firstMismatch(expected.items, shown.items);
        if (m) assert.fail(describeMismatch(m));
        assert.deepEqual(shown.missing.map(({ parent, name, tag }) => ({ parent, name, tag })), expected.missing,
          'missing fields');
        for (const mi of shown.missing) assert.match(mi.text, /missing/, `missing item ${mi.name} says so`);
        if (n === 120) {
          assert.equal(expected.missing.length, 0);
          const und = shown.items.find((it) => it.path === '<undecoded>');
          assert.ok(und, 'the undecoded bytes are a tree node');
          assert.equal(und.start, '31');
          assert.equal(und.len, String(n - 31));
          assert.match(await statusText(page), /did not decode|not decoded|undecoded/i,
            'the status line says the request did not fully decode');
        } else {
          assert.deepEqual(expected.missing.map((x) => x.name), ['body', 'extras']);
          assert.match(await statusText(page), /missing/i, 'the status line names missing fields');
        }
      } finally {
        await page.close();
      }
    });
  }
});

describe('compare', () => {
  let page;
  let edit;
  before(async () => {
    edit = editedRoute(b.tmpDir());
    page = await b.newPage();
    await b.openPage(page, '#hex=' + b.hexOf('route'));
    await b.waitShown(page, 'a');
  });
  after(async () => {
    if (page) await page.close();
  });

  test('one-field edit: the difference, then both sides selected', async () => {
    const lines = runTool(b.TOOL, ['diff', edit.a, edit.bFile], [1]).split('\n').filter((l) => l !== '');
    assert.deepEqual(lines, ['body.start.point.longitude: 116378624 -> 116398624']);

    await setInput(page, '#input-b', edit.bytes.toString('hex'));
    await page.click('#load-b');
    await page.waitForFunction(() => document.querySelectorAll('#diff-list li[data-path]').length > 0,
      { timeout: 20000 });
    const shown = await page.$$eval('#diff-list li[data-path]', (els) =>
      els.map((e) => ({ path: e.dataset.path, text: e.textContent.trim() })));
    assert.deepEqual(shown.map((s) => s.text), lines, '#diff-list against navreq diff');
    assert.deepEqual(shown.map((s) => s.path), ['body.start.point.longitude']);

    // The tree of B against its own dump.
    const docB = dumpJson(b.TOOL, edit.bFile);
    const expB = expectedTree(docB, 'b');
    await page.evaluate(() => window.navreqInspector.expandAll('b'));
    const treeB = await b.readTree(page, 'b');
    const m = firstMismatch(expB.items, treeB.items);
    if (m) assert.fail('tree B: ' + describeMismatch(m));

    await page.click('#diff-list li[data-path]');
    const lonA = expectedTree(dumpJson(b.TOOL, edit.a), 'a').items.find((i) => i.path === 'body.start.point.longitude');
    const lonB = expB.items.find((i) => i.path === 'body.start.point.longitude');
    assert.deepEqual([lonA.buffer, lonA.start, lonA.len], ['a:1', '2', '5']);
    assert.deepEqual([lonB.buffer, lonB.start, lonB.len], ['b:1', '2', '5']);
    await checkSelection(page, 'a', lonA, 'diff activation, side A');
    await checkSelection(page, 'b', lonB, 'diff activation, side B');

    // Enter on the focused difference does the same.
    await b.itemByPath(page, 'a', 'cmd_name').then((el) => el.click());
    await page.focus('#diff-list li[data-path]');
    await page.keyboard.press('Enter');
    await checkSelection(page, 'a', lonA, 'Enter on the difference, side A');
    await checkSelection(page, 'b', lonB, 'Enter on the difference, side B');

    fs.mkdirSync(path.join(b.OUT, 'screenshots'), { recursive: true });
    await page.screenshot({ path: path.join(b.OUT, 'screenshots', 'route-compare.png') });
    assert.deepEqual(page.navreqErrors, [], 'page errors');
  });
});
