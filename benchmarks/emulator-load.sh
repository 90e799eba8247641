#!/usr/bin/env bash
# The emulator's rate with 64 clients at once over that of nginx, which has the same bytes as a file:
# emulator-load.sh EMULATOR
set -euo pipefail
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; wait; rm -rf "$work"' EXIT

mkfifo "$work/line"
"$1" --port 0 >"$work/line" &
read -r emulator <"$work/line"
curl -fsS "$emulator/version" -o "$work/version"
# Nginx takes no port of the system's choice, so one that was free a moment ago must do.
"$1" exec -- sh -c 'grep -o "\"apiPort\": [0-9]*" "$VARNEL_CONFIG" | head -n 1' >"$work/port"
nginx=http://127.0.0.1:$(grep -o '[0-9]*' "$work/port")
cat >"$work/nginx.conf" <<END
daemon off;
worker_processes auto;
pid $work/pid;
error_log $work/errors;
events { worker_connections 1024; }
http {
    access_log off;
    default_type application/json;
    client_body_temp_path $work;
    proxy_temp_path $work;
    fastcgi_temp_path $work;
    uwsgi_temp_path $work;
    scgi_temp_path $work;
    server { listen ${nginx#http://}; root $work; }
}
END
chmod 755 "$work"
/usr/sbin/nginx -p "$work" -c "$work/nginx.conf" -e "$work/errors" &
curl -fsS --retry 20 --retry-connrefused --retry-delay 1 "$nginx/version" | cmp - "$work/version"

rate() {
    wrk -t 1 -c 64 -d 2s "$@" | awk '/Requests\/sec/ { print $2 }'
}

# compare NAME GOAL [OPTION...]: the median ratio of five pairs, whose order changes
compare() {
    local round name=$1 goal=$2 own other
    shift 2
    for round in 1 2 3 4 5; do
        ((round % 2)) && own=$(rate "$@" "$emulator/version")
        other=$(rate "$@" "$nginx/version")
        ((round % 2)) || own=$(rate "$@" "$emulator/version")
        awk -v own="$own" -v other="$other" 'BEGIN { print own / other }'
    done | sort -g | awk -v name="$name" -v goal="$goal" 'NR == 3 { printf "%s\t%.3f\t%s\n", name, $1, goal }'
}

compare "rate of the emulator over nginx, 64 fresh connections at once" ">= 1.0" -H 'Connection: close'
compare "rate of the emulator over nginx, 64 kept connections at once" ">= 0.8"
