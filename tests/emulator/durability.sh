#!/usr/bin/env bash
# What the emulator has confirmed survives kills, and a full disk stops only what writes:
# durability.sh VARNEL-EMULATOR [KILLS]
emulator=$1
kills=${2:-5}
# shellcheck source=tests/support/emulator.sh
source "$(dirname "$0")/../support/emulator.sh"

# Creates users with one client until it fails, and prints each answer on a line of its own.
create_users() {
    for n in $(seq 2000); do
        printf 'url = "%s/users"\ndata = "{\\"email\\": \\"%s@%s\\", \\"role\\": \\"r\\"}"\nwrite-out = "\\n"\nnext\n' "$url" "$1" "$n"
    done >requests
    curl -sS --fail --fail-early -K requests 2>/dev/null || true
}

# Everything confirmed so far is in the state.
compare() {
    jq -rR 'fromjson? | .email // empty' confirmed | sort >expected
    for ((offset = 0; ; offset += 1000)); do
        curl -fsS "$url/users?limit=1000&offset=$offset" >page
        jq -r '.items[].email' page
        [ "$(jq '.items | length' page)" = 1000 ] || break
    done | sort >found
    [ -s expected ] && [ -z "$(comm -23 expected found)" ] || fail "lost: $(comm -23 expected found | head -n 5)"
}

for ((round = 1; round <= kills; ++round)); do
    start --port 0 --data state
    exec 3< <(create_users "$round" | tee -a confirmed)
    for ((n = 0; n <= round * 7 % 97; ++n)); do read -r <&3 || fail "stops answering"; done
    kill -KILL $pid
    # Whoever restarts it need not wait for the last one's end.
    "$emulator" exec --data state -- true 2>errors || fail "a restart fails: $(cat errors)"
    wait $pid 2>/dev/null || cat <&3 >/dev/null
    exec 3<&-
done
start --port 0 --data state
compare
kill $pid && wait $pid

# The limit on the size of a file stands in for a disk that is full.
limited() { ulimit -f 1024; trap '' XFSZ; exec "$program" "$@"; }
program=$emulator emulator=limited
start --port 0 --data state
create_users full | tee -a confirmed >/dev/null
for ((n = 0; n < 500; ++n)); do
    status=$(curl -s -o answer -w '%{http_code}' "$url/users" -d "{\"email\": \"more@$n\", \"role\": \"$(head -c 5000 /dev/zero | tr '\0' r)\"}")
    [ "$status" = 201 ] || break
    cat answer >>confirmed && echo >>confirmed
done
[ "$status" = 507 ] && grep -q insufficient_storage answer || fail "a full disk gives $status: $(head -c 300 answer)"
compare
kill -KILL $pid
start --port 0 --data state
compare
curl -fsS "$url/_local/export" >export.json
kill $pid && wait $pid
"$program" exec --seed export.json -- true || fail "the export cannot be read"
echo "durability: $kills kills, $(wc -l <expected) confirmed users, none lost"
