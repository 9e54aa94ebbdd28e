#!/usr/bin/env python3
"""End-to-end checks of the SMBIOS answers on the simulated servers (build/<preset>/sim/<name>).

  image   PROFILE_DIR --dmidecode D --description TOML
          dmidecode decodes the generated image cleanly and finds in it what the description
          says: the sockets, the arrays and their devices, sizes and version.
  agree   PROFILE_DIR --dmidecode D --platformq P
          every /SMBIOS and /BIOS value platformq answers equals dmidecode's reading of the
          same image, after unit conversion, and the element lists hold what dmidecode lists.
  damaged PROFILE_DIR... --platformq P
          damaged copies of each image make platformq fail cleanly with the matching error.
"""

import argparse
import json
import re
import subprocess
import sys
import tempfile
import tomllib
from pathlib import Path

TIMEOUT = 120  # seconds; a hang fails the test instead of stalling the run


def run(args):
    return subprocess.run([str(a) for a in args], capture_output=True, text=True,
                          errors="replace", timeout=TIMEOUT)


def query(platformq, config_dir):
    return run([platformq, "--config-dir", config_dir, "--format", "json", "/SMBIOS", "/BIOS"])


# ---- dmidecode's reading ---------------------------------------------------------------------

def dmidecode(tool, image):
    """Structures in table order: the decoded fields plus, from -u, the raw bytes and strings."""
    decoded, raw = run([tool, "--from-dump", image]), run([tool, "--from-dump", image, "-u"])
    for r in (decoded, raw):  # it warns on standard error of anything malformed
        if r.returncode != 0 or r.stderr.strip():
            sys.exit(f"dmidecode failed on {image} ({r.returncode}): {r.stderr.strip()}")
    structures = [parse_block(b) for b in decoded.stdout.split("\n\n") if b.startswith("Handle")]
    raws = [parse_raw(b) for b in raw.stdout.split("\n\n") if b.startswith("Handle")]
    for s, (data, strings) in zip(structures, raws, strict=True):
        s["_data"], s["_strings"] = data, strings
    return structures, decoded.stdout


def parse_block(block):
    lines = block.splitlines()
    m = re.match(r"Handle (0x[0-9A-F]{4}), DMI type (\d+), (\d+) bytes", lines[0])
    fields = {"_handle": m[1], "_type": int(m[2])}
    for line in lines[2:]:
        if line.startswith("\t") and not line.startswith("\t\t"):
            key, _, value = line[1:].partition(":")
            fields[key] = value.removeprefix(" ").rstrip()
    return fields


def parse_raw(block):
    """-u prints the formatted area in hex, then each string as hex lines ending in 00
    followed by the text; the strings are read back from the hex."""
    data, strings, current, in_strings, skip_text = b"", [], b"", False, False
    for line in block.splitlines()[1:]:
        if line == "\tStrings:":
            in_strings = True
        elif line.startswith("\t\t") and not in_strings:
            data += bytes.fromhex(line)
        elif line.startswith("\t\t") and skip_text:
            skip_text = False
        elif line.startswith("\t\t"):
            current += bytes.fromhex(line)
            if current.endswith(b"\0"):
                strings.append(current[:-1].decode("ascii", "replace"))
                current, skip_text = b"", True
    return data, strings


def raw_string(offset):
    """A string field dmidecode did not print: "Not Specified" stands for index 0."""
    def read(s):
        index = s["_data"][offset]
        return s["_strings"][index - 1] if index else "Not Specified"
    return read


def raw_speed(offset):
    def read(s):
        word = int.from_bytes(s["_data"][offset:offset + 2], "little")
        return f"{word} MT/s" if word else "Unknown"
    return read


# ---- dmidecode's text -> the answer's units --------------------------------------------------

def same(v):
    return v


def text(v):
    return "" if v == "Not Specified" else v


def family(v):
    return "Other" if v == "<OUT OF SPEC>" else v


def count(v):
    return v or "Unknown"  # dmidecode leaves out a count of 0, the standard's "unknown"


def number(unit):
    def convert(v):
        if v == "Unknown":
            return v
        m = re.fullmatch(rf"(\d+) {re.escape(unit)}", v)
        if not m:
            raise ValueError(f"{v!r} is not a count of {unit}")
        return m[1]
    return convert


MB_PER = {"MB": 1, "GB": 1024, "TB": 1024 ** 2, "PB": 1024 ** 3}


def megabytes(v):
    if v in ("Unknown", "No Module Installed"):
        return "Unknown" if v == "Unknown" else "0"
    m = re.fullmatch(r"(\d+) (MB|GB|TB|PB)", v)
    if not m:
        raise ValueError(f"{v!r} is not a whole number of megabytes")
    return str(int(m[1]) * MB_PER[m[2]])


# dmidecode's names of the type-detail bits, as it lists them (space-separated).
TYPE_DETAILS = ["Other", "Unknown", "Fast-paged", "Static Column", "Pseudo-static", "RAMBus",
                "Synchronous", "CMOS", "EDO", "Window DRAM", "Cache DRAM", "Non-Volatile",
                "Registered (Buffered)", "Unbuffered (Unregistered)", "LRDIMM"]


def type_detail_leaves(v):
    if v == "None":
        return []
    names = re.findall("|".join(map(re.escape, sorted(TYPE_DETAILS, key=len, reverse=True))), v)
    if " ".join(names) != v:
        raise ValueError(f"type detail {v!r} is not a list of known names")
    # leaf names: "Registered (Buffered)" -> "Registered", "Static Column" -> "StaticColumn"
    return [re.sub(r"\s*\(.*\)|\s", "", n) for n in names]


# answer leaf -> (dmidecode field, converter[, reader of the raw structure when dmidecode
# leaves the field out: it prints nothing past the type detail of an empty slot]).
BIOS = {"Vendor": ("Vendor", text), "Version": ("Version", text),
        "ReleaseDate": ("Release Date", text)}
PROCESSOR = {
    "SocketDesignation": ("Socket Designation", text),
    "ProcessorManufacturer": ("Manufacturer", text),
    "ProcessorVersion": ("Version", text),
    "SerialNumber": ("Serial Number", text),
    "PartNumber": ("Part Number", text),
    "ProcessorFamily": ("Family", family),
    "ProcessorType": ("Type", same),
    "CurrentSpeed": ("Current Speed", number("MHz")),
    "MaxSpeed": ("Max Speed", number("MHz")),
    "ClockFrequency": ("External Clock", number("MHz")),
    "CoreCount": ("Core Count", count),
    "CoreEnabled": ("Core Enabled", count),
    "ThreadCount": ("Thread Count", count),
}
ARRAY = {
    "Location": ("Location", same),
    "Use": ("Use", same),
    "MemoryErrorCorrection": ("Error Correction Type", same),
    "MaximumCapacity": ("Maximum Capacity", megabytes),
    "NumMemoryDevices": ("Number Of Devices", same),
}
DEVICE = {
    "MemoryArrayHandle": ("Array Handle", same),
    "Handle": ("_handle", same),
    "TotalWidth": ("Total Width", number("bits")),
    "DataWidth": ("Data Width", number("bits")),
    "Size": ("Size", megabytes),
    "FormFactor": ("Form Factor", same),
    "DeviceLocator": ("Locator", text),
    "BankLocator": ("Bank Locator", text),
    "MemoryType": ("Type", same),
    "Speed": ("Speed", number("MT/s"), raw_speed(0x15)),
    "ConfiguredSpeed": ("Configured Memory Speed", number("MT/s"), raw_speed(0x20)),
    "Manufacturer": ("Manufacturer", text, raw_string(0x17)),
    "SerialNumber": ("Serial Number", text, raw_string(0x18)),
    "PartNumber": ("Part Number", text, raw_string(0x1A)),
}


def expected_leaves(prefix, table, s):
    for leaf, (field, convert, *raw) in table.items():
        value = s.get(field)
        if value is None and raw:
            value = raw[0](s)
        yield f"{prefix}/{leaf}", convert(value), f"{s['_handle']} {field}: {value!r}"


# ---- the checks ------------------------------------------------------------------------------

def check_agree(args):
    image = args.profile_dir / "smbios.bin"
    structures, _ = dmidecode(args.dmidecode, image)
    r = query(args.platformq, args.profile_dir)
    if r.returncode != 0:
        return [f"platformq exited {r.returncode}: {r.stderr.strip()}"]
    answer = json.loads(r.stdout)
    faults = []

    def element(path, children):
        node = answer.get(path)
        if node is None or node["kind"] != 1:
            faults.append(f"{path}: no element in the answer")
            return []
        if children is not None and node["list"] != children:
            faults.append(f"{path}: lists {node['list']}, expected {children}")
        return node["list"]

    def leaf(path, want, why):
        node = answer.get(path)
        got = node["list"][0] if node and node["kind"] == 0 and node["list"] else None
        if got != want:
            faults.append(f"{path}: platformq {got!r}, expected {want!r} (dmidecode {why})")
        parent = path.rsplit("/", 1)[0]
        if parent in answer and path not in answer[parent]["list"]:
            faults.append(f"{path}: not listed by {parent}")

    of_type = lambda t: [s for s in structures if s["_type"] == t]  # noqa: E731
    for path, want, why in expected_leaves("/BIOS", BIOS, of_type(0)[0]):
        leaf(path, want, why)

    processors = of_type(4)
    element("/SMBIOS/Type4", [f"/SMBIOS/Type4[{n}]" for n in range(1, len(processors) + 1)])
    for n, s in enumerate(processors, 1):
        prefix = f"/SMBIOS/Type4[{n}]"
        for path, want, why in expected_leaves(prefix, PROCESSOR, s):
            leaf(path, want, why)
        # "Populated, Enabled" / "Unpopulated" against "Populated: Yes, Enabled" and the like
        populated = s["Status"].startswith("Populated")
        status = (answer.get(prefix + "/Status") or {"list": [""]})["list"][0]
        if ("Yes" in re.findall(r"\w+", status)) != populated or \
                (populated and not status.endswith(s["Status"].split(", ", 1)[1])):
            faults.append(f"{prefix}/Status: platformq {status!r}, dmidecode {s['Status']!r}")

    arrays = [s for s in of_type(16) if s["Use"] == "System Memory"]
    element("/SMBIOS/MemoryArray", [f"/SMBIOS/MemoryArray[{a}]" for a in range(1, len(arrays) + 1)]
            + ["/SMBIOS/MemoryArray/TotalNoOfArray"])
    leaf("/SMBIOS/MemoryArray/TotalNoOfArray", str(len(arrays)), f"lists {len(arrays)} arrays")
    for a, array in enumerate(arrays, 1):
        prefix = f"/SMBIOS/MemoryArray[{a}]"
        for path, want, why in expected_leaves(prefix, ARRAY, array):
            leaf(path, want, why)
        devices = [s for s in of_type(17) if s["Array Handle"] == array["_handle"]]
        listed = [p for p in element(prefix, None) if re.fullmatch(r".*/MemoryDevice\[\d+\]", p)]
        want = [f"{prefix}/MemoryDevice[{d}]" for d in range(1, len(devices) + 1)]
        if listed != want:
            faults.append(f"{prefix}: lists devices {listed}, expected {want}")
        for d, device in enumerate(devices, 1):
            for path, value, why in expected_leaves(want[d - 1], DEVICE, device):
                leaf(path, value, why)
            detail = f"{want[d - 1]}/TypeDetail"
            names = type_detail_leaves(device["Type Detail"])
            element(detail, [f"{detail}/{name}" for name in names])
            for name in names:
                leaf(f"{detail}/{name}", "Yes", f"Type Detail: {device['Type Detail']!r}")
    return faults


def check_image(args):
    """The generated image holds what its description says, as dmidecode reads it."""
    with args.description.open("rb") as f:
        desc = tomllib.load(f)
    structures, text_out = dmidecode(args.dmidecode, args.profile_dir / "smbios.bin")
    faults = []

    def expect(what, got, want):
        if got != want:
            faults.append(f"{what}: image has {got!r}, description says {want!r}")

    version = re.search(r"SMBIOS (\d+\.\d+)(?:\.\d+)? present", text_out)
    expect("version", version and version[1], desc["smbios"])
    expect("handles", [s["_handle"] for s in structures],
           [f"0x{h:04X}" for h in range(len(structures))])
    expect("last structure", structures[-1]["_type"], 127)
    expect("sockets", [s["Socket Designation"] for s in structures if s["_type"] == 4],
           [s["designation"] for s in desc.get("sockets", [])])
    expect("populated", [s["Status"] != "Unpopulated" for s in structures if s["_type"] == 4],
           [s.get("populated", True) for s in desc.get("sockets", [])])
    arrays = [s for s in structures if s["_type"] == 16]
    expect("arrays", len(arrays), len(desc.get("arrays", [])))
    for array, want in zip(arrays, desc.get("arrays", [])):
        devices = [s for s in structures
                   if s["_type"] == 17 and s["Array Handle"] == array["_handle"]]
        expect(f"array {array['_handle']} capacity", megabytes(array["Maximum Capacity"]),
               str(want["max_capacity_mb"]))
        expect(f"array {array['_handle']} devices field", int(array["Number Of Devices"]),
               want.get("devices_field", len(want.get("devices", []))))
        expect(f"array {array['_handle']} devices",
               [(s["Locator"], megabytes(s["Size"])) for s in devices],
               [(d["locator"], str(d["size_mb"]).capitalize()) for d in want.get("devices", [])])
    return faults


def damaged_copies(image):
    """(what, damaged image, error codes that fit) for one image."""
    v3 = image.startswith(b"_SM3_")
    length_at, length_size = (0x0C, 4) if v3 else (0x16, 2)
    table_length = int.from_bytes(image[length_at:length_at + length_size], "little")
    # first processor structure: walk the table (formatted area, then strings up to "\0\0")
    at = 0x20
    while image[at] != 4:
        at = image.index(b"\0\0", at + image[at + 1]) + 2

    def sealed(img):  # checksums made right again, so only the intended damage remains
        if v3:
            img[5] = 0
            img[5] = -sum(img[:img[6]]) & 0xFF
        else:
            img[0x15] = 0
            img[0x15] = -sum(img[0x10:0x1F]) & 0xFF
            img[4] = 0
            img[4] = -sum(img[:img[5]]) & 0xFF
        return bytes(img)

    bad_sum = bytearray(image)
    bad_sum[5 if v3 else 4] ^= 0x5A
    short_table = bytearray(image)
    short_table[length_at:length_at + length_size] = (at + 2 - 0x20).to_bytes(length_size, "little")
    short_header = bytearray(image)
    short_header[at + 1] = 2
    bad_string = bytearray(image)
    bad_string[at + 4] = 0x7F  # socket designation: far past the structure's strings
    return [("entry point checksum wrong", bytes(bad_sum), {"2022"}),
            ("table length ends inside a structure", sealed(short_table), {"2023"}),
            ("file ends inside the table", image[:0x20 + table_length // 2], {"2021", "2023"}),
            ("structure length shorter than its header", bytes(short_header), {"2023"}),
            ("string index past the string set", bytes(bad_string), {"2024"})]


def check_damaged(args):
    faults = []
    with tempfile.TemporaryDirectory() as tmp:
        for profile in args.profile_dirs:
            for what, damaged, codes in damaged_copies((profile / "smbios.bin").read_bytes()):
                (Path(tmp) / "smbios.bin").write_bytes(damaged)
                (Path(tmp) / "OrdixServMgmtSettings.ini").write_text(
                    f"[SMBIOS]\nImage={Path(tmp) / 'smbios.bin'}\n")
                r = query(args.platformq, tmp)
                code = re.search(r"error (\d+)", r.stderr)
                if r.returncode != 2 or not code or code[1] not in codes:
                    faults.append(f"{profile.name}, {what}: exit {r.returncode}, expected 2 with "
                                  f"error {' or '.join(sorted(codes))}; "
                                  f"stderr: {r.stderr.strip()!r}")
    return faults


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("check", choices=["image", "agree", "damaged"])
    parser.add_argument("profile_dirs", type=Path, nargs="+")
    parser.add_argument("--platformq", type=Path)
    parser.add_argument("--dmidecode", type=Path)
    parser.add_argument("--description", type=Path)
    args = parser.parse_args()
    args.profile_dir = args.profile_dirs[0]
    if args.check != "damaged" and not (args.dmidecode and args.dmidecode.is_file()):
        sys.exit("dmidecode is not installed: scripts/install-deps test installs it")
    checks = {"image": check_image, "agree": check_agree, "damaged": check_damaged}
    faults = checks[args.check](args)
    for fault in faults:
        print(fault)
    print(f"{args.check} {' '.join(p.name for p in args.profile_dirs)}: "
          f"{len(faults) or 'no'} fault(s)")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
