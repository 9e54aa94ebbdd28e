#!/usr/bin/env python3
"""End-to-end checks of /Platform/ProcessorInfo on the simulated servers (inside sim/run).

  profile --platformq P --dmidecode D
      "/Platform" answers the processor and memory branches; every processor value equals what
      dmidecode reads from the profile's SMBIOS image, what the sensor bytes ipmitool reads
      from its BMC decode to, and what this machine's topology gives, run under taskset with
      two CPUs and with one.
  usage --platformq P
      "/Platform/ProcessorInfo/LogicalProcessor[N]" lies in [0, 100] and follows a busy loop
      pinned to CPU N (N is the processor's own number, as /proc/stat counts them).
"""

import argparse
import json
import os
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE.parent / "smbios"), str(HERE.parent / "bmc")]
sys.dont_write_bytecode = True  # the sibling checks are imported from the source tree
from check_bmc import FAILURES, Ipmitool, check, run  # noqa: E402
from check_smbios import PROCESSOR, dmidecode  # noqa: E402

INFO = "/Platform/ProcessorInfo"
SKIPPED = 77  # CTest's SKIP_RETURN_CODE for these tests


# The family each profile's board identifier or BMC product ID stands for (the platform
# identification checks of tests/integration/bmc hold the module to these).
FAMILY = {
    "dual-socket-16dimm": "KARVO_PLATFORM",
    "quad-socket-boards": "TESKAR_PLATFORM",
    "empty-first-socket": "ZORVEL_PLATFORM",
    "two-arrays-mismatch": "ROPHIN_PLATFORM",
}

# Where the profiles' families watch the sockets: processor sensors of sockets 1-4, then the
# throttling sensors; ffh where a socket has none.
NONE = 0xFF
SENSORS = {
    "KARVO_PLATFORM": ([0x90, 0x91, 0x92, 0x93], [0xC0, 0xC1, 0xC2, 0xC3]),
    "TESKAR_PLATFORM": ([0x90, 0x91, 0x92, 0x93], [0xB0, 0xB1, 0xB2, 0xB3]),
    "ROPHIN_PLATFORM": ([0x0F, NONE, NONE, NONE], [0x10, NONE, NONE, NONE]),
    "ZORVEL_PLATFORM": ([0x60, 0x61, NONE, NONE], [0x62, 0x63, NONE, NONE]),
}
# Its single socket is there by construction: the BMC is not asked about it.
SINGLE_SOCKET = ("ROPHIN_PLATFORM",)
STATE_FIELDS = ["ThermalTrip", "IERR", "FRB1", "FRB2", "FRB3", "ProcessorThrottled",
                "ConfigError"]  # in the order the answer lists them
# The processor sensor's states by the bit that reports them.
PROCESSOR_STATES = ["IERR", "ThermalTrip", "FRB1", "FRB2", "FRB3", "ConfigError"]


class Bytes(list):
    """Reply bytes; past the end they read as 0."""
    def __getitem__(self, k):
        return super().__getitem__(k) if k < len(self) else 0


def both(byte, bits):
    return byte & bits == bits


class BmcFailed(Exception):
    pass


class Sensors:
    """The BMC's replies, read with ipmitool; BmcFailed where it gives no data."""
    def __init__(self, ipmi):
        self.ipmi, self.replies = ipmi, {}

    def read(self, sensor, command):
        if (sensor, command) not in self.replies:
            cc, data = self.ipmi.raw(0x04, command, sensor)
            self.replies[(sensor, command)] = Bytes(data) if cc == 0 and data else None
        if self.replies[(sensor, command)] is None:
            raise BmcFailed
        return self.replies[(sensor, command)]

    def event_status(self, sensor):
        return self.read(sensor, 0x2B)

    def reading(self, sensor):
        return self.read(sensor, 0x2D)


def discover(family, sensors):
    """Processor sensors of the sockets the BMC reports fitted, in socket order."""
    processor, _ = SENSORS.get(family, ([NONE] * 4, [NONE] * 4))
    if family in SINGLE_SOCKET:
        return [processor[0]]
    found = []
    for n in processor:
        if n == NONE:
            continue
        # An empty socket: events and scanning on, presence (state 7) not asserted.
        status = sensors.event_status(n)
        if both(status[0], 0xC0) and not status[1] & 0x80:
            continue
        reading = sensors.reading(n)
        if both(reading[1], 0xC0) and not reading[2] & 0x80:
            continue
        found.append(n)
    return found


def socket_status(n, family, sensors):
    """The status leaves of the socket watched by sensor n; None when it has none to give."""
    processor, second = SENSORS.get(family, ([NONE] * 4, [NONE] * 4))
    if n == NONE or n not in processor or second[processor.index(n)] == NONE:
        return None
    t = second[processor.index(n)]
    fields = dict.fromkeys(STATE_FIELDS, -1)  # -1: the BMC does not report it
    status = sensors.event_status(n)
    if both(status[0], 0xC0) and status[1] & 0x3F:
        reading = sensors.reading(n)
        if both(reading[1], 0xC0):
            for bit, name in enumerate(PROCESSOR_STATES):
                if reading[1] >> bit & 1:
                    fields[name] = reading[2] >> bit & 1
    w = sensors.event_status(t)
    if both(w[0], 0xC0) and (family in SINGLE_SOCKET or w[1] & 0x85 or w[2] & 0x02):
        if family == "ROPHIN_PLATFORM":
            fields["ProcessorThrottled"] = 1 if w[0] == 0 else 0
        elif both(w[1], 0xC0):
            bit = 0 if w[1] & 0x01 else 1 if w[1] & 0x04 else 3
            fields["ProcessorThrottled"] = w[2] >> bit & 1
    return {"SensorOwnerID": "20", "SensorOwnerLUN": "0", "SensorNumber": f"{n:x}",
            **{k: str(v) for k, v in fields.items()}}


def smbios_sockets(tool, image):
    """Type 4 structures in table order: (populated, {answer leaf: value})."""
    sockets = []
    for s in (s for s in dmidecode(tool, image) if s["_type"] == 4):
        values = {}
        for leaf, key in (("ProcessorOperatingSpeed", "CurrentSpeed"),
                          ("ProcessorExternalFrequency", "ClockFrequency"),
                          ("ProcessorFamily", "ProcessorFamily"),
                          ("ProcessorVersion", "ProcessorVersion")):
            field, convert = PROCESSOR[key][:2]
            values[leaf] = convert(s[field]) if field in s else "Unknown"
        sockets.append((s.get("Status", "").startswith("Populated"), values))
    return sockets


def machine_packages():
    """The CPUs of each processor package, in ascending package-id order (CPUs below 64)."""
    packages = {}
    for cpu_dir in Path("/sys/devices/system/cpu").glob("cpu[0-9]*"):
        try:
            package = int((cpu_dir / "topology" / "physical_package_id").read_text())
        except (OSError, ValueError):
            continue  # offline: no topology
        if int(cpu_dir.name[3:]) < 64:
            packages.setdefault(package, set()).add(int(cpu_dir.name[3:]))
    return [packages[p] for p in sorted(packages)]


class Tree:
    """An expected answer: elements with their children in order, leaves with their value."""
    def __init__(self):
        self.elements, self.leaves = {INFO: []}, {}

    def add(self, parent, name, value=None, element=False):
        path = parent + name
        if element:
            self.elements[path] = [] if value is None else [value]
        else:
            self.leaves[path] = value
        self.elements[parent].append(path)
        return path


def expected_processor_info(sockets, family, sensors, cpus, packages):
    """The expected subtree, and how many 1031 and 1032 errors its build reports."""
    tree, errors = Tree(), {"1031": 0, "1032": 0}
    populated = 0
    for i, (fitted, values) in enumerate(sockets, 1):
        if fitted:
            socket = tree.add(INFO, f"/PhysicalProcessorInfo[{i}]", element=True)
            populated += 1
            for leaf, value in values.items():
                tree.add(socket, "/" + leaf, value)
    if populated == 0:
        return tree, errors | {"1035": 1}
    tree.add(INFO, "/NumberOfPhysicalProcessor", str(populated))
    tree.add(INFO, "/NumberOfLogicalProcessor", str(len(cpus)))

    try:
        handles = discover(family, sensors)
        package_count = len(handles) or populated
    except BmcFailed:
        handles, package_count = [NONE] * populated, populated
    # Logical processors are numbered by their place in the affinity mask; a package holds
    # those of its CPUs, unless the OS counts packages differently from the BMC and SMBIOS.
    members = [[w for w, cpu in enumerate(cpus) if cpu in package] for package in packages] \
        if package_count == len(packages) else []
    for k in range(populated):
        workers = members[k] if k < len(members) else []
        if not workers:
            errors["1031"] += 1
        else:
            path = f"{INFO}/PhysicalProcessorInfo[{k + 1}]"
            if path not in tree.elements:
                tree.add(INFO, f"/PhysicalProcessorInfo[{k + 1}]", element=True)
            # Identification reads no register: no flags, stepping 1, the type by count.
            for leaf, value in (("IsHTSupported", "FALSE"), ("IsHTEnabled", "FALSE"),
                                ("IsMultiCoreSupported", "FALSE"),
                                ("ProcessorType", {1: "SingleCore", 2: "DualCore",
                                                   4: "QuadCore"}.get(len(workers), "")),
                                ("ProcessorStepping", "1"),
                                ("TotalNoOfLogicalProcessors", str(len(workers)))):
                tree.add(path, "/" + leaf, value)
            for j, w in enumerate(workers, 1):
                tree.add(path, f"/LogicalProcessorNumbers[{j}]", str(w + 1))
        try:
            status = socket_status(handles[k], family, sensors) if k < len(handles) else None
        except BmcFailed:
            status = None
        name = f"/PhysicalProcessorStatus[{k + 1}]"
        if status is None:
            errors["1032"] += 1
            tree.add(INFO, name, "ERROR_GET_PHYSICAL_PROCESSOR_STATUS", element=True)
        else:
            path = tree.add(INFO, name, element=True)
            for leaf, value in status.items():
                tree.add(path, "/" + leaf, value)
    return tree, errors


def check_branches(answer, what):
    """Both branches under "/Platform"; compare() holds the processor branch to its readings,
    the memory checks hold the memory branch to theirs."""
    check(answer.get("/Platform") == {"kind": 1, "list": [INFO, "/Platform/MemoryTopology"]},
          f"{what}: /Platform answers {answer.get('/Platform')}")
    memory = answer.get("/Platform/MemoryTopology", {})
    check(memory.get("kind") == 1 and memory.get("list"),
          f"{what}: the memory branch is missing or empty: {memory}")


def compare(answer, tree, what):
    for path, children in tree.elements.items():
        check(answer.get(path) == {"kind": 1, "list": children},
              f"{what}: {path} answers {answer.get(path)}, expected children {children}")
    for path, value in tree.leaves.items():
        check(answer.get(path) == {"kind": 0, "list": [value]},
              f"{what}: {path} answers {answer.get(path)}, expected {value!r}")
    extra = sorted(p for p in answer if p.startswith(INFO + "/") and
                   p not in tree.elements and p not in tree.leaves)
    check(not extra, f"{what}: answered beyond the expected tree: {extra}")


def profile(args):
    name = os.environ.get("ORDIX_SIM_PROFILE", "")
    # A variant (BASE-VARIANT) is its base's server with another event log or SMBIOS image.
    name = next((base for base in FAMILY if name.startswith(base + "-")), name)
    if name not in FAMILY:
        sys.exit(f"no family known for profile {name!r}: run inside sim/run, or add it to FAMILY")
    config = Path(os.environ["ORDIX_CONFIG_DIR"])
    settings = (config / "OrdixServMgmtSettings.ini").read_text()
    image = re.search(r"^Image\s*=\s*(.+)$", settings, re.MULTILINE)[1].strip()
    sockets = smbios_sockets(args.dmidecode, image)
    sensors = Sensors(Ipmitool(os.environ["ORDIX_SIM_BMC_PORT"], {
        "user": os.environ["ORDIX_SIM_BMC_USER"],
        "password": os.environ["ORDIX_SIM_BMC_PASSWORD"]}))
    packages = machine_packages()
    taskset = shutil.which("taskset") or sys.exit("taskset is not installed (util-linux)")

    # Two CPUs (the first and the last the test may use, so they may lie in two packages),
    # then the last alone: worker 0 then runs on a CPU other than 0.
    allowed = sorted(c for c in os.sched_getaffinity(0) if c < 64)
    for cpus in ([allowed[0], allowed[-1]], [allowed[-1]]) if len(allowed) > 1 else [allowed]:
        # Two rounds in one process, as the framework asks again and again of one module: the
        # second is built over what the first left.
        r = run(taskset, "-c", ",".join(map(str, cpus)), args.platformq, "--config-dir", config,
                "--format", "json", "--repeat", "2", "--interval", "0", "/Platform")
        if not check(r.returncode == 0, f"{name}, CPUs {cpus}: platformq exited "
                     f"{r.returncode}: {r.stderr}"):
            continue
        tree, errors = expected_processor_info(sockets, FAMILY[name], sensors, cpus, packages)
        rounds = r.stdout.splitlines()
        check(len(rounds) == 2, f"{name}, CPUs {cpus}: {len(rounds)} rounds answered")
        for n, line in enumerate(rounds, 1):
            what = f"{name}, CPUs {cpus}, round {n}"
            answer = json.loads(line)
            check_branches(answer, what)
            compare(answer, tree, what)
        for code, count in errors.items():
            logged = len(re.findall(rf" {code}: ", r.stderr))
            check(logged == 2 * count, f"{name}, CPUs {cpus}: error {code} logged {logged} "
                  f"times in two rounds, expected {2 * count}: {r.stderr.strip()!r}")
        identified = sum(1 for p in tree.leaves if p.endswith("/TotalNoOfLogicalProcessors"))
        print(f"{name}, CPUs {cpus}: {len(packages)} package(s) here, {identified} identified, "
              f"{errors['1031']} not")


# --- usage ---

def busy_times():
    """/proc/stat per CPU: (busy, total) jiffies, busy being all but idle and iowait."""
    times = {}
    for line in Path("/proc/stat").read_text().splitlines():
        m = re.match(r"cpu(\d+) (.*)", line)
        if m:
            values = [int(v) for v in m[2].split()[:8]]
            times[int(m[1])] = (sum(values) - values[3] - values[4], sum(values))
    return times


def busy_percent(before, after, cpu):
    busy, total = (a - b for a, b in zip(after[cpu], before[cpu]))
    return 100.0 * busy / total if total > 0 else 0.0


def usage_round(platformq, loaded, cpus):
    """Usage of each of cpus while a busy loop runs on loaded, and this test's own reading of
    /proc/stat over the same time."""
    hog = subprocess.Popen([sys.executable, "-c", "while True: pass"],
                           preexec_fn=lambda: os.sched_setaffinity(0, {loaded}))
    try:
        time.sleep(0.1)  # let it settle on its CPU
        before = busy_times()
        r = run(platformq, "--format", "json",
                *(f"{INFO}/LogicalProcessor[{c}]" for c in cpus))
        after = busy_times()
    finally:
        hog.kill()
        hog.wait()
    answer = json.loads(r.stdout) if r.returncode == 0 else {}
    values = {}
    for c in cpus:
        node = answer.get(f"{INFO}/LogicalProcessor[{c}]", {})
        text = node.get("list", [""])[0] if node.get("kind") == 0 else ""
        values[c] = float(text) if re.fullmatch(r"\d+\.\d{6}", text) else None
    return values, {c: busy_percent(before, after, c) for c in cpus}, r


def usage(args):
    allowed = sorted(os.sched_getaffinity(0))
    workers = len([c for c in allowed if c < 64])
    # Counter instance N is CPU N; only instances below the number of logical processors
    # of the process are answered.
    cpus = [c for c in allowed if c < workers][:2]
    if not cpus:
        sys.exit(f"no CPU of {allowed} has a number below {workers}")

    # Out of range: the index is checked against the logical processors, not the machine.
    r = run("taskset", "-c", str(allowed[-1]), args.platformq, f"{INFO}/LogicalProcessor[1]",
            f"{INFO}/LogicalProcessor[0]")
    check(f"{INFO}/LogicalProcessor[1] = ERROR_GET_LOGICAL_PROCESSOR_USAGE" in r.stdout and
          re.search(rf"^{re.escape(INFO)}/LogicalProcessor\[0\] = \d+\.\d{{6}}$", r.stdout, re.M),
          f"one CPU: instance 1 is out of range and 0 answers: {r.stdout!r} {r.stderr!r}")

    # Each CPU in turn carries the load, the other is the comparison; other work on the
    # machine may blur a round, so a few are tried.
    saturated, last = True, None
    for attempt in range(5):
        passed = True
        for loaded in cpus:
            values, own, r = usage_round(args.platformq, loaded, cpus)
            if not check(all(v is not None and 0.0 <= v <= 100.0 for v in values.values()),
                         f"usage of {cpus}: {values} (exit {r.returncode}, {r.stderr!r})"):
                return
            others = [c for c in cpus if c != loaded]
            tracks = values[loaded] > 60 and all(values[loaded] >= values[c] + 20 for c in others)
            passed = passed and tracks
            # When this test saw the other CPUs busy too, the machine was too loaded to tell.
            if not tracks:
                saturated = saturated and all(own[c] > 80 for c in others)
            last = f"loaded CPU {loaded}: module {values}, /proc/stat {own}"
            print(f"round {attempt + 1}, {last}")
        if passed:
            return
    if saturated:
        print("every CPU stayed busy with other work: the load could not be told apart")
        sys.exit(SKIPPED)
    check(False, f"usage does not follow the load after 5 rounds; last {last}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    sub = parser.add_subparsers(dest="mode", required=True)
    p, u = sub.add_parser("profile"), sub.add_parser("usage")
    p.add_argument("--dmidecode", type=Path, required=True)
    for sp, func in ((p, profile), (u, usage)):
        sp.add_argument("--platformq", type=Path, required=True)
        sp.set_defaults(func=func)
    args = parser.parse_args()
    if args.mode == "profile" and not args.dmidecode.is_file():
        sys.exit("dmidecode is not installed: scripts/install-deps test installs it")
    args.func(args)
    if FAILURES:
        sys.exit(f"{len(FAILURES)} check(s) failed")
    print("all checks passed")


if __name__ == "__main__":
    main()
