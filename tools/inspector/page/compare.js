'use strict';
// The differences between request A and request B, as `navreq diff` lists
// them (computed by the module), linked to both trees.
(function (NR) {
  const CHUNK = 1000;

  class DiffList {
    constructor(listEl, summaryEl, onActivate) {
      this.el = listEl;
      this.summary = summaryEl;
      this.onActivate = onActivate;
      this.items = [];
      this.shown = 0;
      this.current = null;
      listEl.addEventListener('click', (e) => {
        const more = e.target.closest('li.more');
        if (more) {
          this.showMore(true);
          return;
        }
        const li = e.target.closest('li[data-path]');
        if (li) this.activate(li);
      });
      listEl.addEventListener('keydown', (e) => this.onKey(e));
    }

    // The list stays as it is while the module compares; the summary says so.
    busy(text) {
      this.summary.textContent = text;
      this.el.setAttribute('aria-busy', 'true');
    }

    clear(text) {
      this.el.removeAttribute('aria-busy');
      this.items = [];
      this.shown = 0;
      this.current = null;
      this.el.textContent = '';
      this.summary.textContent = text || '';
    }

    show(items) {
      this.clear();
      this.items = items;
      this.summary.textContent = items.length === 0 ? 'No differences.'
        : items.length === 1 ? '1 difference.' : items.length + ' differences.';
      this.showMore(false);
      const first = this.el.querySelector('li');
      if (first) first.tabIndex = 0;
    }

    showMore(focus) {
      const old = this.el.querySelector('li.more');
      if (old) old.remove();
      const frag = document.createDocumentFragment();
      const end = Math.min(this.items.length, this.shown + CHUNK);
      let firstNew = null;
      for (let i = this.shown; i < end; i++) {
        const d = this.items[i];
        const li = document.createElement('li');
        li.dataset.path = d.path;
        li.tabIndex = -1;
        li.textContent = d.line;
        if (!firstNew) firstNew = li;
        frag.appendChild(li);
      }
      this.shown = end;
      if (end < this.items.length) {
        const more = document.createElement('li');
        more.className = 'more';
        more.tabIndex = -1;
        more.setAttribute('role', 'button');
        more.textContent = 'show next ' + Math.min(CHUNK, this.items.length - end) + ' of ' +
          (this.items.length - end) + ' more differences';
        frag.appendChild(more);
      }
      this.el.appendChild(frag);
      if (focus && firstNew) this.move(firstNew);
    }

    move(li) {
      if (!li) return;
      this.el.querySelectorAll('li[tabindex="0"]').forEach((x) => { x.tabIndex = -1; });
      li.tabIndex = 0;
      li.focus();
    }

    activate(li) {
      if (this.current) {
        this.current.classList.remove('active');
        this.current.removeAttribute('aria-current');
      }
      li.classList.add('active');
      li.setAttribute('aria-current', 'true');
      this.current = li;
      this.move(li);
      this.onActivate(li.dataset.path);
    }

    onKey(e) {
      const li = e.target.closest('li');
      if (!li) return;
      let handled = true;
      switch (e.key) {
        case 'ArrowDown': this.move(li.nextElementSibling); break;
        case 'ArrowUp': this.move(li.previousElementSibling); break;
        case 'Home': this.move(this.el.firstElementChild); break;
        case 'End': this.move(this.el.lastElementChild); break;
        case 'Enter':
        case ' ':
          if (li.classList.contains('more')) this.showMore(true);
          else this.activate(li);
          break;
        default: handled = false;
      }
      if (handled) e.preventDefault();
    }
  }
  NR.DiffList = DiffList;
})(window.NR);
