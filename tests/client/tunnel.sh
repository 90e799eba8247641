#!/usr/bin/env bash
# Runs a program of the connector through the tunnel of SECURITY.md: to a service whose certificate is
# good, and to one whose certificate names another host, which gets no token.
#
#   tunnel.sh LIST-SIMULATIONS EMULATOR
set -euo pipefail
list_simulations=$1
emulator=$2
document=$(cd "$(dirname "$0")/../.." && pwd)/SECURITY.md
HOME=$(mktemp -d)
export HOME
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$HOME"' EXIT
unset XDG_CONFIG_HOME XDG_STATE_HOME "${!VARNEL_@}"
cd "$HOME"

fail() {
    echo "tunnel.sh: $*" >&2
    tail -v -n 20 -- *.log >&2
    exit 1
}

# make_certificate NAME: self-signed, in cert.pem and key.pem
make_certificate() {
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj /CN=service \
        -addext "subjectAltName=DNS:$1" -keyout key.pem -out cert.pem 2>/dev/null
}

# start_service ARGUMENTS: an emulator on a free port, whose address is then in `url`
start_service() {
    rm -f line && mkfifo line
    "$emulator" --port 0 "$@" >line 2>service.log & service=$!
    exec 5<line
    read -r url <&5 || fail "the service does not start"
}

# open_tunnel: with the configuration of the document, for this machine's service
open_tunnel() {
    sed -n '/^```text$/,/^```$/p' "$document" | sed '/^```/d' |
        sed "s/^accept = .*/accept = 127.0.0.1:$port/; s/^connect = .*/connect = ${url#https://}/
             s|^CAfile = .*|CAfile = $HOME/cert.pem|; /^\[/i foreground = yes" >tunnel.conf
    [[ $(grep -c '^\(accept\|connect\|CAfile\|foreground\) = ' tunnel.conf) = 4 ]] || fail "SECURITY.md has no tunnel with these four settings"
    rm -f told && mkfifo told
    stunnel tunnel.conf 2>told & tunnel=$!
    local line=
    # It listens once it has said so. What follows is read, too, or it could not write.
    exec 6<told
    until [[ $line == *'Configuration successful'* ]]; do
        read -r line <&6 || fail "the tunnel does not open"
        echo "$line" >>tunnel.log
    done
    cat <&6 >>tunnel.log &
}

start_service
port=${url##*:} # free from now on
kill "$service" && wait "$service"

for name in alpha.staging.example.com beta.staging.example.com; do
    make_certificate "$name"
    start_service --tls-cert cert.pem --tls-key key.pem --log
    open_tunnel
    VARNEL_API_HOST=127.0.0.1 VARNEL_API_PORT=$port VARNEL_TOKEN=t0ken "$list_simulations" >"$name.seen"
    kill "$tunnel" "$service"
    wait "$tunnel" "$service" || true
    grep -c '"target":"/simulations' service.log >"$name.requests" || true
done
grep -qx sim-bridge alpha.staging.example.com.seen || fail "nothing comes through"
[[ $(cat alpha.staging.example.com.requests) = 1 ]] || fail "the service's log tells of no request"
[[ $(cat beta.staging.example.com.requests) = 0 ]] || fail "another host got a request"
