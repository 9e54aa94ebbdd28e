#!/usr/bin/env python3
"""Waits until a freshly started ipmi_sim answers, and prints the UDP port it listens on.

The simulator is told to listen on port 0, so the kernel picks a free port and no two
simulators can end up sharing one; the port is found among the sockets the process holds.
It counts as ready once it answers an RMCP presence ping (it reads its command file before it
answers anything) and the command file's last line, mark_ready READY_FILE, has run: without a
console the simulator stops reading a command file at its first bad line and says so nowhere.

Usage: await_bmc.py PID READY_FILE [--timeout SECONDS]
Exit status: 0 ready (port on standard output), 1 not ready (reason on standard error).
"""

import argparse
import os
import socket
import sys
import time
from pathlib import Path

LOOPBACK = "0100007F"  # 127.0.0.1 as /proc/net/udp writes it
# RMCP header (version 6, no sequence, class ASF) and an ASF presence ping with tag 0.
PING = bytes([0x06, 0x00, 0xFF, 0x06, 0x00, 0x00, 0x11, 0xBE, 0x80, 0x00, 0x00, 0x00])
PONG_TYPE = 0x40


def state(pid):
    """The process state letter, or None once the process is gone."""
    try:
        stat = Path(f"/proc/{pid}/stat").read_text()
    except OSError:
        return None
    return stat.rpartition(")")[2].split()[0]


def udp_port(pid):
    """The loopback UDP port one of the process's sockets is bound to, or None."""
    inodes = set()
    try:
        for fd in os.scandir(f"/proc/{pid}/fd"):
            try:
                target = os.readlink(fd.path)
            except OSError:
                continue
            if target.startswith("socket:["):
                inodes.add(target[len("socket:["):-1])
    except OSError:
        return None
    try:
        lines = Path("/proc/net/udp").read_text().splitlines()[1:]
    except OSError:
        return None
    for line in lines:
        fields = line.split()
        if len(fields) > 9 and fields[9] in inodes:
            address, _, port = fields[1].partition(":")
            if address == LOOPBACK and int(port, 16) != 0:
                return int(port, 16)
    return None


def pong(port, wait):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.settimeout(wait)
        try:
            s.sendto(PING, ("127.0.0.1", port))
            reply = s.recv(64)
        except OSError:  # timeout, or refused while the port is not open yet
            return False
    return len(reply) > 8 and reply[8] == PONG_TYPE


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("pid", type=int)
    parser.add_argument("ready_file", type=Path)
    parser.add_argument("--timeout", type=float, default=10.0)
    args = parser.parse_args()

    deadline = time.monotonic() + args.timeout
    while time.monotonic() < deadline:
        if state(args.pid) in (None, "Z", "X"):
            sys.exit("ipmi_sim exited while starting")
        port = udp_port(args.pid)
        if port is not None and pong(port, 0.05):
            if not args.ready_file.exists():
                sys.exit("ipmi_sim answers but stopped reading its command file early: "
                         "a line of it was rejected")
            print(port)
            return
        time.sleep(0.005)
    sys.exit(f"ipmi_sim did not answer within {args.timeout:g} s")


if __name__ == "__main__":
    main()
