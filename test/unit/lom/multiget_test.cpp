// Reading several properties of one object as one set: the stored values are of one moment, live
// sources are asked behind it, and nothing is left behind.
#include <gtest/gtest.h>

#include "expression_fixture.hpp"

namespace mox::test {
namespace {

class MultipleRead : public ExpressionFixture {
protected:
    void SetUp() override {
        ExpressionFixture::SetUp();
        add_object({.name = "Card",
                    .properties = {number<guint32>("A", "u", 1), text("B", "two"),
                                   number<guint32>("Temp", "u", 20, "rw", "Sensor"),
                                   number<guint64>("Serial", "t", 5)}});
        fake::driver_program_value<guint32>("Sensor", 30);
        set_writable("Card");
    }

    // Names in a list for one call.
    class Names {
    public:
        explicit Names(const std::vector<std::string>& names) : names_(names) {
            for (std::string& name : names_) list_ = g_slist_append(list_, name.data());
        }
        ~Names() { g_slist_free(list_); }
        Names(const Names&) = delete;
        Names& operator=(const Names&) = delete;

        GSList* list() const { return list_; }

    private:
        std::vector<std::string> names_;
        GSList* list_ = nullptr;
    };

    // The values as texts, or {"code -2010"}; a call that fails must leave no list.
    static Texts read(const std::string& object, const std::vector<std::string>& names) {
        const Names wanted(names);
        GSList* values = wanted.list();  // anything but null
        const gint32 code = lom_multiget_property_value(handle_of(object), wanted.list(), &values);
        Texts texts;
        for (const GSList* node = values; node != nullptr; node = node->next) {
            texts.push_back(printed(static_cast<GVariant*>(node->data)));
        }
        g_slist_free_full(values,
                          [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
        if (code == MOX_OK) return texts;
        EXPECT_EQ(texts, Texts{}) << "values beside code " << code;
        return {"code " + std::to_string(code)};
    }
};

TEST_F(MultipleRead, GivesTheValuesInTheOrderOfTheNames) {
    EXPECT_EQ(read("Card", {"B", "A"}), (Texts{"'two'", "uint32 1"}));
}

TEST_F(MultipleRead, GivesTheValueOfANameThatStandsTwiceTwice) {
    EXPECT_EQ(read("Card", {"A", "B", "A"}), (Texts{"uint32 1", "'two'", "uint32 1"}));
}

TEST_F(MultipleRead, GivesOneValueForOneName) {
    EXPECT_EQ(read("Card", {"B"}), Texts{"'two'"});
}

TEST_F(MultipleRead, GivesFloatingValues) {
    const Names names({"A"});
    GSList* values = nullptr;
    ASSERT_EQ(lom_multiget_property_value(handle_of("Card"), names.list(), &values), 0);
    EXPECT_TRUE(g_variant_is_floating(static_cast<GVariant*>(values->data)));
    g_variant_unref(static_cast<GVariant*>(values->data));
    g_slist_free(values);
}

TEST_F(MultipleRead, LeavesTheListOfNames) {
    const Names names({"A", "B"});
    GSList* values = nullptr;
    lom_multiget_property_value(handle_of("Card"), names.list(), &values);
    EXPECT_STREQ(static_cast<gchar*>(names.list()->data), "A");
    EXPECT_STREQ(static_cast<gchar*>(names.list()->next->data), "B");
    EXPECT_EQ(g_slist_length(names.list()), 2U);
    g_slist_free_full(values,
                      [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
}

TEST_F(MultipleRead, TakesTheSemaphoreOnceForAllOfThem) {
    read("Card", {"A", "B", "A", "B"});
    EXPECT_EQ(takes_of("Card"), 1U);
    EXPECT_EQ(fake::osal::takes(), 1U);
    EXPECT_EQ(fake::osal::held(), 0U);
}

TEST_F(MultipleRead, FailsWithoutTheSemaphore) {
    fail_semaphore_of("Card");
    EXPECT_EQ(read("Card", {"A"}), Texts{"code -2015"});
}

TEST_F(MultipleRead, WithoutTheSemaphoreIsSeenBeforeAPropertyIsMissed) {
    fail_semaphore_of("Card");
    EXPECT_EQ(read("Card", {"Colour"}), Texts{"code -2015"});
}

TEST_F(MultipleRead, OfAnUnknownNameAmongKnownOnesGivesNoValue) {
    EXPECT_EQ(read("Card", {"A", "Colour", "B"}), Texts{"code -2010"});
    EXPECT_EQ(read("Card", {"Colour", "A"}), Texts{"code -2010"});
    EXPECT_EQ(read("Card", {"A", "Colour"}), Texts{"code -2010"});
    EXPECT_EQ(fake::osal::held(), 0U);
}

TEST_F(MultipleRead, OfAnUnknownNameAsksNoHardware) {
    read("Card", {"Temp", "Colour"});
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(MultipleRead, OfNoNameAmongOthersFindsNoProperty) {
    GSList names = {nullptr, nullptr};
    GSList* values = nullptr;
    EXPECT_EQ(lom_multiget_property_value(handle_of("Card"), &names, &values), -2010);
}

TEST_F(MultipleRead, OfAPropertyWithoutARecordFindsNoProperty) {
    entry_of("Card", "B").property_ptr = nullptr;
    EXPECT_EQ(read("Card", {"A", "B"}), Texts{"code -2010"});
}

TEST_F(MultipleRead, OfAnUnknownObjectFindsNoObject) {
    EXPECT_EQ(read("Card9", {"A"}), Texts{"code -2009"});
}

TEST_F(MultipleRead, OfNothingIsRefused) {
    const Names names({"A"});
    GSList* values = nullptr;
    EXPECT_EQ(lom_multiget_property_value(0, names.list(), &values), -2001);
    EXPECT_EQ(lom_multiget_property_value(handle_of("Card"), nullptr, &values), -2001);
    EXPECT_EQ(lom_multiget_property_value(handle_of("Card"), names.list(), nullptr), -2001);
    EXPECT_EQ(lom_multiget_property_value(handle_of("Card9"), nullptr, &values), -2001);
}

TEST_F(MultipleRead, NeedsNoRightToWrite) {
    lom_set_writable(handle_of("Card"), OBJECT_READ_ONLY);
    EXPECT_EQ(read("Card", {"A"}), Texts{"uint32 1"});
}

TEST_F(MultipleRead, GivesTypesThatNoWriteTakes) {
    EXPECT_EQ(read("Card", {"Serial"}), Texts{"uint64 5"});
}

TEST_F(MultipleRead, OfATypeThatNamesNoneCannotBeBuilt) {
    property_of("Card", "B").type[0] = 'Z';
    EXPECT_EQ(read("Card", {"A", "B"}), Texts{"code -2013"});
    property_of("Card", "B").type[0] = 's';
}

TEST_F(MultipleRead, OfAnEmptyArrayIsEmpty) {
    add_object({.name = "Card", .properties = {{"Bytes", "ay", {}}}});
    EXPECT_EQ(read("Card", {"Bytes"}), Texts{"@ay []"});
}

TEST_F(MultipleRead, OfADeclaredSizeBeyondTheRoomGivesNoForeignBytes) {
    add_object({.name = "Card",
                .properties = {{"Wide", "d", std::vector<guint8>(12, 0)},
                               number<guint32>("Next", "u", 0x2a2a2a2a)}});
    Texts values;
    messages_of([&] { values = read("Card", {"Wide", "Next"}); });
    EXPECT_EQ(values.back(), "uint32 707406378");
}

TEST_F(MultipleRead, OfADeclaredSizeBeyondAllMemoryFails) {
    for (const gsize size : {G_MAXSIZE, G_MAXSIZE / 2}) {
        property_of("Card", "B").size = size;
        EXPECT_EQ(read("Card", {"A", "B", "A"}), Texts{"code -2000"});
        EXPECT_EQ(read("Card", {"B", "B", "B"}), Texts{"code -2000"});
    }
    property_of("Card", "B").size = sizeof "two";
    EXPECT_EQ(fake::osal::held(), 0U);
}

TEST_F(MultipleRead, GivesValuesThatOutliveEachOther) {
    const Names names({"B", "A", "Serial"});
    GSList* values = nullptr;
    ASSERT_EQ(lom_multiget_property_value(handle_of("Card"), names.list(), &values), 0);
    auto* first = static_cast<GVariant*>(values->data);
    auto* second = static_cast<GVariant*>(values->next->data);
    auto* third = static_cast<GVariant*>(values->next->next->data);
    g_slist_free(values);
    g_variant_unref(first);
    EXPECT_EQ(printed(second), "uint32 1");
    g_variant_unref(second);
    EXPECT_EQ(printed(third), "uint64 5");
    g_variant_unref(third);
}

TEST_F(MultipleRead, AsksTheHardware) {
    EXPECT_EQ(read("Card", {"Temp", "A"}), (Texts{"uint32 30", "uint32 1"}));
}

TEST_F(MultipleRead, WritesNothingBackAndAnnouncesNothing) {
    listen("Fan", "Temp", 7);
    read("Card", {"Temp"});
    EXPECT_EQ(stored_value("Card", "Temp"), "uint32 20");
    EXPECT_EQ(state_of("Card", "Temp"), "");
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(entry_of("Card", "Temp").change_cnt, 0U);
}

TEST_F(MultipleRead, GivesTheCodeOfTheHardware) {
    fake::driver_fail_reads_of("Sensor", -2109);
    EXPECT_EQ(read("Card", {"A", "Temp", "B"}), Texts{"code -2109"});
}

TEST_F(MultipleRead, OfAValueThatIsNotThereForNowGivesTheStoredOne) {
    fake::driver_fail_reads_of("Sensor", -2112);
    EXPECT_EQ(read("Card", {"Temp"}), Texts{"uint32 20"});
}

TEST_F(MultipleRead, OfAViewThatItsOwnerKeepsCurrentAsksNoHardware) {
    lom_set_writable(handle_of("Card"), OBJECT_READ_ONLY);
    property_of("Card", "Temp").state.bit.synced = 1;
    EXPECT_EQ(read("Card", {"Temp"}), Texts{"uint32 20"});
}

TEST_F(MultipleRead, OfOverriddenHardwareFails) {
    ASSERT_EQ(override_with("Card", "Temp", speed(99)), 0);
    EXPECT_EQ(read("Card", {"A", "Temp"}), Texts{"code -2011"});
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(MultipleRead, OfAnOverriddenValueInMemoryGivesIt) {
    ASSERT_EQ(override_with("Card", "A", speed(99)), 0);
    EXPECT_EQ(read("Card", {"A"}), Texts{"uint32 99"});
}

OBJECT_HEAD_S* late_record = nullptr;

// Fetches "Late", and changes "Card.A" meanwhile: a reference asks for it behind the snapshot.
OBJECT_HEAD_S* fetch_and_change(const gchar*, gsize) {
    const guint32 value = 77;
    std::memcpy(property_of("Card", "A").data, &value, sizeof value);
    return std::exchange(late_record, nullptr);
}

TEST_F(MultipleRead, GivesStoredValuesAsTheyWereAtItsBeginning) {
    add_object({.name = "Card",
                .properties = {reference("Twin", "Late.Speed"), number<guint32>("A", "u", 1)}});
    late_record = make_embryo({.name = "Late", .properties = {number<guint32>("Speed", "u", 3)}});
    lom_set_copy_func(fetch_and_change);
    EXPECT_EQ(read("Card", {"Twin", "A"}), (Texts{"uint32 3", "uint32 1"}));
    EXPECT_EQ(stored_value("Card", "A"), "uint32 77");
}

class MultipleReadOfReferences : public MultipleRead {
protected:
    static void add_twins(const std::string& target) {
        add_object({.name = "Twins",
                    .properties = {number<guint32>("Own", "u", 7), reference("Twin", target)}});
    }
};

TEST_F(MultipleReadOfReferences, GivesTheTargetsLiveValue) {
    add_twins("Card.Temp");
    EXPECT_EQ(read("Twins", {"Twin", "Own"}), (Texts{"uint32 30", "uint32 7"}));
}

TEST_F(MultipleReadOfReferences, ReachesTheSameObject) {
    add_twins("Twins.Own");
    EXPECT_EQ(read("Twins", {"Twin", "Own"}), (Texts{"uint32 7", "uint32 7"}));
}

TEST_F(MultipleReadOfReferences, WritesBackAtTheTargetAsAnyReadThere) {
    listen("Fan", "Temp", 7);
    add_twins("Card.Temp");
    read("Twins", {"Twin"});
    EXPECT_EQ(sent_events(), Texts{"7: Card.Temp = uint32 30"});
}

TEST_F(MultipleReadOfReferences, GivesTheTargetsCode) {
    add_twins("Card9.Temp");
    EXPECT_EQ(read("Twins", {"Own", "Twin"}), Texts{"code -2009"});
    add_twins("Card.Colour");
    EXPECT_EQ(read("Twins", {"Own", "Twin"}), Texts{"code -2010"});
    add_twins("Card.Temp");
    fake::driver_fail_reads_of("Sensor", -2109);
    EXPECT_EQ(read("Twins", {"Own", "Twin"}), Texts{"code -2109"});
}

TEST_F(MultipleReadOfReferences, SeesTheTargetsOverride) {
    add_twins("Card.Temp");
    ASSERT_EQ(override_with("Card", "Temp", speed(99)), 0);
    EXPECT_EQ(read("Twins", {"Twin"}), Texts{"uint32 99"});
}

TEST_F(MultipleReadOfReferences, IgnoresTheReferencesOwnOverride) {
    add_twins("Card.Temp");
    property_of("Twins", "Twin").state.bit.override = 1;
    EXPECT_EQ(read("Twins", {"Twin"}), Texts{"uint32 30"});
}

TEST_F(MultipleReadOfReferences, InACycleFails) {
    add_links(2, "L.N0");
    EXPECT_EQ(read("L", {"N0", "N1"}), Texts{"code -2000"});
    add_links(1000, "L.N0");
    EXPECT_EQ(read("L", {"N5"}), Texts{"code -2000"});
}

TEST_F(MultipleReadOfReferences, FollowsVeryManyReferences) {
    add_links(kVeryManyLinks, "Card.A");
    EXPECT_EQ(read("L", {"N0"}), Texts{"uint32 1"});
}

class MultipleReadOfFormulas : public MultipleRead {
protected:
    void SetUp() override {
        MultipleRead::SetUp();
        add_formula("X + Y + Z");
    }
};

TEST_F(MultipleReadOfFormulas, ComputesTheValue) {
    EXPECT_EQ(read("Sum", {"Value", "X"}), (Texts{"6.0", "uint32 1"}));
}

TEST_F(MultipleReadOfFormulas, LeavesResultAndCaches) {
    read("Sum", {"Value"});
    EXPECT_EQ(stored_value("Sum", "Value"), "0.0");
    EXPECT_EQ(caches(), (Texts{"uint32 0", "uint32 0", "uint32 0"}));
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(state_of("Sum", "Value"), "");
}

TEST_F(MultipleReadOfFormulas, LeavesTheEvaluationToALaterSingleRead) {
    read("Sum", {"Value"});
    replace_formula("X + 1000");
    EXPECT_EQ(live_value("Sum", "Value"), "1001.0");
}

TEST_F(MultipleReadOfFormulas, MakesTheObjectWritableAsAnyEvaluation) {
    read("Sum", {"Value"});
    EXPECT_TRUE(lom_is_writable(handle_of("Sum")));
}

TEST_F(MultipleReadOfFormulas, ComputesAlsoWhatIsOverridden) {
    ASSERT_EQ(override_with("Sum", "Value", g_variant_new_double(-1)), 0);
    EXPECT_EQ(read("Sum", {"Value"}), Texts{"6.0"});
}

TEST_F(MultipleReadOfFormulas, GivesWhatIsStoredWhileTheInputsStay) {
    live_value("Sum", "Value");
    replace_formula("X + 1000");
    EXPECT_EQ(read("Sum", {"Value"}), Texts{"6.0"});
}

TEST_F(MultipleReadOfFormulas, GivesTheCodeOfAnInput) {
    add_expression("Sum", without(formula_properties("X"), "Y"));
    EXPECT_EQ(read("Sum", {"X", "Value"}), Texts{"code -2010"});
}

TEST_F(MultipleReadOfFormulas, WithoutAValueGivesNoListButNoFailure) {
    add_expression("Sum", with(formula_properties("X"), "Value", text("Value", "old")));
    EXPECT_EQ(read("Sum", {"X", "Value"}), Texts{});
}

}  // namespace
}  // namespace mox::test
