#!/usr/bin/env python3
"""platformq.exe under Wine against one simulated server: the module loaded by path with
LoadLibraryW, the settings file in the Windows directory of the Wine prefix (where the profile
API looks for a file named without a directory), the profile's SMBIOS image and EFI variables,
and the scripted double (quarnapi.dll beside the module) answering from a script made from the
profile's BMC description.

Checks the whole /Platform tree answers, and each answer that the profile determines: SMBIOS
and BIOS values against the profile's description, the BMC's sensor bytes and event log, the
processor and memory branches against those answers, the processor count against this machine,
and the usage query's error key (Wine has no per-processor performance counters).
"""

import argparse
import json
import os
import re
import subprocess
import sys
import tempfile
import tomllib
from pathlib import Path

SETTINGS = "OrdixServMgmtSettings.ini"
USAGE_ERROR = "ERROR_GET_LOGICAL_PROCESSOR_USAGE"
OS_TYPES = {"Workstation", "Server", "Domain Controller"}

failures = []


def check(condition, what):
    if not condition:
        failures.append(what)


class Wine:
    def __init__(self, wine):
        self.wine = wine
        self.env = dict(os.environ, WINEDEBUG=os.environ.get("WINEDEBUG", "-all"))
        # The Windows directory, not ORDIX_CONFIG_DIR, must name the settings file.
        self.env.pop("ORDIX_CONFIG_DIR", None)
        self.env.pop("QUARNAPI_SIM_SCRIPT", None)

    def path(self, flag, path):
        out = self.run("winepath", flag, path)
        if out.returncode != 0:
            sys.exit(f"winepath {flag} {path}: {out.stderr}")
        return out.stdout.strip()

    def run(self, *args):
        # Output through files, not pipes: a wineserver started by this call inherits the
        # descriptors and keeps a pipe open until it exits, seconds after the program did.
        with tempfile.TemporaryFile("w+") as out, tempfile.TemporaryFile("w+") as err:
            done = subprocess.run([self.wine, *map(str, args)], env=self.env, stdout=out,
                                  stderr=err, stdin=subprocess.DEVNULL, timeout=90)
            out.seek(0)
            err.seek(0)
            return subprocess.CompletedProcess(done.args, done.returncode, out.read(), err.read())


def platformq(wine, exe, *queries):
    run = wine.run(exe, "--format", "json", *queries)
    try:
        answer = json.loads(run.stdout) if run.stdout.strip() else {}
    except json.JSONDecodeError:
        answer = {}
        failures.append(f"{' '.join(queries)}: not JSON: {run.stdout[:200]!r}")
    return run, answer


def value(answer, key):
    node = answer.get(key)
    return node["list"][0] if node and node["kind"] == 0 and node["list"] else None


def children(answer, key):
    node = answer.get(key)
    return node["list"] if node and node["kind"] == 1 else []


def hex_text(data):
    return " ".join(f"{b:x}" for b in data)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--wine", required=True)
    parser.add_argument("--platformq", type=Path, required=True)
    parser.add_argument("--profile", type=Path, required=True)
    parser.add_argument("--image", type=Path, required=True)
    parser.add_argument("--efi-root", type=Path, required=True)
    parser.add_argument("--work", type=Path, required=True)
    args = parser.parse_args()

    with open(args.profile / "smbios.toml", "rb") as f:
        smbios = tomllib.load(f)
    with open(args.profile / "bmc.toml", "rb") as f:
        bmc = tomllib.load(f)
    sys.path.insert(0, str(Path(__file__).resolve().parent))
    import double_script  # noqa: E402

    args.work.mkdir(parents=True, exist_ok=True)
    script = args.work / "bmc.script"
    script.write_text(double_script.script(bmc))

    wine = Wine(args.wine)
    windows_dir = Path(wine.path("-u", "C:\\windows"))
    settings = windows_dir / SETTINGS
    settings.write_text(
        "[SMBIOS]\r\nImage=" + wine.path("-w", args.image.resolve()) + "\r\n"
        "[SMI]\r\nVariablesDir=" + wine.path("-w", (args.efi_root / bmc["efi_case"]).resolve())
        + "\r\n[BMC]\r\nSimScript=" + wine.path("-w", script.resolve()) + "\r\n")
    try:
        check_profile(wine, args.platformq, smbios, bmc)
    finally:
        settings.unlink(missing_ok=True)

    for failure in failures:
        print("FAIL:", failure)
    print(f"{args.profile.name}: {'ok' if not failures else f'{len(failures)} failures'}")
    return 1 if failures else 0


def check_profile(wine, exe, smbios, bmc):
    # The whole tree in one query, as the framework would ask it: both hardware branches.
    run, tree = platformq(wine, exe, "/Platform")
    check(run.returncode == 0, f"/Platform: exit {run.returncode}: {run.stderr.strip()[-300:]}")
    check(set(children(tree, "/Platform")) >= {"/Platform/ProcessorInfo",
                                               "/Platform/MemoryTopology"},
          f"/Platform children: {children(tree, '/Platform')}")

    # The OS branch, live from the Windows sources.
    run, os_tree = platformq(wine, exe, "/Platform/OS")
    check(run.returncode == 0, f"/Platform/OS: exit {run.returncode}")
    check(value(os_tree, "/Platform/OS/Info/Type") in OS_TYPES, "OS type")
    check(value(os_tree, "/Platform/OS/MemoryInfo/Units") == "MB", "memory units")
    check((value(os_tree, "/Platform/OS/MemoryInfo/TotalMemory") or "").isdigit(), "total memory")
    drives = value(os_tree, "/Platform/OS/DriveInfo/HardDisk/NumDrives") or ""
    first = value(os_tree, "/Platform/OS/DriveInfo/HardDisk/Drive[0]/ID") or ""
    check(drives.isdigit() and int(drives) >= 1 and re.fullmatch(r"[A-Z]:\\", first),
          f"fixed drives: {drives!r}, first {first!r}")

    # SMBIOS through the BIOS module, from the image the settings name.
    run, bios = platformq(wine, exe, "/BIOS", "/SMBIOS/Type4/@children")
    check(run.returncode == 0, f"/BIOS: exit {run.returncode}: {run.stderr.strip()[-300:]}")
    for key, field in (("Vendor", "vendor"), ("Version", "version"), ("ReleaseDate", "date")):
        check(value(bios, f"/BIOS/{key}") == smbios["bios"][field], f"/BIOS/{key}")
    sockets = smbios.get("sockets", [])
    check(len(children(bios, "/SMBIOS/Type4")) == len(sockets), "one Type4 per socket")

    # The BMC through the scripted double, loaded as quarnapi.dll.
    sensors = bmc.get("sensors", [])
    queries = [f"/BMC/SENSOR[{s['number']}]/VALUE" for s in sensors if isinstance(s["reading"], list)]
    run, readings = platformq(wine, exe, *queries)
    check(run.returncode == 0, f"/BMC: exit {run.returncode}: {run.stderr.strip()[-300:]}")
    run, log = platformq(wine, exe, "/BMC/SEL/RECORD")
    has_log = bool(bmc.get("sel"))
    check(run.returncode == (0 if has_log else 1), f"/BMC/SEL/RECORD: exit {run.returncode}")
    for s in sensors:
        if isinstance(s["reading"], list):
            got = readings.get(f"/BMC/SENSOR[{s['number']}]/VALUE", {}).get("list", [None])[0]
            check(got == hex_text(s["reading"]), f"sensor {s['number']:#x}: {got!r}")
    records = [k for k in log if k.startswith("/BMC/SEL/RECORD[")]
    check(len(records) == len(bmc.get("sel", [])), f"SEL records: {len(records)}")

    # The processor branch: the sockets it lists are SMBIOS's, the logical processors this
    # machine's (the pinned workers ran on each), the sensor numbers the BMC's.
    info = [k for k in children(tree, "/Platform/ProcessorInfo")
            if re.fullmatch(r"/Platform/ProcessorInfo/PhysicalProcessorInfo\[\d+\]", k)]
    physical = value(tree, "/Platform/ProcessorInfo/NumberOfPhysicalProcessor") or ""
    check(physical.isdigit() and 0 < int(physical) <= len(info) == len(sockets),
          f"physical processors {physical!r}, {len(info)} sockets listed")
    logical = value(tree, "/Platform/ProcessorInfo/NumberOfLogicalProcessor") or ""
    check(logical == str(len(os.sched_getaffinity(0))), f"logical processors {logical!r}")
    numbers = {f"{s['number']:x}" for s in sensors}
    for key in children(tree, "/Platform/ProcessorInfo"):
        if "PhysicalProcessorStatus[" in key:
            check(value(tree, key + "/SensorNumber") in numbers, f"{key}/SensorNumber")

    # The memory branch: the slots each SMBIOS memory array announces, the BMC's event log
    # counted.
    slots = [k for k in children(tree, "/Platform/MemoryTopology/MemoryInfo")
             if re.fullmatch(r"/Platform/MemoryTopology/MemoryInfo\[\d+\]", k)]
    run, arrays = platformq(wine, exe, "/SMBIOS/MemoryArray")
    announced = sum(int(arrays[k]["list"][0]) for k in arrays
                    if re.fullmatch(r"/SMBIOS/MemoryArray\[\d+\]/NumMemoryDevices", k))
    check(announced > 0 and len(slots) == announced, f"{len(slots)} slots, {announced} announced")
    check(value(tree, "/Platform/MemoryTopology/NumberOfElements") == str(announced),
          "NumberOfElements")
    run, errors = platformq(wine, exe, "/Platform/MemoryTopology/Errors")
    for key in ("CorErrorCount", "UnCorErrorCount"):
        # Counted from the event log; a BMC without one gives the error key.
        count = value(errors, f"/Platform/MemoryTopology/Errors/{key}") or ""
        check(count.isdigit() if has_log else count == "ERROR_GET_MEMORY_ECC_ERROR_COUNT",
              f"Errors/{key} = {count!r}")

    # Usage: Wine has no "\Processor(N)\% Processor Time" instances, so the sample fails and
    # the query answers the specified error key.
    query = "/Platform/ProcessorInfo/LogicalProcessor[0]/LogicalProcessorUsage"
    run, usage = platformq(wine, exe, query)
    check(value(usage, query) == USAGE_ERROR, f"usage: {usage.get(query)}")


if __name__ == "__main__":
    sys.exit(main())
