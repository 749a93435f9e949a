'use strict';
// Bytes as hex and back, and reading the module's JSON. Reading what was
// pasted or opened (raw bytes, hex, xxd, base64, ...) and decoding requests
// happen in the module (engine.js calls it); this file never reads a Kse head.
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
