// Type strings, raw bytes made values, lists to and from RPC records, and an object's record as it
// comes from another process.
#include <lom/object.h>
#include <pub.h>

#include <array>
#include <cstring>
#include <string>

#include "fuzz_input.hpp"
#include "fuzz_target.hpp"
#include "module/record_check.hpp"

namespace {

using mox::fuzz::Bytes;
using mox::fuzz::FuzzInput;
using mox::fuzz::promise;

void classify(FuzzInput& input) {
    const std::string text = input.rest_of_text();
    const GVARIANT_SUPPORT_TYPE support = pub_str_type_check(text.c_str());
    promise(support >= GVARIANT_FIX && support <= GVARIANT_NOT_SUPPORT,
            "every text is of one kind of types");
    if (const GVariantType* const type = mox::fuzz::type_named(text)) {
        const mox::fuzz::VariantPtr value = mox::fuzz::untrusted(type, Bytes(8));
        promise(pub_gvariant_type_check(value.get()) == support,
                "a value is classified as its type is");
    }
}

// To the persisted form and back, through buffers of any size.
void persist(FuzzInput& input) {
    Bytes field = input.bytes(PUB_TYPE_LENGTH);
    field.resize(PUB_TYPE_LENGTH);
    const std::size_t room = input.below(2 * PUB_TYPE_LENGTH);
    Bytes persisted(room);
    persisted.shrink_to_fit();
    pub_serialize_type(reinterpret_cast<const gchar*>(field.data()),
                       reinterpret_cast<gchar*>(persisted.data()),
                       static_cast<gint32>(room) * (input.below(8) == 0 ? -1 : 1));
    Bytes back(room);
    back.shrink_to_fit();
    pub_unserialize_type(reinterpret_cast<const gchar*>(field.data()),
                         reinterpret_cast<gchar*>(back.data()), static_cast<guint32>(room));
}

void make_numbers(FuzzInput& input) {
    const gchar type[2] = {static_cast<gchar>(input.take<guint8>()), '\0'};
    const guint64 number = input.take<guint64>();
    // At an odd address, too.
    std::array<guint8, sizeof number + 1> place = {};
    const std::size_t offset = input.below(2);
    std::memcpy(place.data() + offset, &number, sizeof number);
    pub_raw_to_double(type, input.take<guint32>(), place.data() + offset);
    if (GVariant* const value = pub_base_gvariant_new(type, place.data() + offset)) {
        promise(g_variant_get_type_string(value)[0] == type[0], "a number keeps its type");
        g_variant_unref(g_variant_ref_sink(value));
    }
}

// Records with any type field, terminated or not, that hold any bytes.
GSList* take_records(FuzzInput& input) {
    GSList* records = nullptr;
    while (input.left() > 0) {
        const Bytes type = input.bytes(PUB_TYPE_LENGTH);
        const Bytes data = input.bytes(input.take<guint8>());
        auto* const record = static_cast<RPC_DATA_S*>(
            g_malloc0(PUB_RPC_HEAD_SIZE + std::max<gsize>(data.size(), 4)));
        std::memcpy(record->type, type.data(), type.size());
        std::memset(record->padding, 0xa5, sizeof record->padding);
        record->size = static_cast<guint32>(data.size());
        std::copy(data.begin(), data.end(), record->data);
        records = g_slist_prepend(records, input.below(16) == 0 ? nullptr : record);
        if (records->data == nullptr) {
            g_free(record);
        }
    }
    return records;
}

void read_records(FuzzInput& input) {
    GSList* const records = take_records(input);
    GSList* const values = pub_slist_rpc_to_varaint(records);
    for (const GSList* item = values; item != nullptr; item = item->next) {
        mox::fuzz::read_through(
            static_cast<GVariant*>(g_variant_ref_sink(static_cast<GVariant*>(item->data))));
    }
    GSList* const again = pub_slist_varaint_to_rpc(values);
    GSList* const types = pub_slist_rpc_to_string(again);
    g_slist_free_full(types, g_free);
    g_slist_free_full(again, g_free);
    g_slist_free_full(values,
                      [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
    g_slist_free_full(pub_slist_rpc_to_data(records), g_free);
    g_slist_free_full(records, g_free);
}

void make_records(FuzzInput& input) {
    const std::string type = input.line();
    const Bytes data = input.rest();
    RPC_DATA_S* const record =
        pub_data_to_rpc(static_cast<guint32>(data.size()), type.c_str(), data.data());
    promise((record == nullptr) == data.empty(), "bytes always make a record, none make none");
    if (record == nullptr) {
        return;
    }
    promise(std::memchr(record->type, 0, sizeof record->type) != nullptr &&
                std::memcmp(record->data, data.data(), data.size()) == 0,
            "a record keeps the bytes and ends its type");
    GSList list = {record, nullptr};
    GSList name = {const_cast<gchar*>(type.c_str()), nullptr};
    g_slist_free_full(pub_slist_data_to_rpc(&list, PUB_TYPE_LENGTH), g_free);
    g_slist_free_full(pub_slist_vartype_to_rpc(&name), g_free);
    g_free(record);
}

// Follows a record as the object store does.
void follow(const OBJECT_HEAD_S& record) {
    std::size_t sum = std::strlen(record.object_name) + std::strlen(record.class_name);
    sum += record.mutex_obj_name == nullptr ? 0 : std::strlen(record.mutex_obj_name);
    sum += record.ref_bitmap[LOM_REF_BITMAP_WORDS - 1];
    for (const CLASS_OBJECT_LIST_S* name = record.name_list; name != nullptr; name = name->next) {
        sum += std::strlen(name->object_name) + std::strlen(name->class_name);
    }
    for (const SERIALISED_PROPERTY_S* at = record.property_entry; at != nullptr;
         at = at->next_ptr) {
        const auto* const value = static_cast<const guint8*>(at->data);
        sum += std::strlen(at->name) + (at->accessor == nullptr ? 0 : std::strlen(at->accessor));
        sum += at->capacity == 0 ? 0 : value[0] + value[at->capacity - 1];
    }
    [[maybe_unused]] volatile std::size_t used = sum;
}

// A pool whose bytes are the input's, the object's record at its start; the words that the input
// then names become addresses in the pool.
void check_record(FuzzInput& input) {
    const std::size_t relocations = input.below(64);
    struct Relocation {
        guint16 word;
        guint16 target;
    };
    std::vector<Relocation> places(relocations);
    for (Relocation& place : places) {
        place = {input.take<guint16>(), input.take<guint16>()};
    }
    Bytes bytes = input.rest();
    const std::size_t size = std::max<std::size_t>(bytes.size() & ~std::size_t{7}, 256);
    bytes.resize(size);
    auto* const pool = static_cast<guint8*>(g_malloc(size));
    std::memcpy(pool, bytes.data(), size);
    for (const Relocation& place : places) {
        guint8* const target = pool + place.target % (size + 8);
        std::memcpy(pool + place.word % (size / sizeof target) * sizeof target, &target,
                    sizeof target);
    }
    const mox::host::PoolRange range{reinterpret_cast<std::uintptr_t>(pool), size};
    if (mox::host::record_fault(pool, range) == nullptr) {
        OBJECT_HEAD_S record;
        std::memcpy(&record, pool, sizeof record);
        follow(record);
    }
    g_free(pool);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static constexpr std::array<void (*)(FuzzInput&), 6> parts = {
        classify, persist, make_numbers, read_records, make_records, check_record};
    FuzzInput input(data, size);
    parts[input.below(parts.size())](input);
    return 0;
}
