#!/usr/bin/python3
"""Regenerates docs/images/mitmproxy-view.png: mitmproxy's console showing a
request through the navreq content view.

    build/venv/bin/python scripts/mitmproxy-screenshot.py [OUT.png]   (make mitmproxy-screenshot)

The route search example and a copy of it cut short are posted through a
recording mitmdump (the tests' harness, tests/capture/proxy_harness.py).
mitmproxy's console then reads the saved flows in a detached tmux session of
its own, opened on the cut copy's request: its fields, their offsets, and
where decoding stopped in the console's "error" colour (mitmweb gives that
style no colour). The screen, captured with its colours, is written as an
HTML page and photographed by headless Chromium.
"""

from __future__ import annotations

import html
import os
import re
import shlex
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from typing import List

REPO = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(REPO / "tests" / "capture"))

import proxy_harness as harness  # noqa: E402

MITMPROXY = "/usr/bin/mitmproxy"
CHROMIUM = "chromium"
COLUMNS, ROWS = 104, 62  # the whole cut request, from its first field to the stop
CELL_W, CELL_H = 8.4, 17  # px of one character cell in the page's monospace font
LIMIT = 200 * 1024


def record(work: Path) -> Path:
    route = bytes.fromhex((REPO / "tests" / "tool" / "golden" / "route.hex").read_text())
    flows = work / "flows"
    headers = {"Content-Type": "application/octet-stream"}
    with harness.http_server() as server_port:
        with harness.recording_proxy(flows, work / "conf", work / "proxy.log") as proxy_port:
            for body in (route, route[:700]):
                status, _ = harness.post(proxy_port, server_port, "/route/search", body, headers)
                assert status == 200
    return flows


def xterm_colour(n: int) -> str:
    """The xterm 256-colour palette entry N as #rrggbb."""
    base = ["000000", "cd0000", "00cd00", "cdcd00", "0000ee", "cd00cd", "00cdcd", "e5e5e5",
            "7f7f7f", "ff0000", "00ff00", "ffff00", "5c5cff", "ff00ff", "00ffff", "ffffff"]
    if n < 16:
        return "#" + base[n]
    if n < 232:
        n -= 16
        steps = [0, 95, 135, 175, 215, 255]
        return "#%02x%02x%02x" % (steps[n // 36], steps[n // 6 % 6], steps[n % 6])
    grey = 8 + 10 * (n - 232)
    return "#%02x%02x%02x" % (grey, grey, grey)


SGR = re.compile(r"\x1b\[([0-9;]*)m")


def screen_to_html(screen: str) -> str:
    """tmux's capture (text with SGR colour sequences) as a page of coloured spans."""
    fg, bg, bold = "#e5e5e5", "#000000", False
    out: List[str] = []
    for line in screen.splitlines():
        at = 0
        for match in list(SGR.finditer(line)) + [None]:
            end = match.start() if match else len(line)
            if end > at:
                style = f"color:{fg};background:{bg}" + (";font-weight:bold" if bold else "")
                out.append(f'<span style="{style}">{html.escape(line[at:end])}</span>')
            if match is None:
                break
            at = match.end()
            codes = [int(c) if c else 0 for c in match.group(1).split(";")]
            i = 0
            while i < len(codes):
                c = codes[i]
                if c == 0:
                    fg, bg, bold = "#e5e5e5", "#000000", False
                elif c == 1:
                    bold = True
                elif c == 22:
                    bold = False
                elif c in (38, 48) and i + 2 < len(codes) and codes[i + 1] == 5:
                    colour = xterm_colour(codes[i + 2])
                    fg, bg = (colour, bg) if c == 38 else (fg, colour)
                    i += 2
                elif c in (38, 48) and i + 4 < len(codes) and codes[i + 1] == 2:
                    colour = "#%02x%02x%02x" % tuple(codes[i + 2:i + 5])
                    fg, bg = (colour, bg) if c == 38 else (fg, colour)
                    i += 4
                elif c == 39:
                    fg = "#e5e5e5"
                elif c == 49:
                    bg = "#000000"
                elif 30 <= c <= 37 or 90 <= c <= 97:
                    fg = xterm_colour(c - 30 if c < 90 else c - 82)
                elif 40 <= c <= 47 or 100 <= c <= 107:
                    bg = xterm_colour(c - 40 if c < 100 else c - 92)
                i += 1
        out.append("\n")
    return ("<!doctype html><meta charset=utf-8><body style='margin:0;background:#000'>"
            "<pre style='margin:0;padding:6px;font:14px/17px DejaVu Sans Mono,monospace'>"
            + "".join(out) + "</pre>")


def capture_console(flows: Path, work: Path) -> str:
    """The console's screen, with colours, opened on the last flow's request."""
    socket = f"navreq-shot-{os.getpid()}"
    tmux = ["tmux", "-L", socket]
    env = f"PYTHONPATH={shlex.quote(harness.package_env()['PYTHONPATH'])} TERM=xterm-256color"
    command = (f"{env} {MITMPROXY} -n -r {shlex.quote(str(flows))} -s {shlex.quote(str(harness.VIEW_SCRIPT))}"
               f" --set confdir={shlex.quote(str(work / 'conf'))}")
    subprocess.run(tmux + ["new-session", "-d", "-x", str(COLUMNS), "-y", str(ROWS), command], check=True)
    try:
        def screen(colours: bool = False) -> str:
            args = ["capture-pane", "-p"] + (["-e"] if colours else [])
            return subprocess.run(tmux + args, capture_output=True, text=True, check=True).stdout

        def wait_for(text: str) -> None:
            deadline = time.monotonic() + harness.START_TIMEOUT
            while text not in screen():
                if time.monotonic() > deadline:
                    raise TimeoutError(f"the console never showed {text!r}:\n{screen()}")
                time.sleep(0.2)

        wait_for("/route/search")
        subprocess.run(tmux + ["send-keys", "G", "Enter"], check=True)  # the last flow, opened
        wait_for("navreq Package")
        time.sleep(0.5)
        return screen(colours=True)
    finally:
        subprocess.run(tmux + ["kill-server"], capture_output=True)


def photograph(page: Path, out: Path) -> None:
    width, height = int(COLUMNS * CELL_W) + 12, ROWS * CELL_H + 12
    subprocess.run(
        [CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
         f"--user-data-dir={page.parent / 'chromium'}", f"--window-size={width},{height}",
         f"--screenshot={out}", page.as_uri()],
        stdin=subprocess.DEVNULL, capture_output=True, timeout=120, check=True,
    )


def main() -> int:
    out = Path(sys.argv[1]) if len(sys.argv) > 1 else REPO / "docs" / "images" / "mitmproxy-view.png"
    out.parent.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="navreq-mitmweb-") as tmp:
        work = Path(tmp)
        page = work / "console.html"
        page.write_text(screen_to_html(capture_console(record(work), work)))
        photograph(page, out.resolve())
    size = out.stat().st_size
    print(f"{out}: {size} bytes")
    if size >= LIMIT:
        print(f"larger than {LIMIT} bytes: make the screen smaller", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
