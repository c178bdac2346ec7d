// The decision of the pool's size.
#include "shmem/pool_size.hpp"

#include <gtest/gtest.h>
#include <shmem.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "pool_fixture.hpp"
#include "shmem/pool.hpp"

namespace {

constexpr guint32 k8MiB = 8388608;
constexpr guint32 k32MiB = 33554432;

// The decision for a text as it stands in the first 27 bytes of /proc/meminfo.
guint32 size_for_text(const std::string& head) {
    gchar text[mox::kMemoryTextLength] = {};
    std::memcpy(text, head.data(), head.size() < sizeof(text) ? head.size() : sizeof(text) - 1);
    return mox::size_from_memory_text(text);
}

// The decision for a file with this content.
guint32 size_for_file(const std::string& content) {
    char path[] = "/tmp/mox-meminfo-XXXXXX";
    const int file = mkstemp(path);
    EXPECT_GE(file, 0);
    EXPECT_EQ(write(file, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    close(file);
    const guint32 size = mox::size_from_memory_file(path);
    unlink(path);
    return size;
}

class PoolSize : public mox::test::PoolFixture {
protected:
    void SetUp() override {
        mox::test::PoolFixture::SetUp();
        m_size = 0;
        unsetenv(SHM_SIZE_VARIABLE);
    }
    void TearDown() override {
        unsetenv(SHM_SIZE_VARIABLE);
        mox::test::PoolFixture::TearDown();
    }
    static guint32 size_with(const char* value) {
        setenv("SHAMRE_MEMORY_SIZE", value, 1);
        return judge_share_memory_size();
    }
    static guint32 size_of_this_machine() { return mox::size_from_memory_file("/proc/meminfo"); }
};

TEST_F(PoolSize, IsTheEnvironmentsNumberOfMebibytes) {
    EXPECT_EQ(size_with("8"), k8MiB);
    m_size = 0;
    EXPECT_EQ(size_with("32"), k32MiB);
    m_size = 0;
    EXPECT_EQ(size_with("17"), 17U * 1048576U);
}

TEST_F(PoolSize, IsTheMachinesForANumberOutOfRange) {
    for (const char* value : {"7", "33", "0", "-1", "-8", "4294967304", "520"}) {
        m_size = 0;
        EXPECT_EQ(size_with(value), size_of_this_machine()) << value;
    }
}

TEST_F(PoolSize, IsTheMachinesForTextThatIsNoNumber) {
    EXPECT_EQ(size_with("abc"), size_of_this_machine());
    m_size = 0;
    EXPECT_EQ(size_with(""), size_of_this_machine());
}

TEST_F(PoolSize, IsTheMachinesWithoutTheVariable) {
    EXPECT_EQ(judge_share_memory_size(), size_of_this_machine());
    EXPECT_EQ(m_size, size_of_this_machine());
}

TEST_F(PoolSize, IsDecidedOnce) {
    EXPECT_EQ(size_with("8"), k8MiB);
    EXPECT_EQ(m_size, k8MiB);
    EXPECT_EQ(size_with("32"), k8MiB);
    unsetenv(SHM_SIZE_VARIABLE);
    EXPECT_EQ(judge_share_memory_size(), k8MiB);
}

TEST_F(PoolSize, OfAMachineIs8MiBUpTo287153Kilobytes) {
    EXPECT_EQ(size_for_text("MemTotal:         287153 kB"), k8MiB);
    EXPECT_EQ(size_for_text("MemTotal:         157332 kB"), k8MiB);
    EXPECT_EQ(size_for_text("MemTotal:              0 kB"), k8MiB);
}

TEST_F(PoolSize, OfAMachineIs32MiBFrom287154Kilobytes) {
    EXPECT_EQ(size_for_text("MemTotal:         287154 kB"), k32MiB);
    EXPECT_EQ(size_for_text("MemTotal:       16384000 kB"), k32MiB);
}

TEST_F(PoolSize, OfATextWithoutADigitIs8MiB) {
    EXPECT_EQ(size_for_text("MemTotal: unknown unknown x"), k8MiB);
}

TEST_F(PoolSize, CountsTheNumberThatBeginsWithTheFirstDigitWhateverStandsBeforeIt) {
    EXPECT_EQ(size_for_text("-+Mem(Total)x-287154 kB    "), k32MiB);
    EXPECT_EQ(size_for_text("287153 kB 999999999999 kB  "), k8MiB);
}

TEST_F(PoolSize, CountsADigitInTheLastPlace) {
    EXPECT_EQ(size_for_text("MemTotal:                 9"), k8MiB);
    EXPECT_EQ(size_for_text("MemTotal:            287154"), k32MiB);
}

TEST_F(PoolSize, IsReadFromTheFirst27BytesOfTheFile) {
    EXPECT_EQ(size_for_file("MemTotal:         287154 kB\nMemFree:    1 kB\n"), k32MiB);
    EXPECT_EQ(size_for_file("MemTotal:         287153 kB\nMemFree:    9999999 kB\n"), k8MiB);
    EXPECT_EQ(size_for_file("MemTotal:                  9999999 kB\n"), k8MiB);
}

// What a short read leaves of the default text belongs to the number: 28 before 57332 makes
// 2857332.
TEST_F(PoolSize, KeepsTheRestOfTheDefaultTextAfterAShortRead) {
    EXPECT_EQ(size_for_file("Mem"), k8MiB);
    EXPECT_EQ(size_for_file("MemTotal:         9"), k32MiB);
    EXPECT_EQ(size_for_file("MemTotal:        9"), k32MiB);
    EXPECT_EQ(size_for_file("MemTotal:       9"), k8MiB);
}

TEST_F(PoolSize, Is32MiBWhenTheMachinesMemoryCannotBeRead) {
    EXPECT_EQ(mox::size_from_memory_file("/nonexistent/meminfo"), k32MiB);
}

TEST_F(PoolSize, StaysUndecidedForAnEmptyFile) {
    EXPECT_EQ(size_for_file(""), 0U);
}

}  // namespace
