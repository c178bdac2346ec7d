#!/usr/bin/env bash
# Checks that our files include each other only in the directions that the layers allow:
#
#   tool -> host -> inc -> platform/include, and src -> inc; areas of src/ meet only through inc/,
#   src/base/ is open to all of src/. Tests and benchmarks may include anything.
#
# Only includes that name a file of this tree count; a system header is nobody's layer.
set -euo pipefail
cd "$(dirname "$0")/.."

# allowed_for <file>: the path prefixes that this file may include, besides its own folder's.
allowed_for() {
    case $1 in
        src/*/*) echo "src/$(cut -d/ -f2 <<<"$1")/ src/base/ inc/ include/ platform/include/" ;;
        inc/* | include/*) echo "inc/ include/ platform/include/" ;;
        platform/include/*) echo "platform/include/ include/" ;;
        platform/*) echo "platform/$(cut -d/ -f2 <<<"$1")/ platform/include/ inc/ include/" ;;
        host/*) echo "host/ inc/ include/ platform/include/" ;;
        tool/* | examples/*) echo "$(cut -d/ -f1 <<<"$1")/ host/ inc/ include/ platform/include/" ;;
        test/* | bench/*) echo "" ;;
        *) echo "nowhere/" ;;
    esac
}

mapfile -t files < <(tools/source-files.sh '*.h' '*.hpp' '*.c' '*.cpp')
declare -A is_ours=() ending=()
for file in "${files[@]}"; do
    is_ours[$file]=1
    # Every ending of a path may be how some include path names the file.
    rest=$file
    while [[ $rest == */* ]]; do
        ending[$rest]+="$file "
        rest=${rest#*/}
    done
    ending[$rest]+="$file "
done

# The folders that the build puts on include paths, as `#include` names are relative to them.
roots=(include inc platform/include src host tool test bench .)

# resolve <including file> <named> <quoted or angled>: the files of this tree it can mean.
resolve() {
    local path root
    if [[ $3 == quoted ]]; then
        path=$(realpath -m --relative-to=. "${1%/*}/$2")
        if [[ -n ${is_ours[$path]:-} ]]; then
            echo "$path"
            return
        fi
    fi
    for root in "${roots[@]}"; do
        path=$root/$2
        if [[ $path == ./* || $path == *../* ]]; then path=$(realpath -m --relative-to=. "$path"); fi
        if [[ -n ${is_ours[$path]:-} ]]; then
            echo "$path"
            return
        fi
    done
    # A name in quotes, or one with a folder in it, may come from a target's own include path.
    if [[ $3 == quoted || $2 == */* ]]; then echo "${ending[$2]:-}"; fi
}

failed=0
while IFS=: read -r file line directive; do
    allowed=$(allowed_for "$file")
    [[ -n $allowed ]] || continue
    kind=angled
    [[ $directive != *'"'* ]] || kind=quoted
    named=$(sed -E 's/^[^"<]*["<]([^">]*)[">].*/\1/' <<<"$directive")
    for target in $(resolve "$file" "$named" "$kind"); do
        permitted=no
        for prefix in $allowed; do
            [[ $target != "$prefix"* ]] || permitted=yes
        done
        if [[ $permitted == no ]]; then
            echo "$file:$line: must not include $target (allowed: $allowed)" >&2
            failed=1
        fi
    done
done < <(grep -nHE '^[[:space:]]*#[[:space:]]*include[[:space:]]*["<]' "${files[@]}")
((failed == 0)) || echo "check-includes: see docs/ARCHITECTURE.md for the directions" >&2
exit "$failed"
