// What a process that does not own the pool cannot do to it.
#include <classnode.h>
#include <lom.h>
#include <pub.h>
#include <shmem.h>
#include <stdlib.h>

#include <cstdio>
#include <string>

#include "captured_output.hpp"
#include "core_model.hpp"

namespace mox::test {
namespace {

using PoolMember = ProcessTest;

// The pool's totals as its dump shows them.
std::string pool_usage() {
    char* text = nullptr;
    std::size_t size = 0;
    FILE* const stream = open_memstream(&text, &size);
    shm_dump(stream);
    std::fclose(stream);
    std::string usage{text, size};
    free(text);
    return usage;
}

TEST_F(PoolMember, GetsNoMemoryFromThePool) {
    Role member{"member", [](Channel& test) {
                    receive_object(test);
                    EXPECT_FALSE(shm_is_owner());
                    CapturedStdout output;
                    EXPECT_EQ(shm_alloc0(16), nullptr);
                    EXPECT_EQ(shm_strdup("text", 32), nullptr);
                    EXPECT_EQ(shm_memdup("text", 4), nullptr);
                    EXPECT_EQ(lom_alloc_space(1), nullptr);
                    EXPECT_EQ(output.take(), "") << "and that is no error to log";
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {});
    const std::string before = pool_usage();
    send_object(member, "Fan1", kMemberId, FALSE);
    member.finish();
    EXPECT_EQ(pool_usage(), before);
}

TEST_F(PoolMember, CannotFreeABlockOfTheOwner) {
    Role member{"member", [](Channel& test) {
                    receive_object(test);
                    auto* const block = test.hear<gchar*>();
                    EXPECT_STREQ(block, "the owner's");
                    shm_free(block);
                    EXPECT_STREQ(block, "the owner's");
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {});
    gchar* const block = shm_strdup("the owner's", 32);
    ASSERT_NE(block, nullptr);
    const std::string before = pool_usage();
    send_object(member, "Fan1", kMemberId, FALSE);
    member.tell(block);
    member.finish();
    EXPECT_STREQ(block, "the owner's");
    EXPECT_EQ(pool_usage(), before);
    shm_free(block);
    EXPECT_NE(pool_usage(), before) << "the block was still the owner's to free";
}

TEST_F(PoolMember, CannotReplaceAStoredValue) {
    Role member{"member", [](Channel& test) {
                    receive_object(test);
                    const guint32 speed = 1;
                    EXPECT_EQ(lom_realloc_property("Fan1", "Speed", "u", sizeof(speed), &speed),
                              MOX_ERR_NOT_PERMITTED);
                    EXPECT_EQ(lom_realloc_property("Fan1", "Label", "s", 2, "x"),
                              MOX_ERR_NOT_PERMITTED);
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200), text("Label", "left")});
    send_object(member, "Fan1", kMemberId, TRUE);
    member.finish();
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    EXPECT_EQ(read_number(fan, "Speed"), 1200U);
    EXPECT_EQ(read_text(fan, "Label"), "left");
}

TEST_F(PoolMember, GivesNothingBackToThePoolWhenItFreesItsCopy) {
    Role member{"member", [](Channel& test) {
                    const OBJECT_HEAD_S record = receive_record(test);
                    for (int i = 0; i < 3; ++i) {
                        EXPECT_NE(lom_create_object(sizeof(record), &record), 0);
                    }
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {text("Label", "left of the door")});
    const std::string before = pool_usage();
    send_object(member, "Fan1", kMemberId, FALSE);
    member.finish();
    EXPECT_EQ(pool_usage(), before);
    EXPECT_EQ(read_text(lom_get_object_handle("Fan1"), "Label"), "left of the door");
}

TEST_F(PoolMember, CannotMakeASecondPool) {
    Role intruder{"intruder", [](Channel& test) {
                      test.hear<char>();
                      choose_pool_size();
                      shm_owned_shmem();
                      EXPECT_EQ(shm_create(), MOX_ERR_INTERNAL);
                      EXPECT_EQ(shm_alloc0(16), nullptr);
                  }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    const std::string before = pool_usage();
    intruder.tell('p');
    intruder.finish();
    EXPECT_EQ(pool_usage(), before);
    EXPECT_EQ(read_number(lom_get_object_handle("Fan1"), "Speed"), 1200U);
}

TEST_F(PoolMember, FindsThePoolWholeAfterTheOwnerTriedToMakeASecondOne) {
    Role member{"member", [](Channel& test) {
                    EXPECT_EQ(read_number(receive_object(test), "Speed"), 1300U);
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    EXPECT_EQ(shm_create(), MOX_ERR_INTERNAL);
    write_number("Fan1", "Speed", 1300);
    send_object(member, "Fan1", kMemberId, FALSE);
    member.finish();
}

TEST_F(PoolMember, FindsNothingWhenThereIsNoPool) {
    Role member{"member", [](Channel&) {
                    shm_app_init();
                    EXPECT_EQ(shm_alloc0(16), nullptr);
                    EXPECT_EQ(lom_get_object_handle("Fan1"), 0);
                    EXPECT_EQ(cls_get_share_base(), nullptr);
                }};
    member.finish();
}

}  // namespace
}  // namespace mox::test
