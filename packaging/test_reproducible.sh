#!/usr/bin/env bash
# Builds the packages of the commit in hand twice, in folders, with file modes
# and in time zones of their own, and compares them byte by byte.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
work=$(mktemp -d)
commit=$(git rev-parse HEAD)
trap 'rm -rf "$work"' EXIT

# packages FOLDER UMASK TZ: built there from scratch.
packages() (
    umask "$2"
    git clone --quiet --no-checkout . "$1"
    cd "$1"
    git checkout --quiet "$commit"
    unset CMAKE_CXX_COMPILER_LAUNCHER
    export TZ=$3 CCACHE_DISABLE=1
    ./dev package >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
)
packages "$work/a" 022 UTC
packages "$work/another/folder" 077 Pacific/Auckland
for package in "$work"/a/build/package/*.deb; do
    cmp "$package" "$work/another/folder/build/package/${package##*/}"
    echo "ok      two builds are equal: $(sha256sum "$package" | cut -c 1-16) ${package##*/}"
done
