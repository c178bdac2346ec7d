// Objects for tests, made with the very calls by which the pool's owner makes them.
//
//   class Reading : public mox::test::ObjectFixture {};
//
//   add_object({.name = "Fan1", .class_name = "Fan",
//               .properties = {number<guint32>("Speed", "u", 1200),
//                              text("Label", "left"),
//                              reference("Twin", "Fan2.Speed"),
//                              number<gint32>("Temp", "i", 0, "r", "Accessor1")}});
//   record_of("Fan1")->status                     the table's record, no reference taken
//   property_of("Fan1", "Speed").state.bit.synced
//   delete_object("Fan1");                        drops the table's reference
//
// Every test ends with a look at all records: but for the table's reference and one per object that
// refers to it, a record has none (a call that forgot its own fails the test). A test that changes
// ref_count by hand puts it back.
#ifndef MOX_TEST_OBJECT_FIXTURE_HPP
#define MOX_TEST_OBJECT_FIXTURE_HPP

#include <gtest/gtest.h>
#include <lom.h>
#include <moxfake/driver.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "lom/object_table.hpp"
#include "lom/ref_bitmap.hpp"
#include "lom/release.hpp"
#include "pool_fixture.hpp"

namespace mox::test {

struct PropertyPlan {
    std::string name;
    std::string type;  // at most 6 characters; bytes behind a NUL (a marker) count
    std::vector<guint8> bytes;
    std::string mode = "rw";
    std::string accessor = {};  // empty: none
};

struct ObjectPlan {
    std::string name;
    std::string class_name = "Fan";
    std::string mutex_object = {};
    std::string object_type = "Logical";
    guint32 position = 0;
    std::vector<PropertyPlan> properties = {};
};

template <typename Number>
std::vector<guint8> bytes_of(Number value) {
    std::vector<guint8> bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

// The bytes of a stored string, its NUL included.
inline std::vector<guint8> bytes_of_text(const std::string& value) {
    return {value.c_str(), value.c_str() + value.size() + 1};
}

template <typename Number>
PropertyPlan number(const std::string& name, const std::string& type, Number value,
                    const std::string& mode = "rw", const std::string& accessor = {}) {
    return {name, type, bytes_of(value), mode, accessor};
}

inline PropertyPlan text(const std::string& name, const std::string& value,
                         const std::string& mode = "rw", const std::string& accessor = {}) {
    return {name, "s", bytes_of_text(value), mode, accessor};
}

// A property that names another object's property, such as "Fan2.Speed".
inline PropertyPlan reference(const std::string& name, const std::string& target,
                              const std::string& mode = "rw") {
    return {name, std::string("s\0\0p", 4), bytes_of_text(target), mode, {}};
}

// The package points at the bytes: they must outlive it.
inline CONST_TLV_S package_of(const std::string& type, const std::vector<guint8>& bytes) {
    CONST_TLV_S tlv = {};
    std::memcpy(tlv.type, type.data(), std::min<std::size_t>(type.size(), PUB_TYPE_LENGTH));
    tlv.size = static_cast<guint32>(bytes.size());
    tlv.data = bytes.data();
    return tlv;
}

CONST_TLV_S package_of(const std::string& type, std::vector<guint8>&& bytes) = delete;

// A record under construction with all its properties; null when it could not be made.
inline OBJECT_HEAD_S* make_embryo(const ObjectPlan& plan) {
    const auto count = static_cast<guint32>(plan.properties.size());
    OBJECT_PTR const embryo = lom_create_object_embryo(
        count, plan.name.c_str(), plan.class_name.c_str(), plan.mutex_object.c_str(),
        plan.object_type.c_str(), plan.position);
    for (guint32 index = 0; embryo != nullptr && index < count; ++index) {
        const PropertyPlan& property = plan.properties[index];
        const CONST_TLV_S tlv = package_of(property.type, property.bytes);
        lom_init_property(embryo, index, property.name.c_str(), &tlv, property.mode.c_str());
        if (!property.accessor.empty()) {
            lom_init_accessor(embryo, index, property.accessor.c_str(), 1);
        }
    }
    return static_cast<OBJECT_HEAD_S*>(embryo);
}

// Adds a record under construction and marks it ready.
inline OBJ_HANDLE publish_object(OBJECT_HEAD_S* embryo) {
    lom_mutex_object(embryo);
    const OBJ_HANDLE handle = lom_add_object(embryo);
    lom_ready_object(embryo);
    return handle;
}

// The whole way, embryo to ready.
inline OBJ_HANDLE add_object(const ObjectPlan& plan) {
    return publish_object(make_embryo(plan));
}

// The table's record, without a reference; null when the table has none of the name.
inline OBJECT_HEAD_S* record_of(const std::string& name) {
    return g_local_object_hashtable == nullptr ? nullptr
                                               : static_cast<OBJECT_HEAD_S*>(g_hash_table_lookup(
                                                     g_local_object_hashtable, name.c_str()));
}

// A property's record; the test ends when object or property is missing.
inline SERIALISED_PROPERTY_S& property_of(const std::string& object, const std::string& name) {
    OBJECT_HEAD_S* const record = record_of(object);
    SERIALISED_PROPERTY_S* const property =
        record == nullptr ? nullptr : _get_property_node(record, name.c_str());
    if (property == nullptr) {
        ADD_FAILURE() << "no property " << object << "." << name;
        std::abort();
    }
    return *property;
}

// The stored bytes of a property.
inline std::vector<guint8> stored_bytes(const SERIALISED_PROPERTY_S& property) {
    const auto* const bytes = static_cast<const guint8*>(property.data);
    return bytes == nullptr ? std::vector<guint8>{}
                            : std::vector<guint8>{bytes, bytes + property.size};
}

// Drops the table's reference: the record is freed unless somebody else holds it.
inline void delete_object(const std::string& name) {
    _object_unref(record_of(name));
}

inline std::vector<OBJECT_HEAD_S*> all_records() {
    std::vector<OBJECT_HEAD_S*> records;
    if (g_local_object_hashtable != nullptr) {
        GHashTableIter iter;
        gpointer value = nullptr;
        g_hash_table_iter_init(&iter, g_local_object_hashtable);
        while (g_hash_table_iter_next(&iter, nullptr, &value)) {
            records.push_back(static_cast<OBJECT_HEAD_S*>(value));
        }
    }
    return records;
}

// Frees every object, those that refer to another first, as whoever owns the pool must.
inline void delete_all_objects() {
    for (bool is_progress = true; is_progress;) {
        is_progress = false;
        for (OBJECT_HEAD_S* const record : all_records()) {
            if (record->refered_object == nullptr || record->ref_count > 1) continue;
            g_hash_table_remove(g_local_object_hashtable, record->object_name);
            is_progress = true;
            break;
        }
    }
    forget_objects();
}

// True when another thread could take the object table's mutex now.
inline bool table_mutex_is_free() {
    bool is_free = false;
    std::thread([&is_free] {
        is_free = g_rec_mutex_trylock(&g_obj_hash_mutex) != FALSE;
        if (is_free) g_rec_mutex_unlock(&g_obj_hash_mutex);
    }).join();
    return is_free;
}

// Messages as they are printed or logged; the fake's tick is 0.
inline std::string stamped_message(const std::string& message) {  // MX_DBG_INSIGHT to MX_DBG_BUBBLE
    return std::string("[ 0:0:0.000 ][ ") + DebugLevel::module() + " ] " + message;
}
inline std::string error_message(const std::string& message) {  // MX_DBG_ERR
    return std::string("[ ") + DebugLevel::module() + " ] \x1b[0;31mERROR:\x1b[0m " + message;
}
inline std::string log_message(const std::string& message) {  // MX_DBG_LOG
    return std::string("[ ") + DebugLevel::module() + " ] " + message;
}

// A message with its source line taken out: "[lom][57]: ..." becomes "[lom][line]: ...".
inline std::string without_line(std::string message) {
    const std::size_t begin = message.find("][");
    const std::size_t end = begin == std::string::npos ? begin : message.find(']', begin + 2);
    if (end != std::string::npos) message.replace(begin + 2, end - begin - 2, "line");
    return message;
}

class ObjectFixture : public PoolFixture {
protected:
    void SetUp() override {
        PoolFixture::SetUp();
        mox::fake::driver_reset();
        lom_set_bitmap_id(0);
        lom_set_module_type(MODULE_APP);
    }

    void TearDown() override {
        expect_no_forgotten_reference();
        delete_all_objects();
        lom_set_bitmap_id(0);
        PoolFixture::TearDown();
    }

    static void expect_no_forgotten_reference() {
        std::map<const OBJECT_HEAD_S*, gint32> expected;
        for (const OBJECT_HEAD_S* const record : all_records()) {
            ++expected[record];
            if (record->refered_object != nullptr) ++expected[record->refered_object];
        }
        for (const OBJECT_HEAD_S* const record : all_records()) {
            EXPECT_EQ(record->ref_count, expected[record])
                << "references of " << record->object_name << " at the end of the test";
        }
    }
};

}  // namespace mox::test

#endif
