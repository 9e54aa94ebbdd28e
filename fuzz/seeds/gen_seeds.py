#!/usr/bin/env python3
"""Writes the fuzz targets' seed inputs generated from the simulated servers.

From each profile's generated SMBIOS image, its BMC description (sim/profiles/*/bmc.toml) and
the generated EFI variable cases, OUT/<target>/ receives inputs in the form that target reads:

  smbios_image    each image, and copies damaged in the ways firmware damages tables (a table
                  cut short, a structure whose length is below its header, one running past
                  the table end)
  bmc_replies     each sensor's query with its reading or event status as the controller's
                  reply; the event-log query with every record as a Get SEL Entry reply
  module_replies  per family, the profile's processor and DIMM sensors as the BMC module
                  answers them ('|' between values), then its event-log records
  efi_variable    each case's firmware-version variable file
  imb_script      the scripted double's script of each BMC (tests/windows/double_script.py)
  settings        the settings file sim/run writes for each profile (its login, its image
                  and EFI variables), and those of the fuzz targets that read one

Usage: gen_seeds.py --sim-build DIR --profiles DIR -o OUT
"""

import argparse
import shutil
import struct
import sys
import tomllib
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "sim" / "ipmi"))
sys.path.insert(0, str(ROOT / "tests" / "windows"))
import double_script  # noqa: E402
import gen_bmc  # noqa: E402

SEL_LAST_RECORD = 0xFFFF
SENSOR_TYPE_PROCESSOR = 0x07
SENSOR_TYPE_MEMORY = 0x0C
# The families whose sensor rows the profiles' sensor numbers fill.
FAMILIES = ["KARVO_PLATFORM", "TESKAR_PLATFORM", "PIRLOW_PLATFORM", "ZORVEL_PLATFORM",
            "ROPHIN_PLATFORM", "DUVANE_PLATFORM"]


def hex_list(values):
    return " ".join(f"{b:x}" for b in values)


def sensor_values(values):
    """A sensor leaf's values as the BMC module writes them: value k holds bytes k to the end."""
    return "|".join(hex_list(values[k:]) for k in range(len(values)))


def reply_bytes(value):
    """(completion code, data) of a description's reply: its bytes, or { cc = N }."""
    if isinstance(value, dict):
        return value["cc"], []
    return 0, list(value)


def sel_replies(profile):
    """The Get SEL Entry reply data of each record: next record ID, then the record."""
    records = []
    sel = profile.get("sel", [])
    for i, record in enumerate(sel):
        kind, data = gen_bmc.record_bytes(record, f"sel[{i}]")
        next_id = i + 2 if i + 1 < len(sel) else SEL_LAST_RECORD
        records.append([next_id & 0xFF, next_id >> 8, (i + 1) & 0xFF, (i + 1) >> 8, kind, *data])
    return records


def bmc_reply_seeds(name, profile, out):
    def write(file, query, replies):
        stream = bytearray(query.encode() + b"\n")
        for cc, data in replies:
            stream += bytes([cc, len(data), *data])
        (out / file).write_bytes(bytes(stream))

    write(f"{name}-sel", "/BMC/SEL/RECORD", [(0, r) for r in sel_replies(profile)])
    for sensor in profile.get("sensors", []):
        n = sensor["number"]
        for leaf, key in (("VALUE", "reading"), ("PROCEVENT", "event_status")):
            if key in sensor:
                write(f"{name}-{n:02x}-{leaf.lower()}", f"/BMC/SENSOR[{n}]/{leaf}",
                      [reply_bytes(sensor[key])])


def module_reply_seeds(name, profile, out):
    lines = []
    for kind in (SENSOR_TYPE_PROCESSOR, SENSOR_TYPE_MEMORY):
        for sensor in profile.get("sensors", []):
            if sensor.get("type") != kind:
                continue
            for key in ("event_status", "reading"):
                cc, data = reply_bytes(sensor.get(key, []))
                lines.append("!" if cc else sensor_values(data))
    lines += [hex_list(record) for record in sel_replies(profile)]
    for family in FAMILIES:
        (out / f"{name}-{family.lower()}").write_text("\n".join([family, *lines]) + "\n")


def structures(table):
    """(offset, length) of each structure of a well-formed table."""
    found, offset = [], 0
    while offset + 4 <= len(table):
        length = table[offset + 1]
        end = table.index(b"\0\0", offset + length) + 2
        found.append((offset, length))
        if table[offset] == 127:
            break
        offset = end
    return found


def smbios_seeds(name, image, out):
    (out / f"{name}.bin").write_bytes(image)
    # The dump layout puts the table at 0x20, the entry point's table address.
    table_at = 0x20
    table = image[table_at:]
    parts = structures(table)
    cut = table_at + parts[len(parts) // 2][0] + 2
    (out / f"{name}-cut.bin").write_bytes(image[:cut])
    second, length = parts[1]
    short = bytearray(image)
    short[table_at + second + 1] = 2
    (out / f"{name}-short-structure.bin").write_bytes(bytes(short))
    overlong = bytearray(image)
    last, _ = parts[-1]
    overlong[table_at + last + 1] = 0xFF
    (out / f"{name}-overlong-structure.bin").write_bytes(bytes(overlong))


# The settings file sim/run writes, as its here-document stands, with the profile's values.
def sim_run_settings(name, profile, sim_build):
    run = (ROOT / "sim" / "run").read_text()
    heading = 'OrdixServMgmtSettings.ini" <<EOF\n'
    start = run.index(heading) + len(heading)
    text = run[start:run.index("\nEOF\n", start) + 1]
    login = profile.get("login", {})
    efi = sim_build / "efi" / profile.get("efi_case", "")
    values = {"dir": str(sim_build / name), "efi_dir": str(efi),
              "port": "9001", "user": login.get("user", ""), "password": login.get("password", "")}
    for key in sorted(values, key=len, reverse=True):
        text = text.replace("$" + key, values[key])
    return text


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--sim-build", type=Path, required=True)
    parser.add_argument("--profiles", type=Path, required=True)
    parser.add_argument("-o", "--out", type=Path, required=True)
    args = parser.parse_args()

    targets = ["smbios_image", "bmc_replies", "module_replies", "efi_variable", "imb_script",
               "settings"]
    dirs = {t: args.out / t for t in targets}
    for d in dirs.values():
        shutil.rmtree(d, ignore_errors=True)
        d.mkdir(parents=True)

    for profile_dir in sorted(p for p in args.profiles.iterdir() if p.is_dir()):
        name = profile_dir.name
        image = args.sim_build / name / "smbios.bin"
        if image.is_file():
            smbios_seeds(name, image.read_bytes(), dirs["smbios_image"])
        description = profile_dir / "bmc.toml"
        if description.is_file():
            with open(description, "rb") as f:
                profile = tomllib.load(f)
            bmc_reply_seeds(name, profile, dirs["bmc_replies"])
            module_reply_seeds(name, profile, dirs["module_replies"])
            (dirs["imb_script"] / f"{name}.script").write_text(double_script.script(profile))
            (dirs["settings"] / f"{name}.ini").write_text(
                sim_run_settings(name, profile, args.sim_build))

    for case in sorted((args.sim_build / "efi").glob("*/FWVERSIONDATA-*")):
        shutil.copyfile(case, dirs["efi_variable"] / case.parent.name)

    (args.out / "stamp").write_text("\n".join(targets) + "\n")


if __name__ == "__main__":
    main()
