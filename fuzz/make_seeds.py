#!/usr/bin/env python3
"""Writes the seed corpus of settings_conversion_fuzz (see the input format at
the top of SettingsConversion_fuzz.cpp): every group's response and
indication with all flags set, a valid and a refused write per group, and
dispatcher inputs with unknown ids."""
import os
import struct
import sys

out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "corpus", "settings_conversion")
os.makedirs(out, exist_ok=True)

# (set length, read response length, offset of the fields in the response)
GROUPS = [(208, 224, 16), (577, 596, 16), (1024, 1044, 20), (104, 120, 16)]


def seed(name, data):
    with open(os.path.join(out, name), "wb") as f:
        f.write(data)


def mode(action, group):
    return bytes([action | (group << 2)])


def pair_int(key, value):
    return struct.pack("<BHq", 0, key - 95, value)


def pair_bool(key, value):
    return struct.pack("<BHB", 1, key - 95, value)


def pair_str(key, text):
    return struct.pack("<BHH", 2, key - 95, len(text)) + text


for g, (set_len, resp_len, lead) in enumerate(GROUPS):
    # Every byte 1: every flag set, every string full and unterminated.
    seed(f"ind-{g}-ones", mode(1, g) + b"\x01" * set_len)
    resp = bytearray(b"\x01" * resp_len)
    resp[0:lead] = bytes(lead)
    seed(f"resp-{g}-ones", mode(0, g) + bytes(resp))
    resp[0] = 1
    seed(f"resp-{g}-failed", mode(0, g) + bytes(resp))

writes = {
    "write-presence": (0, pair_int(100, 60) + pair_int(108, 5) + pair_bool(110, 1) + pair_str(111, b"sip:p@x")),
    "write-presence-unknown": (0, pair_int(99, 1) + pair_bool(109, 1)),
    "write-sm": (1, pair_int(300, 0x1FF) + pair_bool(300, 1) + pair_str(304, b"v" * 16) + pair_str(311, b"n" * 32)),
    "write-sm-over": (1, pair_str(304, b"v" * 17) + pair_str(314, b"x")),
    "write-ua": (2, pair_str(200, b"a" * 1024) + pair_str(200, b"agent")),
    "write-ua-ints": (2, pair_int(200, 1)),
    "write-ims": (3, pair_int(421, -1) + pair_int(419, 2) + pair_bool(417, 1) + pair_bool(423, 1) + pair_str(418, b"w" * 20)),
    "write-ims-over": (3, pair_str(418, b"w" * 21)),
    "write-id4": (4, pair_int(100, 1)),
}
for name, (sid, body) in writes.items():
    seed(name, mode(2, 0) + bytes([sid]) + body)

for name, ident, ind in [("any-4-ind", 4, 1), ("any-neg", -1, 0), ("any-0x6a", 0x6A, 0), ("any-0x90", 0x90, 0)]:
    seed(name, mode(3, 0) + struct.pack("<iB", ident, ind) + b"\x01" * 64)
