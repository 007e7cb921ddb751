"""The thriftpy end of the interoperability tests. Run with /usr/bin/python3:
thriftpy is a Debian package that only Debian's interpreter can import.

  peer.py --fixture=F --contract=C contract
      our parser's view of the contract (the fixture's types) against
      thriftpy's own reading of contract/yol.thrift
  peer.py --fixture=F --contract=C --protocol=P --transport=T client --server=EXE
      starts our interop_server and calls all 75 calls on it with a thriftpy
      client, then the failure paths: a failing handler, unknown methods
  peer.py --fixture=F --contract=C --protocol=P --transport=T server --client=EXE
      serves the contract from thriftpy (a checking server and a silent one)
      and runs our interop_client_test against them

Exits 0 when everything held, 1 with the reasons otherwise.
"""

import argparse
import array
import json
import logging
import os
import select
import socket
import subprocess
import sys
import tempfile
import threading

try:
    import thriftpy
    from thriftpy.protocol import TBinaryProtocolFactory, TCompactProtocolFactory
    from thriftpy.protocol import compact as thriftpy_compact
    from thriftpy.rpc import make_client
    from thriftpy.server import TThreadedServer
    from thriftpy.thrift import TApplicationException, TProcessor, TType
    from thriftpy.transport import (
        TBufferedTransportFactory,
        TFramedTransportFactory,
        TMemoryBuffer,
        TServerSocket,
        TTransportException,
    )
except ImportError as error:
    sys.exit(
        "interop: %s cannot import thriftpy (%s). These tests need Debian's "
        "python3-thriftpy: apt-get install python3-thriftpy (scripts/dev deps does)."
        % (sys.executable, error)
    )

TIMEOUT_MS = 15000
PROCESS_TIMEOUT_S = 150

PROTOCOLS = {"binary": TBinaryProtocolFactory, "compact": TCompactProtocolFactory}
TRANSPORTS = {"buffered": TBufferedTransportFactory, "framed": TFramedTransportFactory}


class Failures(list):
    def add(self, text):
        self.append(text)
        print("FAILED: %s" % text, flush=True)


def note(text):
    print("interop: %s" % text, flush=True)


# --- thriftpy on this Python ----------------------------------------------------


def restore_compact_varints():
    """thriftpy 0.3.9's compact protocol writes every varint (so every
    message) through array.tostring(), which Python 3.9 removed: as shipped
    it cannot send a single compact message here. Put back the same function
    with tobytes(), leaving the rest of the peer's compact code as it is."""
    if hasattr(array.array, "tostring"):
        return False

    def write_varint(trans, n):
        out = []
        while True:
            if n & ~0x7F == 0:
                out.append(n)
                break
            out.append((n & 0xFF) | 0x80)
            n = n >> 7
        trans.write(array.array("B", out).tobytes())

    thriftpy_compact.write_varint = write_varint
    return True


def peer_writes_bool_results(module, protocol):
    """thriftpy's compact protocol writes a bool field's header only for a
    non-zero field id at most 15 above the previous one; otherwise it writes
    the bare value. A bool result (field id 0) thus goes out as 02 00, not
    02 00 00: a reader takes 02 for "false, long field id follows", the stop
    byte for that id, and then waits for a stop that never comes."""
    if protocol != "compact":
        return True
    buffer = TMemoryBuffer()
    module.Yol.getWanStatus_result(success=False).write(thriftpy_compact.TCompactProtocol(buffer))
    return buffer.getvalue() == b"\x02\x00\x00"


# --- fixture values as thriftpy values ----------------------------------------------


# thriftpy describes a value by its wire type and a `kind`: the class of a
# record or enumeration, the element of a list, None for a base type.


def element_type(kind):
    """(type, kind) of a list's elements."""
    return kind if isinstance(kind, tuple) else (kind, None)


def field_type(field):
    """(type, kind) of a field: thriftpy's (type, name, [kind,] required)."""
    return field[0], (field[2] if len(field) == 4 else None)


class Values:
    """Fixture values as thriftpy objects, typed by thriftpy's own reading of
    the contract. `arriving` gives the value as the other end receives it: a
    default-requiredness field is always written, so one the fixture leaves
    out arrives as its zero value."""

    def __init__(self, fixture, module):
        self.fixture = fixture
        self.module = module
        self.calls = {call["name"]: call for call in fixture["calls"]}
        self.defaults = {
            name: [f["name"] for f in fields if f["req"] == "default"]
            for name, fields in fixture["records"].items()
        }

    def convert(self, value, ttype, kind, arriving):
        if ttype == TType.STRUCT:
            obj = kind()
            fields = {f[1]: f for f in kind.thrift_spec.values()}
            for name, item in value.items():
                setattr(obj, name, self.convert(item, *field_type(fields[name]), arriving))
            if arriving:
                for name in self.defaults.get(kind.__name__, []):
                    if name not in value:
                        setattr(obj, name, self.zero(*field_type(fields[name])))
            return obj
        if ttype == TType.LIST:
            return [self.convert(item, *element_type(kind), arriving) for item in value]
        if ttype == TType.DOUBLE:
            return float(value)
        return value

    def zero(self, ttype, kind):
        if ttype == TType.STRUCT:
            return self.convert({}, ttype, kind, True)
        zeros = {TType.BOOL: False, TType.I32: 0, TType.DOUBLE: 0.0, TType.STRING: "",
                 TType.LIST: []}
        return zeros[ttype]

    def arguments(self, name, values, arriving):
        """{argument name: thriftpy value} of a call."""
        fields = {f[1]: f for f in getattr(self.module.Yol, name + "_args").thrift_spec.values()}
        return {arg: self.convert(value, *field_type(fields[arg]), arriving)
                for arg, value in values.items()}

    def argument_names(self, name):
        fields = getattr(self.module.Yol, name + "_args").thrift_spec
        return [fields[i][1] for i in sorted(fields)]

    def answer(self, name, arriving):
        """The call's result as a thriftpy value; None for a call without one."""
        call = self.calls[name]
        fields = getattr(self.module.Yol, name + "_result").thrift_spec
        if 0 not in fields:
            return None
        return self.convert(call["answer"], *field_type(fields[0]), arriving)


# --- contract: two readings of one file ---------------------------------------------


def type_matches(t, ttype, kind):
    if t == "bool":
        return ttype == TType.BOOL
    if t == "i32":
        return ttype == TType.I32 and kind is None
    if t == "double":
        return ttype == TType.DOUBLE
    if t == "string":
        return ttype == TType.STRING
    if "enum" in t:
        return ttype == TType.I32 and getattr(kind, "__name__", None) == t["enum"]
    if "record" in t:
        return ttype == TType.STRUCT and getattr(kind, "__name__", None) == t["record"]
    if "list" in t:
        return ttype == TType.LIST and type_matches(t["list"], *element_type(kind))
    return False


def compare_fields(where, ours, theirs, failures):
    """ours: [{id, name, type, req?}]; theirs: a thriftpy thrift_spec."""
    if sorted(f["id"] for f in ours) != sorted(theirs):
        failures.add("%s: field ids %s here, %s in thriftpy"
                     % (where, sorted(f["id"] for f in ours), sorted(theirs)))
        return
    for f in ours:
        field = theirs[f["id"]]
        if field[1] != f["name"] or not type_matches(f["type"], *field_type(field)):
            failures.add("%s: field %d is %s %s here, %r in thriftpy"
                         % (where, f["id"], f["type"], f["name"], field))
        elif "req" in f and field[-1] != (f["req"] == "required"):
            failures.add("%s: field %s is %s here, required=%s in thriftpy"
                         % (where, f["name"], f["req"], field[-1]))


def run_contract(fixture, module):
    failures = Failures()
    records, enums, calls = fixture["records"], fixture["enums"], fixture["calls"]
    for name, fields in records.items():
        compare_fields(name, fields, getattr(module, name).thrift_spec, failures)
    for name, members in enums.items():
        theirs = getattr(module, name)._NAMES_TO_VALUES
        if theirs != members:
            failures.add("enum %s: %s here, %s in thriftpy" % (name, members, theirs))
    names = [call["name"] for call in calls]
    if names != list(module.Yol.thrift_services):
        failures.add("calls differ: %s here, %s in thriftpy" % (names, module.Yol.thrift_services))
    for call in calls:
        name = call["name"]
        compare_fields(name + " arguments", call["args"],
                       getattr(module.Yol, name + "_args").thrift_spec, failures)
        result = [] if call["result"] is None else [
            {"id": 0, "name": "success", "type": call["result"]}]
        compare_fields(name + " result", result,
                       getattr(module.Yol, name + "_result").thrift_spec, failures)
    counts = (len(records), len(enums), len(calls))
    if counts != (51, 23, 75):
        failures.add("expected 51 records, 23 enumerations and 75 calls, found %d, %d, %d" % counts)
    if not failures:
        note("both readings of the contract agree on %d records, %d enumerations and %d calls"
             % counts)
    return failures


# --- thriftpy client against our server ---------------------------------------------


def start_our_server(exe, options):
    process = subprocess.Popen(
        [exe, "--fixture=" + options.fixture, "--protocol=" + options.protocol,
         "--transport=" + options.transport],
        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    if not select.select([process.stdout], [], [], 20)[0]:
        process.kill()
        process.wait()
        raise RuntimeError("interop_server did not announce its port within 20 s")
    line = process.stdout.readline().decode("ascii", "replace").split()
    if len(line) != 2 or line[0] != "PORT":
        process.kill()
        process.wait()
        raise RuntimeError("interop_server said %r instead of its port" % line)
    return process, int(line[1])


def stop_our_server(process, failures):
    process.stdin.close()
    try:
        code = process.wait(timeout=20)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
        failures.add("interop_server did not stop within 20 s of its input closing")
        return
    if code != 0:
        failures.add("interop_server exited with %d" % code)


def expect_application_exception(failures, what, call, type_, message=None, prefix=None):
    try:
        got = call()
    except TApplicationException as e:
        if e.type != type_:
            failures.add("%s: exception of type %d (%s), expected type %d"
                         % (what, e.type, e.message, type_))
        elif message is not None and e.message != message:
            failures.add("%s: message %r, expected %r" % (what, e.message, message))
        elif prefix is not None and not (e.message or "").startswith(prefix):
            failures.add("%s: message %r, expected one starting %r" % (what, e.message, prefix))
        return
    failures.add("%s: returned %r instead of failing" % (what, got))


def extended_contract(contract_path, directory):
    """A copy of the contract whose service has two calls more: one that our
    server lacks, and one that differs from a listed call only in case."""
    with open(contract_path, encoding="utf-8") as f:
        text = f.read().rstrip()
    if not text.endswith("}"):
        raise RuntimeError("the contract does not end with its service")
    path = os.path.join(directory, "yol_extended.thrift")
    with open(path, "w", encoding="utf-8") as f:
        f.write(text[:-1] + "  i32 reboot(1: i32 delay),\n  void Ping(),\n}\n")
    return path


def run_client(options, fixture, module):
    failures = Failures()
    values = Values(fixture, module)
    protocol = PROTOCOLS[options.protocol]
    transport = TRANSPORTS[options.transport]

    def connect(service_module):
        return make_client(service_module.Yol, "127.0.0.1", port, proto_factory=protocol(),
                           trans_factory=transport(), timeout=TIMEOUT_MS)

    server, port = start_our_server(options.server, options)
    try:
        client = connect(module)
        answered = 0
        for call in fixture["calls"]:
            name = call["name"]
            try:
                got = getattr(client, name)(**values.arguments(name, call["arguments"], False))
            except TApplicationException as e:
                failures.add("%s: the server failed the call: type %d, %s"
                             % (name, e.type, e.message))
                continue
            except (TTransportException, OSError) as e:
                failures.add("%s: %s" % (name, e))
                client.close()
                client = connect(module)
                continue
            expected = values.answer(name, True)
            if got != expected:
                failures.add("%s: got %r, expected %r" % (name, got, expected))
            else:
                answered += 1
        note("%d of %d calls answered as the fixture says" % (answered, len(fixture["calls"])))

        # Our processor turns a handler's std::exception into an UNKNOWN
        # exception reply carrying its text, and keeps the connection.
        failing = fixture["failing"]
        expect_application_exception(
            failures, "the failing handler",
            lambda: getattr(client, failing["name"])(**failing["arguments"]),
            TApplicationException.UNKNOWN, message=failing["message"])
        status = values.calls["status"]
        if client.status(**status["arguments"]) != status["answer"]:
            failures.add("status after the failing handler: not the fixture's answer")

        # The server's check is no rubber stamp: a changed nested field is
        # named in its refusal.
        upload = values.arguments(
            "FT_UploadFile", values.calls["FT_UploadFile"]["arguments"], False)
        upload["sFile"].name = "not the fixture's name"
        expect_application_exception(
            failures, "FT_UploadFile with a changed file name",
            lambda: client.FT_UploadFile(**upload), TApplicationException.UNKNOWN,
            prefix="argument mismatch in FT_UploadFile: sFile: got ")
        client.close()

        with tempfile.TemporaryDirectory() as directory:
            extended = thriftpy.load(extended_contract(options.contract, directory),
                                     module_name="yol_extended_thrift")
        client = connect(extended)
        expect_application_exception(
            failures, "reboot", lambda: client.reboot(delay=3),
            TApplicationException.UNKNOWN_METHOD, message="Invalid method name: 'reboot'")
        expect_application_exception(
            failures, "Ping", lambda: client.Ping(),
            TApplicationException.UNKNOWN_METHOD, message="Invalid method name: 'Ping'")
        if client.status(**status["arguments"]) != status["answer"]:
            failures.add("status after the unknown methods: not the fixture's answer")
        client.close()
        if not failures:
            note("failing handler, unknown methods and a changed argument answered as expected")
    finally:
        stop_our_server(server, failures)
    return failures


# --- our client against thriftpy servers ---------------------------------------------


class LoopbackServerSocket(TServerSocket):
    """thriftpy's server socket, listening from construction on a loopback
    port that the system chose, so that the port is known before serving."""

    def __init__(self):
        super().__init__(host="127.0.0.1", port=0, client_timeout=TIMEOUT_MS * 2)
        self.sock = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        self.sock.bind(("127.0.0.1", 0))
        self.sock.listen(16)
        self.port = self.sock.getsockname()[1]

    def listen(self):
        pass  # listening since construction


class CheckingHandler:
    """Checks every call's arguments against the fixture and answers with the
    fixture's result; a mismatch is recorded and raised. thriftpy passes the
    arguments by position, in id order."""

    def __init__(self, values, fixture):
        self._values = values
        self._failing = fixture["failing"]
        self.checked = set()
        self.mismatches = []

    def __getattr__(self, name):
        if name.startswith("_") or name not in self._values.calls:
            raise AttributeError(name)
        values = self._values

        def handle(*args):
            got = dict(zip(values.argument_names(name), args))
            if name == self._failing["name"] and got == values.arguments(
                    name, self._failing["arguments"], True):
                raise RuntimeError(self._failing["message"])
            expected = values.arguments(name, values.calls[name]["arguments"], True)
            if got != expected:
                detail = "argument mismatch in %s: got %r, expected %r" % (name, got, expected)
                self.mismatches.append(detail)
                raise RuntimeError(detail)
            self.checked.add(name)
            return values.answer(name, False)

        return handle


class SilentHandler:
    """Answers every call with nothing: no result field in any reply."""

    def __getattr__(self, name):
        if name.startswith("_"):
            raise AttributeError(name)
        return lambda *args: None


class LogRecords(logging.Handler):
    def __init__(self):
        super().__init__()
        self.records = []

    def emit(self, record):
        self.records.append(record)


def serve(module, handler, options):
    server_socket = LoopbackServerSocket()
    server = TThreadedServer(
        TProcessor(module.Yol, handler), server_socket,
        iprot_factory=PROTOCOLS[options.protocol](),
        itrans_factory=TRANSPORTS[options.transport](), daemon=True)
    threading.Thread(target=server.serve, daemon=True).start()
    return server_socket.port


def run_server(options, fixture, module):
    failures = Failures()
    values = Values(fixture, module)
    log = LogRecords()
    server_log = logging.getLogger("thriftpy.server")
    server_log.addHandler(log)
    server_log.propagate = False

    skip = []
    if not peer_writes_bool_results(module, options.protocol):
        skip = [call["name"] for call in fixture["calls"] if call["result"] == "bool"]
        note("thriftpy's compact protocol writes a bool result without its field id "
             "(02 00, not 02 00 00); our client would wait for the rest of the reply. "
             "Not run in this direction: " + ", ".join(skip))

    checking = CheckingHandler(values, fixture)
    port = serve(module, checking, options)
    silent_port = serve(module, SilentHandler(), options)
    command = [
        options.client, "--fixture=" + options.fixture, "--protocol=" + options.protocol,
        "--transport=" + options.transport, "--port=%d" % port,
        "--silent-port=%d" % silent_port, "--skip=" + ",".join(skip)]
    try:
        code = subprocess.run(command, timeout=PROCESS_TIMEOUT_S).returncode
    except subprocess.TimeoutExpired:
        failures.add("interop_client_test did not end within %d s" % PROCESS_TIMEOUT_S)
        return failures
    if code != 0:
        failures.add("interop_client_test exited with %d" % code)

    for mismatch in checking.mismatches:
        failures.add(mismatch)
    unchecked = set(values.calls) - set(skip) - checking.checked
    if unchecked:
        failures.add("calls whose arguments never reached the thriftpy handler intact: %s"
                     % ", ".join(sorted(unchecked)))
    else:
        note("the thriftpy server found the fixture's arguments in %d calls"
             % len(checking.checked))
    raised = [r.exc_info[1] for r in log.records if r.exc_info]
    if not any(isinstance(e, RuntimeError) and e.args == (fixture["failing"]["message"],)
               for e in raised):
        failures.add("thriftpy's server did not log the failing handler's exception")
    return failures


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--fixture", required=True)
    parser.add_argument("--contract", required=True)
    parser.add_argument("--protocol", choices=sorted(PROTOCOLS), default="binary")
    parser.add_argument("--transport", choices=sorted(TRANSPORTS), default="buffered")
    modes = parser.add_subparsers(dest="mode", required=True)
    modes.add_parser("contract")
    modes.add_parser("client").add_argument("--server", required=True)
    modes.add_parser("server").add_argument("--client", required=True)
    options = parser.parse_args()

    with open(options.fixture, encoding="utf-8") as f:
        fixture = json.load(f)
    if options.protocol == "compact" and restore_compact_varints():
        note("thriftpy's compact protocol needs array.tostring(), gone since Python 3.9; "
             "running it with tobytes() instead")
    module = thriftpy.load(options.contract, module_name="yol_thrift")

    if options.mode == "contract":
        failures = run_contract(fixture, module)
    elif options.mode == "client":
        failures = run_client(options, fixture, module)
    else:
        failures = run_server(options, fixture, module)
    if failures:
        print("interop: %d failures" % len(failures), flush=True)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
