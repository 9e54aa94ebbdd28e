#!/usr/bin/env python3
"""End-to-end checks of the simulated BMCs (sim/run, sim/profiles/*/bmc.toml).

  profile DESCRIPTION --platformq P   (inside sim/run PROFILE -- ...): ipmitool reads what
      bmc.toml describes, and platformq's /BMC answers equal ipmitool's replies.
  lifecycle --sim-run RUN --build-dir B --platformq P PROFILE_DIR...: sim/run itself.
"""

import argparse
import configparser
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


def run(*args, timeout=TIMEOUT, **kwargs):
    return subprocess.run([str(a) for a in args], capture_output=True, text=True,
                          errors="replace", timeout=timeout, **kwargs)


def toml(profile_dir):
    return tomllib.loads((Path(profile_dir) / "bmc.toml").read_text())


def raised(stderr):
    """platformq's report of an error raised (the driver library may log lines before it)."""
    return re.search(r"^error \d+: ", stderr, re.MULTILINE) is not None


def hex_text(data):
    return " ".join(f"{b:x}" for b in data)


class Ipmitool:
    def __init__(self, port, login):
        tool = shutil.which("ipmitool") or sys.exit("ipmitool is not installed "
                                                    "(scripts/install-deps test installs it)")
        self.base = [tool, "-I", "lanplus", "-C", "3", "-N", "1", "-R", "2", "-H", "127.0.0.1",
                     "-p", str(port), "-U", login["user"], "-P", login["password"]]

    def raw(self, *request):
        """(completion code, reply data bytes); a transport failure ends the test."""
        r = run(*self.base, "raw", *(f"0x{b:02x}" for b in request))
        if r.returncode == 0:
            return 0, [int(t, 16) for t in r.stdout.split()]
        m = re.search(r"rsp=0x([0-9a-fA-F]{2})", r.stderr)
        if m is None:
            sys.exit(f"ipmitool raw {request} failed: {r.stderr.strip()}")
        return int(m[1], 16), []


def expected_record(index, record, count):
    """A Get SEL Entry reply, with None where the simulator stamps the time itself."""
    following = 0xFFFF if index + 1 == count else index + 2
    head = [following & 0xFF, following >> 8, (index + 1) & 0xFF, (index + 1) >> 8]
    kind = record.get("type", 0x02)
    if kind == 0x02:
        generator = record.get("generator", 0x20)
        return head + [kind, None, None, None, None, generator & 0xFF, generator >> 8, 0x04,
                       record["sensor_type"], record["sensor"], record["event_type"],
                       *record["data"]]
    stamped = kind < 0xE0
    return head + [kind] + [None] * 4 * stamped + record["bytes"][4 * stamped:]


def check_sensors(ipmi, sensors):
    """Every described sensor answers its bytes; returns what ipmitool read, per request."""
    replies = {}
    described = {s["number"] for s in sensors}
    # Sensors the profile lacks (ffh is where slots without a sensor are looked for).
    absent = {0xFF, next(i for i in range(0xFE, 0, -1) if i not in described)}
    wanted = [(s["number"], command, s[key]) for s in sensors
              for command, key in ((0x2D, "reading"), (0x2B, "event_status"))]
    wanted += [(n, command, {"cc": 0xCB}) for n in sorted(absent) for command in (0x2D, 0x2B)]
    wanted += [(None, command, {"cc": 0xC7}) for command in (0x2D, 0x2B)]  # no sensor number
    for n, command, reply in wanted:
        got = ipmi.raw(0x04, command, *([] if n is None else [n]))
        want = (reply["cc"], []) if isinstance(reply, dict) else (0, reply)
        check(got == want, f"sensor {n} command {command:02x}: {got}, described {want}")
        if n is not None:
            replies[(n, command)] = got
    return replies


def check_sel(ipmi, records, limit=1100):
    """Get SEL Entry from the first record, following next-record IDs to FFFFh."""
    walked, record_id = [], 0x0000
    while len(walked) < limit and record_id != 0xFFFF:
        cc, data = ipmi.raw(0x0A, 0x43, 0, 0, record_id & 0xFF, record_id >> 8, 0, 0xFF)
        if cc == 0xCB and not walked:
            break  # an empty log
        if not check(cc == 0 and len(data) == 18,
                     f"Get SEL Entry {record_id:04x}: cc {cc:02x}, {len(data)} bytes"):
            break
        walked.append(data)
        record_id = data[0] | data[1] << 8
    else:
        check(record_id == 0xFFFF, f"the event log does not end within {limit} records")
    check(len(walked) == len(records), f"event log: {len(walked)} records, described "
          f"{len(records)}")
    for i, (got, record) in enumerate(zip(walked, records)):
        want = expected_record(i, record, len(records))
        check(all(w is None or g == w for g, w in zip(got, want)),
              f"record {i + 1}: {hex_text(got)}, described {want}")
    entries = re.search(r"^Entries\s*:\s*(\d+)", run(*ipmi.base, "sel", "info").stdout, re.M)
    check(entries and int(entries[1]) == len(records), f"Get SEL Info: {entries}, described "
          f"{len(records)} entries")
    return walked


def check_platformq(platformq, replies, walked):
    """platformq's /BMC answers equal what ipmitool read."""
    def query(path):
        r = run(platformq, "--config-dir", os.environ["ORDIX_CONFIG_DIR"], "--format", "json", path)
        return r.returncode, json.loads(r.stdout) if r.stdout.strip() else {}, r.stderr
    for (n, command), (cc, data) in sorted(replies.items()):
        path = f"/BMC/SENSOR[{n}]/{'VALUE' if command == 0x2D else 'PROCEVENT'}"
        code, answer, err = query(path)
        if cc != 0:
            check(code == 2 and raised(err) and not answer,
                  f"{path} (completion code {cc:02x}): exit {code}, {answer}, {err.strip()!r}")
        else:
            values = [hex_text(data[k:]) for k in range(len(data))]
            check(answer == {path: {"kind": 0, "list": values}} and code == (0 if data else 1),
                  f"{path}: exit {code}, {answer}; ipmitool read {hex_text(data)!r}")
    code, answer, err = query("/BMC/SEL/RECORD")
    want = {f"/BMC/SEL/RECORD[{i + 1:05d}]": {"kind": 0, "list": [hex_text(r)]}
            for i, r in enumerate(walked)}
    check(answer == want, f"/BMC/SEL/RECORD: {answer}; ipmitool read {want}")
    check(code == (0 if walked else 1), f"/BMC/SEL/RECORD with {len(walked)} records: exit "
          f"{code} ({err.strip()})")


def profile(args):
    description = tomllib.loads(args.description.read_text())
    ipmi = Ipmitool(os.environ["ORDIX_SIM_BMC_PORT"], {
        "user": os.environ["ORDIX_SIM_BMC_USER"], "password": os.environ["ORDIX_SIM_BMC_PASSWORD"]})
    device = description["device"]
    (major, minor), m, p = device["firmware"].split("."), device["manufacturer"], device["product"]
    want = {0: device["id"], 1: (0x80 if device.get("device_sdrs") else 0) | device["revision"],
            2: int(major), 3: int(minor, 16), 5: device["support"],
            6: m & 0xFF, 7: (m >> 8) & 0xFF, 8: m >> 16, 9: p & 0xFF, 10: p >> 8}
    cc, data = ipmi.raw(0x06, 0x01)
    if check(cc == 0 and len(data) >= 11, f"Get Device ID: cc {cc:02x}, {len(data)} bytes"):
        for offset, value in want.items():
            check(data[offset] == value,
                  f"Get Device ID byte {offset}: {data[offset]:02x}, described {value:02x}")
    replies = check_sensors(ipmi, description.get("sensors", []))
    walked = check_sel(ipmi, description.get("sel", []))
    check_platformq(args.platformq, replies, walked)


def gone(pid):
    """True once the process is gone (or is a zombie nobody has reaped yet)."""
    try:
        return Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0] in "ZX"
    except OSError:
        return True


def check_run_and_settings(sim_run, build, profile_dir):
    name, description = profile_dir.name, toml(profile_dir)
    r = run(sim_run, "--build-dir", build, name, "--", "sh", "-c",
            'echo "$ORDIX_SIM_BMC_PID $ORDIX_SIM_BMC_PORT $ORDIX_CONFIG_DIR"; '
            'cat "$ORDIX_CONFIG_DIR/OrdixServMgmtSettings.ini"; exit 7')
    check(r.returncode == 7, f"{name}: sim/run passes on the command's status: {r.returncode}")
    first, _, ini = r.stdout.partition("\n")
    pid, port, config = first.split()
    settings = configparser.ConfigParser(delimiters=("=",), interpolation=None)
    settings.optionxform = str  # keys keep their case
    settings.read_string(ini)
    bmc, login = dict(settings["BMC"]) if "BMC" in settings else {}, description["login"]
    check(bmc == {"Interface": "lanplus", "Host": "127.0.0.1", "Port": port,
                  "User": login["user"], "Password": login["password"], "CipherSuite": "3",
                  "TimeoutMs": bmc.get("TimeoutMs", "-")}
          and bmc["TimeoutMs"].isdigit(), f"{name}: [BMC] {bmc}")
    image = settings.get("SMBIOS", "Image", fallback="")
    check(Path(image) == Path(build) / "sim" / name / "smbios.bin" and Path(image).is_file(),
          f"{name}: [SMBIOS] Image = {image}")
    variables = Path(settings.get("SMI", "VariablesDir", fallback="/nonexistent"))
    check(variables.name == description["efi_case"] and variables.is_dir(),
          f"{name}: [SMI] VariablesDir = {variables}")
    check(gone(int(pid)), f"{name}: the simulator ({pid}) outlives sim/run")
    check(not Path(config).exists(), f"{name}: the settings directory {config} is left behind")


def check_signal_and_neighbours(sim_run, build, dirs):
    """Two servers at once, each on its own port with its own BMC; SIGTERM stops one whole."""
    ids, procs = {}, []
    try:
        for profile_dir in dirs:
            proc = subprocess.Popen(
                [sim_run, "--build-dir", build, profile_dir.name, "--", "sh", "-c",
                 'echo "$ORDIX_SIM_BMC_PID $ORDIX_SIM_BMC_PORT $$"; exec sleep 60'],
                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            procs.append(proc)
            line = proc.stdout.readline().split()  # bounded: sim/run gives up after 10 s
            if len(line) != 3:
                sys.exit(f"sim/run {profile_dir.name} did not start: {proc.stderr.read()}")
            sim_pid, port, shell_pid = map(int, line)
            proc.pids = (sim_pid, shell_pid)
            cc, data = Ipmitool(port, toml(profile_dir)["login"]).raw(0x06, 0x01)
            ids[port] = data[9] | data[10] << 8 if cc == 0 and len(data) > 10 else None
        wanted = [toml(d)["device"]["product"] for d in dirs]
        check(list(ids.values()) == wanted, f"product IDs by port {ids}, described {wanted}")
        for proc in procs:
            proc.send_signal(signal.SIGTERM)
            code = proc.wait(timeout=TIMEOUT)
            check(code == 128 + signal.SIGTERM and all(map(gone, proc.pids)),
                  f"sim/run after SIGTERM: exit {code}; simulator, command {proc.pids}")
    finally:
        for proc in procs:
            if proc.poll() is None:
                proc.kill()
                proc.wait(timeout=TIMEOUT)


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
    name, efi_case = profile_dir.name, toml(profile_dir)["efi_case"]
    with tempfile.TemporaryDirectory() as scratch:
        source, copy = Path(build) / "sim" / name, Path(scratch) / "sim" / name
        shutil.copytree(source / "bmc", copy / "bmc")
        shutil.copy(source / "smbios.bin", copy / "smbios.bin")
        shutil.copytree(Path(build) / "sim" / "efi" / efi_case,
                        Path(scratch) / "sim" / "efi" / efi_case)
        lines = (source / "bmc" / "commands.emu").read_text().splitlines()
        at = next(i for i, line in enumerate(lines) if line.startswith("sensor_bytes"))
        for bad in BAD_LINES:
            (copy / "bmc" / "commands.emu").write_text("\n".join(lines[:at] + [bad] + lines[at:]))
            r = run(sim_run, "--build-dir", scratch, name, "--", "echo", "ran")
            check(r.returncode == 69 and "ran" not in r.stdout and "rejected" in r.stderr,
                  f"{bad!r}: exit {r.returncode}, {r.stderr.strip()!r}")


SESSION_CASES = [
    # (settings added to sim/run's, what the run must show on standard error)
    # The stock simulator needs FreeIPMI's open-session-privilege workaround: found and logged.
    ("[Logging]\nLevel=3\n", "opened with FreeIPMI's workaround opensesspriv"),
    # Forbidden any workaround, the step that fails is named, with the setting to look at.
    ("Workarounds=none\n", "RMCP+ session refused at privilege admin for user \"admin\": "
                            "[BMC] Privilege"),
    # A wrong password fails however the session is opened, and says so.
    ("Password=wrong\n", "authentication refused for user \"admin\": [BMC] User/Password"),
    ("User=nobody\n", "the BMC does not know user \"nobody\": [BMC] User"),
]


def check_session_failures(sim_run, build, platformq, profile_dir):
    """How a session that does or does not open reads, against the stock simulator."""
    name = profile_dir.name
    # [BMC] is the last section sim/run writes: lines added at the end land in it, or start
    # a section of their own. A key given again replaces sim/run's.
    script = ('ini="$ORDIX_CONFIG_DIR/OrdixServMgmtSettings.ini"; '
              'for key in $REPLACED; do sed -i "/^$key=/d" "$ini"; done; '
              'printf "%s" "$ADDED" >>"$ini"; exec "$1" "/BMC/SENSOR[1]/VALUE"')
    for added, wanted in SESSION_CASES:
        replaced = " ".join(line.split("=")[0] for line in added.splitlines() if "=" in line)
        r = run(sim_run, "--build-dir", build, name, "--", "sh", "-c", script, "sh", platformq,
                env={**os.environ, "ADDED": added, "REPLACED": replaced})
        check(wanted in r.stderr, f"{name} with {added!r}: {r.stderr.strip()[-400:]!r}")


def lifecycle(args):
    dirs, sim_run, build = [Path(d) for d in args.profile_dirs], args.sim_run, args.build_dir
    for d in dirs:
        check_run_and_settings(sim_run, build, d)
    check_signal_and_neighbours(sim_run, build, [dirs[0], dirs[-1]])
    check_session_failures(sim_run, build, args.platformq, dirs[0])
    check_rejected_command_files(sim_run, build, dirs[0])
    # Usage errors, and the firmware variables' override.
    name = dirs[0].name
    grep = ["sh", "-c", 'grep "^VariablesDir=" "$ORDIX_CONFIG_DIR/OrdixServMgmtSettings.ini"']
    for sim_args, ok in [(["no-such-profile", "--", "true"],
                          lambda r: r.returncode == 69 and "no-such-profile" in r.stderr),
                         ([name, "true"], lambda r: r.returncode == 64),  # no "--"
                         (["--efi", "no-variable", name, "--", *grep],
                          lambda r: r.returncode == 0 and r.stdout.endswith("/efi/no-variable\n")),
                         (["--efi", "no-such-case", name, "--", "true"],
                          lambda r: r.returncode == 69)]:
        r = run(sim_run, "--build-dir", build, *sim_args)
        check(ok(r), f"sim/run {' '.join(sim_args)}: exit {r.returncode}, {r.stdout.strip()!r}, "
              f"{r.stderr.strip()!r}")
    # The simulator dies under a running command: platformq reports an error in bounded time.
    begin = time.monotonic()
    r = run(sim_run, "--build-dir", build, name, "--", "sh", "-c",
            'kill "$ORDIX_SIM_BMC_PID"; while kill -0 "$ORDIX_SIM_BMC_PID" 2>/dev/null; do '
            'sleep 0.01; done; exec "$1" --config-dir "$ORDIX_CONFIG_DIR" "/BMC/SENSOR[144]/VALUE"',
            "sh", args.platformq)
    check(r.returncode == 2 and raised(r.stderr), f"dead BMC: exit {r.returncode}, {r.stderr!r}")
    check(time.monotonic() - begin < 15, "dead BMC: the error took over 15 s")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    sub = parser.add_subparsers(dest="mode", required=True)
    p, lc = sub.add_parser("profile"), sub.add_parser("lifecycle")
    p.add_argument("description", type=Path)
    lc.add_argument("profile_dirs", nargs="+", help="sim/profiles/NAME directories")
    for option in ("--sim-run", "--build-dir"):
        lc.add_argument(option, required=True)
    for sp, func in ((p, profile), (lc, lifecycle)):
        sp.add_argument("--platformq", required=True)
        sp.set_defaults(func=func)
    args = parser.parse_args()
    args.func(args)
    if FAILURES:
        sys.exit(f"{len(FAILURES)} check(s) failed")
    print("all checks passed")


if __name__ == "__main__":
    main()
