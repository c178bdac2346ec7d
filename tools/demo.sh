#!/usr/bin/env bash
# Shows two processes sharing one object model of this machine: the owner (moxd) reads values from
# /proc and /sys, a second process (watch_machine) sees them in the pool and receives the changes, a
# third (value_steps) saves, forces and writes values and finds what it saved after a restart, and a
# fourth (model_tour) reads the schema and plugs and unplugs a board.
#
#   tools/demo.sh <build directory>
#
# It runs in an IPC namespace and a temporary directory of its own, so it disturbs no other instance
# and leaves nothing behind. Ends by itself; exit status 0 when all that it checked was right, else 1.
set -euo pipefail

readonly seconds=6       # how long changes are shown
readonly watch_limit=18  # seconds until a watcher that hangs is ended
readonly ready_limit=50  # tenths of a second until the owner must be ready, and gone at the end
readonly step_limit=30   # seconds until a step that hangs is ended
readonly programs=(moxd machine_profile watch_machine value_steps model_tour)

say() { printf 'demo: %s\n' "$*" >&2; }
heading() { printf '\n== %s\n' "$*"; }

usage() {
    say "usage: tools/demo.sh <build directory>"
    exit 2
}

# Runs this script again, inside a new IPC namespace; returns only when there is none to be had.
enter_namespace() {
    local attempt cause=
    local attempts=("-r -i")
    ((EUID != 0)) || attempts=("-i" "-r -i")
    for attempt in "${attempts[@]}"; do
        # shellcheck disable=SC2086  # one or two options
        if cause=$(unshare $attempt true 2>&1); then
            exec unshare $attempt "$script" "$1" --inside
        fi
    done
    say "cannot have an IPC namespace of its own ($cause)."
    say "The demonstration makes a shared-memory segment under a fixed key and must not disturb"
    say "another instance. Run it as root, or let users make namespaces (as root:"
    say "sysctl kernel.unprivileged_userns_clone=1); in a container, add the capability SYS_ADMIN."
    exit 1
}

# Ends the owner and the listener if they still run, and removes the temporary directory.
clean_up() {
    local process
    for process in $owner $listener; do
        kill -KILL "$process" 2>/dev/null || :
        wait "$process" 2>/dev/null || :
    done
    rm -rf "$work"
}

fail() {
    say "$*"
    if [[ -s $work/moxd.log ]]; then
        say "what the owner said:"
        sed 's/^/    /' "$work/moxd.log" >&2
    fi
    exit 1
}

is_running() { kill -0 "$1" 2>/dev/null; }

start_owner() {
    : >"$work/moxd.log" # of an owner before this one
    "$build/moxd" --profile "$work/machine.json" --run-dir "$work/run" --state-dir "$work/state" \
        >"$work/moxd.log" 2>&1 &
    owner=$!
    local tenths
    for ((tenths = 0; tenths < ready_limit; ++tenths)); do
        ! grep -q '^ready:' "$work/moxd.log" || return 0
        is_running "$owner" || break
        sleep 0.1
    done
    fail "the owner did not become ready"
}

stop_owner() {
    local tenths status=0
    kill -TERM "$owner" 2>/dev/null || fail "the owner had gone before it was told to stop"
    for ((tenths = 0; tenths < ready_limit; ++tenths)); do
        is_running "$owner" || break
        sleep 0.1
    done
    ! is_running "$owner" || fail "the owner did not stop when it was told to"
    wait "$owner" || status=$?
    owner=
    ((status == 0)) || fail "the owner stopped with exit status $status"
    check_delivery
}

# run_step <program> <step> [option...]
run_step() {
    local program=$1 step=$2 status=0
    shift 2
    timeout --foreground "$step_limit" "$build/$program" --run-dir "$work/run" --step "$step" "$@" ||
        status=$?
    ((status != 124)) || fail "the step $step did not end within $step_limit seconds"
    ((status == 0)) || fail "the step $step ended with exit status $status; it says why above"
}

# start_listener <program>: returns when the listener can miss nothing any more.
start_listener() {
    : >"$work/listener.log"
    "$build/$1" --run-dir "$work/run" --step listen >"$work/listener.log" 2>&1 &
    listener=$!
    local tenths
    for ((tenths = 0; tenths < ready_limit; ++tenths)); do
        grep 'listens' "$work/listener.log" && return
        is_running "$listener" || break
        sleep 0.1
    done
    cat "$work/listener.log" >&2
    fail "the listener did not become ready"
}

# It ends by itself: with the event, or some seconds later without it.
finish_listener() {
    local status=0
    wait "$listener" || status=$?
    listener=
    tail -n +2 "$work/listener.log"
    ((status == 0)) || fail "the listener ended with exit status $status; it says why above"
}

# Counts the segments, queues or semaphore sets of this namespace.
count_left() { tail -n +2 "/proc/sysvipc/$1" | wc -l; }

# A message queue that had no room for an event is told in the owner's log only.
check_delivery() {
    ! grep -q 'notify failed' "$work/moxd.log" || fail "the owner could not deliver an event"
}

check_nothing_left() {
    local kind left=0
    for kind in shm msg sem; do
        (($(count_left "$kind") > 0)) || continue
        left=1
        say "left in /proc/sysvipc/$kind:"
        cat "/proc/sysvipc/$kind" >&2
    done
    ((left == 0)) || fail "the owner left something behind"
}

run_inside() {
    setting_file=$work/setting
    echo 42 >"$setting_file"

    heading "1. machine_profile looks at this machine and writes a profile of classes and objects"
    "$build/machine_profile" -o "$work/machine.json" --setting-file "$setting_file" ||
        fail "there is no profile to load"
    printf '  %s lines of JSON\n' "$(wc -l <"$work/machine.json")"
    local verdict
    verdict=$("$build/moxd" --check "$work/machine.json" 2>&1) || fail "moxd --check says: $verdict"
    printf '  moxd --check says: %s\n' "${verdict#"$work/"}"

    heading "2. moxd, the owner, makes the shared pool and builds the objects of the profile in it"
    start_owner
    printf '  moxd is process %s\n' "$owner"
    grep '^ready:' "$work/moxd.log" | sed 's/^/  moxd says: /'

    heading "3. watch_machine, a second process, sees the same objects"
    local status=0
    timeout --foreground "$watch_limit" "$build/watch_machine" \
        --run-dir "$work/run" --seconds "$seconds" --pid "$owner" || status=$?
    ((status != 124)) || fail "watch_machine did not end within $watch_limit seconds"
    ((status == 0)) || fail "watch_machine ended with exit status $status; it says why above"

    heading "4. value_steps, a third process, saves, forces, computes and writes to a file"
    start_listener value_steps
    run_step value_steps change --setting-file "$setting_file"
    finish_listener

    heading "5. model_tour, another process, reads the schema and plugs and unplugs a board"
    start_listener model_tour
    run_step model_tour tour
    finish_listener

    heading "6. moxd is stopped and started again"
    stop_owner
    start_owner
    printf '  moxd is process %s\n' "$owner"
    run_step value_steps after-restart

    heading "7. moxd is told to stop"
    stop_owner
    check_nothing_left
    printf '  it stopped cleanly; no segment, queue or semaphore is left\n\n'
}

(($# == 1 || $# == 2)) || usage
[[ -d $1 ]] || { say "$1 is no directory; make demo builds what is needed" && exit 1; }
script=$(realpath "$0")
build=$(realpath "$1")
for program in "${programs[@]}"; do
    [[ -x $build/$program ]] || { say "$build/$program is missing; make demo builds it" && exit 1; }
done

if (($# == 1)); then
    enter_namespace "$build"
fi
[[ $2 == --inside ]] || usage
owner=
listener=
work=$(mktemp -d)
trap clean_up EXIT
trap 'exit 130' INT TERM
run_inside
