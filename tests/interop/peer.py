"""The thriftpy end of the interoperability tests; run it with /usr/bin/python3,
the only interpreter that sees Debian's thriftpy. Exits 0 when all held.

  peer.py CONTRACT contract     thriftpy's reading of the contract against our parser's
  peer.py CONTRACT client PROTOCOL TRANSPORT INTEROP_SERVER
      a thriftpy client makes every call on our server, then calls whose
      handler fails and calls that the server lacks
  peer.py CONTRACT server PROTOCOL TRANSPORT INTEROP_CLIENT_TEST
      our client makes every call on a thriftpy server that checks the
      arguments, and on one that answers without a result

Both ends make each call's values by the rule of our generated samples
(thriftyol/testing/yol_samples): the C++ end through our generated code,
this end from thriftpy's own model of the contract. A field id, wire type,
argument order or presence flag that our code gets wrong arrives as a value
that differs.
"""

import array
import io
import os
import select
import socket
import subprocess
import sys
import threading

try:
    import thriftpy
    from thriftpy.protocol import TBinaryProtocolFactory, TCompactProtocolFactory
    from thriftpy.protocol import compact as thriftpy_compact
    from thriftpy.rpc import make_client
    from thriftpy.server import TThreadedServer
    from thriftpy.thrift import TApplicationException, TProcessor, TType
    from thriftpy.transport import (TBufferedTransportFactory, TFramedTransportFactory,
                                    TMemoryBuffer, TServerSocket, TTransportException)
except ImportError as error:
    sys.exit("interop: %s cannot import thriftpy (%s). These tests need Debian's "
             "python3-thriftpy: apt-get install python3-thriftpy." % (sys.executable, error))

TIMEOUT_MS = 15000
PROTOCOLS = {"binary": TBinaryProtocolFactory, "compact": TCompactProtocolFactory}
TRANSPORTS = {"buffered": TBufferedTransportFactory, "framed": TFramedTransportFactory}
failures = []


def fail(text):
    failures.append(text)
    print("FAILED: %s" % text, flush=True)


# --- the values: our samples' rule over thriftpy's model ---------------------


def field_type(field):
    """(wire type, kind) of a thriftpy field (type, name, [kind,] required):
    kind is the class of a record or enumeration, the element of a list."""
    return field[0], (field[2] if len(field) == 4 else None)


def element(kind):
    return kind if isinstance(kind, tuple) else (kind, None)


def number(seed, salt):
    magnitude = 1 + salt + 100 * (seed % 1000000)
    return -magnitude if salt % 2 else magnitude


def scalar(ttype, label, salt, seed):
    return {TType.BOOL: True, TType.I32: number(seed, salt),
            TType.DOUBLE: number(seed, salt) + 0.25, TType.STRING: "%s-%d" % (label, seed)}[ttype]


def sample(ttype, kind, seed):
    """The value that our samples' fill(value, seed) gives: every field set,
    strings named after their field, numbers salted with their field id,
    nested values seeded with seed + id, lists of two, enumerations a member
    other than 0."""
    if ttype == TType.STRUCT:
        record = kind()
        for fid, field in kind.thrift_spec.items():
            ftype, fkind = field_type(field)
            setattr(record, field[1], scalar(ftype, field[1], fid, seed) if fkind is None
                    and ftype not in (TType.STRUCT, TType.LIST) else sample(ftype, fkind, seed + fid))
        return record
    if ttype == TType.LIST:
        return [sample(*element(kind), seed + i) for i in (1, 2)]
    if kind is not None:
        members = [v for v in kind._VALUES_TO_NAMES if v != 0] or list(kind._VALUES_TO_NAMES)
        return members[seed % len(members)]
    return scalar(ttype, "string", 1, seed)


def calls(module):
    """(name, arguments, result wire type or None, answer) of every call in
    contract order: argument k of call n is seeded 1000 n + k, the result
    1000 n + 500."""
    for n, name in enumerate(module.Yol.thrift_services, start=1):
        fields = getattr(module.Yol, name + "_args").thrift_spec
        args = [sample(*field_type(fields[i]), 1000 * n + k) for k, i in enumerate(sorted(fields), 1)]
        result = getattr(module.Yol, name + "_result").thrift_spec.get(0)
        answer = None if result is None else sample(*field_type(result), 1000 * n + 500)
        yield name, args, result and result[0], answer


# --- the contract: thriftpy's reading against our parser's --------------------


def their_type(ttype, kind):
    if ttype == TType.LIST:
        return "list<%s>" % their_type(*element(kind))
    if kind is not None:
        return kind.__name__
    return {TType.BOOL: "bool", TType.I32: "i32", TType.DOUBLE: "double", TType.STRING: "string"}[ttype]


def run_contract(module, contract):
    sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "codegen"))
    from thriftgen import model, parser
    program = parser.parse_file(contract)

    def compare(what, ours, fields):
        ours = {f.id: (f.name, f.type.name, f.req == model.REQUIRED) for f in ours}
        theirs = {i: (s[1], their_type(*field_type(s)), s[-1]) for i, s in fields.items()}
        for i in sorted(i for i in set(ours) | set(theirs) if ours.get(i) != theirs.get(i)):
            fail("%s field %d: %s here, %s in thriftpy" % (what, i, ours.get(i), theirs.get(i)))

    for struct in program.structs:
        compare(struct.name, struct.fields, getattr(module, struct.name).thrift_spec)
    for enum in program.enums:
        ours, theirs = {m.name: m.value for m in enum.members}, getattr(module, enum.name)._NAMES_TO_VALUES
        if ours != theirs:
            fail("enum %s: %s here, %s in thriftpy" % (enum.name, ours, theirs))
    (service,) = program.services
    if [fn.name for fn in service.functions] != list(module.Yol.thrift_services):
        fail("the calls differ from thriftpy's %s" % module.Yol.thrift_services)
    for fn in service.functions:
        compare(fn.name + " arguments", fn.args, getattr(module.Yol, fn.name + "_args").thrift_spec)
        result = [] if fn.returns.is_void else [model.Field(0, "success", fn.returns, model.DEFAULT)]
        compare(fn.name + " result", result, getattr(module.Yol, fn.name + "_result").thrift_spec)


# --- a thriftpy client against our server ------------------------------------


def connect(service, port, options):
    return make_client(service, "127.0.0.1", port, proto_factory=PROTOCOLS[options[0]](),
                       trans_factory=TRANSPORTS[options[1]](), timeout=TIMEOUT_MS)


def expect_failure(what, call, type_, message):
    try:
        got = call()
    except TApplicationException as e:
        if (e.type, e.message) != (type_, message):
            fail("%s: exception %d %r, expected %d %r" % (what, e.type, e.message, type_, message))
        return
    fail("%s: returned %r instead of failing" % (what, got))


def run_client(module, contract, options, exe):
    server = subprocess.Popen([exe] + options, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    try:
        line = server.stdout.readline().split() if select.select([server.stdout], [], [], 20)[0] else []
        if len(line) != 3 or line[0] != b"PORTS":
            raise RuntimeError("interop_server said %r instead of its ports" % line)
        port, failing_port = int(line[1]), int(line[2])
        client = connect(module.Yol, port, options)
        answered = 0
        for name, args, _, answer in calls(module):
            try:
                got = getattr(client, name)(*args)
            except (TApplicationException, TTransportException, OSError) as e:
                fail("%s: %r" % (name, e))
                client = connect(module.Yol, port, options)
                continue
            if got != answer:
                fail("%s: got %r, expected %r" % (name, got, answer))
            answered += got == answer
        print("interop: %d calls answered with the expected values" % answered)

        # Our processor answers a handler's std::exception with an UNKNOWN
        # exception carrying its text, and keeps the connection.
        client = connect(module.Yol, failing_port, options)
        for attempt in ("first", "second"):
            expect_failure("%s call on the failing handler" % attempt, lambda: client.status(7),
                           TApplicationException.UNKNOWN, "handler failed")

        # A call the server lacks, and one that differs from a call only in case.
        with open(contract, encoding="utf-8") as f:
            text = f.read().rstrip()[:-1] + "  i32 reboot(1: i32 delay),\n  void Ping(),\n}\n"
        extended = thriftpy.load_fp(io.StringIO(text), "yol_extended_thrift")
        client = connect(extended.Yol, port, options)
        expect_failure("reboot", lambda: client.reboot(3), TApplicationException.UNKNOWN_METHOD,
                       "Invalid method name: 'reboot'")
        expect_failure("Ping", lambda: client.Ping(), TApplicationException.UNKNOWN_METHOD,
                       "Invalid method name: 'Ping'")
        client.ping()  # the connection still serves
    finally:
        server.stdin.close()  # interop_server stops and checks what it received
        try:
            code = server.wait(timeout=30)
        except subprocess.TimeoutExpired:
            server.kill()
            code = "no end within 30 s"
        if code != 0:
            fail("interop_server ended with %s" % code)


# --- our client against thriftpy servers -------------------------------------


def serve(module, handler, options):
    listening = TServerSocket(host="127.0.0.1", port=0, client_timeout=TIMEOUT_MS * 2)
    listening.sock = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    listening.sock.bind(("127.0.0.1", 0))
    listening.sock.listen(16)
    listening.listen = lambda: None  # listening already, on a port the system chose
    server = TThreadedServer(TProcessor(module.Yol, handler), listening,
                             iprot_factory=PROTOCOLS[options[0]](),
                             itrans_factory=TRANSPORTS[options[1]](), daemon=True)
    threading.Thread(target=server.serve, daemon=True).start()
    return listening.sock.getsockname()[1]


def peer_writes_bool_results(module, protocol):
    """thriftpy's compact protocol writes a bool field's header only for a
    field id from 1 to 15 above the previous one, else the bare value: a bool
    result (id 0) goes out as 02 00, not 02 00 00, and a reader takes 02 for
    "false, long field id follows" and waits for a stop that never comes."""
    buffer = TMemoryBuffer()
    module.Yol.getWanStatus_result(success=False).write(PROTOCOLS[protocol]().get_protocol(buffer))
    return protocol != "compact" or buffer.getvalue() == b"\x02\x00\x00"


def run_server(module, options, exe):
    table = {name: (args, answer, rtype) for name, args, rtype, answer in calls(module)}
    skip = [] if peer_writes_bool_results(module, options[0]) else [
        name for name, (_, _, rtype) in table.items() if rtype == TType.BOOL]
    if skip:
        print("interop: thriftpy's compact protocol writes a bool result without its field id; "
              "our client would wait for the rest of the reply. Not called on the checking "
              "server: " + ", ".join(skip), flush=True)
    checked = set()

    class Checking:
        def __getattr__(self, name):
            def handle(*args):
                if list(args) != table[name][0]:
                    fail("%s: received %r, expected %r" % (name, list(args), table[name][0]))
                    raise RuntimeError("argument mismatch")
                checked.add(name)
                return table[name][1]
            return handle

    class Silent:
        def __getattr__(self, name):
            return lambda *args: None

    ports = [str(serve(module, handler, options)) for handler in (Checking(), Silent())]
    try:
        code = subprocess.run([exe] + options + ports + skip, timeout=150).returncode
    except subprocess.TimeoutExpired:
        code = "no end within 150 s"
    if code != 0:
        fail("interop_client_test ended with %s" % code)
    unchecked = set(table) - set(skip) - checked
    if unchecked:
        fail("calls that never reached the checking server intact: " + ", ".join(sorted(unchecked)))
    print("interop: the thriftpy server received the expected arguments in %d calls" % len(checked))


def restore_compact_varints():
    """thriftpy 0.3.9's compact protocol writes varints with array.tostring(),
    gone since Python 3.9: put back the same function with tobytes()."""
    def write_varint(trans, n):
        out = []
        while n & ~0x7F:
            out.append((n & 0xFF) | 0x80)
            n >>= 7
        trans.write(array.array("B", out + [n]).tobytes())
    if not hasattr(array.array, "tostring"):
        thriftpy_compact.write_varint = write_varint


def main(contract, mode, *rest):
    restore_compact_varints()
    module = thriftpy.load(contract, module_name="yol_thrift")
    if mode == "contract":
        run_contract(module, contract)
    elif mode == "client":
        run_client(module, contract, list(rest[:2]), rest[2])
    else:
        run_server(module, list(rest[:2]), rest[2])
    print("interop: %d failures" % len(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
