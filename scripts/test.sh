#!/usr/bin/env bash
# usage: test.sh [--preset NAME] [-DOPTION=VALUE...] [CTEST ARGUMENT...]
# Installs what is missing, builds and runs the tests (preset release unless told otherwise) and ends with the line
# "N passed, N failed". ./scripts/test.sh -R strings runs the tests whose names have "strings" in them.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

preset=release
if [ "${1-}" = --preset ]; then
    preset=$2
    shift 2
fi
options=()
while [[ ${1-} == -D* ]]; do
    options+=("$1")
    shift
done

"$root/scripts/install_tools.sh" test
echo "building ($preset) ..."
if ! configure "$preset" "${options[@]}" || ! build_targets "$preset"; then
    echo "the build failed"
    echo "0 passed, 1 failed"
    exit 1
fi

cd "$root"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
status=0
ctest --preset "$preset" -j "$jobs" "$@" </dev/null 2>&1 | tee "$log" || status=$?

read -r failed total < <(sed -n 's/^.*% tests passed, \([0-9]*\) tests failed out of \([0-9]*\)$/\1 \2/p' "$log") || true
skipped=$(grep -c '\*\*\*Skipped' "$log" || true)
if [ -z "${total-}" ]; then
    echo "no test was run"
    failed=1 total=1
fi
[ "$failed" = 0 ] || status=1
line="$((total - failed - skipped)) passed, $failed failed"
[ "$skipped" = 0 ] || line+=", $skipped skipped"
echo "$line"
exit "$status"
