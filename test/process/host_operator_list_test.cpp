// What an operator's tool is told: objects, classes, properties, modules, locks and the pool, as
// they are while the owner answers.
#include <moxhost/operator.h>
#include <moxplat/osal.h>

#include <map>
#include <memory>

#include "host_write_model.hpp"

namespace mox::test {
namespace {

// A list that ends with a record without a name, freed with its own function.
template <typename Info>
class Infos {
public:
    template <typename List, typename... Arguments>
    static Infos of(List list, MoxHostModule* module, Arguments... arguments) {
        Infos infos;
        HostError error;
        gsize count = 0;
        Info* const records = list(module, arguments..., &count, error.out());
        infos.error_ = error.text();
        infos.records_.reset(records);
        infos.count_ = count;
        if (records != nullptr) {
            EXPECT_EQ(first_letter(records[count]), '\0') << "the list has no end";
        }
        return infos;
    }

    gsize count() const { return count_; }
    const std::string& error() const { return error_; }
    const Info* begin() const { return records_.get(); }
    const Info* end() const { return records_.get() + count_; }

    // The record of a name; an empty one, and a failure, when there is none.
    const Info& at(const std::string& name) const {
        for (const Info& info : *this) {
            if (name_of(info) == name) {
                return info;
            }
        }
        static const Info none = {};
        ADD_FAILURE() << "nothing is named " << name;
        return none;
    }

    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const Info& info : *this) {
            names.push_back(name_of(info));
        }
        return names;
    }

private:
    static std::string name_of(const MoxHostLockInfo& info) { return info.object; }
    template <typename Other>
    static std::string name_of(const Other& info) {
        return info.name;
    }
    static char first_letter(const MoxHostLockInfo& info) { return info.object[0]; }
    template <typename Other>
    static char first_letter(const Other& info) {
        return info.name[0];
    }

    struct Free {
        void operator()(MoxHostPropertyInfo* infos) const { moxhost_property_infos_free(infos); }
        template <typename Other>
        void operator()(Other* infos) const {
            g_free(infos);
        }
    };

    std::unique_ptr<Info[], Free> records_;
    gsize count_ = 0;
    std::string error_;
};

using Strings = std::vector<std::string>;

class OperatorList : public WriteTest {
protected:
    void SetUp() override {
        start();
        module_ = join(owner_, "desk", MODULE_INTERFACE);
        ASSERT_NE(module_, nullptr);
    }

    auto objects(const gchar* class_name = nullptr) const {
        return Infos<MoxHostObjectInfo>::of(moxhost_object_infos, module_.get(), class_name);
    }
    auto classes() const { return Infos<MoxHostClassInfo>::of(moxhost_class_infos, module_.get()); }
    auto properties(const gchar* object) const {
        return Infos<MoxHostPropertyInfo>::of(moxhost_property_infos, module_.get(), object);
    }
    auto modules() const {
        return Infos<MoxHostModuleInfo>::of(moxhost_module_infos, module_.get());
    }
    auto locks(gboolean all) const {
        return Infos<MoxHostLockInfo>::of(moxhost_lock_infos, module_.get(), all);
    }
    std::string set(const char* object, const char* property, GVariant* value) const {
        HostError error;
        moxhost_operator_set(module_.get(), object, property, value, error.out());
        return error.text();
    }
};

using OperatorObjects = OperatorList;
using OperatorClasses = OperatorList;
using OperatorProperties = OperatorList;
using OperatorModules = OperatorList;
using OperatorLocks = OperatorList;
using OperatorPool = OperatorList;

TEST_F(OperatorObjects, AreToldInTheProfilesOrderWithTheCollectionsBehindThem) {
    const auto all = objects();
    ASSERT_EQ(all.error(), "");
    const Strings names = all.names();
    ASSERT_GE(names.size(), 8U);
    EXPECT_EQ(Strings(names.begin(), names.begin() + 8),
              (Strings{"chip", "dialchip", "level", "dial", "Tank", "Room", "Breakfast", "Oven"}));
    for (gsize i = 0; i < all.count(); ++i) {
        EXPECT_EQ(all.begin()[i].is_collection != FALSE, i >= 8) << names[i];
    }
    EXPECT_EQ(all.at("Sensor:C").is_collection, TRUE);
}

TEST_F(OperatorObjects, HaveTheirClassItsModuleAndTheirSizes) {
    const auto all = objects();
    const MoxHostObjectInfo& oven = all.at("Oven");
    EXPECT_STREQ(oven.class_name, "Stove");
    EXPECT_STREQ(oven.module, "heater");
    EXPECT_STREQ(oven.board, "");
    EXPECT_EQ(oven.property_count, 10U);
    EXPECT_GT(oven.value_bytes, 10U * 4U);
    EXPECT_GT(oven.pool_bytes, oven.value_bytes + 10U * sizeof(SERIALISED_PROPERTY_S));
    EXPECT_STREQ(all.at("Tank").module, "moxd");
}

TEST_F(OperatorObjects, OfAClassAreItsOwnAndThoseOfDerivingClasses) {
    EXPECT_EQ(objects("Sensor").names(), (Strings{"Tank", "Room", "Oven"}));
    EXPECT_EQ(objects("Stove").names(), (Strings{"Oven"}));
    EXPECT_NE(objects("Nothing").error().find("there is no class \"Nothing\""), std::string::npos);
}

TEST_F(OperatorObjects, MayBeCountedByNobody) {
    MoxHostObjectInfo* const infos = moxhost_object_infos(module_.get(), "Stove", nullptr, nullptr);
    ASSERT_NE(infos, nullptr);
    EXPECT_STREQ(infos[0].name, "Oven");
    EXPECT_STREQ(infos[1].name, "");
    g_free(infos);
}

TEST_F(OperatorClasses, AreToldWithParentModuleAndTheirObjects) {
    const auto all = classes();
    EXPECT_EQ(all.names(), (Strings{"Chip", "Accessor", "Sensor", "Plan", "Stove"}));
    EXPECT_STREQ(all.at("Stove").parent, "Sensor");
    EXPECT_STREQ(all.at("Sensor").parent, "");
    EXPECT_STREQ(all.at("Stove").module, "heater");
    EXPECT_EQ(all.at("Sensor").object_count, 2U);
    EXPECT_EQ(all.at("Stove").object_count, 1U);
    const guint32 bytes = all.at("Sensor").pool_bytes;
    EXPECT_GT(bytes, 0U);
    ASSERT_TRUE(moxhost_listen(module_.get(), "Sensor", "Level", nullptr));
    EXPECT_GT(classes().at("Sensor").pool_bytes, bytes) << "a listener takes room";
}

TEST_F(OperatorProperties, AreToldInClassOrderWithTypeAndSource) {
    const auto all = properties("Oven");
    ASSERT_EQ(all.error(), "");
    EXPECT_EQ(all.names(), (Strings{"Label", "Level", "Limits", "Twin", "Own", "Heat", "Dial",
                                    "Night", "Day", "Now"}));
    EXPECT_EQ(all.at("Label").source_kind, MOXHOST_SOURCE_MEMORY);
    EXPECT_STREQ(all.at("Label").source, "");
    EXPECT_EQ(all.at("Heat").source_kind, MOXHOST_SOURCE_HARDWARE);
    EXPECT_STREQ(all.at("Heat").source, "level");
    EXPECT_EQ(all.at("Twin").source_kind, MOXHOST_SOURCE_PROPERTY);
    EXPECT_STREQ(all.at("Twin").source, "Tank.Label");
    EXPECT_STREQ(all.at("Limits").type, "ai");
    EXPECT_EQ(all.at("Limits").size, 8U);
    EXPECT_GE(all.at("Limits").capacity, 8U);
    EXPECT_EQ(all.at("Night").persist, PER_MODE_RESET);
    EXPECT_EQ(all.at("Label").persist, PER_MODE_NOSUPPORT);
    EXPECT_NE(properties("Nobody").error().find("there is no object \"Nobody\""),
              std::string::npos);
}

TEST_F(OperatorProperties, OfACollectionAreToldToo) {
    const auto all = properties("Sensor:C");
    ASSERT_EQ(all.error(), "");
    EXPECT_EQ(all.names(), (Strings{"Count", "List"}));
    EXPECT_EQ(all.at("Count").persist, PER_MODE_NOSUPPORT);
}

TEST_F(OperatorProperties, NameTheirListenersAndCountTheirEvents) {
    ASSERT_TRUE(moxhost_listen(module_.get(), "Sensor", "Label", nullptr));
    const guint64 events = properties("Room").at("Label").events;
    ASSERT_EQ(set("Room", "Label", g_variant_new_string("den")), "");
    const auto all = properties("Room");
    EXPECT_EQ(all.at("Label").events, events + 1);
    ASSERT_NE(all.at("Label").listeners[0], nullptr);
    EXPECT_STREQ(all.at("Label").listeners[0], "desk");
    EXPECT_EQ(all.at("Label").listeners[1], nullptr);
    EXPECT_EQ(all.at("Level").listeners[0], nullptr);
}

TEST_F(OperatorProperties, ShowAnOverrideInTheirState) {
    PROPERTY_STATE_S state;
    state.all = properties("Room").at("Level").state;
    EXPECT_EQ(state.bit.override, 0U);
    ASSERT_TRUE(moxhost_operator_override(module_.get(), "Room", "Level", g_variant_new_int32(99),
                                          nullptr));
    state.all = properties("Room").at("Level").state;
    EXPECT_EQ(state.bit.override, 1U);
}

TEST_F(OperatorModules, BeginWithTheOwnerAndHaveTheCaller) {
    const gint64 now = g_get_real_time();
    const auto all = modules();
    EXPECT_EQ(all.names(), (Strings{"moxd", "desk"}));
    const MoxHostModuleInfo& owner = all.at("moxd");
    EXPECT_EQ(owner.pid, owner_.process().pid());
    EXPECT_EQ(owner.id, 0);
    EXPECT_GT(owner.limit_bytes, 0U);
    const MoxHostModuleInfo& desk = all.at("desk");
    EXPECT_EQ(desk.pid, getpid());
    EXPECT_EQ(desk.type, MODULE_INTERFACE);
    EXPECT_EQ(desk.id, moxhost_reg_info(module_.get())->module_id);
    EXPECT_EQ(desk.queue_id, moxhost_reg_info(module_.get())->msg_que_id);
    EXPECT_GE(desk.joined_us, owner.joined_us);
    EXPECT_LE(desk.joined_us, now);
    EXPECT_GT(desk.joined_us, now - 60 * G_USEC_PER_SEC);
}

TEST_F(OperatorModules, CountCopiesAndProperties) {
    EXPECT_EQ(modules().at("desk").copies, 0U);
    ASSERT_NE(lom_get_object_handle("Tank"), 0U);
    ASSERT_NE(lom_get_object_handle("Room"), 0U);
    ASSERT_TRUE(moxhost_listen(module_.get(), "Sensor", "Label", nullptr));
    ASSERT_TRUE(moxhost_listen(module_.get(), "Sensor", "Level", nullptr));
    ASSERT_TRUE(moxhost_listen(module_.get(), "Stove", "Heat", nullptr));
    EXPECT_EQ(modules().at("desk").copies, 2U);
    EXPECT_EQ(modules().at("desk").listens, 3U);
}

TEST_F(OperatorModules, TellWhatWaitsInAQueueAndWhatWasLost) {
    RawPeer peer(owner_);
    ASSERT_NE(peer.join("guest").rfind("error", 0), 0U);
    ASSERT_EQ(peer.call("Listen", g_variant_new("(ss)", "Sensor", "Label")), "()");
    ASSERT_EQ(set("Room", "Label", g_variant_new_string("den")), "");
    EXPECT_EQ(modules().at("guest").queued, 1U);
    EXPECT_EQ(modules().at("guest").events_sent, 1U);
    EXPECT_EQ(modules().at("guest").events_lost, 0U);

    const gint32 queue = modules().at("guest").queue_id;
    std::vector<gint32> filler(1000, 1);
    while (osal_process_queue_send(queue, filler.data(), filler.size() * 4) == OSAL_OK) {
    }
    filler.resize(1);
    while (osal_process_queue_send(queue, filler.data(), filler.size() * 4) == OSAL_OK) {
    }
    const MoxHostModuleInfo full = modules().at("guest");
    EXPECT_GT(full.queued_bytes, full.limit_bytes * 9 / 10);
    EXPECT_LE(full.queued_bytes, full.limit_bytes);
    EXPECT_EQ(set("Room", "Label", g_variant_new_string("attic")), "");
    EXPECT_EQ(set("Room", "Label", g_variant_new_string("cellar")), "");
    EXPECT_EQ(modules().at("guest").events_lost, 2U);
    EXPECT_EQ(modules().at("guest").events_sent, 1U);
    EXPECT_EQ(modules().at("desk").events_lost, 0U);
}

TEST_F(OperatorModules, CountTheLossesOfEveryProcessAndAnewForTheNextModule) {
    RawPeer peer(owner_);
    ASSERT_NE(peer.join("guest").rfind("error", 0), 0U);
    const gint32 queue = modules().at("guest").queue_id;
    std::vector<gint32> filler(1000, 1);
    while (osal_process_queue_send(queue, filler.data(), filler.size() * 4) == OSAL_OK) {
    }
    gpointer const message = ipc_msg_alloc(4000);
    EXPECT_EQ(ipc_msg_send(queue, MOX_MSG_DUMP, message, 4000), OSAL_ERR_FULL);
    ipc_msg_free(message);
    EXPECT_EQ(modules().at("guest").events_lost, 1U) << "this process's loss";
    ASSERT_EQ(peer.call("Leave", nullptr), "()");
    ASSERT_NE(peer.join("guest").rfind("error", 0), 0U);
    EXPECT_EQ(modules().at("guest").events_lost, 0U);
    EXPECT_EQ(moxhost_messages_lost(module_.get()), 0U);
}

TEST_F(OperatorModules, KnowTheirOwnLossesWithoutAskingTheOwner) {
    ASSERT_TRUE(moxhost_listen(module_.get(), "Sensor", "Label", nullptr));
    // Stopped, the owner could not answer.
    ASSERT_EQ(moxhost_messages_lost(module_.get()), 0U);
    const gint32 queue = moxhost_reg_info(module_.get())->msg_que_id;
    gpointer const message = ipc_msg_alloc(8193);
    EXPECT_EQ(ipc_msg_send(queue, MOX_MSG_DUMP, message, 8193), MOX_ERR_MESSAGE_TOO_BIG);
    ipc_msg_free(message);
    owner_.process().signal(SIGSTOP);
    EXPECT_EQ(moxhost_messages_lost(module_.get()), 1U);
    owner_.process().signal(SIGCONT);
}

TEST_F(OperatorLocks, AreOnlyThoseThatAreHeldOrWaitedForUnlessAllAreAskedFor) {
    EXPECT_EQ(locks(FALSE).count(), 0U);
    const auto all = locks(TRUE);
    EXPECT_EQ(all.names(), objects().names());
    EXPECT_EQ(all.at("Oven").semid, all.at("Tank").semid) << "they share one";
    EXPECT_EQ(all.at("Oven").member, all.at("Tank").member);
    EXPECT_EQ(all.at("Room").holder, 0);
}

TEST_F(OperatorLocks, NameTheHolderAndWhoWaits) {
    const MoxHostLockInfo room = locks(TRUE).at("Room");
    ASSERT_EQ(osal_process_sem_p(room.semid, room.member), OSAL_OK);
    const pid_t waiter = fork();
    if (waiter == 0) {
        alarm(60);
        _exit(osal_process_sem_p(room.semid, room.member) == OSAL_OK ? 0 : 1);
    }
    EXPECT_TRUE(eventually([this] { return locks(FALSE).at("Room").waiter_count == 1; }));
    const auto held = locks(FALSE);
    EXPECT_EQ(held.names(), (Strings{"Room"}));
    EXPECT_EQ(held.at("Room").holder, gettid());
    EXPECT_EQ(held.at("Room").holder_pid, getpid());
    EXPECT_EQ(held.at("Room").holder_is_dead, FALSE);
    EXPECT_EQ(held.at("Room").waiters[0], waiter);
    EXPECT_EQ(held.at("Room").waiters[1], 0);
    ASSERT_EQ(osal_process_sem_v(room.semid, room.member), OSAL_OK);
    int status = -1;
    ASSERT_EQ(waitpid(waiter, &status, 0), waiter);
    // It ended with the semaphore in its hand.
    EXPECT_EQ(status, 0);
    EXPECT_EQ(locks(FALSE).at("Room").holder, waiter);
    EXPECT_EQ(locks(FALSE).at("Room").holder_is_dead, TRUE);
    EXPECT_EQ(locks(FALSE).at("Room").holder_pid, 0);
}

TEST_F(OperatorPool, IsToldWithItsParts) {
    MoxHostPoolInfo pool = {};
    ASSERT_TRUE(moxhost_pool_info(module_.get(), &pool, nullptr));
    guint32 total = 0;
    guint32 used = 0;
    ASSERT_TRUE(moxhost_pool_usage(module_.get(), &total, &used, nullptr));
    EXPECT_EQ(pool.total, total);
    EXPECT_EQ(pool.used, used);
    EXPECT_GT(pool.blocks, 0U);
    EXPECT_LE(pool.largest, pool.total - pool.used);
    EXPECT_GT(pool.largest, (pool.total - pool.used) / 2) << "a fresh pool is hardly torn";
    guint64 object_bytes = 0;
    for (const MoxHostObjectInfo& object : objects()) {
        object_bytes += object.pool_bytes;
    }
    guint64 class_bytes = 0;
    for (const MoxHostClassInfo& entry : classes()) {
        class_bytes += entry.pool_bytes;
    }
    EXPECT_EQ(pool.objects, object_bytes);
    EXPECT_EQ(pool.classes, class_bytes);
    EXPECT_LT(pool.objects + pool.classes, pool.used);
    EXPECT_EQ(pool.removed, 0U);
}

TEST_F(OperatorPool, GrowsWithAnObjectsValue) {
    const guint32 before = objects().at("Breakfast").pool_bytes;
    ASSERT_EQ(set("Breakfast", "Steps", numbers(500, 7)), "");
    const MoxHostObjectInfo after = objects().at("Breakfast");
    EXPECT_GE(after.pool_bytes, before + 499 * 4);
    EXPECT_GE(after.value_bytes, 2000U);
}

}  // namespace
}  // namespace mox::test
