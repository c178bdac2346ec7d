#!/usr/bin/env bash
# Lets a 32-bit and a 64-bit process exchange messages in both directions, over queues of a System V
# namespace of their own, and compares the layouts of the records that travel. One line a check;
# exit status 1 when one fails.
#
#   test/process/cross_width.sh <32-bit build> <64-bit build>
set -euo pipefail

limit=60 # seconds for each program, far more than it needs

usage() {
    echo "usage: cross_width.sh <32-bit build directory> <64-bit build directory>" >&2
    exit 2
}

# enter_namespace <arguments...>: starts this script anew where no queue of the machine is seen.
enter_namespace() {
    local options=(--ipc)
    if [[ $(id -u) != 0 ]]; then
        options+=(--map-root-user)
    fi
    if ! unshare "${options[@]}" true; then
        echo "cross_width.sh: no System V namespace: unshare ${options[*]} is not allowed here" >&2
        exit 1
    fi
    exec unshare "${options[@]}" "$BASH" "$0" --inside "$@"
}

# check_build <directory> <bits>: the directory must hold an event_peer of that word size.
check_build() {
    local peer=$1/event_peer bits
    if [[ ! -x $peer ]]; then
        echo "cross_width.sh: $peer is missing: build $1 first" >&2
        exit 1
    fi
    if ! bits=$(timeout "$limit" "$peer" bits) || [[ $bits != "$2" ]]; then
        echo "cross_width.sh: $peer is not a $2-bit program" >&2
        exit 1
    fi
}

# check_layouts: both word sizes print the same sizes and offsets.
check_layouts() {
    local layout32 layout64 records
    if ! layout32=$(timeout "$limit" "$build32/event_peer" layout) ||
        ! layout64=$(timeout "$limit" "$build64/event_peer" layout) ||
        ! records=$(grep -c ' bytes$' <<<"$layout32"); then
        echo "FAIL layouts: not printed"
        failed=1
    elif [[ $layout32 == "$layout64" ]]; then
        echo "ok   layouts of $records records: equal"
    else
        echo "FAIL layouts: 32-bit left, 64-bit right"
        failed=1
        diff --side-by-side --suppress-common-lines <(echo "$layout32") <(echo "$layout64") >&2 ||
            [[ $? == 1 ]]
    fi
}

# exchange <sender's build> <receiver's build> <title>: the receiver checks what the sender sends.
exchange() {
    local sender=$1/event_peer receiver=$2/event_peer title=$3 word='' queue='' line
    local peer_pid peer_out
    exec {peer_out}< <(exec timeout "$limit" "$receiver" receive)
    peer_pid=$!
    if ! read -r -t "$limit" -u "$peer_out" word queue || [[ $word != queue ]]; then
        echo "FAIL $title: the receiver made no queue: $word $queue"
        failed=1
    elif ! timeout "$limit" "$sender" send "$queue"; then
        echo "FAIL $title: the sender failed"
        failed=1
    fi
    while IFS= read -r -t "$limit" -u "$peer_out" line; do
        printf '%-4s %s: %s\n' "${line%% *}" "$title" "${line#* }"
    done
    exec {peer_out}<&-
    if ! wait "$peer_pid"; then
        echo "FAIL $title: the receiver failed"
        failed=1
    fi
}

if [[ ${1:-} != --inside ]]; then
    [[ $# == 2 ]] || usage
    enter_namespace "$@"
fi
shift
[[ $# == 2 ]] || usage
build32=$1
build64=$2
failed=0
check_build "$build32" 32
check_build "$build64" 64
check_layouts
exchange "$build32" "$build64" "32-bit to 64-bit"
exchange "$build64" "$build32" "64-bit to 32-bit"
exit "$failed"
