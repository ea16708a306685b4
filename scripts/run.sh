#!/usr/bin/env bash
# usage: run.sh                 builds tallycsv and merges examples/sales/*.csv, showing command, result and total
#        run.sh ARGUMENT...     builds tallycsv where needed and runs it on the arguments, in the caller's folder
# Standard output and exit status of the second form are tallycsv's own; what building has to say goes to
# standard error, and a build that fails gives status 125.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

prepare() {
    "$root/scripts/install_tools.sh" run >&2 || return
    if [ ! -e "$root/build/run/build.ninja" ]; then
        echo "building tallycsv ..." >&2
        configure run || return
    fi
    build_targets run tallycsv
}
prepare || exit 125
tallycsv=$root/build/run/tallycsv

if [ $# -gt 0 ]; then
    exec "$tallycsv" "$@"
fi

cd "$root"
result=build/merged_sales.csv
arguments=('examples/sales/*.csv' -i -m:2 -c:4 "-o:$result")
echo "\$ tallycsv '${arguments[0]}' ${arguments[*]:1}"
total=$("$tallycsv" "${arguments[@]}")
echo
echo "$result (region, product, units, then amounts in cents: revenue, shipping, vouchers, restocking):"
tr -d '\r' <"$result"
printf '\n\ngrand total of column 4: %s\n' "$total"
