#!/usr/bin/env python3
"""Writes the fuzzers' first inputs, fuzz/corpus/<target>/*, from what the tests exercise.

The inputs of `frames` and `registration` are instructions, so they depend on the order of the tables in the fuzzers'
sources: run this again when those change. Any bytes are an input; seeds only save time.
"""
import pathlib
import struct

CORPUS = pathlib.Path(__file__).resolve().parent / "corpus"


def write(target, name, data):
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(data if isinstance(data, bytes) else data.encode())


def int32(*values):
    return struct.pack(f"={len(values)}i", *values)


def lv(text):
    return int32(len(text)) + text.encode()


def ids(*values):
    return int32(len(values)) + struct.pack(f"={len(values)}q", *values)


def paths():
    for name, text in {
        "schema": "net.vrf.{i}.name", "instance": "a.b.3.c.5", "dot": "a.b.", "dots": "a..b",
        "negative": "a.-1.", "first-number": "1.a", "numbers": "a.1.2", "zero": "a.01.c",
        "deep": ".".join("abcdefghijklmnopq"), "deepest": ".".join("abcdefghijklmnop"),
        "long": "n" * 64 + ".x", "too-long": "n" * 65, "blank": " 42\r\n", "range": "a.{1-3}.b",
        "date": "2024-10-16T10:11:12",
    }.items():
        write("path", name, text)


def values():
    texts = ["1", "true", "32767", "-32769", "65536", "-1", "-0", "4294967296", "2147483648", "007",
             "9223372036854775808", "18446744073709551616", "2024-5-6T7:8:9",
             "2024-10-16T10:11:12", "text"]
    for number, text in enumerate(texts):
        for value_type in (number % 13 + 1, (number + 6) % 13 + 1):
            write("value", f"{value_type}-{number}", bytes([value_type, 1]) + text.encode())
    write("value", "object", bytes([11, 63]) + bytes(range(56)))


def yang():
    header = ('module demo-if {\n  namespace "urn:demo:if";\n  prefix dif;\n\n'
              '  revision 2019-01-01 {\n    description "x";\n  }\n}\n')
    for name, text in {
        "module": header, "comment": "// a comment\n" + header, "crlf": header.replace("\n", "\r\n"),
        "one-letter": header.replace("dif", "a"), "no-end": 'module m {\nnamespace "urn:x";',
        "plain-revision": "module m {\nnamespace urn:x;\nprefix pp;\nrevision 2020-02-02; {\n",
        "no-brace": "module name-without-brace", "quote": 'module m {\nnamespace "\nprefix ";\n',
    }.items():
        write("yang", name, text)


def decoders():
    entry = int32(1, 1, 0, 0, 0, 1) + lv("net.vrf.name") + lv("red") + ids(3, 7)
    bare = int32(0, 4, 3, 2, 0, 0) + lv("net.vrf.zone") + ids()
    value = int32(1) + lv("net.vrf.name") + lv("red") + ids(3)
    bodies = {
        "edit-list": (0, 0, 2, int32(5) + entry + bare),
        "edit-list-16-ids": (0, 0, 1, int32(9, 0, 0, 0, 0, 0, 0) + lv("a.b") + ids(*range(1, 17))),
        "edit-list-17-ids": (0, 0, 1, int32(9, 0, 0, 0, 0, 0, 0) + lv("a.b") + ids(*range(1, 18))),
        "filter-list": (1, 0, 1, int32(9) + value),
        "edit": (2, 7, 0, int32(1, 1, 0, 0, 0) + lv("a") + lv("b") + ids(1)),
        "filter": (3, 7, 0, int32(4) + lv("a.b") + lv("c") + ids(1, 2)),
        "getid": (4, 3, 0, int32(9) + lv("a.b") + lv("c")),
        "reg-rsp": (5, 1, 0, int32(-7) + lv("a.b")),
        "fault": (6, 0, 0, int32(-7) + lv("a" * 256)),
        "fault-long": (6, 0, 0, int32(-7) + lv("a" * 257)),
        "dbg": (7, 0, 0, int32(3, 1)), "pkt-type": (8, 0, 0, int32(9)),
        "fields": (9, 0, 0, int32(2) + b"ab" + lv("text") + lv("path") + bytes(8)),
        "negative": (9, 0, 0, int32(-1)),
    }
    for name, (decoder, flag, entry_cnt, body) in bodies.items():
        write("decoders", name, bytes([decoder, flag, entry_cnt]) + body)
    write("decoders", "logged", bytes([130, 0, 2]) + bodies["edit-list"][3])


# The numbers below are places in the tables and cases of frames_fuzzer.cc and application.cc.
EDIT, RUN, RUN_COMMAND, RUN_SUBTREE, FILTER, RUN_FILTER, ONE_FILTER, GETID, RUN_GETID = (
    0, 5, 6, 7, 9, 10, 11, 12, 13)
DEBUG, SHOW, DRAIN, INSTANCE, ANSWER, OTHER = 15, 16, 19, 20, 22, 23
UNSPOILT = bytes([0, 0, 0])  # no spoiling, the same datastore, handed over directly


def edit(pkt_type, op, entries, defop=0, erropt=0):
    """entries: (flag, path, value, ids)."""
    data = bytes([EDIT, len(entries), pkt_type, op, defop, erropt, 0, 0])
    for flag, path, value, entry_ids in entries:
        data += bytes([0, 0, path, flag, 0, value, 0, len(entry_ids)])
        for number in entry_ids:
            data += bytes([0, number])
    return data + UNSPOILT


def frames():
    def run(case):
        return bytes([case]) + UNSPOILT

    vrf = [(1, 7, 2, []), (0, 9, 1, [])]
    rule = [(1, 17, 0, []), (0, 18, 2, []), (0, 19, 0, [])]
    port = [(0, 21, 0, [1])]
    answers = bytes([ANSWER, 3])
    seeds = {}
    for op in range(6):
        seeds[f"vrf-{op}"] = edit(0, op, vrf) + run(RUN)
        seeds[f"rule-{op}"] = edit(2, op, rule) + run(RUN_COMMAND)
        seeds[f"subtree-{op}"] = edit(4, op, port + [(0, 2, 2, [])], erropt=2) + run(RUN_SUBTREE)
        seeds[f"big-{op}"] = edit(0, op, [(1, 24, 2, [])]) + run(RUN)
        seeds[f"host-{op}"] = edit(4, op, [(0, 0, 2, []), (0, 4, 2, [])]) + run(RUN_SUBTREE)
    one_filter = bytes([ONE_FILTER, 1, 0, 14]) + UNSPOILT
    named = bytes([1, 0, 7, 0, 0, 2, 0, 0]) + UNSPOILT
    listed = bytes([2, 0, 14, 1, 0, 0, 0, 10, 1, 0, 1, 0, 1]) + UNSPOILT
    seeds["filter"] = one_filter + answers
    seeds["filter-list"] = bytes([FILTER]) + listed + run(RUN_FILTER) + answers
    seeds["filter-value"] = bytes([FILTER]) + named + run(RUN_FILTER) + answers
    seeds["getid"] = bytes([GETID]) + named + run(RUN_GETID) + answers
    seeds["show"] = bytes([DEBUG, 11, 1]) + UNSPOILT + run(SHOW)
    seeds["instances"] = bytes([INSTANCE, 0, 3, 0, 1, INSTANCE, 0, 0, 1, DRAIN])
    seeds["reconnect"] = bytes([OTHER, 0, 1, 1, DRAIN]) + one_filter + answers
    seeds["long"] = b"".join(seeds[name] for name in ("vrf-1", "rule-3", "subtree-4", "filter"))
    for name, data in seeds.items():
        write("frames", name, data)


def schedulings():
    """Steps of schedulings_fuzzer.cc, each with the tasks that run behind it."""
    fail, register, accept, receive, hang_up, listen, shrink = 19, 22, 25, 27, 29, 30, 31

    def step(kind, *data, tasks=3):
        return bytes([kind, *data, tasks, *range(tasks)])

    def request(frame):
        return frame.removesuffix(UNSPOILT) + b"\0" + bytes([3, 0, 1, 2])

    connect = step(accept) + step(receive, 15)
    reconnect = step(hang_up) + connect
    away = step(listen) + step(hang_up) + step(register, 0, 3, 9) + step(listen) + connect
    edits = request(edit(4, 1, [(0, 0, 2, []), (0, 4, 2, [])])) + request(bytes([RUN_SUBTREE]) + UNSPOILT)
    read = request(bytes([ONE_FILTER, 1, 0, 5]) + UNSPOILT)
    lookup = (request(bytes([GETID, 1, 0, 7, 0, 0, 2, 0]) + UNSPOILT)
              + request(bytes([RUN_GETID]) + UNSPOILT))
    seeds = {
        "connected": step(receive, 15) + edits + read + step(receive, 15), "away": away + edits,
        "slow": step(shrink) + step(register, 0, 6) * 3 + read + step(receive, 8) * 3,
        "leave": step(register, 0, 7) + request(bytes([18]) + UNSPOILT) + connect,
        "lookup": lookup + step(receive, 15), "registrations": step(register, 1, 0) + step(register, 0, 3, 7) * 2,
    }
    for n in range(1, 6):
        seeds[f"every-{n}"] = step(fail, n, 0) + reconnect + edits + read + lookup + away + edits
    for name, data in seeds.items():
        write("schedulings", name, data)


def registration():
    def path(*components):
        """0 is no raw text, then the depth, then places in kComponents; no dot at the end."""
        return bytes([0, 0, len(components) - 1, *components, 0])

    def schema(*components, flag=0):
        return path(*components) + bytes([0, 10, 0, flag, 0])

    def ranges(*components, flag=0):
        return path(*components) + bytes([2, 10, 0, flag])

    def instance(*components):
        return path(*components) + bytes([4])

    drain = path(0) + bytes([10])
    again = path(0) + bytes([11, 1, 1, 0])
    for name, data in {
        "schema": schema(0, 5, 1, flag=2) + instance(0, 6) + drain + again,
        "range": ranges(0, 9, 1) + drain, "ranges": ranges(0, 9, 1, 10, 2) + drain,
        "number": ranges(0, 8, 1) + drain, "leaf-list": schema(0, 1, flag=4) + instance(0, 1, 8) + drain,
        "wide": ranges(0, 14, 1), "bound": ranges(0, 13, 1), "negative": ranges(0, 15, 1),
        "hash": schema(0, 5, 1, flag=2) + path(0) + bytes([8]) + struct.pack("=H", 30000)
                + instance(0, 6) + drain,
    }.items():
        write("registration", name, data)


def server():
    """Cases of server_fuzzer.cc, each behind the agent that does it; zeros are answers to "one in so many?"."""
    start = bytes([0])  # of the options: registrations are answered

    def act(case, *data, agent=0):
        return bytes([agent, case, *data])

    def run(callbacks=4):
        return act(15) + bytes(callbacks)

    def connect(name=0, agent=0):
        return act(0, 0, name, 0, agent=agent) + run()

    def register(path):
        return act(10, 0, 7, 0, path, 0) + run()

    values = act(8, 2, 0, 2, 0, 5, 0, 3, 0, 5, 0, 0) + run(2) + act(8, 0, 0, 0) + run()
    arrays = act(9, 2, 1, 1, 2, 1, 1, 0, 0) + run(2) + act(9, 0, 0, 0) + run()
    registered = start + connect() + register(2) + register(3) + act(10, 4) + run()
    for name, data in {
        "connect": start + connect(),
        "registered": registered,
        "read": registered + act(3, 0, 0, 0, 0, 2) + act(6) + values + act(5),
        "lookup": registered + act(3, 0, 0, 0, 0, 4) + act(6) + arrays + act(5),
        "edit": registered + act(3, 0, 0, 0, 0, 0) + act(6) + act(7, 0, 0, 0) + run() + act(5),
        "twins": start + connect() + connect(agent=1) + connect(agent=2),
        "gone": registered + act(3, 0, 0, 0, 0, 2) + act(1) + run() + act(5),
    }.items():
        write("server", name, data)


def netconf():
    base = "urn:ietf:params:xml:ns:netconf:base:1.0"

    def rpc(operation, attributes="message-id='1'"):
        return f"<rpc xmlns='{base}' {attributes}>{operation}</rpc>".encode()

    def chunks(message, size=1000):
        pieces = [message[i:i + size] for i in range(0, len(message), size)]
        return b"".join(b"\n#%d\n%s" % (len(piece), piece) for piece in pieces) + b"\n##\n"

    get = rpc("<get/>")
    hello = (f"<hello xmlns='{base}'><capabilities><capability>urn:ietf:params:netconf:base:1.1"
             "</capability></capabilities></hello>]]>]]>").encode()
    for name, data in {
        "chunks": b"1\x07" + chunks(get) + chunks(get, 5) + chunks(rpc("<close-session/>")),
        "delimited": b"0\x03" + (get + b"]]>]]>") * 2 + rpc("<close-session/>") + b"]]>]]>",
        "hello": b"-\x10" + hello + chunks(get),
        "bad-hello": b"-\x00" + hello.replace(b"</hello>", b"<session-id>1</session-id></hello>"),
        "kill": b"1\x20" + chunks(rpc("<kill-session><session-id>1</session-id></kill-session>")),
        "prefix": b"0\x01" + f"<n:rpc xmlns:n='{base}' xmlns='urn:x' n:a='&lt;&#10;' message-id='&quot;'>"
                  "<a b='c'>d<![CDATA[<e>]]></a></n:rpc>]]>]]>".encode(),
        "no-id": b"1\x05" + chunks(rpc("<get/>", "")), "two": b"1\x05" + chunks(rpc("<get/><get/>")),
        "bad-size": b"1\x02" + b"\n#4294967296\n", "big-size": b"1\x02" + b"\n#16777217\n",
        "entity": b"1\x09" + chunks(b"<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>") + chunks(get),
        "encoding": b"0\x05" + b"<?xml version='1.0' encoding='UTF-16'?>" + get + b"]]>]]>",
        "broken": b"1\x05" + chunks(get[:-3]) + chunks(b"\xef\xbb\xbf" + get),
    }.items():
        write("netconf", name, data)


for make in (paths, values, yang, decoders, frames, schedulings, registration, server, netconf):
    make()
