// The caches of a formula's inputs: a write-back refreshes them when an input has changed.
#include <gtest/gtest.h>

#include "lom/property.hpp"
#include "value_fixture.hpp"

namespace mox::test {
namespace {

// Sum.Value is 4; its inputs were X 1, Y 2 and Z 3, and the caches still hold zeros.
class InputCache : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_sum({number<gint32>("Xcache", "i", 0), number<gint32>("Ycache", "i", 0),
                 number<gint32>("Zcache", "i", 0)});
        for (gsize at = 0; at < kExpressionInputs; ++at) {
            std::memcpy(inputs_[at].type, "u", 2);
            inputs_[at].size = sizeof values_[at];
            inputs_[at].data = &values_[at];
        }
    }

    static void add_sum(std::vector<PropertyPlan> caches) {
        caches.push_back(number<guint32>("Value", "u", 4));
        add_object({.name = "Sum", .class_name = "Expression", .properties = std::move(caches)});
    }

    gint32 write_back(guint32 result, bool is_input_changed) {
        TLV_S fresh = {"u", sizeof result, &result};
        return mox::write_back(*record_of("Sum"), property_of("Sum", "Value"), fresh, inputs_,
                               is_input_changed);
    }

    static Texts caches() {
        return {stored_value("Sum", "Xcache"), stored_value("Sum", "Ycache"),
                stored_value("Sum", "Zcache")};
    }

    guint32 values_[kExpressionInputs] = {1, 2, 3};
    TLV_S inputs_[kExpressionInputs] = {};
};

TEST_F(InputCache, TakesValueAndTypeOfItsInput) {
    EXPECT_EQ(write_back(6, true), 0);
    EXPECT_EQ(caches(), (Texts{"uint32 1", "uint32 2", "uint32 3"}));
}

TEST_F(InputCache, TakesTheSizeOfItsInput) {
    inputs_[0].size = 2;
    write_back(6, true);
    EXPECT_EQ(property_of("Sum", "Xcache").size, 2U);
}

TEST_F(InputCache, IsRefreshedForAnEqualResultToo) {
    EXPECT_EQ(write_back(4, true), 0);
    EXPECT_EQ(caches(), (Texts{"uint32 1", "uint32 2", "uint32 3"}));
    EXPECT_EQ(entry_of("Sum", "Value").change_cnt, 0U);
}

TEST_F(InputCache, StaysWhenNoInputChanged) {
    EXPECT_EQ(write_back(6, false), 0);
    EXPECT_EQ(caches(), (Texts{"0", "0", "0"}));
}

TEST_F(InputCache, StaysWithoutTheSemaphore) {
    fake::osal::fail_take(1);
    EXPECT_EQ(write_back(6, true), -2015);
    EXPECT_EQ(caches(), (Texts{"0", "0", "0"}));
}

TEST_F(InputCache, StaysBehindOneThatIsMissing) {
    add_sum({number<gint32>("Xcache", "i", 0), number<gint32>("Zcache", "i", 0)});
    EXPECT_EQ(write_back(6, true), 0);
    EXPECT_EQ(stored_value("Sum", "Xcache"), "uint32 1");
    EXPECT_EQ(stored_value("Sum", "Zcache"), "0");
}

TEST_F(InputCache, StaysBehindOneThatIsTooSmall) {
    add_sum(
        {number<gint32>("Xcache", "i", 0), text("Ycache", "y"), number<gint32>("Zcache", "i", 0)});
    const Texts messages = messages_of([this] { write_back(6, true); });
    EXPECT_EQ(without_numbers(messages), Texts{"LOG [lom][#]: memmove_s failed ret(#). \n"});
    EXPECT_EQ(stored_value("Sum", "Xcache"), "uint32 1");
    EXPECT_EQ(stored_value("Sum", "Zcache"), "0");
}

TEST_F(InputCache, RaisesNoEventOfItsOwn) {
    listen("Expression", "Xcache", 7);
    write_back(6, true);
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(entry_of("Sum", "Xcache").change_cnt, 0U);
}

}  // namespace
}  // namespace mox::test
