// Chips and accessors for the tests of the driver library: temporary files, and physical objects
// registered the way the object store does it, with values that lie over memory that is gone
// afterwards.
#ifndef MOX_TEST_UNIT_PLATFORM_DRIVER_FIXTURE_HPP
#define MOX_TEST_UNIT_PLATFORM_DRIVER_FIXTURE_HPP

#include <gtest/gtest.h>
#include <moxplat/driver.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace mox::test {

// A property to be registered; the value is floating until then.
using NamedValue = std::pair<std::string, GVariant*>;

inline NamedValue text(const char* name, const std::string& value) {
    return {name, g_variant_new_string(value.c_str())};
}
inline NamedValue number(const char* name, guint32 value) {
    return {name, g_variant_new_uint32(value)};
}
inline NamedValue real(const char* name, double value) {
    return {name, g_variant_new_double(value)};
}

// A table of physical objects in the making.
class ObjectTable {
public:
    ObjectTable() = default;
    ~ObjectTable() { g_hash_table_destroy(table_); }
    ObjectTable(const ObjectTable&) = delete;
    ObjectTable& operator=(const ObjectTable&) = delete;

    // Adds an object: its properties, and before them the four entries that every object has.
    ObjectTable& add(const std::string& class_name, const std::string& name, guint32 position,
                     const std::vector<NamedValue>& properties) {
        GSList* list = nullptr;
        for (const NamedValue& property : properties) {
            list = prepend(list, property.first.c_str(), property.second);
        }
        list = prepend(list, "ObjName", g_variant_new_string(name.c_str()));
        list = prepend(list, "SemId", g_variant_new_int32(7));
        list = prepend(list, "SemMember", g_variant_new_int32(3));
        list = prepend(list, "Position", g_variant_new_uint32(position));
        g_hash_table_insert(table_, g_strdup((class_name + "." + name).c_str()), list);
        return *this;
    }

    GHashTable* get() const { return table_; }

private:
    // Serialised into a block of its own that the variant lies over, as values lie over the pool.
    static GSList* prepend(GSList* list, const char* name, GVariant* floating) {
        GVariant* source = g_variant_ref_sink(floating);
        const gsize size = g_variant_get_size(source);
        gpointer block = g_malloc(size + 1);
        g_variant_store(source, block);
        GVariant* value =
            g_variant_new_from_data(g_variant_get_type(source), block, size, TRUE, g_free, block);
        g_variant_unref(source);
        return g_slist_prepend(list, create_has_property(name, value));
    }

    static void free_list(gpointer list) {
        g_slist_free_full(static_cast<GSList*>(list), free_has_property);
    }

    GHashTable* table_ = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, free_list);
};

inline void register_object(const std::string& class_name, const std::string& name,
                            guint32 position, const std::vector<NamedValue>& properties) {
    ObjectTable table;
    table.add(class_name, name, position, properties);
    create_physical_object(table.get());
}

// What a whole read gave.
template <typename Number>
struct Reading {
    gint32 code;
    Number value;

    bool operator==(const Reading& other) const {
        return code == other.code && value == other.value;
    }
    friend void PrintTo(const Reading& reading, std::ostream* stream) {
        *stream << "code " << reading.code << " value " << +reading.value;
    }
};

// Reads a whole value; fails when bytes behind the value's own are touched.
template <typename Number>
Reading<Number> read_whole(const std::string& accessor) {
    std::array<unsigned char, 16> room;
    room.fill(0xA5);
    Reading<Number> reading{accessor_read(accessor.c_str(), 0, 0, room.data()), Number{}};
    for (std::size_t i = sizeof(Number); i < room.size(); ++i) {
        EXPECT_EQ(room[i], 0xA5) << "byte " << i << " behind a value of " << sizeof(Number)
                                 << " bytes";
    }
    if (reading.code == DRIVER_OK) {
        std::memcpy(&reading.value, room.data(), sizeof(Number));
    }
    return reading;
}

template <typename Number>
Reading<Number> value_of(Number value) {
    return {DRIVER_OK, value};
}

// Each test has a directory for its files, and position 1 for its objects.
class DriverTest : public ::testing::Test {
public:
    ~DriverTest() override {
        delete_physical_object(position);
        std::filesystem::remove_all(directory_);
    }
    DriverTest(const DriverTest&) = delete;
    DriverTest& operator=(const DriverTest&) = delete;

protected:
    static constexpr guint32 position = 1;

    DriverTest() {
        std::string name = (std::filesystem::temp_directory_path() / "driver-test-XXXXXX").string();
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        directory_ = name;
    }

    const std::string& directory() const { return directory_; }

    std::string path_of(const std::string& name) const { return directory_ + "/" + name; }

    std::string write_file(const std::string& name, const std::string& content) const {
        std::ofstream{path_of(name), std::ios::binary} << content;
        return path_of(name);
    }

    std::string file_content(const std::string& name) const {
        std::ifstream file{path_of(name), std::ios::binary};
        return {std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
    }

    static void register_chip(const std::string& name, const std::string& path) {
        register_object("Chip", name, position, {text("Path", path)});
    }

    static void register_accessor(const std::string& name, const std::string& chip,
                                  std::vector<NamedValue> properties) {
        properties.push_back(text("Chip", chip));
        register_object("Accessor", name, position, properties);
    }

    // A file of the given content, a chip "C" on it and an accessor "A" on that.
    void register_on_content(const std::string& content, std::vector<NamedValue> properties) const {
        register_chip("C", write_file("value", content));
        register_accessor("A", "C", std::move(properties));
    }

private:
    std::string directory_;
};

}  // namespace mox::test

#endif
