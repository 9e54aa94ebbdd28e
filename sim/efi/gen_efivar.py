#!/usr/bin/env python3
"""Writes EFI variable directories laid out as Linux efivarfs shows them.

Each case of the description becomes OUT/<case>/, a directory usable as [SMI] VariablesDir.
It holds the firmware-version variable that names the server board: a file
"FWVERSIONDATA-<vendor guid>" with 4 attribute bytes (little-endian) and then the data.
Data layout: signature at 0, firmware GUID at 16 (EFI byte order), board identifier at 83
(40 bytes, NUL-padded; a 40-character identifier has no NUL). The bytes outside these fields
are filled with '#', so a reader that strays from the fields sees text, not a NUL.
OUT/cases.txt lists the cases written.

Description keys per case (see sim/efi/variables.toml):
  board          the board identifier, ASCII, at most 40 characters (required)
  signature      4 ASCII characters, default "$FID"
  firmware_guid  default the firmware's own GUID
  size           bytes of data to write (the layout is cut or zero-padded), default 261
  present        false writes an empty directory (the variable is missing), default true

Usage: gen_efivar.py DESCRIPTION.toml -o OUT
"""

import argparse
import shutil
import struct
import sys
import tomllib
import uuid
from pathlib import Path

VARIABLE_NAME = "FWVERSIONDATA"
VENDOR_GUID = uuid.UUID("ec87d643-eba4-4bb5-a1e5-3f3e36b20da9")
FIRMWARE_GUID = uuid.UUID("399648e0-8154-4d23-93de-28254685a342")
SIGNATURE = "$FID"
# Non-volatile, boot-service access, runtime access: how firmware stores such a variable.
ATTRIBUTES = 0x7

SIGNATURE_OFFSET = 0
SIGNATURE_LENGTH = 4
FIRMWARE_GUID_OFFSET = 16
BOARD_OFFSET = 83
BOARD_LENGTH = 40
# The span readers of this variable examine.
LAYOUT_SIZE = 261
FILLER = b"#"

KEYS = {"board", "signature", "firmware_guid", "size", "present"}


class DescriptionError(Exception):
    pass


def ascii_field(case, key, text, length, exact):
    if not isinstance(text, str) or not text.isascii():
        raise DescriptionError(f"{case}: {key} must be ASCII text")
    if len(text) > length or (exact and len(text) != length):
        limit = "exactly" if exact else "at most"
        raise DescriptionError(f"{case}: {key} must be {limit} {length} characters")
    return text.encode("ascii")


def variable_data(case, desc):
    unknown = set(desc) - KEYS
    if unknown:
        raise DescriptionError(f"{case}: unknown keys {sorted(unknown)}")
    if "board" not in desc:
        raise DescriptionError(f"{case}: board is required")
    board = ascii_field(case, "board", desc["board"], BOARD_LENGTH, exact=False)
    signature = ascii_field(case, "signature", desc.get("signature", SIGNATURE),
                            SIGNATURE_LENGTH, exact=True)
    try:
        firmware_guid = uuid.UUID(desc.get("firmware_guid", str(FIRMWARE_GUID)))
    except (ValueError, AttributeError, TypeError) as e:
        raise DescriptionError(f"{case}: firmware_guid: {e}") from e
    size = desc.get("size", LAYOUT_SIZE)
    if not isinstance(size, int) or size < 0:
        raise DescriptionError(f"{case}: size must be a whole number of bytes")

    data = bytearray(FILLER * max(size, LAYOUT_SIZE))
    data[SIGNATURE_OFFSET:SIGNATURE_OFFSET + SIGNATURE_LENGTH] = signature
    data[FIRMWARE_GUID_OFFSET:FIRMWARE_GUID_OFFSET + 16] = firmware_guid.bytes_le
    data[BOARD_OFFSET:BOARD_OFFSET + BOARD_LENGTH] = board.ljust(BOARD_LENGTH, b"\0")
    return bytes(data[:size])


def write_case(out_dir, case, desc):
    case_dir = out_dir / case
    # Start from nothing so a variable dropped from the description does not linger.
    shutil.rmtree(case_dir, ignore_errors=True)
    case_dir.mkdir(parents=True)
    present = desc.get("present", True)
    if not isinstance(present, bool):
        raise DescriptionError(f"{case}: present must be true or false")
    if present:
        content = struct.pack("<I", ATTRIBUTES) + variable_data(case, desc)
        (case_dir / f"{VARIABLE_NAME}-{VENDOR_GUID}").write_bytes(content)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("description", type=Path)
    parser.add_argument("-o", "--out", type=Path, required=True)
    args = parser.parse_args()
    try:
        with args.description.open("rb") as f:
            cases = tomllib.load(f)
        for case, desc in cases.items():
            if not isinstance(desc, dict) or "/" in case or case in {"", ".", ".."}:
                raise DescriptionError(f"{case}: each case is a table with a plain name")
            write_case(args.out, case, desc)
        (args.out / "cases.txt").write_text("".join(f"{case}\n" for case in cases))
    except (OSError, tomllib.TOMLDecodeError, DescriptionError) as e:
        print(f"gen_efivar.py: {args.description}: {e}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
