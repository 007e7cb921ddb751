"""yol-gateway-sim through yolctl. scenario P T: on protocol P and transport T, calls whose answers
show what earlier calls changed, each logged with its outcome; exit 0 on SIGTERM with a client
still connected. options: its options, state files and errors.
usage: sim_test.py SIM YOLCTL DEFAULT_STATE (scenario P T | options)"""
import json, re, select, signal, socket, subprocess, sys, tempfile

sim, yolctl, default_state, mode = sys.argv[1:5]
N = "handler error"  # the step expects an exception reply


def start(*options):
    p = subprocess.Popen([sim, "--port", "0", *options], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    line = p.stdout.readline() if select.select([p.stdout], [], [], 20)[0] else ""
    assert re.fullmatch(r"listening on 127\.0\.0\.1:\d+\n", line), "no port announced: %r" % line
    return p, line.split(":")[1].strip()


def stop(p, sig):
    p.send_signal(sig)
    log = p.communicate(timeout=10)[1]
    assert p.returncode == 0, "exit status %d:\n%s" % (p.returncode, log)
    return log


def call(options, name, *args):
    done = subprocess.run([yolctl, *options, "--json", name, *map(json.dumps, args)],
                          capture_output=True, text=True, timeout=30)
    return done.returncode, json.loads(done.stdout) if done.returncode == 0 else done.stderr


def matches(want, got):
    """Objects match on the keys wanted; lists element by element; a type any value of it."""
    if isinstance(want, type):
        return isinstance(got, want)
    if isinstance(want, dict):
        return isinstance(got, dict) and all(k in got and matches(v, got[k]) for k, v in want.items())
    if isinstance(want, list):
        return isinstance(got, list) and len(want) == len(got) and all(map(matches, want, got))
    return type(want) is type(got) and want == got


SCENARIO = [  # (call, arguments, the answer wanted[, the name under which later steps use it])
    ("status", [11], 1), ("status", [8], 0), ("status", [12], -1), ("MGT_IsFeatureEnabled", ["SSH"], False),
    ("SendMsgRaw", ["SYSTEM", 4, ["json_STRING"], ["a", "b"], ["c"]], -1), ("TEL_SendGenericJSON", ["f", "{"], -1),
    ("OTA_UpdateInitiate", ["9.9.9"], -1), ("OTA_UpdateInitiate", ["4.2.0"], 0),
    ("OTA_UpdateInitiateType", ["2024.05", "AUTO_DOWNLOAD"], -2),
    ("OTA_Status", [], {"state": "checking_for_updates", "version": "4.2.0"}, "ota"),
    ("OTA_Ack", ["$ota", "CANCEL"], 0), ("OTA_Status", [], {"state": "cancel_update"}),
    ("OTA_Status", [], {"state": "update_state_idle", "session_id": ""}),
    ("requestRemoteSupport", [0, 768], -1), ("requestRemoteSupport", [1024, 768], 0),
    ("remoteSupportStatus", [], {"state": "SUPPORT_REQUESTED"}), ("stopRemoteSupport", [], 0),
    ("remoteSupportStatus", [], {"state": "STOPPING_SUPPORT"}), ("getModemId", [], "867962041234567"),
    ("SetModemInfo", [{"model": "X1", "rssi": "-65", "roaming": True, "modem_state": "MODEM_STATE_SEARCHING"}], 0),
    ("GetModemInfo", [], {"model": "X1", "rssi": "-65"}), ("getSignalStrength", [], -65),
    ("getRoamingStatus", [], True), ("getWanStatus", [], False), ("SetGPSInfo", [{"latitude": 52.3}], 0),
    ("SetMerivaultName", [""], -1), ("SetMerivaultName", ["Rig 9"], 0), ("getMerivaultName", [], "Rig 9"),
    ("FT_UploadFile", [{"id": "log-1"}], 0), ("FT_UploadFile", [{"id": "log-1"}], -2),
    ("FT_DownloadFile", [{"id": "nothing"}], -1), ("FT_DownloadFile", [{"id": "file-1001"}], 0),
    ("FT_CopyFile", ["file-1002"], {"name": "guidance-lines.xml"}), ("FT_CopyFile", ["nothing"], N),
    ("FT_GetActiveSessions", [], [{"fileID": "log-1", "direction": "UPLOAD"}, {"direction": "DOWNLOAD"}]),
    ("FT_GetStatus", ["log-1"], {"percentTransfered": 0, "status": 0}),
    ("FT_GetStatus", ["log-1"], {"percentTransfered": 25, "status": 2}), ("FT_Ack", ["log-1", "COMPLETE"], -2),
    ("FT_GetStatus", ["log-1"], {"percentTransfered": 50}), ("FT_GetStatus", ["log-1"], {"percentTransfered": 75}),
    ("FT_GetStatus", ["log-1"], {"percentTransfered": 100, "status": 3}), ("FT_Ack", ["log-1", "COMPLETE"], 0),
    ("FT_GetStatus", ["log-1"], {"status": 4}), ("FT_GetStatus", ["nothing"], N),
    ("FT_Acknowledge", ["file-1001", "ERROR", "INVALID_CRC"], 0),
    ("FT_GetHistoryTime", ["", "2024-05-02T06:03:55Z"], [{"id": "file-0990"}, {"id": "file-0991"}]),
    ("FT_GetHistoryIndex", [3, -1], [{"id": "log-1", "status": 4}, {"id": "file-1001", "status": 10}]),
    ("FT_GetRemoteFileList", [], [{"id": "file-1001"}, {}, {}, {"name": "guidance-lines.xml"}, {"id": "log-1"}]),
    ("SYS_SetPeerList", ["usb7", []], -1), ("SYS_SetPeerList", ["can1", [{"type": "S"}]], 0),
    ("SYS_GetPeerList", ["can1"], [{"type": "S"}]), ("SYS_GetPeerList", ["usb7"], N),
    ("MGT_SetConfig", [{"PingDelay": -5}], -1), ("MGT_SetConfig", [{"PingDelay": 60}], 0),
    ("MGT_GetConfig", [], {"PingDelay": 60}), ("MGT_ProvisionRequest", ["jobs"], 0),
    ("MGT_GetProvisionList", [], ["telemetry", "jobs"]), ("MGT_GetProvision", ["vpn"], N),
    ("MGT_ServiceDiscoveryRequest", ["fleet-api", "v3"], str, "sd"),
    ("MGT_GetServiceDiscoveryResult", ["$sd"], {"pending": True}),
    ("MGT_GetServiceDiscoveryResult", ["$sd"], {"success": {"urls": [
        "https://fleet.merivault.example/v3", "https://fleet-backup.merivault.example/v3"]}}),
    ("MGT_GetServiceDiscoveryResult", ["sd-9"], {"error": {"status": "INVALID_UUID"}}),
    ("JOB_Join", ["job-none"], -1), ("JOB_Join", ["job-2024-017"], 0), ("JOB_Join", ["job-2024-017"], -2),
    ("JOB_GetList", [], [{"stEndpoint": {"eState": "REQUESTED"}}, {}]),
    ("JOB_GetList", [], [{"stEndpoint": {"eState": "ACCEPTED"}}, {}]),
    ("JOB_SendStatus", ["job-2024-017", "Combine 3", "spraying"], 0),
    ("JOB_GetStatus", ["job-2024-017"], {"stParticipants": [{"sName": "Combine 3", "sStatus": "spraying"}, {
        "id": 7, "sName": "Rig 9"}], "stSystems": [{"sName": "TG2-0042", "Latitude": 52.3}]}),
    ("JOB_Create", [{"stJob": {"sGUID": "job-new", "sName": "Spring"},
                     "stProducts": [{"sGUID": "p-1", "stRxMap": {"sGUID": "rx-1"}}]}], 0),
    ("JOB_Create", [{"stJob": {"sGUID": "job-new"}}], -2), ("JOB_GetResources", ["job-new"], []),
    ("JOB_CreateExt", [{"stJob": {"sGUID": "job-ext"}, "stField": {"sGUID": "f-1", "stBoundaries": [
        {"stExterior": [{"Latitude": 52.0, "Longitude": 10.0}, {"Latitude": 52.5, "Longitude": 10.5}]}]}}], 0),
    ("JOB_RequestResources", ["job-new"], 0),
    ("JOB_GetResources", ["job-new"], [{"type": "JOB_DATA_PACKAGE"}, {"id": "rx-1", "type": "PRESCRIPTION_MAP"}]),
    ("JOB_GetResources", ["job-none"], N), ("JOB_SetMutableData", ["job-ext", [{"eType": "PROXIMITY"}]], 0),
    ("JOB_Leave", ["job-2024-017", "data-017"], 0),
    ("JOB_GetList", [], [{"stEndpoint": {"eState": "LEAVE_REQUESTED"}}, {}, {"sName": "Spring"},
                         {"sBoundary": "POLYGON((10 52, 10.5 52.5))", "stPoints": [{"eType": "PROXIMITY"}]}]),
]

def scenario(protocol, transport):
    failures = []
    p, port = start("--protocol", protocol, "--transport", transport)
    options = ["--port", port, "--protocol", protocol, "--transport", transport]
    saved = {}
    for number, (name, args, want, *save) in enumerate(SCENARIO, 1):
        code, got = call(options, name, *[saved.get(a, a) if isinstance(a, str) else a for a in args])
        if want == N and (code != 7 or "exception" not in got) or want != N and (code or not matches(want, got)):
            failures.append("step %d %s: exit %d, %s" % (number, name, code, got))
        elif save:
            saved["$" + save[0]] = got if isinstance(got, str) else got["session_id"]
    client = socket.create_connection(("127.0.0.1", int(port)))
    log = stop(p, signal.SIGTERM)
    client.close()
    logged = re.findall(r"^Yol\.(\w+) in=[1-9]\d*B out=\d+B [\d.]+ms (ok|handler error)$", log, re.M)
    if logged != [(step[0], N if step[2] == N else "ok") for step in SCENARIO]:
        failures.append("the call log does not tell each call and its outcome:\n" + log)
    assert "stopping on SIGTERM" in log, log
    assert not failures, "\n".join(failures)


def options():
    def fails(status, text, *options):
        done = subprocess.run([sim, *options], capture_output=True, text=True, timeout=20)
        assert done.returncode == status and text in done.stderr, (options, done.returncode, done.stderr)

    def state(text):
        f = tempfile.NamedTemporaryFile("w", suffix=".json")
        f.write(text), f.flush()
        return f

    with state('{"jobs": [{}]}') as bad, state('{"interfaces": ["eth9"], "rtk_sources": []}') as good:
        fails(2, "--protocol is binary, compact or json", "--protocol", "xml")
        fails(1, "state.jobs[0]", "--state", bad.name)
        printed = subprocess.run([sim, "--print-default-state"], capture_output=True, text=True)
        assert json.loads(printed.stdout) == json.load(open(default_state)), printed.stdout
        p, port = start("--state", good.name, "--quiet")
        fails(1, "cannot serve", "--port", port)
        options = ["--port", port]
        assert call(options, "SYS_GetInterfaceList") == (0, ["eth9"])
        assert call(options, "getMerivaultName") == (0, "Tractor 7")  # kept from the built-in state
        assert "no RTK source is locked" in call(options, "RTK_GetLockedSource")[1]
        assert stop(p, signal.SIGINT) == ""


scenario(*sys.argv[5:7]) if mode == "scenario" else options()
