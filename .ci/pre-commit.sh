#!/usr/bin/env bash
# The checks of what is about to be committed that take seconds. As a hook of this clone:
#   ln -s ../../.ci/pre-commit.sh .git/hooks/pre-commit
set -euo pipefail
cd "$(git rev-parse --show-toplevel)"

# For each staged file whose name matches, runs the command with its name behind.
# each PATTERN COMMAND...
each() {
    git diff --cached --name-only --diff-filter=ACMR -z -- "$1" | xargs --null --no-run-if-empty --max-args=1 "${@:2}"
}

git diff --cached --check
each '*.cpp' clang-format --dry-run --Werror
each '*.h' clang-format --dry-run --Werror
each '*.sh' shellcheck --severity=warning --external-sources --exclude=SC1090
each '*.json' jq --exit-status . >/dev/null
docs/operations.py --check
.ci/documentation/check-settings.py
.ci/documentation/check-references.py
