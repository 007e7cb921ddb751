#!/usr/bin/env bash
# A short tour of the Yol service: starts yol-gateway-sim on a free loopback
# port, makes a call or two of each family with yolctl, printing each
# command and its result, then stops the simulator with SIGTERM.
#
# usage: tools/tour.sh BUILD_DIR
# Exits non-zero when a call fails or the simulator does not start or stop
# cleanly.
set -uo pipefail

build=${1:?usage: tools/tour.sh BUILD_DIR}
sim=$build/tools/gateway-sim/yol-gateway-sim
yolctl=$build/tools/yolctl/yolctl
for tool in "$sim" "$yolctl"; do
  if [ ! -x "$tool" ]; then
    echo "tour: $tool is not built" >&2
    exit 1
  fi
done

work=$(mktemp -d)
pid=
cleanup() {
  if [ -n "$pid" ]; then
    kill -KILL "$pid" 2>/dev/null
  fi
  rm -rf "$work"
}
trap cleanup EXIT

"$sim" --port 0 --quiet >"$work/out" 2>"$work/err" &
pid=$!
port=
for _ in $(seq 200); do
  port=$(sed -n 's/^listening on 127\.0\.0\.1:\([0-9]*\)$/\1/p' "$work/out")
  if [ -n "$port" ] || ! kill -0 "$pid" 2>/dev/null; then
    break
  fi
  sleep 0.1
done
if [ -z "$port" ]; then
  echo "tour: yol-gateway-sim did not start" >&2
  cat "$work/err" >&2
  exit 1
fi
echo "yol-gateway-sim listening on 127.0.0.1:$port"

failed=0

# Shows an argument as it would be typed: quoted when the shell needs it.
shown() {
  case $1 in
    *[!A-Za-z0-9._:/-]* | '') printf "'%s'" "$1" ;;
    *) printf '%s' "$1" ;;
  esac
}

# call CALL [ARGS...]: prints the command and its result; the result is
# also left in $result.
call() {
  local words=() arg
  for arg in "$@"; do
    words+=("$(shown "$arg")")
  done
  echo "\$ yolctl --json ${words[*]}"
  if result=$("$yolctl" --port "$port" --json "$@" 2>&1); then
    [ -n "$result" ] && printf '%s\n' "$result" | sed 's/^/  /'
  else
    printf '%s\n' "$result" | sed 's/^/  FAILED: /'
    failed=$((failed + 1))
  fi
}

section() { printf '\n== %s\n' "$*"; }

section "Core: liveness, status and messages"
call ping
call status 11
call SendMsg TELEMATICS GPS '["json_DOUBLE"]' '["speed"]' '["7.5"]'

section "Software updates"
call OTA_GetUpdateList
call OTA_UpdateInitiateType 4.2.0 AUTO_INSTALL
call OTA_Status
call OTA_Status

section "Remote support"
call requestRemoteSupport 1024 768
call remoteSupportStatus
call remoteSupportStatus

section "Cellular modem"
call GetModemInfo
call getSignalStrength

section "Position and RTK sources"
call SetGPSInfo '{"latitude": 52.27, "longitude": 10.53, "satellites_used": 15}'
call GetGPSInfo
call RTK_GetLockedSource

section "Cloud account and agreement"
call getMerivaultName
call getEULAVersion
call acceptEULA PERMANENT

section "File transfer"
call FT_UploadFile '{"id": "log-0601", "name": "engine.log", "type": "LOG_FILE", "size": 20480}'
call FT_GetStatus log-0601
call FT_GetStatus log-0601
call FT_GetActiveSessions

section "Interfaces and peers"
call SYS_GetInterfaceList
call SYS_GetPeerList can0

section "Telematics"
call TEL_SendDTC can0 ECU-28 '[{"spn": 110, "fmi": 0, "oc": 1}]'
call TEL_SendGenericJSON fuel '{"level": 0.62}'

section "Management: features, provisioning, service discovery"
call MGT_IsFeatureEnabled RTK
call MGT_ProvisionRequest jobs
call MGT_GetProvisionList
call MGT_ServiceDiscoveryRequest fleet-api v2
lookup=${result//\"/}
call MGT_GetServiceDiscoveryResult "$lookup"
call MGT_GetServiceDiscoveryResult "$lookup"

section "Jobs"
call JOB_Join job-2024-017
call JOB_GetList
call JOB_GetList
call JOB_GetStatus job-2024-017

echo
kill -TERM "$pid"
status=
for _ in $(seq 100); do
  if ! kill -0 "$pid" 2>/dev/null; then
    wait "$pid"
    status=$?
    break
  fi
  sleep 0.1
done
pid=
if [ "$status" != 0 ]; then
  echo "tour: yol-gateway-sim did not stop cleanly (${status:-still running})" >&2
  exit 1
fi
if [ "$failed" -ne 0 ]; then
  echo "tour: $failed call(s) failed" >&2
  exit 1
fi
echo "tour: every call answered; yol-gateway-sim stopped"
