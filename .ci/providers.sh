#!/usr/bin/env bash
# Signs in at LemonLDAP::NG, whose packages are too many to be fetched with every run.
set -euo pipefail
cd "$(dirname "$0")/.."

.ci/install-packages.sh build test ci
export CI=true # Nothing is skipped for want of a program.
cmake --preset dev >/dev/null
cmake --build --preset dev --target signin_probe
export SIGNIN_PROBE=$PWD/build/dev/tests/identity/signin_probe
portal='liblemonldap-ng-portal-perl liblemonldap-ng-handler-perl liblemonldap-ng-common-perl starman'
recommended='libconvert-base32-perl libio-string-perl libmime-tools-perl libstring-random-perl'
pages='libjs-bootstrap4 libjs-jquery libjs-jquery-cookie libjs-jquery-ui'
tests/with-node.sh tests/identity ./with-packages.sh "$PWD/build/lemonldap" "$portal $recommended $pages" \
    node lemonldap.test.mjs
