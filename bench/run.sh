#!/usr/bin/env bash
# Runs the benchmarks of one build and prints their tables; the raw figures go to BUILD_DIR/bench-*.json.
# The rows of one table come from several processes where a row must not see what another one built:
# each size of the lookup has a process, and so an object table, of its own.
#
# usage: bench/run.sh BUILD_DIR
set -euo pipefail

if [[ $# -ne 1 || ! -x $1/moxbench || ! -x $1/moxbench_growth ]]; then
    echo "usage: bench/run.sh BUILD_DIR; BUILD_DIR holds moxbench and moxbench_growth (make bench builds them)" >&2
    exit 2
fi
build=$1
find "$build" -maxdepth 1 -name 'bench-*.json' ! -name bench-peers.json -delete  # no row of an earlier run stays

failed=0
# run <program> <name> <option...>: runs the rows of one table in one process of its own. What cannot
# be measured does not keep the others from it.
run() {
    "$build/$1" --benchmark_repetitions=5 --benchmark_min_time=0.1 "${@:3}" --benchmark_enable_random_interleaving=true \
        --benchmark_out="$build/bench-$2.json" --benchmark_out_format=json || { failed=1; rm -f "$build/bench-$2.json"; }
}
# rows <name> <filter> [option...]: of moxbench, what the filter matches.
rows() {
    run moxbench "$1" --benchmark_filter="$2" "${@:3}"
}

printf '\n## %s\n\n' "$(basename "$build")"
echo '| operation | median | sum of its primitives | ratio |'
echo '|---|---|---|---|'
rows read '^(floor/)?read/'
rows write '^(floor/)?write/'
rows multiget '^(floor/)?multiget/'
rows formula '^(floor/)?formula/'
rows save '^(floor/)?save/' --benchmark_min_time=0.5  # a disk's times vary
for count in 10 1000 100000; do
    rows "lookup-$count" "^(floor/)?lookup/[a-z_]+/$count\$"
done
if (($(nproc) > 1)); then
    rows contention '^(floor/)?contention/'
    rows stream '^(floor/)?event/stream'
else
    echo "bench/run.sh: one core: what takes two is not measured" >&2
fi
run moxbench event --benchmark_filter='^(floor/)?event/[0-9]' --delays="$build/bench-delays.json"
printf '\n| growth | time of one object | | |\n|---|---|---|---|\n'
run moxbench_growth growth
printf '\n| pool bytes | taken | its records alone | ratio |\n|---|---|---|---|\n'
"$build/moxbench" --pool_bytes="$build/bench-pool.json" || failed=1

if ((failed != 0)); then
    echo "bench/run.sh: some rows were not measured; the causes stand above" >&2
    exit 1
fi
