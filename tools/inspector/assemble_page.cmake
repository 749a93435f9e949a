# Builds the single-file inspector page: index.html with the style sheets, the
# compiled module and the page scripts inlined at its three placeholders.
#
#   cmake -DMODULE_JS=navreq_module.js -DPAGE_DIR=tools/inspector/page \
#         -DOUTPUT=navreq-inspector.html -DFILES="index.html;style.css;a.js;..." \
#         -P assemble_page.cmake
#
# Only the placeholder text is replaced (string(FIND)/string(SUBSTRING)): the
# minified module holds "@" and "${" sequences that configure_file would expand.

foreach(var MODULE_JS PAGE_DIR OUTPUT FILES)
  if(NOT DEFINED ${var} OR "${${var}}" STREQUAL "")
    message(FATAL_ERROR "assemble_page: -D${var}=... is required")
  endif()
endforeach()

set(html_file "")
set(css_text "")
set(js_text "")
foreach(name IN LISTS FILES)
  set(path "${PAGE_DIR}/${name}")
  if(NOT EXISTS "${path}")
    message(FATAL_ERROR "assemble_page: ${path} does not exist")
  endif()
  if(name MATCHES "\\.html$")
    set(html_file "${path}")
  elseif(name MATCHES "\\.css$")
    file(READ "${path}" text)
    string(APPEND css_text "/* ${name} */\n${text}\n")
  elseif(name MATCHES "\\.js$")
    file(READ "${path}" text)
    string(APPEND js_text "// ${name}\n${text}\n")
  else()
    message(FATAL_ERROR "assemble_page: ${name}: neither .html, .css nor .js")
  endif()
endforeach()
if(html_file STREQUAL "")
  message(FATAL_ERROR "assemble_page: FILES names no .html skeleton")
endif()
if(NOT EXISTS "${MODULE_JS}")
  message(FATAL_ERROR "assemble_page: module ${MODULE_JS} does not exist")
endif()
file(READ "${MODULE_JS}" module_text)
file(READ "${html_file}" page)

# Text inside <script> (or <style>) ends at the first "</script" ("</style"),
# whatever its case: such text would cut the page short.
function(check_inline what text closing)
  string(TOLOWER "${text}" lower)
  string(FIND "${lower}" "${closing}" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "assemble_page: ${what} contains \"${closing}\" (at character ${at}), "
                        "which the HTML parser would read as markup")
  endif()
endfunction()
check_inline("the style sheets" "${css_text}" "</style")
check_inline("the module ${MODULE_JS}" "${module_text}" "</script")
check_inline("the page scripts" "${js_text}" "</script")
# "<!--" in a script, followed by "<script", would hide the script's end from
# the HTML parser.
check_inline("the module ${MODULE_JS}" "${module_text}" "<!--")
check_inline("the page scripts" "${js_text}" "<!--")

# Each placeholder stands once in the skeleton, in the order css, module, js.
# The page is cut at them and put together again, so inlined text is never
# searched or expanded.
set(previous -1)
set(pieces "")
foreach(p css module js)
  set(placeholder "<!-- navreq:${p} -->")
  string(FIND "${page}" "${placeholder}" first)
  string(FIND "${page}" "${placeholder}" last REVERSE)
  if(first EQUAL -1)
    message(FATAL_ERROR "assemble_page: ${html_file} lacks the placeholder ${placeholder}")
  endif()
  if(NOT first EQUAL last)
    message(FATAL_ERROR "assemble_page: ${html_file} has the placeholder ${placeholder} more than once")
  endif()
  if(NOT first GREATER previous)
    message(FATAL_ERROR "assemble_page: ${html_file}: the placeholders must come in the order css, module, js")
  endif()
  set(previous ${first})
  set(${p}_at ${first})
  string(LENGTH "${placeholder}" ${p}_len)
endforeach()

string(SUBSTRING "${page}" 0 ${css_at} part0)
math(EXPR from "${css_at} + ${css_len}")
math(EXPR n "${module_at} - ${from}")
string(SUBSTRING "${page}" ${from} ${n} part1)
math(EXPR from "${module_at} + ${module_len}")
math(EXPR n "${js_at} - ${from}")
string(SUBSTRING "${page}" ${from} ${n} part2)
math(EXPR from "${js_at} + ${js_len}")
string(SUBSTRING "${page}" ${from} -1 part3)
set(page "${part0}${css_text}${part1}${module_text}${part2}${js_text}${part3}")

get_filename_component(out_dir "${OUTPUT}" DIRECTORY)
if(out_dir)
  file(MAKE_DIRECTORY "${out_dir}")
endif()
file(WRITE "${OUTPUT}" "${page}")
string(LENGTH "${page}" size)
message(STATUS "assemble_page: wrote ${OUTPUT} (${size} bytes)")
