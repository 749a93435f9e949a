'use strict';
// The module runs in a Web Worker so that decoding a large request never
// freezes the page. The worker is made from the page itself: a few lines as
// a data: URL (a blob: URL would be one more address the page asks for) that
// run the first message they get as the worker's script: the module's
// inlined text plus the two functions below (their source text). Nothing is
// fetched, so it works from file://, and the module's text is read once, by
// the worker (a data: URL script of the whole module starts several times
// slower). Where no worker can be made, the same functions run the module on
// the page's own thread.
//
// Protocol: the page sends {id, fn, args, load}; the worker answers
// {id, load, value, ms} or {id, load, error}. Byte arrays travel as
// transferred ArrayBuffers (the input's copy one way, the JSON text's UTF-8
// bytes, inflated bytes and the bytes read from an input the other). Requests go one at a time, so a
// request that has gone stale (a newer load of the same side) while it
// waited is dropped before it reaches the module.
(function (NR) {
  // Calls the module's exports. Self-contained: its text is also part of the
  // worker's script, so it uses nothing from the page.
  function navreqServer(M) {
    'use strict';
    // The longest string V8 makes (2^29 - 24 characters); UTF-8 bytes bound it.
    const MAX_TEXT = 536870888;

    function withBytes(list, body) {
      const ptrs = list.map((b) => {
        const p = M._malloc(Math.max(1, b.length));
        M.HEAPU8.set(b, p);
        return p;
      });
      try {
        return body(ptrs);
      } finally {
        ptrs.forEach((p) => M._free(p));
      }
    }

    // The NUL-terminated UTF-8 text at p, copied out of the module's memory.
    function cText(p) {
      const heap = M.HEAPU8;
      let end = heap.indexOf(0, p);
      if (end < 0) end = heap.length;
      if (end - p > MAX_TEXT) {
        throw new Error('the decoded tree is ' + Math.round((end - p) / 1048576) + ' MB of JSON text, ' +
          'more than the browser can hold in one string; `navreq dump` reads such inputs');
      }
      return heap.slice(p, end);
    }

    const calls = {
      inspect: ([bytes]) => withBytes([bytes], ([p]) => cText(M._navreq_inspect(p, bytes.length))),
      items: ([input, node, from, budget, path]) => cText(M.ccall('navreq_items', 'number',
        ['number', 'number', 'number', 'number', 'string'], [input, node, from, budget, path])),
      release: ([input]) => {
        M._navreq_release(input);
        return null;
      },
      diff: ([a, b]) => withBytes([a, b], ([pa, pb]) => cText(M._navreq_diff(pa, a.length, pb, b.length))),
      inflate: ([bytes]) => withBytes([bytes], ([p]) => {
        const ok = M._navreq_inflate(p, bytes.length) === 1;
        const at = M._navreq_result_data();
        return { ok, bytes: M.HEAPU8.slice(at, at + M._navreq_result_size()) };
      }),
      // The library's HAR reader: null when the input is not a HAR file, else
      // its entries (or its error) as JSON text.
      har: ([bytes]) => withBytes([bytes], ([p]) => {
        if (M._navreq_har(p, bytes.length) !== 1) return null;
        const at = M._navreq_result_data();
        return M.HEAPU8.slice(at, at + M._navreq_result_size());
      }),
      harEntry: ([index]) => {
        const ok = M._navreq_har_entry(index) === 1;
        const at = M._navreq_result_data();
        return { ok, bytes: ok ? M.HEAPU8.slice(at, at + M._navreq_result_size()) : new Uint8Array(0) };
      },
      readInput: ([bytes, mode]) => withBytes([bytes], ([p]) => {
        const form = M._navreq_read_input(p, bytes.length, mode);
        const at = M._navreq_result_data();
        const result = M.HEAPU8.slice(at, at + M._navreq_result_size());
        if (form < 0) return { error: JSON.parse(new TextDecoder('utf-8').decode(result)) };
        return { form: M.UTF8ToString(M._navreq_input_form_name(form)), bytes: result };
      }),
    };

    // {value, transfer}: the answer and the buffers to hand over with it.
    return function serve(fn, args) {
      const call = calls[fn];
      if (!call) throw new Error('no module call ' + fn);
      const value = call(args);
      const transfer = value instanceof Uint8Array ? [value.buffer]
        : value && value.bytes instanceof Uint8Array ? [value.bytes.buffer] : [];
      return { value, transfer };
    };
  }

  // The worker's main: starts the module, says so, then answers requests in
  // the order they come. Self-contained, like navreqServer.
  function navreqWorkerMain(makeServer) {
    'use strict';
    const text = (e) => String(e && e.message ? e.message : e);
    /* global createNavreqModule */
    createNavreqModule().then((M) => {
      const serve = makeServer(M);
      self.onmessage = (e) => {
        const { id, fn, args, load } = e.data;
        const t0 = performance.now();
        let r;
        try {
          r = serve(fn, args);
        } catch (err) {
          self.postMessage({ id, load, error: text(err) });
          return;
        }
        self.postMessage({ id, load, value: r.value, ms: performance.now() - t0 }, r.transfer);
      };
      self.postMessage({ ready: true });
    }, (err) => self.postMessage({ failed: text(err) }));
  }

  // The worker's own script: runs its first message, globally.
  const WORKER_BOOT = "'use strict'; self.onmessage = (e) => { self.onmessage = null; (0, eval)(e.data); };";

  // A request dropped because a newer one replaced what it was for.
  class Stale extends Error {
    constructor() {
      super('superseded by a newer request');
      this.stale = true;
    }
  }
  NR.Stale = Stale;
  NR.isStale = (e) => !!(e && e.stale === true);

  const errorText = (e) => String(e && e.message ? e.message : e);

  // How the module may read an input (navreq::InputMode's numbers): detect
  // raw bytes or text (a file), text only (what was pasted or typed), a hex
  // form only (the address's #hex=).
  const INPUT_MODES = { detect: 0, text: 1, hex: 2 };

  // Starts the module in a worker; resolves to the worker, or rejects with why not.
  function startWorker(moduleText) {
    return new Promise((resolve, reject) => {
      if (typeof Worker !== 'function' || !moduleText) {
        reject(new Error(!moduleText ? 'the module text is not on the page' : 'this browser has no workers'));
        return;
      }
      const src = moduleText + '\n;(' + navreqWorkerMain.toString() + ')(' + navreqServer.toString() + ');\n' +
        '//# sourceURL=navreq-module-worker.js\n';
      let worker;
      try {
        worker = new Worker('data:text/javascript,' + encodeURIComponent(WORKER_BOOT));
        worker.postMessage(src);
      } catch (e) {
        reject(e);
        return;
      }
      const done = (ok, why) => {
        worker.onmessage = null;
        worker.onerror = null;
        if (ok) {
          resolve(worker);
        } else {
          worker.terminate();
          reject(new Error(why));
        }
      };
      worker.onmessage = (e) => {
        if (e.data && e.data.ready) done(true);
        else done(false, 'the module did not start in the worker: ' + (e.data && e.data.failed));
      };
      worker.onerror = (e) => {
        e.preventDefault();
        done(false, 'the worker failed: ' + (e.message || 'script error'));
      };
    });
  }

  class Engine {
    // Either a worker, or the server function running on this thread.
    constructor(worker, serve) {
      this.worker = worker;
      this.serve = serve;
      this.queue = [];
      this.busy = null;
      this.nextId = 1;
      this.decoder = new TextDecoder('utf-8');
      if (worker) {
        worker.onmessage = (e) => this.answered(e.data);
        worker.onerror = (e) => {
          e.preventDefault();
          this.answered({ id: this.busy ? this.busy.id : 0, error: 'the decoder stopped: ' + (e.message || 'script error') });
        };
        worker.onmessageerror = () => this.answered({ id: this.busy ? this.busy.id : 0, error: 'an answer could not be read' });
      }
    }

    // A worker when one can be made, the page's own thread otherwise.
    // moduleText: the module's script (the page holds it as text, not run).
    static start(moduleText) {
      return startWorker(moduleText).then((w) => new Engine(w, null), (why) => {
        console.info('navreq inspector: decoding on the page itself (' + errorText(why) + ')');
        if (typeof window.createNavreqModule !== 'function' && moduleText) {
          const script = document.createElement('script');
          script.textContent = moduleText;
          document.head.appendChild(script);
        }
        if (typeof window.createNavreqModule !== 'function') throw new Error('the decoder module is missing from this page');
        return window.createNavreqModule().then((M) => new Engine(null, navreqServer(M)));
      });
    }

    // Queues a call. opts.load names what it belongs to (it comes back with
    // the answer); opts.stale() true drops it before it is sent.
    request(fn, args, transfer, opts) {
      opts = opts || {};
      return new Promise((resolve, reject) => {
        this.queue.push({ id: this.nextId++, fn, args, transfer, load: opts.load, stale: opts.stale, resolve, reject });
        this.pump();
      });
    }

    pump() {
      while (!this.busy && this.queue.length) {
        const r = this.queue.shift();
        if (r.stale && r.stale()) {
          r.reject(new Stale());
          continue;
        }
        this.busy = r;
        if (this.worker) {
          this.worker.postMessage({ id: r.id, fn: r.fn, args: r.args, load: r.load }, r.transfer);
        } else {
          // On this thread: once the page has painted "decoding…" (a hidden
          // page paints no frames: then after a short wait).
          let ran = false;
          const run = () => {
            if (ran) return;
            ran = true;
            if (r.stale && r.stale()) {
              this.busy = null;
              r.reject(new Stale());
              this.pump();
              return;
            }
            const t0 = performance.now();
            let answer;
            try {
              answer = { id: r.id, load: r.load, value: this.serve(r.fn, r.args).value, ms: performance.now() - t0 };
            } catch (e) {
              answer = { id: r.id, load: r.load, error: errorText(e) };
            }
            this.answered(answer);
          };
          requestAnimationFrame(() => setTimeout(run, 0));
          setTimeout(run, 100);
        }
      }
    }

    answered(msg) {
      const r = this.busy;
      if (!r || !msg || msg.id !== r.id) return;
      this.busy = null;
      // An answer that came is never dropped here: an input the module now
      // keeps must still be released by whoever asked for it.
      if (msg.error !== undefined) r.reject(new Error(msg.error));
      else r.resolve(msg);
      this.pump();
    }

    // The page keeps its bytes: the module gets a copy, handed over whole.
    static copy(bytes) {
      const c = bytes.slice();
      return [c, [c.buffer]];
    }

    json(msg) {
      return NR.parseJson(this.decoder.decode(msg.value));
    }

    // {status, input, tree, load, timings}: the module keeps the bytes as
    // input number `input` (for loading more items) until release(input);
    // `load` is opts.load, as the answer carries it back.
    inspect(bytes, opts) {
      const [c, transfer] = Engine.copy(bytes);
      return this.request('inspect', [c], transfer, opts).then((msg) => {
        const t0 = performance.now();
        const result = this.json(msg);
        result.load = msg.load;
        result.timings = { decode: msg.ms, parse: performance.now() - t0, json: msg.value.length };
        return result;
      });
    }

    // The items of container `node` of kept input `input` from `from` on:
    // {items, more}.
    items(input, node, from, budget, path, opts) {
      return this.request('items', [input, node, from, budget, path], [], opts).then((msg) => this.json(msg));
    }

    // Lets the module drop a kept input (never dropped as stale).
    release(input) {
      this.request('release', [input], []).catch(() => {});
    }

    // [{path, a, b, line}]
    diff(a, b, opts) {
      const [ca, ta] = Engine.copy(a);
      const [cb, tb] = Engine.copy(b);
      return this.request('diff', [ca, cb], ta.concat(tb), opts).then((msg) => this.json(msg));
    }

    // The request in an input as `mode` (detect, text, hex) allows:
    // {form, bytes}, or {error: {message, form, offset, line, column}} when
    // the input is text but broken.
    readInput(bytes, mode, opts) {
      const [c, transfer] = Engine.copy(bytes);
      return this.request('readInput', [c, INPUT_MODES[mode]], transfer, opts).then((msg) => msg.value);
    }

    // A HAR file's entries as the library reads them: null when the bytes
    // are not a HAR file, else {entries: [{index, method, url, request, form,
    // gzip, inflated_by_writer | skipped, reason}]} or {error}. The module
    // keeps the file for harEntry.
    har(bytes, opts) {
      const [c, transfer] = Engine.copy(bytes);
      return this.request('har', [c], transfer, opts).then((msg) =>
        msg.value ? JSON.parse(this.decoder.decode(msg.value)) : null);
    }

    // The request bytes of entry `index` of the HAR file last read, or null.
    harEntry(index, opts) {
      return this.request('harEntry', [index], [], opts).then((msg) => (msg.value.ok ? msg.value.bytes : null));
    }

    // {bytes} or {error}
    inflate(bytes, opts) {
      const [c, transfer] = Engine.copy(bytes);
      return this.request('inflate', [c], transfer, opts).then((msg) => {
        const v = msg.value;
        return v.ok ? { bytes: v.bytes } : { error: this.decoder.decode(v.bytes) || 'does not inflate' };
      });
    }
  }
  NR.Engine = Engine;
})(window.NR);
