#!/usr/bin/env bash
# What the program does around the service: program.sh VARNEL-EMULATOR.
emulator=$1
docs=$(cd "$(dirname "$0")/../../docs" && pwd)/EMULATOR.md
# shellcheck source=tests/support/emulator.sh
source "$(dirname "$0")/../support/emulator.sh"

# exec: its status, and what the command finds instead of the caller's settings
export VARNEL_TOKEN=real VARNEL_API_HOST=real.example.com
"$emulator" exec -- sh -c 'exit 7' && fail "exec hides a failure" || [ $? = 7 ] || fail "exec changes the status"
"$emulator" exec -- sh -c 'kill -TERM $$' && fail "exec hides a signal" || [ $? = 143 ] || fail "exec tells signals wrongly"
perl -e 'exit((system(@ARGV) & 127) != 2)' "$emulator" exec -- sh -c 'kill -INT $$' || fail "exec lets loops go on after Ctrl-C"
"$emulator" exec -- ./missing 2>/dev/null && fail "exec runs nothing" || [ $? = 127 ] || fail "exec tells nothing found wrongly"
"$emulator" exec -- sh -c 'cd /proc/$PPID/task; grep SigBlk */status | grep -v "^$PPID/"' >masks || fail "exec has one thread" # others than the one that waits
while read -r _ mask; do
    [ $((0x$mask & 0x14007)) = $((0x14007)) ] || fail "a thread of exec can take a signal from the one that waits"
done <masks
[ "$(bash -c 'trap "" CHLD; "$1" exec -- sh -c "exit 7"; echo $?' sh "$emulator")" = 7 ] || fail "exec needs SIGCHLD from its caller"
"$emulator" exec --auth groups -- sh -c 'env | grep ^VARNEL_ | sort; stat -c %a "$VARNEL_CONFIG"; cat "$VARNEL_CONFIG"' >seen
grep -qx 600 seen && [ "$(grep -c ^VARNEL_ seen)" = 4 ] && grep -q '^VARNEL_EMULATOR_KEY=.' seen && [ "$(grep -c '"apiHost": "0.0.1"' seen)" = 2 ] || fail "exec: $(cat seen)"
"$emulator" exec -- sh -c 'curl -fsS "$VARNEL_EMULATOR_URL/version"' | grep -q 0.4.1 || fail "exec names no address"
! grep -q real seen || fail "exec lets the caller's settings through"

echo '{"method": "get", "action": "reset", "required": true}' >rules
"$emulator" exec --rules rules -- true 2>errors && fail "exec hides a rule that was never applied" || grep -q 'upper case' errors && grep -q 'never applied' errors || fail "rules: $(cat errors)"

# mistakes are told with the flag or file at fault
echo '{"simulations": [{"_local": {"scop": "x"}}]}' >bad-seed
mkfifo pipe
for mistake in '--seed bad-seed' '--port 70000' '--auth some' '--speed -1' '--seed ./missing' 'exec --listen=::1 -- true' \
    --verbose '--tls-key key.pem --tls-cert ./missing' '--allow-origin a.example' '--token secret' \
    '--export-on-exit pipe' '--ready-file pipe' \
    '--record ./missing' '--replay ./missing' 'seed-from ./missing' '--redact name extra'; do
    "$emulator" $mistake >out 2>errors && fail "takes $mistake" || grep -q -- "${mistake##* }\|${mistake%% *}\|--listen" errors || fail "$mistake: $(cat errors)"
done

# version
[[ $("$emulator" --version) =~ ^varnel-emulator\ [0-9.]+$ ]] || fail "--version"
"$emulator" --version --verbose >out && grep -q '^libzip [0-9]' out && grep -q 'libcurl/' out || fail "--verbose: $(cat out)"

# ready file, log, export, and the end by a signal
start --port 0 --ready-file ready --export-on-exit export.json --log
[ "$(cat ready)" = "$url" ] || fail "ready file"
! grep warning errors || fail "warns where only this machine can connect"
curl -fsS "$url/users" -d '{"email": "a@b", "role": "r"}' >/dev/null
kill -INT $pid && wait $pid || fail "does not end well"
[ ! -e ready ] && grep -q 'a@b' export.json && grep -q '"target":"/users"' errors || fail "leaves the wrong files"
start --port 0 --seed export.json && curl -fsS "$url/users" | grep -q 'a@b' || fail "cannot be seeded with its export"
kill -TERM $pid && wait $pid

# with tokens, the key of /_local comes after the address
start --port 0 --auth any --ready-file ready
read -r line <&5 && [ "${line##* }" = "$(tail -n 1 ready)" ] && [ "$(head -n 1 ready)" = "$url" ] || fail "key: $line"
[ "$(curl -s -o /dev/null -w '%{http_code}' "$url/_local/clock")" = 401 ] || fail "/_local is open"
curl -fsS -H "Authorization: Bearer ${line##* }" "$url/_local/clock" >/dev/null
kill -HUP $pid && wait $pid

# TLS
for certificate in other.pem cert.pem; do
    openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out $certificate -days 2 -subj /CN=localhost \
        -addext subjectAltName=IP:127.0.0.1 2>/dev/null
done
start --port 0 --tls-cert cert.pem --tls-key key.pem
[[ $url == https://127.0.0.1:* ]] && curl -fsS --cacert cert.pem "$url/users" "$url/_local/clock" >/dev/null || fail "no TLS"
head -c 3000000 /dev/zero | tr '\0' x | curl -s --cacert cert.pem -T - "$url/users" | grep -q method_not_allowed || fail "no large body through TLS"
! curl -s "${url/https/http}/users" >/dev/null || fail "plain HTTP where TLS is spoken"
ask='curl -sS "$VARNEL_EMULATOR_URL/version"'
learn() { "$emulator" exec --record learnt.har --upstream "$url" -- sh -c "$ask"; }
learn | grep -q 'its certificate \(is not accepted\|cannot be checked\)' || fail "trusts any upstream" # the latter where the system has no authorities
SSL_CERT_FILE=other.pem learn | grep -q 'its certificate is not accepted' || fail "trusts others than SSL_CERT_FILE says"
SSL_CERT_FILE=./missing learn | grep -q 'its certificate cannot be checked.* \./missing' || fail "does not say that SSL_CERT_FILE cannot be read"
SSL_CERT_FILE=cert.pem learn | grep -q 0.4.1 || fail "no TLS upstream"
kill $pid && wait $pid

# every line of the documentation works, from the same port to the other
start --port 0 && free=${url##*:} && kill $pid && wait $pid
start --port 0
export PATH=${emulator%/*}:$PATH
grep '^    ' "$docs" | grep -v ctest | sed "s#http://127.0.0.1:8080#$url#; s#8090#$free#" >lines
[ "$(grep -c /_local/ lines)" -ge 12 ] || fail "finds no documentation"
bash -euo pipefail lines >/dev/null || fail "docs/EMULATOR.md has a line that fails"
[ -s Br__cke.zip ] || [ -s Brücke.zip ] || fail "curl keeps no archive"
