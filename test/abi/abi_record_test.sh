#!/usr/bin/env bash
# What a record of an interface is for: changes of a library that its users feel are told, others are not. Builds
# small libraries that differ in one thing each and compares them as tools/check-abi.sh does.
set -euo pipefail
cd "$(dirname "$0")/../.."
source tools/abi-record.sh

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# build <name> <fields of the record> <type of the function's result> <further code>: writes <name>.abi.
build() {
    mkdir "$work/$1"
    printf 'typedef struct { %s } RECORD_S;\n%s get_speed(RECORD_S* record);\n' "$2" "$3" >"$work/$1/fan.h"
    printf '#include "fan.h"\n%s get_speed(RECORD_S* record) { return record->speed; }\n%s\n' "$3" "$4" >"$work/$1/fan.c"
    gcc -g2 -O1 -shared -fPIC -o "$work/$1/libfan.so" "$work/$1/fan.c"
    write_interface "$work/$1/libfan.so" "$work/$1" "$work/$1.abi"
}

failed=0

# tells <name> <pattern>: the change must be reported, in words that have the pattern.
tells() {
    if compare_interfaces "$work/recorded.abi" "$work/$1.abi" >"$work/report" 2>&1; then
        echo "abi_record_test: a change was not noticed: $1" >&2
        failed=1
    elif ! grep -q "$2" "$work/report"; then
        echo "abi_record_test: the report of \"$1\" does not have '$2':" >&2
        cat "$work/report" >&2
        failed=1
    fi
}

stop='void stop(void) {}'
build recorded "int speed;" int "$stop"
build same_interface "int speed;" int "$stop static int never_seen __attribute__((unused));"
build longer_record "int speed; int load;" int "$stop"
build other_result "int speed;" "long long" "$stop"
build new_function "int speed;" int "$stop int get_load(void) { return 0; }"
build lost_function "int speed;" int ""

if ! compare_interfaces "$work/recorded.abi" "$work/same_interface.abi" >"$work/report" 2>&1; then
    echo "abi_record_test: code that no user sees was reported as a change:" >&2
    cat "$work/report" >&2
    failed=1
fi
tells longer_record "int load"
tells other_result "return type changed"
tells new_function "get_load"
tells lost_function "stop"

for change in new_function longer_record other_result lost_function; do
    answer=no
    ! only_adds "$work/recorded.abi" "$work/$change.abi" || answer=yes
    if [[ $answer == yes && $change != new_function || $answer == no && $change == new_function ]]; then
        echo "abi_record_test: whether $change is an addition and nothing else is answered with $answer" >&2
        failed=1
    fi
done
head -c 700 "$work/recorded.abi" >"$work/damaged_record.abi"
tells damaged_record "parser error"
exit "$failed"
