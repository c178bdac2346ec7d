// Who is told of messages that do not reach their receivers.
#include <gtest/gtest.h>
#include <ipcmsg.h>
#include <moxfake/osal.h>
#include <moxlib/moxbase.h>

#include <vector>

#include "captured_output.hpp"
#include "pool_fixture.hpp"
#include "sent_message.hpp"

namespace {

namespace osal = mox::fake::osal;

struct Lost {
    gint32 queue_id;
    guint32 type;
    gint32 result;
    bool operator==(const Lost&) const = default;
};

std::vector<Lost> told;

void note(gint32 queue_id, guint32 type, gint32 result) {
    told.push_back({queue_id, type, result});
}

class LostMessage : public mox::test::PoolFixture {
protected:
    void SetUp() override {
        mox::test::PoolFixture::SetUp();
        ipc_msg_set_port(77);
        told.clear();
        ipc_msg_set_lost_func(note);
    }
    void TearDown() override {
        ipc_msg_set_lost_func(nullptr);
        ipc_msg_free(message_);
        mox::test::PoolFixture::TearDown();
    }
    gint32 batch(const std::vector<gint32>& ports) {
        GSList* list = mox::test::port_list(ports);
        const gint32 result = ipc_msg_batch(list, MOX_MSG_DUMP, 4, message_);
        g_slist_free(list);
        return result;
    }

    gpointer message_ = ipc_msg_alloc(4);
};

TEST_F(LostMessage, IsToldWithReceiverTypeAndCode) {
    osal::fail_sends_to(5, OSAL_ERR_FULL);
    EXPECT_EQ(ipc_msg_send(5, MOX_MSG_DUMP, message_, 4), OSAL_ERR_FULL);
    EXPECT_EQ(told, (std::vector<Lost>{{5, MOX_MSG_DUMP, OSAL_ERR_FULL}}));
}

TEST_F(LostMessage, IsNoneThatWasTaken) {
    EXPECT_EQ(ipc_msg_send(5, MOX_MSG_DUMP, message_, 4), 0);
    EXPECT_EQ(batch({5, 6}), 0);
    EXPECT_TRUE(told.empty());
}

TEST_F(LostMessage, OfABatchIsToldForTheFullQueueAndAllBehindIt) {
    osal::fail_sends_to(6, OSAL_ERR_FULL);
    EXPECT_EQ(batch({5, 6, 7, 8}), OSAL_ERR_FULL);
    EXPECT_EQ(told, (std::vector<Lost>{{6, MOX_MSG_DUMP, OSAL_ERR_FULL},
                                       {7, MOX_MSG_DUMP, OSAL_ERR_FULL},
                                       {8, MOX_MSG_DUMP, OSAL_ERR_FULL}}));
}

TEST_F(LostMessage, IsAlsoOneThatIsTooBigToBeSent) {
    mox::test::stdout_of([&] { ipc_msg_send(5, MOX_MSG_DUMP, message_, 8193); });
    EXPECT_EQ(told, (std::vector<Lost>{{5, MOX_MSG_DUMP, MOX_ERR_MESSAGE_TOO_BIG}}));
}

TEST_F(LostMessage, IsToldToNobodyWithoutAFunction) {
    ipc_msg_set_lost_func(nullptr);
    osal::fail_sends_to(5, OSAL_ERR_FULL);
    EXPECT_EQ(ipc_msg_send(5, MOX_MSG_DUMP, message_, 4), OSAL_ERR_FULL);
    EXPECT_TRUE(told.empty());
}

}  // namespace
