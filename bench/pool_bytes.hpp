// Bytes of the pool that objects and properties take, beside the bytes of their records.
#ifndef MOX_BENCH_POOL_BYTES_HPP
#define MOX_BENCH_POOL_BYTES_HPP

namespace mox::bench {

void print_pool_bytes();

}  // namespace mox::bench

#endif
