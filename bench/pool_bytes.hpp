// Bytes of the pool that objects and properties take, beside the bytes of their records.
#ifndef MOX_BENCH_POOL_BYTES_HPP
#define MOX_BENCH_POOL_BYTES_HPP

#include <string>

namespace mox::bench {

// On average over a thousand objects: names and lists included, the space allocator's own bytes,
// too.
struct PoolBytes {
    double object;    // one without properties
    double property;  // one of a fixed-size type
};

// Builds the objects to measure, once in a process.
PoolBytes measure_pool_bytes();

// Prints them as rows of a table, beside the bytes of their records, and writes the same to a JSON
// file. Returns false, with errno set, when the file cannot be written.
bool report_pool_bytes(const std::string& path);

}  // namespace mox::bench

#endif
