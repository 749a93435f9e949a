'use strict';
// The decoded request as a tree of nodes, built lazily over the JSON document
// the module returns (the same tree `navreq dump --json` prints, plus paths).
// A node knows which buffer holds its bytes and where: the input, or a
// buffer of its own (offsets counted from 0) for the fields of a gzip body
// or of an unsigned-byte list, whose bytes each sit under their own head.
(function (NR) {
  const TYPE_NAMES = ['int8', 'int16', 'int32', 'int64', 'float', 'double', 'string', 'string',
    'map', 'list', 'struct', 'end', 'zero', 'bytes', 'type14', 'type15'];
  const PB_WIRE = { 0: 'varint', 1: 'fixed64', 2: 'bytes', 5: 'fixed32' };
  const MORE_BUDGET = 50000; // values in one window of items loaded on demand
  NR.TYPE_NAMES = TYPE_NAMES;


  // Bytes (as hex) that are all printable ASCII, quoted, as the text dump
  // shows them beside the hex; '' otherwise.
  function printable(hex) {
    if (hex.length === 0 || hex.length > 512) return '';
    let text = '';
    for (let i = 0; i < hex.length; i += 2) {
      const c = parseInt(hex.substr(i, 2), 16);
      if (c < 0x20 || c >= 0x7f) return '';
      text += String.fromCharCode(c);
    }
    return '"' + text + '"';
  }

  class Node {
    constructor(doc, parent, j, kind, name, buf, base) {
      this.doc = doc;
      this.parent = parent;
      this.j = j;
      this.kind = kind; // root, field, elem, key, value, pb, missing, undecoded, more
      this.name = name;
      this.buf = buf;
      this.base = base; // where "at" 0 lies in the buffer
      this.kids = null;
      this.located = null;
      this.el = null;
      this.depth = parent ? parent.depth + 1 : 0;
      if (kind === 'missing' || kind === 'root' || kind === 'more') {
        this.at = -1;
        this.len = 0;
      } else {
        this.at = j.at;
        this.len = kind === 'undecoded' ? j.hex.length / 2 : j.len;
      }
      this.start = this.at >= 0 ? base + this.at : -1;
      this.path = j && kind !== 'more' && typeof j.path === 'string' ? j.path : '';
    }

    get typeText() {
      const j = this.j;
      if (this.kind === 'undecoded') return 'undecoded';
      if (this.kind === 'pb') return PB_WIRE[j.wire] || 'wire ' + j.wire;
      if (this.kind === 'missing') return j.declared || '';
      if (this.kind === 'more') return '';
      if (j.declared) return j.declared;
      return TYPE_NAMES[j.type & 15];
    }

    // The value as the JSON holds it, or null for a container.
    get valueText() {
      const j = this.j;
      if (this.kind === 'root' || this.kind === 'missing' || this.kind === 'more') return null;
      if (this.kind === 'undecoded') return j.hex;
      // Bytes that hold text carry it as `value` beside `hex`: shown as dump shows them.
      if (this.kind === 'pb') {
        if (j.value !== undefined) return String(j.value);
        if (j.count !== undefined) return String(j.count); // a map's entry count
        return j.hex !== undefined ? j.hex : '';
      }
      if (j.kse || j.message || j.fields || j.items || j.entries) return null;
      if (j.error !== undefined) return j.hex !== undefined ? j.hex : null;
      if (j.hex !== undefined) return j.value !== undefined ? String(j.value) : j.hex;
      if (j.value === undefined) return null;
      return String(j.value); // the module's own text (see NR.parseJson)
    }

    get isString() {
      return (this.j.type === 6 || this.j.type === 7) && this.j.value !== undefined &&
        this.kind !== 'pb';
    }

    // A short description of what a container holds.
    get summary() {
      const j = this.j;
      if (this.kind === 'pb') return j.hex !== undefined ? printable(j.hex) : '';
      if (!j || this.kind === 'undecoded' || this.kind === 'more') return '';
      const parts = [];
      if (j.items || j.entries) parts.push('[' + (j.count !== undefined ? j.count : '?') + ']');
      if (j.gzip !== undefined && this.kind !== 'root') {
        if (j.error !== undefined) parts.push('gzip stream that does not inflate');
        else parts.push('gzip, ' + this.innerSize() + ' bytes inflated');
      }
      if (j.kse) parts.push('\u2192 ' + (j.kse.record || 'Kse fields'));
      if (j.message) parts.push('\u2192 protocol-buffers message');
      return parts.join(' ');
    }

    get problems() {
      const j = this.j;
      const out = [];
      if (!j || this.kind === 'root' || this.kind === 'more') return out;
      if (j.problem) out.push(j.problem);
      if (j.encoding_problem) out.push(j.encoding_problem);
      if (j.incomplete) out.push('incomplete');
      return out;
    }

    innerSize() {
      const j = this.j;
      if (j.kse) return j.kse.size;
      if (j.message) return j.message.hex.length / 2;
      return 0;
    }

    get expandable() {
      return this.holder() !== null && this.children().length > 0;
    }

    // The JSON object that holds this node's children (fields, items or
    // entries, missing, undecoded, more); null for a leaf.
    holder() {
      const j = this.j;
      if (this.kind === 'root') return j;
      if (this.kind !== 'field' && this.kind !== 'elem' && this.kind !== 'key' && this.kind !== 'value') return null;
      return j.kse || j.message || j;
    }

    // Which array of the holder carries the items: a map's entries, a
    // list's items, or fields (records, embedded bytes, the top).
    itemArrayName() {
      const h = this.holder();
      if (h !== this.j || this.kind === 'root') return 'fields';
      if (this.j.type === 8) return 'entries';
      if (this.j.type === 9) return 'items';
      return 'fields';
    }

    // Where the children's bytes are: [buffer, base].
    kidPlace() {
      const j = this.j;
      if (this.kind === 'root') return [this.doc.topBuffer, 0];
      if (j.kse || j.message) {
        if (j._nrBuf) return [j._nrBuf, 0];
        return [this.buf, this.start + this.len - this.innerSize()];
      }
      return [this.buf, this.base];
    }

    // Nodes for a run of the holder's items, the first at index `first`.
    itemNodes(arrayName, list, first) {
      const [buf, base] = this.kidPlace();
      const out = [];
      const pb = this.j && this.holder() === this.j.message;
      list.forEach((f, k) => {
        const i = first + k;
        if (arrayName === 'entries') {
          if (f.key) out.push(new Node(this.doc, this, f.key, 'key', 'key', buf, base));
          if (f.value) out.push(new Node(this.doc, this, f.value, 'value', this.entryName(f, i), buf, base));
        } else if (arrayName === 'items') {
          out.push(new Node(this.doc, this, f, 'elem', '[' + i + ']', buf, base));
        } else {
          const name = f.name !== undefined ? f.name : '#' + (pb ? f.number : f.tag);
          out.push(new Node(this.doc, this, f, pb ? 'pb' : 'field', name, buf, base));
        }
      });
      return out;
    }

    // Children in the order dump prints them: fields (or items, entries),
    // the marker of items not loaded yet, missing fields, the undecoded run.
    children() {
      if (this.kids) return this.kids;
      const j = this.j;
      const h = this.holder();
      const kids = [];
      if (h) {
        const [buf, base] = this.kidPlace();
        for (const a of ['fields', 'items', 'entries']) {
          if (h[a]) kids.push(...this.itemNodes(a, h[a], 0));
        }
        if (h.more) kids.push(new Node(this.doc, this, h.more, 'more', 'more', buf, base));
        if (h.missing) {
          for (const m of h.missing) kids.push(new Node(this.doc, this, m, 'missing', m.name, buf, base));
        }
        if (h.undecoded) kids.push(new Node(this.doc, this, h.undecoded, 'undecoded', '<undecoded>', buf, base));
        if (this.kind === 'root' && j.error !== undefined && j.hex !== undefined) {
          // A whole input that is a gzip stream and does not inflate.
          const rest = { at: 0, why: j.error, hex: j.hex, path: '<undecoded>' };
          kids.push(new Node(this.doc, this, rest, 'undecoded', '<undecoded>', buf, base));
        }
      }
      this.kids = kids;
      return kids;
    }

    // A map value is named by its key as the diff path names it: "[key]".
    entryName(e, i) {
      const p = e.value.path;
      if (typeof p === 'string' && this.path && p.startsWith(this.path) && p.endsWith(']')) {
        return p.slice(this.path.length);
      }
      const k = e.key ? (e.key.value !== undefined ? e.key.value : e.key.hex) : i;
      return '[' + k + ']';
    }

    // Children with bytes in the same buffer, sorted by start (the wire order).
    locatedKids() {
      if (this.located) return this.located;
      this.located = this.children().filter((k) => k.start >= 0 && k.buf === this.bufOfKids());
      return this.located;
    }

    bufOfKids() {
      if (this.kind === 'root') return this.doc.topBuffer;
      if (this.j && this.j._nrBuf) return this.j._nrBuf;
      return this.buf;
    }

    // The innermost descendant whose bytes hold `off` (in this node's
    // children's buffer); null when none does.
    innermost(off) {
      let node = this;
      let found = null;
      for (;;) {
        const kids = node.locatedKids();
        let lo = 0;
        let hi = kids.length - 1;
        let pick = -1;
        while (lo <= hi) {
          const mid = (lo + hi) >> 1;
          if (kids[mid].start <= off) {
            pick = mid;
            lo = mid + 1;
          } else {
            hi = mid - 1;
          }
        }
        if (pick < 0) return found;
        const k = kids[pick];
        if (off >= k.start + k.len) return found;
        found = k;
        if (k.bufOfKids() !== k.buf) return found; // its fields live in a buffer of their own
        node = k;
      }
    }

    // The node with this path, or the deepest ancestor of it that exists.
    findPath(path) {
      let node = this;
      for (;;) {
        const kids = node.children();
        let next = null;
        for (const k of kids) {
          if (!k.path) continue;
          if (k.path === path) return k;
          if (!next && path.startsWith(k.path) && (path[k.path.length] === '.' || path[k.path.length] === '[') &&
            k.children().length > 0) {
            next = k;
          }
        }
        if (!next) return node === this ? null : node;
        node = next;
      }
    }
  }
  NR.Node = Node;

  // One decoded request: its bytes, the tree, the buffers (input and inflated).
  class Doc {
    constructor(side, bytes, result, engine, load) {
      this.side = side;
      this.load = load; // which load of its side made it (tags its module calls)
      this.released = false;
      this.bytes = bytes;
      this.status = result.status;
      this.input = result.input; // the module keeps the bytes under this number
      this.tree = result.tree || {};
      this.engine = engine;
      this.buffers = [{ id: side + ':0', label: 'input', size: bytes.length, bytes, owner: null }];
      this.topBuffer = side + ':0';
      if (this.tree.gzip !== undefined && this.tree.fields) {
        const id = side + ':1';
        this.buffers.push({ id, label: 'inflated input', size: this.tree.inflated || 0, bytes: null, owner: null, top: true });
        this.topBuffer = id;
      }
      this.root = new Node(this, null, this.tree, 'root', this.tree.record || '', this.topBuffer, 0);
      if (this.tree.gzip === undefined || this.tree.fields) this.assignBuffers([this.tree]);
    }

    // Loads the next window of a container's items (in place of its "more"
    // marker) and resolves to the new child nodes, a new marker last if some
    // are still left. Rejects as stale when the doc was dropped meanwhile.
    async loadMore(marker) {
      const parent = marker.parent;
      const h = parent.holder();
      const m = h.more;
      const answer = await this.engine.items(this.input, m.node, m.from, MORE_BUDGET, parent.path,
        { load: this.load, stale: () => this.released });
      if (this.released || h.more !== m) throw new NR.Stale();
      const name = parent.itemArrayName();
      if (!h[name]) h[name] = [];
      const first = h[name].length;
      for (const item of answer.items) h[name].push(item);
      if (answer.more) h.more = answer.more;
      else delete h.more;
      this.assignBuffers([{ [name]: answer.items }]);
      const added = parent.itemNodes(name, answer.items, first);
      if (h.more) {
        const [buf, base] = parent.kidPlace();
        added.push(new Node(this, parent, h.more, 'more', 'more', buf, base));
      }
      const kids = parent.children();
      kids.splice(kids.indexOf(marker), 1, ...added);
      parent.located = null;
      return added;
    }

    release() {
      if (this.input !== undefined) this.engine.release(this.input);
      this.input = undefined;
      this.released = true;
    }

    // Numbers the buffers of their own in the order their nodes appear
    // (pre-order): side:1, side:2, ... (a window loaded later numbers its
    // own after those seen before). A gzip body gets one (its inflated
    // bytes), and so does an unsigned-byte list that carries a record or a
    // message: each of its bytes sits under an int8 head, so what it carries
    // is not a run of the enclosing buffer.
    assignBuffers(holders) {
      const stack = [];
      const push = (list) => {
        if (!list) return;
        for (let i = list.length - 1; i >= 0; i--) stack.push(list[i]);
      };
      const pushHolder = (h) => {
        if (!h) return;
        const items = [];
        if (h.fields) items.push(...h.fields);
        if (h.items) items.push(...h.items);
        if (h.entries) for (const e of h.entries) { if (e.key) items.push(e.key); if (e.value) items.push(e.value); }
        push(items);
      };
      for (let i = holders.length - 1; i >= 0; i--) pushHolder(holders[i]);
      while (stack.length) {
        const j = stack.pop();
        const gzip = j.gzip !== undefined;
        if (j.tag !== undefined && (gzip || (j.type === 9 && (j.kse || j.message)))) {
          const id = this.side + ':' + this.buffers.length;
          j._nrBuf = id;
          const size = j.kse ? j.kse.size : j.message ? j.message.hex.length / 2 : 0;
          this.buffers.push({ id, label: (j.name || 'bytes') + (gzip ? ' inflated' : ' bytes'), size, bytes: null,
            owner: j });
        }
        if (j.kse) pushHolder(j.kse);
        else if (j.fields || j.items || j.entries) pushHolder(j);
      }
    }

    buffer(id) {
      return this.buffers.find((b) => b.id === id) || null;
    }

    // The bytes of a buffer, made the first time they are needed: a gzip
    // stream inflated by the module, or the bytes the JSON gives as hex.
    // Resolves to the bytes, or null (with the buffer's `error` set).
    bufferBytes(id) {
      const b = this.buffer(id);
      if (!b) return Promise.resolve(null);
      if (b.bytes || b.error) return Promise.resolve(b.bytes);
      const owner = b.owner;
      if (owner && owner.gzip === undefined) {
        const hex = owner.message ? owner.message.hex : owner.kse && owner.kse.hex;
        if (typeof hex === 'string') b.bytes = NR.hexToBytes(hex);
        else b.error = 'the module gave no bytes for it';
        return Promise.resolve(b.bytes);
      }
      if (!b.pending) {
        const compressed = b.top ? this.bytes : NR.hexToBytes(owner.gzip);
        b.pending = this.engine.inflate(compressed, { load: this.load, stale: () => this.released }).then((r) => {
          if (r.bytes) {
            b.bytes = r.bytes;
            b.size = r.bytes.length;
          } else {
            b.error = r.error;
          }
          return b.bytes;
        }, (e) => {
          b.pending = null;
          if (NR.isStale(e)) throw e;
          b.error = e && e.message ? e.message : String(e);
          return null;
        });
      }
      return b.pending;
    }

    // Inflates the gzip buffers known so far, so that their panes are ready
    // the moment one of their nodes is selected.
    inflateAll() {
      return Promise.all(this.buffers.filter((b) => b.top || (b.owner && b.owner.gzip !== undefined))
        .map((b) => this.bufferBytes(b.id)));
    }

    // The node that holds a buffer's top level (root, or the gzip node).
    bufferRoot(id) {
      if (id === this.topBuffer) return this.root;
      const b = this.buffer(id);
      if (!b || !b.owner) return null;
      return this.nodeOfJson(b.owner);
    }

    // Finds the node object for a JSON node (walking from the root by path).
    nodeOfJson(j) {
      if (j.path) {
        const n = this.root.findPath(j.path);
        if (n && n.j === j) return n;
      }
      return null;
    }

    commandName() {
      const f = (this.tree.fields || []).find((x) => x.name === 'cmd_name');
      return f && typeof f.value === 'string' ? f.value : '';
    }

    statusText() {
      switch (this.status) {
        case 0: return 'decoded cleanly';
        case 1: return 'part did not decode';
        case 2: return 'decoded, with missing fields, type mismatches, unknown tags or no envelope';
        default: return 'status ' + this.status;
      }
    }
  }
  NR.Doc = Doc;
})(window.NR);
