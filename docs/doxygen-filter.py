#!/usr/bin/env python3
"""Doxygen INPUT_FILTER for navreq's headers, which use plain // comments.

A // block directly above a declaration (or a #define) becomes a /// block,
and a trailing // comment after a member, an enumerator or a one-line
function becomes ///<, so that Doxygen takes them as the declarations'
descriptions. A block above a run of declarations with no blank or comment
line between them describes each of them (a member group). The file's head
comment becomes the file's description. Other comments (section notes followed
by a blank line or an #include, comments in function or macro bodies) stay
plain. The file's line count never changes, so Doxygen's line numbers still
point at the header.

  docs/doxygen-filter.py HEADER   (writes the filtered text to stdout)
"""
import re
import sys

# Characters Doxygen would take for commands, HTML or links in prose.
_ESCAPE = re.compile(r"([\\@<>&#%])")
_GLOBAL_SCOPE = re.compile(r"(?<![\w\\])::")
_SPECIAL_MEMBER = re.compile(r"^\s*~|=\s*(delete|default)\s*;")
_SCOPE_HEAD = re.compile(r"\b(namespace|struct|class|union|enum)\b")
_NOT_A_DECLARATION = re.compile(r"^\s*(#\s*(include|pragma|if|ifdef|ifndef|else|elif|endif|undef)\b"
                                r"|(public|private|protected)\s*:|}|$)")


def escape(text):
    # A :: not after a name would be an explicit link request to a global name.
    return _GLOBAL_SCOPE.sub(r"\\::", _ESCAPE.sub(r"\\\1", text))


def split_code_comment(line):
    """(code, comment) with comment the text after a // outside literals, or None."""
    quote = None
    i = 0
    while i < len(line):
        c = line[i]
        if quote:
            if c == "\\":
                i += 1
            elif c == quote:
                quote = None
        elif c in "\"'":
            # A digit separator (1'000) is no character literal.
            if c == "'" and i > 0 and line[i - 1].isalnum() and i + 1 < len(line) and line[i + 1].isalnum():
                pass
            else:
                quote = c
        elif line.startswith("//", i):
            return line[:i], line[i + 2:]
        elif line.startswith("/*", i):
            end = line.find("*/", i + 2)
            if end < 0:
                return line, None
            i = end + 1
        i += 1
    return line, None


def group_run(out, start):
    """Makes a comment above several declarations (up to the next blank or
    comment line) describe each of them: a Doxygen member group, whose first
    member's description the others share (DISTRIBUTE_GROUP_DOC)."""
    depth = 0
    ends = 0
    last = start
    i = start
    while i < len(out) and out[i].strip() and not out[i].lstrip().startswith(("//", "#")):
        code = split_code_comment(out[i].rstrip("\n"))[0]
        if depth == 0 and _SPECIAL_MEMBER.search(code):
            break  # a destructor or a deleted or defaulted member is no part of it
        for c in code:
            depth += {"{": 1, "}": -1}.get(c, 0)
        if depth < 0 or (depth > 0 and _SCOPE_HEAD.search(code)):
            return  # the end of a scope, or a class or namespace of its own
        if depth == 0 and code.rstrip().endswith((";", "}")):
            ends += 1
            last = i
        i += 1
    if ends < 2:
        return
    indent = out[start][: len(out[start]) - len(out[start].lstrip())]
    out[start] = indent + "/**@{*/ " + out[start].lstrip()
    code, comment = split_code_comment(out[last].rstrip("\n"))
    out[last] = code.rstrip() + " /**@}*/" + ("" if comment is None else "  //" + comment) + "\n"


def filter_lines(lines):
    out = []
    scopes = []  # per open brace: True for a namespace/class/enum scope, False for a body
    head = ""  # code since the last ; { or }, to tell what a { opens
    in_macro = False
    block = []  # indices in `out` of the pending // block
    documented_file = False
    described_runs = []  # indices in `out` of declarations that follow a doc block
    for line in lines:
        stripped = line.lstrip()
        at_scope = all(scopes)
        if stripped.startswith("//") and not in_macro:
            if not stripped.startswith("///") and not stripped.startswith("//!") and at_scope:
                block.append(len(out))
            out.append(line)
            continue
        if block:
            file_head = block[0] == 0 and _NOT_A_DECLARATION.match(line)
            if file_head or not _NOT_A_DECLARATION.match(line):
                for i in block:
                    indent, text = out[i].split("//", 1)
                    out[i] = indent + "///" + escape(text)
                if not file_head:
                    described_runs.append(len(out))
            if file_head:
                # The file's own description: Doxygen checks the macros and
                # functions of documented files only.
                out[block[-1]] = out[block[-1]].rstrip("\n") + " \\file\n"
                documented_file = True
            block = []
        if in_macro or stripped.startswith("#"):
            in_macro = line.rstrip("\n").endswith("\\")
            out.append(line)
            continue
        code, comment = split_code_comment(line.rstrip("\n"))
        tail = code.rstrip()
        # After a member, an enumerator, or a function defined on its line.
        described = tail.endswith((";", ",")) or (tail.endswith("}") and tail.count("{") == tail.count("}") > 0)
        if comment is not None and at_scope and described and not comment.startswith("/"):
            line = code + "///<" + escape(comment) + "\n"
        for c in code:
            if c == "{":
                scopes.append(bool(_SCOPE_HEAD.search(head)) and "(" not in head and "=" not in head)
                head = ""
            elif c == "}":
                if scopes:
                    scopes.pop()
                head = ""
            elif c == ";":
                head = ""
            else:
                head += c
        head += " "
        out.append(line)
    for start in described_runs:
        group_run(out, start)
    if not documented_file and out:
        # No head comment: the file still takes part in the checks.
        out[0] = "/** \\file */ " + out[0]
    return out


def main():
    with open(sys.argv[1], encoding="utf-8") as f:
        sys.stdout.write("".join(filter_lines(f.readlines())))


if __name__ == "__main__":
    main()
