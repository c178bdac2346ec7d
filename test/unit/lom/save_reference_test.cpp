// Saving, reading back and marking a property that names another object's: all of it is done to the
// target, under the target's name.
#include <gtest/gtest.h>

#include "save_fixture.hpp"

namespace mox::test {
namespace {

// One of the three operations that follow references, by its name.
struct Operation {
    const char* name;
    gint32 (*run)(const std::string& object, const std::string& property);
};

void PrintTo(const Operation& operation, std::ostream* stream) {
    *stream << operation.name;
}

gint32 save_stored(const std::string& object, const std::string& property) {
    return lom_save_property_value(handle_of(object), property.c_str(), nullptr, PER_MODE_RESET,
                                   FALSE, FALSE);
}

gint32 read_saved(const std::string& object, const std::string& property) {
    GVariant* value = nullptr;
    const gint32 code =
        lom_get_saved_value(handle_of(object), property.c_str(), &value, PER_MODE_RESET, FALSE);
    if (value != nullptr) g_variant_unref(value);
    return code;
}

gint32 mark_static(const std::string& object, const std::string& property) {
    return lom_set_property_save_type(handle_of(object), property.c_str(), TRUE);
}

class ReferenceToSaved : public SaveFixture, public ::testing::WithParamInterface<Operation> {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        fake::persist_put("Fan1", "Speed", FALSE, PER_MODE_RESET, "u", bytes_of<guint32>(7));
        add_view("Fan1.Speed");
    }

    static gint32 run() { return GetParam().run("View", "Twin"); }

    static gint32 run_at(const std::string& target) {
        add_view(target);
        const gint32 code = run();
        EXPECT_EQ(fake::persist_texts(), Texts{}) << target;
        return code;
    }

    gint32 run_first_link(guint links, const std::string& end) {
        add_links(links, end);
        return GetParam().run("L", "N0");
    }
};

TEST_P(ReferenceToSaved, LeadsToTheTarget) {
    EXPECT_EQ(run(), 0);
    const auto calls = fake::persist_calls();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].object + "." + calls[0].name, "Fan1.Speed");
}

TEST_P(ReferenceToSaved, LeavesTheReferencesOwnState) {
    run();
    EXPECT_EQ(state_of("View", "Twin"), "");
}

TEST_P(ReferenceToSaved, NeedsTheRightToWriteEveryObjectOnTheWay) {
    add_view("Fan1.Speed", OBJECT_READ_ONLY);
    EXPECT_EQ(run(), -2014);
    add_view("Fan1.Speed");
    lom_set_writable(handle_of("Fan1"), OBJECT_READ_ONLY);
    EXPECT_EQ(run(), -2014);
}

TEST_P(ReferenceToSaved, ToAnUnknownObjectFindsNoObject) {
    EXPECT_EQ(run_at("Fan9.Speed"), -2009);
    EXPECT_EQ(run_at("Fan9"), -2009);
}

TEST_P(ReferenceToSaved, ToAnUnknownPropertyFindsNoProperty) {
    EXPECT_EQ(run_at("Fan1.Colour"), -2010);
}

TEST_P(ReferenceToSaved, WithoutADotNamesNoProperty) {
    EXPECT_EQ(run_at("Fan1"), -2001);
}

TEST_P(ReferenceToSaved, WithoutTextNamesNothing) {
    SERIALISED_PROPERTY_S& twin = property_of("View", "Twin");
    gpointer const text = twin.data;
    twin.data = nullptr;
    EXPECT_EQ(run(), -2000);
    twin.data = text;
}

TEST_P(ReferenceToSaved, OfEmptyTextNamesNothing) {
    EXPECT_EQ(run_at(""), -2000);
}

TEST_P(ReferenceToSaved, OfATextLongerThanAnyNameFindsNoObject) {
    EXPECT_EQ(run_at(std::string(200, 'x')), -2009);
}

TEST_P(ReferenceToSaved, ToAPropertyWithoutARecordIsAnInternalFailure) {
    entry_of("Fan1", "Label").property_ptr = nullptr;
    EXPECT_EQ(run_at("Fan1.Label"), -2000);
}

TEST_P(ReferenceToSaved, SplitsItsTextAtTheFirstDotOnly) {
    add_object({.name = "Fan3", .properties = {number<guint32>("a.b", "u", 1)}});
    set_writable("Fan3");
    fake::persist_put("Fan3", "a.b", FALSE, PER_MODE_RESET, "u", bytes_of<guint32>(7));
    add_view("Fan3.a.b");
    EXPECT_EQ(run(), 0);
}

TEST_P(ReferenceToSaved, LeadsToAPrefixedName) {
    fake::persist_put("Fan1", "Level", TRUE, PER_MODE_RESET, "y", {3});
    add_view("Fan1.d:Level");
    EXPECT_EQ(run(), 0);
}

TEST_P(ReferenceToSaved, FollowsVeryManyReferences) {
    EXPECT_EQ(run_first_link(kVeryManyLinks, "Fan1.Speed"), 0);
}

TEST_P(ReferenceToSaved, ThatNamesItselfFails) {
    EXPECT_EQ(run_first_link(1, "L.N0"), -2000);
}

TEST_P(ReferenceToSaved, InACycleOfTwoFails) {
    EXPECT_EQ(run_first_link(2, "L.N0"), -2000);
}

TEST_P(ReferenceToSaved, InACycleOfAThousandFails) {
    EXPECT_EQ(run_first_link(1000, "L.N0"), -2000);
}

INSTANTIATE_TEST_SUITE_P(, ReferenceToSaved,
                         ::testing::Values(Operation{"Save", save_stored},
                                           Operation{"Read", read_saved},
                                           Operation{"Mark", mark_static}),
                         [](const auto& each) { return std::string(each.param.name); });

class ReferenceSave : public SaveFixture {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        add_view("Fan1.Speed");
    }
};

TEST_F(ReferenceSave, HandsOnValueModeAndMark) {
    const Value value = owned(speed(1));
    EXPECT_EQ(save("View", "Twin", value.get(), PER_MODE_RESET, TRUE), 0);
    EXPECT_EQ(fake::persist_texts(),
              (Texts{"save Fan1.Speed u:01000000 mode 1", "status Fan1.Speed = 114"}));
}

TEST_F(ReferenceSave, SavesTheTargetsStoredValue) {
    save("View", "Twin");
    EXPECT_EQ(fake::persist_texts(), Texts{"save Fan1.Speed u:b0040000 mode 2"});
}

TEST_F(ReferenceSave, HeedsTheTargetsOverride) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(save("View", "Twin"), -2019);
    EXPECT_EQ(fake::persist_texts(), Texts{});
}

}  // namespace
}  // namespace mox::test
