#!/usr/bin/env python3
"""End-to-end checks of the SMBIOS answers on the simulated servers (build/<preset>/sim/<name>)
and on the quirk images (build/<preset>/sim/quirks/<name>: the shapes real firmware ships).

  agree   PROFILE_DIR --dmidecode D --platformq P
          every /SMBIOS and /BIOS value platformq answers equals dmidecode's reading of the same
          image after unit conversion, and every element lists its children in order; dmidecode
          says on standard error exactly what the image's expect.json lists.
  damaged PROFILE_DIR... --dmidecode D --platformq P
          damaged copies of each image: platformq answers what dmidecode reads of them, and
          exits 2 with the matching error where dmidecode reads nothing.
"""

import argparse
import json
import re
import subprocess
import sys
import tempfile
from pathlib import Path


def run(args):  # the timeout (seconds) fails a hang instead of stalling the run
    return subprocess.run([str(a) for a in args], capture_output=True, text=True,
                          errors="replace", timeout=120)


def query(platformq, config_dir):
    return run([platformq, "--config-dir", config_dir, "--format", "json", "/SMBIOS", "/BIOS"])


class Unreadable(Exception):
    """dmidecode found no entry point, or not one structure, in the image."""


def dmidecode(tool, image, warnings=None):
    """Structures in table order: the decoded fields plus, from -u, the raw bytes and strings.
    warnings: regular expressions for the lines it must write on standard error, in order (it
    warns of anything malformed); None takes whatever it writes."""
    decoded, raw = run([tool, "--from-dump", image]), run([tool, "--from-dump", image, "-u"])
    said = [line for line in decoded.stderr.splitlines() if line.strip()]
    if decoded.returncode != 0 or "entry point found" in decoded.stderr:
        raise Unreadable(decoded.stderr.strip())
    if warnings is not None and not (len(said) == len(warnings) and all(
            re.fullmatch(w, line) for w, line in zip(warnings, said))):
        sys.exit(f"dmidecode on {image} said {said}, expected lines matching {warnings}")
    # A structure it could not read whole shows as its header and <TRUNCATED>: not read.
    blocks = lambda out: [b for b in out.split("\n\n")  # noqa: E731
                          if b.startswith("Handle") and "<TRUNCATED>" not in b]
    structures = [parse_block(b) for b in blocks(decoded.stdout)]
    if not structures:
        raise Unreadable("no structure")
    for s, block in zip(structures, blocks(raw.stdout), strict=True):
        s["_data"], s["_strings"] = parse_raw(block)
    return structures


def parse_block(block):  # the "Field: value" lines one tab in; deeper lines are left out
    m = re.match(r"Handle (0x[0-9A-F]{4}), DMI type (\d+)", block)
    fields = {k: v.removeprefix(" ").rstrip()
              for k, v in re.findall(r"^\t([^\t:\n]+):(.*)$", block, re.MULTILINE)}
    return fields | {"_handle": m[1], "_type": int(m[2])}


def parse_raw(block):
    """-u: the formatted area in hex, then per string its hex up to 00 and its text line."""
    area, _, tail = block.partition("\n\tStrings:")
    data = bytes.fromhex(" ".join(line for line in area.splitlines() if line.startswith("\t\t")))
    strings, current, lines = [], b"", iter(tail.splitlines()[1:])
    for line in lines:
        current += bytes.fromhex(line)
        if current.endswith(b"\0"):  # the string ends; its text follows on the next line
            strings.append(current[:-1].decode("ascii", "replace"))
            current = b""
            next(lines)
    return data, strings


def raw_string(offset):  # index 0 reads "Not Specified", as dmidecode prints it
    def string(s):
        if len(s["_data"]) <= offset:
            return None  # the structure is too short to have the field
        strings, index = s["_strings"] + ["Not Specified"], s["_data"][offset]
        return "<BAD INDEX>" if index > len(strings) else strings[index - 1]
    return string


def raw_speed(offset):
    word = lambda s: int.from_bytes(s["_data"][offset:offset + 2], "little")  # noqa: E731
    return lambda s: (f"{word(s)} MT/s" if word(s) else "Unknown") \
        if len(s["_data"]) >= offset + 2 else None


def text(v):
    return "" if v == "Not Specified" else v


def units(scale):
    """"2600 MHz" -> "2600", "32 GB" -> "32768" for scale {unit: factor}; "Unknown" stays."""
    def convert(v):
        if v in ("Unknown", "No Module Installed"):  # the latter: a size of 0
            return "Unknown" if v == "Unknown" else "0"
        m = re.fullmatch(r"(\d+) (\S+)", v)
        if not m or m[2] not in scale:
            raise ValueError(f"{v!r} is not a whole number of {' or '.join(scale)}")
        return str(int(m[1]) * scale[m[2]])
    return convert


MHZ, BITS, MTS = units({"MHz": 1}), units({"bits": 1}), units({"MT/s": 1})
MB = units({"MB": 1, "GB": 1024, "TB": 1024 ** 2, "PB": 1024 ** 3})


def status(v):  # "Populated, Idle", or "Unpopulated" without the CPU status
    return re.compile(r"Populated: No, .+") if v == "Unpopulated" else \
        "Populated: Yes, " + v.removeprefix("Populated, ")


def type_detail_table(v):
    """The TypeDetail element's leaves, "Yes" for each bit dmidecode lists (in this order)."""
    names = [n for n in ("Other", "Unknown", "Fast-paged", "Static Column", "Pseudo-static",
                         "RAMBus", "Synchronous", "CMOS", "EDO", "Window DRAM", "Cache DRAM",
                         "Non-Volatile", "Registered (Buffered)", "Unbuffered (Unregistered)",
                         "LRDIMM") if n in v]
    if " ".join(names) != ("" if v == "None" else v):
        raise ValueError(f"type detail {v!r} is not a list of known names")
    # leaf names: "Registered (Buffered)" -> "Registered", "Static Column" -> "StaticColumn"
    return {re.sub(r"\s*\(.*\)|\s", "", n): ("Type Detail", lambda _: "Yes") for n in names}


# Each element's children in the answer's order: leaf -> (dmidecode field, converter[, reader
# of the raw bytes for when dmidecode leaves the field out, as past the type detail of an empty
# slot]). Other fields it leaves out are "Unknown" (a count of 0). None: a child element.
BIOS = {"Vendor": ("Vendor", text), "Version": ("Version", text),
        "ReleaseDate": ("Release Date", text)}
PROCESSOR = {
    "SocketDesignation": ("Socket Designation", text), "ProcessorType": ("Type", str),
    "ProcessorFamily": ("Family", lambda v: "Other" if v.startswith("<OUT OF") else v),
    "ProcessorManufacturer": ("Manufacturer", text), "ProcessorVersion": ("Version", text),
    "ClockFrequency": ("External Clock", MHZ), "MaxSpeed": ("Max Speed", MHZ),
    "CurrentSpeed": ("Current Speed", MHZ), "Status": ("Status", status),
    "SerialNumber": ("Serial Number", text), "PartNumber": ("Part Number", text),
    "CoreCount": ("Core Count", str), "CoreEnabled": ("Core Enabled", str),
    "ThreadCount": ("Thread Count", str)}
ARRAY = {"Location": ("Location", str), "Use": ("Use", str),
         "MemoryErrorCorrection": ("Error Correction Type", str),
         "MaximumCapacity": ("Maximum Capacity", MB),
         "NumMemoryDevices": ("Number Of Devices", str)}
DEVICE = {
    "MemoryArrayHandle": ("Array Handle", str), "Handle": ("_handle", str),
    "TotalWidth": ("Total Width", BITS), "DataWidth": ("Data Width", BITS),
    "Size": ("Size", MB), "FormFactor": ("Form Factor", str),
    "DeviceLocator": ("Locator", text), "BankLocator": ("Bank Locator", text),
    "MemoryType": ("Type", str), "TypeDetail": ("Type Detail", None),
    "Speed": ("Speed", MTS, raw_speed(0x15)),
    "ConfiguredSpeed": ("Configured Memory Speed", MTS, raw_speed(0x20)),
    "Manufacturer": ("Manufacturer", text, raw_string(0x17)),
    "SerialNumber": ("Serial Number", text, raw_string(0x18)),
    "PartNumber": ("Part Number", text, raw_string(0x1A))}


def check_agree(args):
    profile = args.profile_dirs[0]
    warnings = json.loads((profile / "expect.json").read_text())["dmidecode_warnings"]
    return agree(args, profile, dmidecode(args.dmidecode, profile / "smbios.bin", warnings))


def agree(args, config_dir, structures):
    """Faults of platformq's answer from the image config_dir's settings name, against
    dmidecode's structures of it."""
    of_type = lambda t: [s for s in structures if s["_type"] == t]  # noqa: E731
    r = query(args.platformq, config_dir)
    if r.returncode != (0 if of_type(0) else 1):  # 1: no /BIOS answer without a BIOS structure
        return [f"platformq exited {r.returncode}: {r.stderr.strip()}"]
    answer, faults = json.loads(r.stdout), []
    devices_of = lambda a: [s for s in of_type(17)  # noqa: E731
                            if s.get("Array Handle") == a["_handle"]]

    def value(path, want, why):
        node = answer.get(path)
        got = node["list"][0] if node and node["kind"] == 0 and node["list"] else None
        if not (want.fullmatch(got or "") if isinstance(want, re.Pattern) else got == want):
            faults.append(f"{path}: platformq {got!r}, expected {want!r} (dmidecode {why})")

    def element(path, children, table=None, s=None):
        children = [f"{path}/{c}" for c in (table or {})] + children
        node = answer.get(path)
        if node is None or node["kind"] != 1:
            faults.append(f"{path}: no element in the answer")
        elif node["list"] != children:
            faults.append(f"{path}: lists {node['list']}, expected {children}")
        for leaf, (field, convert, *raw) in (table or {}).items():
            got = s[field] if field in s else raw[0](s) if raw else None
            if convert:
                want = "Unknown" if got is None else convert(got)
                value(f"{path}/{leaf}", want, f"{s['_handle']} {field}: {got!r}")

    if of_type(0):
        element("/BIOS", [], BIOS, of_type(0)[0])
    elif "/BIOS" in answer:
        faults.append("/BIOS is answered, but the image has no BIOS structure")
    element("/SMBIOS", ["/SMBIOS/Type4", "/SMBIOS/MemoryArray"])
    cpus = [f"/SMBIOS/Type4[{n}]" for n in range(1, len(of_type(4)) + 1)]
    element("/SMBIOS/Type4", cpus)
    for path, s in zip(cpus, of_type(4)):
        element(path, [], PROCESSOR, s)
    root = "/SMBIOS/MemoryArray"
    arrays = [s for s in of_type(16) if s.get("Use") == "System Memory"]
    element(root, [f"{root}[{a}]" for a in range(1, len(arrays) + 1)] + [f"{root}/TotalNoOfArray"])
    value(f"{root}/TotalNoOfArray", str(len(arrays)), f"lists {len(arrays)} system memory arrays")
    for a, array in enumerate(arrays, 1):
        devices = [f"{root}[{a}]/MemoryDevice[{d}]" for d in range(1, len(devices_of(array)) + 1)]
        element(f"{root}[{a}]", devices, ARRAY, array)
        for path, device in zip(devices, devices_of(array)):
            element(path, [], DEVICE, device)
            element(f"{path}/TypeDetail", [], type_detail_table(device["Type Detail"]), device)
    return faults


def damaged_copies(image):
    """(what, damaged image, the error code when nothing of it can be read) for one image."""
    v3 = image.startswith(b"_SM3_")
    checksum_at, (length_at, size) = (5, (0x0C, 4)) if v3 else (4, (0x16, 2))
    table_length = int.from_bytes(image[length_at:length_at + size], "little")
    cpu = 0x20  # the first processor: skip formatted areas and their strings up to "\0\0"
    while image[cpu] != 4:
        cpu = image.index(b"\0\0", cpu + image[cpu + 1]) + 2

    def changed(at, value, seal=False):  # seal: checksums made right, leaving only the damage
        img = bytearray(image)
        img[at:at + len(value)] = value
        sums = [(5, 0, img[6])] if v3 else [(0x15, 0x10, 0x1F), (4, 0, img[5])]
        for sum_at, start, end in sums if seal else []:
            img[sum_at] = 0
            img[sum_at] = -sum(img[start:end]) & 0xFF
        return bytes(img)

    short_table = (cpu + 2 - 0x20).to_bytes(size, "little")
    return [("entry point checksum", changed(checksum_at, [image[checksum_at] ^ 0x5A]), "2022"),
            ("table length ends in a structure", changed(length_at, short_table, True), None),
            ("file ends inside the table", image[:0x20 + table_length // 2], None),
            ("structure length shorter than its header", changed(cpu + 1, [2]), None),
            ("first structure broken", changed(0x21, [0]), "2023"),
            # the socket designation, far past the structure's strings
            ("string index past the string set", changed(cpu + 4, [0x7F]), None)]


def check_damaged(args):
    faults = []
    with tempfile.TemporaryDirectory() as tmp:
        image = Path(tmp) / "smbios.bin"
        (Path(tmp) / "OrdixServMgmtSettings.ini").write_text(f"[SMBIOS]\nImage={image}\n")
        for profile in args.profile_dirs:
            for what, damaged, code in damaged_copies((profile / "smbios.bin").read_bytes()):
                image.write_bytes(damaged)
                try:
                    structures = dmidecode(args.dmidecode, image)
                except Unreadable as e:
                    r = query(args.platformq, tmp)
                    got = re.search(r"error (\d+)", r.stderr)
                    if code is None or r.returncode != 2 or not got or got[1] != code:
                        faults.append(f"{profile.name}, {what}: dmidecode reads nothing ({e}); "
                                      f"platformq exit {r.returncode}, expected 2 with error "
                                      f"{code}: {r.stderr.strip()!r}")
                    continue
                if code is not None:
                    faults.append(f"{profile.name}, {what}: dmidecode reads it, expected {code}")
                faults += [f"{profile.name}, {what}: {f}" for f in agree(args, tmp, structures)]
    return faults


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("check", choices=["agree", "damaged"])
    parser.add_argument("profile_dirs", type=Path, nargs="+")
    parser.add_argument("--platformq", type=Path, required=True)
    parser.add_argument("--dmidecode", type=Path)
    args = parser.parse_args()
    if not (args.dmidecode and args.dmidecode.is_file()):
        sys.exit("dmidecode is not installed: scripts/install-deps test installs it")
    faults = check_agree(args) if args.check == "agree" else check_damaged(args)
    print("\n".join(faults + [f"{args.check} {' '.join(p.name for p in args.profile_dirs)}: "
                              f"{len(faults) or 'no'} fault(s)"]))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
