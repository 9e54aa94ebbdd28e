#!/usr/bin/env python3
"""A UDP relay on 127.0.0.1 between a client and a simulated BMC that loses, delays or cuts.

It listens on a free loopback port (printed as the first line of standard output), relays each
client's datagrams to the BMC's port and the BMC's replies back, and on the way:
  --drop-every N   drops every Nth datagram, counting both directions together;
  --delay-ms D     holds every datagram D milliseconds before passing it on;
  --stop-after N --stop-command CMD
                   once N datagrams from clients have been relayed, runs CMD (a shell command,
                   e.g. "$ORDIX_SIM_BMC_CTL stop") before relaying anything else, and prints
                   "stopped AT" with the time.monotonic() at which CMD began;
  --count          prints "relayed N", the datagrams relayed from clients, when it ends.
It relays until its standard input closes or --lifetime seconds have passed, and then exits.

Usage: udp_proxy.py --target PORT [options]
"""

import argparse
import heapq
import itertools
import os
import selectors
import socket
import subprocess
import sys
import time

LOOPBACK = "127.0.0.1"
MAX_DATAGRAM = 65535


class Relay:
    def __init__(self, args):
        self.args = args
        self.listener = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.listener.bind((LOOPBACK, 0))
        self.upstream = {}  # client address -> its socket towards the BMC
        self.clients = {}   # that socket -> the client address
        self.selector = selectors.DefaultSelector()
        self.selector.register(self.listener, selectors.EVENT_READ)
        self.pending = []   # (due, order, socket, datagram, address)
        self.order = itertools.count()
        self.seen = 0        # datagrams in both directions, for --drop-every
        self.from_clients = 0
        self.stopped = False

    @property
    def port(self):
        return self.listener.getsockname()[1]

    def towards_bmc(self, client):
        if client not in self.upstream:
            s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            s.bind((LOOPBACK, 0))
            self.upstream[client] = s
            self.clients[s] = client
            self.selector.register(s, selectors.EVENT_READ)
        return self.upstream[client]

    def relay(self, sock, datagram, address, from_client):
        self.seen += 1
        if self.args.drop_every and self.seen % self.args.drop_every == 0:
            return
        if from_client:
            self.maybe_stop()
            self.from_clients += 1
        due = time.monotonic() + self.args.delay_ms / 1000
        heapq.heappush(self.pending, (due, next(self.order), sock, datagram, address))

    def maybe_stop(self):
        if self.stopped or self.args.stop_after is None or self.from_clients < self.args.stop_after:
            return
        self.stopped = True
        print(f"stopped {time.monotonic():.6f}", flush=True)
        subprocess.run(self.args.stop_command, shell=True, check=False, timeout=30)

    def send_due(self):
        now = time.monotonic()
        while self.pending and self.pending[0][0] <= now:
            _, _, sock, datagram, address = heapq.heappop(self.pending)
            try:
                sock.sendto(datagram, address)
            except OSError:  # the BMC's port closed: a dead BMC drops it too
                pass

    def serve(self, deadline):
        stdin_open = True
        self.selector.register(sys.stdin, selectors.EVENT_READ)
        while stdin_open and time.monotonic() < deadline:
            wait = deadline - time.monotonic()
            if self.pending:
                wait = min(wait, max(self.pending[0][0] - time.monotonic(), 0))
            for key, _ in self.selector.select(timeout=wait):
                if key.fileobj is sys.stdin:
                    stdin_open = bool(os.read(sys.stdin.fileno(), 4096))
                    continue
                try:
                    datagram, address = key.fileobj.recvfrom(MAX_DATAGRAM)
                except OSError:  # an ICMP "port unreachable" from the dead BMC's port
                    continue
                if key.fileobj is self.listener:
                    self.relay(self.towards_bmc(address), datagram,
                               (LOOPBACK, self.args.target), True)
                else:
                    self.relay(self.listener, datagram, self.clients[key.fileobj], False)
            self.send_due()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--target", type=int, required=True, help="the BMC's UDP port")
    parser.add_argument("--drop-every", type=int, default=0)
    parser.add_argument("--delay-ms", type=float, default=0.0)
    parser.add_argument("--stop-after", type=int)
    parser.add_argument("--stop-command", default="")
    parser.add_argument("--count", action="store_true")
    parser.add_argument("--lifetime", type=float, default=300.0)
    args = parser.parse_args()
    if (args.stop_after is None) != (not args.stop_command):
        parser.error("--stop-after and --stop-command go together")
    relay = Relay(args)
    print(relay.port, flush=True)
    relay.serve(time.monotonic() + args.lifetime)
    if args.count:
        print(f"relayed {relay.from_clients}", flush=True)


if __name__ == "__main__":
    main()
