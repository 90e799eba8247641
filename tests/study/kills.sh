#!/usr/bin/env bash
# Kills studies and emulators in the middle of their work. Afterwards no point has been started twice, and
# none is missing: kills.sh [KILLS]
emulator=$VARNEL_EMULATOR
kills=${1:-10}
# shellcheck source=tests/support/emulator.sh
source "$(dirname "$0")/../support/emulator.sh"
export VARNEL_OFFLINE=no VARNEL_ENVIRONMENT=local
points=150
port=0

start_emulator() {
    start --port "$port" --data state --speed 100
    port=${url##*:}
    export VARNEL_API_HOST=127.0.0.1 VARNEL_API_PORT=$port
}

# begin_study NUMBER: of every second one, the executions carry a mark
begin_study() {
    local mark='"mark": "/mark",'
    [ $(($1 % 2)) -eq 0 ] || mark=
    printf '{"simulation": "sim-bridge", %s "base": {"study": %d}, "limits": {"concurrent": 16},
        "parameters": [{"pointer": "/span", "from": 1, "to": %d, "step": 1}]}' "$mark" "$1" "$points" >"$1.study.json"
}

# After an unlucky kill a request had reached nobody: its point is unknown, and may be sent again here, where
# it can be seen that no execution exists.
finish_study() {
    "$VARNEL" study run "$1.study.json" >run.log 2>&1 ||
        { unknown=$((unknown + $("$VARNEL" study status "$1.study.json" --query /unknown)))
          "$VARNEL" study run "$1.study.json" --resend-unknown >run.log 2>&1; } || { cat run.log; exit 1; }
}

start_emulator
done=0
unknown=0
study=0
begin_study 0
while ((done < kills)); do
    "$VARNEL" study run "$study.study.json" >run.log 2>&1 & run=$!
    sleep "0.$(printf %03d $((RANDOM % 600)))" # a kill comes at any time
    if ((RANDOM % 4 == 0)); then
        kill -KILL "$pid"
        wait "$pid" 2>/dev/null || true
        start_emulator
    fi
    if kill -KILL "$run" 2>/dev/null; then done=$((done + 1)); fi
    status=0
    wait "$run" 2>/dev/null || status=$?
    if ((status == 0)); then begin_study $((++study)); fi
done
for ((n = 0; n <= study; ++n)); do finish_study "$n"; done

curl -fsS "$url/_local/export" |
    jq '[.executions[] | (.data // empty) | select(.study != null) | [.study, .span]]' >started.json
jq -e --argjson expected $(((study + 1) * points)) 'length == $expected and (unique | length) == $expected' \
    started.json >/dev/null ||
    { echo "points started twice or lost: $(jq 'length, (unique | length)' started.json | paste -sd/) of $(((study + 1) * points))"; exit 1; }
echo "$kills runs killed: $(((study + 1) * points)) points started once each, $unknown sent again by order"
