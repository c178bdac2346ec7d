// Collection objects, as other processes read them.
#include "host_board_model.hpp"

namespace mox::test {
namespace {

class Collections : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(owner_.start(board_profile(owner_))) << owner_.process().errors();
        module_ = join(owner_);
        ASSERT_NE(module_, nullptr);
    }

    // "COUNT LIST"
    static std::string content(const char* collection) {
        return value_of(collection, "Count") + ' ' + value_of(collection, "List");
    }

    HostOwner owner_;
    ModulePtr module_;
};

TEST_F(Collections, ListTheObjectsOfTheirClassFromTheStart) {
    EXPECT_EQ(content("Fan:C"), "3 ['Main', 'Fan1', 'Fan2']");
    EXPECT_EQ(content("Chip:C"), "1 ['chip']");
}

TEST_F(Collections, AreNoneForAClassThatNeverHadObjects) {
    EXPECT_EQ(lom_get_object_handle("Probe:C"), 0);
    EXPECT_EQ(lom_get_object_handle("Nothing:C"), 0);
    EXPECT_EQ(lom_get_object_handle(":C"), 0);
}

TEST_F(Collections, FollowTheBoardsWithoutBeingFetchedAgain) {
    ASSERT_EQ(content("Fan:C"), "3 ['Main', 'Fan1', 'Fan2']");
    ASSERT_EQ(plug(module_.get(), "spare"), "");
    EXPECT_EQ(content("Fan:C"), "5 ['Main', 'Fan1', 'Fan2', 'Spare1', 'Spare2']");
    EXPECT_EQ(content("Probe:C"), "1 ['Probe1']");
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    EXPECT_EQ(content("Fan:C"), "3 ['Main', 'Spare1', 'Spare2']");
}

TEST_F(Collections, KeepTheirLastContentsWhenTheirClassHasNoObjectsLeft) {
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    EXPECT_EQ(content("Chip:C"), "1 ['chip']");
}

TEST_F(Collections, HaveTheirPropertiesAndCannotBeWrittenByAModule) {
    EXPECT_EQ(strings_of(moxhost_list_properties(module_.get(), "Fan:C", nullptr)),
              (Names{"Count", "List"}));
    EXPECT_EQ(lom_is_writable(lom_get_object_handle("Fan:C")), FALSE);
}

}  // namespace
}  // namespace mox::test
