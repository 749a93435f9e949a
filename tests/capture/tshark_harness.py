"""Packet captures for the dissector's tests: TCP payloads written into a pcap
with text2pcap, and tshark reading it with the dissector loaded.

Every payload is one TCP segment from 10.0.0.1:40000 to 10.0.0.2:80 (a frame
larger than an Ethernet MTU, which pcap allows), so that no reassembly is
needed; tshark still runs with TCP reassembly on, as people run it.
"""

import os
import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
LUA = pathlib.Path(os.environ.get("NAVREQ_LUA", ROOT / "build/wireshark/navreq.lua"))
TOOL = pathlib.Path(os.environ.get("NAVREQ_TOOL", ROOT / "build/release/tools/navreq/navreq"))
ETH_IP_TCP = 14 + 20 + 20  # text2pcap's headers before the TCP payload


def capture(tmp, packets):
    """A pcap of `packets` (TCP payloads from 10.0.0.1:40000 to 10.0.0.2:80)."""
    text = tmp / "cap.txt"
    with open(text, "w") as out:
        for payload in packets:
            for i in range(0, len(payload), 16):
                out.write("%06x %s\n" % (i, " ".join("%02x" % b for b in payload[i:i + 16])))
            out.write("\n")
    pcap = tmp / "cap.pcap"
    subprocess.run(["text2pcap", "-q", "-T", "40000,80", "-4", "10.0.0.1,10.0.0.2", str(text), str(pcap)],
                   check=True)
    return pcap


def tshark(pcap, *args, env=None):
    """tshark's output for `pcap` with the dissector, which reads through TOOL; a Lua error fails."""
    run = subprocess.run(["tshark", "-r", str(pcap), "-X", "lua_script:" + str(LUA),
                          "-o", "tcp.desegment_tcp_streams:TRUE", *args],
                         capture_output=True, text=True, env={**os.environ, "NAVREQ_TOOL": str(TOOL), **(env or {})})
    output = run.stdout + run.stderr
    assert "Lua Error" not in output, output[output.find("Lua Error"):][:500]
    assert run.returncode == 0, output[-2000:]
    return run.stdout
