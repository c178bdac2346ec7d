#!/bin/sh
# Looks that the scenarios in which everything is made to fail call every name that the library
# exports: a name that no object file of theirs refers to is printed, and the check fails.
#   called_names.sh NM EXPORTED_NAMES OBJECT_FILE...
# A name that cannot be part of a scenario would be listed here with the reason; there is none.
set -eu

nm=$1
exported=$2
shift 2

scenarios=
for object in "$@"; do
    case ${object##*/} in
        whole_model* | model_sweep* | hook_faults*) scenarios="$scenarios $object" ;;
    esac
done
[ -n "$scenarios" ] || { echo "no object file of a scenario was given" >&2; exit 1; }

# shellcheck disable=SC2086  # paths of the build tree, which has no blanks
referred=$("$nm" -u $scenarios)
names=$(grep -v '^#' "$exported")
[ -n "$names" ] || { echo "$exported: no names" >&2; exit 1; }
missing=0
for name in $names; do
    if ! printf '%s\n' "$referred" | grep -qw "$name"; then
        echo "$name is exported, and no scenario calls it: add the call to test/exhaustion" >&2
        missing=$((missing + 1))
    fi
done
echo "$(echo "$names" | wc -l) exported names, $missing not called"
[ "$missing" -eq 0 ]
