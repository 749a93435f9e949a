'use strict';
// The tree view (WAI-ARIA tree): children are rendered only when their
// parent is expanded. A long container comes in windows: its last item is a
// "show next" marker that loads the next window from the module.
(function (NR) {
  const VALUE_SHOWN = 160; // characters shown before the value is cut visually
  const MORE_STEP = 500; // items the module gives per container and window

  function span(cls, text) {
    const s = document.createElement('span');
    s.className = cls;
    s.textContent = text;
    return s;
  }

  class TreeView {
    constructor(el, onSelect) {
      this.el = el; // ul[role=tree]
      this.onSelect = onSelect;
      this.doc = null;
      this.selected = null;
      this.focused = null;
      this.windows = new Map(); // "show next" markers loading -> their promise
      el.addEventListener('click', (e) => this.onClick(e));
      el.addEventListener('keydown', (e) => this.onKey(e));
    }

    clear() {
      this.windows.clear();
      this.el.textContent = '';
      this.doc = null;
      this.selected = null;
      this.focused = null;
    }

    show(doc) {
      this.clear();
      this.doc = doc;
      this.fillGroup(doc.root, this.el);
      const first = this.el.querySelector('[role=treeitem]');
      if (first) this.setFocusable(first);
    }

    // --- rendering -------------------------------------------------------

    renderItem(node) {
      const li = document.createElement('li');
      li.setAttribute('role', 'treeitem');
      li.tabIndex = -1;
      li.dataset.path = node.path;
      li.setAttribute('aria-level', String(node.depth));
      node.el = li;
      li._node = node;
      const row = document.createElement('div');
      row.className = 'row';
      if (node.kind === 'more') {
        const m = node.j;
        const next = Math.min(m.items - m.from, MORE_STEP);
        li.className = 'more';
        li.dataset.buffer = '';
        row.textContent = 'show next ' + next + ' of ' + m.items;
        row.title = 'items ' + m.from + ' to ' + (m.items - 1) + ' are not loaded yet (Enter loads ' + next + ')';
        li.appendChild(row);
        return li;
      }
      if (node.kind === 'missing') {
        li.className = 'missing';
        li.dataset.name = node.j.name;
        li.dataset.tag = String(node.j.tag);
        li.dataset.buffer = '';
        row.dataset.label = node.j.tag + ' ' + node.j.name + ' (' + (node.j.declared || '') + ')';
        row.textContent = 'missing';
        li.appendChild(row);
        return li;
      }
      li.dataset.buffer = node.buf;
      li.dataset.at = String(node.at);
      li.dataset.len = String(node.len);
      li.dataset.start = String(node.start);
      li.className = 'kind-' + node.kind;
      const twisty = span('twisty', '');
      twisty.setAttribute('aria-hidden', 'true');
      row.appendChild(twisty);
      row.appendChild(span('name', node.name));
      row.appendChild(span('type', node.typeText));
      const value = node.valueText;
      if (value !== null) {
        const v = span('value' + (node.isString ? ' str' : ''), value);
        row.appendChild(v);
        if (value.length > VALUE_SHOWN) {
          // The whole value stays in .value; what is shown is its start (a
          // long single line would cost the layout dearly).
          v.classList.add('long');
          const cut = span('value-cut' + (node.isString ? ' str' : ''), value.slice(0, VALUE_SHOWN) + '\u2026');
          cut.title = value.length > 4096 ? value.slice(0, 4096) + '\u2026 (' + value.length +
            ' characters; select the field for the whole value)' : value;
          row.appendChild(cut);
        }
      }
      const summary = node.summary;
      if (summary) row.appendChild(span('summary', summary));
      row.appendChild(span('at', '@' + node.at + '+' + node.len));
      for (const p of node.problems) row.appendChild(span('problem', p));
      if (node.kind === 'undecoded') row.appendChild(span('why', node.j.why || ''));
      if (node.j && node.j.error !== undefined) row.appendChild(span('why', node.j.error));
      li.appendChild(row);
      if (node.expandable) li.setAttribute('aria-expanded', 'false');
      if (node.problems.length || node.kind === 'undecoded') li.classList.add('has-problem');
      return li;
    }

    // Fills a group with a node's children (all that are loaded).
    fillGroup(node, group) {
      const frag = document.createDocumentFragment();
      for (const k of node.children()) frag.appendChild(this.renderItem(k));
      group.appendChild(frag);
    }

    // Replaces a "show next" marker by the next window of items. The module
    // walks the input again for it (up to a second or two for a very large
    // request, in the worker): the marker says "loading…" meanwhile, and the
    // tree stays usable. Resolves when the items are rendered.
    loadMore(li) {
      if (li.dataset.loading) return this.pendingWindow(li);
      li.dataset.loading = '1';
      li.setAttribute('aria-busy', 'true');
      li.querySelector('.row').textContent = 'loading\u2026';
      const doc = this.doc;
      const p = doc.loadMore(li._node).then((added) => {
        if (this.doc === doc && li.isConnected) this.replaceMarker(li, added);
      }, (e) => {
        if (NR.isStale(e) || this.doc !== doc) return;
        li.querySelector('.row').textContent = 'could not load more: ' + (e && e.message ? e.message : e);
        delete li.dataset.loading;
        li.removeAttribute('aria-busy');
      }).finally(() => this.windows.delete(li));
      this.windows.set(li, p);
      return p;
    }

    pendingWindow(li) {
      return this.windows.get(li) || Promise.resolve();
    }

    // Resolves when every window asked for so far is rendered.
    settled() {
      return Promise.all(Array.from(this.windows.values()));
    }

    replaceMarker(li, added) {
      const wasFocused = document.activeElement === li;
      const frag = document.createDocumentFragment();
      for (const k of added) frag.appendChild(this.renderItem(k));
      li.parentNode.insertBefore(frag, li);
      li.remove();
      const first = added.length ? added[0].el : null;
      if (wasFocused && first) this.focusItem(first);
      else if (this.focused === li) {
        this.focused = null;
        if (first) this.setFocusable(first);
      }
    }

    expand(li) {
      const node = li._node;
      if (!node || !node.expandable || li.getAttribute('aria-expanded') === 'true') return;
      let group = li.querySelector(':scope > ul');
      if (!group) {
        group = document.createElement('ul');
        group.setAttribute('role', 'group');
        li.appendChild(group);
        this.fillGroup(node, group);
      }
      li.setAttribute('aria-expanded', 'true');
    }

    collapse(li) {
      if (li.getAttribute('aria-expanded') === 'true') li.setAttribute('aria-expanded', 'false');
    }

    // Expands everything loaded below li (windows not loaded stay so).
    expandAll(li) {
      const stack = li ? [li] : Array.from(this.el.children).filter((x) => x._node).reverse();
      let count = 0;
      while (stack.length) {
        const x = stack.pop();
        if (!x._node || !x._node.expandable) continue;
        this.expand(x);
        count++;
        const group = x.querySelector(':scope > ul');
        if (!group) continue;
        const items = Array.from(group.children).filter((c) => c._node);
        for (let i = items.length - 1; i >= 0; i--) stack.push(items[i]);
      }
      return count;
    }

    // Makes a node's element exist and be visible: its ancestors expanded.
    reveal(node) {
      const chain = [];
      for (let n = node.parent; n && n.kind !== 'root'; n = n.parent) chain.push(n);
      for (let i = chain.length - 1; i >= 0; i--) this.expand(chain[i].el);
      return node.el;
    }

    // --- selection and focus ------------------------------------------------

    select(node, opts) {
      opts = opts || {};
      const li = this.reveal(node);
      if (!li) return;
      if (this.selected && this.selected !== li) this.selected.removeAttribute('aria-selected');
      li.setAttribute('aria-selected', 'true');
      this.selected = li;
      this.setFocusable(li);
      if (opts.focus) li.focus({ preventScroll: true });
      if (opts.scroll !== false) {
        const row = li.querySelector(':scope > .row');
        (row || li).scrollIntoView({ block: 'nearest', inline: 'nearest' });
      }
      if (!opts.silent && this.onSelect) this.onSelect(node, opts.origin || 'tree');
    }

    setFocusable(el) {
      if (this.focused && this.focused !== el) this.focused.tabIndex = -1;
      el.tabIndex = 0;
      this.focused = el;
    }

    focusItem(el) {
      if (!el) return;
      this.setFocusable(el);
      el.focus();
    }

    // The visible treeitems in order.
    nextUnit(li) {
      if (li.getAttribute('aria-expanded') === 'true') {
        const g = li.querySelector(':scope > ul');
        if (g && g.firstElementChild) return g.firstElementChild;
      }
      for (let x = li; x && x !== this.el; x = x.parentNode.closest('li') || null) {
        if (x.nextElementSibling) return x.nextElementSibling;
        if (x.parentNode === this.el) return null;
      }
      return null;
    }

    prevUnit(li) {
      let x = li.previousElementSibling;
      if (!x) {
        const up = li.parentNode.closest('li');
        return up && this.el.contains(up) ? up : null;
      }
      while (x.getAttribute('aria-expanded') === 'true') {
        const g = x.querySelector(':scope > ul');
        if (!g || !g.lastElementChild) break;
        x = g.lastElementChild;
      }
      return x;
    }

    lastUnit() {
      let x = this.el.lastElementChild;
      while (x && x.getAttribute('aria-expanded') === 'true') {
        const g = x.querySelector(':scope > ul');
        if (!g || !g.lastElementChild) break;
        x = g.lastElementChild;
      }
      return x;
    }

    onClick(e) {
      const li = e.target.closest('[role=treeitem]');
      if (!li || !this.el.contains(li) || !li._node) return;
      if (li._node.kind === 'more') {
        this.focusItem(li);
        this.loadMore(li);
        return;
      }
      if (e.target.classList.contains('twisty')) {
        if (li.getAttribute('aria-expanded') === 'true') this.collapse(li);
        else this.expand(li);
      }
      this.select(li._node, { focus: true, origin: 'tree', scroll: false });
    }

    onKey(e) {
      const cur = e.target.closest('li');
      if (!cur || !this.el.contains(cur)) return;
      const isMore = cur._node && cur._node.kind === 'more';
      let handled = true;
      switch (e.key) {
        case 'ArrowDown': this.focusItem(this.nextUnit(cur)); break;
        case 'ArrowUp': this.focusItem(this.prevUnit(cur)); break;
        case 'Home': this.focusItem(this.el.firstElementChild); break;
        case 'End': this.focusItem(this.lastUnit()); break;
        case 'ArrowRight':
          if (isMore) break;
          if (cur.getAttribute('aria-expanded') === 'false') this.expand(cur);
          else if (cur.getAttribute('aria-expanded') === 'true') this.focusItem(this.nextUnit(cur));
          break;
        case 'ArrowLeft':
          if (cur.getAttribute('aria-expanded') === 'true') this.collapse(cur);
          else {
            const up = cur.parentNode.closest('li');
            if (up && this.el.contains(up)) this.focusItem(up);
          }
          break;
        case 'Enter':
        case ' ':
          if (isMore) this.loadMore(cur);
          else if (cur._node) this.select(cur._node, { focus: true, origin: 'tree', scroll: false });
          break;
        case '*':
          if (!isMore) this.expandAll(cur);
          break;
        default: handled = false;
      }
      if (handled) {
        e.preventDefault();
        e.stopPropagation();
      }
    }
  }
  NR.TreeView = TreeView;
})(window.NR);
