#!/usr/bin/env bash
# Builds the library for other processors and runs its connector and settings tests on them, emulated by
# qemu; then compiles src/ with musl. In a new Debian 12, so it needs root; takes about 15 minutes.
set -euo pipefail
cd "$(dirname "$0")/.."

.ci/in-new-debian.sh bookworm <<'END'
export DEBIAN_FRONTEND=noninteractive
cd /varnelbase
processors=(arm64:aarch64:aarch64 armhf:arm:arm i386:i686:i386 s390x:s390x:s390x) # Debian's, the compiler's, qemu's name
packages=(cmake ninja-build pkg-config nlohmann-json3-dev qemu-user-static clang libc++-dev musl-dev file
    libcpp-httplib-dev libssl-dev)
for processor in "${processors[@]}"; do
    IFS=: read -r debian compiler qemu <<<"$processor"
    dpkg --add-architecture "$debian"
    packages+=("crossbuild-essential-$debian")
    for package in libcpp-httplib-dev libssl-dev libgtest-dev zlib1g-dev; do
        packages+=("$package:$debian")
    done
done
apt-get update >/log && apt-get install --yes --no-install-recommends "${packages[@]}" >>/log 2>&1 || { tail /log; exit 1; }

read -ra others < <(sed -n 's/^option(\(VARNELBASE_BUILD_[A-Z]*\) .*/-D\1=OFF/p' CMakeLists.txt | grep -v TESTS | paste -sd ' ')
for processor in "${processors[@]}"; do
    IFS=: read -r debian compiler qemu <<<"$processor"
    suffix=gnu
    [[ $debian != armhf ]] || suffix=gnueabihf
    export PKG_CONFIG_LIBDIR=/usr/lib/$(dpkg-architecture -a "$debian" -q DEB_HOST_MULTIARCH)/pkgconfig:/usr/share/pkgconfig
    cmake -G Ninja -B "build/$debian" "${others[@]}" -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR="$compiler" \
        -DCMAKE_CXX_COMPILER="$compiler-linux-$suffix-g++" -DCMAKE_CROSSCOMPILING_EMULATOR="qemu-$qemu-static" \
        >/log 2>&1 || { cat /log; exit 1; }
    cmake --build "build/$debian" --target connector-tests settings-tests >/log 2>&1 || { cat /log; exit 1; }
    for tests in connector settings; do
        program=build/$debian/tests/$tests/$tests-tests
        "qemu-$qemu-static" "$program" >/log 2>&1 || { cat /log; exit 1; }
        printf '%-6s %s-tests: %s (%s)\n' "$debian" "$tests" "$(tail -n 1 /log)" "$(file -b "$program" | cut -d, -f1-2)"
    done
done

mkdir -p /include /include-of-processor
ln -s /usr/include/{openssl,nlohmann,httplib.h} /include/
ln -s "/usr/include/$(dpkg-architecture -q DEB_HOST_MULTIARCH)/openssl" /include-of-processor/
for source in src/*.cpp; do
    clang++ --target=x86_64-linux-musl -std=c++17 -fsyntax-only -nostdinc -DCPPHTTPLIB_OPENSSL_SUPPORT \
        -D_LIBCPP_HAS_MUSL_LIBC -isystem /usr/lib/llvm-14/include/c++/v1 \
        -isystem /usr/include/x86_64-linux-musl -isystem "$(clang -print-resource-dir)/include" \
        -isystem /include -isystem /include-of-processor "$source"
done
echo "musl   src/ compiles"
END
