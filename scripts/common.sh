# shellcheck shell=bash
# Sourced by the other scripts: the project's root, the number of jobs, and building without chatter.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)

# Checkouts in other folders share what ccache keeps.
export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1

# quietly LABEL COMMAND...: runs the command with its output kept back; shows it on standard error on failure.
quietly() {
    local label=$1 log status=0
    shift
    log=$(mktemp)
    "$@" >"$log" 2>&1 </dev/null || status=$?
    if [ $status != 0 ]; then
        cat "$log" >&2
        echo "$label failed with status $status" >&2
    fi
    rm -f "$log"
    return $status
}

# configure PRESET [OPTION...], then build_targets PRESET [TARGET...] (all of them without a name). Compiles through
# ccache where it is installed.
configure() {
    local preset=$1 launcher=()
    shift
    ! command -v ccache >/dev/null || launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    quietly "configuring $preset" cmake -S "$root" --preset "$preset" "${launcher[@]}" "$@"
}
build_targets() {
    local preset=$1
    shift
    quietly "building $preset" cmake --build "$root/build/$preset" -j "$jobs" ${1+--target "$@"}
}
