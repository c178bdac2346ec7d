// Bytes that are no value of their type lie in the pool when a process wrote past the library.
// Every reader takes them as what the type's default is there, or refuses them; none follows them
// out of their block.
#include <gtest/gtest.h>
#include <lom/hardware.h>
#include <lom/persist.h>

#include "expression_fixture.hpp"
#include "lom/property.hpp"

namespace mox::test {
namespace {

using Bytes = std::vector<guint8>;

struct Malformed {
    const char* what;
    const char* type;
    Bytes bytes;
    const char* read_as;
};

// Each child's offset is one byte here, because the values are short.
const Malformed malformed_values[] = {
    {"TextWithoutTerminator", "s", {'a', 'b'}, "''"},
    {"TextWithoutBytes", "s", {}, "''"},
    {"TextThatIsNotUtf8", "s", {0xfc, 0}, "''"},
    {"TextWithTwoEnds", "s", {'a', 0, 'b', 0}, "''"},
    {"TextsWithoutTerminator", "as", {'a', 'b', 2}, "['']"},
    {"TextsThatEndBeyondTheBlock", "as", {'a', 0, 200}, "@as []"},
    {"TextsThatGoBack", "as", {'a', 0, 'b', 0, 4, 1, 4}, "['', '', '']"},
    {"TextsThatAreNotUtf8", "as", {0xfc, 0, 2}, "['']"},
    {"TextsOfOffsetsOnly", "as", {255, 255, 255}, "@as []"},
    {"NumbersCutInTheMidst", "ad", {1, 2, 3, 4, 5, 6, 7}, "@ad []"},
    {"ListsBeyondTheirList", "aas", {'a', 0, 9, 3}, "[@as []]"},
    {"PairBeyondItsBlock", "(si)", {'a', 99}, "('', 0)"},
    {"PairOfNothing", "(si)", {}, "('', 0)"},
    {"PairWithPaddingInUse", "(yi)", {1, 2, 3, 4, 5, 0, 0, 0}, "(byte 0x01, 5)"},
    {"TableWithoutTerminator", "a{sv}", {'k', 'k', 1, 0, 'y', 1, 6}, nullptr},
    {"TableOfBytes", "a{sv}", {255, 255, 255, 255, 255, 255, 255, 255}, "@a{sv} {}"},
    {"AnyOfNoType", "av", {7, 0, '(', '(', '(', 5}, "[<()>]"},
    {"AnyWithoutType", "av", {1, 2, 3, 3}, "[<()>]"},
    {"NumberCutInTheMidst", "i", {1, 2, 3}, "0"},
    {"NumberWithMoreBehind", "u", {1, 0, 0, 0, 1}, "uint32 0"},
};

// All of a value, as far down as it goes.
gsize parts_of(GVariant* value) {
    gsize parts = 1;
    if (g_variant_is_container(value) != FALSE) {
        for (gsize at = 0; at < g_variant_n_children(value); ++at) {
            const Value part(g_variant_get_child_value(value, at));
            parts += parts_of(part.get());
        }
    } else if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING) != FALSE) {
        gsize length = 0;
        const gchar* const text = g_variant_get_string(value, &length);
        EXPECT_EQ(std::strlen(text), length);
        EXPECT_TRUE(g_utf8_validate(text, -1, nullptr));
    }
    return parts;
}

class MalformedValue : public ExpressionFixture {
protected:
    // Runs the body for each kind, with an object "Odd" that has such a value.
    static void for_each_kind(const std::function<void()>& body) {
        for (const Malformed& value : malformed_values) {
            SCOPED_TRACE(value.what);
            kind_ = &value;
            fake::driver_reset();
            add_object({.name = "Odd",
                        .class_name = "Chip",
                        .object_type = "Physical",
                        .properties = {{"Value", value.type, value.bytes}}});
            set_writable("Odd");
            body();
            for (const char* const name : {"Sign", "Sum", "Chip", "Wide", "Odd"}) {
                if (record_of(name) != nullptr) {
                    delete_object(name);
                }
            }
        }
    }
    static const Malformed& kind() { return *kind_; }

    static void expect_defined(GVariant* value) {
        const std::string text = printed(value);
        EXPECT_TRUE(g_utf8_validate(text.c_str(), -1, nullptr));
        EXPECT_GE(parts_of(value), 1U);
        if (kind().read_as != nullptr) {
            EXPECT_EQ(text, kind().read_as);
        }
        // What is written elsewhere, or sent on, is whole again.
        const Value normal(g_variant_get_normal_form(value));
        EXPECT_EQ(printed(normal.get()), text);
    }

    static void expect_defined_read(const std::string& object, const std::string& property,
                                    gboolean is_live) {
        GVariant* value = nullptr;
        ASSERT_EQ(
            lom_get_property_value(handle_of(object), property.c_str(), is_live, &value, FALSE), 0);
        const Value owner(g_variant_ref_sink(value));
        expect_defined(value);
    }

    // The default of the type, whole.
    static Value empty_value() {
        return Value(g_variant_get_normal_form(untrusted(kind().type, {}).get()));
    }

    static bool is_written() { return pub_str_type_check(kind().type) != GVARIANT_NOT_SUPPORT; }
    static gint32 code_of_writes() {
        return is_written() ? MOX_OK : static_cast<gint32>(MOX_ERR_TYPE_NOT_SUPPORTED);
    }

    // The same bytes in a block with room for the default, which not all of them have.
    static void give_room() {
        add_object({.name = "Wide",
                    .class_name = "Chip",
                    .properties = {{"Value", kind().type, Bytes(LOM_DATA_HOLD_SIZE)}}});
        set_writable("Wide");
        SERIALISED_PROPERTY_S& property = property_of("Wide", "Value");
        std::copy(kind().bytes.begin(), kind().bytes.end(), static_cast<guint8*>(property.data));
        property.size = kind().bytes.size();
    }

    static void expect_empty() {
        GVariant* value = nullptr;
        ASSERT_EQ(lom_get_property_value(handle_of("Wide"), "Value", FALSE, &value, FALSE), 0);
        const Value owner(g_variant_ref_sink(value));
        const Value empty = empty_value();
        EXPECT_EQ(g_variant_is_normal_form(value) && g_variant_equal(value, empty.get()),
                  is_written());
    }

private:
    static const Malformed* kind_;
};

const Malformed* MalformedValue::kind_ = nullptr;

TEST_F(MalformedValue, IsReadAsItsTypesDefault) {
    for_each_kind([] {
        expect_defined_read("Odd", "Value", FALSE);
        expect_defined_read("Odd", "Value", TRUE);
    });
}

TEST_F(MalformedValue, IsReadAsItsTypesDefaultAmongSeveral) {
    for_each_kind([] {
        GSList name = {const_cast<char*>("Value"), nullptr};
        GSList* values = nullptr;
        ASSERT_EQ(lom_multiget_property_value(handle_of("Odd"), &name, &values), 0);
        const Value value(g_variant_ref_sink(static_cast<GVariant*>(values->data)));
        g_slist_free(values);
        expect_defined(value.get());
    });
}

TEST_F(MalformedValue, IsReadAsItsTypesDefaultThroughAReference) {
    for_each_kind([] {
        add_object({.name = "Sign", .properties = {reference("To", "Odd.Value")}});
        expect_defined_read("Sign", "To", FALSE);
        expect_defined_read("Sign", "To", TRUE);
        GSList name = {const_cast<char*>("To"), nullptr};
        GSList* values = nullptr;
        ASSERT_EQ(lom_multiget_property_value(handle_of("Sign"), &name, &values), 0);
        const Value value(g_variant_ref_sink(static_cast<GVariant*>(values->data)));
        g_slist_free(values);
        expect_defined(value.get());
    });
}

TEST_F(MalformedValue, GivesItsBytesAsTheyAre) {
    for_each_kind([] {
        Package package;
        package.code = lom_get_property_data(handle_of("Odd"), "Value", FALSE, &package.tlv, FALSE);
        EXPECT_EQ(package.code, 0);
        EXPECT_EQ(package.bytes(), kind().bytes);
    });
}

TEST_F(MalformedValue, IsReadIntoABufferAsItIs) {
    for_each_kind([] {
        guchar buffer[16] = {};
        ASSERT_EQ(lom_get_property_value_v2(handle_of("Odd"), "Value", FALSE, sizeof buffer, buffer,
                                            FALSE),
                  0);
        EXPECT_EQ(Bytes(buffer, buffer + kind().bytes.size()), kind().bytes);
    });
}

TEST_F(MalformedValue, AsInputOfAFormulaIsItsFirstNumberOrZero) {
    for_each_kind([] {
        add_expression("Sum",
                       with(formula_properties("X*0 + Y"), "X", reference("X", "Odd.Value")));
        EXPECT_EQ(live_value("Sum", "Value"), "2.0");
    });
}

TEST_F(MalformedValue, AsAFormulaHasNoResultOrANumber) {
    for_each_kind([] {
        add_expression("Sum", with(formula_properties("X"), "Formula",
                                   {"Formula", kind().type, kind().bytes}));
        EXPECT_NE(live_value("Sum", "Value"), "");
    });
}

TEST_F(MalformedValue, AsTheCacheOfAFormulaIsAnother) {
    for_each_kind([] {
        add_expression("Sum", with(formula_properties("X + Y"), "Xcache",
                                   {"Xcache", kind().type, kind().bytes}));
        EXPECT_EQ(live_value("Sum", "Value"), "3.0");
    });
}

TEST_F(MalformedValue, AsANameOfHardwareLeadsNowhere) {
    for_each_kind([] {
        add_object({.name = "Chip",
                    .class_name = "Chip",
                    .object_type = "Physical",
                    .properties = {{"LBus", kind().type, kind().bytes}}});
        GHashTable* const family = g_hash_table_new(g_direct_hash, g_direct_equal);
        lom_family_to_hash(handle_of("Chip"), family);
        EXPECT_EQ(g_hash_table_size(family), 1U);
        g_hash_table_destroy(family);
    });
}

TEST_F(MalformedValue, IsHandedToTheDriversAsItsTypesDefault) {
    for_each_kind([] {
        lom_create_has_object(handle_of("Odd"));
        const auto tables = fake::driver_tables();
        ASSERT_EQ(tables.size(), 1U);
        const auto& list = tables[0].at("Chip.Odd");
        ASSERT_EQ(list.size(), 5U);
        EXPECT_EQ(list.back().name, "Value");
        if (kind().read_as != nullptr) {
            EXPECT_EQ(list.back().value, kind().read_as);
        }
    });
}

TEST_F(MalformedValue, IsReplacedByAWholeOne) {
    for_each_kind([] {
        give_room();
        EXPECT_EQ(write("Wide", "Value", empty_value().get()), code_of_writes());
        expect_empty();
    });
}

TEST_F(MalformedValue, IsReplacedByAForcedOne) {
    for_each_kind([] {
        give_room();
        EXPECT_EQ(override_with("Wide", "Value", empty_value().get()), code_of_writes());
        expect_empty();
    });
}

TEST_F(MalformedValue, IsHandedToTheStoreWhichRefusesIt) {
    for_each_kind([] {
        fake::persist_answer(fake::PersistAction::save, PER_ERROR_PARA_5_INVALID);
        EXPECT_EQ(lom_save_property_value(handle_of("Odd"), "Value", nullptr, PER_MODE_PERMANENT,
                                          FALSE, FALSE),
                  PER_ERROR_PARA_5_INVALID);
    });
}

TEST_F(MalformedValue, IsToldToListenersWhole) {
    for_each_kind([] {
        listen("Chip", "Value", 4);
        const gsize sent = sent_events().size();
        GVariant* value = nullptr;
        ASSERT_EQ(lom_get_property_value(handle_of("Odd"), "Value", FALSE, &value, FALSE), 0);
        const Value owner(g_variant_ref_sink(value));
        lom_property_event(handle_of("Odd"), "Value", value, TRUE);
        ASSERT_EQ(sent_events().size(), sent + 1);
        if (kind().read_as != nullptr) {
            EXPECT_EQ(sent_events().back(), std::string("4: Odd.Value = ") + kind().read_as);
        }
    });
}

class OversizedValue : public ExpressionFixture {
protected:
    void SetUp() override {
        ExpressionFixture::SetUp();
        add_formula("X + Y");
        property_of("Sensor", "A").size = kLargestValue + 1;
    }
};

TEST_F(OversizedValue, IsRefusedByEveryReader) {
    EXPECT_EQ(stored_value("Sensor", "A"), "code -2000");
    EXPECT_EQ(live_value("Sensor", "A"), "code -2000");
    EXPECT_EQ(live_value("Sum", "Value"), "code -2000");
    EXPECT_EQ(stored_value("Sum", "X"), "code -2000");
    GSList name = {const_cast<char*>("A"), nullptr};
    GSList* values = nullptr;
    EXPECT_EQ(lom_multiget_property_value(handle_of("Sensor"), &name, &values), -2000);
    EXPECT_EQ(values, nullptr);
}

TEST_F(OversizedValue, IsNotSaved) {
    EXPECT_EQ(lom_save_property_value(handle_of("Sensor"), "A", nullptr, PER_MODE_PERMANENT, FALSE,
                                      FALSE),
              -2000);
    EXPECT_TRUE(fake::persist_texts().empty());
}

TEST_F(OversizedValue, EndsWithTheNextWrite) {
    EXPECT_EQ(write("Sensor", "A", g_variant_new_uint32(9)), 0);
    EXPECT_EQ(stored_value("Sensor", "A"), "uint32 9");
}

}  // namespace
}  // namespace mox::test
