// Several threads at one object: a read sees a written value whole, wherever it comes from.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

constexpr int kRounds = 8000;

using Check = std::function<bool()>;

class ConcurrentRead : public ValueFixture {
protected:
    // Runs the write, round after round, against the checks, each in a thread of its own. Returns
    // how many checks failed.
    static int failed_checks(const std::function<void(int)>& write,
                             const std::vector<Check>& checks) {
        std::atomic<int> failures{0};
        std::atomic<std::size_t> waiting{checks.size() + 1};
        const auto start_together = [&waiting] {
            --waiting;
            while (waiting != 0) std::this_thread::yield();
        };
        std::vector<std::thread> threads;
        threads.emplace_back([&] {
            start_together();
            for (int round = 0; round < kRounds; ++round) write(round);
        });
        for (const Check& check : checks) {
            threads.emplace_back([&] {
                start_together();
                for (int round = 0; round < kRounds; ++round) failures += check() ? 0 : 1;
            });
        }
        for (std::thread& thread : threads) thread.join();
        return failures;
    }

    // Writes a text of 8 letters and one of 200 in turn: the block is outgrown once, and the value
    // shrinks and grows ever after.
    static void write_text(const char* object, const char* property, int round) {
        const std::string value = round % 2 == 0 ? std::string(8, 'a') : std::string(200, 'b');
        lom_realloc_property(object, property, "s", static_cast<guint32>(value.size() + 1),
                             value.c_str());
    }

    static bool is_written_text(const std::string& value) {
        return value == "'first'" || value == "'" + std::string(8, 'a') + "'" ||
               value == "'" + std::string(200, 'b') + "'";
    }

    static void write_number(const char* object, const char* property, int round) {
        const auto value = static_cast<guint32>(round % 2 == 0 ? 0x11111111 : 0x22222222);
        lom_realloc_property(object, property, "u", sizeof value, &value);
    }

    static bool is_written_number(const std::string& value) {
        return value == "uint32 0" || value == "uint32 286331153" || value == "uint32 572662306";
    }
};

TEST_F(ConcurrentRead, OfTextSeesAWrittenValueWhole) {
    add_object({.name = "Fan1", .properties = {text("Label", "first")}});
    EXPECT_EQ(failed_checks([](int round) { write_text("Fan1", "Label", round); },
                            {[] { return is_written_text(stored_value("Fan1", "Label")); },
                             [] { return is_written_text(live_value("Fan1", "Label")); }}),
              0);
}

TEST_F(ConcurrentRead, OfAPackageHasTheSizeOfItsBytes) {
    add_object({.name = "Fan1", .properties = {text("Label", "first")}});
    const Check check = [] {
        Package package;
        lom_get_property_memory_data(handle_of("Fan1"), "Label", &package.tlv);
        return package.bytes().back() == 0 &&
               std::strlen(static_cast<const char*>(package.tlv.data)) + 1 == package.tlv.size;
    };
    EXPECT_EQ(failed_checks([](int round) { write_text("Fan1", "Label", round); }, {check, check}),
              0);
}

TEST_F(ConcurrentRead, OfHardwareSeesItsValueAndOfMemoryAWrittenOne) {
    add_object({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 0, "rw", "Tacho")}});
    fake::driver_program_value<guint32>("Tacho", 7);
    EXPECT_EQ(failed_checks([](int round) { write_number("Fan1", "Speed", round); },
                            {[] {
                                 // Once synced, a read-only object is read from memory.
                                 const std::string value = live_value("Fan1", "Speed");
                                 return value == "uint32 7" || is_written_number(value);
                             },
                             [] { return is_written_number(stored_value("Fan1", "Speed")); }}),
              0);
}

TEST_F(ConcurrentRead, OfHardwareThatIsWrittenBackSeesWholeValues) {
    add_object({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 0, "rw", "Tacho")}});
    fake::driver_program_value<guint32>("Tacho", 7);
    set_writable("Fan1");
    EXPECT_EQ(failed_checks([](int round) { write_number("Fan1", "Speed", round); },
                            {[] { return live_value("Fan1", "Speed") == "uint32 7"; },
                             [] {
                                 const std::string value = stored_value("Fan1", "Speed");
                                 return value == "uint32 7" || is_written_number(value);
                             }}),
              0);
}

TEST_F(ConcurrentRead, OfABatchAndOfACallerSeeWholeValues) {
    add_object({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 0, "rw", "Tacho")}});
    fake::driver_program_value<guint32>("Tacho", 7);
    set_writable("Fan1");
    EXPECT_EQ(failed_checks([](int round) { write_number("Fan1", "Speed", round); },
                            {[] {
                                 lom_property_batch_read();
                                 return true;
                             },
                             [] { return live_value("Fan1", "Speed") == "uint32 7"; }}),
              0);
}

TEST_F(ConcurrentRead, OfEventsSeesWholeValues) {
    add_object({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 0, "rw", "Tacho")}});
    set_writable("Fan1");
    listen("Fan", "Speed", 7);
    failed_checks(
        [](int round) { fake::driver_program_value<guint32>("Tacho", round % 2 == 0 ? 1U : 2U); },
        {[] { return live_value("Fan1", "Speed") != ""; },
         [] { return live_value("Fan1", "Speed") != ""; }});
    for (const std::string& event : sent_events()) {
        EXPECT_TRUE(event == "7: Fan1.Speed = uint32 1" || event == "7: Fan1.Speed = uint32 2")
            << event;
    }
}

TEST_F(ConcurrentRead, OfAReferenceSeesOneOfItsTargets) {
    const std::string long_name(31, 'F');
    add_object({.name = "Fan2", .properties = {number<guint8>("Speed", "y", 2)}});
    add_object({.name = long_name, .properties = {number<guint8>("Speed", "y", 3)}});
    add_object({.name = "View", .properties = {reference("Twin", "Fan2.Speed")}});
    const auto write = [&](int round) {
        const std::string target = round % 2 == 0 ? long_name + ".Speed" : "Fan2.Speed";
        lom_realloc_property("View", "Twin", "s", static_cast<guint32>(target.size() + 1),
                             target.c_str());
    };
    const Check check = [] {
        const std::string value = stored_value("View", "Twin");
        return value == "byte 0x02" || value == "byte 0x03";
    };
    EXPECT_EQ(failed_checks(write, {check, check}), 0);
}

TEST_F(ConcurrentRead, OfAPhysicalObjectForTheDriverSeesWholeValues) {
    add_physical("Chip", "Cpld", {{"Label", "first"}});
    failed_checks([](int round) { write_text("Cpld", "Label", round); },
                  {[] {
                       lom_create_has_object(handle_of("Cpld"));
                       return true;
                   },
                   [] { return is_written_text(stored_value("Cpld", "Label")); }});
    for (const auto& table : fake::driver_tables()) {
        ASSERT_TRUE(is_written_text(table.at("Chip.Cpld").back().value));
    }
}

}  // namespace
}  // namespace mox::test
