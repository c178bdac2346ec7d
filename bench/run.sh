#!/usr/bin/env bash
# Runs the benchmarks of one build and prints their tables; the raw figures go to BUILD_DIR/bench*.json.
# The rows of one table come from several processes where a row must not see what another one built:
# each size of the lookup has a process, and so an object table, of its own.
#
# usage: bench/run.sh BUILD_DIR
set -euo pipefail

if [[ $# -ne 1 || ! -x $1/moxbench ]]; then
    echo "usage: bench/run.sh BUILD_DIR; BUILD_DIR holds moxbench (make bench builds it)" >&2
    exit 2
fi
build=$1

# rows <name> <filter>: runs what the filter matches in one process of its own.
rows() {
    "$build/moxbench" --benchmark_filter="$2" --benchmark_repetitions=5 --benchmark_min_time=0.1 \
        --benchmark_enable_random_interleaving=true \
        --benchmark_out="$build/bench-$1.json" --benchmark_out_format=json
}

printf '\n## %s\n\n' "$(basename "$build")"
echo '| operation | median | sum of its primitives | ratio |'
echo '|---|---|---|---|'
rows read '^(floor/)?read/'
rows write '^(floor/)?write/'
rows multiget '^(floor/)?multiget/'
rows formula '^(floor/)?formula/'
rows save '^(floor/)?save/'
rows event '^(floor/)?event/'
for count in 10 1000 100000; do
    rows "lookup-$count" "^(floor/)?lookup/$count\$"
done
printf '\n| pool bytes | taken | its records alone | ratio |\n|---|---|---|---|\n'
"$build/moxbench" --pool_bytes
