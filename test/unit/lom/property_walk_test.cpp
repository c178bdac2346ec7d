// Walks over properties: all of one object, and all that their hardware refreshes.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

struct Seen {
    std::map<std::string, std::string> values;
    OBJ_HANDLE handle = 0;
    gsize semaphores_held = 0;
    guint calls = 0;
};

void note(OBJ_HANDLE obj_handle, const gchar* property_name, GVariant* value, gpointer user_data) {
    auto& seen = *static_cast<Seen*>(user_data);
    seen.values[property_name] = printed(value);
    seen.handle = obj_handle;
    seen.semaphores_held += fake::osal::held();
    ++seen.calls;
}

using Values = std::map<std::string, std::string>;

class PropertyWalk : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 1200, "rw", "Tacho"),
                                   text("Label", "left"), number<guint8>("Level", "y", 3)}});
        fake::driver_program_value<guint32>("Tacho", 1300);
    }

    static Seen walk(const std::string& object = "Fan1") {
        Seen seen;
        EXPECT_EQ(lom_foreach_property(handle_of(object), note, &seen), 0);
        return seen;
    }
};

TEST_F(PropertyWalk, SeesEveryPropertyOnceWithItsLiveValue) {
    const Seen seen = walk();
    EXPECT_EQ(seen.values,
              (Values{{"Speed", "uint32 1300"}, {"Label", "'left'"}, {"Level", "byte 0x03"}}));
    EXPECT_EQ(seen.calls, 3U);
}

TEST_F(PropertyWalk, NamesTheObject) {
    EXPECT_EQ(walk().handle, handle_of("Fan1"));
}

TEST_F(PropertyWalk, HoldsNoSemaphoreWhileItsHandlerRuns) {
    EXPECT_EQ(walk().semaphores_held, 0U);
}

TEST_F(PropertyWalk, WritesBackAndAnnouncesWhatItReads) {
    set_writable("Fan1");
    listen("Fan", "Speed", 7);
    walk();
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1300");
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 1300"});
}

TEST_F(PropertyWalk, SkipsWhatCannotBeReadWithoutAWord) {
    fake::driver_fail_reads_of("Tacho", -2109);
    Seen seen;
    EXPECT_EQ(messages_of([&] { seen = walk(); }), Texts{});
    EXPECT_EQ(seen.values, (Values{{"Label", "'left'"}, {"Level", "byte 0x03"}}));
}

TEST_F(PropertyWalk, SkipsAnEntryWithoutARecord) {
    entry_of("Fan1", "Level").property_ptr = nullptr;
    EXPECT_EQ(walk().values, (Values{{"Speed", "uint32 1300"}, {"Label", "'left'"}}));
}

TEST_F(PropertyWalk, SkipsANullEntry) {
    g_hash_table_insert(record_of("Fan1")->property_hash, g_strdup("Hole"), nullptr);
    EXPECT_EQ(walk().calls, 3U);
}

TEST_F(PropertyWalk, NeverGoesThroughTheOwner) {
    lom_set_remote_get_property_func(nullptr);
    EXPECT_EQ(walk().values["Speed"], "uint32 1300");
    EXPECT_EQ(fake::driver_reads().size(), 1U);
}

TEST_F(PropertyWalk, OfAnObjectWithoutPropertiesSeesNone) {
    add_object({.name = "Bare"});
    EXPECT_EQ(walk("Bare").calls, 0U);
}

TEST_F(PropertyWalk, RefusesANullHandle) {
    Seen seen;
    EXPECT_EQ(lom_foreach_property(0, note, &seen), -2001);
}

TEST_F(PropertyWalk, RefusesANullHandler) {
    EXPECT_EQ(lom_foreach_property(handle_of("Fan1"), nullptr, nullptr), -2001);
}

TEST_F(PropertyWalk, DoesNotFindAnUnknownObject) {
    Seen seen;
    EXPECT_EQ(lom_foreach_property(handle_of("Fan9"), note, &seen), -2009);
    EXPECT_EQ(seen.calls, 0U);
}

void keep([[maybe_unused]] OBJ_HANDLE obj_handle, [[maybe_unused]] const gchar* property_name,
          GVariant* value, gpointer user_data) {
    auto& kept = *static_cast<std::vector<GVariant*>*>(user_data);
    kept.push_back(g_variant_ref(value));
}

TEST_F(PropertyWalk, LendsItsValues) {
    std::vector<GVariant*> kept;
    lom_foreach_property(handle_of("Fan1"), keep, &kept);
    ASSERT_EQ(kept.size(), 3U);
    for (GVariant* const value : kept) {
        EXPECT_FALSE(printed(value).empty());
        g_variant_unref(value);
    }
}

// Objects with one property for each mode, and accessors of the same names.
class BatchRead : public ValueFixture {
protected:
    static void add_plain(const std::string& object, const std::string& mode,
                          const std::string& accessor) {
        add_object(
            {.name = object, .properties = {number<guint32>("Speed", "u", 1, mode, accessor)}});
        if (!accessor.empty()) fake::driver_program_value<guint32>(accessor, 2);
    }

    // The accessors that a batch asks, in the order of their names.
    static Texts asked() {
        lom_property_batch_read();
        Texts names;
        for (const auto& read : fake::driver_reads()) names.push_back(read.accessor);
        std::sort(names.begin(), names.end());
        return names;
    }
};

TEST_F(BatchRead, ReadsWhatMayBeReadAndIsSynchronous) {
    add_plain("Fan1", "rw", "Both");
    add_plain("Fan2", "r", "ReadOnly");
    EXPECT_EQ(asked(), (Texts{"Both", "ReadOnly"}));
}

TEST_F(BatchRead, SkipsANullEntry) {
    add_plain("Fan1", "rw", "Both");
    g_hash_table_insert(record_of("Fan1")->property_hash, g_strdup("Hole"), nullptr);
    EXPECT_EQ(asked(), Texts{"Both"});
}

TEST_F(BatchRead, LeavesWhatMayNotBeRead) {
    add_plain("Fan1", "w", "WriteOnly");
    EXPECT_EQ(asked(), Texts{});
    EXPECT_EQ(takes_of("Fan1"), 0U);
}

TEST_F(BatchRead, LeavesWhatIsNotSynchronous) {
    add_plain("Fan1", "r-", "KeptByOwner");
    set_writable("Fan1");
    EXPECT_EQ(asked(), Texts{});
    EXPECT_EQ(takes_of("Fan1"), 0U);
}

TEST_F(BatchRead, LeavesWhatHasNoAccessor) {
    add_plain("Fan1", "rw", "");
    lom_property_batch_read();
    EXPECT_EQ(takes_of("Fan1"), 0U);
}

TEST_F(BatchRead, LeavesWhatHasAnEmptyAccessor) {
    add_plain("Fan1", "rw", "Both");
    property_of("Fan1", "Speed").accessor[0] = '\0';
    lom_property_batch_read();
    EXPECT_EQ(takes_of("Fan1"), 0U);
}

TEST_F(BatchRead, LeavesAnEntryWithoutARecord) {
    add_plain("Fan1", "rw", "Both");
    entry_of("Fan1", "Speed").property_ptr = nullptr;
    EXPECT_EQ(asked(), Texts{});
}

TEST_F(BatchRead, ReadsEveryPropertyOfAnObjectOnce) {
    add_object({.name = "Fan1",
                .properties = {number<guint32>("Speed", "u", 1, "rw", "A"),
                               number<guint32>("Limit", "u", 1, "rw", "B"),
                               number<guint32>("Count", "u", 1, "rw", "")}});
    fake::driver_program_value<guint32>("A", 2);
    fake::driver_program_value<guint32>("B", 2);
    EXPECT_EQ(asked(), (Texts{"A", "B"}));
}

TEST_F(BatchRead, WritesBackAndAnnouncesTheChangesOfWritableObjects) {
    add_plain("Fan1", "rw", "Both");
    set_writable("Fan1");
    listen("Fan", "Speed", 7);
    lom_property_batch_read();
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 2");
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 2"});
}

TEST_F(BatchRead, LeavesTheStoredValuesOfReadOnlyObjects) {
    add_plain("Fan1", "rw", "Both");
    EXPECT_EQ(asked(), Texts{"Both"});
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1");
}

TEST_F(BatchRead, GoesOnAfterAFailure) {
    add_plain("Fan1", "rw", "A");
    add_plain("Fan2", "rw", "B");
    add_plain("Fan3", "rw", "C");
    fake::driver_fail_reads_of("A", -2114);
    fake::driver_fail_reads_of("B", -2106);
    EXPECT_EQ(asked(), (Texts{"A", "B", "C"}));
}

TEST_F(BatchRead, DoesNotAskForAnOverriddenValue) {
    add_plain("Fan1", "rw", "Both");
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(asked(), Texts{});
}

TEST_F(BatchRead, LeavesObjectsThatAreMarkedDeleted) {
    add_plain("Fan1", "rw", "Both");
    record_of("Fan1")->status = OBJECT_MARK_DEL;
    EXPECT_EQ(asked(), Texts{});
}

TEST_F(BatchRead, OfNoObjectsDoesNothing) {
    EXPECT_EQ(asked(), Texts{});
}

}  // namespace
}  // namespace mox::test
