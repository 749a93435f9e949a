'use strict';
// The example requests: the whole tree against `navreq dump --json`, then a
// few chosen fields selected one by one, and selection by hovering bytes.

const { describe, test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const path = require('node:path');
const b = require('./lib/browser.cjs');
const { dumpJson, expectedTree, firstMismatch } = require('./lib/expect-tree.cjs');
const { checkSelection, selectByClick, describeMismatch } = require('./lib/actions.cjs');

const KINDS = ['route', 'refresh', 'location', 'plus', 'slice', 'navstop'];

// Three fields per example: an envelope field, one inside a carried record,
// one deep in the body (or payload).
const TRIOS = {
  route: ['cmd_name', 'header.imei', 'body.start.point.longitude'],
  refresh: ['cmd_name', 'header.imei', 'body.bucket.flag'],
  location: ['auth.imei', 'payload.session.request_time_s', 'payload.report.points[0]'],
  plus: ['cmd_name', 'header.identity_f', 'body.slices[0].slice_text'],
  slice: ['cmd_name', 'header.device_id', 'body.slices[0].slice_value2'],
  navstop: ['auth.imei', 'payload.value', 'payload_encoding'],
};

// Route's trio worked out by hand from route.dump.txt: cmd_name is @4+19 in
// the input; the Header's bytes are @31+232 holding 227 bytes, so its data
// starts at 31 + 232 - 227 = 36 and imei (@56+17 in it) at 92; the body is
// inflated into its own buffer, where start.point.longitude is @2+5.
const ROUTE_LITERALS = {
  cmd_name: { buffer: 'a:0', start: 4, len: 19 },
  'header.imei': { buffer: 'a:0', start: 92, len: 17 },
  'body.start.point.longitude': { buffer: 'a:1', start: 2, len: 5 },
};

describe('example requests', () => {
  const dumps = {};
  before(() => {
    for (const kind of KINDS) dumps[kind] = dumpJson(b.TOOL, path.join(b.GOLDEN, `${kind}.hex`));
  });

  for (const kind of KINDS) {
    describe(kind, () => {
      let page;
      let expected;
      before(async () => {
        expected = expectedTree(dumps[kind]);
        page = await b.newPage();
        await b.openPage(page, '#hex=' + b.hexOf(kind));
        await b.waitShown(page, 'a');
      });
      after(async () => {
        if (page) await page.close();
      });

      test('tree equals the dump', async () => {
        await page.evaluate(() => window.navreqInspector.expandAll('a'));
        const shown = await b.readTree(page, 'a');
        assert.ok(expected.items.length > 10, 'the dump walk found the fields');
        const m = firstMismatch(expected.items, shown.items);
        if (m) assert.fail(`${kind}: ${describeMismatch(m)}`);
        assert.deepEqual(shown.missing.map(({ parent, name, tag }) => ({ parent, name, tag })),
          expected.missing, `${kind}: missing fields`);
        assert.deepEqual(page.navreqErrors, [], 'page errors');
      });

      test('three fields select their bytes', async () => {
        await page.evaluate(() => window.navreqInspector.expandAll('a'));
        for (const p of TRIOS[kind]) {
          const want = expected.items.find((it) => it.path === p);
          assert.ok(want, `the dump has ${p}`);
          if (kind === 'route') {
            const lit = ROUTE_LITERALS[p];
            assert.deepEqual({ buffer: want.buffer, start: Number(want.start), len: Number(want.len) }, lit,
              `${p}: dump offsets against the hand-worked ones`);
          }
          await selectByClick(page, 'a', p);
          await checkSelection(page, 'a', want, `${kind} ${p}`);
        }
      });

      if (kind === 'route') {
        test('hovering a byte selects its innermost node', async () => {
          await page.evaluate(() => window.navreqInspector.expandAll('a'));
          const lon = expected.items.find((it) => it.path === 'body.start.point.longitude');
          // Bring the inflated pane up (and its first rows into view) by
          // selecting the neighbouring latitude (@7+5) first.
          await selectByClick(page, 'a', 'body.start.point.latitude');
          const cellSel = (buf, off) => `.hex-pane[data-buffer="${buf}"] [data-offset="${off}"]`;
          const inLon = await page.waitForSelector(cellSel('a:1', Number(lon.start) + 2), { timeout: 5000 });
          await inLon.hover();
          await page.waitForFunction(() => {
            const s = document.querySelector('#tree-a [role=treeitem][aria-selected=true]');
            return s && s.dataset.path === 'body.start.point.longitude';
          }, { timeout: 5000 }).catch(() => {});
          assert.deepEqual(await b.selectedPaths(page, 'a'), ['body.start.point.longitude'],
            'hover on inflated byte 4');
          await checkSelection(page, 'a', lon, 'hover longitude');

          // The Package's cmd is @1+3: its head is byte 1 of the input. Select
          // a field of the input first so that its pane is the one in view.
          const cmd = expected.items.find((it) => it.path === 'cmd');
          assert.deepEqual([cmd.buffer, cmd.start, cmd.len], ['a:0', '1', '3']);
          await selectByClick(page, 'a', 'cmd_name');
          const head = await page.waitForSelector(cellSel('a:0', 1), { timeout: 5000 });
          await head.hover();
          await page.waitForFunction(() => {
            const s = document.querySelector('#tree-a [role=treeitem][aria-selected=true]');
            return s && s.dataset.path === 'cmd';
          }, { timeout: 5000 }).catch(() => {});
          assert.deepEqual(await b.selectedPaths(page, 'a'), ['cmd'], 'hover on the cmd head');
          await checkSelection(page, 'a', cmd, 'hover cmd');
        });
      }
    });
  }
});

