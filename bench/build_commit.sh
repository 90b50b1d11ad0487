#!/usr/bin/env bash
# build_commit.sh COMMIT: builds the daemon of a commit, and says where its programs are.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

commit=$(git rev-parse --verify "$1^{commit}")
place=$PWD/build/against/$commit
if [ ! -d "$place" ]; then
    mkdir -p "$place.new"
    git archive "$commit" | tar -x -C "$place.new"
    mv "$place.new" "$place"
fi
cd "$place"
{
    cmake --preset release -DBUILD_TESTING=OFF -DVOS_BENCH=OFF
    cmake --build build/release --target vos_monitor
} >&2
echo "$place/build/release/bin"
