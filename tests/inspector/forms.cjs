'use strict';
// The ways to give the page a request (base64, xxd, a file, hex in the URL,
// broken hex, garbage), and the tree's keyboard behaviour.

const { describe, test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const b = require('./lib/browser.cjs');
const { dumpJson, expectedTree, firstMismatch } = require('./lib/expect-tree.cjs');
const { checkSelection, describeMismatch, selectByClick, setInput, forgetShown } = require('./lib/actions.cjs');

describe('input forms', () => {
  let page;
  let expected;
  const routeHex = b.hexOf('route');
  before(async () => {
    expected = expectedTree(dumpJson(b.TOOL, path.join(b.GOLDEN, 'route.hex')));
    page = await b.newPage();
    await b.openPage(page);
  });
  after(async () => {
    if (page) await page.close();
  });

  async function treeMatches(what) {
    await page.evaluate(() => window.navreqInspector.expandAll('a'));
    const shown = await b.readTree(page, 'a');
    const m = firstMismatch(expected.items, shown.items);
    if (m) assert.fail(`${what}: ${describeMismatch(m)}`);
  }

  test('base64 pasted into #input-a', async () => {
    await forgetShown(page);
    await setInput(page, '#input-a', Buffer.from(routeHex, 'hex').toString('base64'));
    await b.waitShown(page, 'a');
    await treeMatches('base64');
    const hash = await page.evaluate(() => location.hash);
    assert.equal(hash, '#hex=' + routeHex, 'the fragment carries the request as lowercase hex');
  });

  test('upper-case hex with spaces is read as hex', async () => {
    await forgetShown(page);
    const spaced = routeHex.toUpperCase().replace(/(.{32})/g, '$1 \n');
    await setInput(page, '#input-a', spaced);
    await b.waitShown(page, 'a');
    await treeMatches('spaced hex');
    assert.equal(await page.evaluate(() => location.hash), '#hex=' + routeHex);
  });

  test('xxd output pasted is read as navreq dump reads it', async () => {
    await forgetShown(page);
    const bytes = Buffer.from(routeHex, 'hex');
    let xxd = '';
    for (let row = 0; row < bytes.length; row += 16) {
      const slice = bytes.subarray(row, row + 16);
      const groups = slice.toString('hex').match(/.{1,4}/g).join(' ');
      const chars = [...slice].map((c) => (c >= 32 && c < 127 ? String.fromCharCode(c) : '.')).join('');
      xxd += row.toString(16).padStart(8, '0') + ': ' + groups.padEnd(39) + '  ' + chars + '\n';
    }
    await setInput(page, '#input-a', xxd);
    await b.waitShown(page, 'a');
    await treeMatches('xxd');
    assert.equal(await page.evaluate(() => location.hash), '#hex=' + routeHex);
  });

  test('a broken paste is an error naming the form and where', async () => {
    await setInput(page, '#input-a', routeHex.slice(1));
    await page.waitForFunction(() => document.querySelector('#message-a').textContent.trim() !== '', { timeout: 5000 });
    const text = await page.$eval('#message-a', (e) => e.textContent.trim());
    assert.equal(text, `Pasted hex text with an odd number of digits (${routeHex.length - 1}) ending at line 1, ` +
      `column ${routeHex.length}.`);
    assert.equal(await page.evaluate(() => location.hash), '#hex=' + routeHex, 'the request shown stays');
  });

  test('binary file given to #file-a', async () => {
    // Start from another request so that the file's tree is a change.
    await forgetShown(page);
    await setInput(page, '#input-a', b.hexOf('navstop'));
    await b.waitShown(page, 'a');
    const file = path.join(b.tmpDir(), 'route.bin');
    fs.writeFileSync(file, Buffer.from(routeHex, 'hex'));
    await forgetShown(page);
    const input = await page.$('#file-a');
    assert.ok(input, '#file-a exists');
    await input.uploadFile(file);
    await b.waitShown(page, 'a');
    await treeMatches('file');
    assert.equal(await page.evaluate(() => location.hash), '#hex=' + routeHex);
  });

  test('garbage text shows an error', async () => {
    await setInput(page, '#input-a', 'this is not a request!');
    await page.waitForFunction(() => {
      const m = document.querySelector('#message-a');
      return m && m.textContent.trim() !== '';
    }, { timeout: 5000 }).catch(() => {});
    const msg = await page.$eval('#message-a', (e) => ({ text: e.textContent.trim(), role: e.getAttribute('role') }));
    assert.notEqual(msg.text, '', '#message-a explains the input error');
    assert.equal(msg.role, 'alert');
  });
});

// Where keyboard focus is in a tree: the focused treeitem, or the one the
// tree names as its active descendant.
async function focusedPath(page) {
  return page.evaluate(() => {
    let el = document.activeElement;
    if (el && el.getAttribute('aria-activedescendant')) {
      el = document.getElementById(el.getAttribute('aria-activedescendant'));
    }
    const item = el && el.closest('[role=treeitem]');
    return item ? item.dataset.path : null;
  });
}

const expandedOf = (page, p) => page.evaluate((want) => {
  for (const it of document.querySelectorAll('#tree-a [role=treeitem]')) {
    if (it.dataset.path === want) return it.getAttribute('aria-expanded');
  }
  return 'no such item';
}, p);

// The route example open in a page of its own, for one describe block.
function withRoutePage() {
  const holder = { page: null };
  before(async () => {
    holder.page = await b.newPage();
    await b.openPage(holder.page, '#hex=' + b.hexOf('route'));
    await b.waitShown(holder.page, 'a');
  });
  after(async () => {
    if (holder.page) await holder.page.close();
  });
  return holder;
}

describe('keyboard', () => {
  const route = withRoutePage();

  test('Tab reaches the tree; arrows, Home, End, Enter, *', async () => {
    const { page } = route;
    const hasDeep = () => page.evaluate(() => [...document.querySelectorAll('#tree-a [role=treeitem]')]
      .some((it) => it.dataset.path === 'body.start.point.longitude'));
    assert.equal(await hasDeep(), false, 'children render only when expanded');
    let inTree = false;
    for (let i = 0; i < 40 && !inTree; i++) {
      await page.keyboard.press('Tab');
      inTree = await page.evaluate(() => !!document.activeElement.closest('#tree-a'));
    }
    assert.ok(inTree, 'Tab reaches #tree-a');
    const key = async (k) => {
      await page.keyboard.press(k);
      return focusedPath(page);
    };
    assert.equal(await key('Home'), 'version', 'Home: first node');
    assert.equal(await key('ArrowDown'), 'cmd');
    assert.equal(await key('ArrowDown'), 'cmd_name');
    assert.equal(await key('ArrowUp'), 'cmd');
    for (let i = 0; i < 6; i++) await key('ArrowDown');
    assert.equal(await focusedPath(page), 'header');

    if ((await expandedOf(page, 'header')) === 'true') {
      assert.equal(await key('ArrowLeft'), 'header', 'Left on an open node collapses it, focus stays');
    }
    assert.equal(await expandedOf(page, 'header'), 'false');
    assert.equal(await key('ArrowDown'), 'body', 'Down skips a collapsed subtree');
    assert.equal(await key('ArrowUp'), 'header');
    assert.equal(await key('ArrowRight'), 'header', 'Right on a closed node expands it, focus stays');
    assert.equal(await expandedOf(page, 'header'), 'true');
    assert.equal(await key('ArrowRight'), 'header.identity_number', 'Right on an open node: first child');
    assert.equal(await key('ArrowLeft'), 'header', 'Left on a leaf: its parent');
    assert.equal(await key('ArrowLeft'), 'header', 'Left on an open node: collapse, focus stays');
    assert.equal(await expandedOf(page, 'header'), 'false', 'Left collapses');

    const last = await page.evaluate(() => {
      const visible = [...document.querySelectorAll('#tree-a [role=treeitem]')].filter((it) => {
        for (let p = it.parentElement.closest('[role=treeitem]'); p; p = p.parentElement.closest('[role=treeitem]')) {
          if (p.getAttribute('aria-expanded') !== 'true') return false;
        }
        return true;
      });
      return visible[visible.length - 1].dataset.path;
    });
    assert.equal(await key('End'), last, 'End: last visible node');

    await key('Home');
    for (let i = 0; i < 8; i++) await key('ArrowDown');
    assert.equal(await focusedPath(page), 'body');
    await page.keyboard.press('Enter');
    assert.deepEqual(await b.selectedPaths(page, 'a'), ['body'], 'Enter selects');
    // The body's bytes in the input: @263+1188 (route.dump.txt).
    await checkSelection(page, 'a', { path: 'body', buffer: 'a:0', start: 263, len: 1188 }, 'Enter on body');
    await key('ArrowUp');
    await page.keyboard.press(' ');
    assert.deepEqual(await b.selectedPaths(page, 'a'), ['header'], 'Space selects');
    // The Header's bytes: @31+232.
    await checkSelection(page, 'a', { path: 'header', buffer: 'a:0', start: 31, len: 232 }, 'Space on header');
    assert.equal(await focusedPath(page), 'header', 'selecting keeps the focus');

    await key('ArrowDown');
    await page.keyboard.press('*');
    const closed = await page.evaluate(() => {
      const body = [...document.querySelectorAll('#tree-a [role=treeitem]')].find((it) => it.dataset.path === 'body');
      return [body, ...body.querySelectorAll('[role=treeitem][aria-expanded]')]
        .filter((it) => it.getAttribute('aria-expanded') !== 'true').map((it) => it.dataset.path);
    });
    assert.deepEqual(closed, [], '* expands everything below the focused node');
    assert.ok(await hasDeep(), '* rendered the deep nodes');
  });
});

describe('pointer and keyboard', () => {
  const route = withRoutePage();

  test('a pointer resting on the hex pane leaves the keyboard in charge', async () => {
    const { page } = route;
    await selectByClick(page, 'a', 'version');
    const cell = await page.$('.hex-pane[data-buffer="a:0"] [data-offset="1"]');
    const box = await cell.boundingBox();
    await page.mouse.move(box.x + box.width / 2, box.y + box.height / 2);
    await page.waitForFunction(() => {
      const sel = document.querySelector('#tree-a [role=treeitem][aria-selected=true]');
      return sel && sel.dataset.path === 'cmd';
    }, { timeout: 5000 });
    // The keyboard picks a node at the far end: the pane scrolls its bytes
    // under the pointer, which has not moved.
    await page.evaluate(() => [...document.querySelectorAll('#tree-a [role=treeitem]')]
      .find((it) => it.dataset.path === 'extras').focus());
    await page.keyboard.press('Enter');
    for (let i = 0; i < 4; i++) {
      await page.evaluate(() => new Promise((r) => requestAnimationFrame(() => requestAnimationFrame(r))));
    }
    assert.deepEqual(await b.selectedPaths(page, 'a'), ['extras'], 'the selection stays where the keyboard put it');
    await page.mouse.move(0, 0);
  });
});
