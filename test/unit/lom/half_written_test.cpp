// A value over which a writer died carries a mark: it is never delivered, and the next value that
// is stored ends that. Values of one machine word and of unchanged size need no mark.
#include <gtest/gtest.h>
#include <lom/hardware.h>
#include <lom/persist.h>

#include "expression_fixture.hpp"
#include "lom/stored_bytes.hpp"

namespace mox::test {
namespace {

class HalfWritten : public ExpressionFixture {
protected:
    // As a process leaves it that is killed between the mark and the end of the copy.
    static SERIALISED_PROPERTY_S& leave_half_written(const std::string& object,
                                                     const std::string& property) {
        SERIALISED_PROPERTY_S& record = property_of(object, property);
        set_state(record, kHalfWritten);
        return record;
    }

    static gint32 read_code(const char* object, const char* property, gboolean is_live) {
        GVariant* value = nullptr;
        const gint32 code =
            lom_get_property_value(handle_of(object), property, is_live, &value, FALSE);
        if (value != nullptr) {
            g_variant_unref(value);
        }
        return code;
    }

    // How many physical objects a record leads to, itself among them.
    static guint family_of(const char* object) {
        GHashTable* const family = g_hash_table_new(g_direct_hash, g_direct_equal);
        lom_family_to_hash(handle_of(object), family);
        const guint count = g_hash_table_size(family);
        g_hash_table_destroy(family);
        return count;
    }

    static gint32 multiget_code(const char* object, std::vector<const char*> names) {
        GSList* list = nullptr;
        for (const char* name : names) {
            list = g_slist_append(list, const_cast<char*>(name));
        }
        GSList* values = nullptr;
        const gint32 code = lom_multiget_property_value(handle_of(object), list, &values);
        EXPECT_EQ(values == nullptr, code != 0);
        g_slist_free_full(values, reinterpret_cast<GDestroyNotify>(g_variant_unref));
        g_slist_free(list);
        return code;
    }
};

TEST_F(HalfWritten, IsNotReadAsAValue) {
    leave_half_written("Fan1", "Label");
    EXPECT_EQ(read_code("Fan1", "Label", FALSE), MOX_ERR_INTERNAL);
    EXPECT_EQ(read_code("Fan1", "Label", TRUE), MOX_ERR_INTERNAL);
    EXPECT_EQ(fake::osal::held(), 0U);
}

TEST_F(HalfWritten, IsNotReadIntoABuffer) {
    leave_half_written("Fan1", "Label");
    guchar buffer[32] = {7};
    EXPECT_EQ(
        lom_get_property_value_v2(handle_of("Fan1"), "Label", FALSE, sizeof buffer, buffer, FALSE),
        MOX_ERR_INTERNAL);
    EXPECT_EQ(buffer[0], 7);
}

TEST_F(HalfWritten, FailsAReadOfSeveralValues) {
    leave_half_written("Fan1", "Label");
    EXPECT_EQ(multiget_code("Fan1", {"Speed", "Label"}), MOX_ERR_INTERNAL);
    EXPECT_EQ(multiget_code("Fan1", {"Speed"}), MOX_OK);
}

TEST_F(HalfWritten, IsNotSaved) {
    leave_half_written("Fan1", "Label");
    EXPECT_EQ(lom_save_property_value(handle_of("Fan1"), "Label", nullptr, PER_MODE_PERMANENT,
                                      FALSE, FALSE),
              MOX_ERR_INTERNAL);
    EXPECT_TRUE(fake::persist_texts().empty());
}

TEST_F(HalfWritten, IsNoInputOfAFormula) {
    add_formula("X + Y");
    leave_half_written("Sensor", "A");
    EXPECT_EQ(read_code("Sum", "Value", TRUE), MOX_ERR_INTERNAL);
}

TEST_F(HalfWritten, IsNotFollowedAsAReference) {
    add_object({.name = "Sign", .properties = {reference("To", "Sensor.A")}});
    ASSERT_EQ(read_code("Sign", "To", FALSE), MOX_OK);
    leave_half_written("Sign", "To");
    EXPECT_EQ(read_code("Sign", "To", FALSE), MOX_ERR_INTERNAL);
    EXPECT_EQ(multiget_code("Sign", {"To"}), MOX_ERR_INTERNAL);
}

TEST_F(HalfWritten, NameOfHardwareIsNotFollowed) {
    add_object({.name = "Bus", .class_name = "Bus", .object_type = "Physical"});
    add_object({.name = "Cpld",
                .class_name = "Chip",
                .object_type = "Physical",
                .properties = {text("LBus", "Bus")}});
    EXPECT_EQ(family_of("Cpld"), 2U);
    leave_half_written("Cpld", "LBus");
    EXPECT_EQ(family_of("Cpld"), 1U);
    EXPECT_EQ(fake::osal::held(), 0U);
}

TEST_F(HalfWritten, IsNotHandedToTheDrivers) {
    add_object({.name = "Cpld",
                .class_name = "Chip",
                .object_type = "Physical",
                .properties = {text("LBus", "Bus"), number<guint8>("Address", "y", 0x40)}});
    leave_half_written("Cpld", "LBus");
    lom_create_has_object(handle_of("Cpld"));
    const auto tables = fake::driver_tables();
    ASSERT_EQ(tables.size(), 1U);
    Texts names;
    for (const fake::PhysicalProperty& property : tables[0].at("Chip.Cpld")) {
        names.push_back(property.name);
    }
    EXPECT_EQ(names, (Texts{"Position", "SemMember", "SemId", "ObjName", "Address"}));
}

TEST_F(HalfWritten, ResultOfAFormulaIsComputedAnew) {
    add_formula("X + Y");
    ASSERT_EQ(live_value("Sum", "Value"), "3.0");
    leave_half_written("Sum", "Value");
    EXPECT_EQ(live_value("Sum", "Value"), "3.0");
}

TEST_F(HalfWritten, CacheOfAFormulaIsNotTrusted) {
    add_formula("X + Y");
    set_writable("Sum");
    set_state(property_of("Sum", "Value"), kAccessSync);
    ASSERT_EQ(live_value("Sum", "Value"), "3.0");
    // What the caches say matches, what was computed with it does not.
    leave_half_written("Sum", "Xcache");
    const double other = 99;
    ASSERT_EQ(lom_realloc_property("Sum", "Value", "d", sizeof other, &other), 0);
    EXPECT_EQ(live_value("Sum", "Value"), "3.0");
    EXPECT_FALSE(has_state(property_of("Sum", "Xcache"), kHalfWritten));
}

TEST_F(HalfWritten, EndsWithTheNextWriteEvenOfTheSameValue) {
    leave_half_written("Fan1", "Label");
    const std::string before = stored_value("Fan1", "Label");
    ASSERT_NE(before, "'west'");
    EXPECT_EQ(write("Fan1", "Label", label("west")), MOX_OK);
    EXPECT_EQ(stored_value("Fan1", "Label"), "'west'");
    leave_half_written("Fan1", "Label");
    EXPECT_EQ(write("Fan1", "Label", label("west")), MOX_OK);
    EXPECT_EQ(read_code("Fan1", "Label", FALSE), MOX_OK);
    EXPECT_EQ(sent_events().size(), 2U);
}

TEST_F(HalfWritten, EndsWithAWriteOfANumber) {
    leave_half_written("Fan1", "Speed");
    EXPECT_EQ(write("Fan1", "Speed", speed(1300)), MOX_OK);
    EXPECT_EQ(read_code("Fan1", "Speed", FALSE), MOX_OK);
}

TEST_F(HalfWritten, EndsWithAnOverride) {
    leave_half_written("Fan1", "Label");
    EXPECT_EQ(override_with("Fan1", "Label", label("east")), MOX_OK);
    EXPECT_EQ(stored_value("Fan1", "Label"), "'east'");
}

TEST_F(HalfWritten, EndsWithAReplacementByTheOwner) {
    leave_half_written("Fan1", "Speed");
    const guint32 value = 8;
    EXPECT_EQ(lom_realloc_property("Fan1", "Speed", "u", sizeof value, &value), MOX_OK);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 8");
}

TEST_F(HalfWritten, IsNotLeftByAnyWholeWrite) {
    write("Fan1", "Speed", speed(1300));
    write("Fan1", "Label", label("w"));
    write("Fan1", "Label", label("west"));
    EXPECT_EQ(state_of("Fan1", "Label"), "modified synced");
    EXPECT_FALSE(has_state(property_of("Fan1", "Speed"), kHalfWritten));
}

// A store that would need the mark leaves it to the caller to set it.
TEST(StoreAtOnce, TakesWordsOfUnchangedSizeOnly) {
    SERIALISED_PROPERTY_S property = {};
    alignas(8) guint8 room[16] = {};
    const guint8 bytes[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    property.data = room;
    property.capacity = sizeof room;
    for (const gsize size : {1U, 2U, 3U, 4U, 5U, 8U, 9U}) {
        property.size = size;
        const bool is_word = size == 1 || size == 2 || size == 4 || size == sizeof(gpointer);
        EXPECT_EQ(store_at_once(property, bytes, size), is_word) << size;
        EXPECT_EQ(std::memcmp(room, bytes, size) == 0, is_word) << size;
        std::memset(room, 0, sizeof room);
        property.size = size + 1;
        EXPECT_FALSE(store_at_once(property, bytes, size)) << size;
    }
}

TEST(StoreAtOnce, LeavesOddPlacesToTheMark) {
    SERIALISED_PROPERTY_S property = {};
    alignas(8) guint8 room[16] = {};
    const guint8 bytes[4] = {1, 2, 3, 4};
    property.data = room + 1;
    property.capacity = 8;
    property.size = 4;
    EXPECT_FALSE(store_at_once(property, bytes, 4));
    store_bytes(property, bytes, 4);
    EXPECT_EQ(std::memcmp(room + 1, bytes, 4), 0);
    EXPECT_EQ(property.state.all, 0U);
}

}  // namespace
}  // namespace mox::test
