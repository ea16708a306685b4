#!/usr/bin/env bash
# usage: bench.sh                                         lists the benches
#        bench.sh merge [SHAPE...] [--runs N] [--no-peers]  tallycsv against wc and its peers on whole files
#        bench.sh NAME [BENCHMARK ARGUMENT...]            builds and runs bench/NAME_bench.cpp
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

if [ $# = 0 ]; then
    echo merge
    for file in "$root"/bench/*_bench.cpp; do
        [ ! -e "$file" ] || basename "$file" _bench.cpp
    done
    exit 0
fi
name=$1
shift
if [ "$name" != merge ] && [ ! -e "$root/bench/${name}_bench.cpp" ]; then
    echo "no such bench: $name (without an argument, bench.sh lists them)" >&2
    exit 2
fi

"$root/scripts/install_tools.sh" bench
build=$root/build/bench
configure bench
if [ "$name" != merge ]; then
    build_targets bench "${name}_bench"
    exec "$build/${name}_bench" "$@"
fi

build_targets bench tallycsv merge_generate merge_measure
peers=$root/build/bench-peers
if [[ " $* " != *" --no-peers "* ]] && ! cmp -s "$root/bench/merge/package.json" "$peers/installed.json"; then
    mkdir -p "$peers"
    cp "$root/bench/merge/package.json" "$peers/package.json"
    quietly "installing the peers" npm install --prefix "$peers" --no-audit --no-fund --no-package-lock
    cp "$peers/package.json" "$peers/installed.json"
fi
exec python3 "$root/bench/merge/compare.py" --build "$build" --data "$root/build/bench-data" --peers "$peers" "$@"
