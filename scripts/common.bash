# SPDX-License-Identifier: LGPL-2.1-or-later
# What the scripts share; sourced.

project=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")
# Build directories stand in the project unless TAVO_BUILD_ROOT names another place.
build_root=${TAVO_BUILD_ROOT:-$project}

# build NAME [-DOPTION...] [TARGET...]: configures and builds the directory NAME, all of it when no
# target is named, telling all only on failure.
build() {
    local directory=$build_root/$1 log=$build_root/$1.log
    shift
    local argument options=() targets=()
    for argument in "$@"; do
        case $argument in
        -D*) options+=("$argument") ;;
        *) targets+=(--target "$argument") ;;
        esac
    done
    # The generator of a directory cannot be changed.
    [ -e "$directory/CMakeCache.txt" ] || options+=(-G Ninja)
    mkdir -p "$build_root"
    echo "== building $directory"
    if ! { cmake -S "$project" -B "$directory" "${options[@]}" &&
        cmake --build "$directory" --parallel "$(nproc)" "${targets[@]}"; } \
        >"$log" 2>&1 </dev/null; then
        cat "$log" >&2
        echo "building $directory failed" >&2
        return 1
    fi
    rm -f "$log"
}

# The build that is demonstrated and tested. build_normal TESTS [TARGET...]: TESTS is ON or OFF.
build_normal() {
    build build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVO_SANITIZE= -DTAVO_FIRMWARE= \
        -DBUILD_SHARED_LIBS=ON -DTAVO_BUILD_TOOLS=ON -DTAVO_BUILD_VIRTUAL=ON \
        -DTAVO_BUILD_TESTS="$1" -DTAVO_TEST_KERNEL="$1" "${@:2}"
}
