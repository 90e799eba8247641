#!/usr/bin/env bash
# Runs the script on standard input, as root, in a new minimal Debian that is deleted afterwards. The last
# commit of this clone lies in /varnelbase there. Processes, mounts and pseudo-terminals are its own.
#
#   in-new-debian.sh SUITE <SCRIPT     SUITE: bookworm, trixie, sid, ...
set -euo pipefail
clone=$(cd "$(dirname "$0")/.." && pwd)

fail() {
    echo "in-new-debian.sh: $1" >&2
    exit 1
}

[[ $(id -u) -eq 0 ]] || fail "only root can make a new system: become root"
"$clone/.ci/install-packages.sh" systems
mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Identifier: Packages' 'Label: Debian' | sed -n 1p)
[[ -n $mirror ]] || fail "apt knows no mirror of Debian: run apt-get update, then try again"

work=$(mktemp -d)
trap 'rm -rf --one-file-system "$work"' EXIT
root=$work/root
debootstrap --variant=minbase "$1" "$root" "$mirror" >"$work/log" 2>&1 || {
    tail -n 5 "$work/log" >&2
    fail "debootstrap could not make a $1 from $mirror, for the reason above"
}
cp /etc/resolv.conf /etc/hosts "$root/etc/"
# A mirror may be a copy of an earlier day, whose lists are no longer valid.
echo 'Acquire::Check-Valid-Until "false";' >"$root/etc/apt/apt.conf.d/earlier-day"
echo force-unsafe-io >"$root/etc/dpkg/dpkg.cfg.d/unsafe-io" # nothing in there has to survive a power cut
mkdir "$root/varnelbase"
git -C "$clone" archive HEAD | tar --extract --directory "$root/varnelbase"
cat >"$root/script"

# What ends this script ends all processes in there before the files are deleted.
trap 'pkill -KILL -P "$system"; wait "$system" || true; exit 130' INT TERM
set -m # otherwise everything in there would ignore Ctrl-C
unshare --mount --pid --ipc --fork --kill-child bash -euo pipefail -c '
    mount -t proc proc "$1/proc"
    mount -t tmpfs tmpfs "$1/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=0666,gid=5,mode=620 devpts "$1/dev/pts"
    mount --bind "$1/dev/pts/ptmx" "$1/dev/ptmx"
    exec chroot "$1" /usr/bin/env -i HOME=/root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        LANG=C.UTF-8 bash -euo pipefail /script' bash "$root" </dev/null &
system=$!
set +m
wait "$system"
