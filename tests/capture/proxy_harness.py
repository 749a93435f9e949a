"""Child processes for the mitmproxy tests: an HTTP server, mitmdump as a proxy
in front of it, a client that posts through the proxy, and mitmdump reading the
saved flows back; the saved flows and the view script loaded in this process.
Every child is started by these helpers and stopped by them, by its own process
id, whatever the test's outcome.
"""

from __future__ import annotations

import contextlib
import http.client
import http.server
import importlib.util
import os
import signal
import socket
import subprocess
import threading
import time
from pathlib import Path
from types import ModuleType
from typing import Any, Dict, Iterable, Iterator, List, Optional, Sequence, Tuple

REPO = Path(__file__).resolve().parents[2]
VIEW_SCRIPT = REPO / "tools" / "capture" / "navreq_mitmproxy.py"
MITMDUMP = os.environ.get("MITMDUMP", "/usr/bin/mitmdump")
NAVREQ_TOOL = Path(os.environ.get("NAVREQ_TOOL", REPO / "build" / "dev" / "tools" / "navreq" / "navreq"))

START_TIMEOUT = 30.0  # mitmdump imports a lot before it listens
RUN_TIMEOUT = 120.0


class EchoHandler(http.server.BaseHTTPRequestHandler):
    """Answers every POST: under /echo/ with the request's own body and
    Content-Type and Content-Encoding, elsewhere with a short text."""

    protocol_version = "HTTP/1.1"

    def do_POST(self) -> None:  # noqa: N802 (the name http.server calls)
        body = self.rfile.read(int(self.headers.get("Content-Length", "0")))
        if self.path.startswith("/echo/"):
            headers = {k: v for k, v in self.headers.items() if k.lower() in ("content-type", "content-encoding")}
        else:
            body, headers = b"stored\n", {"Content-Type": "text/plain"}
        self.send_response(200)
        for key, value in headers.items():
            self.send_header(key, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *args: object) -> None:
        pass


@contextlib.contextmanager
def http_server() -> Iterator[int]:
    """A threaded HTTP server on 127.0.0.1 at a port the system picks; yields the port."""
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), EchoHandler)
    thread = threading.Thread(target=server.serve_forever, daemon=True)
    thread.start()
    try:
        yield server.server_address[1]
    finally:
        server.shutdown()
        server.server_close()
        thread.join(timeout=10)


def package_env() -> Dict[str, str]:
    """This process's environment with the directory navreq was imported from first
    on PYTHONPATH: mitmproxy's programs run Debian's python3, which does not see
    the packages of a venv (make python installs into build/venv)."""
    import navreq

    module = Path(navreq.__file__).resolve()
    where = module.parents[1] if module.stem == "__init__" else module.parent
    paths = [str(where)] + [p for p in os.environ.get("PYTHONPATH", "").split(os.pathsep) if p]
    return {**os.environ, "PYTHONPATH": os.pathsep.join(paths)}


def free_port() -> int:
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as s:
        s.bind(("127.0.0.1", 0))
        return int(s.getsockname()[1])


def stop(process: subprocess.Popen, grace: float = 15.0) -> None:
    """Stops a child started here: SIGINT (mitmdump then writes out its flows), then SIGKILL."""
    if process.poll() is None:
        process.send_signal(signal.SIGINT)
        try:
            process.wait(timeout=grace)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait(timeout=grace)


def _wait_listening(process: subprocess.Popen, port: int) -> bool:
    """True once PORT accepts connections; False if the process ended first."""
    deadline = time.monotonic() + START_TIMEOUT
    while time.monotonic() < deadline:
        if process.poll() is not None:
            return False
        with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port), timeout=1):
            return True
        time.sleep(0.1)
    raise TimeoutError(f"mitmdump did not listen on 127.0.0.1:{port} within {START_TIMEOUT:.0f} s")


@contextlib.contextmanager
def recording_proxy(flows: Path, confdir: Path, log: Path) -> Iterator[int]:
    """mitmdump as an HTTP proxy on 127.0.0.1 writing every flow to FLOWS; yields its port.

    A port picked free can be taken before mitmdump binds it: then another is tried.
    """
    for _attempt in range(5):
        port = free_port()
        with open(log, "wb") as out:
            process = subprocess.Popen(
                [MITMDUMP, "-q", "--listen-host", "127.0.0.1", "-p", str(port), "-w", str(flows),
                 "--set", f"confdir={confdir}"],
                stdin=subprocess.DEVNULL, stdout=out, stderr=subprocess.STDOUT,
            )
        try:
            if _wait_listening(process, port):
                yield port
                return
        finally:
            stop(process)
    raise RuntimeError(f"mitmdump could not listen (last output in {log}): {log.read_text(errors='replace')}")


def post(proxy_port: int, server_port: int, path: str, body: bytes,
         headers: Dict[str, str]) -> Tuple[int, bytes]:
    """POSTs BODY to the server through the proxy (absolute-form request line, as
    a client configured with an HTTP proxy sends it); returns status and body."""
    connection = http.client.HTTPConnection("127.0.0.1", proxy_port, timeout=30)
    try:
        connection.request("POST", f"http://127.0.0.1:{server_port}{path}", body=body, headers=headers)
        response = connection.getresponse()
        return response.status, response.read()
    finally:
        connection.close()


def record_posts(work: Path, posts: Iterable[Tuple[str, bytes, Dict[str, str]]]
                 ) -> Tuple[Path, Dict[str, Tuple[int, bytes]]]:
    """POSTs every (path, body, headers) through mitmdump recording in front of a
    local server; returns the flows file and each path's status and answer."""
    flows = work / "flows"
    answers = {}
    with http_server() as server_port:
        with recording_proxy(flows, work / "conf", work / "proxy.log") as proxy_port:
            for path, body, headers in posts:
                answers[path] = post(proxy_port, server_port, path, body, headers)
    assert flows.stat().st_size > 0
    return flows, answers


def saved_flows(flows: Path) -> List[Any]:
    """The flows of a file mitmdump wrote, in the order they were recorded."""
    from mitmproxy import io

    with open(flows, "rb") as f:
        return list(io.FlowReader(f).stream())


def load_view_module() -> ModuleType:
    """A fresh copy of the view script, imported as mitmproxy imports it (not yet loaded)."""
    found = importlib.util.spec_from_file_location("navreq_mitmproxy_under_test", VIEW_SCRIPT)
    assert found is not None and found.loader is not None
    module = importlib.util.module_from_spec(found)
    found.loader.exec_module(module)
    return module


def read_flows(flows: Path, confdir: Path, scripts: Sequence[Path] = (VIEW_SCRIPT,),
               env: Optional[Dict[str, str]] = None) -> subprocess.CompletedProcess:
    """mitmdump reading saved flows headless, every body printed through its view."""
    args: List[str] = [MITMDUMP, "-n", "-r", str(flows), "--flow-detail", "4", "--set", f"confdir={confdir}"]
    for script in scripts:
        args += ["-s", str(script)]
    return subprocess.run(args, stdin=subprocess.DEVNULL, capture_output=True, timeout=RUN_TIMEOUT,
                          env=package_env() if env is None else env, text=True, errors="replace")


def navreq_dump(data: bytes) -> str:
    """The tool's text tree of DATA read as raw bytes: what the view must show."""
    result = subprocess.run([str(NAVREQ_TOOL), "dump", "--raw", "-"], input=data, capture_output=True,
                            timeout=RUN_TIMEOUT)
    assert result.returncode in (0, 1, 2), result.stderr.decode(errors="replace")
    return result.stdout.decode()
