#!/usr/bin/env python3
"""End-to-end checks of /Platform/MemoryTopology on a simulated server, run inside sim/run:

  check_memory.py PROFILE_DIR --efi-cases variables.toml --dmidecode D --platformq P

PROFILE_DIR is sim/profiles/NAME (for a variant, its base). The answer is compared with
independent readings of the same server: the slots with dmidecode's reading of the SMBIOS
image, each slot's sensor with the DIMM sensors the profile's BMC describes, every slot's
state with ipmitool's Get Sensor Reading of that sensor, and the error counts with the event
log as ipmitool reads it.
"""

import argparse
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import tomllib
from pathlib import Path

TIMEOUT = 20  # seconds for any one child; a hang fails instead of stalling the run
ROOT = "/Platform/MemoryTopology"
SLOT_LEAVES = ["MemoryLocation", "MemoryErrorCorrectionType", "MemoryArrayHandle",
               "MemoryTotalWidth", "MemoryDataWidth", "MemorySize", "MemorySlotName",
               "MemoryBankName", "MemoryType", "TypeDetail", "MemorySpeed", "SlotSensorNumber",
               "SensorNumber", "SlotSensorOwnerID", "SensorOwnerID", "SensorOwnerLUN"]
# Boards whose family has a DIMM sensor list. The lists go by the board identifier the firmware
# reports, so on any other board (one the board table lacks, whose family the BMC's product ID
# gives) no slot has a sensor, even where the BMC has DIMM sensors.
DIMM_SENSOR_BOARDS = {"R7100QTN", "Blank FRU"}
NO_SENSOR = {"ff", "FF"}
STATE_ERROR = "ERROR_GET_MEMORY_DIMM_STATE"
COUNT_ERROR = "ERROR_GET_MEMORY_ECC_ERROR_COUNT"
FAULTS = []


def check(condition, message):
    if not condition:
        FAULTS.append(message)
        print(f"FAIL: {message}", file=sys.stderr)
    return condition


def run(*args):
    return subprocess.run([str(a) for a in args], capture_output=True, text=True,
                          errors="replace", timeout=TIMEOUT)


# --- dmidecode's reading of the image, in the values' text form ---------------------------

def structures(dmidecode, image, *options):
    r = run(dmidecode, "--from-dump", image, "-t", "16", "-t", "17", *options)
    if r.returncode != 0 or r.stderr.strip():
        sys.exit(f"dmidecode failed on {image} ({r.returncode}): {r.stderr.strip()}")
    return [b for b in r.stdout.split("\n\n") if b.startswith("Handle")]


def read_image(dmidecode, image):
    """Type 16 and 17 structures in table order: their fields, and for type 17 the raw bytes."""
    found = []
    for block, raw in zip(structures(dmidecode, image), structures(dmidecode, image, "-u"),
                          strict=True):
        head = re.match(r"Handle (0x[0-9A-F]{4}), DMI type (\d+)", block)
        fields = dict(re.findall(r"^\t([^\t:\n]+): ?(.*)$", block, re.MULTILINE))
        data = raw.partition("\tStrings:")[0]
        fields["_bytes"] = bytes.fromhex(" ".join(
            line for line in data.splitlines() if line.startswith("\t\t")))
        found.append(fields | {"_handle": head[1], "_type": int(head[2])})
    return found


def number_text(text, units):
    """"72 bits" -> "72", "16 GB" -> "16384" (units: name -> factor); "Unknown" stays."""
    if text == "Unknown":
        return text
    m = re.fullmatch(r"(\d+) (\S+)", text)
    if m is None or m[2] not in units:
        sys.exit(f"dmidecode printed {text!r}, not a number of {' or '.join(units)}")
    return str(int(m[1]) * units[m[2]])


BITS = {"bits": 1}
MB = {"MB": 1, "GB": 1024, "TB": 1024 ** 2}


def size_text(text):
    return "0" if text == "No Module Installed" else number_text(text, MB)


def speed_text(device):
    """dmidecode stops printing an empty slot after its type detail; the field is still there."""
    if "Speed" in device:
        return number_text(device["Speed"], {"MT/s": 1, "MHz": 1})
    raw = device["_bytes"]
    word = int.from_bytes(raw[0x15:0x17], "little") if len(raw) >= 0x17 else 0
    return str(word) if word else "Unknown"


def string_text(text):  # dmidecode's word for a string the structure leaves out
    return "" if text == "Not Specified" else text


# dmidecode's names of the type-detail bits, in bit order; a leaf is named without blanks and
# without the parenthesised alternative ("Registered (Buffered)" -> "Registered").
TYPE_DETAILS = ["Other", "Unknown", "Fast-paged", "Static Column", "Pseudo-static", "RAMBus",
                "Synchronous", "CMOS", "EDO", "Window DRAM", "Cache DRAM", "Non-Volatile",
                "Registered (Buffered)", "Unbuffered (Unregistered)", "LRDIMM"]


def type_detail_leaves(text):
    names = [n for n in TYPE_DETAILS if re.search(rf"(^| ){re.escape(n)}( |$)", text)]
    if " ".join(names) != ("" if text == "None" else text):
        sys.exit(f"dmidecode printed type detail {text!r}, not a list of known names")
    return [re.sub(r" \(.*\)| ", "", n) for n in names]


# --- what the answer must hold -------------------------------------------------------------

def expected_inventory(found):
    """Node path -> (kind, list), and the slot paths in the order they are written.

    Slot n = array index x that array's own device count + device index: arrays are the
    system-memory arrays in table order, devices the structures naming the array's handle in
    table order. Arrays of different counts make slots overlap (a later array's slot is written
    again) or leave gaps; a count past the devices listed gives slots with empty values."""
    arrays = [s for s in found if s["_type"] == 16 and s.get("Use") == "System Memory"]
    nodes, written, slot_total, size_total = {}, [], 0, 0
    for i, array in enumerate(arrays):
        count = int(array["Number Of Devices"])
        devices = [s for s in found if s["_type"] == 17 and s["Array Handle"] == array["_handle"]]
        slot_total += count
        for j in range(count):
            path = f"{ROOT}/MemoryInfo[{i * count + j}]"
            device = devices[j] if j < len(devices) else None
            values = {"MemoryLocation": array["Location"],
                      "MemoryErrorCorrectionType": array["Error Correction Type"]}
            details = []
            if device is not None:
                values |= {"MemoryArrayHandle": device["Array Handle"],
                           "MemoryTotalWidth": number_text(device["Total Width"], BITS),
                           "MemoryDataWidth": number_text(device["Data Width"], BITS),
                           "MemorySize": size_text(device["Size"]),
                           "MemorySlotName": string_text(device["Locator"]),
                           "MemoryBankName": string_text(device["Bank Locator"]),
                           "MemoryType": device["Type"],
                           "MemorySpeed": speed_text(device)}
                details = type_detail_leaves(device["Type Detail"])
                if values["MemorySize"].isdigit():
                    size_total += int(values["MemorySize"])
            for stale in [p for p in nodes if p.startswith(f"{path}/TypeDetail/")]:
                del nodes[stale]  # a slot written again holds the later device's details only
            for leaf in SLOT_LEAVES:
                if leaf == "TypeDetail":
                    nodes[f"{path}/TypeDetail"] = (1, [f"{path}/TypeDetail/{d}" for d in details])
                    nodes |= {f"{path}/TypeDetail/{d}": (0, ["Yes"]) for d in details}
                elif not leaf.startswith(("SlotSensor", "Sensor")):
                    nodes[f"{path}/{leaf}"] = (0, [values.get(leaf, "")])
            nodes[path] = (1, [f"{path}/{leaf}" for leaf in SLOT_LEAVES])
            written.append(path)
    nodes[ROOT] = (1, [f"{ROOT}/MemoryInfo", f"{ROOT}/NumberOfElements",
                       f"{ROOT}/TotalMemorySize"])
    nodes[f"{ROOT}/MemoryInfo"] = (1, written)
    nodes[f"{ROOT}/NumberOfElements"] = (0, [str(slot_total)])
    nodes[f"{ROOT}/TotalMemorySize"] = (0, [str(size_total)])
    return nodes, written


def value(answer, path):
    node = answer.get(path)
    return node["list"][0] if node and node["kind"] == 0 and len(node["list"]) == 1 else None


def check_inventory(answer, nodes):
    sensor_leaves = {p for p in answer if p.rpartition("/")[2].startswith(("SlotSensor", "Sensor"))}
    for path in sorted(set(answer) - set(nodes) - sensor_leaves):
        check(False, f"{path}: in the answer, not in dmidecode's reading")
    for path, (kind, children) in nodes.items():
        node = answer.get(path)
        got = (node["kind"], node["list"]) if node else None
        check(got == (kind, children), f"{path}: platformq {got}, dmidecode reads {children}")
    for path in sensor_leaves:  # their values are checked against the BMC
        check(value(answer, path) is not None, f"{path}: not one value: {answer[path]}")


def check_slot_sensors(answer, slots, sensors, board):
    """Each slot names the BMC's sensor for it (the profile names DIMM sensors by slot
    locator); slots without one name a sensor the BMC does not have."""
    dimm = {s["name"]: s["number"] for s in sensors if s["type"] == 0x0C}
    numbers = {s["number"] for s in sensors}
    matched = 0
    for slot in dict.fromkeys(slots):
        got = value(answer, f"{slot}/SlotSensorNumber") or ""
        name = value(answer, f"{slot}/MemorySlotName")
        if board not in DIMM_SENSOR_BOARDS:
            check(got in NO_SENSOR, f"{slot}: sensor {got!r} on board {board!r}, whose family "
                  "has no DIMM sensors")
        elif name in dimm:
            matched += check(got == f"{dimm[name]:02x}",
                             f"{slot} ({name}): sensor {got!r}, the BMC's is {dimm[name]:02x}")
        else:
            check(re.fullmatch(r"[0-9a-fA-F]{2}", got) and int(got, 16) not in numbers,
                  f"{slot} ({name}): sensor {got!r}, but the BMC has no sensor for this slot")
    if board in DIMM_SENSOR_BOARDS:
        check(matched > 0, f"no slot's locator names one of the BMC's DIMM sensors {dimm}")


# --- the BMC as ipmitool reads it ---------------------------------------------------------

class Ipmitool:
    def __init__(self):
        tool = shutil.which("ipmitool") or sys.exit("ipmitool is not installed "
                                                    "(scripts/install-deps test installs it)")
        self.base = [tool, "-I", "lanplus", "-C", "3", "-N", "1", "-R", "2", "-H", "127.0.0.1",
                     "-p", os.environ["ORDIX_SIM_BMC_PORT"], "-U", os.environ["ORDIX_SIM_BMC_USER"],
                     "-P", os.environ["ORDIX_SIM_BMC_PASSWORD"]]

    def sensor_reading(self, number):
        """The Get Sensor Reading reply bytes, or None for a non-zero completion code."""
        r = run(*self.base, "raw", "0x04", "0x2d", f"0x{number:02x}")
        if r.returncode == 0:
            return [int(t, 16) for t in r.stdout.split()]
        if not re.search(r"rsp=0x[0-9a-fA-F]{2}", r.stderr):
            sys.exit(f"ipmitool could not read sensor {number:02x}: {r.stderr.strip()}")
        return None

    def event_log(self):
        """The 16-byte records in log order (ipmitool walks Get SEL Entry from the first)."""
        with tempfile.TemporaryDirectory() as tmp:
            file = Path(tmp) / "sel.raw"
            r = run(*self.base, "sel", "writeraw", file)
            if r.returncode != 0:
                sys.exit(f"ipmitool sel writeraw failed: {r.stderr.strip()}")
            data = file.read_bytes() if file.exists() else b""
        records = [data[k:k + 16] for k in range(0, len(data), 16)]
        # It lists the records as it saves them; an empty log it only announces.
        listed = [line for line in r.stdout.splitlines() if "|" in line]
        check(len(data) % 16 == 0 and len(listed) == len(records)
              and (records or "SEL has no entries" in r.stdout + r.stderr),
              f"ipmitool saved {len(data)} bytes and listed {len(listed)} records: {r.stdout!r}")
        return records


def dimm_state(reply):
    """A slot's state from its sensor's reply: byte 1 bit 0 set means the reading is not to be
    used; otherwise byte 2 bits 2 and 0 and byte 3 bits 1 and 0 give state bits 01h, 08h, 02h,
    04h. Missing bytes read 0; a state of 0 or a failed reading is the error value."""
    if reply is None:
        return STATE_ERROR
    b = (reply + [0, 0, 0, 0])[:4]
    if b[1] & 0x01:
        return STATE_ERROR
    state = ((0x01 if b[2] & 0x04 else 0) | (0x08 if b[2] & 0x01 else 0)
             | (0x02 if b[3] & 0x02 else 0) | (0x04 if b[3] & 0x01 else 0))
    return f"{state:x}" if state else STATE_ERROR


def error_counts(records):
    """Memory errors since the last system boot event the log holds, in log order: sensor type
    0Ch with event data 1 = 40h (corrected) or 41h (uncorrected); sensor type 12h with event
    data 1 = 01h (system boot) starts both counts again. Read at the same byte positions in
    every record, as the log's readers do. An empty log gives no counts."""
    if not records:
        return COUNT_ERROR, COUNT_ERROR
    corrected = uncorrected = 0
    for record in records:
        sensor_type, event_data1 = record[10], record[13]
        if sensor_type == 0x0C and event_data1 == 0x40:
            corrected += 1
        elif sensor_type == 0x0C and event_data1 == 0x41:
            uncorrected += 1
        elif sensor_type == 0x12 and event_data1 == 0x01:
            corrected = uncorrected = 0
    return str(corrected), str(uncorrected)


def check_live(args, inventory, slots, ipmi):
    """Every slot's MemoryState and the error counts, asked in one run of platformq."""
    slots = list(dict.fromkeys(slots))
    queries = [f"{s}/MemoryState" for s in slots] + [f"{ROOT}/Errors"]
    r = run(args.platformq, "--format", "json", *queries)
    if not check(r.returncode == 0, f"platformq {queries}: exit {r.returncode}: {r.stderr}"):
        return
    answer = json.loads(r.stdout)
    readings = {}
    for slot in slots:
        text = value(inventory, f"{slot}/SlotSensorNumber") or ""
        if not check(re.fullmatch(r"[0-9a-fA-F]{2}", text), f"{slot}: sensor {text!r}"):
            continue
        number = int(text, 16)
        if number not in readings:
            readings[number] = ipmi.sensor_reading(number)
        want = dimm_state(readings[number])
        got = value(answer, f"{slot}/MemoryState")
        check(got == want, f"{slot}/MemoryState: platformq {got!r}, sensor {number:02x} reads "
              f"{readings[number]}, which is {want!r}")
    records = ipmi.event_log()
    corrected, uncorrected = error_counts(records)
    errors = f"{ROOT}/Errors"
    want = {errors: {"kind": 1, "list": [f"{errors}/CorErrorCount", f"{errors}/UnCorErrorCount"]},
            f"{errors}/CorErrorCount": {"kind": 0, "list": [corrected]},
            f"{errors}/UnCorErrorCount": {"kind": 0, "list": [uncorrected]}}
    got = {k: v for k, v in answer.items() if k.startswith(errors)}
    check(got == want, f"{errors}: platformq {got}, the {len(records)} records of the log "
          f"give {corrected}/{uncorrected}")
    print(f"{len(slots)} slots; states of sensors "
          + ", ".join(f"{n:02x}: {dimm_state(reply)}" for n, reply in sorted(readings.items()))
          + f"; {len(records)} log records, errors {corrected}/{uncorrected}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("profile_dir", type=Path, help="sim/profiles/NAME (a variant's base)")
    parser.add_argument("--efi-cases", type=Path, required=True, help="sim/efi/variables.toml")
    parser.add_argument("--dmidecode", type=Path)
    parser.add_argument("--platformq", type=Path, required=True)
    args = parser.parse_args()
    if not (args.dmidecode and args.dmidecode.is_file()):
        sys.exit("dmidecode is not installed: scripts/install-deps test installs it")
    if "ORDIX_SIM_DIR" not in os.environ:
        sys.exit("run this through sim/run")
    description = tomllib.loads((args.profile_dir / "bmc.toml").read_text())
    board = tomllib.loads(args.efi_cases.read_text())[description["efi_case"]]["board"]

    nodes, slots = expected_inventory(read_image(args.dmidecode,
                                                 Path(os.environ["ORDIX_SIM_DIR"]) / "smbios.bin"))
    if not slots:
        sys.exit("the image has no memory slot: agreement on nothing proves nothing")
    r = run(args.platformq, "--format", "json", ROOT)
    if not check(r.returncode == 0, f"platformq {ROOT}: exit {r.returncode}: {r.stderr}"):
        sys.exit(1)
    inventory = json.loads(r.stdout)
    check_inventory(inventory, nodes)
    check_slot_sensors(inventory, slots, description.get("sensors", []), board)
    check_live(args, inventory, slots, Ipmitool())
    if FAULTS:
        sys.exit(f"{len(FAULTS)} check(s) failed")
    print("all checks passed")


if __name__ == "__main__":
    main()
