// Writes that the owner does for a person, to objects of any module.
#include <moxhost/operator.h>
#include <moxplat/driver.h>
#include <moxplat/osal.h>

#include "host_write_model.hpp"

namespace mox::test {
namespace {

class OperatorWrite : public WriteTest {
protected:
    void SetUp() override { start(); }

    void join_as_operator() {
        module_ = join(owner_, "desk", MODULE_INTERFACE);
        ASSERT_NE(module_, nullptr);
    }
    std::string set(const char* object, const char* property, GVariant* value) {
        return write_with(moxhost_operator_set, module_.get(), object, property, value);
    }
    std::string force(const char* object, const char* property, GVariant* value) {
        return write_with(moxhost_operator_override, module_.get(), object, property, value);
    }
    HostError& cancel(const char* object, const char* property) {
        error_ = std::make_unique<HostError>();
        const gboolean is_done =
            moxhost_operator_cancel(module_.get(), object, property, error_->out());
        EXPECT_EQ(is_done == FALSE, !error_->text().empty());
        return *error_;
    }

    std::unique_ptr<HostError> error_;
};

using OperatorSet = OperatorWrite;
using OperatorOverride = OperatorWrite;
using OperatorCancel = OperatorWrite;

TEST_F(OperatorSet, WritesAnObjectOfAnyModuleAndTellsItsListeners) {
    join_as_operator();
    EventLog log(module_.get());
    ASSERT_TRUE(moxhost_listen(module_.get(), "Stove", "Now", nullptr));
    EXPECT_EQ(set("Oven", "Now", g_variant_new_int32(77)), "");
    EXPECT_EQ(value_of("Oven", "Now"), "77");
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_EQ(log.events()[0].name, "Oven.Now");
    EXPECT_EQ(log.events()[0].value, "77");
}

TEST_F(OperatorSet, GoesThroughAnAccessorThatMayBeWritten) {
    join_as_operator();
    EXPECT_EQ(set("Oven", "Dial", g_variant_new_int32(8)), "");
    EXPECT_EQ(content_of(owner_.dir().path("dial")), "8\n");
    EXPECT_EQ(value_of("Oven", "Dial"), "8");
}

TEST_F(OperatorSet, OfAReferenceWritesItsTarget) {
    join_as_operator();
    EXPECT_EQ(set("Oven", "Twin", g_variant_new_string("barrel")), "");
    EXPECT_EQ(value_of("Tank", "Label"), "'barrel'");
}

TEST_F(OperatorSet, SavesUnderTheProfilesModeAlsoThroughAnAccessor) {
    in_module(
        owner_, "desk",
        [](MoxHostModule* module) {
            EXPECT_EQ(
                write_with(moxhost_operator_set, module, "Oven", "Day", g_variant_new_int32(31)),
                "");
            EXPECT_EQ(
                write_with(moxhost_operator_set, module, "Oven", "Dial", g_variant_new_int32(9)),
                "");
        },
        MODULE_INTERFACE);
    ASSERT_EQ(owner_.stop(), 0);
    start();
    join_as("heater");
    EXPECT_EQ(saved_of("Oven", "Day", PER_MODE_PERMANENT), "31");
    EXPECT_EQ(value_of("Oven", "Day"), "31");
    EXPECT_EQ(saved_of("Oven", "Dial", PER_MODE_PERMANENT), "9");
}

TEST_F(OperatorSet, TakesAValueThatOutgrowsItsRoom) {
    join_as_operator();
    EXPECT_EQ(set("Breakfast", "Steps", numbers(300, 5)), "");
    EXPECT_EQ(value_of("Breakfast", "Steps").size(), std::string("[").size() + 300 * 3 - 1);
}

TEST_F(OperatorSet, RefusesWrongTypesAndUnknownNamesAndChangesNothing) {
    join_as_operator();
    EXPECT_NE(set("Oven", "Now", g_variant_new_string("hot")).find("not written: "),
              std::string::npos);
    EXPECT_EQ(value_of("Oven", "Now"), "3");
    EXPECT_NE(set("Nobody", "Now", g_variant_new_int32(1)).find("no such object"),
              std::string::npos);
    EXPECT_NE(set("Oven", "Nothing", g_variant_new_int32(1)).find("no such property"),
              std::string::npos);
    EXPECT_NE(set("", "Now", g_variant_new_int32(1)), "");
    EXPECT_NE(set("Oven", "Now", nullptr).find("no value"), std::string::npos);
}

TEST_F(OperatorSet, RefusesAValueTooLargeForACall) {
    join_as_operator();
    EXPECT_NE(set("Breakfast", "Steps", numbers(4 << 20, 5)).find("longer than 65536 bytes"),
              std::string::npos);
    EXPECT_EQ(value_of("Breakfast", "Steps"), "[1]");
}

TEST_F(OperatorSet, IsRefusedToAModuleOfAnotherType) {
    module_ = join(owner_, "worker", MODULE_APP);
    ASSERT_NE(module_, nullptr);
    EXPECT_NE(set("Room", "Level", g_variant_new_int32(1)).find("MODULE_INTERFACE"),
              std::string::npos);
    EXPECT_NE(force("Room", "Level", g_variant_new_int32(1)).find("MODULE_INTERFACE"),
              std::string::npos);
    EXPECT_EQ(cancel("Room", "Level").code(), MOXHOST_ERROR_REFUSED);
    EXPECT_EQ(value_of("Room", "Level"), "20");
}

TEST_F(OperatorSet, IsRefusedToAConnectionThatDidNotJoin) {
    RawPeer peer(owner_);
    const std::string answer =
        peer.call("OperatorSet", g_variant_new("(ssv)", "Room", "Level", g_variant_new_int32(1)));
    EXPECT_EQ(answer.rfind("error", 0), 0U) << answer;
}

TEST_F(OperatorOverride, ForcesAValueUntilItIsCancelled) {
    join_as_operator();
    EXPECT_EQ(force("Oven", "Now", g_variant_new_int32(999)), "");
    EXPECT_EQ(value_of("Oven", "Now"), "999");
    EXPECT_NE(set("Oven", "Now", g_variant_new_int32(5)), "") << "a write is refused meanwhile";
    EXPECT_EQ(value_of("Oven", "Now"), "999");
    EXPECT_EQ(cancel("Oven", "Now").text(), "");
    EXPECT_EQ(set("Oven", "Now", g_variant_new_int32(5)), "");
    EXPECT_EQ(value_of("Oven", "Now"), "5");
}

TEST_F(OperatorOverride, OfAReferenceForcesItsTargetAndIsCancelledThroughIt) {
    join_as_operator();
    EXPECT_EQ(force("Oven", "Own", g_variant_new_int32(44)), "");
    EXPECT_EQ(value_of("Oven", "Day"), "44");
    EXPECT_EQ(cancel("Oven", "Own").text(), "");
    EXPECT_EQ(set("Oven", "Day", g_variant_new_int32(2)), "");
}

TEST_F(OperatorOverride, HidesTheHardwareUntilTheNextReadAfterItsEnd) {
    join_as_operator();
    EXPECT_EQ(force("Tank", "Level", g_variant_new_int32(-1)), "");
    ASSERT_TRUE(moxhost_refresh(module_.get(), nullptr));
    EXPECT_EQ(value_of("Tank", "Level"), "-1");
    EXPECT_EQ(cancel("Tank", "Level").text(), "");
    EXPECT_EQ(value_of("Tank", "Level"), "5");
}

TEST_F(OperatorOverride, WhoseListenerCannotBeToldIsDoneAndTheLossCounted) {
    join_as_operator();
    ASSERT_TRUE(moxhost_listen(module_.get(), "Plan", "Steps", nullptr));
    // Stored by the owner, but longer than a message.
    EXPECT_EQ(force("Breakfast", "Steps", numbers(3000, 5)), "");
    EXPECT_EQ(value_of("Breakfast", "Steps").substr(0, 5), "[5, 5");
    EXPECT_EQ(cancel("Breakfast", "Steps").text(), "");
}

TEST_F(OperatorOverride, OfAPropertyWithAFullListenerIsDoneAndTheLossCounted) {
    join_as_operator();
    RawPeer peer(owner_);
    ASSERT_NE(peer.join("guest").rfind("error", 0), 0U);
    ASSERT_EQ(peer.call("Listen", g_variant_new("(ss)", "Stove", "Now")), "()");
    MoxHostModuleInfo* infos = moxhost_module_infos(module_.get(), nullptr, nullptr);
    ASSERT_STREQ(infos[2].name, "guest");
    const gint32 filler = 1;
    while (osal_process_queue_send(infos[2].queue_id, &filler, sizeof filler) == OSAL_OK) {
    }
    g_free(infos);
    EXPECT_EQ(force("Oven", "Now", g_variant_new_int32(9)), "");
    EXPECT_EQ(value_of("Oven", "Now"), "9");
    infos = moxhost_module_infos(module_.get(), nullptr, nullptr);
    EXPECT_EQ(infos[2].events_lost, 1U);
    g_free(infos);
}

TEST_F(OperatorCancel, SaysWhenTheHardwareCannotBeReadAndEndsTheOverride) {
    join_as_operator();
    EXPECT_EQ(force("Tank", "Level", g_variant_new_int32(-1)), "");
    owner_.dir().write("chip", "hot\n");
    EXPECT_EQ(cancel("Tank", "Level").status(), DRIVER_ERR_MALFORMED);
    EXPECT_NE(error_->text().find("has its override ended, but cannot be read"), std::string::npos)
        << error_->text();
    EXPECT_EQ(cancel("Tank", "Level").code(), MOXHOST_ERROR_STATE);
    owner_.set_level(6);
    ASSERT_TRUE(moxhost_refresh(module_.get(), nullptr));
    EXPECT_EQ(value_of("Tank", "Level"), "6");
}

TEST_F(OperatorSet, WhoseHardwareFailsSaysThatTheValueIsStored) {
    join_as_operator();
    owner_.dir().write("dial", "");
    std::filesystem::remove(owner_.dir().path("dial"));
    const std::string text = set("Oven", "Dial", g_variant_new_int32(8));
    EXPECT_NE(text.find("written, but not in its hardware"), std::string::npos) << text;
    EXPECT_EQ(value_of("Oven", "Dial"), "8");
}

TEST_F(OperatorOverride, RefusesWrongTypesAndUnknownNames) {
    join_as_operator();
    EXPECT_NE(force("Oven", "Now", g_variant_new_string("hot")), "");
    EXPECT_NE(force("Nobody", "Now", g_variant_new_int32(1)), "");
    EXPECT_NE(force("Oven", "Nothing", g_variant_new_int32(1)), "");
    EXPECT_EQ(value_of("Oven", "Now"), "3");
}

TEST_F(OperatorWrite, ThatFailsTellsItsStatus) {
    join_as_operator();
    HostError error;
    EXPECT_EQ(error.status(), MOX_OK);
    ASSERT_EQ(force("Oven", "Now", g_variant_new_int32(9)), "");
    EXPECT_FALSE(
        moxhost_operator_set(module_.get(), "Oven", "Now", g_variant_new_int32(5), error.out()));
    EXPECT_EQ(error.code(), MOXHOST_ERROR_FAILED);
    EXPECT_EQ(error.status(), MOX_ERR_OVERRIDDEN);
    EXPECT_EQ(cancel("Oven", "Nothing").status(), MOX_ERR_PROPERTY_NOT_FOUND);
    EXPECT_EQ(cancel("Oven", "Day").status(), MOX_OK) << "a state of things, not a status";
}

TEST_F(OperatorWrite, StatusGoesWithACopyOfTheError) {
    join_as_operator();
    GError* error = nullptr;
    ASSERT_FALSE(
        moxhost_operator_set(module_.get(), "Oven", "Now", g_variant_new_string("x"), &error));
    GError* const copy = g_error_copy(error);
    g_error_free(error);
    EXPECT_EQ(moxhost_error_status(copy), MOX_ERR_TYPE_MISMATCH);
    g_error_free(copy);
}

TEST(HostErrorStatus, IsNoneForErrorsWithoutOneAndOfOthers) {
    for (const auto& [domain, code] : {std::pair{G_FILE_ERROR, int{G_FILE_ERROR_NOENT}},
                                       std::pair{MOXHOST_ERROR, int{MOXHOST_ERROR_STATE}}}) {
        GError* const error = g_error_new_literal(domain, code, "why");
        EXPECT_EQ(moxhost_error_status(error), MOX_OK);
        g_error_free(error);
    }
}

TEST_F(OperatorCancel, WithoutAnOverrideSaysSo) {
    join_as_operator();
    EXPECT_EQ(cancel("Oven", "Now").code(), MOXHOST_ERROR_STATE);
    EXPECT_NE(error_->text().find("Oven.Now is not overridden"), std::string::npos)
        << error_->text();
    EXPECT_EQ(cancel("Nobody", "Now").code(), MOXHOST_ERROR_FAILED);
    EXPECT_EQ(cancel("Oven", "Nothing").code(), MOXHOST_ERROR_FAILED);
}

}  // namespace
}  // namespace mox::test
