#!/usr/bin/env python3
"""A simulated BMC that dies, loses datagrams or answers slowly, under platformq.

Run inside sim/run PROFILE, with the built platformq:
  check_faults.py --platformq P --proxy sim/ipmi/udp_proxy.py [--walk] [--report FILE]
--walk: the profile has a 1,000-record event log, and only the faults that meet a long walk
are played (the simulator killed half-way through it, a lossy link under it); without it, the
rest: a dead BMC, one killed in the middle of a query, loss, slowness and a restart.

TimeoutMs is set to 1000 so that every fault costs about a second. For each fault the time of
each query is measured against TimeoutMs: every one must answer, with values or error keys,
and is held to twice TimeoutMs after the fault (a bound that a busy machine's scheduling does
not cross, and that a query waiting out retries would); the goal of 1.2 x TimeoutMs is printed
beside each time, met or missed, as a measurement. Every answer is compared with the healthy BMC's: a
value is either the same or an error key, never another value. A long-running platformq
(--repeat) meets a dead BMC and its return, and must come back to the healthy answers without
gaining threads or descriptors. The measured times are printed (and written to --report).
"""

import argparse
import json
import os
import re
import subprocess
import sys
import time
from pathlib import Path

TIMEOUT_MS = 1000
LIMIT = 2.0 * TIMEOUT_MS / 1000  # seconds a query may take once the BMC has failed
GOAL = 1.2 * TIMEOUT_MS / 1000  # what it takes on a machine not busy with other work
CHILD_TIMEOUT = 30
FAILURES = []
TIMES = []

PROCESSOR = "/Platform/ProcessorInfo/PhysicalProcessorStatus[2]"
DIMM = "/Platform/MemoryTopology/MemoryInfo[2]/MemoryState"
ERRORS = "/Platform/MemoryTopology/Errors"
SEL = "/BMC/SEL/RECORD"
QUERIES = ["/Platform", PROCESSOR, DIMM, ERRORS, SEL]
WALKS = [ERRORS, SEL]


def check(condition, message):
    if not condition:
        FAILURES.append(message)
        print(f"FAIL: {message}", file=sys.stderr)
    return condition


def record(fault, query, seconds, outcome):
    TIMES.append((fault, query, seconds, outcome))
    print(f"{fault:<28} {query:<52} {seconds * 1000:7.0f} ms  {outcome}")


class Settings:
    """The settings file sim/run wrote, with TimeoutMs and the port the driver is sent to."""

    def __init__(self):
        self.path = Path(os.environ["ORDIX_CONFIG_DIR"]) / "OrdixServMgmtSettings.ini"
        self.text = self.path.read_text()

    def point_at(self, port):
        text = re.sub(r"^Port=.*$", f"Port={port}", self.text, flags=re.M)
        self.path.write_text(re.sub(r"^TimeoutMs=.*$", f"TimeoutMs={TIMEOUT_MS}", text, flags=re.M))


class Proxy:
    """udp_proxy.py between the driver and the simulator for one block of queries."""

    def __init__(self, script, *options):
        self.proc = subprocess.Popen(
            [sys.executable, script, "--target", os.environ["ORDIX_SIM_BMC_PORT"],
             "--lifetime", "120", *options],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.port = int(self.proc.stdout.readline())

    def stopped_at(self):
        """When the proxy began stopping the BMC, once it has."""
        line = self.proc.stdout.readline()
        return float(line.split()[1]) if line.startswith("stopped") else None

    def close(self):
        self.proc.stdin.close()
        self.proc.wait(timeout=CHILD_TIMEOUT)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()


def bmc(action):
    subprocess.run([os.environ["ORDIX_SIM_BMC_CTL"], action], check=True, timeout=CHILD_TIMEOUT,
                   stdout=subprocess.DEVNULL)


def platformq(args, *queries):
    """(seconds, exit status, answer, standard error) of one platformq run."""
    start = time.monotonic()
    r = subprocess.run([args.platformq, "--format", "json", *queries], capture_output=True,
                       text=True, errors="replace", timeout=CHILD_TIMEOUT)
    seconds = time.monotonic() - start
    return seconds, r.returncode, json.loads(r.stdout) if r.stdout.strip() else {}, r.stderr


def timed_query(args, query):
    """(seconds, exit status, answers, standard error): the query run twice in one platformq,
    timed by its second round, which is the query alone (no process start or module load). The
    second round meets the BMC as the first left it: its session kept, or none after a failure.
    """
    proc = subprocess.Popen([args.platformq, "--format", "json", "--repeat", "2", "--interval",
                             "0", query], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            text=True, errors="replace")
    answers, ends = [], []
    for line in proc.stdout:
        ends.append(time.monotonic())
        answers.append(json.loads(line))
    err = proc.stderr.read()
    code = proc.wait(timeout=CHILD_TIMEOUT)
    seconds = ends[1] - ends[0] if len(ends) == 2 else float("inf")
    return seconds, code, answers, err


def is_error_key(node):
    return any(v.startswith("ERROR_GET_") for v in node["list"])


def comparable(path, node):
    """A node as it must read again; a restarted simulator stamps its event log anew."""
    if node is None or not path.startswith(SEL + "["):
        return node
    tokens = node["list"][0].split() if node["list"] else []
    return {**node, "list": [" ".join(tokens[:5] + ["?"] * 4 + tokens[9:])]}


def same(answer, healthy):
    return answer.keys() == healthy.keys() and all(
        comparable(p, n) == comparable(p, healthy[p]) for p, n in answer.items())


def check_no_stale_value(fault, query, answer, healthy):
    """Each node is the healthy one or an error key: nothing else passes for a reading."""
    for path, node in answer.items():
        check(comparable(path, node) == comparable(path, healthy.get(path)) or is_error_key(node),
              f"{fault}: {query}: {path} = {node['list']}, healthy {healthy.get(path)}")


def error_detail(stderr):
    m = re.search(r"^error (\d+): .*$", stderr, re.M)
    return (int(m[1]), m[0]) if m else (None, "")


def run_faulty(args, fault, query, healthy, allowed):
    """One query under a fault: within its time, and no value that is not the healthy one."""
    taken, code, answers, err = timed_query(args, query)
    answer = answers[-1] if answers else {}
    code_raised, line = error_detail(err)
    outcome = (f"error {code_raised}" if code_raised
               else "error keys" if any(map(is_error_key, answer.values()))
               else "values")
    goal = allowed - LIMIT + GOAL
    record(fault, query, taken, f"{outcome} (1.2 x TimeoutMs {'met' if taken <= goal else 'MISSED'})")
    check(taken <= allowed, f"{fault}: {query} took {taken:.2f} s, more than {allowed:.2f} s")
    check(code in (0, 1, 2), f"{fault}: {query}: exit {code}: {err.strip()[-300:]}")
    if code == 2:
        check(code_raised in (2040, 2046), f"{fault}: {query}: {line}")
    for each in answers:
        check_no_stale_value(fault, query, each, healthy[query])
    return outcome, line


def healthy_answers(args, settings, queries):
    settings.point_at(os.environ["ORDIX_SIM_BMC_PORT"])
    answers, times = {}, {}
    for query in queries:
        seconds, code, both, err = timed_query(args, query)
        check(code == 0 and both and all(a == both[0] for a in both) and
              not any(map(is_error_key, both[0].values())),
              f"healthy: {query}: exit {code}, {err.strip()[-300:]}")
        answers[query], times[query] = both[0] if both else {}, seconds
        record("healthy", query, seconds, "values")
    if args.walk:
        check(len(answers[SEL]) == 1000, f"healthy: {len(answers[SEL])} event log records")
    return answers, times


def dead_bmc(args, settings, healthy):
    settings.point_at(os.environ["ORDIX_SIM_BMC_PORT"])
    bmc("stop")
    for query in QUERIES:
        outcome, line = run_faulty(args, "dead BMC", query, healthy, LIMIT)
        check(outcome != "values", f"dead BMC: {query} answered values")
        if query == SEL:
            port = os.environ["ORDIX_SIM_BMC_PORT"]
            check(f"no reply from 127.0.0.1:{port} within 400 ms: is [BMC] Host/Port right" in line,
                  f"dead BMC: the error does not say which step failed: {line}")
    bmc("start")


def killed_mid_query(args, settings, healthy, proxy_script, queries):
    """The simulator killed once half of a query's requests have gone out."""
    client_datagrams = count_requests(args, settings, proxy_script, queries)
    for query in queries:
        half = client_datagrams[query] // 2
        with Proxy(proxy_script, "--stop-after", str(half), "--stop-command",
                   '"$ORDIX_SIM_BMC_CTL" stop') as proxy:
            settings.point_at(proxy.port)
            seconds, code, answer, err = platformq(args, query)
            end = time.monotonic()
            stopped = proxy.stopped_at()
        if not check(stopped is not None, f"killed mid-query: {query} ended before the kill"):
            continue
        outcome = f"error {error_detail(err)[0]}" if code == 2 else (
            "error keys" if any(map(is_error_key, answer.values())) else "values")
        record("killed after half the requests", query, end - stopped, outcome + " (after kill)")
        check(end - stopped <= LIMIT, f"killed mid-query: {query} took {end - stopped:.2f} s "
              f"after the kill")
        check(outcome != "values", f"killed mid-query: {query} answered values")
        if query == SEL:
            line = error_detail(err)[1]
            check(f"session dropped: no reply from 127.0.0.1:{proxy.port} within 400 ms" in line,
                  f"killed mid-query: the error does not say the session dropped: {line}")
        check_no_stale_value("killed mid-query", query, answer, healthy[query])
        bmc("start")


def count_requests(args, settings, proxy_script, queries):
    """Datagrams each query sends, through a proxy that passes everything."""
    counts = {}
    for query in queries:
        with Proxy(proxy_script, "--count") as proxy:
            settings.point_at(proxy.port)
            platformq(args, query)
            proxy.proc.stdin.close()
            counts[query] = int(proxy.proc.stdout.readline().split()[1])
    return counts


def lossy(args, settings, healthy, healthy_times, proxy_script, queries):
    """Every tenth datagram lost: a query may fail once its time is spent, but never hangs."""
    with Proxy(proxy_script, "--drop-every", "10") as proxy:
        settings.point_at(proxy.port)
        for query in queries:
            run_faulty(args, "lossy 1 in 10", query, healthy,
                       healthy_times[query] + LIMIT)


def slow(args, settings, healthy, proxy_script):
    # A BMC too slow to answer within the session's wait: bounded, never wrong.
    with Proxy(proxy_script, "--delay-ms", str(TIMEOUT_MS)) as proxy:
        settings.point_at(proxy.port)
        for query in QUERIES:
            run_faulty(args, "slower than TimeoutMs", query, healthy, LIMIT)
    # A slow BMC within its time answers in full.
    with Proxy(proxy_script, "--delay-ms", "10") as proxy:
        settings.point_at(proxy.port)
        for query in (PROCESSOR, DIMM):
            outcome, _ = run_faulty(args, "slow (10 ms each way)", query, healthy, CHILD_TIMEOUT)
            check(outcome == "values", f"slow BMC: {query}: {outcome}")


def task_and_fd_counts(pid):
    return (len(os.listdir(f"/proc/{pid}/task")), len(os.listdir(f"/proc/{pid}/fd")))


def recovery(args, settings, healthy):
    """One platformq process, four rounds: healthy, BMC dead, BMC back, and once more. A fifth
    round keeps the process alive (in its wait) while the fourth round's counts are taken."""
    settings.point_at(os.environ["ORDIX_SIM_BMC_PORT"])
    interval = 1500
    proc = subprocess.Popen([args.platformq, "--format", "json", "--repeat", "5", "--interval",
                             str(interval), PROCESSOR, DIMM], stdout=subprocess.PIPE,
                            stderr=subprocess.DEVNULL, text=True)
    rounds, counts, ends = [], [], []
    try:
        for n in range(4):
            line = proc.stdout.readline()
            ends.append(time.monotonic())
            if not check(line, f"recovery: round {n + 1} printed nothing"):
                break
            rounds.append(json.loads(line))
            counts.append(task_and_fd_counts(proc.pid))
            if n == 0:
                bmc("stop")
            elif n == 1:
                bmc("start")
    finally:
        proc.wait(timeout=CHILD_TIMEOUT)
    if len(rounds) < 4:
        return
    wanted = {**healthy[PROCESSOR], **healthy[DIMM]}
    dead_round = ends[1] - ends[0] - interval / 1000
    record("dead BMC, long-running", f"{PROCESSOR} + {DIMM}", dead_round, "error keys")
    check(dead_round <= 2 * LIMIT, f"recovery: the round with the BMC dead took {dead_round:.2f} s")
    check(same(rounds[0], wanted), f"recovery: round 1 {rounds[0]}")
    check(all(is_error_key(node) for node in rounds[1].values()),
          f"recovery: round 2 (BMC dead) answered {rounds[1]}")
    check(same(rounds[2], wanted) and same(rounds[3], wanted),
          f"recovery: after the restart {rounds[2]}, then {rounds[3]}")
    # A dead BMC's session is closed, so a round may hold a descriptor less, never one more.
    check(all(tasks == counts[0][0] and fds <= counts[0][1] for tasks, fds in counts) and
          counts[3] == counts[0], f"recovery: threads and descriptors per round {counts}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--platformq", required=True)
    parser.add_argument("--proxy", required=True)
    parser.add_argument("--walk", action="store_true")
    parser.add_argument("--report", type=Path)
    args = parser.parse_args()
    settings = Settings()

    healthy, healthy_times = healthy_answers(args, settings, WALKS if args.walk else QUERIES)
    if args.walk:
        killed_mid_query(args, settings, healthy, args.proxy, WALKS)
        lossy(args, settings, healthy, healthy_times, args.proxy, WALKS)
    else:
        dead_bmc(args, settings, healthy)
        killed_mid_query(args, settings, healthy, args.proxy, [PROCESSOR])
        lossy(args, settings, healthy, healthy_times, args.proxy, QUERIES)
        slow(args, settings, healthy, args.proxy)
        recovery(args, settings, healthy)

    if args.report:
        args.report.parent.mkdir(parents=True, exist_ok=True)
        args.report.write_text("".join(f"{f}\t{q}\t{s * 1000:.0f}\t{o}\n" for f, q, s, o in TIMES))
    if FAILURES:
        sys.exit(f"{len(FAILURES)} check(s) failed")
    print("all checks passed")


if __name__ == "__main__":
    main()
