'use strict';
// One headless Chromium for the whole run, and the page-side readers the
// tests share. The page must work offline: any request that is not file://
// or data: is recorded and fails the run.

const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const puppeteer = require('puppeteer-core');

function env(name) {
  const v = process.env[name];
  if (!v) throw new Error(`${name} is not set (run through scripts/test-inspector.sh)`);
  return v;
}

const PAGE = path.resolve(env('NAVREQ_INSPECTOR_PAGE'));
const TOOL = path.resolve(env('NAVREQ_TOOL'));
const GOLDEN = path.resolve(env('NAVREQ_GOLDEN_DIR'));
const OUT = path.resolve(env('NAVREQ_INSPECTOR_OUT'));
const PAGE_URL = 'file://' + PAGE;

let browser = null;
let profileDir = null;
const offline = []; // requests that left file:// and data:

async function launch() {
  profileDir = fs.mkdtempSync(path.join(os.tmpdir(), 'navreq-inspector-profile-'));
  const dir = profileDir;
  process.once('exit', () => fs.rmSync(dir, { recursive: true, force: true }));
  browser = await puppeteer.launch({
    executablePath: process.env.NAVREQ_CHROMIUM || '/usr/bin/chromium',
    headless: true,
    args: [
      '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync',
      `--user-data-dir=${profileDir}`,
    ],
  });
  return browser;
}

async function close() {
  if (browser) await browser.close();
  browser = null;
  if (profileDir) fs.rmSync(profileDir, { recursive: true, force: true });
  profileDir = null;
}

// A new tab that records every request outside file:// and data:, and the
// page's uncaught errors.
async function newPage(width = 1400, height = 900) {
  const page = await browser.newPage();
  await page.setViewport({ width, height });
  page.navreqErrors = [];
  page.on('request', (req) => {
    const url = req.url();
    if (!url.startsWith('file://') && !url.startsWith('data:')) offline.push(url);
  });
  page.on('pageerror', (err) => page.navreqErrors.push(String(err && err.message ? err.message : err)));
  return page;
}

// Opens the page (with an optional fragment) and waits for the module.
async function openPage(page, fragment = '') {
  await page.goto(PAGE_URL + fragment, { waitUntil: 'load' });
  await page.waitForFunction(() => document.body.dataset.state === 'ready', { timeout: 20000 });
}

async function waitShown(page, side = 'a', timeout = 20000) {
  await page.waitForFunction((s) => document.body.dataset.shown === s ||
      (document.body.dataset.shown || '').split(/[ ,]/).includes(s), { timeout }, side);
}

// Every treeitem of a tree, in document order, with what its label shows.
// A label's parts are the ones whose nearest treeitem is the item itself
// (children render inside their parent's element).
async function readTree(page, side = 'a') {
  return page.evaluate((s) => {
    const own = (item, cls) => {
      for (const el of item.querySelectorAll('.' + cls)) {
        if (el.closest('[role=treeitem]') === item) return el.textContent;
      }
      return null;
    };
    const items = [];
    const missing = [];
    for (const item of document.querySelectorAll(`#tree-${s} [role=treeitem]`)) {
      const parentItem = item.parentElement ? item.parentElement.closest('[role=treeitem]') : null;
      if (item.classList.contains('missing')) {
        missing.push({
          parent: parentItem ? parentItem.dataset.path : '',
          name: item.dataset.name, tag: Number(item.dataset.tag), text: item.textContent,
        });
        continue;
      }
      items.push({
        path: item.dataset.path, name: own(item, 'name') ?? '', type: own(item, 'type') ?? '',
        value: own(item, 'value') ?? '', at: own(item, 'at') ?? '', dataAt: item.dataset.at, len: item.dataset.len,
        buffer: item.dataset.buffer, start: item.dataset.start, problem: own(item, 'problem') ?? '',
      });
    }
    return { items, missing };
  }, side);
}

// The treeitem element handle with that path.
async function itemByPath(page, side, p) {
  const h = await page.evaluateHandle((s, want) => {
    for (const item of document.querySelectorAll(`#tree-${s} [role=treeitem]`)) {
      if (item.dataset.path === want) return item;
    }
    return null;
  }, side, p);
  const el = h.asElement();
  if (!el) throw new Error(`no treeitem ${p} in #tree-${side}`);
  return el;
}

// What a hex pane shows as selected: its data-sel-* and the rendered .sel cells.
async function paneSelection(page, buffer) {
  return page.evaluate((b) => {
    const pane = document.querySelector(`.hex-pane[data-buffer="${b}"]`);
    if (!pane) return null;
    const cells = [...pane.querySelectorAll('[data-offset].sel')].map((c) => Number(c.dataset.offset));
    return {
      visible: pane.getClientRects().length > 0 && getComputedStyle(pane).visibility !== 'hidden',
      start: pane.dataset.selStart, len: pane.dataset.selLen,
      sel: [...new Set(cells)].sort((x, y) => x - y),
    };
  }, buffer);
}

async function selectedPaths(page, side) {
  return page.evaluate((s) => [...document.querySelectorAll(`#tree-${s} [role=treeitem][aria-selected=true]`)]
    .map((e) => e.dataset.path), side);
}

function hexOf(kind) {
  return fs.readFileSync(path.join(GOLDEN, `${kind}.hex`), 'utf8').trim().toLowerCase();
}

function tmpDir() {
  const d = path.join(OUT, 'tmp');
  fs.mkdirSync(d, { recursive: true });
  return d;
}

module.exports = {
  PAGE, PAGE_URL, TOOL, GOLDEN, OUT, offline, launch, close, newPage, openPage, waitShown, readTree,
  itemByPath, paneSelection, selectedPaths, hexOf, tmpDir, getBrowser: () => browser,
};
