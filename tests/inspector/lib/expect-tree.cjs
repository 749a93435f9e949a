'use strict';
// The expected tree items of the inspector, worked out here from the host
// tool's `navreq dump --json` document alone (docs/tree-format.md): names,
// paths in `navreq diff` syntax, shown values, offsets and hex-pane buffers.
// Nothing here calls the page's code.

const { execFileSync } = require('node:child_process');

// A JSON number as the tool wrote it: the page shows integers in decimal and
// floats as their text, so the digits are kept exactly (JSON.parse would turn
// "0.0" into 0 and lose 64-bit integers past 2^53).
class RawNumber {
  constructor(text) {
    this.text = text;
  }
}

// A small JSON reader that keeps numbers as RawNumber.
function parseJsonKeepingNumbers(text) {
  let i = 0;
  const fail = (what) => {
    throw new SyntaxError(`JSON: ${what} at ${i}`);
  };
  const ws = () => {
    while (i < text.length && ' \t\r\n'.includes(text[i])) i++;
  };
  const value = () => {
    ws();
    const c = text[i];
    if (c === '{') {
      i++;
      const obj = {};
      ws();
      if (text[i] === '}') {
        i++;
        return obj;
      }
      for (;;) {
        ws();
        if (text[i] !== '"') fail('expected a key');
        const key = string();
        ws();
        if (text[i++] !== ':') fail('expected ":"');
        obj[key] = value();
        ws();
        const d = text[i++];
        if (d === '}') return obj;
        if (d !== ',') fail('expected "," or "}"');
      }
    }
    if (c === '[') {
      i++;
      const arr = [];
      ws();
      if (text[i] === ']') {
        i++;
        return arr;
      }
      for (;;) {
        arr.push(value());
        ws();
        const d = text[i++];
        if (d === ']') return arr;
        if (d !== ',') fail('expected "," or "]"');
      }
    }
    if (c === '"') return string();
    const m = /^-?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][-+]?[0-9]+)?/.exec(text.slice(i, i + 64));
    if (m && m[0].length > 0) {
      i += m[0].length;
      return new RawNumber(m[0]);
    }
    for (const [word, v] of [['true', true], ['false', false], ['null', null]]) {
      if (text.startsWith(word, i)) {
        i += word.length;
        return v;
      }
    }
    return fail('unexpected character');
  };
  const string = () => {
    const end = (() => {
      let j = i + 1;
      while (j < text.length && text[j] !== '"') j += text[j] === '\\' ? 2 : 1;
      return j;
    })();
    const s = JSON.parse(text.slice(i, end + 1));
    i = end + 1;
    return s;
  };
  const v = value();
  ws();
  if (i !== text.length) fail('trailing text');
  return v;
}

// Head type names, by the type code of the head (0 to 15).
const HEAD_TYPE_NAMES = [
  'int8', 'int16', 'int32', 'int64', 'float', 'double', 'string', 'string',
  'map', 'list', 'struct', 'end', 'zero', 'bytes', 'type14', 'type15',
];

const num = (v) => (v instanceof RawNumber ? Number(v.text) : v);

// A map key in a path: plain when made of letters, digits, "_" and "-",
// quoted (C-style escapes, UTF-8 kept) otherwise.
function keySegment(keyNode) {
  const v = keyNode.value;
  if (v instanceof RawNumber) return `[${v.text}]`;
  const text = typeof v === 'string' ? v : Buffer.from(keyNode.hex || '', 'hex').toString('latin1');
  if (/^[A-Za-z0-9_-]+$/.test(text)) return `[${text}]`;
  let out = '"';
  for (const ch of text) {
    const cp = ch.codePointAt(0);
    if (ch === '"' || ch === '\\') out += '\\' + ch;
    else if (ch === '\n') out += '\\n';
    else if (ch === '\r') out += '\\r';
    else if (ch === '\t') out += '\\t';
    else if (cp < 0x20 || cp === 0x7f) out += '\\x' + cp.toString(16).padStart(2, '0');
    else out += ch;
  }
  return `[${out}"]`;
}

// The text the page shows as a node's value.
function valueText(node) {
  // A message map's entry count (the stop event's attributes).
  if ('number' in node && 'count' in node && !('value' in node)) {
    return node.count instanceof RawNumber ? node.count.text : String(node.count);
  }
  if ('value' in node && node.value !== null && typeof node.value !== 'object') return String(node.value);
  if (node.value instanceof RawNumber) return node.value.text;
  if ('hex' in node && !node.kse && !node.message) return node.hex;
  return '';
}

// Walks a dump document; returns {items, missing} in document order.
// items: {path, name, type, value, at (the label), dataAt, len, buffer, start, problem}
// missing: {parent, name, tag}
function expectedTree(doc, side = 'a') {
  const items = [];
  const missing = [];
  let buffers = 0;
  const newBuffer = () => `${side}:${++buffers}`;
  const join = (parent, seg) => (parent === '' || seg.startsWith('[') ? parent + seg : `${parent}.${seg}`);

  const push = (node, path, name, type, buffer, base) => {
    const at = num(node.at);
    const len = node.len !== undefined ? num(node.len) : node.hex.length / 2;
    let problem = node.problem || '';
    if (!problem && node.incomplete === true) problem = 'incomplete';
    items.push({
      path, name, type, value: valueText(node),
      at: `@${at}+${len}`, dataAt: String(at), len: String(len), buffer, start: String(base + at), problem,
    });
  };

  // One level: a record's fields (and what follows them: missing, undecoded).
  const level = (container, list, parentPath, buffer, base, visit) => {
    for (const child of list || []) visit(child);
    for (const m of container.missing || []) missing.push({ parent: parentPath, name: m.name, tag: num(m.tag) });
    if (container.undecoded) {
      const u = container.undecoded;
      push(u, join(parentPath, '<undecoded>'), '<undecoded>', 'undecoded', buffer, base);
    }
  };

  const fieldLevel = (container, parentPath, buffer, base) =>
    level(container, container.fields, parentPath, buffer, base, (f) => {
      const seg = f.name !== undefined ? f.name : String(num(f.tag));
      node(f, join(parentPath, seg), f.name !== undefined ? f.name : `#${num(f.tag)}`, buffer, base);
    });

  const node = (n, path, name, buffer, base) => {
    const type = n.declared !== undefined ? n.declared : HEAD_TYPE_NAMES[num(n.type)];
    push(n, path, name, type, buffer, base);
    if (n.fields) fieldLevel(n, path, buffer, base);
    if (n.items) {
      let i = 0;
      level(n, n.items, path, buffer, base, (e) => {
        node(e, `${path}[${i}]`, `[${i}]`, buffer, base);
        i++;
      });
    }
    if (n.entries) {
      level(n, n.entries, path, buffer, base, (e) => {
        // A key is a node of its own, without a path: the value's path
        // names the entry.
        node(e.key, '', 'key', buffer, base);
        const seg = keySegment(e.key);
        node(e.value, path + seg, seg, buffer, base);
      });
    }
    const carried = n.kse || n.message;
    if (carried) {
      let cbuf = buffer;
      let cbase;
      // An inflated body, and the bytes of an unsigned-byte list (type 9:
      // one head per byte, so not a run of this buffer), are a buffer of
      // their own; a byte array's bytes are the end of its own range.
      if (n.gzip !== undefined || num(n.type) === 9) {
        cbuf = newBuffer();
        cbase = 0;
      } else {
        const size = n.kse ? num(n.kse.size) : n.message.hex.length / 2;
        cbase = base + num(n.at) + num(n.len) - size;
      }
      if (n.kse) fieldLevel(n.kse, path, cbuf, cbase);
      else {
        const seen = new Map();
        level(n.message, n.message.fields, path, cbuf, cbase, (p) => {
          const number = num(p.number);
          const k = seen.get(number) || 0;
          seen.set(number, k + 1);
          const name = p.name !== undefined ? p.name : `#${number}`;
          const seg = name + (k > 0 ? `[${k}]` : '');
          push(p, join(path, seg), name, p.wire instanceof RawNumber && p.wire.text === '2' ? 'bytes' : 'varint', cbuf, cbase);
        });
      }
    }
  };

  const topBuffer = doc.gzip !== undefined ? newBuffer() : `${side}:0`;
  fieldLevel(doc, '', topBuffer, 0);
  return { items, missing };
}

// Runs the host tool; returns stdout (status checked against `okStatus`).
function runTool(tool, args, okStatus = [0]) {
  try {
    return execFileSync(tool, args, { encoding: 'utf8', maxBuffer: 1 << 30 });
  } catch (e) {
    if (okStatus.includes(e.status)) return e.stdout;
    throw new Error(`${tool} ${args.join(' ')}: status ${e.status}: ${e.stderr}`);
  }
}

function dumpJson(tool, file) {
  return parseJsonKeepingNumbers(runTool(tool, ['dump', '--json', file], [0, 1, 2]));
}

// Finds a node of a dump document by its path (as the walk names it).
function findByPath(doc, path) {
  const { items } = expectedTree(doc);
  return items.find((it) => it.path === path);
}

// First difference between two item lists, or null.
function firstMismatch(expected, actual) {
  const n = Math.max(expected.length, actual.length);
  for (let i = 0; i < n; i++) {
    const e = expected[i];
    const a = actual[i];
    if (!e || !a) return { index: i, expected: e || '(none)', actual: a || '(none)' };
    for (const k of Object.keys(e)) {
      if (e[k] !== a[k]) return { index: i, key: k, expected: e, actual: a };
    }
  }
  return null;
}

module.exports = {
  RawNumber, parseJsonKeepingNumbers, expectedTree, runTool, dumpJson, findByPath, firstMismatch, num,
  HEAD_TYPE_NAMES,
};
