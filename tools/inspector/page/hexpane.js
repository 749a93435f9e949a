'use strict';
// A virtual hex pane: offset, hex and ASCII columns; only the rows in view
// are in the DOM. Very long buffers scale the scroll range so the spacer
// stays within what the browser can lay out.
(function (NR) {
  const PER_ROW = 16;
  const ROW_H = 18;
  const MAX_SPACER = 8000000;
  const OVERSCAN = 4;
  const HEX = '0123456789abcdef';

  class HexPane {
    // onPick(offset, how): a byte was hovered ('hover'), clicked ('click') or
    // reached with the keyboard ('key').
    constructor(id, label, onPick) {
      this.id = id;
      this.bytes = null;
      this.onPick = onPick;
      this.selStart = 0;
      this.selLen = 0;
      this.cursor = -1;
      this.hoverPending = -1;
      this.lastPointer = null; // where the pointer was when a byte last picked
      this.waiting = false; // bytes asked for, not come yet
      this.failed = false; // no bytes to show (the message says why)
      this.scrollWanted = false; // scroll to the selection when the bytes come

      const el = document.createElement('div');
      el.className = 'hex-pane';
      el.dataset.buffer = id;
      el.tabIndex = 0;
      el.setAttribute('role', 'region');
      el.setAttribute('aria-label', 'bytes of ' + label + ' (arrow keys move the cursor)');
      const head = document.createElement('div');
      head.className = 'hex-head';
      head.setAttribute('aria-hidden', 'true');
      let cols = '';
      for (let i = 0; i < PER_ROW; i++) cols += '<span>' + HEX[i].padStart(2, '0') + '</span>';
      head.innerHTML = '<span class="ho">offset</span><span class="hx">' + cols + '</span><span class="ha">ascii</span>';
      const spacer = document.createElement('div');
      spacer.className = 'hex-spacer';
      const rows = document.createElement('div');
      rows.className = 'hex-rows';
      spacer.appendChild(rows);
      el.appendChild(head);
      el.appendChild(spacer);
      this.el = el;
      this.spacer = spacer;
      this.rowsEl = rows;
      this.message = null;

      el.addEventListener('scroll', () => this.schedule());
      el.addEventListener('mouseover', (e) => this.onHover(e));
      el.addEventListener('click', (e) => this.onClick(e));
      el.addEventListener('keydown', (e) => this.onKey(e));
      this.resizeObserver = new ResizeObserver(() => this.schedule());
      this.resizeObserver.observe(el);
    }

    setBytes(bytes) {
      this.waiting = false;
      if (this.message) {
        this.message.remove();
        this.message = null;
      }
      this.bytes = bytes;
      this.rows = Math.ceil(bytes.length / PER_ROW);
      this.full = this.rows * ROW_H;
      this.spacerH = Math.min(this.full, MAX_SPACER);
      this.spacer.style.height = this.spacerH + 'px';
      if (this.scrollWanted) this.scrollToSelection();
      this.render();
    }

    // Says why there are no bytes to show yet (they are on their way).
    setWaiting(text) {
      this.showMessage(text, 'hex-wait');
      this.waiting = true;
    }

    setError(text) {
      this.showMessage(text, 'hex-error');
      this.waiting = false;
      this.failed = true;
    }

    showMessage(text, cls) {
      this.bytes = null;
      this.spacer.style.height = '0px';
      this.rowsEl.textContent = '';
      if (!this.message) {
        this.message = document.createElement('p');
        this.el.appendChild(this.message);
      }
      this.message.className = cls;
      this.message.textContent = text;
    }

    headH() {
      return this.el.firstChild.offsetHeight || 0;
    }

    visibleRows() {
      return Math.max(1, Math.floor((this.el.clientHeight - this.headH()) / ROW_H));
    }

    // First row shown at the current scroll position.
    firstRow() {
      const top = this.el.scrollTop;
      if (this.full === this.spacerH) return Math.floor(top / ROW_H);
      const range = this.spacerH - (this.el.clientHeight - this.headH());
      const rowsRange = Math.max(0, this.rows - this.visibleRows());
      return range > 0 ? Math.min(rowsRange, Math.round((top / range) * rowsRange)) : 0;
    }

    scrollToRow(r) {
      if (this.full === this.spacerH) {
        this.el.scrollTop = r * ROW_H;
      } else {
        const range = this.spacerH - (this.el.clientHeight - this.headH());
        const rowsRange = Math.max(1, this.rows - this.visibleRows());
        this.el.scrollTop = (r / rowsRange) * range;
      }
    }

    // Scrolls so that offset off is in view (when it is not already).
    ensureVisible(off) {
      const row = Math.floor(off / PER_ROW);
      const first = this.firstRow();
      const vis = this.visibleRows();
      if (row < first) this.scrollToRow(row);
      else if (row >= first + vis) this.scrollToRow(row - vis + 1);
      this.render();
    }

    schedule() {
      if (this.pending) return;
      this.pending = true;
      requestAnimationFrame(() => {
        this.pending = false;
        this.render();
      });
    }

    render() {
      if (!this.bytes) return;
      if (this.el.clientHeight === 0) {
        this.rowsEl.textContent = '';
        return;
      }
      const first = Math.max(0, this.firstRow() - OVERSCAN);
      const last = Math.min(this.rows, this.firstRow() + this.visibleRows() + OVERSCAN + 1);
      const top = this.full === this.spacerH ? first * ROW_H
        : this.el.scrollTop - (this.firstRow() - first) * ROW_H;
      this.rowsEl.style.top = Math.max(0, top) + 'px';
      const b = this.bytes;
      const s0 = this.selStart;
      const s1 = this.selStart + this.selLen;
      const out = [];
      for (let r = first; r < last; r++) {
        const base = r * PER_ROW;
        let hx = '';
        let asc = '';
        for (let i = 0; i < PER_ROW; i++) {
          const off = base + i;
          if (off >= b.length) break;
          const v = b[off];
          let cls = off >= s0 && off < s1 ? 'sel' : '';
          if (off === this.cursor) cls += cls ? ' cur' : 'cur';
          const c = cls ? ' class="' + cls + '"' : '';
          hx += '<span data-offset="' + off + '"' + c + '>' + HEX[v >> 4] + HEX[v & 15] + '</span>';
          const ch = v >= 0x20 && v < 0x7f ? String.fromCharCode(v) : '.';
          const esc = ch === '<' ? '&lt;' : ch === '&' ? '&amp;' : ch === '>' ? '&gt;' : ch;
          asc += '<span data-a="' + off + '"' + (cls ? ' class="a' + cls.replace(' cur', ' acur') + '"' : '') + '>' + esc + '</span>';
        }
        out.push('<div class="hr"><span class="ho">' + base.toString(16).padStart(8, '0') +
          '</span><span class="hx">' + hx + '</span><span class="ha">' + asc + '</span></div>');
      }
      this.rowsEl.innerHTML = out.join('');
    }

    // Highlights [start, start+len); scrolls it into view unless told not to.
    setSelection(start, len, scroll) {
      this.selStart = start;
      this.selLen = len;
      if (len > 0) {
        this.el.dataset.selStart = String(start);
        this.el.dataset.selLen = String(len);
      } else {
        delete this.el.dataset.selStart;
        delete this.el.dataset.selLen;
      }
      this.scrollWanted = false;
      if (scroll && len > 0) this.scrollToSelection();
      this.render();
    }

    // Scrolls the selection into view; when the bytes have not come yet,
    // once they do.
    scrollToSelection() {
      if (!this.bytes) {
        this.scrollWanted = true;
        return;
      }
      this.scrollWanted = false;
      const start = this.selStart;
      const len = this.selLen;
      const first = this.firstRow();
      const vis = this.visibleRows();
      const r0 = Math.floor(start / PER_ROW);
      const r1 = Math.floor((start + len - 1) / PER_ROW);
      if (r0 < first || r1 >= first + vis) {
        this.scrollToRow(r1 - r0 + 1 <= vis ? Math.max(0, r0 - Math.floor((vis - (r1 - r0 + 1)) / 2)) : r0);
      }
    }

    offsetOf(target) {
      const cell = target.closest('[data-offset],[data-a]');
      if (!cell) return -1;
      return parseInt(cell.dataset.offset !== undefined ? cell.dataset.offset : cell.dataset.a, 10);
    }

    onHover(e) {
      // Only a pointer that moved picks: bytes scrolling under a resting
      // pointer (the pane following a selection made in the tree) do not.
      if (this.lastPointer && this.lastPointer.x === e.clientX && this.lastPointer.y === e.clientY) return;
      this.lastPointer = { x: e.clientX, y: e.clientY };
      const off = this.offsetOf(e.target);
      if (off < 0) return;
      if (this.hoverPending >= 0) {
        this.hoverPending = off;
        return;
      }
      this.hoverPending = off;
      requestAnimationFrame(() => {
        const o = this.hoverPending;
        this.hoverPending = -1;
        this.onPick(o, 'hover');
      });
    }

    onClick(e) {
      const off = this.offsetOf(e.target);
      if (off < 0) return;
      this.cursor = off;
      this.el.focus({ preventScroll: true });
      this.onPick(off, 'click');
      this.render();
    }

    onKey(e) {
      if (!this.bytes || this.bytes.length === 0) return;
      const n = this.bytes.length;
      let c = this.cursor < 0 ? (this.selLen > 0 ? this.selStart : 0) : this.cursor;
      const page = PER_ROW * Math.max(1, this.visibleRows() - 1);
      switch (e.key) {
        case 'ArrowLeft': c -= 1; break;
        case 'ArrowRight': c += 1; break;
        case 'ArrowUp': c -= PER_ROW; break;
        case 'ArrowDown': c += PER_ROW; break;
        case 'PageUp': c -= page; break;
        case 'PageDown': c += page; break;
        case 'Home': c = e.ctrlKey ? 0 : c - (c % PER_ROW); break;
        case 'End': c = e.ctrlKey ? n - 1 : Math.min(n - 1, c - (c % PER_ROW) + PER_ROW - 1); break;
        case 'Enter':
        case ' ':
          break;
        default:
          return;
      }
      e.preventDefault();
      this.cursor = Math.max(0, Math.min(n - 1, c));
      this.ensureVisible(this.cursor);
      this.onPick(this.cursor, 'key');
      this.render();
    }
  }
  NR.HexPane = HexPane;
})(window.NR);
