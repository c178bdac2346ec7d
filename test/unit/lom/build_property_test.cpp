// Filling the properties of a record under construction: name, type, access, value, accessor.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "object_fixture.hpp"

namespace {

namespace space = mox::fake::space;
using mox::test::bytes_of;
using mox::test::bytes_of_text;
using mox::test::package_of;

constexpr guint32 kAccessRead = 0x10;
constexpr guint32 kAccessWrite = 0x20;
constexpr guint32 kAccessSync = 0x40;
constexpr guint32 kSynced = 0x08;

const std::string kLongName(40, 'n');
const std::string kCutName(31, 'n');

// An embryo of two properties; tests fill the second one.
class ObjectProperty : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        embryo_ = static_cast<OBJECT_HEAD_S*>(
            lom_create_object_embryo(2, "Fan1", "Fan", "", "Logical", 0));
        ASSERT_NE(embryo_, nullptr);
        property_ = embryo_->property_entry + 1;
    }
    void TearDown() override {
        _free_object_head(embryo_);
        EXPECT_EQ(space::live_blocks(), 0U);
        ObjectFixture::TearDown();
    }
    void init(const std::string& type, const std::vector<guint8>& bytes, const gchar* mode = "rw",
              const gchar* name = "Speed") {
        init_at(embryo_, 1, type, bytes, mode, name);
    }
    static void init_at(OBJECT_PTR record, guint32 index, const std::string& type,
                        const std::vector<guint8>& bytes, const gchar* mode = "rw",
                        const gchar* name = "Speed") {
        const CONST_TLV_S tlv = package_of(type, bytes);
        lom_init_property(record, index, name, &tlv, mode);
    }
    // True when no byte of the properties was touched.
    bool is_untouched() const {
        const std::vector<guint8> zeros(2 * sizeof(SERIALISED_PROPERTY_S));
        embryo_->property_entry->next_ptr = nullptr;
        const bool same = std::memcmp(embryo_->property_entry, zeros.data(), zeros.size()) == 0;
        embryo_->property_entry->next_ptr = property_;
        return same;
    }

    OBJECT_HEAD_S* embryo_ = nullptr;
    SERIALISED_PROPERTY_S* property_ = nullptr;
};

TEST_F(ObjectProperty, TakesItsPlaceByItsIndex) {
    init_at(embryo_, 0, "y", {5}, "rw", "First");
    init_at(embryo_, 1, "y", {5}, "rw", "Second");
    EXPECT_STREQ(embryo_->property_entry[0].name, "First");
    EXPECT_STREQ(embryo_->property_entry[1].name, "Second");
    EXPECT_EQ(embryo_->property_entry[0].next_ptr, property_);
}

TEST_F(ObjectProperty, HasItsNameCutTo31Characters) {
    init("y", {5}, "rw", kLongName.c_str());
    EXPECT_EQ(property_->name, kCutName);
}

TEST_F(ObjectProperty, KeepsAllSixBytesOfItsType) {
    init(std::string("s\0\0pxy", 6), bytes_of_text("Fan2.Speed"));
    EXPECT_EQ(std::string(property_->type, 6), std::string("s\0\0pxy", 6));
}

TEST_F(ObjectProperty, KeepsTheSizeOfItsValue) {
    init("u", bytes_of<guint32>(7));
    EXPECT_EQ(property_->size, 4U);
}

struct ModeCase {
    const char* name;
    const char* mode;
    guint32 state;
};

class ObjectPropertyMode : public ObjectProperty, public ::testing::WithParamInterface<ModeCase> {};

TEST_P(ObjectPropertyMode, DecidesTheWholeState) {
    init("u", bytes_of<guint32>(7), GetParam().mode);
    EXPECT_EQ(property_->state.all, GetParam().state);
}

constexpr guint32 kAllAccess = kAccessRead | kAccessWrite | kAccessSync;
INSTANTIATE_TEST_SUITE_P(Modes, ObjectPropertyMode,
                         ::testing::Values(ModeCase{"ReadOnly", "r", kAccessRead | kAccessSync},
                                           ModeCase{"WriteOnly", "w", kAccessWrite | kAccessSync},
                                           ModeCase{"KeptByItsOwner", "r-", kAccessRead | kSynced},
                                           ModeCase{"UnknownRw", "rw", kAllAccess},
                                           ModeCase{"Empty", "", kAllAccess},
                                           ModeCase{"UpperCase", "R", kAllAccess},
                                           ModeCase{"TrailingBlank", "r ", kAllAccess},
                                           ModeCase{"UnknownWDash", "w-", kAllAccess}),
                         [](const auto& about) { return about.param.name; });

TEST_F(ObjectProperty, SetsTheNamedBitsOfTheState) {
    init("u", bytes_of<guint32>(7), "r-");
    EXPECT_EQ(property_->state.bit.acc_r, 1U);
    EXPECT_EQ(property_->state.bit.acc_w, 0U);
    EXPECT_EQ(property_->state.bit.acc_sync, 0U);
    EXPECT_EQ(property_->state.bit.synced, 1U);
    EXPECT_EQ(property_->state.bit.modified, 0U);
    EXPECT_EQ(property_->state.bit.override, 0U);
    EXPECT_EQ(property_->state.bit.static_saved, 0U);
    EXPECT_EQ(property_->state.bit.reserved, 0U);
}

TEST_F(ObjectProperty, OfAFixedTypeHoldsItsValueItself) {
    const gsize blocks = space::live_blocks();
    init("u", bytes_of<guint32>(0x01020304));
    EXPECT_EQ(property_->data, property_->data_hold);
    EXPECT_EQ(property_->capacity, 8U);
    EXPECT_EQ(mox::test::stored_bytes(*property_), bytes_of<guint32>(0x01020304));
    EXPECT_EQ(space::live_blocks(), blocks);
}

TEST_F(ObjectProperty, OfAFixedTypeHoldsAllEightBytesOfADouble) {
    init("d", bytes_of(2.5));
    EXPECT_EQ(mox::test::stored_bytes(*property_), bytes_of(2.5));
}

TEST_F(ObjectProperty, OfAnUnsupportedTypeIsHeldLikeAFixedOne) {
    init("x", bytes_of<gint64>(-5));
    EXPECT_EQ(property_->data, property_->data_hold);
    EXPECT_EQ(property_->capacity, 8U);
    EXPECT_EQ(mox::test::stored_bytes(*property_), bytes_of<gint64>(-5));
}

TEST_F(ObjectProperty, OfAFixedTypeKeepsASizeOf12ButOnly8Bytes) {
    init("u", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    EXPECT_EQ(property_->size, 12U);
    EXPECT_EQ(property_->capacity, 8U);
    const std::vector<guint8> held(property_->data_hold, property_->data_hold + 8);
    EXPECT_EQ(held, (std::vector<guint8>{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(ObjectProperty, OfAFixedTypeThatIsTooLongLeavesTheNextPropertyAlone) {
    init_at(embryo_, 0, "u", std::vector<guint8>(64, 0xEE));
    EXPECT_EQ(property_->name[0], '\0');
    EXPECT_EQ(property_->state.all, 0U);
}

TEST_F(ObjectProperty, OfAFixedTypeWithoutBytesIsLoggedAsAFailedCopy) {
    const CONST_TLV_S tlv = {.type = "u", .size = 4, .data = nullptr};
    mox::test::CapturedSyslog log;
    lom_init_property(embryo_, 1, "Speed", &tlv, "r");
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].text.rfind(mox::test::log_message("[lom]["), 0), 0U);
    EXPECT_EQ(
        mox::test::without_line(log.lines()[0].text.substr(mox::test::log_message("").size())),
        "[lom][line]: memmove_s failed ret(22).\n");
    EXPECT_EQ(property_->size, 4U);
    EXPECT_EQ(property_->data, property_->data_hold);
}

TEST_F(ObjectProperty, OfAVaryingTypeHasABlockOfItsSizeInThePool) {
    const std::vector<guint8> bytes = bytes_of_text("left");
    init("s", bytes);
    EXPECT_NE(property_->data, bytes.data());
    EXPECT_EQ(space::size_of(property_->data), 5U);
    EXPECT_EQ(property_->capacity, 5U);
    EXPECT_EQ(mox::test::stored_bytes(*property_), bytes);
}

TEST_F(ObjectProperty, OfAnArrayTypeHasABlockOfItsSizeInThePool) {
    init("ay", {9, 8, 7});
    EXPECT_EQ(space::size_of(property_->data), 3U);
    EXPECT_EQ(property_->capacity, 3U);
    EXPECT_EQ(mox::test::stored_bytes(*property_), (std::vector<guint8>{9, 8, 7}));
}

TEST_F(ObjectProperty, OfAVaryingTypeHasNoRoomWhenThePoolIsFull) {
    space::fail_allocation(1);
    mox::test::stdout_of([&] { init("s", bytes_of_text("left")); });
    EXPECT_EQ(property_->data, nullptr);
    EXPECT_EQ(property_->capacity, 0U);
    EXPECT_STREQ(property_->name, "Speed");
}

TEST_F(ObjectProperty, IsNotFilledWithoutAName) {
    init("u", bytes_of<guint32>(7), "rw", nullptr);
    EXPECT_TRUE(is_untouched());
}

TEST_F(ObjectProperty, IsNotFilledWithoutAMode) {
    init("u", bytes_of<guint32>(7), nullptr);
    EXPECT_TRUE(is_untouched());
}

TEST_F(ObjectProperty, IsNotFilledWithoutAValue) {
    lom_init_property(embryo_, 1, "Speed", nullptr, "rw");
    EXPECT_TRUE(is_untouched());
}

TEST_F(ObjectProperty, IsNotFilledBeyondTheLastIndex) {
    init_at(embryo_, 2, "y", {5});
    init_at(embryo_, G_MAXUINT32, "y", {5});
    EXPECT_TRUE(is_untouched());
}

TEST_F(ObjectProperty, OfNoRecordIsIgnored) {
    const gsize blocks = space::live_blocks();
    init_at(nullptr, 0, "s", bytes_of_text("left"));
    EXPECT_EQ(space::live_blocks(), blocks);
}

TEST_F(ObjectProperty, OfARecordWithoutPropertiesIsIgnored) {
    OBJECT_HEAD_S* const bare =
        static_cast<OBJECT_HEAD_S*>(lom_create_object_embryo(0, "Fan2", "Fan", "", "Logical", 0));
    const gsize blocks = space::live_blocks();
    init_at(bare, 0, "s", bytes_of_text("left"));
    lom_init_accessor(bare, 0, "Accessor1", 4);
    EXPECT_EQ(space::live_blocks(), blocks);
    _free_object_head(bare);
}

class PropertyAccessor : public ObjectProperty {};

TEST_F(PropertyAccessor, IsNamedInThePool) {
    lom_init_accessor(embryo_, 1, "Accessor1", 4);
    EXPECT_STREQ(property_->accessor, "Accessor1");
    EXPECT_EQ(space::size_of(property_->accessor), 10U);
    EXPECT_EQ(embryo_->property_entry[0].accessor, nullptr);
}

TEST_F(PropertyAccessor, HasItsNameCutTo31Characters) {
    lom_init_accessor(embryo_, 1, kLongName.c_str(), 4);
    EXPECT_EQ(property_->accessor, kCutName);
}

TEST_F(PropertyAccessor, IsNotTouchedByItsSize) {
    init("u", bytes_of<guint32>(7));
    lom_init_accessor(embryo_, 1, "Accessor1", 4000);
    EXPECT_EQ(property_->size, 4U);
    EXPECT_EQ(property_->capacity, 8U);
    EXPECT_EQ(property_->state.all, kAllAccess);
}

TEST_F(PropertyAccessor, OfSizeZeroIsIgnored) {
    lom_init_accessor(embryo_, 1, "Accessor1", 0);
    EXPECT_TRUE(is_untouched());
}

TEST_F(PropertyAccessor, WithoutANameIsIgnored) {
    lom_init_accessor(embryo_, 1, nullptr, 4);
    EXPECT_TRUE(is_untouched());
}

TEST_F(PropertyAccessor, BeyondTheLastIndexIsIgnored) {
    const gsize blocks = space::live_blocks();
    lom_init_accessor(embryo_, 2, "Accessor1", 4);
    EXPECT_TRUE(is_untouched());
    EXPECT_EQ(space::live_blocks(), blocks);
}

TEST_F(PropertyAccessor, OfNoRecordIsIgnored) {
    const gsize blocks = space::live_blocks();
    lom_init_accessor(nullptr, 0, "Accessor1", 4);
    EXPECT_EQ(space::live_blocks(), blocks);
}

TEST_F(PropertyAccessor, IsMissingWhenThePoolIsFull) {
    space::fail_allocation(1);
    mox::test::stdout_of([&] { lom_init_accessor(embryo_, 1, "Accessor1", 4); });
    EXPECT_EQ(property_->accessor, nullptr);
}

}  // namespace
