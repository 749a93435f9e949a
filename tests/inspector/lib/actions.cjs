'use strict';
// Page actions and checks the suites share.

const assert = require('node:assert/strict');
const b = require('./browser.cjs');

function describeMismatch(m) {
  if (!m) return '';
  return `first mismatch at item ${m.index}${m.key ? ` (${m.key})` : ''}:\n` +
    `  expected ${JSON.stringify(m.expected)}\n  page     ${JSON.stringify(m.actual)}`;
}


// Clicks a treeitem's own label and returns what its pane shows.
async function selectByClick(page, side, p) {
  const item = await b.itemByPath(page, side, p);
  const label = await page.evaluateHandle((it) => {
    for (const el of it.querySelectorAll('.name')) if (el.closest('[role=treeitem]') === it) return el;
    return it;
  }, item);
  // The pointer leaves the hex panes first, as a person's would: resting on
  // a byte keeps that byte's node picked.
  await page.mouse.move(0, 0);
  await label.asElement().click();
  return item;
}


async function checkSelection(page, side, want, what) {
  const sel = await b.selectedPaths(page, side);
  assert.deepEqual(sel, [want.path], `${what}: aria-selected in #tree-${side}`);
  // The pane may scroll its rows in; give it a frame.
  await page.evaluate(() => new Promise((r) => requestAnimationFrame(() => requestAnimationFrame(r))));
  const pane = await b.paneSelection(page, want.buffer);
  assert.ok(pane, `${what}: no .hex-pane[data-buffer="${want.buffer}"]`);
  assert.ok(pane.visible, `${what}: the pane of ${want.buffer} is shown`);
  assert.equal(pane.start, String(want.start), `${what}: data-sel-start`);
  assert.equal(pane.len, String(want.len), `${what}: data-sel-len`);
  const rendered = await page.evaluate((buf, s, n) => {
    const pane = document.querySelector(`.hex-pane[data-buffer="${buf}"]`);
    const inRange = [...pane.querySelectorAll('[data-offset]')].map((c) => Number(c.dataset.offset))
      .filter((o) => o >= s && o < s + n);
    return [...new Set(inRange)].sort((x, y) => x - y);
  }, want.buffer, Number(want.start), Number(want.len));
  assert.ok(rendered.length > 0, `${what}: the selected bytes are not rendered (not scrolled into view)`);
  assert.deepEqual(pane.sel, rendered, `${what}: .sel cells must be exactly ${want.start}..${want.start + want.len - 1}`);
}


async function setInput(page, selector, text) {
  await page.focus(selector);
  await page.evaluate((sel, t) => {
    const el = document.querySelector(sel);
    el.value = '';
    el.focus();
    // Inserted as a paste or typing would: value changes and "input" fires.
    if (!document.execCommand('insertText', false, t)) {
      el.value = t;
      el.dispatchEvent(new Event('input', { bubbles: true }));
    }
  }, selector, text);
}


// Forgets the last "shown" so that the next decode can be waited for.
const forgetShown = (page) => page.evaluate(() => { delete document.body.dataset.shown; });

module.exports = { describeMismatch, selectByClick, checkSelection, setInput, forgetShown };
