#!/usr/bin/env bash
# Installs BUILD_DIR into a fresh prefix, moves that prefix, and builds and runs examples/client against it:
# once by find_package and once by pkg-config with the plain compiler. Then the project is configured as a sub
# directory of another one, where it must bring the library and nothing else.
set -euo pipefail
build=$1
compiler=$2
root=$(cd "$(dirname "$0")/.." && pwd)
work=$build/install_client
rm -rf "$work"

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/prefix" # neither package may depend on where it was installed

expect() {
    local got
    got=$("$@")
    if [ "$got" != "x = 42" ]; then
        printf 'client printed: %s\n' "$got" >&2
        exit 1
    fi
}

cmake -G Ninja -S "$root/examples/client" -B "$work/cmake" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cmake" >/dev/null
expect "$work/cmake/client"

pc=$(find "$work/prefix" -name orlo.pc -printf '%h')
export PKG_CONFIG_PATH=$pc
# shellcheck disable=SC2046 # the flags are words
"$compiler" -std=c++20 "$root/examples/client/main.cpp" -o "$work/plain" $(pkg-config --cflags --libs orlo) \
    -Wl,-rpath,"$(pkg-config --variable=libdir orlo)"
expect "$work/plain"

if pkg-config --cflags orlo | grep -e -std=; then
    echo "orlo.pc sets the client's language standard" >&2
    exit 1
fi

mkdir "$work/outer"
cat >"$work/outer/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(outer LANGUAGES CXX)
add_subdirectory("$root" orlo)
get_property(targets DIRECTORY "$root" PROPERTY BUILDSYSTEM_TARGETS)
if(NOT "\${targets}" STREQUAL "orlo;orlo_warnings" AND NOT "\${targets}" STREQUAL "orlo_warnings;orlo")
    message(FATAL_ERROR "as a sub directory the project has the targets \${targets}")
endif()
END
cmake -G Ninja -S "$work/outer" -B "$work/outer/build" -DCMAKE_CXX_COMPILER="$compiler" >/dev/null

if find "$work/prefix/include" -type f ! -path '*/include/orlo/*' | grep .; then
    echo "installed headers outside include/orlo" >&2
    exit 1
fi
status=0
"$work/prefix/bin/tallycsv" >/dev/null || status=$?
if [ "$status" != 255 ]; then
    echo "the installed tallycsv without arguments ended with $status instead of 255" >&2
    exit 1
fi
echo "installed client: find_package and pkg-config agree"
