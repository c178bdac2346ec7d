// Events on their way from the owner's hardware to a module's call-back.
#include <moxplat/osal.h>

#include "host_module.hpp"

namespace mox::test {
namespace {

class ModuleEvents : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(owner_.start()) << owner_.process().errors();
        module_ = join(owner_);
        ASSERT_NE(module_, nullptr);
    }

    gint32 queue() const { return moxhost_reg_info(module_.get())->msg_que_id; }

    // Changes the level and has the owner look at it.
    void refresh_with(int level) {
        owner_.set_level(level);
        HostError error;
        ASSERT_TRUE(moxhost_refresh(module_.get(), error.out())) << error.text();
    }

    HostOwner owner_;
    ModulePtr module_;
};

// A message of any kind with a payload of any bytes, as the queue layer sends it.
gint32 send_raw(gint32 queue, guint32 type, const std::string& payload,
                const char* magic = IPC_MSG_MAGIC) {
    std::vector<guint8> bytes(sizeof(MOX_MSG_HEAD_S) + payload.size());
    MOX_MSG_HEAD_S head = {};
    head.mtype = 1;
    g_strlcpy(head.msg_head, magic, sizeof head.msg_head);
    head.msg_type = type;
    head.msg_ver = 1;
    head.length = static_cast<guint32>(payload.size());
    std::memcpy(bytes.data(), &head, sizeof head);
    std::memcpy(bytes.data() + sizeof head, payload.data(), payload.size());
    return osal_process_queue_send(queue, bytes.data(), bytes.size());
}

std::string deletion_of(guint32 position) {
    return {reinterpret_cast<const char*>(&position), sizeof position};
}

TEST_F(ModuleEvents, ArriveWhenAValueBehindAnAccessorChanges) {
    EventLog log(module_.get());
    ASSERT_NE(lom_get_object_handle("Tank"), 0);
    ASSERT_TRUE(moxhost_listen(module_.get(), "Sensor", "Level", nullptr));
    refresh_with(6);
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_EQ(log.events()[0].name, "Tank.Level");
    EXPECT_EQ(log.events()[0].value, "6");
}

TEST_F(ModuleEvents, CarryTheTimeOfTheChangeAndOfTheirArrival) {
    EventLog log(module_.get());
    ASSERT_NE(lom_get_object_handle("Tank"), 0);
    ASSERT_TRUE(moxhost_listen(module_.get(), "Sensor", "Level", nullptr));
    const gint64 before = g_get_monotonic_time() * 1000;
    refresh_with(6);
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_GT(log.events()[0].change_ns, before);
    EXPECT_GE(log.events()[0].arrival_ns, log.events()[0].change_ns);
    EXPECT_EQ(moxhost_change_time_ns(module_.get(), "Tank", "Label"), 0);
    EXPECT_EQ(moxhost_change_time_ns(module_.get(), "Nowhere", "Label"), 0);
}

TEST_F(ModuleEvents, AreCountedAsSentAndAsReceived) {
    EventLog log(module_.get());
    const OBJ_HANDLE tank = lom_get_object_handle("Tank");
    ASSERT_TRUE(moxhost_listen(module_.get(), "Sensor", "Level", nullptr));
    EXPECT_EQ(moxhost_events_sent(module_.get(), nullptr), 0);
    for (const int level : {6, 7, 7, 8}) {
        refresh_with(level);
    }
    ASSERT_TRUE(log.wait_for(3));
    EXPECT_EQ(moxhost_events_sent(module_.get(), nullptr), 3);
    EXPECT_EQ(lom_get_property_change_cnt(tank, "Level", FALSE), 3);
}

TEST_F(ModuleEvents, DoNotArriveForAClassThatNobodyListensTo) {
    EventLog log(module_.get());
    ASSERT_TRUE(moxhost_listen(module_.get(), "Thermometer", "Level", nullptr));
    refresh_with(6);
    EXPECT_EQ(moxhost_events_sent(module_.get(), nullptr), 0);
    ASSERT_EQ(send_raw(queue(), MOX_MSG_DEL_OBJECT, deletion_of(1)), OSAL_OK);
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_TRUE(log.events().empty());
}

TEST_F(ModuleEvents, CannotBeListenedToForAnUnknownProperty) {
    HostError no_property;
    EXPECT_FALSE(moxhost_listen(module_.get(), "Sensor", "Weight", no_property.out()));
    EXPECT_EQ(no_property.code(), MOXHOST_ERROR_NOT_FOUND);
    HostError no_class;
    EXPECT_FALSE(moxhost_listen(module_.get(), "Boiler", "Level", no_class.out()));
    EXPECT_EQ(no_class.code(), MOXHOST_ERROR_NOT_FOUND);
}

TEST_F(ModuleEvents, AreKeptInOrderWhileNobodyTakesThem) {
    guint32 sent = 0;
    // More than the backlog holds: the rest waits in the queue until that is full, too.
    EXPECT_TRUE(eventually([&] {
        gint32 result = OSAL_OK;
        while (sent < 20000 && result == OSAL_OK) {
            result = send_raw(queue(), MOX_MSG_DEL_OBJECT, deletion_of(sent));
            sent += result == OSAL_OK ? 1 : 0;
        }
        return sent > 1100 && result == OSAL_ERR_FULL;
    }));
    struct Order {
        guint32 next = 0;
        bool is_kept = true;
    } order;
    moxhost_set_message_func(
        module_.get(),
        [](MoxHostModule*, const MOX_MSG_S* message, gint64, gpointer data) {
            auto* const seen = static_cast<Order*>(data);
            guint32 position = 0;
            std::memcpy(&position, message->data, sizeof position);
            seen->is_kept = seen->is_kept && position == seen->next;
            ++seen->next;
        },
        &order);
    EXPECT_TRUE(eventually([&] {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        return order.next >= sent;
    }));
    EXPECT_TRUE(order.is_kept);
    EXPECT_EQ(order.next, sent);
}

TEST_F(ModuleEvents, ThatAreMalformedAreDroppedAndTheRestArrives) {
    EventLog log(module_.get());
    const std::string short_event(75, '\0');
    const std::string wrong_size(80, '\x7f');
    std::string endless_name(76, 'x');
    std::memset(endless_name.data() + 72, 0, 4);
    std::string unknown_type(76, '\0');
    unknown_type[64] = '!';
    EXPECT_EQ(send_raw(queue(), MOX_MSG_PROPERTY_EVENT, short_event), OSAL_OK);
    EXPECT_EQ(send_raw(queue(), MOX_MSG_PROPERTY_EVENT, wrong_size), OSAL_OK);
    EXPECT_EQ(send_raw(queue(), MOX_MSG_PROPERTY_EVENT, endless_name), OSAL_OK);
    EXPECT_EQ(send_raw(queue(), MOX_MSG_PROPERTY_EVENT, unknown_type), OSAL_OK);
    EXPECT_EQ(send_raw(queue(), MOX_MSG_DEL_OBJECT, "abc"), OSAL_OK);
    EXPECT_EQ(send_raw(queue(), MOX_MSG_ADD_OBJECT, "abcdefghi"), OSAL_OK);
    EXPECT_EQ(send_raw(queue(), MOX_MSG_DUMP, "/tmp/x"), OSAL_OK);
    EXPECT_EQ(send_raw(queue(), MOX_MSG_END, ""), OSAL_OK);
    EXPECT_EQ(send_raw(queue(), MOX_MSG_DEL_OBJECT, deletion_of(1), "OTHERS"), OSAL_OK);
    const guint32 only_type = 1;
    EXPECT_EQ(osal_process_queue_send(queue(), &only_type, sizeof only_type), OSAL_OK);
    EXPECT_EQ(send_raw(queue(), MOX_MSG_SEND_IPMI_REQUEST, "anything"), OSAL_OK);
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_EQ(log.kinds(), std::vector<guint32>{MOX_MSG_SEND_IPMI_REQUEST});
}

TEST_F(ModuleEvents, MayEndTheMembershipFromTheirCallBack) {
    struct Once {
        ModulePtr* module;
        int calls = 0;
    } once = {&module_};
    moxhost_set_message_func(
        module_.get(),
        [](MoxHostModule*, const MOX_MSG_S*, gint64, gpointer data) {
            auto* const state = static_cast<Once*>(data);
            ++state->calls;
            state->module->reset();
        },
        &once);
    EXPECT_EQ(send_raw(queue(), MOX_MSG_DEL_OBJECT, deletion_of(1)), OSAL_OK);
    EXPECT_EQ(send_raw(queue(), MOX_MSG_DEL_OBJECT, deletion_of(2)), OSAL_OK);
    EXPECT_TRUE(eventually([&] {
        g_main_context_iteration(nullptr, FALSE);
        return module_ == nullptr;
    }));
    EXPECT_EQ(once.calls, 1);
}

class OwnerLoss : public ModuleEvents {
protected:
    // Ends the owner with a signal and waits until the module is told.
    bool is_told_of(int signal) {
        bool is_lost = false;
        moxhost_set_lost_func(
            module_.get(), [](MoxHostModule*, gpointer told) { *static_cast<bool*>(told) = true; },
            &is_lost);
        owner_.process().end(signal);
        return eventually([&] {
            g_main_context_iteration(nullptr, FALSE);
            return is_lost;
        });
    }
};

TEST_F(OwnerLoss, IsToldAfterACleanStop) {
    EXPECT_TRUE(is_told_of(SIGTERM));
}

TEST_F(OwnerLoss, IsToldAfterTheOwnerWasKilled) {
    EXPECT_TRUE(is_told_of(SIGKILL));
}

TEST_F(OwnerLoss, MakesCallsFailAtOnceAndLeavesTheModuleFreeToGo) {
    ASSERT_TRUE(is_told_of(SIGKILL));
    HostError error;
    EXPECT_FALSE(moxhost_refresh(module_.get(), error.out()));
    EXPECT_EQ(error.code(), MOXHOST_ERROR_LOST) << error.text();
    EXPECT_EQ(lom_get_object_handle("Tank"), 0);
    module_.reset();
}

}  // namespace
}  // namespace mox::test
