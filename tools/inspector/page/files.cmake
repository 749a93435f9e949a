# The inspector page's sources: the HTML skeleton, the style sheet, then the
# scripts in the order they are inlined (each one uses what the earlier ones
# define).
set(NAVREQ_INSPECTOR_PAGE_FILES
    index.html
    style.css
    input.js
    engine.js
    model.js
    tree.js
    hexpane.js
    compare.js
    har.js
    app.js)
