#!/usr/bin/env bash
# usage: install_tools.sh run|test|check|bench
# Installs the Debian packages that one kind of work needs; does nothing and asks no server when all are there.
set -euo pipefail

# PROVIDED:PACKAGE: a command, or a file where a package has no command of its own.
run=(g++:g++ cmake:cmake ninja:ninja-build)
test=("${run[@]}" python3:python3 pkg-config:pkg-config
    /usr/include/gtest/gtest.h:libgtest-dev /usr/include/gmock/gmock.h:libgmock-dev
    "/usr/lib/*-linux-gnu/libicuuc.so.*:libicu72")
benches=(/usr/include/benchmark/benchmark.h:libbenchmark-dev /usr/include/msgpack.hpp:libmsgpack-cxx-dev
    protoc:protobuf-compiler /usr/include/google/protobuf/message.h:libprotobuf-dev
    /usr/include/re2/re2.h:libre2-dev /usr/include/pcre2.h:libpcre2-dev)
check=("${test[@]}" "${benches[@]}" git:git ccache:ccache clang++:clang clang-format:clang-format
    "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a:libclang-rt-dev")
bench=("${run[@]}" python3:python3 "${benches[@]}" mawk:mawk datamash:datamash node:nodejs npm:npm)

case ${1-} in
    run | test | check | bench) declare -n wanted=$1 ;;
    *)
        echo "usage: install_tools.sh run|test|check|bench" >&2
        exit 2
        ;;
esac

missing=()
for entry in "${wanted[@]}"; do
    provided=${entry%:*}
    case $provided in
        /*) compgen -G "$provided" >/dev/null || missing+=("${entry##*:}") ;;
        *) command -v "$provided" >/dev/null || missing+=("${entry##*:}") ;;
    esac
done
[ ${#missing[@]} -gt 0 ] || exit 0

if ! command -v apt-get >/dev/null; then
    echo "missing, and no apt-get here to install them: ${missing[*]}" >&2
    exit 1
fi
as_root=()
[ "$(id -u)" = 0 ] || as_root=(sudo)
echo "installing: ${missing[*]}" >&2
log=$(mktemp)
install_missing() {
    "${as_root[@]}" apt-get update &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
}
if ! install_missing >"$log" 2>&1 </dev/null; then
    cat "$log" >&2
    exit 1
fi
rm -f "$log"
