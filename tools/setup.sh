#!/usr/bin/env bash
# Installs what building needs and is not there yet; a second run finds nothing to do and says nothing.
#
#   tools/setup.sh demo|test|test-arm|reliability|bench|bench-check|bench-peers|coverage|install|package|size|abi|docs
#
# WORDSIZE=32 or 64 narrows it to that word size; without it "test", "reliability", "bench", "bench-check", "size" and
# "abi" take both, the others the machine's own; "test-arm" is of 32-bit Arm alone. MOX_SKIP_SETUP=1 turns it off, for
# machines that get the packages another way.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/packages.sh

say() { printf 'setup: %s\n' "$*" >&2; }

level=${1:-}
case $level in
    demo | install | size) needed=("${packages_demo[@]}") ;;
    package) needed=("${packages_demo[@]}" "${packages_package[@]}") ;;
    docs) needed=("${packages_docs[@]}") ;;
    abi) needed=("${packages_demo[@]}" "${packages_abi[@]}") ;;
    test) needed=("${packages_demo[@]}" "${packages_test[@]}") ;;
    test-arm) needed=("${packages_demo[@]}" "${packages_test[@]}" "${packages_arm[@]}") ;;
    reliability) needed=("${packages_demo[@]}" "${packages_test[@]}" "${packages_reliability[@]}") ;;
    bench-check) needed=("${packages_demo[@]}" "${packages_bench_check[@]}") ;;
    bench-peers) needed=("${packages_demo[@]}" "${packages_bench_peers[@]}") ;;
    bench) needed=("${packages_demo[@]}" "${packages_bench[@]}") ;;
    coverage) needed=("${packages_demo[@]}" "${packages_test[@]}" "${packages_coverage[@]}") ;;
    *)
        say "usage: tools/setup.sh demo|test|test-arm|reliability|bench|bench-check|bench-peers|coverage|install|package|size|abi|docs"
        exit 2
        ;;
esac
[[ -z ${MOX_SKIP_SETUP:-} ]] || exit 0

wordsizes=$(tools/wordsizes.sh "$level")
sysroot= # the architecture whose libraries are unpacked into build/, if any
if [[ $level == test-arm ]]; then
    sysroot=armhf
elif [[ $level != docs && " $wordsizes " == *" 32 "* && $(getconf LONG_BIT) == 64 ]]; then
    sysroot=i386
    needed+=("${packages_32[@]}")
fi

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    say "this is not a Debian system, so nothing can be installed from here."
    say "Install the equivalents of these Debian 12 packages:"
    say "  ${needed[*]}"
    [[ -z $sysroot ]] || say "and, unpacked for $sysroot into build/sysroot-$sysroot: ${packages_sysroot[*]}"
    say "then run again with MOX_SKIP_SETUP=1."
    exit 1
fi

# Prints those of its arguments that are not installed, whole and configured.
missing_packages() {
    local installed name
    installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2>/dev/null || :)
    for name in "$@"; do
        grep -qxF "installed $name" <<<"$installed" || printf '%s\n' "$name"
    done
}

mapfile -t missing < <(missing_packages "${needed[@]}")
if ((${#missing[@]} == 0)); then
    [[ -z $sysroot ]] || exec tools/sysroot.sh "$sysroot"
    exit 0
fi

install_command="apt-get install --no-install-recommends ${missing[*]}"
if ((EUID != 0)); then
    say "these packages are missing, and installing them needs root:"
    say "  ${missing[*]}"
    say "Install them with:"
    say "  sudo apt-get update && sudo $install_command"
    [[ -z $sysroot ]] || say "The sysroot of $sysroot is then built without root."
    exit 1
fi

say "installing ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
export DEBIAN_FRONTEND=noninteractive
apt=(apt-get -q -o DPkg::Lock::Timeout=300)
# An update that fails only in part (a third party's archive) must not stop us; what counts is the install.
"${apt[@]}" update >"$log" 2>&1 || say "apt-get update failed; trying with the lists that are there"
if ! "${apt[@]}" install -y --no-install-recommends "${missing[@]}" >>"$log" 2>&1; then
    grep -E '^(E|Err)[: ]' "$log" | tail -n 12 >&2 || tail -n 12 "$log" >&2
    say "could not install: ${missing[*]}"
    say "See apt's messages above. Is the network there, do apt's sources name Debian 12 (bookworm)?"
    say "When that is mended, run again, or install by hand: apt-get update && $install_command"
    exit 1
fi
[[ -z $sysroot ]] || exec tools/sysroot.sh "$sysroot"
