#!/usr/bin/python3
"""dissector_test.py LUA CAPTURE CONTRACT (PROTOCOL TRANSPORT | broken): tshark with
the dissector LUA on what CAPTURE writes (every call of the contract and its reply,
from our client and processor), or on hand-made messages that are wrong in the ways
a peer can be. Exits 77 when tshark or text2pcap is missing."""

import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
EXPERTS = "yol.malformed || yol.unknown_field || yol.wrong_type || yol.unknown_call || yol.trailing || _ws.malformed"


def pcap(text, tmp, port=9090):
    with open(os.path.join(tmp, "capture.txt"), "w") as f:
        f.write(text)
    subprocess.run(["text2pcap", "-q", "-D", "-T", "%d,40000" % port, f.name, f.name + ".pcap"], check=True)
    return f.name + ".pcap"


def tshark(lua, capture, *args):
    run = subprocess.run(["tshark", "-r", capture, "-X", "lua_script:" + lua] + list(args),
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    errors = [line for line in run.stderr.splitlines() if "Running as user" not in line]
    assert run.returncode == 0 and not errors, run.stderr
    return run.stdout


def infos(lua, capture, *args):
    out = tshark(lua, capture, "-T", "fields", "-e", "_ws.col.Info", *args)
    return [m for line in out.splitlines() for m in line.split("; ")]


def trees(lua, capture):
    """The tree of each message, without its header lines (checked through the fields)."""
    out = []
    for line in tshark(lua, capture, "-V", "-O", "yol").splitlines():
        if line.startswith("Yol service, "):
            out.append(line)
        elif out and out[-1] is not None and line.startswith(" "):
            if not re.match(r"    (Transport|Frame length|Protocol|Message type|Call|Sequence id): ", line):
                out[-1] += "\n" + line
        elif out:
            out.append(None)
    return [t for t in out if t]


def check(name, actual, expected):
    if actual != expected:
        print("FAILED: %s\n  got      %r\n  expected %r" % (name, actual, expected))
    return int(actual != expected)


def every_call(lua, capture_tool, contract, protocol, transport, tmp):
    def capture_of(p, t):
        return pcap(subprocess.run([capture_tool, p, t], check=True, stdout=subprocess.PIPE, text=True).stdout, tmp)

    capture = capture_of(protocol, transport)
    service = re.search(r"\nservice \w+ \{(.*?)\n\}", open(contract).read(), re.S).group(1)
    calls = re.findall(r"^\s+[\w<>]+\s+(\w+)\(", service, re.M)
    expected = [m for c in calls for m in (("call", c, "0"), ("reply", c, "0"))] + [("call", "x", "75"),
                                                                                    ("exception", "x", "75")]
    expected[1:3] = expected[2:0:-1]  # the first two calls go out in one segment
    fields = tshark(lua, capture, "-T", "fields", "-e", "yol.type", "-e", "yol.call", "-e", "yol.seqid")
    messages = [m for line in fields.splitlines() if line.strip()
                for m in zip(*(column.split(",") for column in line.split("\t")))]
    failures = check("messages: type, call, seqid", messages, expected)
    failures += check("log lines", [i for i in infos(lua, capture) if re.match("call GetModemInfo|reply status|exc", i)],
                      ["reply status = -250002", "call GetModemInfo #0",
                       "exception UNKNOWN_METHOD \"Invalid method name: 'x'\""])
    failures += check("messages with an expert note", infos(lua, capture, "-Y", EXPERTS), ["call x #75"])
    for filter, wanted in (("yol.stCellularInfo.modemid", ["call SetModemInfo #0", "reply GetModemInfo = stCellularInfo"]),
                           ('yol.stCellularInfo.device_type == "CALDERWAY_DIRECT"', ["reply GetModemInfo = stCellularInfo"]),
                           ('yol.type == "reply" && yol.call == "status"', ["reply status = -250002"])):
        failures += check(filter, infos(lua, capture, "-Y", filter), wanted)
    decoded = trees(lua, capture)
    golden = open(os.path.join(HERE, "expected.txt")).read().strip().split("\n\n")
    heads = [g.split("\n")[0] for g in golden]
    failures += check("trees of expected.txt", [t for t in decoded if t.split("\n")[0] in heads], golden)
    if (protocol, transport) != ("binary", "buffered"):
        failures += check("trees as over binary, buffered", decoded, trees(lua, capture_of("binary", "buffered")))
    return failures


def broken(lua, tmp):
    def message(name, seqid, body, strict=True):
        text = struct.pack(">i", len(name)) + name.encode()
        if strict:
            return struct.pack(">I", 0x80010001) + text + struct.pack(">i", seqid) + body + b"\0"
        return text + struct.pack(">bi", 1, seqid) + body + b"\0"

    i32 = lambda fid, value: struct.pack(">bhi", 8, fid, value)  # noqa: E731

    def string(fid, text, size=None):
        return struct.pack(">bhi", 11, fid, len(text) if size is None else size) + text

    framed = lambda body: struct.pack(">I", len(body)) + body  # noqa: E731

    forged = message("OTA_GetUpdateInfo", 8, string(1, b"1.2.3", 0x7ffffff0))
    segments = [message("status", 5, i32(1, 7), strict=False),
                message("SendMsg", 6, i32(1, 99) + string(2, b"SGC") + i32(9, 1)),
                framed(message("status", 10, i32(1, 7))[:-3]), framed(forged),
                struct.pack(">I", 0x7fffffff) + forged[:8], forged,
                b"\x82\x41\x0b\x0cgetWanStatus\x02\x00\x00"]  # compact: a false bool in a field header
    capture = pcap("".join("O\n000000 %s\n" % " ".join("%02x" % b for b in s) for s in segments), tmp, port=9091)
    port = ("-o", "yol.ports:9091")
    failures = check("log lines", infos(lua, capture, *port), [
        "call status #5", "call SendMsg #6",
        "call status #10 [malformed: cut short: 2 bytes missing at offset 25]",
        "call OTA_GetUpdateInfo #8 [malformed: forged size 2147483632: 6 bytes left]",
        "message [malformed: forged frame size 2147483647]",
        "call OTA_GetUpdateInfo #8 [malformed: forged size 2147483632: 6 bytes left]",
        "reply getWanStatus = false"])
    lines = tshark(lua, capture, "-V", "-O", "yol", *port)
    for wanted in ("id (1: i32): 7", "Protocol: binary (non-strict)", "Cat (1: eCategory): 99 (no member of eCategory)",
                   "Tel (2: eTelematics): string = \"SGC\"", "field 9 (unknown id): i32 = 1",
                   "field id 9 is not in SendMsg_args", "wire type string, declared eTelematics"):
        failures += check("tree shows " + wanted, wanted in lines, True)
    return failures


def main(argv):
    if not (shutil.which("tshark") and shutil.which("text2pcap")):
        print("SKIP: tshark and text2pcap are not installed (apt-get install tshark wireshark-common)")
        return 77
    with tempfile.TemporaryDirectory() as tmp:
        failures = broken(argv[0], tmp) if argv[3] == "broken" else every_call(*argv[:5], tmp=tmp)
    print("%d failures" % failures)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
