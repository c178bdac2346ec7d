// Objects that leave the owner's model while other processes hold copies: the memory of each stays
// until the last copy is given up, whatever the order, and all of it comes back.
#include <classnode.h>
#include <lom.h>
#include <shmem.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "core_model.hpp"

namespace mox::test {
namespace {

constexpr gint32 kFirstId = 5;
constexpr gint32 kSecondId = 40;

// The bytes of the pool that are in use, as its dump shows them.
int used_bytes() {
    char* text = nullptr;
    std::size_t size = 0;
    FILE* const stream = open_memstream(&text, &size);
    shm_dump(stream);
    std::fclose(stream);
    const char* const used = std::strstr(text, "used  : ");
    const int bytes = used == nullptr ? -1 : std::atoi(used + std::strlen("used  : "));
    free(text);
    EXPECT_GE(bytes, 0) << "the dump does not tell";
    return bytes;
}

void make_board() {
    make_object("Fan", "Fan1", {number("Speed", 1200), text("Label", "left")});
    make_object("Fan", "Fan2", {number("Speed", 700), text("Label", "right")});
}

void remove_board() {
    GHashTable* const unsaved = g_hash_table_new_full(
        g_str_hash, g_str_equal, g_free,
        [](gpointer names) { g_slist_free_full(static_cast<GSList*>(names), g_free); });
    lom_remove_to_garbage(lom_get_position(lom_name_to_handle("Fan1")), unsaved);
    EXPECT_EQ(g_hash_table_size(unsaved), 2U);
    g_hash_table_destroy(unsaved);
}

// A role that takes copies of both and gives them up as its word says.
constexpr char kDetach = 'd';
constexpr char kDelete = 'e';
std::function<void(Channel&)> holder(gint32 module_id) {
    return [module_id](Channel& test) {
        lom_set_bitmap_id(module_id);
        const OBJ_HANDLE first = receive_object(test);
        const OBJ_HANDLE second = receive_object(test);
        test.tell('h');
        if (test.hear<char>() == kDelete) {
            lom_delete_object(first);
            lom_delete_object(second);
            EXPECT_EQ(lom_get_object_handle("Fan1"), 0);
        } else {
            EXPECT_EQ(read_text(first, "Label"), "left") << "the copy is whole to the end";
            lom_detach_objects();
        }
        test.tell('g');
    };
}

void hand_out(Role& role, gint32 module_id) {
    send_object(role, "Fan1", module_id, FALSE);
    send_object(role, "Fan2", module_id, FALSE);
    role.hear<char>();
}

void give_up(Role& role, char how) {
    role.tell(how);
    role.hear<char>();
    role.finish();
}

using CopiedGarbage = ProcessTest;

TEST_F(CopiedGarbage, StaysForEveryHolderAndThenGoes) {
    Role first{"first", holder(kFirstId)};
    Role second{"second", holder(kSecondId)};
    const PoolOwner owner;
    const int before = used_bytes();
    make_board();
    const int with_board = used_bytes();
    EXPECT_GT(with_board, before);
    hand_out(first, kFirstId);
    hand_out(second, kSecondId);
    remove_board();
    lom_reclaim_garbage();
    EXPECT_EQ(used_bytes(), with_board);
    give_up(first, kDelete);
    lom_reclaim_garbage();
    EXPECT_EQ(used_bytes(), with_board) << "the second has its copies";
    give_up(second, kDelete);
    EXPECT_EQ(used_bytes(), with_board) << "only a reclaim gives memory back";
    lom_reclaim_garbage();
    EXPECT_EQ(used_bytes(), before);
}

// The order in which things happen: 'r' the owner removes the objects, 'l' one module leaves, 'k'
// the other is killed and the owner gives up its bits. The owner reclaims after each.
class OrderOfEnds : public ProcessTest, public ::testing::WithParamInterface<const char*> {
protected:
    // What a killed module held is cleared in the table, and one by one in the garbage.
    static void give_up_bits(const std::vector<guint32*>& bitmaps) {
        lom_batch_unref(kSecondId);
        for (guint32* const bitmap : bitmaps) lom_clear_reference_bitmap(bitmap, kSecondId);
    }
};

TEST_P(OrderOfEnds, KeepsTheMemoryUntilAllHaveHappenedAndThenGivesItBack) {
    Role leaver{"leaver", holder(kFirstId)};
    Role victim{"victim", holder(kSecondId)};
    const PoolOwner owner;
    const int before = used_bytes();
    make_board();
    const int with_board = used_bytes();
    EXPECT_GT(with_board, before);
    hand_out(leaver, kFirstId);
    hand_out(victim, kSecondId);
    std::vector<guint32*> bitmaps;
    for (const char* const name : {"Fan1", "Fan2"}) {
        guint32 size = 0;
        gpointer copy = nullptr;
        ASSERT_EQ(lom_copy_object(name, &size, &copy, 0, FALSE), MOX_OK);
        bitmaps.push_back(static_cast<OBJECT_HEAD_S*>(copy)->ref_bitmap);
        g_free(copy);
    }
    for (const char* at = GetParam(); *at != '\0'; ++at) {
        EXPECT_EQ(used_bytes(), with_board) << "before " << *at;
        switch (*at) {
            case 'r':
                remove_board();
                break;
            case 'l':
                give_up(leaver, kDetach);
                break;
            default:
                victim.kill_now();
                give_up_bits(bitmaps);
        }
        lom_reclaim_garbage();
    }
    EXPECT_EQ(used_bytes(), before);
}

INSTANTIATE_TEST_SUITE_P(All, OrderOfEnds,
                         ::testing::Values("rlk", "rkl", "lrk", "lkr", "krl", "klr"));

TEST_F(CopiedGarbage, OfManyRoundsGivesAllMemoryBack) {
    constexpr int kRounds = 10000;
    constexpr int kEnd = -1;
    Role member{"member", [](Channel& test) {
                    lom_set_bitmap_id(kFirstId);
                    while (test.hear<int>() != kEnd) {
                        const OBJ_HANDLE fan = receive_object(test);
                        EXPECT_EQ(read_number(fan, "Speed"), 1200U);
                        lom_delete_object(fan);
                        test.tell('g');
                    }
                }};
    const PoolOwner owner;
    make_board();
    remove_board();
    lom_reclaim_garbage();
    const int before = used_bytes();
    for (int round = 0; round < kRounds; ++round) {
        make_board();
        ASSERT_GT(used_bytes(), before);
        member.tell(round);
        send_object(member, "Fan1", kFirstId, FALSE);
        remove_board();
        member.hear<char>();
        lom_reclaim_garbage();
        ASSERT_EQ(used_bytes(), before) << "round " << round;
    }
    member.tell(kEnd);
    member.finish();
}

using DetachedProcess = ProcessTest;

TEST_F(DetachedProcess, BlocksEveryOtherThreadThatLooksAnObjectUp) {
    Role leaver{"leaver", [](Channel& test) {
                    lom_set_bitmap_id(kFirstId);
                    receive_object(test);
                    lom_detach_objects();
                    EXPECT_NE(lom_get_object_handle("Fan1"), 0) << "the thread itself has the lock";
                    std::thread([&test] {
                        test.tell('l');
                        lom_get_object_handle("Fan1");
                        test.tell('f');
                    }).detach();
                    usleep(300 * 1000);
                    test.tell('e');
                    _exit(0);
                }};
    const PoolOwner owner;
    const OBJECT_HEAD_S& fan = *make_object("Fan", "Fan1", {number("Speed", 1200)});
    send_object(leaver, "Fan1", kFirstId, FALSE);
    EXPECT_EQ(leaver.hear<char>(), 'l');
    EXPECT_EQ(leaver.hear<char>(), 'e') << "the thread came through";
    EXPECT_EQ(fan.ref_bitmap[0], 0U);
    leaver.finish();
}

}  // namespace
}  // namespace mox::test
