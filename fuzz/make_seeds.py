#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets, one folder per target under
fuzz/corpus/ (or under the folder given as the first argument). Each
target's input format is described at the top of its source, fuzz/*_fuzz.cpp.

  settings_conversion: every group's response and indication with all flags
      set, a valid and a refused write per group, dispatcher inputs with
      unknown ids;
  modem_indication: every indication id of both services at its own length
      and at wrong lengths, the status indication of the uploaded document,
      token requests for both subscriptions, unknown ids;
  modem_wire: a client's opens, requests, control commands and close, and a
      daemon's states, replies, indications and lost connections, each also
      cut short or with a wrong length field;
  rcsconfigctl_script: the main job's session and the script language's
      corners (quotes, escapes, continuation lines, every command);
  config_document: plain, to-be-compressed, gzip and corrupt gzip documents.
"""
import os
import struct
import sys

import gzip
import zlib

root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
out = os.path.join(root, "settings_conversion")
os.makedirs(out, exist_ok=True)

# (set length, read response length, offset of the fields in the response)
GROUPS = [(208, 224, 16), (577, 596, 16), (1024, 1044, 20), (104, 120, 16)]


def seed(name, data, folder=None):
    folder = folder or out
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
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


# ---- modem_indication
ind = os.path.join(root, "modem_indication")
EXACT, SUB1, TOKEN = 1, 2, 4
for g, (set_len, _, _) in enumerate(GROUPS):
    seed(f"group-{g}-ones", bytes([g, EXACT]) + b"\x01" * set_len, ind)
    seed(f"group-{g}-zeros", bytes([g, EXACT]), ind)
    seed(f"group-{g}-short", bytes([g, 0]) + struct.pack("<H", set_len - 1) + b"\x01" * 16, ind)
    seed(f"group-{g}-long", bytes([g, 0]) + struct.pack("<H", set_len + 1) + b"\x01" * 16, ind)
seed("status-accepted", bytes([4, EXACT | TOKEN]) + struct.pack("<ii", 0, 0), ind)
seed("status-failed", bytes([4, EXACT | TOKEN]) + struct.pack("<ii", 0, 5), ind)
seed("status-other-token", bytes([4, EXACT]) + struct.pack("<ii", 300, 0), ind)
seed("status-short", bytes([4, TOKEN]) + struct.pack("<H", 4) + struct.pack("<i", 0), ind)
for sub in (0, 1):
    flags = EXACT | (SUB1 if sub else 0)
    seed(f"token-request-sub{sub}", bytes([5, flags]) + struct.pack("<iiBxxxi", 1, 2, 1, 77), ind)
seed("token-request-no-id", bytes([5, EXACT]) + struct.pack("<iiBxxxi", 0, 0, 0, 0), ind)
seed("token-request-long", bytes([5, 0]) + struct.pack("<H", 17) + b"\x01" * 17, ind)
for name, which, ident in [("imss-read-id", 6, 0x6A), ("imss-upload-id", 6, 0x9C), ("imss-unknown", 6, 0xFFFF),
                           ("imsa-bind-id", 7, 0x33), ("imsa-unknown", 7, 0x43), ("imsa-settings-id", 7, 0x6B)]:
    seed(name, bytes([which, EXACT]) + struct.pack("<H", ident) + b"\x01" * 32, ind)
    seed(name + "-len", bytes([which, 0]) + struct.pack("<HH", ident, 8) + b"\x01" * 8, ind)

# ---- modem_wire
wire = os.path.join(root, "modem_wire")
OPEN, CLOSE, REQUEST, CONTROL = 1, 2, 3, 4
REPLY, INDICATION, LOST, STATE, READY = 16, 17, 18, 19, 20
IMSS, IMSA = 0x12, 0x21


def frame(kind, payload):
    return struct.pack("<II", kind, len(payload)) + payload


def request(req_id, conn, msg, data):
    return frame(REQUEST, struct.pack("<IQI", req_id, conn, msg) + data)


client = {
    "open-bind-read": frame(OPEN, struct.pack("<II", 1, IMSS))
        + request(2, 1, 0x98, struct.pack("<i", 0))
        + request(3, 1, 0x6A, b"")
        + request(4, 1, 0x1E, b"")
        + frame(CLOSE, struct.pack("<Q", 1)),
    "open-imsa-register": frame(OPEN, struct.pack("<II", 1, IMSA))
        + request(2, 1, 0x33, struct.pack("<Bxxxi", 1, 1))
        + request(3, 1, 0x22, b"\x00" * 38),
    "upload-segment": frame(OPEN, struct.pack("<II", 1, IMSS))
        + request(2, 1, 0x98, struct.pack("<i", 0))
        + request(3, 1, 0x9C, struct.pack("<BBBBI", 0, 1, 1, 7, 5) + b"<x/>\n" + b"\x00" * 1995),
    "control": frame(CONTROL, struct.pack("<I", 1) + b"ping")
        + frame(CONTROL, struct.pack("<I", 2) + b"token-request 0 1 2 9")
        + frame(CONTROL, struct.pack("<I", 3) + b"fail imss 0x6A result 1 2")
        + frame(CONTROL, struct.pack("<I", 4) + b"configs 0"),
    "request-unknown-conn": request(1, 99, 0x6A, b""),
    "request-unknown-id": frame(OPEN, struct.pack("<II", 1, IMSS)) + request(2, 1, 0x1234, b"\x01" * 8),
    "open-unknown-service": frame(OPEN, struct.pack("<II", 1, 0x77)),
    "short-header": b"\x01\x00\x00",
    "wrong-length": struct.pack("<II", OPEN, 12) + struct.pack("<II", 1, IMSS),
    "over-long": struct.pack("<II", REQUEST, 0x20000),
    "daemon-type": frame(READY, b""),
}
for name, data in client.items():
    seed("daemon-" + name, b"\x00" + data, wire)

daemon = {
    "states": frame(STATE, struct.pack("<II", IMSS, 1)) + frame(STATE, struct.pack("<II", IMSA, 1)) + frame(READY, b""),
    "reply": frame(REPLY, struct.pack("<IiIQ", 1, 0, 0, 1) + b"\x00" * 8),
    "indication": frame(INDICATION, struct.pack("<QI", 1, 0x9D) + struct.pack("<ii", 3, 0)),
    "lost": frame(LOST, struct.pack("<Q", 1)) + frame(STATE, struct.pack("<II", IMSS, 0)),
    "bad-state": frame(STATE, struct.pack("<II", IMSS, 2)),
    "short-reply": frame(REPLY, struct.pack("<I", 1)),
    "client-type": frame(OPEN, struct.pack("<II", 1, IMSS)),
    "over-long": struct.pack("<II", INDICATION, 0x10001),
}
for name, data in daemon.items():
    seed("client-" + name, b"\x01" + data, wire)

# ---- rcsconfigctl_script
script = os.path.join(root, "rcsconfigctl_script")
session = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tools", "rcsconfigctl", "sessions", "main-job.rcs")
with open(session, "rb") as f:
    seed("main-job", f.read(), script)
scripts = {
    "quotes": b"echo 'single quoted' \"double \\\"quoted\\\"\" plain\\ word # comment\n",
    "continuation": b"set-settings presence PUBLISH_TIMER=1 \\\n    GZIP_ENABLED=false\n",
    "unterminated": b"echo \"open\necho 'open\necho trailing\\",
    "settings": b"set-settings messaging default_sms_app=1 CLIENT_VENDOR=ABCD\n"
                b"set-settings ims-service 3=true WIFI_PROVISIONING_ID=x CALL_MODE_PREFERENCE=0x2\n"
                b"set-settings user-agent IMS_USER_AGENT=\n"
                b"set-settings 0 PUBLISH_TIMER=-1 CAPABILITY_POLL_INTERVAL=18446744073709551615\n",
    "commands": b"slot 2 --new\nset-config doc.xml --gzip\nget-settings PRESENCE_CONFIG\nwatch presence messaging --count 3\n"
                b"unwatch presence\nset-app-token abc\ntoken-fetch-status last 1 2\ntoken-fetch-status 7 0 0\n"
                b"uce-status --mask 0x3\nplatform-mask 5\ndump\nmodem restart\nmodem token-request 1 2 5\n"
                b"modem show-config\nmodem control ind-length imss 0x6B 3\nwait reconfig --timeout 1\n"
                b"wait change presence\nwait token-request\nhelp\n",
    "bad": b"slot 3\nset-settings presence PUBLISH_TIMER\nset-settings nogroup A=1\nwatch --count 0 presence\n"
           b"token-fetch-status x 1 2\nfrobnicate\n",
}
for name, data in scripts.items():
    seed(name, data, script)

# ---- config_document
docs = os.path.join(root, "config_document")
xml = b'<?xml version="1.0"?>\n<wap-provisioningdoc version="1.1">\n' + b''.join(
    b'  <characteristic type="APPLICATION"><parm name="AppID" value="ap%04d"/></characteristic>\n' % i
    for i in range(60)) + b"</wap-provisioningdoc>\n"
packed = gzip.compress(xml, mtime=0)
seed("plain", b"\x00" + xml, docs)
seed("plain-compress-here", b"\x01" + xml, docs)
seed("plain-small", b"\x00<x/>", docs)
seed("plain-2000", b"\x00" + b"a" * 2000, docs)
seed("gzip", b"\x00" + packed, docs)
seed("gzip-truncated", b"\x00" + packed[: len(packed) // 2], docs)
corrupt = bytearray(packed)
corrupt[-6] ^= 0xFF  # the CRC
seed("gzip-bad-crc", b"\x00" + bytes(corrupt), docs)
seed("gzip-magic-only", b"\x00\x1f\x8b", docs)
seed("zlib-not-gzip", b"\x00" + zlib.compress(xml), docs)
seed("empty", b"\x01", docs)
