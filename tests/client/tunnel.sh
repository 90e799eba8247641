#!/usr/bin/env bash
# Runs a program of the connector through the tunnel of SECURITY.md: to a service whose certificate is
# good, and to one whose certificate names another host, which gets no token.
#
#   tunnel.sh LIST-SIMULATIONS EMULATOR
list_simulations=$1
emulator=$2
document=$(cd "$(dirname "$0")/../.." && pwd)/SECURITY.md
# shellcheck source=tests/support/emulator.sh
source "$(dirname "$0")/../support/emulator.sh"

# make_certificate NAME: self-signed, in cert.pem and key.pem
make_certificate() {
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj /CN=service \
        -addext "subjectAltName=DNS:$1" -keyout key.pem -out cert.pem 2>/dev/null
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
        read -r line <&6 || fail "the tunnel does not open: $line"
    done
    cat <&6 >/dev/null &
}

start --port 0
port=${url##*:} # free from now on
kill "$pid" && wait "$pid"

for name in alpha.staging.example.com beta.staging.example.com; do
    make_certificate "$name"
    start --port 0 --tls-cert cert.pem --tls-key key.pem --log
    open_tunnel
    VARNEL_API_HOST=127.0.0.1 VARNEL_API_PORT=$port VARNEL_TOKEN=t0ken "$list_simulations" >"$name.seen"
    kill "$tunnel" "$pid"
    wait "$tunnel" "$pid" || true
    grep -c '"target":"/simulations' errors >"$name.requests" || true
done
grep -qx sim-bridge alpha.staging.example.com.seen || fail "nothing comes through"
[[ $(cat alpha.staging.example.com.requests) = 1 ]] || fail "the service's log tells of no request"
[[ $(cat beta.staging.example.com.requests) = 0 ]] || fail "another host got a request"
