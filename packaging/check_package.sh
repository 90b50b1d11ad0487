#!/usr/bin/env bash
# Checks the packages in FOLDER: lintian, hardening of the programs, the man
# pages, the unit. Prints what it found; status 1 when something is missed.
# shellcheck disable=SC2317 # functions that check() calls by name
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
folder=${1:?usage: check_package.sh FOLDER}
failed=0
unpacked=$(mktemp -d)
trap 'rm -rf "$unpacked"' EXIT

# check NAME COMMAND...: its output is shown when it fails.
check() {
    if "${@:2}" >"$unpacked/output" 2>&1; then
        echo "ok      $1"
    else
        echo "FAILED  $1"
        sed 's/^/        /' "$unpacked/output"
        failed=1
    fi
}

# Complaints are a failure, also those that a program ends with 0 after.
silent() {
    local said
    said=$("$@" 2>&1 >/dev/null) || said+=" (failed)"
    [ -z "$said" ] || { echo "$said"; return 1; }
}

man_is_clean() {
    silent env LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$1"
}

unit_is_right() {
    # Beside the system's own units, which it refers to.
    cp -rn /lib/systemd/system "$unpacked/root/lib/systemd/"
    silent systemd-analyze verify --man=no --root="$unpacked/root" vos-monitor.service
}

dpkg-deb -x "$folder"/vos-monitor_*.deb "$unpacked/root"
check "lintian" lintian --fail-on error,warning --allow-root "$folder"/*.deb
check "hardening: PIE, stack protector, fortify, relro, now" \
    hardening-check --nocfprotection "$unpacked"/root/opt/vos/bin/*
for page in "$unpacked"/root/usr/share/man/man*/*; do
    check "man ${page##*/}" man_is_clean "$page"
done
check "systemd-analyze verify" unit_is_right
security=(systemd-analyze security --offline=true "--root=$unpacked/root" vos-monitor.service)
check "exposure at most 2.5" "${security[@]}" --threshold=25
"${security[@]}" | tail -n 1
exit $failed
