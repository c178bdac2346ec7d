#!/usr/bin/env bash
# Runs the benchmarks of one build and prints their table; the raw figures go to BUILD_DIR/bench.json.
#
# usage: bench/run.sh BUILD_DIR [Google Benchmark options]
set -euo pipefail

if [[ $# -lt 1 || ! -x $1/moxbench ]]; then
    echo "usage: bench/run.sh BUILD_DIR [Google Benchmark options]; BUILD_DIR holds moxbench (make bench builds it)" >&2
    exit 2
fi
build=$1
shift
exec "$build/moxbench" --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true \
    --benchmark_min_time=0.1 --benchmark_out="$build/bench.json" --benchmark_out_format=json "$@"
