#!/usr/bin/env python3
"""End-to-end checks of the simulated BMCs (sim/run, sim/profiles/*/bmc.toml).

  profile DESCRIPTION --platformq P       (run inside sim/run PROFILE -- ...)
      ipmitool against the running simulator returns what the profile's bmc.toml describes:
      Get Device ID, every sensor's Get Sensor Reading and Get Sensor Event Status (bytes or
      completion code), absent sensors, the event log record by record; then every
      /BMC/SENSOR[n]/VALUE, /PROCEVENT and /BMC/SEL/RECORD answer of platformq equals
      ipmitool's reply to the same request.
  lifecycle --sim-run RUN --build-dir B --platformq P PROFILE_DIR...
      sim/run itself: the settings it writes, exit status, clean-up after success, failure
      and SIGTERM, two servers side by side, the EFI override, a rejected command file,
      usage errors, and platformq's error on a BMC that has died.
"""

import argparse
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import tomllib
from pathlib import Path

TIMEOUT = 20  # seconds for any one child; a hang fails instead of stalling the run
FAILURES = []


def check(condition, message):
    if not condition:
        FAILURES.append(message)
        print(f"FAIL: {message}", file=sys.stderr)
    return condition


def run(args, **kwargs):
    return subprocess.run([str(a) for a in args], capture_output=True, text=True,
                          errors="replace", timeout=TIMEOUT, **kwargs)


def finish():
    if FAILURES:
        sys.exit(f"{len(FAILURES)} check(s) failed")
    print("all checks passed")


# --- ipmitool -------------------------------------------------------------------------------

class Ipmitool:
    def __init__(self, port, user, password):
        tool = shutil.which("ipmitool")
        if tool is None:
            sys.exit("ipmitool is not installed (scripts/install-deps test installs it)")
        self.base = [tool, "-I", "lanplus", "-C", "3", "-N", "1", "-R", "2",
                     "-H", "127.0.0.1", "-p", str(port), "-U", user, "-P", password]

    def raw(self, *request):
        """(completion code, reply data bytes); a transport failure ends the test."""
        r = run(self.base + ["raw"] + [f"0x{b:02x}" for b in request])
        if r.returncode == 0:
            return 0, [int(t, 16) for t in r.stdout.split()]
        m = re.search(r"rsp=0x([0-9a-fA-F]{2})", r.stderr)
        if m is None:
            sys.exit(f"ipmitool raw {request} failed: {r.stderr.strip()}")
        return int(m[1], 16), []

    def command(self, *words):
        r = run(self.base + list(words))
        if r.returncode != 0:
            sys.exit(f"ipmitool {' '.join(words)} failed: {r.stderr.strip()}")
        return r.stdout


def raised(stderr):
    """platformq's report of an error raised (the driver library may log lines before it)."""
    return re.search(r"^error \d+: ", stderr, re.MULTILINE) is not None


def hex_text(data):
    return " ".join(f"{b:x}" for b in data)


def sel_walk(ipmi, limit=1100):
    """Get SEL Entry from the first record, following next-record IDs to FFFFh."""
    records, record_id = [], 0x0000
    while len(records) < limit:
        cc, data = ipmi.raw(0x0A, 0x43, 0x00, 0x00, record_id & 0xFF, record_id >> 8, 0x00, 0xFF)
        if cc == 0xCB and not records:
            return records  # an empty log
        if not check(cc == 0 and len(data) == 18,
                     f"Get SEL Entry {record_id:04x}: cc {cc:02x}, {len(data)} bytes"):
            return records
        records.append(data)
        record_id = data[0] | data[1] << 8
        if record_id == 0xFFFF:
            return records
    check(False, f"the event log does not end within {limit} records")
    return records


# --- platformq ------------------------------------------------------------------------------

class Platformq:
    def __init__(self, tool):
        self.tool, self.config = tool, os.environ["ORDIX_CONFIG_DIR"]

    def query(self, *queries):
        r = run([self.tool, "--config-dir", self.config, "--format", "json", *queries])
        answer = json.loads(r.stdout) if r.stdout.strip() else {}
        return r.returncode, answer, r.stderr

    def has_bmc_module(self):
        code, _, err = self.query("/BMC/SEL/RECORD")
        if code == 1 and "no module answers" in err:
            print("SKIP: platformq has no module for /BMC yet; its answers are not compared",
                  file=sys.stderr)
            return False
        return True


# --- profile --------------------------------------------------------------------------------

def expected_device_id(device):
    major, minor = device["firmware"].split(".")
    m, p = device["manufacturer"], device["product"]
    return {0: device["id"], 1: (0x80 if device.get("device_sdrs") else 0) | device["revision"],
            2: int(major), 3: int(minor, 16), 5: device["support"],
            6: m & 0xFF, 7: (m >> 8) & 0xFF, 8: m >> 16, 9: p & 0xFF, 10: p >> 8}


def expected_reply(described):
    """(completion code, data) a sensor's reading or event status is described to give."""
    return (described["cc"], []) if isinstance(described, dict) else (0, described)


def expected_record(index, record, count):
    """A Get SEL Entry reply, with None where the simulator stamps the time itself."""
    record_id = index + 1
    following = 0xFFFF if record_id == count else record_id + 1
    head = [following & 0xFF, following >> 8, record_id & 0xFF, record_id >> 8]
    kind = record.get("type", 0x02)
    if kind == 0x02:
        generator = record.get("generator", 0x20)
        return head + [kind, None, None, None, None, generator & 0xFF, generator >> 8, 0x04,
                       record["sensor_type"], record["sensor"], record["event_type"],
                       *record["data"]]
    stamped = kind < 0xE0
    return head + [kind] + [None] * 4 * stamped + record["bytes"][4 * stamped:]


def check_device(ipmi, description):
    cc, data = ipmi.raw(0x06, 0x01)
    if check(cc == 0 and len(data) >= 11, f"Get Device ID: cc {cc:02x}, {len(data)} bytes"):
        for offset, value in expected_device_id(description["device"]).items():
            check(data[offset] == value,
                  f"Get Device ID byte {offset}: {data[offset]:02x}, described {value:02x}")


def check_sensors(ipmi, sensors):
    """Every described sensor answers its bytes; returns what ipmitool read, per request."""
    replies = {}
    for sensor in sensors:
        n = sensor["number"]
        for command, key in ((0x2D, "reading"), (0x2B, "event_status")):
            got = ipmi.raw(0x04, command, n)
            want = expected_reply(sensor[key])
            check(got == want, f"sensor {n:02x} command {command:02x}: {got}, described {want}")
            replies[(n, command)] = got
    described = {s["number"] for s in sensors}
    # Sensors the profile lacks (ffh is where slots without a sensor are looked for).
    for n in sorted({0xFF, next(i for i in range(0xFE, 0, -1) if i not in described)}):
        for command in (0x2D, 0x2B):
            got = ipmi.raw(0x04, command, n)
            check(got == (0xCB, []), f"absent sensor {n:02x} command {command:02x}: {got}")
            replies[(n, command)] = got
    for command in (0x2D, 0x2B):  # a request without its sensor number
        got = ipmi.raw(0x04, command)
        check(got == (0xC7, []), f"command {command:02x} without a sensor: {got}")
    return replies


def check_sel(ipmi, records):
    walked = sel_walk(ipmi)
    check(len(walked) == len(records), f"event log: {len(walked)} records, described "
          f"{len(records)}")
    for i, (got, record) in enumerate(zip(walked, records)):
        want = expected_record(i, record, len(records))
        check(all(w is None or g == w for g, w in zip(got, want)),
              f"record {i + 1}: {hex_text(got)}, described {want}")
    entries = re.search(r"^Entries\s*:\s*(\d+)", ipmi.command("sel", "info"), re.MULTILINE)
    check(entries is not None and int(entries[1]) == len(records),
          f"Get SEL Info counts {entries and entries[1]} entries, described {len(records)}")
    return walked


def check_platformq_sensors(platformq, replies):
    for (n, command), (cc, data) in sorted(replies.items()):
        path = f"/BMC/SENSOR[{n}]/{'VALUE' if command == 0x2D else 'PROCEVENT'}"
        code, answer, err = platformq.query(path)
        if cc != 0:
            check(code == 2 and raised(err) and not answer,
                  f"{path} (completion code {cc:02x}): exit {code}, {answer}, {err.strip()!r}")
            continue
        values = [hex_text(data[k:]) for k in range(len(data))]
        node = answer.get(path)
        check(node is not None and node["kind"] == 0 and node["list"] == values
              and list(answer) == [path] and code == (0 if data else 1),
              f"{path}: exit {code}, {answer}; ipmitool read {hex_text(data)!r}")


def check_platformq_sel(platformq, walked):
    code, answer, err = platformq.query("/BMC/SEL/RECORD")
    want = {f"/BMC/SEL/RECORD[{i + 1:05d}]": {"kind": 0, "list": [hex_text(r)]}
            for i, r in enumerate(walked)}
    check(answer == want, f"/BMC/SEL/RECORD: {answer}; ipmitool read {want}")
    check(code == (0 if walked else 1), f"/BMC/SEL/RECORD with {len(walked)} records: exit "
          f"{code} ({err.strip()})")


def profile(args):
    with open(args.description, "rb") as f:
        description = tomllib.load(f)
    ipmi = Ipmitool(os.environ["ORDIX_SIM_BMC_PORT"], os.environ["ORDIX_SIM_BMC_USER"],
                    os.environ["ORDIX_SIM_BMC_PASSWORD"])
    check_device(ipmi, description)
    replies = check_sensors(ipmi, description.get("sensors", []))
    walked = check_sel(ipmi, description.get("sel", []))
    platformq = Platformq(args.platformq)
    if platformq.has_bmc_module():
        check_platformq_sensors(platformq, replies)
        check_platformq_sel(platformq, walked)
    finish()


# --- lifecycle ------------------------------------------------------------------------------

def gone(pid):
    """True once the process is gone (or is a zombie nobody has reaped yet)."""
    try:
        stat = Path(f"/proc/{pid}/stat").read_text()
    except OSError:
        return True
    return stat.rpartition(")")[2].split()[0] in ("Z", "X")


def read_settings(text):
    sections, current = {}, {}
    for line in text.splitlines():
        if line.startswith("["):
            current = sections.setdefault(line.strip("[]"), {})
        elif "=" in line:
            key, _, value = line.partition("=")
            current[key] = value
    return sections


def started(sim_run, build, name, script, extra=()):
    """sim/run with a shell script that reports first; returns the process and the report."""
    proc = subprocess.Popen([sim_run, "--build-dir", build, *extra, name, "--", "sh", "-c",
                             f'echo "$ORDIX_SIM_BMC_PID $ORDIX_SIM_BMC_PORT $$"; {script}'],
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    line = proc.stdout.readline().split()  # bounded: sim/run gives up on its own after 10 s
    if len(line) != 3:
        proc.kill()
        sys.exit(f"sim/run {name} did not start: {proc.communicate(timeout=TIMEOUT)[1]}")
    return proc, [int(x) for x in line]


def check_run_and_settings(sim_run, build, profile_dir):
    name = profile_dir.name
    with open(profile_dir / "bmc.toml", "rb") as f:
        description = tomllib.load(f)
    r = run([sim_run, "--build-dir", build, name, "--", "sh", "-c",
             'echo "$ORDIX_SIM_BMC_PID $ORDIX_SIM_BMC_PORT $ORDIX_CONFIG_DIR"; '
             'cat "$ORDIX_CONFIG_DIR/OrdixServMgmtSettings.ini"; exit 7'])
    check(r.returncode == 7, f"{name}: sim/run passes on the command's status: {r.returncode}")
    first, _, ini = r.stdout.partition("\n")
    pid, port, config = first.split()
    settings = read_settings(ini)
    bmc = settings.get("BMC", {})
    login = description["login"]
    check(bmc == {"Interface": "lanplus", "Host": "127.0.0.1", "Port": port,
                  "User": login["user"], "Password": login["password"], "CipherSuite": "3",
                  "Workarounds": "opensesspriv", "TimeoutMs": bmc.get("TimeoutMs", "-")}
          and bmc["TimeoutMs"].isdigit(), f"{name}: [BMC] {bmc}")
    image = settings.get("SMBIOS", {}).get("Image", "")
    check(Path(image) == Path(build) / "sim" / name / "smbios.bin" and Path(image).is_file(),
          f"{name}: [SMBIOS] Image = {image}")
    variables = Path(settings.get("SMI", {}).get("VariablesDir", "/nonexistent"))
    check(variables.name == description["efi_case"] and variables.is_dir(),
          f"{name}: [SMI] VariablesDir = {variables}")
    check(gone(int(pid)), f"{name}: the simulator ({pid}) outlives sim/run")
    check(not Path(config).exists(), f"{name}: the settings directory {config} is left behind")


def check_signal_and_neighbours(sim_run, build, a, b):
    """Two servers at once, each on its own port with its own BMC; SIGTERM stops one whole."""
    ids = {}
    procs = []
    try:
        for profile_dir in (a, b):
            proc, (sim_pid, port, shell_pid) = started(sim_run, build, profile_dir.name,
                                                       "exec sleep 60")
            procs.append((proc, sim_pid, shell_pid))
            with open(profile_dir / "bmc.toml", "rb") as f:
                login = tomllib.load(f)["login"]
            cc, data = Ipmitool(port, login["user"], login["password"]).raw(0x06, 0x01)
            ids[port] = data[9] | data[10] << 8 if cc == 0 and len(data) > 10 else None
        check(len(ids) == 2, f"two servers share a port: {list(ids)}")
        wanted = []
        for profile_dir in (a, b):
            with open(profile_dir / "bmc.toml", "rb") as f:
                wanted.append(tomllib.load(f)["device"]["product"])
        check(list(ids.values()) == wanted, f"product IDs {list(ids.values())}, "
              f"described {wanted}")
        for proc, sim_pid, shell_pid in procs:
            proc.send_signal(signal.SIGTERM)
            code = proc.wait(timeout=TIMEOUT)
            check(code == 128 + signal.SIGTERM, f"sim/run after SIGTERM: exit {code}")
            check(gone(sim_pid) and gone(shell_pid),
                  f"after SIGTERM the simulator ({sim_pid}) or the command ({shell_pid}) runs on")
    finally:
        for proc, _, _ in procs:
            if proc.poll() is None:
                proc.kill()
                proc.wait(timeout=TIMEOUT)


def check_errors(sim_run, build, profile_dir):
    name = profile_dir.name
    r = run([sim_run, "--build-dir", build, "no-such-profile", "--", "true"])
    check(r.returncode == 69 and "no-such-profile" in r.stderr,
          f"unknown profile: exit {r.returncode}, {r.stderr.strip()!r}")
    r = run([sim_run, "--build-dir", build, name, "true"])
    check(r.returncode == 64, f"missing --: exit {r.returncode}")
    r = run([sim_run, "--build-dir", build, "--efi", "no-variable", name, "--", "sh", "-c",
             'grep "^VariablesDir=" "$ORDIX_CONFIG_DIR/OrdixServMgmtSettings.ini"'])
    check(r.returncode == 0 and r.stdout.strip().endswith("/efi/no-variable"),
          f"--efi no-variable: {r.stdout.strip()!r}")
    r = run([sim_run, "--build-dir", build, "--efi", "no-such-case", name, "--", "true"])
    check(r.returncode == 69, f"--efi no-such-case: exit {r.returncode}")


# Lines the sensor module must refuse, and so stop the simulator's reading of the file.
BAD_LINES = [
    "sensor_bytes 0x20 0 0x42 0x00 0xc0",                  # no "/"
    "sensor_bytes 0x20 0 0x42 0x00 / 0xc0 / 0x00",         # two
    "sensor_bytes 0x20 0 0x42 0x100 / 0xc0",               # not a byte
    "sensor_bytes 0x20 0 0x42 0x00 / ",                    # an empty side
    "sensor_bytes 0x20 0 0x42 cc=0xd5 0x00 / 0xc0",        # data after a completion code
    "sensor_bytes 0x20 4 0x42 0x00 / 0xc0",                # LUN 4
    "sensor_bytes 0x20 0 0x42 " + "0x00 " * 33 + "/ 0xc0",  # more than the module keeps
    "sensor_bytes 0x22 0 0x42 0x00 / 0xc0",                # no such MC
]


def check_rejected_command_files(sim_run, build, profile_dir):
    """Copies of a profile with a bad line inserted before its sensors do not start."""
    name = profile_dir.name
    with tempfile.TemporaryDirectory() as scratch:
        root = Path(scratch)
        source = Path(build) / "sim" / name
        copy = root / "sim" / name
        shutil.copytree(source / "bmc", copy / "bmc")
        shutil.copy(source / "smbios.bin", copy / "smbios.bin")
        efi_case = tomllib.loads((profile_dir / "bmc.toml").read_text())["efi_case"]
        shutil.copytree(Path(build) / "sim" / "efi" / efi_case, root / "sim" / "efi" / efi_case)
        lines = (source / "bmc" / "commands.emu").read_text().splitlines()
        at = next(i for i, line in enumerate(lines) if line.startswith("sensor_bytes"))
        for bad in BAD_LINES:
            text = lines[:at] + [bad] + lines[at:]
            (copy / "bmc" / "commands.emu").write_text("\n".join(text) + "\n")
            r = run([sim_run, "--build-dir", root, name, "--", "echo", "ran"])
            check(r.returncode == 69 and "ran" not in r.stdout and "rejected" in r.stderr,
                  f"{bad!r}: exit {r.returncode}, {r.stderr.strip()!r}")


def check_dead_bmc(sim_run, build, profile_dir, platformq):
    """The simulator dies under a running command: platformq reports an error in bounded time."""
    script = ('kill "$ORDIX_SIM_BMC_PID"; while kill -0 "$ORDIX_SIM_BMC_PID" 2>/dev/null; '
              'do sleep 0.01; done; '
              f'exec "$1" --config-dir "$ORDIX_CONFIG_DIR" "/BMC/SENSOR[144]/VALUE"')
    begin = time.monotonic()
    r = run([sim_run, "--build-dir", build, profile_dir.name, "--", "sh", "-c", script, "sh",
             platformq])
    if r.returncode == 1 and "no module answers" in r.stderr:
        print("SKIP: platformq has no module for /BMC yet", file=sys.stderr)
        return
    check(r.returncode == 2 and raised(r.stderr),
          f"dead BMC: exit {r.returncode}, {r.stderr.strip()!r}")
    check(time.monotonic() - begin < 15, "dead BMC: the error took over 15 s")


def lifecycle(args):
    dirs = [Path(d) for d in args.profile_dirs]
    for d in dirs:
        check_run_and_settings(args.sim_run, args.build_dir, d)
    check_signal_and_neighbours(args.sim_run, args.build_dir, dirs[0], dirs[-1])
    check_errors(args.sim_run, args.build_dir, dirs[0])
    check_rejected_command_files(args.sim_run, args.build_dir, dirs[0])
    check_dead_bmc(args.sim_run, args.build_dir, dirs[0], args.platformq)
    finish()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    sub = parser.add_subparsers(dest="mode", required=True)
    p = sub.add_parser("profile")
    p.add_argument("description", type=Path)
    p.add_argument("--platformq", required=True)
    p.set_defaults(func=profile)
    lc = sub.add_parser("lifecycle")
    lc.add_argument("profile_dirs", nargs="+", help="sim/profiles/NAME directories")
    lc.add_argument("--sim-run", required=True)
    lc.add_argument("--build-dir", required=True)
    lc.add_argument("--platformq", required=True)
    lc.set_defaults(func=lifecycle)
    args = parser.parse_args()
    args.func(args)


if __name__ == "__main__":
    main()
