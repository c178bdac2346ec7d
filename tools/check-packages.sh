#!/usr/bin/env bash
# Makes the Debian packages, installs them in a Debian that has nothing but its base and what they say
# they depend on, uses the programs there, removes and purges the packages, and looks that nothing of
# them is left.
#
# The clean Debian is fetched once, as an archive in build/, and again when the dependencies change.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/archive.sh
source test/install/consumers.sh
PATH=$PATH:/usr/sbin:/sbin # chroot, which an ordinary user's need not have

say() { printf 'check-packages: %s\n' "$*" >&2; }
fail() {
    say "$@"
    exit 1
}

work=$(mktemp -d)
inside=() user=()
if ((EUID != 0)); then
    inside=(unshare --map-root-user)
    user=(-r)
fi
trap '"${inside[@]}" rm -rf "$work"' EXIT

# Found out before anything is built: mmdebstrap needs it for an ordinary user.
((EUID == 0)) || [[ -f build/packages-root.tar ]] || command -v newuidmap >/dev/null ||
    fail "an ordinary user needs the package uidmap, and lines for the user in /etc/subuid and /etc/subgid"
tools/package.sh >"$work/packages" || exit 1
mapfile -t packages <"$work/packages"
((${#packages[@]} == 3)) || fail "there are ${#packages[@]} packages instead of 3: ${packages[*]}"

# The names of the packages that ours depend on, but for ours.
dependencies() {
    local package
    for package in "${packages[@]}"; do
        dpkg-deb --field "$package" Depends | tr ',' '\n'
    done | sed -E 's/^ *([a-z0-9.+-]+).*/\1/; /^libmoxbase/d' | sort -u
}

# Makes build/packages-root.tar, a Debian with the dependencies.
make_root() {
    local wanted archive=build/packages-root.tar stamp=build/packages-root.packages
    wanted="$(dpkg --print-architecture) $(dependencies | tr '\n' ' ')"
    if [[ -f $archive && -f $stamp && $(<"$stamp") == "$wanted" ]]; then
        return
    fi
    find_archive "$(dpkg --print-architecture)" || exit 1
    say "fetching a clean Debian (a minute, about 150 MB in build/)"
    rm -f "$stamp"
    if ! mmdebstrap --variant=essential --include="$(dependencies | tr '\n' ',')" \
        --dpkgopt=path-exclude='/usr/share/doc/*' --dpkgopt=path-exclude='/usr/share/locale/*' \
        "${archive_options[@]}" "$archive_codename" "$archive" "${archive_mirrors[@]}" >build/packages-root.log 2>&1; then
        grep -E '^(E|Err)[: ]' build/packages-root.log | tail -n 12 >&2 || tail -n 12 build/packages-root.log >&2
        ((EUID == 0)) || say "an ordinary user needs the package uidmap, and lines for the user in /etc/subuid and subgid"
        fail "could not fetch a clean Debian; the whole log is in build/packages-root.log. Is the network there?"
    fi
    printf '%s\n' "$wanted" >"$stamp"
}

# quietly <what> <command...>: shows the command's output only when it fails.
quietly() {
    local what=$1
    shift
    "$@" >"$work/log" 2>&1 || { sed 's/^/    /' "$work/log" >&2; fail "$what failed (output above): $*"; }
}

# Unpacks the packages without installing them, looks into them, and builds and runs programs against what is there.
check_contents() {
    local package unpacked=$work/unpacked libraries file
    libraries=$unpacked/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
    for package in "${packages[@]}"; do
        dpkg-deb --extract "$package" "$unpacked"
        dpkg-deb --control "$package" "$unpacked/control-$(dpkg-deb --field "$package" Package)"
    done
    if grep -rlF -e "$PWD" -e "$(pwd -P)" "$unpacked"; then fail "these files of the packages name the build's folder"; fi
    # A package that is made of programs which use the libraries learns from this which package to depend on.
    for file in "$libraries"/lib*.so; do
        file=${file##*/}
        grep -qE "^${file%.so} 0 libmoxbase \(= " "$unpacked/control-libmoxbase/shlibs" ||
            fail "the package libmoxbase does not say in its shlibs that it has ${file%.so}"
    done
    mkdir "$work/consumers"
    use_word_size "$(getconf LONG_BIT)" "$PWD" "$unpacked"
    export LD_LIBRARY_PATH=$libraries # the linker goes by it, too
    build_consumers "$unpacked/usr" "$libraries" "$work/consumers"
    for file in "${owning_consumers[@]}"; do
        quietly "a program built against the packages" unshare "${user[@]}" -i "$file"
    done
    unset LD_LIBRARY_PATH
}

# in_root <command...>: runs it in the clean Debian, showing its output only when it fails.
in_root() {
    "${inside[@]}" chroot "$work/root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root "$@" >"$work/log" 2>&1 || {
        sed 's/^/    /' "$work/log" >&2
        fail "this failed in the clean Debian (output above): $*"
    }
}

# files_there <file>: lists every file but those in which the package system itself keeps account.
files_there() {
    (cd "$work/root" && "${inside[@]}" find . -path ./var/lib/dpkg -prune -o -path ./var/cache -prune -o \
        -path ./var/log -prune -o -path ./etc/ld.so.cache -prune -o -print) | LC_ALL=C sort >"$1"
}

check_contents
make_root
mkdir -p "$work/root/dev"
"${inside[@]}" tar -x --no-same-owner --exclude='./dev/*' -f build/packages-root.tar -C "$work/root"
: >"$work/root/dev/null"
files_there "$work/before"
cp "${packages[@]}" "$work/root/root/"

in_root sh -c 'dpkg --install /root/*.deb'
in_root moxctl --version
in_root moxctl --help
in_root moxd --version
in_root moxd --check /usr/share/moxbase/machine.json
grep -q 'no faults' "$work/log" || fail "moxd --check printed: $(<"$work/log")"
in_root bash -n /usr/share/bash-completion/completions/moxctl
# What is saved, and where the owner meets its modules, goes with a purge.
in_root mkdir -p /var/lib/moxd /run/moxd
in_root touch /var/lib/moxd/values.db
# A stand-in tells what systemd is asked for where it runs: the owner is stopped, and forgotten with its unit.
mkdir -p "$work/root/run/systemd/system"
printf '#!/bin/sh\necho "$*" >>/root/asked\n' >"$work/root/usr/bin/systemctl"
chmod 755 "$work/root/usr/bin/systemctl"
in_root dpkg --remove libmoxbase-tools
[[ $(<"$work/root/root/asked") == $'disable --now moxd.service\ndaemon-reload' ]] ||
    fail "removing libmoxbase-tools asks systemd for: $(<"$work/root/root/asked")"
rm -r "$work/root/run/systemd" "$work/root/usr/bin/systemctl" "$work/root/root/asked"
in_root test -e /var/lib/moxd/values.db
in_root dpkg --purge libmoxbase-tools libmoxbase-dev libmoxbase

rm "$work"/root/root/*.deb
files_there "$work/after"
diff -u --label "before the installation" "$work/before" --label "after the purge" "$work/after" >&2 ||
    fail "the packages left files behind, or took others with them (above)"
! grep -rqE '^Package: libmoxbase' "$work/root/var/lib/dpkg/status" || fail "the package system still knows them"
echo "packages installed, used, removed and purged: ${packages[*]##*/}"
