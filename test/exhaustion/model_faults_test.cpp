// A whole model over layers below that fail at every place.
#include <gtest/gtest.h>
#include <moxfake/driver.h>
#include <moxfake/osal.h>
#include <moxfake/persist.h>
#include <moxfake/space.h>

#include "model_sweep.hpp"

namespace mox::test {
namespace {

namespace osal = mox::fake::osal;
namespace space = mox::fake::space;

TEST(WholeModel, SurvivesEveryPoolAllocationThatFails) {
    expect_model_survives(
        {.plan =
             [](guint n, bool from_then_on) {
                 space::fail_allocations(false);
                 if (n == 0) return;
                 if (from_then_on) {
                     space::fail_allocations_from(n);
                 } else {
                     space::fail_allocation(n);
                 }
             },
         .calls = [] { return space::allocations() + space::failed_allocations(); },
         .codes = {},
         .least_calls = 150});
}

Fault failing_sends(gint32 code) {
    return {.plan =
                [code](guint n, bool from_then_on) {
                    from_then_on ? osal::fail_sends_from(n, code) : osal::fail_send(n, code);
                },
            .calls = osal::send_calls,
            .codes = {code},
            .least_calls = 20};
}

TEST(WholeModel, SurvivesEverySendThatFindsTheQueueFull) {
    expect_model_survives(failing_sends(OSAL_ERR_FULL));
}

TEST(WholeModel, SurvivesEverySendThatFindsTheQueueGone) {
    expect_model_survives(failing_sends(OSAL_ERR_BAD_ID));
}

TEST(WholeModel, SurvivesEverySemaphoreThatIsNotToBeTaken) {
    expect_model_survives({.plan =
                               [](guint n, bool from_then_on) {
                                   from_then_on ? osal::fail_takes_from(n) : osal::fail_take(n);
                               },
                           .calls = [] { return osal::takes(); },
                           .codes = {OSAL_ERR_SYSTEM},
                           .least_calls = 80});
}

TEST(WholeModel, SurvivesEverySemaphoreThatIsNotToBeMade) {
    expect_model_survives({.plan =
                               [](guint n, bool from_then_on) {
                                   from_then_on ? osal::fail_creates_from(n) : osal::fail_create(n);
                               },
                           .calls = [] { return osal::created().size(); },
                           .codes = {OSAL_ERR_BAD_ID},
                           .least_calls = 10});
}

TEST(WholeModel, SurvivesEveryAccessOfTheHardwareThatFails) {
    for (const gint32 code : {DRIVER_ERR_IO, DRIVER_ERR_NOT_READY}) {
        expect_model_survives(
            {.plan = [code](guint n,
                            bool from_then_on) { fake::driver_fail_call(n, code, from_then_on); },
             .calls = [] { return fake::driver_reads().size() + fake::driver_writes().size(); },
             .codes = {code},
             .least_calls = 5});
    }
}

TEST(WholeModel, SurvivesEveryNamedValueOfTheHardwareThatIsNotToBeMade) {
    expect_model_survives({.plan = [](guint n, bool) { fake::driver_fail_property(n); },
                           .calls = fake::driver_property_calls,
                           .codes = {},
                           .least_calls = 2,
                           .also_from_then_on = false});
}

class StoreCode : public ::testing::TestWithParam<gint32> {};

TEST_P(StoreCode, OfAnyCallIsHandedOnAndTheModelSurvives) {
    const gint32 code = GetParam();
    expect_model_survives(
        {.plan = [code](guint n,
                        bool from_then_on) { fake::persist_fail_call(n, code, from_then_on); },
         .calls = [] { return fake::persist_calls().size(); },
         .codes = {code},
         .least_calls = 8});
}

// Every answer of the store but PER_OK; PER_NEW_ITEM is no failure, and handed on like one.
std::vector<gint32> every_answer() {
    std::vector<gint32> codes = {PER_NEW_ITEM};
    for (gint32 code = PER_ERROR_PARA_0_INVALID; code <= PER_ERROR_CLEAR_CFG_FLAG; ++code) {
        codes.push_back(code);
    }
    return codes;
}

INSTANTIATE_TEST_SUITE_P(Each, StoreCode, ::testing::ValuesIn(every_answer()),
                         [](const auto& test) { return std::to_string(std::abs(test.param)); });

}  // namespace
}  // namespace mox::test
