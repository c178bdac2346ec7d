// Several threads that write, override, save and compute at one object: every value that is seen
// was written whole, and no call is lost to another.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "expression_fixture.hpp"

namespace mox::test {
namespace {

constexpr int kRounds = 3000;

using Step = std::function<bool(int)>;

class ConcurrentWrite : public ExpressionFixture {
protected:
    // Runs each step, round after round, in a thread of its own. Returns how many steps failed.
    static int failed_steps(const std::vector<Step>& steps) {
        std::atomic<int> failures{0};
        std::atomic<std::size_t> waiting{steps.size()};
        std::vector<std::thread> threads;
        for (const Step& step : steps) {
            threads.emplace_back([&] {
                --waiting;
                while (waiting != 0) std::this_thread::yield();
                for (int round = 0; round < kRounds; ++round) failures += step(round) ? 0 : 1;
            });
        }
        for (std::thread& thread : threads) thread.join();
        return failures;
    }

    // A text of one letter, of a length that goes with it.
    static std::string letters(int round) {
        return round % 2 == 0 ? std::string(4, 'a') : std::string(2, 'b');
    }

    static bool is_whole(const std::string& value) {
        return value == "'left'" || value == "'aaaa'" || value == "'bb'";
    }
};

TEST_F(ConcurrentWrite, OfTextIsSeenWhole) {
    const auto write_label = [](int round) {
        return write("Fan1", "Label", label(letters(round))) == 0;
    };
    EXPECT_EQ(failed_steps({write_label, write_label,
                            [](int) { return is_whole(stored_value("Fan1", "Label")); },
                            [](int) { return is_whole(live_value("Fan1", "Label")); }}),
              0);
}

TEST_F(ConcurrentWrite, BesideOverridesIsTakenOrRefused) {
    const auto write_label = [](int round) {
        const gint32 code = write("Fan1", "Label", label(letters(round)));
        return code == 0 || code == -2019;
    };
    const auto override_label = [](int round) {
        return override_with("Fan1", "Label", label(letters(round))) == 0 &&
               cancel_override("Fan1", "Label") == 0;
    };
    EXPECT_EQ(failed_steps({write_label, override_label,
                            [](int) { return is_whole(live_value("Fan1", "Label")); }}),
              0);
    EXPECT_EQ(property_of("Fan1", "Label").state.bit.override, 0U);
}

TEST_F(ConcurrentWrite, IsSavedWhole) {
    const auto write_and_save = [](int round) {
        return write("Fan1", "Label", label(letters(round)), PER_MODE_RESET) == 0;
    };
    const auto save_stored = [](int) {
        return lom_save_property_value(handle_of("Fan1"), "Label", nullptr, PER_MODE_POWER_OFF,
                                       FALSE, FALSE) == 0;
    };
    EXPECT_EQ(failed_steps({write_and_save, write_and_save, save_stored}), 0);
    for (const auto& call : fake::persist_calls()) {
        ASSERT_TRUE(call.bytes == bytes_of_text("aaaa") || call.bytes == bytes_of_text("bb") ||
                    call.bytes == bytes_of_text("left"));
    }
}

// The mark of what is to be saved changes without the semaphore that the reader holds.
TEST_F(ConcurrentWrite, ThatIsSavedIsSeenWholeByAReadOfSeveral) {
    const auto write_and_save = [](int round) {
        return write("Fan1", "Label", label(letters(round)), PER_MODE_RESET) == 0;
    };
    const auto read_several = [](int) {
        gchar first[] = "Label";
        gchar second[] = "Speed";
        GSList tail = {second, nullptr};
        GSList names = {first, &tail};
        GSList* values = nullptr;
        if (lom_multiget_property_value(handle_of("Fan1"), &names, &values) != 0) return false;
        const std::string text =
            std::string("'") + g_variant_get_string(static_cast<GVariant*>(values->data), nullptr) +
            "'";
        g_slist_free_full(values,
                          [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
        return is_whole(text);
    };
    EXPECT_EQ(failed_steps({write_and_save, write_and_save, read_several}), 0);
}

TEST_F(ConcurrentWrite, ToAReferenceWhoseTextChangesReachesOneOfItsTargets) {
    add_object(
        {.name = "Fan2", .class_name = "Fan", .properties = {number<guint32>("Speed", "u", 0)}});
    set_writable("Fan2");
    add_view("Fan1.Speed");
    const auto point_elsewhere = [](int round) {
        return lom_realloc_property("View", "Twin", "s", 11,
                                    round % 2 == 0 ? "Fan2.Speed" : "Fan1.Speed") == 0;
    };
    const auto write_view = [](int round) {
        return write("View", "Twin", speed(static_cast<guint32>(round))) == 0;
    };
    EXPECT_EQ(failed_steps({point_elsewhere, write_view, write_view}), 0);
}

TEST_F(ConcurrentWrite, OfAnInputIsSeenByEveryThreadThatComputes) {
    add_formula("X * 2");
    const auto change_input = [](int round) {
        return write("Sensor", "A", speed(static_cast<guint32>(round % 5))) == 0;
    };
    const auto compute = [](int) {
        const std::string value = live_value("Sum", "Value");
        return value == "0.0" || value == "2.0" || value == "4.0" || value == "6.0" ||
               value == "8.0";
    };
    EXPECT_EQ(failed_steps({change_input, compute, compute}), 0);
    set_input("A", 50);
    EXPECT_EQ(live_value("Sum", "Value"), "100.0");
}

TEST_F(ConcurrentWrite, OfTwoPropertiesIsReadAsOneSetWhenTheWriterHoldsTheSemaphore) {
    const OBJ_HANDLE sensor = handle_of("Sensor");
    SERIALISED_PROPERTY_S& first = property_of("Sensor", "A");
    SERIALISED_PROPERTY_S& second = property_of("Sensor", "B");
    const auto change_both = [&](int round) {
        const auto value = static_cast<guint32>(round);
        if (lom_lock_object(sensor) != 0) return false;
        std::memcpy(first.data, &value, sizeof value);
        std::this_thread::yield();
        std::memcpy(second.data, &value, sizeof value);
        return lom_unlock_object(sensor) == 0;
    };
    ASSERT_TRUE(change_both(0));
    const auto read_both = [&](int) {
        gchar a[] = "A";
        gchar b[] = "B";
        GSList tail = {b, nullptr};
        GSList names = {a, &tail};
        GSList* values = nullptr;
        if (lom_multiget_property_value(sensor, &names, &values) != 0) return false;
        const bool is_equal = g_variant_equal(values->data, values->next->data) != FALSE;
        g_slist_free_full(values,
                          [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
        return is_equal;
    };
    EXPECT_EQ(failed_steps({change_both, read_both, read_both}), 0);
}

}  // namespace
}  // namespace mox::test
