'use strict';
// The entries of a HAR file as a side lists them: each request a button to
// pick it, each skipped entry with its reason. What the entries are comes
// from the module (the library's HAR reader); this file only draws them.
window.NR = window.NR || {};

(function (NR) {
  class HarList {
    // `el`: the side's list element; `pick(index)` shows entry `index`.
    constructor(el, pick) {
      this.el = el;
      this.pick = pick;
      this.file = null; // {input, name}: the HAR file listed
    }

    hide() {
      this.file = null;
      this.el.hidden = true;
      this.el.textContent = '';
    }

    // Lists `entries` ({index, method, url, request, form, gzip,
    // inflated_by_writer | skipped, reason}) of the file `name` read from
    // `input`; returns the first request's index, or null when none.
    show(entries, name, input) {
      this.hide();
      this.file = { input, name };
      const requests = entries.filter((e) => e.request);
      const title = document.createElement('div');
      title.className = 'har-title';
      title.textContent = name + ': ' + requests.length + ' request' + (requests.length === 1 ? '' : 's') +
        ' in ' + entries.length + ' entr' + (entries.length === 1 ? 'y' : 'ies');
      const list = document.createElement('ol');
      list.setAttribute('aria-label', 'Entries of ' + name);
      for (const e of entries) {
        const item = document.createElement('li');
        item.dataset.entry = String(e.index);
        const line = 'entry ' + e.index + ': ' + (e.method || '-') + ' ' + (e.url || '-');
        if (e.request) {
          const button = document.createElement('button');
          button.type = 'button';
          button.className = 'har-entry';
          button.setAttribute('aria-pressed', 'false');
          button.textContent = line + ' (' + e.form + (e.gzip ? ', gzip' : '') +
            (e.inflated_by_writer ? ', inflated by the writer' : '') + ')';
          button.addEventListener('click', () => this.pick(e.index));
          item.appendChild(button);
        } else {
          item.className = 'har-skipped';
          item.textContent = line + ': skipped, ' + e.reason;
        }
        item.title = item.textContent; // the whole line, where the panel cuts it
        list.appendChild(item);
      }
      this.el.append(title, list);
      this.el.hidden = false;
      return requests.length ? requests[0].index : null;
    }

    // Marks entry `index` as the one shown.
    mark(index) {
      for (const b of this.el.querySelectorAll('button.har-entry')) {
        b.setAttribute('aria-pressed', String(b.closest('li').dataset.entry === String(index)));
      }
    }
  }
  NR.HarList = HarList;
})(window.NR);
