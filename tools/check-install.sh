#!/usr/bin/env bash
# Installs each build into a folder outside the tree and uses the copy as somebody else would: programs
# in C and C++, built by pkg-config and by find_package, run against it; its own programs run, and
# nothing in it names the build.
#
#   tools/check-install.sh <preset...>
set -euo pipefail
cd "$(dirname "$0")/.."
source test/install/consumers.sh

(($# > 0)) || { echo "check-install: name at least one preset" >&2; exit 2; }
root=$PWD
work=$(mktemp -d)
owner=
trap 'stop_owner_if_running; rm -rf "$work"' EXIT

fail() {
    printf 'check-install: %s\n' "$@" >&2
    exit 1
}

# quietly <what> <command...>: shows the command's output only when it fails.
quietly() {
    local what=$1
    shift
    "$@" >"$work/log" 2>&1 || { sed 's/^/    /' "$work/log" >&2; fail "$what failed (output above): $*"; }
}

stop_owner_if_running() {
    [[ -z $owner ]] || kill -KILL "$owner" 2>/dev/null || :
}

# has_expected_files <copy> <prefix>: every file that test/install/installed-files.txt and the public headers
# promise is there, and no other.
has_expected_files() {
    {
        sed -e '/^#/d' -e '/^$/d' test/install/installed-files.txt
        tools/source-files.sh 'include/*.h' 'inc/*.h' 'platform/include/*.h' 'host/include/*.h' |
            sed -E 's#^(include|inc|platform/include|host/include)/#include/moxbase/#'
    } | LC_ALL=C sort >"$work/expected"
    (cd "$1" && find . ! -type d | cut -c3- | LC_ALL=C sort) >"$work/installed"
    diff -u --label expected "$work/expected" --label installed "$work/installed" >&2 ||
        fail "other files were installed than test/install/installed-files.txt and the public headers say"
}

# names_no_build <copy>: no file holds the tree's path, and what is run finds its libraries beside itself.
names_no_build() {
    local file wanted way
    if grep -rlF -e "$root" -e "$(pwd -P)" "$1"; then fail "these installed files name the build's folder"; fi
    for file in "$1"/bin/* "$1"/lib/*.so; do
        wanted='$ORIGIN'
        [[ $file == *.so ]] || wanted='$ORIGIN/../lib'
        way=$(readelf -d "$file" | sed -nE 's/.*\((RPATH|RUNPATH)\).*\[(.*)\]/\2/p')
        [[ $way == "$wanted" ]] || fail "$file looks for libraries in '$way', not in '$wanted'"
        # A stripped file has no list of symbols but the dynamic one.
        ! readelf -S "$file" | grep -q '\.symtab' || fail "$file is not stripped"
    done
}

# has_versions <copy>: each library carries its version in its name and its interface's number in its SONAME.
has_versions() {
    local link name version
    version=$(sed -nE 's/^project\(moxbase VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)
    for link in "$1"/lib/*.so; do
        name=$(readelf -d "$link" | sed -nE 's/.*\(SONAME\).*\[(.*)\]/\1/p')
        [[ $name == "${link##*/}.${version%%.*}" ]] || fail "${link##*/} has the SONAME '$name'"
        [[ $(readlink -f "$link") == "$link.$version" ]] || fail "${link##*/} does not lead to version $version"
    done
}

# runs_programs <copy> <program prefix...>: the installed programs do their work with the installed profile, and
# the consumers that join an owner find it.
runs_programs() {
    local copy=$1 consumer tenths
    shift
    quietly "the installed profile" "$@" "$copy/bin/moxd" --check "$copy/share/moxbase/machine.json"
    : >"$work/moxd.log"
    "$@" "$copy/bin/moxd" --profile "$copy/share/moxbase/machine.json" --run-dir "$work/run" \
        --state-dir "$work/state" >"$work/moxd.log" 2>&1 &
    owner=$!
    for ((tenths = 0; tenths < 100; ++tenths)); do
        ! grep -q '^ready:' "$work/moxd.log" || break
        sleep 0.1
    done
    grep -q '^ready:' "$work/moxd.log" || fail "the installed moxd did not become ready: $(<"$work/moxd.log")"
    quietly "the installed moxctl" "$@" "$copy/bin/moxctl" --run-dir "$work/run" get memory Total
    grep -qE '^[1-9][0-9]*$' "$work/log" || fail "moxctl get memory Total printed: $(<"$work/log")"
    for consumer in "${joining_consumers[@]}"; do
        quietly "a program that joins the installed owner" "$consumer" "$work/run"
    done
    kill -TERM "$owner"
    wait "$owner" || fail "the installed moxd ended with status $?: $(<"$work/moxd.log")"
    owner=
}

# refuses <pattern> <DESTDIR> <prefix>: installing there must fail at once, and say why.
refuses() {
    if DESTDIR=$2 "${as_user[@]}" "$work/tree/tools/install.sh" none "$3" >"$work/log" 2>&1; then
        fail "installing into '$2$3' was not refused"
    fi
    grep -qF -- "$1" "$work/log" || fail "installing into '$2$3' says: $(<"$work/log")"
}

# For root every folder is writable, so an ordinary user tries, with a copy of the script that anybody may read.
refuses_wrong_folders() {
    local as_user=()
    ((EUID != 0)) || as_user=(setpriv --reuid 65534 --regid 65534 --clear-groups)
    mkdir -p "$work/tree/tools"
    cp tools/install.sh "$work/tree/tools/"
    mkdir -m 555 "$work/locked"
    : >"$work/file"
    chmod 755 "$work"
    refuses "PREFIX is 'copy', which is not absolute" "" copy
    refuses "DESTDIR is 'root', which is not absolute" root /usr
    refuses "$work/file is no folder" "$work" /file/copy
    refuses "$work/locked is not yours to write" "$work/locked" /usr
}

check_preset() {
    local preset=$1 bits=${1%%-*} copy=$work/$1/root/opt/moxbase consumer time
    for time in first second; do
        DESTDIR=$work/$preset/root quietly "the $time installation of $preset" tools/install.sh "$preset" /opt/moxbase
    done
    has_expected_files "$copy"
    names_no_build "$copy"
    has_versions "$copy"
    use_word_size "$bits" "$root" "$work/$preset/root"
    build_consumers "$copy" "$work/$preset"
    for consumer in "${owning_consumers[@]}"; do
        quietly "a program that owns a pool" unshare -i "$consumer" # it leaves the pool, which is the namespace's
    done
    runs_programs "$copy" "${program_prefix[@]}"
    printf 'installed %s: %d programs built against the copy and run\n' "$preset" \
        $((${#owning_consumers[@]} + ${#joining_consumers[@]}))
}

# Pools are made here, so all of it runs in an IPC namespace of its own.
if [[ -z ${MOX_CHECK_INSTALL_INSIDE:-} ]]; then
    refuses_wrong_folders
    rm -rf "$work"
    user=-r
    ((EUID != 0)) || user=
    export MOX_CHECK_INSTALL_INSIDE=1
    # shellcheck disable=SC2086  # one option or none
    exec unshare $user -i tools/check-install.sh "$@"
fi
for preset in "$@"; do
    check_preset "$preset"
done
