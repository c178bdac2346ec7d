// A record that came from another process: which of its pointers and lengths are refused.
#include "module/record_check.hpp"

#include <gtest/gtest.h>
#include <lom/object.h>

#include <cstring>
#include <memory>
#include <string>

namespace {

using mox::host::record_fault;

// A pool of its own with one object in it: two properties, two names.
struct Pool {
    gchar object_name[32] = "Fan1";
    gchar class_name[32] = "Fan";
    gchar mutex_object[32] = "Fan2";
    gchar accessor[32] = "Acc1";
    guint32 bitmap[LOM_REF_BITMAP_WORDS] = {};
    SERIALISED_PROPERTY_S properties[2] = {};
    CLASS_OBJECT_LIST_S names[2] = {};
    gchar text[16] = "a text";
    gchar last_text[8] = "end";  // the pool's last bytes
};

class ReceivedRecord : public ::testing::Test {
protected:
    ReceivedRecord() {
        pool_->names[0] = {pool_->class_name, pool_->object_name, &pool_->names[1]};
        pool_->names[1] = {pool_->class_name, pool_->object_name, nullptr};
        first().next_ptr = &second();
        first().data = first().data_hold;
        first().capacity = LOM_DATA_HOLD_SIZE;
        first().size = 4;
        first().accessor = pool_->accessor;
        second().data = pool_->text;
        second().capacity = sizeof pool_->text;
        second().size = sizeof pool_->text;
        std::strcpy(first().name, "Speed");
        std::strcpy(second().name, "Label");
        record_.object_name = pool_->object_name;
        record_.class_name = pool_->class_name;
        record_.mutex_obj_name = pool_->mutex_object;
        record_.ref_bitmap = pool_->bitmap;
        record_.property_count = 2;
        record_.property_entry = pool_->properties;
        record_.name_list = pool_->names;
    }

    SERIALISED_PROPERTY_S& first() { return pool_->properties[0]; }
    SERIALISED_PROPERTY_S& second() { return pool_->properties[1]; }

    std::string fault() const {
        const char* const text =
            record_fault(&record_, {reinterpret_cast<std::uintptr_t>(pool_.get()), sizeof(Pool)});
        return text == nullptr ? "" : text;
    }

    // An enumeration that no process of ours would store.
    void put_number(gsize offset, guint32 number) {
        std::memcpy(reinterpret_cast<guint8*>(&record_) + offset, &number, sizeof number);
    }

    std::unique_ptr<Pool> pool_ = std::make_unique<Pool>();
    OBJECT_HEAD_S record_ = {};
    gchar foreign_[64] = "not in the pool";
    guint32 foreign_bitmap_ = 0;
    SERIALISED_PROPERTY_S foreign_property_ = {};
    CLASS_OBJECT_LIST_S foreign_name_ = {};
};

TEST_F(ReceivedRecord, ThatLiesInThePoolIsTaken) {
    EXPECT_EQ(fault(), "");
}

TEST_F(ReceivedRecord, WithoutPropertiesIsTaken) {
    record_.property_count = 0;
    record_.property_entry = nullptr;
    EXPECT_EQ(fault(), "");
}

TEST_F(ReceivedRecord, WithoutMutexObjectOrAccessorIsTaken) {
    record_.mutex_obj_name = nullptr;
    first().accessor = nullptr;
    EXPECT_EQ(fault(), "");
}

TEST_F(ReceivedRecord, WithAValueForWhichThePoolHadNoRoomIsTaken) {
    second().data = nullptr;
    second().capacity = 0;
    EXPECT_EQ(fault(), "");
}

TEST_F(ReceivedRecord, WithAForeignNameIsRefused) {
    for (gchar** const field :
         {&record_.object_name, &record_.class_name, &record_.mutex_obj_name}) {
        gchar* const good = *field;
        *field = foreign_;
        EXPECT_NE(fault(), "");
        *field = good;
    }
}

TEST_F(ReceivedRecord, WithoutANameIsRefused) {
    record_.object_name = nullptr;
    EXPECT_NE(fault(), "");
}

TEST_F(ReceivedRecord, WhoseNameHasNoTerminatorInThePoolIsRefused) {
    record_.object_name = pool_->last_text;
    EXPECT_EQ(fault(), "");
    std::memset(pool_->last_text, 'x', sizeof pool_->last_text);
    EXPECT_NE(fault(), "");
}

TEST_F(ReceivedRecord, WithABitmapThatIsForeignOrNotAlignedIsRefused) {
    record_.ref_bitmap = &foreign_bitmap_;
    EXPECT_EQ(fault(), "its bitmap leads out of the pool");
    record_.ref_bitmap =
        reinterpret_cast<guint32*>(reinterpret_cast<std::uintptr_t>(pool_->bitmap) + 1);
    EXPECT_EQ(fault(), "its bitmap leads out of the pool");
}

TEST_F(ReceivedRecord, WithPropertiesOutOfThePoolIsRefused) {
    record_.property_entry = &foreign_property_;
    EXPECT_EQ(fault(), "its properties lead out of the pool");
}

TEST_F(ReceivedRecord, WithMorePropertiesThanThePoolHoldsIsRefused) {
    record_.property_count = G_MAXUINT32;
    EXPECT_EQ(fault(), "its properties lead out of the pool");
}

TEST_F(ReceivedRecord, WithFewerPropertiesThanItSaysIsRefused) {
    first().next_ptr = nullptr;
    EXPECT_EQ(fault(), "its list of properties leads out of the pool or ends early");
}

TEST_F(ReceivedRecord, WithPropertiesAlthoughItSaysNoneIsRefused) {
    record_.property_count = 0;
    EXPECT_EQ(fault(), "it has properties but says none");
}

TEST_F(ReceivedRecord, WithANextPropertyOutOfThePoolIsRefused) {
    first().next_ptr = &foreign_property_;
    EXPECT_EQ(fault(), "its list of properties leads out of the pool or ends early");
}

TEST_F(ReceivedRecord, WhosePropertiesGoRoundInACircleIsRefused) {
    second().next_ptr = &first();
    EXPECT_EQ(fault(), "its list of properties is too long");
}

TEST_F(ReceivedRecord, WithAnEndlessPropertyNameIsRefused) {
    std::memset(second().name, 'x', sizeof second().name);
    EXPECT_EQ(fault(), "a property has an endless name");
}

TEST_F(ReceivedRecord, WithAForeignAccessorIsRefused) {
    first().accessor = foreign_;
    EXPECT_EQ(fault(), "a property's accessor leads out of the pool");
}

TEST_F(ReceivedRecord, WithAForeignValueIsRefused) {
    second().data = foreign_;
    EXPECT_EQ(fault(), "a value leads out of the pool");
}

TEST_F(ReceivedRecord, WithMoreRoomForAValueThanThePoolHasIsRefused) {
    for (const gsize capacity : {sizeof(Pool), G_MAXSIZE}) {
        second().capacity = capacity;
        EXPECT_EQ(fault(), "a value leads out of the pool");
    }
}

TEST_F(ReceivedRecord, WithRoomButNoPlaceForAValueIsRefused) {
    second().data = nullptr;
    EXPECT_EQ(fault(), "a value has room but no place");
}

TEST_F(ReceivedRecord, WithAValueLargerThanThePoolIsRefused) {
    second().size = sizeof(Pool) + 1;
    EXPECT_EQ(fault(), "a value is larger than the pool");
}

TEST_F(ReceivedRecord, WithoutAListOfNamesIsRefused) {
    record_.name_list = nullptr;
    EXPECT_EQ(fault(), "it has no names");
}

TEST_F(ReceivedRecord, WhoseNamesLeadOutOfThePoolOrGoRoundInACircleIsRefused) {
    pool_->names[1].next = pool_->names;
    EXPECT_EQ(fault(), "its list of names leads out of the pool or has no end");
    pool_->names[1].next = &foreign_name_;
    EXPECT_EQ(fault(), "its list of names leads out of the pool or has no end");
}

TEST_F(ReceivedRecord, WithAForeignTextInItsListOfNamesIsRefused) {
    pool_->names[1].class_name = foreign_;
    EXPECT_EQ(fault(), "one of its names leads out of the pool or has no end");
}

TEST_F(ReceivedRecord, WithANumberThatIsNoKindStateOrCapabilityIsRefused) {
    put_number(offsetof(OBJECT_HEAD_S, type), 2);
    EXPECT_EQ(fault(), "its kind is none");
    put_number(offsetof(OBJECT_HEAD_S, type), OBJECT_TYPE_PHYSICAL);
    put_number(offsetof(OBJECT_HEAD_S, capability), G_MAXUINT32);
    EXPECT_EQ(fault(), "its capability is none");
    put_number(offsetof(OBJECT_HEAD_S, status), OBJECT_MXD_READY);
    EXPECT_EQ(fault(), "it is not complete");
}

}  // namespace
