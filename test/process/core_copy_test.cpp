// Copies of a record in other processes, and the bitmap in the pool that tells who has one.
#include <lom.h>
#include <pub.h>
#include <shmem.h>

#include <array>
#include <cstring>
#include <memory>
#include <vector>

#include "core_model.hpp"

namespace mox::test {
namespace {

using CopiedRecord = ProcessTest;
using Bitmap = std::array<guint32, LOM_REF_BITMAP_WORDS>;

Bitmap bitmap_of(const OBJECT_HEAD_S& object) {
    Bitmap words = {};
    for (gsize i = 0; i < words.size(); ++i) {
        words[i] = static_cast<guint32>(g_atomic_int_get(&object.ref_bitmap[i]));
    }
    return words;
}

// What a keeper is told to do; it answers each with the bitmap that it sees then.
constexpr char kLook = 'l';
constexpr char kFree = 'f';
constexpr char kEnd = 'e';

// A role that keeps a copy under its own bitmap id.
std::function<void(Channel&)> keeper(gint32 module_id) {
    return [module_id](Channel& test) {
        lom_set_bitmap_id(module_id);
        const OBJECT_HEAD_S record = receive_record(test);
        EXPECT_NE(lom_create_object(sizeof(record), &record), 0);
        for (char word = test.hear<char>(); word != kEnd; word = test.hear<char>()) {
            if (word == kFree) {
                lom_delete_object(lom_name_to_handle("Fan1"));
            }
            test.tell(bitmap_of(record));
        }
    };
}

Bitmap ask(Role& keeper_role, char word) {
    keeper_role.tell(word);
    return keeper_role.hear<Bitmap>();
}

void end(Role& keeper_role) {
    keeper_role.tell(kEnd);
    keeper_role.finish();
}

TEST_F(CopiedRecord, SetsTheBitOfItsReceiver) {
    constexpr std::array<gint32, 4> ids = {3, 31, 32, 127};
    std::vector<std::unique_ptr<Role>> keepers;
    for (const gint32 id : ids) {
        keepers.push_back(std::make_unique<Role>("module " + std::to_string(id), keeper(id)));
    }
    const PoolOwner owner;
    const OBJECT_HEAD_S& fan = *make_object("Fan", "Fan1", {number("Speed", 1200)});
    EXPECT_EQ(bitmap_of(fan), (Bitmap{0, 0, 0, 0}));
    for (gsize i = 0; i < ids.size(); ++i) send_object(*keepers[i], "Fan1", ids[i], FALSE);
    EXPECT_EQ(bitmap_of(fan), (Bitmap{0x80000008U, 1, 0, 0x80000000U}));
    for (const auto& role : keepers) {
        EXPECT_EQ(ask(*role, kLook), bitmap_of(fan)) << "the bitmap is one for all processes";
    }
    for (const auto& role : keepers) end(*role);
}

TEST_F(CopiedRecord, ClearsItsBitWhenItsReceiverFreesIt) {
    Role first{"module 3", keeper(3)};
    Role second{"module 40", keeper(40)};
    const PoolOwner owner;
    const OBJECT_HEAD_S& fan = *make_object("Fan", "Fan1", {number("Speed", 1200)});
    send_object(first, "Fan1", 3, FALSE);
    send_object(second, "Fan1", 40, FALSE);
    EXPECT_EQ(ask(second, kLook), (Bitmap{8, 1U << 8, 0, 0}));
    EXPECT_EQ(ask(first, kFree), (Bitmap{0, 1U << 8, 0, 0}));
    EXPECT_EQ(bitmap_of(fan), (Bitmap{0, 1U << 8, 0, 0}));
    EXPECT_EQ(ask(second, kFree), (Bitmap{0, 0, 0, 0}));
    end(first);
    end(second);
    EXPECT_EQ(bitmap_of(fan), (Bitmap{0, 0, 0, 0}));
}

TEST_F(CopiedRecord, KeepsItsBitWhenAnotherCopyOfTheSameObjectTakesItsPlace) {
    Role twice{"module 3", [](Channel& test) {
                   lom_set_bitmap_id(3);
                   const OBJECT_HEAD_S record = receive_record(test);
                   EXPECT_NE(lom_create_object(sizeof(record), &record), 0);
                   const OBJ_HANDLE fan = lom_create_object(sizeof(record), &record);
                   EXPECT_EQ(bitmap_of(record), (Bitmap{8, 0, 0, 0}));
                   lom_delete_object(fan);
                   EXPECT_EQ(bitmap_of(record), (Bitmap{0, 0, 0, 0}));
               }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    send_object(twice, "Fan1", 3, FALSE);
    twice.finish();
}

TEST_F(CopiedRecord, OfAKilledModuleIsGivenUpByTheOwnerForAllObjectsAtOnce) {
    Role survivor{"module 5", keeper(5)};
    Role victim{"module 6", [](Channel& test) {
                    lom_set_bitmap_id(6);
                    receive_object(test);
                    receive_object(test);
                    test.tell('h');
                    test.hear<char>();
                }};
    const PoolOwner owner;
    const OBJECT_HEAD_S& fan = *make_object("Fan", "Fan1", {number("Speed", 1200)});
    const OBJECT_HEAD_S& disk = *make_object("Disk", "Disk1", {});
    send_object(survivor, "Fan1", 5, FALSE);
    send_object(victim, "Fan1", 6, FALSE);
    send_object(victim, "Disk1", 6, FALSE);
    victim.hear<char>();
    victim.kill_now();
    EXPECT_EQ(bitmap_of(fan), (Bitmap{0x60, 0, 0, 0})) << "a kill clears nothing";
    EXPECT_EQ(bitmap_of(disk), (Bitmap{0x40, 0, 0, 0}));
    lom_batch_unref(6);
    EXPECT_EQ(bitmap_of(fan), (Bitmap{0x20, 0, 0, 0}));
    EXPECT_EQ(bitmap_of(disk), (Bitmap{0, 0, 0, 0}));
    EXPECT_EQ(ask(survivor, kLook), (Bitmap{0x20, 0, 0, 0}));
    end(survivor);
}

// Sets and clears a bit that is nobody else's, and counts how often that was not to be seen
// afterwards.
int count_lost_changes(const OBJECT_HEAD_S& object, gint32 id) {
    constexpr int kChanges = 1000000;
    const guint32 bit = 1U << id % 32;
    const auto is_set = [&] { return (bitmap_of(object)[static_cast<gsize>(id) / 32] & bit) != 0; };
    int lost = 0;
    for (int i = 0; i < kChanges; ++i) {
        lom_clear_reference_bitmap(object.ref_bitmap, id);
        lost += is_set() ? 1 : 0;
        lom_set_reference_bitmap(object.ref_bitmap, id);
        lost += is_set() ? 0 : 1;
    }
    return lost;
}

TEST_F(CopiedRecord, KeepsItsBitWhileOtherProcessesChangeTheSameWord) {
    constexpr std::array<gint32, 3> ids = {65, 66, 67};
    std::vector<std::unique_ptr<Role>> changers;
    for (const gint32 id : ids) {
        changers.push_back(
            std::make_unique<Role>("module " + std::to_string(id), [id](Channel& test) {
                const OBJECT_HEAD_S record = receive_record(test);
                test.tell('a');
                test.hear<char>();
                EXPECT_EQ(count_lost_changes(record, id), 0);
            }));
    }
    const PoolOwner owner;
    const OBJECT_HEAD_S& fan = *make_object("Fan", "Fan1", {});
    for (gsize i = 0; i < ids.size(); ++i) {
        send_object(*changers[i], "Fan1", ids[i], FALSE);
        changers[i]->hear<char>();
    }
    for (const auto& role : changers) role->tell('g');
    for (const auto& role : changers) role->finish();
    EXPECT_EQ(bitmap_of(fan), (Bitmap{0, 0, 0xe, 0}));
}

TEST_F(CopiedRecord, OfEveryListedObjectReachesAMemberInAListOfRpcRecords) {
    Role member{"member", [](Channel& test) {
                    const OBJ_HANDLE first = receive_object(test);
                    const OBJ_HANDLE second = receive_object(test);
                    EXPECT_STREQ(lom_get_object_name(first), "Fan1");
                    EXPECT_EQ(read_number(second, "Speed"), 700U);
                    EXPECT_TRUE(lom_is_writable(second));
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    const OBJECT_HEAD_S& fan2 = *make_object("Fan", "Fan2", {number("Speed", 700)});
    GSList* handles = nullptr;
    for (const char* name : {"Fan2", "Fan1"}) {
        handles = g_slist_prepend(handles, GINT_TO_POINTER(lom_name_to_handle(name)));
    }
    GSList* records = nullptr;
    EXPECT_EQ(lom_list_to_rpc(handles, kMemberId, &records), MOX_OK);
    ASSERT_EQ(g_slist_length(records), 2U);
    for (const GSList* item = records; item != nullptr; item = item->next) {
        const auto* const rpc = static_cast<const RPC_DATA_S*>(item->data);
        ASSERT_EQ(rpc->size, sizeof(OBJECT_HEAD_S));
        OBJECT_HEAD_S record;
        std::memcpy(&record, rpc->data, sizeof(record));
        member.tell(record);
    }
    member.finish();
    EXPECT_EQ(bitmap_of(fan2), (Bitmap{8, 0, 0, 0}));
    g_slist_free_full(records, g_free);
    g_slist_free(handles);
}

}  // namespace
}  // namespace mox::test
