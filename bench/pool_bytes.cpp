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

struct Row {
    const char* name;
    const char* title;
    double taken;
    double records;
};

}  // namespace

PoolBytes measure_pool_bytes() {
    const double bare = bytes_per_object("bytes_bare", 0);
    const double full = bytes_per_object("bytes_full", kProperties);
    return {bare, (full - bare) / kProperties};
}

bool report_pool_bytes(const std::string& path) {
    const PoolBytes bytes = measure_pool_bytes();
    const Row rows[] = {
        {"pool/object", "an object without properties", bytes.object, record_bytes()},
        {"pool/property", "a property of a fixed-size type", bytes.property,
         sizeof(SERIALISED_PROPERTY_S)},
        {"pool/object_with_10", "an object with ten of them",
         bytes.object + kProperties * bytes.property,
         record_bytes() + kProperties * sizeof(SERIALISED_PROPERTY_S)},
    };
    FILE* file = std::fopen(path.c_str(), "we");
    if (file == nullptr) {
        return false;
    }
    std::fprintf(file, "{\"rows\": [");
    const char* separator = "\n";
    for (const Row& row : rows) {
        std::printf("| %s | %.1f | %.1f | %.2f |\n", row.title, row.taken, row.records,
                    row.taken / row.records);
        std::fprintf(file,
                     "%s  {\"row\": \"%s\", \"taken_bytes\": %.1f, \"record_bytes\": %.1f,"
                     " \"ratio\": %.3f}",
                     separator, row.name, row.taken, row.records, row.taken / row.records);
        separator = ",\n";
    }
    std::fprintf(file, "\n]}\n");
    const bool is_whole = std::ferror(file) == 0;
    return std::fclose(file) == 0 && is_whole;
}

}  // namespace mox::bench
