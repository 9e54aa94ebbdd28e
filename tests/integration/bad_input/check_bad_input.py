#!/usr/bin/env python3
"""Bad input gives a clear error, in bounded time and memory: SMBIOS tables whose counts claim
far more than they hold, settings files that are no files, query indexes past 32 bits.

  check_bad_input.py --platformq P --sim-dir BUILD/sim

Each case runs platformq with its own settings and checks the exit status and what it says;
the time and peak memory of each run are printed (a run that does not end within the timeout
fails). Peak memory is held to 50 MB (more under the sanitizers, which shadow every byte).
"""

import argparse
import os
import resource
import subprocess
import sys
import tempfile
import time
from pathlib import Path

TIMEOUT = 60  # seconds: a hang fails instead of stalling the run
MAX_RSS_MB = 400 if os.environ.get("ASAN_OPTIONS") else 50
DEVICE_COUNT_ERROR = "ERROR_GET_MEMORY_DEVICE_NO"
USAGE_ERROR = "ERROR_GET_LOGICAL_PROCESSOR_USAGE"


def run(platformq, config_dir, query):
    """(exit status, stdout, stderr, seconds, peak RSS in MB) of platformq. The peak is the
    largest of this run's and the runs before it, so a case over the limit fails where it
    first happens."""
    begin = time.monotonic()
    try:
        r = subprocess.run([platformq, "--config-dir", config_dir, *query], capture_output=True,
                           text=True, timeout=TIMEOUT)
    except subprocess.TimeoutExpired:
        return None, "", f"no answer within {TIMEOUT} s", TIMEOUT, 0
    seconds = time.monotonic() - begin
    peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024
    return r.returncode, r.stdout, r.stderr, seconds, peak


def settings(directory, **sections):
    text = "".join(f"[{s}]\n" + "".join(f"{k}={v}\n" for k, v in keys.items())
                   for s, keys in sections.items())
    (Path(directory) / "OrdixServMgmtSettings.ini").write_text(text)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--platformq", type=Path, required=True)
    parser.add_argument("--sim-dir", type=Path, required=True)
    args = parser.parse_args()
    sim, q = args.sim_dir, args.platformq
    efi = sim / "efi" / "board-table-hit"  # a board the table knows: no IPMI needed
    no_bmc = {"Interface": "inband", "Device": "/nonexistent/ipmi0"}
    faults = []

    def case(name, setup, query, want_status, want_text):
        with tempfile.TemporaryDirectory() as tmp:
            config = setup(Path(tmp))
            status, out, err, seconds, rss = run(q, config, query)
            said = out + err
            ok = status == want_status and want_text in said and rss <= MAX_RSS_MB
            print(f"{'ok  ' if ok else 'FAIL'} {name}: exit {status}, {seconds:.2f} s, "
                  f"peak {rss:.0f} MB")
            if not ok:
                faults.append(f"{name}: exit {status} (expected {want_status}), peak {rss:.0f} MB "
                              f"(at most {MAX_RSS_MB}), expected {want_text!r} in {said[-400:]!r}")

    def image(quirk):
        def setup(tmp):
            settings(tmp, SMBIOS={"Image": sim / "quirks" / quirk / "smbios.bin"},
                     SMI={"VariablesDir": efi}, BMC=no_bmc)
            return tmp
        return setup

    def settings_file(make):
        def setup(tmp):
            make(tmp / "OrdixServMgmtSettings.ini")
            return tmp
        return setup

    # Memory arrays that claim 65,535 devices and list none: no slot is invented.
    for quirk in ("huge-device-count", "many-arrays"):
        case(quirk, image(quirk), ["/Platform/MemoryTopology"], 0, DEVICE_COUNT_ERROR)
    # Settings files that are no files: the defaults, and a warning that says why.
    for name, make in [("settings file is a FIFO", os.mkfifo),
                       ("settings file links to /dev/zero", lambda p: p.symlink_to("/dev/zero")),
                       ("settings file links to /dev/urandom",
                        lambda p: p.symlink_to("/dev/urandom")),
                       ("settings file is a directory", lambda p: p.mkdir())]:
        case(name, settings_file(make), ["/BIOS"], 2, "cannot be read (not a regular file)")
    case("missing --config-dir", lambda tmp: tmp / "absent", ["/BIOS"], 64,
         "Directory does not exist")
    # Indexes that only cut to 32 bits would name a processor.
    profile = sim / "dual-socket-16dimm" / "smbios.bin"
    for index in ("4294967296", "4294967297"):
        def setup(tmp):
            settings(tmp, SMBIOS={"Image": profile}, SMI={"VariablesDir": efi}, BMC=no_bmc)
            return tmp
        case(f"usage index {index}", setup,
             [f"/Platform/ProcessorInfo/LogicalProcessor[{index}]"], 0, USAGE_ERROR)

    print("\n".join(faults + [f"bad input: {len(faults) or 'no'} fault(s)"]))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
