#!/bin/bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Usage: fetch_package.sh CACHE PACKAGE MEMBER...
#
# Downloads a Debian package without installing it, takes the members (tar's wildcards) out of it,
# and prints the directory they are in: CACHE/PACKAGE_VERSION. What is there already is not
# downloaded again, so that only the first run needs a network.
set -euo pipefail

cache=$(mkdir -p "$1" && cd "$1" && pwd)
package=$2
shift 2

# Where apt keeps no package lists, or old ones whose packages are gone from the archive, lists of
# our own do: they need no root.
own_lists() {
    apt_options=(-o "Dir::State::Lists=$cache/apt-lists" -o "Dir::Cache=$cache/apt-cache"
        -o APT::Sandbox::User= -o Debug::NoLocking=1)
    mkdir -p "$cache/apt-lists/partial" "$cache/apt-cache/archives/partial"
    apt-get "${apt_options[@]}" -qq update >&2 || true
}

version() {
    apt-cache "${apt_options[@]}" policy "$package" |
        sed -n 's/^  Candidate: //p' | grep -v '^(none)$' || true
}

# A package without members of its own stands for the one it depends on.
depends_on() {
    apt-cache "${apt_options[@]}" depends --important "$package" |
        sed -n 's/^  Depends: \(linux-image-[0-9].*\)/\1/p' | head -n 1
}

download() {
    local place
    place=$(mktemp -d "$cache/download.XXXXXX")
    if (cd "$place" && apt-get "${apt_options[@]}" -qq download "$package" >&2) &&
        mkdir "$place/tree" &&
        dpkg-deb --fsys-tarfile "$place"/*.deb |
        tar -x -C "$place/tree" --wildcards --no-same-owner "$@"; then
        mv -T "$place/tree" "$directory" && rm -rf "$place"
    else
        rm -rf "$place"
        return 1
    fi
}

# Leaves the name of the wanted package in `package` and of its directory in `directory`.
resolve() {
    case $package in
    linux-image-amd64)
        local named
        named=$(depends_on)
        [ -n "$named" ] || return 1
        package=$named
        ;;
    esac
    local found
    found=$(version)
    [ -n "$found" ] || return 1
    directory=$cache/${package}_$found
}

asked_for=$package
apt_options=(-o APT::Sandbox::User=)
if resolve && { [ -d "$directory" ] || download "$@"; }; then
    echo "$directory"
    exit 0
fi
package=$asked_for
own_lists
if resolve && { [ -d "$directory" ] || download "$@"; }; then
    echo "$directory"
    exit 0
fi
echo "fetch_package.sh: apt-get cannot download the Debian package $asked_for" >&2
exit 1
