#!/usr/bin/env python3
"""End-to-end checks of platform_exporter.

  scrape --exporter E --platformq P --prometheus S --promtool T --efi-cases V PROFILE_DIR
      (inside sim/run) a real Prometheus scrapes the exporter; its query API gives, for every
      metric family, what platformq reads of the same server; the BMC stopped flips
      platform_up{source="bmc"} to 0 and takes its readings away, started again it flips back.
  bad-input --exporter E --promtool T   (inside sim/run)
      a missing module and a port in use end the exporter with 1 and a message; settings that
      name a dead BMC keep it up, saying so in its metrics; SIGTERM stops it with 0.
  rules --promtool T --deploy DIR --rule-tests FILE [--exporter E]
      the shipped alert rules, their tests, the example Prometheus configuration and the
      systemd unit pass their checkers.
"""

import argparse
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import tomllib
import urllib.parse
import urllib.request
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE.parent / "bmc"), str(HERE.parent / "processor"),
                str(HERE.parent / "smbios")]
sys.dont_write_bytecode = True  # the sibling checks are imported from the source tree
from check_bmc import FAILURES, check, run  # noqa: E402
from check_processor import FAMILY  # noqa: E402

INTERVAL = "1s"          # the exporter's collections and Prometheus's scrapes alike
WAIT = 30                # seconds for anything awaited; a hang fails instead of stalling the run
MB = 1 << 20
STATES = ["ThermalTrip", "IERR", "FRB1", "FRB2", "FRB3", "ProcessorThrottled", "ConfigError"]
# The module's error keys and the codes it logs with them.
ERROR_CODES = {"ERROR_GET_MEMORY_DIMM_STATE": "1036", "ERROR_GET_PHYSICAL_PROCESSOR_STATUS": "1032",
               "ERROR_GET_MEMORY_ECC_ERROR_COUNT": "1037"}
# Labels Prometheus adds of its own.
TARGET_LABELS = {"__name__", "job", "instance"}


def fail(message):
    sys.exit(f"FAIL: {message}")


def wait_for(what, probe, timeout=WAIT):
    """Polls probe until it gives something true; fails the test with what after timeout."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        got = probe()
        if got:
            return got
        time.sleep(0.2)
    fail(f"waited {timeout} s for {what}")


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def http_get(url):
    with urllib.request.urlopen(url, timeout=5) as reply:
        return reply.read().decode()


class Exporter:
    """platform_exporter as a child process, on a free loopback port it reports itself."""

    def __init__(self, path, *args):
        self.log = tempfile.TemporaryFile(mode="w+")
        self.proc = subprocess.Popen([str(path), "--interval", INTERVAL, *map(str, args)],
                                     stdout=subprocess.DEVNULL, stderr=self.log, text=True)

    def stderr(self):
        self.log.seek(0)
        return self.log.read()

    def serving(self):
        """Its /metrics URL once it listens; fails the test if it ended instead."""
        def url():
            if self.proc.poll() is not None:
                fail(f"the exporter ended with {self.proc.returncode}: {self.stderr()}")
            m = re.search(r"serving (http://127\.0\.0\.1:\d+/metrics)", self.stderr())
            return m and m[1]
        return wait_for("the exporter to listen", url)

    def ended(self, timeout=WAIT):
        """Its exit status and standard error; fails the test if it is still running."""
        try:
            self.proc.wait(timeout)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            fail(f"the exporter is still running after {timeout} s: {self.stderr()[-2000:]}")
        return self.proc.returncode, self.stderr()

    def stop(self):
        """Sends SIGTERM; returns the exit status and how long the exporter took to end."""
        start = time.monotonic()
        self.proc.send_signal(signal.SIGTERM)
        status, _ = self.ended()
        return status, time.monotonic() - start


def samples(text):
    """The exposition's samples: {(name, frozenset of labels): value}."""
    found = {}
    for line in text.splitlines():
        m = re.fullmatch(r"([a-zA-Z_:][a-zA-Z0-9_:]*)(?:\{(.*)\})? (\S+)", line)
        if m and not line.startswith("#"):
            labels = frozenset(re.findall(r'(\w+)="((?:[^"\\]|\\.)*)"', m[2] or ""))
            found[(m[1], labels)] = float(m[3])
    return found


def promtool_check_metrics(promtool, text, when):
    r = run(promtool, "check", "metrics", input=text)
    check(r.returncode == 0, f"promtool check metrics ({when}): {r.stdout}{r.stderr}")


class Prometheus:
    """A Prometheus server on a loopback port with its data in a temporary directory, scraping
    one target every INTERVAL."""

    def __init__(self, server, target, data):
        self.port = free_port()
        config = Path(data) / "prometheus.yml"
        config.write_text(f"""global:
  scrape_interval: {INTERVAL}
  scrape_timeout: {INTERVAL}
scrape_configs:
  - job_name: platform
    static_configs:
      - targets: ["{target}"]
""")
        self.proc = subprocess.Popen(
            [server, f"--config.file={config}", f"--storage.tsdb.path={data}/tsdb",
             f"--web.listen-address=127.0.0.1:{self.port}", "--log.level=warn"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for("Prometheus to be ready", self.ready)

    def ready(self):
        if self.proc.poll() is not None:
            fail(f"Prometheus ended with {self.proc.returncode}")
        try:
            return http_get(f"http://127.0.0.1:{self.port}/-/ready") is not None
        except OSError:
            return False

    def query(self, expr):
        """The instant query's samples: {frozenset of labels without the target's: value}."""
        url = (f"http://127.0.0.1:{self.port}/api/v1/query?"
               + urllib.parse.urlencode({"query": expr}))
        reply = json.loads(http_get(url))
        if reply["status"] != "success":
            fail(f"query {expr}: {reply}")
        return {frozenset((k, v) for k, v in r["metric"].items() if k not in TARGET_LABELS):
                float(r["value"][1]) for r in reply["data"]["result"]}

    def stop(self):
        self.proc.terminate()
        try:
            self.proc.wait(WAIT)
        except subprocess.TimeoutExpired:
            self.proc.kill()


# --- what platformq reads -----------------------------------------------------------------

def platformq(path, *queries):
    r = run(path, "--format", "json", *queries, timeout=120)
    if r.returncode not in (0, 1):
        fail(f"platformq {queries}: exit {r.returncode}: {r.stderr}")
    return json.loads(r.stdout)


def leaf(answer, path):
    node = answer.get(path)
    return node["list"][0] if node and node["kind"] == 0 and node["list"] else None


def children(answer, path):
    node = answer.get(path)
    got = node["list"] if node and node["kind"] == 1 else []
    return [c for c in dict.fromkeys(got) if c.startswith((path + "/", path + "["))]


def index_of(path):
    return re.search(r"\[(\d+)\]$", path)[1]


def labels(**pairs):
    """A series' labels as Prometheus keeps them: an empty value is no label."""
    return frozenset((k, v) for k, v in pairs.items() if v)


def expected_families(answer, family, board):
    """Every metric family as the exporter must publish it, from platformq's answers."""
    want = {name: {} for name in (
        "platform_physical_processors", "platform_logical_processors", "platform_processor_state",
        "platform_processor_status_readable", "platform_memory_slot_size_bytes",
        "platform_memory_installed_bytes", "platform_dimm_state", "platform_dimm_state_readable",
        "platform_memory_corrected_errors", "platform_memory_uncorrected_errors",
        "platform_info", "platform_up")}
    proc, mem = "/Platform/ProcessorInfo", "/Platform/MemoryTopology"
    for name, path in (("platform_physical_processors", "NumberOfPhysicalProcessor"),
                       ("platform_logical_processors", "NumberOfLogicalProcessor")):
        value = leaf(answer, f"{proc}/{path}")
        if value and value.isdigit():
            want[name][labels()] = float(value)
    for status in [c for c in children(answer, proc) if "/PhysicalProcessorStatus[" in c]:
        package = index_of(status)
        readable = bool(children(answer, status))
        want["platform_processor_status_readable"][labels(package=package)] = float(readable)
        for state in STATES if readable else []:
            value = leaf(answer, f"{status}/{state}")
            if value in ("0", "1"):
                sensor = leaf(answer, f"{status}/SensorNumber")
                want["platform_processor_state"][
                    labels(package=package, sensor=sensor, state=state)] = float(value)
    for slot in children(answer, f"{mem}/MemoryInfo"):
        named = dict(index=index_of(slot), slot=leaf(answer, f"{slot}/MemorySlotName"),
                     bank=leaf(answer, f"{slot}/MemoryBankName"))
        size = leaf(answer, f"{slot}/MemorySize")
        if size and size.isdigit():
            want["platform_memory_slot_size_bytes"][labels(**named)] = float(int(size) * MB)
        named["sensor"] = leaf(answer, f"{slot}/SlotSensorNumber")
        state = leaf(answer, f"{slot}/MemoryState")
        readable = bool(state and re.fullmatch(r"[0-9a-f]+", state))
        want["platform_dimm_state_readable"][labels(**named)] = float(readable)
        if readable:
            want["platform_dimm_state"][labels(**named)] = float(int(state, 16))
    total = leaf(answer, f"{mem}/TotalMemorySize")
    want["platform_memory_installed_bytes"][labels()] = float(int(total) * MB)
    for name, path in (("platform_memory_corrected_errors", "CorErrorCount"),
                       ("platform_memory_uncorrected_errors", "UnCorErrorCount")):
        value = leaf(answer, f"{mem}/Errors/{path}")
        if value and value.isdigit():
            want[name][labels()] = float(value)
    want["platform_info"][labels(family=family, board=board,
                                 bios_version=leaf(answer, "/BIOS/Version"))] = 1.0
    for source in ("bmc", "smbios", "efi_variable"):
        want["platform_up"][labels(source=source)] = 1.0
    return want


def read_everything(path, logical):
    """platformq's answers to every reading the exporter publishes."""
    inventory = platformq(path, "/Platform")
    slots = children(inventory, "/Platform/MemoryTopology/MemoryInfo")
    usage = [f"/Platform/ProcessorInfo/LogicalProcessor[{n}]" for n in range(logical)]
    live = platformq(path, *(f"{s}/MemoryState" for s in slots),
                     "/Platform/MemoryTopology/Errors", "/BIOS/Version", *usage)
    return inventory | live, usage


# --- scrape --------------------------------------------------------------------------------

def compare_families(prometheus, want):
    for name, expected in want.items():
        got = prometheus.query(f'{{__name__="{name}"}}')
        check(got == expected, f"{name}: Prometheus has {sorted(got.items())}, "
                               f"platformq reads {sorted(expected.items())}")


def check_usage_and_failures(prometheus, answer, usage):
    sampled = {labels(logical_processor=index_of(q)) for q in usage
               if re.fullmatch(r"\d+\.\d+", leaf(answer, q) or "")}
    got = prometheus.query("platform_processor_usage_ratio")
    check(set(got) == sampled, f"usage of {sorted(got)}, platformq samples {sorted(sampled)}")
    check(all(0 <= v <= 1 for v in got.values()), f"usage outside [0, 1]: {got}")
    check(prometheus.query("platform_processor_usage_sweep_seconds"), "no usage sweep time")
    codes = {ERROR_CODES[k] for node in answer.values() for k in node["list"] if k in ERROR_CODES}
    counted = {dict(k)["code"] for k in prometheus.query("platform_failed_readings_total")}
    check(codes <= counted, f"failures counted by code {sorted(counted)}, platformq's answers "
                            f"hold the errors of {sorted(codes)}")
    took = prometheus.query("platform_collection_duration_seconds")
    check(len(took) == 1 and 0 < next(iter(took.values())) < 10, f"collection took {took}")
    ended = prometheus.query("platform_last_collection_timestamp_seconds")
    check(len(ended) == 1 and abs(next(iter(ended.values())) - time.time()) < 60,
          f"the last collection ended at {ended}, now is {time.time()}")


def bmc_value(prometheus):
    got = prometheus.query('platform_up{source="bmc"}')
    return next(iter(got.values())) if len(got) == 1 else None


def check_bmc_flip(prometheus, exporter_url, promtool, want):
    control = os.environ["ORDIX_SIM_BMC_CTL"]
    if run(control, "stop").returncode != 0:
        fail("the simulated BMC would not stop")
    stopped = time.monotonic()
    wait_for("platform_up{bmc} 0 in Prometheus", lambda: bmc_value(prometheus) == 0.0)
    print(f"BMC stopped: Prometheus had platform_up{{source=\"bmc\"}} 0 after "
          f"{time.monotonic() - stopped:.1f} s")
    for name in ("platform_dimm_state", "platform_processor_state",
                 "platform_memory_corrected_errors", "platform_memory_uncorrected_errors"):
        check(not prometheus.query(name), f"{name} still answered with the BMC gone")
    for name in ("platform_dimm_state_readable", "platform_processor_status_readable"):
        got = prometheus.query(name)
        check(set(got) == set(want[name]) and not any(got.values()),
              f"{name} with the BMC gone: {got}")
    check(prometheus.query("platform_memory_slot_size_bytes")
          == want["platform_memory_slot_size_bytes"], "SMBIOS readings gone with the BMC")
    promtool_check_metrics(promtool, http_get(exporter_url), "BMC down")
    if run(control, "start").returncode != 0:
        fail("the simulated BMC would not start again")
    started = time.monotonic()
    wait_for("platform_up{bmc} 1 in Prometheus", lambda: bmc_value(prometheus) == 1.0)
    for name in ("platform_dimm_state", "platform_processor_state"):
        back = wait_for(f"{name} back", lambda: prometheus.query(name) == want[name] or None)
        check(back, f"{name} did not come back")
    print(f"BMC started: back after {time.monotonic() - started:.1f} s")


def scrape(args):
    if "ORDIX_SIM_BMC_CTL" not in os.environ:
        sys.exit("run this through sim/run")
    name = os.environ["ORDIX_SIM_PROFILE"]
    efi_case = tomllib.loads((args.profile_dir / "bmc.toml").read_text())["efi_case"]
    board = tomllib.loads(args.efi_cases.read_text())[efi_case]["board"]
    exporter = Exporter(args.exporter, "--listen", "127.0.0.1:0")
    url = exporter.serving()
    with tempfile.TemporaryDirectory() as data:
        prometheus = Prometheus(args.prometheus, urllib.parse.urlparse(url).netloc, data)
        try:
            # A full sweep of usage samples has been scraped: every family is there.
            wait_for("a scrape of a whole collection",
                     lambda: prometheus.query("platform_processor_usage_sweep_seconds"))
            logical = int(next(iter(prometheus.query("platform_logical_processors").values())))
            answer, usage = read_everything(args.platformq, logical)
            want = expected_families(answer, FAMILY[name], board)
            check(want["platform_processor_state"] and want["platform_memory_slot_size_bytes"],
                  "the profile gives no processor state or slot: agreement on nothing")
            compare_families(prometheus, want)
            check_usage_and_failures(prometheus, answer, usage)
            promtool_check_metrics(args.promtool, http_get(url), "BMC up")
            check_bmc_flip(prometheus, url, args.promtool, want)
        finally:
            prometheus.stop()
            status, took = exporter.stop()
    check(status == 0, f"SIGTERM: exit {status}")
    print(f"SIGTERM: exit {status} after {took:.2f} s")


# --- bad input -----------------------------------------------------------------------------

def bad_input(args):
    if "ORDIX_SIM_BMC_CTL" not in os.environ:
        sys.exit("run this through sim/run")
    missing = "/nonexistent/libPlatformConfig.so"
    status, err = Exporter(args.exporter, "--listen", "127.0.0.1:0", "--module", missing).ended()
    check(status == 1 and missing in err and "cannot load module" in err,
          f"a missing module: exit {status}: {err}")

    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        taken.listen()
        port = taken.getsockname()[1]
        status, err = Exporter(args.exporter, "--listen", f"127.0.0.1:{port}").ended()
    check(status == 1 and f"cannot listen on 127.0.0.1:{port}" in err,
          f"a port in use: exit {status}: {err}")

    if run(os.environ["ORDIX_SIM_BMC_CTL"], "stop").returncode != 0:
        fail("the simulated BMC would not stop")
    exporter = Exporter(args.exporter, "--listen", "127.0.0.1:0")
    url = exporter.serving()

    def said():
        """The page of a whole round (one that checked the SMBIOS tables too)."""
        found = samples(http_get(url))
        whole = ("platform_up", labels(source="smbios")) in found
        return found if whole and found.get(("platform_up", labels(source="bmc"))) == 0.0 else None
    found = wait_for("the exporter to say the BMC is down", said)
    check(found.get(("platform_up", labels(source="smbios"))) == 1.0 and
          any(name == "platform_memory_slot_size_bytes" for name, _ in found),
          "with a dead BMC the SMBIOS readings stop too")
    check(not any(name == "platform_dimm_state" for name, _ in found),
          "DIMM states published with a dead BMC")
    promtool_check_metrics(args.promtool, http_get(url), "a dead BMC")
    time.sleep(3)  # some more rounds against the dead BMC
    check(exporter.proc.poll() is None, "the exporter did not stay up with a dead BMC")
    status, took = exporter.stop()
    check(status == 0, f"SIGTERM with a dead BMC: exit {status}")
    print(f"dead BMC: the exporter stayed up and said so; SIGTERM: exit {status} after "
          f"{took:.2f} s")


# --- deployment files ---------------------------------------------------------------------

def rules(args):
    rule_file = args.deploy / "platform-alerts.yml"
    for what, command in (("check rules", ["check", "rules", rule_file]),
                          ("test rules", ["test", "rules", args.rule_tests]),
                          ("check config", ["check", "config", args.deploy / "prometheus.yml"])):
        r = run(args.promtool, *command)
        check(r.returncode == 0, f"promtool {what}: {r.stdout}{r.stderr}")
    analyze = shutil.which("systemd-analyze")
    if analyze and args.exporter:
        with tempfile.TemporaryDirectory() as tmp:
            unit = Path(tmp) / "platform-exporter.service"
            text = (args.deploy / unit.name).read_text()
            unit.write_text(text.replace("/usr/local/bin/platform_exporter", str(args.exporter)))
            r = run(analyze, "verify", unit)
            check(r.returncode == 0 and not r.stderr.strip(),
                  f"systemd-analyze verify: {r.stdout}{r.stderr}")
    else:
        print("systemd-analyze is not installed: the unit is not verified")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    sub = parser.add_subparsers(dest="command", required=True)
    scraping, bad, deploy = (sub.add_parser(n) for n in ("scrape", "bad-input", "rules"))
    scraping.add_argument("profile_dir", type=Path, help="sim/profiles/NAME")
    scraping.add_argument("--efi-cases", type=Path, required=True, help="sim/efi/variables.toml")
    scraping.add_argument("--prometheus", required=True)
    scraping.add_argument("--platformq", type=Path, required=True)
    for p in (scraping, bad, deploy):
        p.add_argument("--exporter", type=Path, required=p is not deploy)
        p.add_argument("--promtool", required=True)
    deploy.add_argument("--deploy", type=Path, required=True, help="tools/exporter/deploy")
    deploy.add_argument("--rule-tests", type=Path, required=True)
    args = parser.parse_args()
    for tool in ("prometheus", "promtool"):
        if tool in vars(args) and not shutil.which(getattr(args, tool)):
            sys.exit(f"{tool} is not installed: scripts/install-deps test installs it")
    {"scrape": scrape, "bad-input": bad_input, "rules": rules}[args.command](args)
    if FAILURES:
        sys.exit(f"{len(FAILURES)} check(s) failed")
    print("all checks passed")


if __name__ == "__main__":
    main()
