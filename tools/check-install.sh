#!/usr/bin/env bash
# Installs each build into a folder outside the tree and uses the copy as somebody else would: programs
# in C and C++, built by pkg-config and by find_package, run against it; its own programs run, and
# nothing in it names the build.
#
#   tools/check-install.sh <preset...>
set -euo pipefail
cd "$(dirname "$0")/.."
source test/install/consumers.sh
source tools/install-prefix.sh

(($# > 0)) || { echo "check-install: name at least one preset" >&2; exit 2; }
root=$PWD
work=$(mktemp -d)
owner=
example=
trap 'stop_started_programs; rm -rf "$work"; put_prefixes_back' EXIT

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

stop_started_programs() {
    local program
    for program in $example $owner; do
        kill -KILL "$program" 2>/dev/null || :
        wait "$program" 2>/dev/null || :
    done
}

# appears <pattern> <file>: whether a line that fits is printed within ten seconds.
appears() {
    local tenths
    for ((tenths = 0; tenths < 100; ++tenths)); do
        ! grep -qE -- "$1" "$2" || return 0
        sleep 0.1
    done
    return 1
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

# has_unit <copy>: systemd understands the unit. The prefix is not there, so the program is named where the copy lies.
has_unit() {
    local unit=$1/lib/systemd/system/moxd.service
    sed "s#^ExecStart=/opt/moxbase#ExecStart=$1#" "$unit" >"$work/moxd.service"
    quietly "systemd's check of the unit" systemd-analyze verify --man=no "$work/moxd.service"
    [[ ! -s $work/log ]] || fail "systemd says of the unit: $(<"$work/log")"
}

# refuses_other_word_size <copy> <project>: find_package takes no copy whose libraries do not fit the compiler's. It is
# not to look for another one.
refuses_other_word_size() {
    if cmake -G Ninja -S "$2" -B "$2/refused" -Dmoxbase_DIR="$1/lib/cmake/moxbase" \
        -DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF "${cmake_options[@]}" >"$work/log" 2>&1; then
        fail "find_package takes a copy of the other word size: $1"
    fi
    grep -qE 'moxbase-config.cmake, version: [0-9.]+ \((32|64)bit\)' "$work/log" ||
        fail "find_package refuses a copy of the other word size for another reason: $(<"$work/log")"
}

# runs_example <copy> <program prefix...>: the installed example, built by its own Makefile, hears of a change of the
# property that its first lines name. The owner runs.
runs_example() {
    local copy=$1 name object tenths
    local sources=$copy/share/moxbase/examples
    shift
    name=$(sed -nE 's/.*for example: sensor_module ([A-Za-z]+\.[A-Za-z0-9]+)$/\1/p' "$sources/sensor_module.cpp")
    [[ -n $name ]] || fail "sensor_module.cpp names no property as an example"
    object=${name%.*}
    object=${object,}
    LD_LIBRARY_PATH=$copy/lib "$sources/sensor_module" "$name" "$work/run" >"$work/example.log" 2>&1 &
    example=$!
    # It is known once it has joined and listens.
    for ((tenths = 0; tenths < 100; ++tenths)); do
        "$@" "$copy/bin/moxctl" --run-dir "$work/run" show "$object" >"$work/log" 2>&1 ||
            fail "moxctl show $object: $(<"$work/log")"
        ! grep -qE "^${name#*.} .*sensor_module" "$work/log" || break
        sleep 0.1
    done
    quietly "an override" "$@" "$copy/bin/moxctl" --run-dir "$work/run" override "$object" "${name#*.}" 4711
    appears "^$object\\.${name#*.} = 4711(\\.0)?$" "$work/example.log" ||
        fail "the installed example does not tell of $name: $(<"$work/example.log")"
    kill -INT "$example"
    wait "$example" || fail "the installed example ended with status $?: $(<"$work/example.log")"
    example=
}

# runs_programs <copy> <program prefix...>: the installed programs do their work with the installed profile, and
# the consumers that join an owner find it. The owner is started as the unit starts it, with the unit's folders elsewhere.
runs_programs() {
    local copy=$1 consumer command words
    shift
    quietly "the installed profile" "$@" "$copy/bin/moxd" --check "$copy/share/moxbase/machine.json"
    : >"$work/moxd.log"
    read -ra command < <(sed -nE 's/^ExecStart=//p' "$copy/lib/systemd/system/moxd.service" |
        sed -e "s#/opt/moxbase/#$copy/#" -e "s#/etc/moxd/profile.json#$copy/share/moxbase/machine.json#" \
            -e "s#%t/moxd#$work/run#" -e "s#%S/moxd#$work/state#")
    "$@" "${command[@]}" >"$work/moxd.log" 2>&1 &
    owner=$!
    appears '^ready:' "$work/moxd.log" || fail "the installed moxd did not become ready: $(<"$work/moxd.log")"
    # What the first page has a newcomer ask must be there.
    read -ra words < <(sed -nE 's/.*moxctl (get [A-Za-z]+ [A-Za-z]+).*/\1/p' README.md)
    ((${#words[@]} == 3)) || fail "README.md has no example of moxctl get"
    quietly "the README's moxctl ${words[*]}" "$@" "$copy/bin/moxctl" --run-dir "$work/run" "${words[@]}"
    grep -qE '^[1-9][0-9]*$' "$work/log" || fail "moxctl ${words[*]} printed: $(<"$work/log")"
    runs_example "$copy" "$@"
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
    refuses "PREFIX is '/'" "" //
    refuses "PREFIX is '/'" "" /usr/..
    refuses "PREFIX is '/opt/my box'" "" "/opt/my box"
    refuses "PREFIX is '/opt/50%'" "" /opt/50%
    refuses "DESTDIR is 'root', which is not absolute" root /usr
    refuses "$work/file is no folder" "$work" /file/copy
    refuses "$work/locked is not yours to write" "$work/locked" /usr
}

check_preset() {
    local preset=$1 bits=${1%%-*} copy=$work/$1/root/opt/moxbase consumer time
    keep_prefix "$preset"
    for time in first second; do
        DESTDIR=$work/$preset/root quietly "the $time installation of $preset" tools/install.sh "$preset" /opt/moxbase
    done
    has_expected_files "$copy"
    names_no_build "$copy"
    has_versions "$copy"
    has_unit "$copy"
    use_word_size "$bits" "$root" "$work/$preset/root"
    build_consumers "$copy" "$copy/lib" "$work/$preset"
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
earlier=
for preset in "$@"; do
    check_preset "$preset"
    if [[ -n $earlier && ${earlier%%-*} != "${preset%%-*}" ]]; then
        refuses_other_word_size "$work/$earlier/root/opt/moxbase" "$work/$preset/project"
    fi
    earlier=$preset
done
