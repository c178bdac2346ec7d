#include "pool_bytes.hpp"

#include <cstdio>
#include <cstring>

#include "model.hpp"

namespace mox::bench {
namespace {

constexpr int kObjects = 1000;
constexpr guint32 kProperties = 10;

// Pool bytes that one object of a family of kObjects takes.
double bytes_per_object(const char* family, guint32 property_count) {
    const long before = pool_used();
    make_objects(family, kObjects, property_count);
    return static_cast<double>(pool_used() - before) / kObjects;
}

// What the records of an object without properties hold in the pool: bitmap, name node, the two
// names.
double record_bytes() {
    const double names = std::strlen("bytes_bare_999") + 1 + std::strlen(kClassName) + 1;
    return LOM_REF_BITMAP_WORDS * sizeof(guint32) + sizeof(CLASS_OBJECT_LIST_S) + names;
}

}  // namespace

PoolBytes measure_pool_bytes() {
    const double bare = bytes_per_object("bytes_bare", 0);
    const double full = bytes_per_object("bytes_full", kProperties);
    return {bare, (full - bare) / kProperties};
}

void print_pool_bytes() {
    const PoolBytes bytes = measure_pool_bytes();
    std::printf("| an object without properties | %.1f | %.1f | %.2f |\n", bytes.object,
                record_bytes(), bytes.object / record_bytes());
    std::printf("| a property of a fixed-size type | %.1f | %zu | %.2f |\n", bytes.property,
                sizeof(SERIALISED_PROPERTY_S),
                bytes.property / static_cast<double>(sizeof(SERIALISED_PROPERTY_S)));
}

}  // namespace mox::bench
