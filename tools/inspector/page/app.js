'use strict';
// Wires the page: inputs (paste, file, drop, URL fragment), the two sides
// (tree, hex panes, status, details), the differences, and the test hooks.
(function (NR) {
  const DETAIL_SHOWN = 65536; // characters of a value shown in the details
  const INPUT_SHOWN = 262144; // bytes shown as hex in the text box after a load
  const FRAGMENT_MAX = 2000000; // longest #hex= the page writes into the URL
  let engine = null;
  let lastHar = null; // the side whose HAR file the module holds
  const textEncoder = new TextEncoder();
  // The module starts at once (its text stands before this script), while
  // the rest of the page is still being read.
  const engineStarting = NR.Engine.start((document.getElementById('navreq-module') || {}).textContent || '');
  const ready = [];
  const $ = (id) => document.getElementById(id);

  class Side {
    constructor(letter) {
      this.letter = letter;
      this.input = $('input-' + letter);
      this.file = $('file-' + letter);
      this.button = $('load-' + letter);
      this.message = $('message-' + letter);
      this.statusEl = $('status-' + letter);
      this.detail = $('detail-' + letter);
      this.tabs = $('tabs-' + letter);
      this.panesEl = $('panes-' + letter);
      this.panel = $('panel-' + letter);
      this.harList = new NR.HarList($('har-' + letter), (index) => this.pickHar(index));
      this.doc = null;
      this.panes = new Map();
      this.active = null;
      this.tree = new NR.TreeView($('tree-' + letter), (node, origin) => this.nodeSelected(node, origin));
      this.timer = 0;
      this.generation = 0; // loads begun; only the latest one's result is shown
      this.loading = Promise.resolve(false);

      this.input.addEventListener('input', () => {
        clearTimeout(this.timer);
        this.timer = setTimeout(() => this.fromText(true), 150);
      });
      this.button.addEventListener('click', () => this.fromText(true));
      this.file.addEventListener('change', () => {
        if (this.file.files && this.file.files[0]) this.fromFile(this.file.files[0]);
      });
      this.panel.addEventListener('dragover', (e) => {
        e.preventDefault();
        this.panel.classList.add('dragging');
      });
      this.panel.addEventListener('dragleave', (e) => {
        if (!this.panel.contains(e.relatedTarget)) this.panel.classList.remove('dragging');
      });
      this.panel.addEventListener('drop', (e) => {
        e.preventDefault();
        this.panel.classList.remove('dragging');
        const f = e.dataTransfer && e.dataTransfer.files && e.dataTransfer.files[0];
        if (f) this.fromFile(f);
        else if (e.dataTransfer) {
          const text = e.dataTransfer.getData('text/plain');
          if (text) {
            this.input.value = text;
            this.fromText(true);
          }
        }
      });
    }

    // Shows loaded bytes as hex in the text box; a very long text is left
    // out (the box would cost more than the tree).
    showInput(bytes, from) {
      if (bytes.length <= INPUT_SHOWN) {
        this.input.value = NR.bytesToHex(bytes);
      } else {
        this.input.value = '';
        this.input.placeholder = (from || 'input') + ': ' + bytes.length + ' bytes loaded (too long to show here)';
      }
    }

    error(text) {
      this.message.textContent = text;
      this.message.hidden = !text;
    }

    // What was pasted or typed: text in any of the forms the module reads.
    fromText(updateUrl) {
      clearTimeout(this.timer);
      return this.read(textEncoder.encode(this.input.value), 'text', { updateUrl, what: 'Pasted ' });
    }

    // A file: raw bytes, or a request written as text, as `navreq dump` reads it.
    fromFile(file) {
      const reader = new FileReader();
      reader.onload = () => {
        this.read(new Uint8Array(reader.result), 'detect', { updateUrl: true, fileName: file.name, show: true,
          what: file.name + ': ' });
      };
      reader.onerror = () => this.error(file.name + ': the file could not be read.');
      reader.readAsArrayBuffer(file);
    }

    // Reads the request in an input with the module's one reader of inputs
    // (mode: detect, text or hex), then decodes it. A broken text is shown
    // as the module words it, after `how.what`. A newer input of this side
    // replaces one still being read.
    read(input, mode, how) {
      if (!engine) {
        this.loading = new Promise((resolve) => ready.push(() => resolve(this.read(input, mode, how))));
        return this.loading;
      }
      ++this.generation;
      const load = this.letter + ':' + this.generation;
      const stale = () => load !== this.letter + ':' + this.generation;
      // A HAR file is read by the library's HAR reader in the module; any
      // other input by its reader of inputs.
      const har = mode === 'hex' ? Promise.resolve(null) : engine.har(input, { load, stale });
      const done = har.then((h) => {
        if (stale()) return false;
        if (h) return this.showHar(h, input, how);
        this.harList.hide();
        return engine.readInput(input, mode, { load, stale }).then((r) => {
          if (stale()) return false;
          if (r.error) {
            this.error((how.what || '') + r.error.message + '.');
            return false;
          }
          if (how.show) this.showInput(r.bytes, how.fileName);
          return this.load(r.bytes, how.updateUrl, how.fileName);
        });
      }).catch((e) => {
        if (!NR.isStale(e) && !stale()) this.error('The input could not be read: ' + (e && e.message ? e.message : e));
        return false;
      });
      this.loading = done;
      return done;
    }

    // Lists a HAR file's entries and shows its first request.
    showHar(h, input, how) {
      this.harList.hide();
      if (h.error) {
        this.error((how.what || '') + h.error + '.');
        return false;
      }
      const first = this.harList.show(h.entries, how.fileName || 'HAR', input);
      lastHar = this;
      if (first === null) {
        this.error((how.what || '') + 'no entry of the HAR file holds a request.');
        return false;
      }
      return this.pickHar(first);
    }

    // Shows entry `index` of the listed HAR file as any request.
    async pickHar(index) {
      const file = this.harList.file;
      if (!file) return false;
      // The module keeps the HAR file read last: the other side's may have replaced this one.
      if (lastHar !== this) {
        await engine.har(file.input);
        lastHar = this;
      }
      const bytes = await engine.harEntry(index);
      if (this.harList.file !== file) return false;
      if (!bytes) {
        this.error(file.name + ': entry ' + index + ' holds no request.');
        return false;
      }
      this.harList.mark(index);
      this.showInput(bytes, file.name + '#' + index);
      return this.load(bytes, true, file.name + '#' + index);
    }

    // Decodes bytes with the module and shows them. Resolves to true once
    // the tree is rendered, false when the load failed or a newer load of
    // this side replaced it (its result, if any, is dropped).
    load(bytes, updateUrl, fileName) {
      if (!engine) {
        this.loading = new Promise((resolve) => ready.push(() => resolve(this.load(bytes, updateUrl, fileName))));
        return this.loading;
      }
      if (bytes.length === 0) {
        this.error('Nothing to decode: the input is empty.');
        return Promise.resolve(false);
      }
      this.error('');
      if (this.letter === 'a') delete document.body.dataset.shown;
      else delete document.body.dataset.shownB;
      // Every call of this load, and its answer, carries `load`: an answer
      // for an older one than the side's latest is dropped.
      const current = () => this.letter + ':' + this.generation;
      ++this.generation;
      const load = current();
      const stale = () => load !== current();
      this.statusEl.textContent = 'Decoding ' + bytes.length + ' bytes\u2026';
      this.setBusy(true);
      const done = engine.inspect(bytes, { load, stale }).then(async (result) => {
        const doc = new NR.Doc(this.letter, bytes, result, engine, load);
        if (result.load !== current()) {
          doc.release();
          return false;
        }
        await doc.inflateAll();
        if (stale()) {
          doc.release();
          return false;
        }
        this.show(doc, fileName, result.timings);
        if (updateUrl && this.letter === 'a') writeFragment(bytes);
        App.compare();
        return true;
      }).catch((e) => {
        if (!NR.isStale(e) && !stale()) this.error('The decoder failed: ' + (e && e.message ? e.message : e));
        return false;
      }).finally(() => {
        if (!stale()) this.setBusy(false);
      });
      this.loading = done;
      return done;
    }

    setBusy(busy) {
      this.panel.setAttribute('aria-busy', String(busy));
      this.panel.classList.toggle('busy', busy);
    }

    // Resolves when the latest load and the windows asked for are rendered.
    settled() {
      return this.loading.then(() => this.tree.settled());
    }

    show(doc, fileName, timings) {
      if (this.doc) this.doc.release();
      this.doc = doc;
      this.buildPanes();
      this.tree.show(doc);
      // Open the top level's small containers (header, body) to start with.
      for (const n of doc.root.children()) {
        if (n.el && n.expandable && n.children().length <= 200) this.tree.expand(n.el);
      }
      this.showStatus(fileName, timings);
      this.detail.textContent = '';
      if (this.letter === 'a') {
        document.body.dataset.shown = 'a';
        api.shownMs = performance.now();
      } else {
        document.body.dataset.shownB = 'b';
      }
    }

    showStatus(fileName, t) {
      const doc = this.doc;
      const tree = doc.tree;
      const parts = [];
      if (fileName) parts.push(fileName);
      parts.push(tree.record ? tree.record : (tree.size === 0 ? 'empty input' : 'no envelope recognised'));
      const cmd = doc.commandName();
      if (cmd) parts.push(cmd);
      parts.push(doc.bytes.length + ' bytes' + (tree.gzip === undefined ? '' : tree.inflated !== undefined ? ' (gzip, ' + tree.inflated + ' inflated)' : ' (gzip)'));
      if (tree.error !== undefined) parts.push(tree.error);
      parts.push(doc.statusText() + ' (status ' + doc.status + ')');
      this.statusEl.textContent = parts.join(' \u00b7 ');
      if (t) {
        this.statusEl.title = 'decoded in ' + Math.round(t.decode) + ' ms, tree of ' + t.json +
          ' bytes of JSON read in ' + Math.round(t.parse) + ' ms';
      }
      this.statusEl.dataset.status = String(doc.status);
    }

    buildPanes() {
      for (const p of this.panes.values()) p.resizeObserver.disconnect();
      this.panes.clear();
      this.panesEl.textContent = '';
      this.tabs.textContent = '';
      this.active = null;
      for (const b of this.doc.buffers) {
        const pane = new NR.HexPane(b.id, b.label, (off, how) => this.bytePicked(b.id, off, how));
        pane.el.hidden = true;
        this.panes.set(b.id, pane);
        this.panesEl.appendChild(pane.el);
        const tab = document.createElement('button');
        tab.type = 'button';
        tab.className = 'pane-tab';
        tab.dataset.buffer = b.id;
        tab.setAttribute('aria-pressed', 'false');
        tab.textContent = b.label + ' \u00b7 ' + b.size + ' B';
        tab.addEventListener('click', () => this.activate(b.id));
        this.tabs.appendChild(tab);
      }
      this.tabs.hidden = this.doc.buffers.length < 2;
      this.activate(this.doc.topBuffer);
    }

    // Shows one buffer's pane (inflating it the first time: the pane says so
    // until the bytes come, then shows them with the selection it holds).
    activate(id) {
      const pane = this.panes.get(id);
      if (!pane) return null;
      if (this.active !== id) {
        for (const [k, p] of this.panes) p.el.hidden = k !== id;
        for (const t of this.tabs.children) t.setAttribute('aria-pressed', String(t.dataset.buffer === id));
        this.active = id;
      }
      if (pane.bytes || pane.failed) {
        pane.render();
        return pane;
      }
      const doc = this.doc;
      const b = doc.buffer(id);
      if (b.bytes) {
        pane.setBytes(b.bytes);
      } else if (b.error) {
        pane.setError('Does not inflate: ' + b.error);
      } else if (!pane.waiting) {
        pane.setWaiting('Inflating\u2026');
        doc.bufferBytes(id).then((bytes) => {
          if (this.doc !== doc) return;
          if (bytes) pane.setBytes(bytes);
          else pane.setError('Does not inflate: ' + (b.error || 'unknown error'));
        }, () => {});
      }
      return pane;
    }

    // A tree node was selected (in the tree, or for a byte or a difference).
    nodeSelected(node, origin) {
      const fromPane = origin === 'hover' || origin === 'click' || origin === 'key';
      for (const [id, p] of this.panes) {
        if (id !== node.buf || node.start < 0) p.setSelection(0, 0, false);
      }
      if (node.start >= 0) {
        const pane = this.activate(node.buf);
        if (pane) pane.setSelection(node.start, node.len, !fromPane);
      }
      this.showDetail(node);
    }

    bytePicked(bufId, off, how) {
      if (!this.doc) return;
      const root = this.doc.bufferRoot(bufId);
      const node = root ? root.innermost(off) : null;
      if (!node) {
        if (how !== 'hover') this.panes.get(bufId).setSelection(0, 0, false);
        return;
      }
      this.tree.select(node, { origin: how, focus: false, scroll: true });
      if (how === 'key') {
        // Read out where the cursor is for those who do not see the panes.
        const b = this.panes.get(bufId).bytes;
        $('cursor-' + this.letter).textContent = 'byte ' + off + ': ' +
          (b ? b[off].toString(16).padStart(2, '0') : '') + ', ' + (node.path || node.name);
      }
    }

    selectPath(path) {
      if (!this.doc) return null;
      const node = this.doc.root.findPath(path);
      if (node) this.tree.select(node, { origin: 'diff', focus: false, scroll: true });
      return node;
    }

    showDetail(node) {
      const d = this.detail;
      d.textContent = '';
      const add = (label, text, cls) => {
        const dt = document.createElement('dt');
        dt.textContent = label;
        const dd = document.createElement('dd');
        dd.textContent = text;
        if (cls) dd.className = cls;
        d.appendChild(dt);
        d.appendChild(dd);
      };
      if (node.kind === 'missing') {
        add('missing', node.j.tag + ' ' + node.j.name + ' (' + (node.j.declared || '') + ')');
        return;
      }
      add('path', node.path || '(none)');
      add('type', node.typeText + (node.j.type !== undefined ? ' (head ' + NR.TYPE_NAMES[node.j.type & 15] + ')' : ''));
      add('bytes', '@' + node.at + '+' + node.len + ' in ' + node.buf + ', from ' + node.start);
      const v = node.valueText;
      if (v !== null) {
        const shown = v.length > DETAIL_SHOWN ? v.slice(0, DETAIL_SHOWN) : v;
        add('value', shown + (shown.length < v.length ? '\u2026 (first ' + DETAIL_SHOWN + ' of ' + v.length + ' characters)' : ''), 'full-value');
      }
      if (node.summary) add('holds', node.summary);
      if (node.problems.length) add('problem', node.problems.join(', '));
      if (node.kind === 'undecoded') add('why', node.j.why || '');
      if (node.j.error !== undefined) add('error', node.j.error);
    }
  }

  function writeFragment(bytes) {
    try {
      const hex = NR.bytesToHex(bytes);
      const url = location.pathname + location.search + (hex.length <= FRAGMENT_MAX ? '#hex=' + hex : '');
      history.replaceState(null, '', url);
    } catch (e) {
      // A URL that long is refused by the browser: the page keeps working without it.
    }
  }

  function readFragment() {
    const m = /^#hex=([0-9a-fA-F]*)$/.exec(location.hash);
    return m ? m[1] : null;
  }

  const App = {
    sides: {},
    diffList: null,
    diffGen: 0,
    // Lists the differences of the two docs shown (when both are), unless
    // either side has shown another doc by the time the module answers.
    compare() {
      const a = App.sides.a.doc;
      const b = App.sides.b.doc;
      const gen = ++App.diffGen;
      if (!a || !b) {
        App.diffList.clear(a || !b ? 'Load request B to compare it with A.' : 'Load request A to compare it with B.');
        return Promise.resolve();
      }
      App.diffList.busy('Comparing\u2026');
      const stale = () => gen !== App.diffGen || App.sides.a.doc !== a || App.sides.b.doc !== b;
      return engine.diff(a.bytes, b.bytes, { load: 'diff:' + gen, stale }).then((items) => {
        if (!stale()) App.diffList.show(items);
      }, (e) => {
        if (!NR.isStale(e) && !stale()) App.diffList.clear('The comparison failed: ' + (e && e.message ? e.message : e));
      });
    },
  };

  const api = {
    shownMs: 0,
    load(side, bytes) {
      const s = App.sides[side];
      if (!s) throw new Error('no side ' + side);
      const data = bytes instanceof Uint8Array ? bytes : new Uint8Array(bytes);
      s.showInput(data);
      return s.load(data, false);
    },
    // Resolves (to the number of nodes expanded) once the latest load and
    // the windows asked for are rendered and everything loaded is expanded.
    expandAll(side) {
      const s = App.sides[side];
      if (!s) return Promise.resolve(0);
      return s.settled().then(() => s.tree.expandAll(null));
    },
  };
  window.navreqInspector = api;

  function start() {
    document.body.dataset.state = 'loading';
    App.sides.a = new Side('a');
    App.sides.b = new Side('b');
    App.diffList = new NR.DiffList($('diff-list'), $('diff-summary'), (path) => {
      App.sides.a.selectPath(path);
      App.sides.b.selectPath(path);
    });
    App.diffList.clear('Load request B to compare it with A.');
    const moduleState = $('module-state');
    engineStarting.then((e) => {
      engine = e;
      document.body.dataset.state = 'ready';
      moduleState.textContent = 'Decoder ready.';
      ready.splice(0).forEach((f) => f());
      loadFragment(false);
    }, (e) => {
      document.body.dataset.state = 'error';
      moduleState.textContent = 'The decoder module failed to start: ' + (e && e.message ? e.message : e);
    });
  }

  // Loads the address's #hex= into A: on open, and when the address is
  // edited by hand (unless it names what A shows already).
  function loadFragment(onlyIfNew) {
    const hex = readFragment();
    const a = App.sides.a;
    if (hex === null || !engine) return;
    if (onlyIfNew && a.doc && NR.bytesToHex(a.doc.bytes) === hex.toLowerCase()) return;
    a.read(textEncoder.encode(hex), 'hex', { updateUrl: false, show: true, what: '#hex= in the address: ' });
  }
  window.addEventListener('hashchange', () => loadFragment(true));
  // A file dropped beside the panels is not opened by the browser in place of the page.
  window.addEventListener('dragover', (e) => e.preventDefault());
  window.addEventListener('drop', (e) => e.preventDefault());

  if (document.readyState === 'loading') document.addEventListener('DOMContentLoaded', start);
  else start();
})(window.NR);
