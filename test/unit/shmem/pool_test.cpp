// Creating and attaching the segment, with a real one in the test's own System V namespace.
#include "shmem/pool.hpp"

#include <gtest/gtest.h>
#include <moxlib/moxbase.h>
#include <shmem.h>
#include <sys/mman.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "captured_output.hpp"
#include "pool_fixture.hpp"

namespace {

constexpr gsize kSize = 8388608;
constexpr key_t kKey = 1249841;

char* fixed_address() {
    return reinterpret_cast<char*>(std::uintptr_t{0x90000000});
}

// The segment's state; its size is 0 when there is none.
shmid_ds segment() {
    shmid_ds state = {};
    const int id = shmget(kKey, 0, 0);
    if (id >= 0) shmctl(id, IPC_STAT, &state);
    return state;
}

void make_segment(gsize size) {
    ASSERT_GE(shmget(kKey, size, IPC_CREAT | IPC_EXCL | 0600), 0);
}

// Occupies the pool's address, so that nothing can be mapped there.
class BlockedAddress {
public:
    BlockedAddress()
        : page_(mmap(fixed_address(), 4096, PROT_NONE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0)) {
        EXPECT_EQ(page_, fixed_address());
    }
    ~BlockedAddress() { munmap(page_, 4096); }
    BlockedAddress(const BlockedAddress&) = delete;
    BlockedAddress& operator=(const BlockedAddress&) = delete;

private:
    void* page_;
};

// Runs the body and returns what it wrote to the system log.
template <typename Body>
std::string logged(Body&& body) {
    mox::test::CapturedSyslog log;
    mox::test::stdout_of(body);
    return log.text();
}

class Pool : public mox::test::PoolFixture {
protected:
    void SetUp() override {
        mox::test::PoolFixture::SetUp();
        mox::test::forget_pool();
        mox::fake::space::reset();
        setenv("SHAMRE_MEMORY_SIZE", "8", 1);
    }
    void TearDown() override {
        unsetenv("SHAMRE_MEMORY_SIZE");
        shmdt(fixed_address());
        const int id = shmget(kKey, 0, 0);
        if (id >= 0) shmctl(id, IPC_RMID, nullptr);
        mox::test::PoolFixture::TearDown();
    }
    static std::string error_line(const std::string& text) {
        return std::string("[ ") + mox::test::DebugLevel::module() + " ] \x1b[0;31mERROR:\x1b[0m " +
               text;
    }
};

TEST_F(Pool, IsNotThisProcesssUntilItSaysSo) {
    EXPECT_FALSE(shm_is_owner());
    shm_owned_shmem();
    EXPECT_EQ(shm_is_owner(), TRUE);
}

TEST_F(Pool, IsOwnedOnlyByTheFlagsValueOne) {
    g_is_owned_shmem = 2;
    EXPECT_FALSE(shm_is_owner());
}

TEST_F(Pool, HasTheEstablishedKeySizeAndPermissions) {
    ASSERT_EQ(shm_create(), 0);
    EXPECT_EQ(kKey, SHM_POOL_KEY);
    EXPECT_EQ(segment().shm_segsz, kSize);
    EXPECT_EQ(segment().shm_perm.mode & 0777, 0666);
}

TEST_F(Pool, IsMappedAtTheFixedAddress) {
    ASSERT_EQ(shm_create(), 0);
    EXPECT_EQ(segment().shm_nattch, 1U);
    fixed_address()[0] = 'a';
    fixed_address()[kSize - 1] = 'z';
    EXPECT_EQ(fixed_address()[0], 'a');
    EXPECT_EQ(fixed_address()[kSize - 1], 'z');
}

TEST_F(Pool, GetsAnAllocatorForSeveralThreadsOverTheWholeSegment) {
    ASSERT_EQ(shm_create(), 0);
    const auto creation = mox::fake::space::last_creation();
    EXPECT_EQ(creation.base, fixed_address());
    EXPECT_EQ(creation.size, kSize);
    EXPECT_EQ(creation.locked, 1);
    EXPECT_NE(g_dlmalloc_space, nullptr);
}

TEST_F(Pool, EndsWhereItsSegmentEnds) {
    ASSERT_EQ(shm_create(), 0);
    EXPECT_EQ(g_dlmalloc_top, 0x90800000U);
}

TEST_F(Pool, CannotBeCreatedASecondTime) {
    ASSERT_EQ(shm_create(), 0);
    gint32 result = 0;
    const std::string text = logged([&] { result = shm_create(); });
    EXPECT_EQ(result, MOX_ERR_INTERNAL);
    EXPECT_EQ(text, error_line("shmget create share memory failed, File exists.\n"));
}

TEST_F(Pool, CannotBeCreatedOverAForeignSegmentOfItsKey) {
    make_segment(4096);
    gint32 result = 0;
    logged([&] { result = shm_create(); });
    EXPECT_EQ(result, MOX_ERR_INTERNAL);
    EXPECT_EQ(segment().shm_segsz, 4096U);
    EXPECT_EQ(g_dlmalloc_space, nullptr);
    EXPECT_EQ(g_dlmalloc_top, 0U);
}

TEST_F(Pool, CannotBeCreatedWhereItsAddressIsTaken) {
    const BlockedAddress blocked;
    gint32 result = 0;
    const std::string text = logged([&] { result = shm_create(); });
    EXPECT_EQ(result, MOX_ERR_INTERNAL);
    EXPECT_EQ(text, error_line("shmat attach share memory failed, Invalid argument.\n"));
    EXPECT_EQ(g_dlmalloc_space, nullptr);
}

TEST_F(Pool, TellsItsAddressAtTheInsightLevel) {
    const mox::test::DebugLevel level("2");
    const std::string text = mox::test::stdout_of([] { shm_create(); });
    EXPECT_EQ(text, std::string("[ 0:0:0.000 ][ ") + mox::test::DebugLevel::module() +
                        " ] share memory address: 0x90000000\n");
}

TEST_F(Pool, RefusesABlockWithAKeyAboveItsOwnWithoutAWord) {
    const std::string text =
        logged([] { EXPECT_EQ(shm_alloc_new_block(0x131232, 4096, fixed_address()), nullptr); });
    EXPECT_EQ(text, "");
    EXPECT_EQ(shmget(0x131232, 0, 0), -1);
}

TEST_F(Pool, TakesABlockWithALowerKey) {
    EXPECT_EQ(shm_alloc_new_block(0x131230, 4096, fixed_address()), fixed_address());
    const int id = shmget(0x131230, 0, 0);
    EXPECT_GE(id, 0);
    shmctl(id, IPC_RMID, nullptr);
}

TEST_F(Pool, AttachedByAModuleShowsWhatTheOwnerWrote) {
    make_segment(kSize);
    void* elsewhere = shmat(shmget(kKey, 0, 0), nullptr, 0);
    ASSERT_NE(elsewhere, reinterpret_cast<void*>(-1));
    std::strcpy(static_cast<char*>(elsewhere) + 100, "from the owner");
    shmdt(elsewhere);
    shm_app_init();
    EXPECT_EQ(init, 1);
    ASSERT_EQ(segment().shm_nattch, 1U);
    EXPECT_STREQ(fixed_address() + 100, "from the owner");
}

TEST_F(Pool, IsAttachedOncePerProcess) {
    make_segment(kSize);
    const std::string text = logged([] {
        shm_app_init();
        shm_app_init();
    });
    EXPECT_EQ(segment().shm_nattch, 1U);
    EXPECT_EQ(text, "");
}

TEST_F(Pool, ThatIsMissingIsReportedAndNotLookedForAgain) {
    EXPECT_EQ(logged([] { shm_app_init(); }), error_line("attach share memory failed.\n"));
    make_segment(kSize);
    EXPECT_EQ(logged([] { shm_app_init(); }), "");
    EXPECT_EQ(segment().shm_nattch, 0U);
}

TEST_F(Pool, ThatIsSmallerThanDecidedIsNotAttached) {
    make_segment(4096);
    EXPECT_EQ(logged([] { shm_app_init(); }), error_line("attach share memory failed.\n"));
    EXPECT_EQ(segment().shm_nattch, 0U);
}

TEST_F(Pool, TellsTheAttachedAddressAtTheInsightLevel) {
    make_segment(kSize);
    const mox::test::DebugLevel level("2");
    const std::string text = mox::test::stdout_of([] { shm_app_init(); });
    EXPECT_EQ(text, std::string("[ 0:0:0.000 ][ ") + mox::test::DebugLevel::module() +
                        " ] attach share memory address: 0x90000000\n");
}

// What shmat gave is told as it is, the all-ones pointer of a failure too.
TEST_F(Pool, TellsTheAttachedAddressEvenWhenItIsNone) {
    make_segment(kSize);
    const BlockedAddress blocked;
    const mox::test::DebugLevel level("2");
    char expected[64];
    std::snprintf(expected, sizeof(expected), "attach share memory address: %p\n",
                  reinterpret_cast<void*>(-1));
    const std::string text = mox::test::stdout_of([] { shm_app_init(); });
    EXPECT_NE(text.find(expected), std::string::npos) << text;
    EXPECT_EQ(logged([] { shm_app_init(); }), "");
}

TEST_F(Pool, AttachedByAModuleIsNotOwnedByIt) {
    make_segment(kSize);
    shm_app_init();
    EXPECT_FALSE(shm_is_owner());
    EXPECT_EQ(shm_alloc0(8), nullptr);
}

}  // namespace
