'use strict';
// Input text: turning pasted hex or base64 into bytes, and reading the
// module's JSON. All decoding of requests happens in the module (engine.js
// calls it); this file never reads a Kse head.
window.NR = window.NR || {};

(function (NR) {
  const HEX_DIGITS = '0123456789abcdef';
  const HEX_CODES = new Uint8Array(Array.from(HEX_DIGITS, (c) => c.charCodeAt(0)));
  const latin1 = new TextDecoder('latin1');
  NR.bytesToHex = function (bytes) {
    const out = new Uint8Array(bytes.length * 2);
    for (let i = 0, j = 0; i < bytes.length; i++, j += 2) {
      const b = bytes[i];
      out[j] = HEX_CODES[b >> 4];
      out[j + 1] = HEX_CODES[b & 15];
    }
    return latin1.decode(out);
  };

  // Hex without separators (as the module's JSON writes it) to bytes.
  NR.hexToBytes = function (hex) {
    const n = hex.length >> 1;
    const out = new Uint8Array(n);
    for (let i = 0; i < n; i++) out[i] = parseInt(hex.substr(2 * i, 2), 16);
    return out;
  };

  function fail(message) {
    return { error: message };
  }

  // Reads pasted text as hex or base64. Whitespace is ignored; hex may carry
  // "0x" prefixes and ":" or "-" between bytes. Text made only of hex digits
  // is hex (as `navreq dump` reads it), otherwise base64 (standard or URL-safe).
  NR.parseText = function (text) {
    const compact = text.replace(/\s+/g, '');
    if (compact.length === 0) return fail('Nothing to decode: the input is empty.');
    const tokens = text.split(/[\s:-]+/).filter((t) => t.length > 0);
    const hex = tokens.map((t) => t.replace(/^0[xX]/, '')).join('');
    if (/^[0-9a-fA-F]*$/.test(hex)) {
      if (hex.length === 0) return fail('Nothing to decode: only "0x" prefixes and separators.');
      if (hex.length % 2 !== 0) {
        return fail('Odd hex length: ' + hex.length + ' digits; every byte needs two.');
      }
      return { bytes: NR.hexToBytes(hex), form: 'hex' };
    }
    if (/^[A-Za-z0-9+/_-]*={0,2}$/.test(compact)) {
      let b64 = compact.replace(/-/g, '+').replace(/_/g, '/').replace(/=+$/, '');
      if (b64.length % 4 === 1) {
        return fail('Not valid base64: ' + b64.length + ' characters leave a dangling one.');
      }
      while (b64.length % 4 !== 0) b64 += '=';
      let binary;
      try {
        binary = atob(b64);
      } catch (e) {
        return fail('Not valid base64.');
      }
      const bytes = new Uint8Array(binary.length);
      for (let i = 0; i < binary.length; i++) bytes[i] = binary.charCodeAt(i);
      if (bytes.length === 0) return fail('Nothing to decode: the input is empty.');
      return { bytes, form: 'base64' };
    }
    const bad = compact.search(/[^A-Za-z0-9+/_=:-]/);
    const where = bad >= 0 ? ' (first unexpected character: "' + compact[bad] + '")' : '';
    return fail('The text is neither hex nor base64' + where + '.');
  };

  // A file is read as hex when it holds only hex digits and ASCII whitespace
  // (an even number of digits), as the tool reads it; otherwise as raw bytes.
  NR.parseFile = function (bytes) {
    if (bytes.length === 0) return fail('The file is empty.');
    let digits = 0;
    for (let i = 0; i < bytes.length; i++) {
      const c = bytes[i];
      const isHex = (c >= 48 && c <= 57) || (c >= 65 && c <= 70) || (c >= 97 && c <= 102);
      if (isHex) digits++;
      else if (!(c === 32 || c === 9 || c === 10 || c === 13 || c === 11 || c === 12)) {
        return { bytes, form: 'binary' };
      }
    }
    if (digits === 0 || digits % 2 !== 0) return { bytes, form: 'binary' };
    const text = new TextDecoder('ascii').decode(bytes);
    return { bytes: NR.hexToBytes(text.replace(/\s+/g, '')), form: 'hex' };
  };

  // A value's number is shown as the module wrote it ("12956698.0",
  // "9223372036854775807"): JSON.parse would drop the ".0" and the digits
  // past 2^53, so every `"value": NUMBER` is read as the text of the number.
  // (Inside a JSON string the quotes are escaped, so string contents never
  // match.) Offsets, lengths and counts stay numbers.
  function parseJson(text) {
    return JSON.parse(text.replace(/("value":\s*)(-?\d+(?:\.\d+)?(?:[eE][+-]?\d+)?)(?=\s*[,}\]])/g, '$1"$2"'));
  }
  NR.parseJson = parseJson;
})(window.NR);
