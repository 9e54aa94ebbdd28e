#!/usr/bin/env python3
"""Writes an SMBIOS image from a readable description of a server.

The image has the layout `dmidecode --dump-bin` writes: the entry point at offset 0 with its
table address set to 0x20, and the structure table at 0x20. A 2.x version gets the 32-bit
"_SM_"/"_DMI_" entry point, a 3.x version the 64-bit "_SM3_" one. Structures come in a fixed
order (BIOS, system, processors, memory arrays, memory devices, end of table) with handles
0, 1, 2, ... in that order. See sim/profiles/*/smbios.toml for the description format.

The shapes real firmware ships are described too (see sim/smbios/quirks/*.toml): a description
may start from a profile's (base = "NAME"), and its [table] section chooses the entry point
("32-bit", "64-bit" or the bare "legacy" _DMI_ one), leaves out the end-of-table structure,
gives a table length short of the structures (short_by) or another structure count, ends the
image before the table does (image_short_by), or breaks a structure's length byte (damage). A structure may be cut to an older layout
(length = ...), name a string or array it does not have (string_index, array_handle), carry
raw size words and control or non-ASCII characters in its strings (written as Latin-1).
[expect] lists what dmidecode says on standard error about the image; it goes to EXPECT.json
beside the image for the checks.

Usage: gen_smbios.py PROFILE.toml -o IMAGE [--settings INI] [--expect EXPECT.json]
"""

import argparse
import itertools
import json
import struct
import sys
import tomllib
from pathlib import Path

# Readable names for the enumerations the descriptions use; a plain integer code works too,
# which is how a description writes a code outside these (or outside the standard).
ENUMS = {
    "processor_type": {"other": 1, "unknown": 2, "central": 3, "math": 4, "dsp": 5, "video": 6},
    "status": {"unknown": 0, "enabled": 1, "disabled by user": 2, "disabled by bios": 3,
               "idle": 4, "other": 7},
    "location": {"other": 1, "unknown": 2, "board": 3},
    "use": {"other": 1, "unknown": 2, "system": 3, "video": 4, "flash": 5, "nvram": 6,
            "cache": 7},
    "ecc": {"other": 1, "unknown": 2, "none": 3, "parity": 4, "single-bit": 5, "multi-bit": 6,
            "crc": 7},
    "form_factor": {"other": 1, "unknown": 2, "chip": 0x05, "dimm": 0x09, "sodimm": 0x0D},
    "type": {"other": 1, "unknown": 2, "ddr3": 0x18, "ddr4": 0x1A, "ddr5": 0x22},
}
# Memory device type detail: bit number by name.
DETAIL_BITS = {"other": 1, "unknown": 2, "fast-paged": 3, "static column": 4,
               "pseudo-static": 5, "rambus": 6, "synchronous": 7, "cmos": 8, "edo": 9,
               "window dram": 10, "cache dram": 11, "non-volatile": 12, "registered": 13,
               "unbuffered": 14, "lrdimm": 15}

NOT_PROVIDED = 0xFFFE  # error-information handle: none given
NO_CACHE = 0xFFFF      # processor cache handle: no cache structure
UNKNOWN16 = 0xFFFF

KEYS = {
    "profile": {"base", "smbios", "device_order", "bios", "system", "sockets", "arrays",
                "table", "expect"},
    "bios": {"vendor", "version", "date", "release", "length"},
    "system": {"manufacturer", "product", "version", "serial"},
    "socket": {"designation", "processor_type", "family", "manufacturer", "version", "id",
               "external_clock", "max_speed", "current_speed", "populated", "status",
               "serial", "asset", "part", "cores", "cores_enabled", "threads", "length",
               "string_index"},
    "array": {"location", "use", "ecc", "max_capacity_mb", "devices_field", "installed",
              "devices", "length", "repeat"},
    "device": {"locator", "bank", "size_mb", "form_factor", "type", "detail", "total_width",
               "data_width", "speed", "configured_speed", "manufacturer", "serial", "asset",
               "part", "rank", "voltage_mv", "length", "size_word", "array_handle",
               "string_index"},
    "table": {"entry_point", "end_of_table", "short_by", "count", "image_short_by", "damage"},
    "damage": {"structure", "length"},
    "expect": {"dmidecode_warnings"},
}
# The string fields a description may point elsewhere with string_index.
STRING_FIELDS = {
    "socket": {"designation": 0x04, "manufacturer": 0x07, "version": 0x10, "serial": 0x20,
               "asset": 0x21, "part": 0x22},
    "device": {"locator": 0x10, "bank": 0x11, "manufacturer": 0x17, "serial": 0x18,
               "asset": 0x19, "part": 0x1A},
}
PROFILES = Path(__file__).resolve().parent.parent / "profiles"


class DescriptionError(Exception):
    pass


def checked(table, kind, where):
    unknown = set(table) - KEYS[kind]
    if unknown:
        raise DescriptionError(f"{where}: unknown key(s) {', '.join(sorted(unknown))}")
    return table


def code(kind, value):
    if isinstance(value, int):
        return value
    try:
        return ENUMS[kind][value.lower()]
    except KeyError:
        raise DescriptionError(f"unknown {kind} {value!r}; use one of "
                               f"{sorted(ENUMS[kind])} or an integer code") from None


class Strings:
    """A structure's string set: index 0 stands for "no string"."""

    def __init__(self):
        self.texts = []

    def __call__(self, text):
        if not text:
            return 0
        if text not in self.texts:
            self.texts.append(text)
        return self.texts.index(text) + 1

    def encode(self):
        if not self.texts:
            return b"\0\0"
        # Latin-1, so a description can write any byte but NUL ("\u0007", "\u00e9").
        return b"".join(t.encode("latin-1") + b"\0" for t in self.texts) + b"\0"


def structure(kind, handle, formatted, strings):
    return struct.pack("<BBH", kind, 4 + len(formatted), handle) + formatted + strings.encode()


def shaped(kind, desc, formatted, strings):
    """(formatted area, strings) after the description's own quirks: a layout cut to an older
    version's length, string indexes pointing elsewhere."""
    formatted = bytearray(formatted)
    for field, index in desc.get("string_index", {}).items():
        if field not in STRING_FIELDS.get(kind, {}):
            raise DescriptionError(f"string_index: {field!r} is not a string field of a {kind}")
        formatted[STRING_FIELDS[kind][field] - 4] = index
    if "length" in desc:
        if not 4 <= desc["length"] <= 4 + len(formatted):
            raise DescriptionError(f"length {desc['length']:#x}: from 4 to {4 + len(formatted):#x}")
        formatted = formatted[:desc["length"] - 4]
    return bytes(formatted), strings


def split_count(count, v3, what):
    """A count as the byte field and, from 3.0, the word field that takes over at 255."""
    if count > 255 and not v3:
        raise DescriptionError(f"{what} {count} needs an SMBIOS 3.x table")
    return min(count, 0xFF), count


def bios(desc, v3):
    s = Strings()
    major, minor = (int(p) for p in desc.get("release", "255.255").split("."))
    f = struct.pack("<BBHBBQBBBBBB", s(desc["vendor"]), s(desc["version"]), 0xF000,
                    s(desc["date"]), 0xFF if v3 else 0x7F,
                    1 << 3,  # characteristics: not supported
                    0, 0, major, minor, 0xFF, 0xFF)
    if v3:
        f += struct.pack("<H", 32)  # extended ROM size: 32 MB
    return shaped("bios", desc, f, s)


def system(desc):
    s = Strings()
    f = struct.pack("<BBBB16sBBB", s(desc.get("manufacturer")), s(desc.get("product")),
                    s(desc.get("version")), s(desc.get("serial")), bytes(16), 6, 0, 0)
    return f, s


def processor(desc, v3):
    s = Strings()
    family = desc.get("family", 2)
    populated = desc.get("populated", True)
    status = code("status", desc.get("status", "enabled" if populated else "unknown"))
    status |= 0x40 if populated else 0
    counts = [split_count(desc.get(k, 0), v3, k) for k in ("cores", "cores_enabled", "threads")]
    f = struct.pack("<BBBBQBBHHHBBHHHBBBBBBHH",
                    s(desc["designation"]),
                    code("processor_type", desc.get("processor_type", "central")),
                    0xFE if family > 0xFD else family, s(desc.get("manufacturer")),
                    desc.get("id", 0), s(desc.get("version")), 0x8C if populated else 0,
                    desc.get("external_clock", 0), desc.get("max_speed", 0),
                    desc.get("current_speed", 0), status,
                    0x01,  # upgrade: other
                    NO_CACHE, NO_CACHE, NO_CACHE,
                    s(desc.get("serial")), s(desc.get("asset")), s(desc.get("part")),
                    *(byte for byte, _ in counts),
                    0x04 if populated else 0,  # characteristics: 64-bit capable
                    family)
    if v3:
        f += struct.pack("<HHH", *(word for _, word in counts))
    return shaped("socket", desc, f, s)


def memory_array(desc):
    kib = desc["max_capacity_mb"] * 1024
    extended = kib >= 0x80000000  # the dword field is out of range: the qword takes over
    f = struct.pack("<BBBIHHQ", code("location", desc["location"]), code("use", desc["use"]),
                    code("ecc", desc["ecc"]), 0x80000000 if extended else kib, NOT_PROVIDED,
                    desc.get("devices_field", len(desc.get("devices", []))),
                    kib * 1024 if extended else 0)
    return shaped("array", desc, f, Strings())


def memory_device(desc, v3, array_handle):
    s = Strings()
    size = desc.get("size_mb", 0)
    if size == "unknown":
        size_word, extended_size, size_bytes = UNKNOWN16, 0, 0
    elif not isinstance(size, int):
        raise DescriptionError(f"size_mb {size!r}: megabytes, 0 for an empty slot, or 'unknown'")
    elif size < 0x7FFF:
        size_word, extended_size, size_bytes = size, 0, size << 20
    else:
        size_word, extended_size, size_bytes = 0x7FFF, size, size << 20
    speeds = [desc.get(k, 0) for k in ("speed", "configured_speed")]
    if not v3 and max(speeds) >= 0xFFFF:
        raise DescriptionError(f"speed {max(speeds)} needs an SMBIOS 3.x table")
    detail = 0
    for name in desc.get("detail", []):
        if name.lower() not in DETAIL_BITS:
            raise DescriptionError(f"unknown type detail {name!r}; "
                                   f"use one of {sorted(DETAIL_BITS)}")
        detail |= 1 << DETAIL_BITS[name.lower()]
    volts = desc.get("voltage_mv", 0)
    f = struct.pack("<HHHHHBBBBBHHBBBBBIHHHH", desc.get("array_handle", array_handle),
                    NOT_PROVIDED,
                    desc.get("total_width", UNKNOWN16), desc.get("data_width", UNKNOWN16),
                    desc.get("size_word", size_word), code("form_factor", desc.get("form_factor", "unknown")), 0,
                    s(desc.get("locator")), s(desc.get("bank")),
                    code("type", desc.get("type", "unknown")), detail,
                    min(speeds[0], 0xFFFF), s(desc.get("manufacturer")), s(desc.get("serial")),
                    s(desc.get("asset")), s(desc.get("part")), desc.get("rank", 0),
                    extended_size, min(speeds[1], 0xFFFF), volts, volts, volts)
    if v3:
        f += struct.pack("<BHBHHHHQQQQII", 0x03 if size_bytes else 0x02,
                         1 << 3 if size_bytes else 0,  # operating mode: volatile memory
                         0, 0, 0, 0, 0, 0, size_bytes, 0, 0, *speeds)
    return shaped("device", desc, f, s)


def checksummed(ep, at, start=0, end=None):
    ep[at] = 0
    ep[at] = -sum(ep[start:end]) & 0xFF


def entry_point(kind, version, length, count, largest):
    major, minor = version
    if kind == "64-bit":
        ep = bytearray(struct.pack("<5sBBBBBBBIQ", b"_SM3_", 0, 0x18, major, minor, 0, 1, 0,
                                   length, 0x20))
        checksummed(ep, 5)
    elif kind == "32-bit":
        ep = bytearray(struct.pack("<4sBBBBHB5s5sBHIHB", b"_SM_", 0, 0x1F, major, minor,
                                   largest, 0, bytes(5), b"_DMI_", 0, length, 0x20, count,
                                   major << 4 | minor))
        checksummed(ep, 0x15, 0x10)
        checksummed(ep, 0x04)
    elif kind == "legacy":  # "_DMI_" alone, version in BCD
        ep = bytearray(struct.pack("<5sBHIHB", b"_DMI_", 0, length, 0x20, count,
                                   major << 4 | minor))
        checksummed(ep, 5)
    else:
        raise DescriptionError(f"entry_point {kind!r}: '32-bit', '64-bit' or 'legacy'")
    return bytes(ep).ljust(0x20, b"\0")


def damaged(structures, damage):
    """The structures with the length bytes [[table.damage]] names broken."""
    structures = list(structures)
    for i, d in enumerate(damage):
        checked(d, "damage", f"table.damage[{i}]")
        n = d["structure"]
        if not 1 <= n <= len(structures):
            raise DescriptionError(f"table.damage[{i}]: no structure {n}")
        broken = bytearray(structures[n - 1])
        broken[1] = d["length"]
        structures[n - 1] = bytes(broken)
    return structures


def devices_in_table_order(arrays, interleaved):
    """(array index, device) pairs: array by array, or round robin across the arrays."""
    per_array = [[(i, d) for d in a.get("devices", [])] for i, a in enumerate(arrays)]
    if not interleaved:
        return [pair for devices in per_array for pair in devices]
    rounds = itertools.zip_longest(*per_array)
    return [pair for row in rounds for pair in row if pair is not None]


def with_base(profile):
    """The description on top of its base profile's: its own keys replace the base's."""
    if "base" not in profile:
        return profile
    with (PROFILES / profile["base"] / "smbios.toml").open("rb") as f:
        base = tomllib.load(f)
    return {**base, **{k: v for k, v in profile.items() if k != "base"}}


def build(profile):
    profile = checked(with_base(checked(profile, "profile", "profile")), "profile", "profile")
    version = tuple(int(p) for p in profile["smbios"].split("."))
    v3 = version[0] >= 3
    table_desc = checked(profile.get("table", {}), "table", "table")
    arrays = []
    for i, a in enumerate(profile.get("arrays", [])):
        arrays += [checked(a, "array", f"arrays[{i}]")] * a.get("repeat", 1)
    order = profile.get("device_order", "by array")
    if order not in ("by array", "interleaved"):
        raise DescriptionError(f"device_order {order!r}: 'by array' or 'interleaved'")

    # (type, (formatted area, strings)) in table order; the handle is the position.
    parts = [(0, bios(checked(profile["bios"], "bios", "bios"), v3))]
    if "system" in profile:
        parts.append((1, system(checked(profile["system"], "system", "system"))))
    for i, sock in enumerate(profile.get("sockets", [])):
        parts.append((4, processor(checked(sock, "socket", f"sockets[{i}]"), v3)))
    first_array = len(parts)
    parts += [(16, memory_array(a)) for a in arrays]
    for i, dev in devices_in_table_order(arrays, order == "interleaved"):
        # An empty slot describes itself; an installed module starts from its array's
        # "installed" fields.
        installed = arrays[i].get("installed", {}) if dev.get("size_mb", 0) != 0 else {}
        fields = {**installed, **dev}
        checked(fields, "device", f"arrays[{i}] device {dev.get('locator')!r}")
        parts.append((17, memory_device(fields, v3, first_array + i)))

    structures = [structure(kind, handle, *body) for handle, (kind, body) in enumerate(parts)]
    if table_desc.get("end_of_table", True):
        structures.append(structure(127, len(structures), b"", Strings()))
    largest = max(map(len, structures))
    table = b"".join(damaged(structures, table_desc.get("damage", [])))
    kind = table_desc.get("entry_point", "64-bit" if v3 else "32-bit")
    ep = entry_point(kind, version, len(table) - table_desc.get("short_by", 0),
                     table_desc.get("count", len(structures)), largest)
    return (ep + table)[:len(ep) + len(table) - table_desc.get("image_short_by", 0)]


def expectations(profile):
    expect = checked(with_base(profile).get("expect", {}), "expect", "expect")
    return {"dmidecode_warnings": expect.get("dmidecode_warnings", [])}


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("profile", type=Path, help="the server's smbios.toml")
    parser.add_argument("-o", "--output", type=Path, required=True, help="image to write")
    parser.add_argument("--settings", type=Path,
                        help="also write a settings file whose [SMBIOS] Image names the image")
    parser.add_argument("--expect", type=Path,
                        help="also write what the checks should expect of other readers (JSON)")
    args = parser.parse_args(argv)
    try:
        with args.profile.open("rb") as f:
            description = tomllib.load(f)
        image, expect = build(description), expectations(description)
    except (OSError, tomllib.TOMLDecodeError, DescriptionError, KeyError, struct.error,
            UnicodeError, ValueError) as e:
        detail = f"missing key {e}" if isinstance(e, KeyError) else str(e)
        print(f"gen_smbios: {args.profile}: {detail}", file=sys.stderr)
        return 1
    args.output.parent.mkdir(parents=True, exist_ok=True)
    args.output.write_bytes(image)
    if args.settings:
        args.settings.write_text(f"[SMBIOS]\nImage={args.output.resolve()}\n")
    if args.expect:
        args.expect.write_text(json.dumps(expect, indent=2) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
