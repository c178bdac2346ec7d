// The tick counter and the texts of the layer's codes.
#include <gtest/gtest.h>
#include <moxplat/osal.h>

#include <ctime>
#include <set>
#include <string>

namespace {

guint64 monotonic_milliseconds() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<guint64>(now.tv_sec) * 1000U + static_cast<guint64>(now.tv_nsec) / 1000000U;
}

TEST(Tick, IsTheMonotonicClockInMilliseconds) {
    const guint64 before = monotonic_milliseconds();
    const gulong tick = osal_tick_get();
    const guint64 after = monotonic_milliseconds();
    // Compared as differences, which hold across the wrap of a 32-bit tick.
    EXPECT_LE(static_cast<gulong>(tick - static_cast<gulong>(before)), after - before);
}

TEST(Tick, NeverGoesBack) {
    gulong last = osal_tick_get();
    for (int i = 0; i < 100000; ++i) {
        const gulong now = osal_tick_get();
        ASSERT_LT(now - last, 1000000U);
        last = now;
    }
}

TEST(ErrorText, DiffersForEveryCodeOfTheLayer) {
    std::set<std::string> texts{osal_error_text(OSAL_OK), osal_error_text(1)};
    for (gint32 code = OSAL_ERR_SYSTEM; code <= OSAL_ERR_EMPTY; ++code)
        texts.insert(osal_error_text(code));
    EXPECT_EQ(texts.size(), 11U);
}

TEST(ErrorText, SaysThatACodeIsUnknown) {
    EXPECT_STREQ(osal_error_text(1), "unknown code");
    EXPECT_STREQ(osal_error_text(-2015), "unknown code");
}

}  // namespace
