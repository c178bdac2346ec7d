// A lack of memory inside the database is a code; it is never taken for an empty value or a damaged
// file.
//
// What holds: the database's memory comes from here for the length of a test, and no store is open
// when that begins and ends.
#include "captured_log.hpp"
#include "persist_fixture.hpp"

namespace mox::test {
namespace {

sqlite3_mem_methods real;
// How many requests are met before one is refused; below 0 all are.
int met_until_refused = -1;

bool is_refused() {
    return met_until_refused >= 0 && met_until_refused-- == 0;
}
void* give(int size) {
    return is_refused() ? nullptr : real.xMalloc(size);
}
void* give_more(void* block, int size) {
    return is_refused() ? nullptr : real.xRealloc(block, size);
}

class ScarceMemory : public PersistTest {
public:
    ~ScarceMemory() override {
        met_until_refused = -1;
        cfg_store_close();
        sqlite3_shutdown();
        sqlite3_config(SQLITE_CONFIG_MALLOC, &real);
        sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 1200, 100);
    }
    ScarceMemory(const ScarceMemory&) = delete;
    ScarceMemory& operator=(const ScarceMemory&) = delete;

protected:
    ScarceMemory() = default;

    void SetUp() override {
        ASSERT_EQ(sqlite3_initialize(), SQLITE_OK);
        ASSERT_EQ(sqlite3_shutdown(), SQLITE_OK);
        ASSERT_EQ(sqlite3_config(SQLITE_CONFIG_GETMALLOC, &real), SQLITE_OK);
        sqlite3_mem_methods scarce = real;
        scarce.xMalloc = give;
        scarce.xRealloc = give_more;
        ASSERT_EQ(sqlite3_config(SQLITE_CONFIG_MALLOC, &scarce), SQLITE_OK);
        // Small blocks would be had from a stock of their own.
        ASSERT_EQ(sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0), SQLITE_OK);
        ASSERT_EQ(open_store(), PER_OK);
        ASSERT_EQ(save("Fan1", "Log", Value{"ay", "5"}), PER_OK);
        ASSERT_EQ(save("Fan1", "Level", Value{"y", "\x05"}), PER_OK);
        cfg_store_close();
    }

    // Makes a value's bytes a number in the file, so that the database needs memory to give them.
    void store_as_number() {
        change(values_file(),
               "ALTER TABLE value RENAME TO strict_value; CREATE TABLE value (object, name,"
               " has_prefix, mode, type, data, sequence, PRIMARY KEY (object, name, has_prefix,"
               " mode)); INSERT INTO value SELECT * FROM strict_value; DROP TABLE strict_value;"
               " UPDATE value SET data = 5 WHERE name = 'Log'");
    }

    // Calls with the first request refused, then the second, until the call is met; gives how often
    // it was refused.
    template <typename Call>
    static int refuse_one_after_the_other(Call&& call) {
        for (int met = 0; met < 100000; ++met) {
            met_until_refused = met;
            const bool is_done = call();
            const bool is_met = met_until_refused >= 0;
            met_until_refused = -1;
            if (is_met) {
                EXPECT_TRUE(is_done);
                return met;
            }
            if (::testing::Test::HasFailure()) break;
        }
        ADD_FAILURE() << "no end";
        return 0;
    }
};

TEST_F(ScarceMemory, IsNeverReadAsAnotherValue) {
    store_as_number();
    const int refused = refuse_one_after_the_other([this] {
        const int wanted = std::exchange(met_until_refused, -1);
        CapturedLog log;
        EXPECT_EQ(reopen_store(), PER_OK);
        met_until_refused = wanted;
        const Saved found = read("Fan1", "Log");
        EXPECT_TRUE(found == saved_as(Value{"ay", "5"}) ||
                    found == failed_with(PER_ERROR_MALLOC_FAIL))
            << ::testing::PrintToString(found);
        EXPECT_EQ(log.lines().size(), found.code == PER_OK ? 0U : 1U);
        return found.code == PER_OK;
    });
    EXPECT_GT(refused, 0);
}

TEST_F(ScarceMemory, NeverMakesASaveLoseTheFormerValue) {
    const int refused = refuse_one_after_the_other([this] {
        const int wanted = std::exchange(met_until_refused, -1);
        CapturedLog log;
        EXPECT_EQ(reopen_store(), PER_OK);
        const Saved former = read("Fan1", "Level");
        const Value next{"y", former.bytes == "\x05" ? "\x06" : "\x05"};
        met_until_refused = wanted;
        const gint32 code = save("Fan1", "Level", next);
        const int left = std::exchange(met_until_refused, -1);
        EXPECT_TRUE(code == PER_OK || code == PER_ERROR_MALLOC_FAIL) << code;
        EXPECT_EQ(read("Fan1", "Level"), code == PER_OK ? saved_as(next) : former);
        met_until_refused = left;
        return code == PER_OK;
    });
    EXPECT_GT(refused, 0);
}

TEST_F(ScarceMemory, NeverDamnsAGoodFile) {
    const int refused = refuse_one_after_the_other([this] {
        CapturedLog log;
        const gint32 code = open_store();
        const int left = std::exchange(met_until_refused, -1);
        EXPECT_TRUE(code == PER_OK || code == PER_ERROR_MALLOC_FAIL) << code;
        cfg_store_close();
        EXPECT_FALSE(std::filesystem::exists(values_file() + ".damaged-1"));
        EXPECT_FALSE(std::filesystem::exists(reset_file() + ".damaged-1"));
        met_until_refused = left;
        return code == PER_OK;
    });
    EXPECT_GT(refused, 0);
    ASSERT_EQ(open_store(), PER_OK);
    EXPECT_EQ(read("Fan1", "Level"), saved_as(Value{"y", "\x05"}));
}

}  // namespace
}  // namespace mox::test
