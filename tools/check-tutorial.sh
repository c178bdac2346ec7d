#!/usr/bin/env bash
# Does what docs/TUTORIAL.md says, with an installed copy of each preset, in an empty home folder and an IPC namespace
# of its own, and compares what is printed with what the page says.
#
#   tools/check-tutorial.sh <preset...>
set -euo pipefail
cd "$(dirname "$0")/.."
source test/install/consumers.sh
source tools/install-prefix.sh

limit=300 # seconds for the page, far more than it needs
root=$PWD
(($# > 0)) || { echo "check-tutorial: name at least one preset, such as 64-release" >&2; exit 2; }

# The owner raises the system's limits on messages where it may: in a namespace, for this run alone.
if [[ ${MOX_CHECK_TUTORIAL_INSIDE:-} != 1 ]]; then
    user=-r
    ((EUID != 0)) || user=
    # shellcheck disable=SC2086  # one option or none
    MOX_CHECK_TUTORIAL_INSIDE=1 exec unshare $user -i tools/check-tutorial.sh "$@"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"; put_prefixes_back' EXIT

# wrap <file> <command...>: makes a program that runs the command with its own arguments behind.
wrap() {
    local file=$1
    shift
    printf '#!/bin/sh\nexec%s "$@"\n' "$(printf ' "%s"' "$@")" >"$file"
    chmod +x "$file"
}

# check_preset <preset>: a home with a copy in it, as the page's first command makes it. cc compiles for the copy's word
# size, and a warning is an error.
check_preset() {
    local preset=$1 home=$work/$1/home program
    local copy=$home/moxbase
    mkdir -p "$home" "$work/bin"
    keep_prefix "$preset"
    DESTDIR= tools/install.sh "$preset" "$copy" >"$work/log" || { cat "$work/log" >&2; exit 1; }
    use_word_size "${preset%%-*}" "$root" "$work/$preset"
    wrap "$work/bin/cc" "${c_compiler[@]}" -Wall -Wextra -Werror "${link_options[@]}"
    if ((${#program_prefix[@]} > 0)); then
        mkdir "$copy/programs"
        for program in moxd moxctl; do
            mv "$copy/bin/$program" "$copy/programs/"
            wrap "$copy/bin/$program" "${program_prefix[@]}" "$copy/programs/$program"
        done
    fi
    # shellcheck disable=SC2016  # it is the page's text
    PATH=$work/bin:$PATH timeout "$limit" python3 test/tutorial/run_tutorial.py docs/TUTORIAL.md \
        --home "$home" --source 'make install PREFIX=$HOME/moxbase'
}

for preset in "$@"; do
    check_preset "$preset"
done
