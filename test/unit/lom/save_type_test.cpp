// Whether a property is saved statically: the mark in its state word, its record in the store, and
// the names that are collected of those without it.
#include <gtest/gtest.h>

#include "lom/save_type.hpp"
#include "save_fixture.hpp"

namespace mox::test {
namespace {

using SaveType = SaveFixture;

TEST_F(SaveType, SetMarksThePropertyAndRecordsItsState) {
    EXPECT_EQ(mark("Fan1", "Speed", TRUE), 0);
    EXPECT_EQ(state_of("Fan1", "Speed"), "static");
    EXPECT_EQ(fake::persist_texts(), Texts{"status Fan1.Speed = 114"});
}

TEST_F(SaveType, SetRecordsTheWholeStateWord) {
    property_of("Fan1", "Speed").state.all = 0xABCDE079U;
    mark("Fan1", "Speed", TRUE);
    EXPECT_EQ(property_of("Fan1", "Speed").state.all, 0xABCDE07BU);
    EXPECT_EQ(fake::persist_calls().at(0).state, 0xABCDE07BU);
}

TEST_F(SaveType, TakenAwayUnmarksThePropertyAndRemovesItsRecord) {
    property_of("Fan1", "Speed").state.all = 0xABCDE07BU;
    EXPECT_EQ(mark("Fan1", "Speed", FALSE), 0);
    EXPECT_EQ(property_of("Fan1", "Speed").state.all, 0xABCDE079U);
    EXPECT_EQ(fake::persist_texts(), Texts{"unstatus Fan1.Speed"});
}

TEST_F(SaveType, SetTwiceIsRecordedOnce) {
    mark("Fan1", "Speed", TRUE);
    EXPECT_EQ(mark("Fan1", "Speed", TRUE), 0);
    EXPECT_EQ(fake::persist_texts().size(), 1U);
    EXPECT_EQ(state_of("Fan1", "Speed"), "static");
}

TEST_F(SaveType, ThatWasNotThereIsNotTakenAway) {
    EXPECT_EQ(mark("Fan1", "Speed", FALSE), 0);
    EXPECT_EQ(fake::persist_texts(), Texts{});
}

TEST_F(SaveType, ThatStaysTellsSoInDetail) {
    mark("Fan1", "Speed", TRUE);
    const DebugLevel level{"3"};
    EXPECT_EQ(stdout_of([] { mark("Fan1", "Speed", TRUE); }),
              stamped_message("save type not changed\n"));
    EXPECT_EQ(stdout_of([] { mark("Fan1", "Label", FALSE); }),
              stamped_message("save type not changed\n"));
}

TEST_F(SaveType, ThatStaysTellsNothingBelowThat) {
    const DebugLevel level{"2"};
    EXPECT_EQ(messages_of([] { mark("Fan1", "Label", FALSE); }), Texts{});
}

TEST_F(SaveType, ThatChangesTellsNothing) {
    const DebugLevel level{"3"};
    EXPECT_EQ(stdout_of([] { mark("Fan1", "Speed", TRUE); }), "");
    EXPECT_EQ(stdout_of([] { mark("Fan1", "Speed", FALSE); }), "");
}

TEST_F(SaveType, ThatCannotBeRecordedIsSetAllTheSame) {
    fake::persist_answer(fake::PersistAction::save_status, PER_ERROR_FILE_WRITE_FAIL);
    gint32 code = 0;
    const Texts messages = messages_of([&] { code = mark("Fan1", "Speed", TRUE); });
    EXPECT_EQ(code, -4999984);
    EXPECT_EQ(state_of("Fan1", "Speed"), "static");
    EXPECT_EQ(messages, Texts{"ERR save Fan1.Speed status failed -4999984\n"});
}

TEST_F(SaveType, WhoseRecordCannotBeRemovedIsTakenAwayAllTheSame) {
    property_of("Fan1", "Speed").state.bit.static_saved = 1;
    fake::persist_answer(fake::PersistAction::remove_status, PER_ERROR_FILE_WRITE_FAIL);
    gint32 code = 0;
    const Texts messages = messages_of([&] { code = mark("Fan1", "Speed", FALSE); });
    EXPECT_EQ(code, -4999984);
    EXPECT_EQ(state_of("Fan1", "Speed"), "");
    EXPECT_EQ(messages, Texts{"ERR remove Fan1.Speed status failed -4999984\n"});
}

TEST_F(SaveType, GivesTheCodeOfANewRecordWithoutAComplaint) {
    fake::persist_answer(fake::PersistAction::save_status, PER_NEW_ITEM);
    gint32 code = 0;
    const Texts messages = messages_of([&] { code = mark("Fan1", "Speed", TRUE); });
    EXPECT_EQ(code, 1);
    EXPECT_EQ(messages, Texts{});
}

TEST_F(SaveType, IsRecordedUnderTheNameWithItsPrefix) {
    mark("Fan1", "d:Level", TRUE);
    mark("Fan1", "d:Level", FALSE);
    EXPECT_EQ(fake::persist_texts(), (Texts{"status Fan1.d:Level = 114", "unstatus Fan1.d:Level"}));
}

TEST_F(SaveType, IsChangedAlsoWhileThePropertyIsOverridden) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(mark("Fan1", "Speed", TRUE), 0);
    EXPECT_EQ(state_of("Fan1", "Speed"), "static override");
}

TEST_F(SaveType, IsNotAnnounced) {
    mark("Fan1", "Speed", TRUE);
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(SaveType, OfNoObjectOrNoNameIsRefused) {
    EXPECT_EQ(lom_set_property_save_type(0, "Speed", TRUE), -2001);
    EXPECT_EQ(lom_set_property_save_type(handle_of("Fan1"), nullptr, TRUE), -2001);
    EXPECT_EQ(lom_set_property_save_type(handle_of("Fan9"), nullptr, TRUE), -2001);
}

TEST_F(SaveType, IsRefusedInOrderOfTheChecks) {
    EXPECT_EQ(mark("Fan9", "Speed", TRUE), -2009);
    EXPECT_EQ(mark("Fan1", "Colour", TRUE), -2010);
    entry_of("Fan1", "Label").property_ptr = nullptr;
    EXPECT_EQ(mark("Fan1", "Label", TRUE), -2000);
    lom_set_writable(handle_of("Fan1"), OBJECT_READ_ONLY);
    EXPECT_EQ(mark("Fan1", "Colour", TRUE), -2014);
    EXPECT_EQ(fake::persist_texts(), Texts{});
}

class RestoredStatus : public SaveFixture {
protected:
    static PROPERTY_STATE_S& state() { return property_of("Fan1", "Speed").state; }
};

TEST_F(RestoredStatus, SetsTheMarkAlone) {
    state().all = 0xABCDE079U;
    EXPECT_EQ(lom_reset_property_status("Fan1", "Speed", 2), 0);
    EXPECT_EQ(state().all, 0xABCDE07BU);
}

TEST_F(RestoredStatus, ClearsTheMarkAlone) {
    state().all = 0xABCDE07FU;
    EXPECT_EQ(lom_reset_property_status("Fan1", "Speed", 0), 0);
    EXPECT_EQ(state().all, 0xABCDE07DU);
}

TEST_F(RestoredStatus, TakesNoOtherBit) {
    EXPECT_EQ(lom_reset_property_status("Fan1", "Speed", 0xFFFFFFFFU), 0);
    EXPECT_EQ(state_of("Fan1", "Speed"), "static");
    EXPECT_EQ(lom_reset_property_status("Fan1", "Speed", 0xFFFFFFFDU), 0);
    EXPECT_EQ(state_of("Fan1", "Speed"), "");
}

TEST_F(RestoredStatus, AsksTheStoreForNothingAndAnnouncesNothing) {
    lom_reset_property_status("Fan1", "Speed", 2);
    EXPECT_EQ(fake::persist_texts(), Texts{});
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(RestoredStatus, NeedsNoRightToWriteTheObject) {
    lom_set_writable(handle_of("Fan1"), OBJECT_READ_ONLY);
    EXPECT_EQ(lom_reset_property_status("Fan1", "Speed", 2), 0);
}

TEST_F(RestoredStatus, TakesTheSemaphoreOnce) {
    lom_reset_property_status("Fan1", "Speed", 2);
    EXPECT_EQ(takes_of("Fan1"), 1U);
    EXPECT_EQ(fake::osal::held(), 0U);
}

TEST_F(RestoredStatus, OfAReferenceIsTheReferencesOwn) {
    add_view("Fan1.Speed");
    EXPECT_EQ(lom_reset_property_status("View", "Twin", 2), 0);
    EXPECT_EQ(state_of("View", "Twin"), "static");
    EXPECT_EQ(state_of("Fan1", "Speed"), "");
}

TEST_F(RestoredStatus, IsForThePoolsOwnerAlone) {
    become_member();
    EXPECT_EQ(lom_reset_property_status("Fan1", "Speed", 2), -2014);
    EXPECT_EQ(lom_reset_property_status(nullptr, nullptr, 2), -2014);
    become_owner();
    EXPECT_EQ(state_of("Fan1", "Speed"), "");
}

TEST_F(RestoredStatus, IsRefusedInOrderOfTheChecks) {
    EXPECT_EQ(lom_reset_property_status(nullptr, "Speed", 2), -2001);
    EXPECT_EQ(lom_reset_property_status("Fan1", nullptr, 2), -2001);
    EXPECT_EQ(lom_reset_property_status("Fan9", nullptr, 2), -2001);
    EXPECT_EQ(lom_reset_property_status("Fan9", "Speed", 2), -2009);
    EXPECT_EQ(lom_reset_property_status("Fan1", "Colour", 2), -2010);
    entry_of("Fan1", "Label").property_ptr = nullptr;
    fail_semaphore_of("Fan1");
    EXPECT_EQ(lom_reset_property_status("Fan1", "Label", 2), -2000);
    EXPECT_EQ(lom_reset_property_status("Fan1", "Speed", 2), -2015);
    EXPECT_EQ(state_of("Fan1", "Speed"), "");
}

class CollectedNames : public SaveFixture {
protected:
    void TearDown() override {
        g_slist_free_full(list_, g_free);
        SaveFixture::TearDown();
    }

    Texts names() const {
        Texts texts;
        for (const GSList* node = list_; node != nullptr; node = node->next) {
            texts.emplace_back(static_cast<const gchar*>(node->data));
        }
        return texts;
    }

    void collect(const gchar* name, LOCAL_PROPERTY_S* entry) {
        // The walker's key is the table's own and not written to.
        _collect_saved_property(const_cast<gchar*>(name), entry, &list_);
    }

    GSList* list_ = nullptr;
};

TEST_F(CollectedNames, AreThoseOfPropertiesThatAreNotSavedStatically) {
    property_of("Fan1", "Speed").state.bit.static_saved = 1;
    g_hash_table_foreach(record_of("Fan1")->property_hash, _collect_saved_property, &list_);
    Texts all = names();
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all, (Texts{"Label", "Marked", "Names", "d:Level"}));
}

TEST_F(CollectedNames, StandInFrontOfEarlierOnes) {
    collect("First", &entry_of("Fan1", "Speed"));
    collect("Second", &entry_of("Fan1", "Speed"));
    EXPECT_EQ(names(), (Texts{"Second", "First"}));
}

TEST_F(CollectedNames, AreCopies) {
    const gchar name[] = "Speed";
    collect(name, &entry_of("Fan1", "Speed"));
    ASSERT_NE(list_, nullptr);
    EXPECT_NE(list_->data, static_cast<gconstpointer>(name));
}

TEST_F(CollectedNames, AreNotMadeOfNothing) {
    collect(nullptr, &entry_of("Fan1", "Speed"));
    collect("Speed", nullptr);
    LOCAL_PROPERTY_S bare = {};
    collect("Speed", &bare);
    _collect_saved_property(const_cast<gchar*>("Speed"), &entry_of("Fan1", "Speed"), nullptr);
    EXPECT_EQ(names(), Texts{});
}

}  // namespace
}  // namespace mox::test
