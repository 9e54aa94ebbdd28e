#!/usr/bin/env python3
"""End-to-end checks of /Platform/MemoryTopology on a simulated server, run inside sim/run:

  check_memory.py PROFILE_DIR --efi-cases variables.toml --dmidecode D --platformq P

PROFILE_DIR is sim/profiles/NAME (for a variant, its base). The slots are compared with
dmidecode's reading of the SMBIOS image, their sensors with the profile's DIMM sensors, their
states with ipmitool's readings of those sensors, the error counts with its event log.
"""

import argparse
import json
import os
import re
import sys
import tempfile
import tomllib
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE.parent / "smbios"), str(HERE.parent / "bmc")]
sys.dont_write_bytecode = True  # the sibling checks are imported from the source tree
import check_bmc  # noqa: E402
from check_bmc import FAILURES, check, run  # noqa: E402
from check_smbios import ARRAY, DEVICE, dmidecode, type_detail_table  # noqa: E402

ROOT = "/Platform/MemoryTopology"
# A slot's leaves in the answer's order, with the SMBIOS leaf each takes its value from (its
# array's for the first two); None: not an SMBIOS value.
SLOT_LEAVES = {"MemoryLocation": "Location", "MemoryErrorCorrectionType": "MemoryErrorCorrection",
               "MemoryArrayHandle": "MemoryArrayHandle", "MemoryTotalWidth": "TotalWidth",
               "MemoryDataWidth": "DataWidth", "MemorySize": "Size",
               "MemorySlotName": "DeviceLocator", "MemoryBankName": "BankLocator",
               "MemoryType": "MemoryType", "TypeDetail": None, "MemorySpeed": "Speed",
               "SlotSensorNumber": None, "SensorNumber": None, "SlotSensorOwnerID": None,
               "SensorOwnerID": None, "SensorOwnerLUN": None}
# Boards whose family has a DIMM sensor list. The lists go by the board identifier the firmware
# reports, so on any other board (one the board table lacks, whose family the BMC's product ID
# gives) no slot has a sensor, even where the BMC has DIMM sensors.
DIMM_SENSOR_BOARDS = {"R7100QTN", "Blank FRU"}
NO_SENSOR = {"ff", "FF"}
STATE_ERROR = "ERROR_GET_MEMORY_DIMM_STATE"
COUNT_ERROR = "ERROR_GET_MEMORY_ECC_ERROR_COUNT"


def smbios_value(table, leaf, structure):
    """dmidecode's value of an SMBIOS leaf, in the answer's text form."""
    field, convert, *raw = table[leaf]
    got = structure[field] if field in structure else raw[0](structure) if raw else None
    return "Unknown" if got is None else convert(got)


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
        devices = [s for s in found
                   if s["_type"] == 17 and s.get("Array Handle") == array["_handle"]]
        slot_total += count
        for j in range(count):
            path = f"{ROOT}/MemoryInfo[{i * count + j}]"
            device = devices[j] if j < len(devices) else None
            for leaf, source in SLOT_LEAVES.items():
                if source in ARRAY:
                    nodes[f"{path}/{leaf}"] = (0, [smbios_value(ARRAY, source, array)])
                elif source in DEVICE:
                    text = smbios_value(DEVICE, source, device) if device else ""
                    nodes[f"{path}/{leaf}"] = (0, [text])
            for stale in [p for p in nodes if p.startswith(f"{path}/TypeDetail/")]:
                del nodes[stale]  # a slot written again holds the later device's details only
            details = list(type_detail_table(device["Type Detail"])) if device else []
            nodes[f"{path}/TypeDetail"] = (1, [f"{path}/TypeDetail/{d}" for d in details])
            nodes |= {f"{path}/TypeDetail/{d}": (0, ["Yes"]) for d in details}
            size = nodes[f"{path}/MemorySize"][1][0]
            size_total += int(size) if size.isdigit() else 0
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
    locator); slots without one name a sensor the BMC does not have. A slot past the devices a
    (damaged) table lists has no locator to tell which sensor is its own."""
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
        elif not name:
            check(re.fullmatch(r"[0-9a-fA-F]{2}", got), f"{slot}: sensor {got!r}")
        else:
            check(re.fullmatch(r"[0-9a-fA-F]{2}", got) and int(got, 16) not in numbers,
                  f"{slot} ({name}): sensor {got!r}, but the BMC has no sensor for this slot")
    named = any(value(answer, f"{slot}/MemorySlotName") for slot in slots)
    if board in DIMM_SENSOR_BOARDS and named:
        check(matched > 0, f"no slot's locator names one of the BMC's DIMM sensors {dimm}")


# --- the BMC as ipmitool reads it ---------------------------------------------------------

class Ipmitool(check_bmc.Ipmitool):
    def __init__(self):
        super().__init__(os.environ["ORDIX_SIM_BMC_PORT"], {
            "user": os.environ["ORDIX_SIM_BMC_USER"],
            "password": os.environ["ORDIX_SIM_BMC_PASSWORD"]})

    def sensor_reading(self, number):
        """The Get Sensor Reading reply bytes, or None for a non-zero completion code."""
        cc, data = self.raw(0x04, 0x2D, number)
        return None if cc else data

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

    nodes, slots = expected_inventory(dmidecode(args.dmidecode,
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
    if FAILURES:
        sys.exit(f"{len(FAILURES)} check(s) failed")
    print("all checks passed")


if __name__ == "__main__":
    main()
