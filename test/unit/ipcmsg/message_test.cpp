// Sending messages, singly and to a list, draining a queue and asking for a dump.
#include "ipcmsg/message.hpp"

#include <gtest/gtest.h>
#include <ipcmsg.h>
#include <moxlib/moxbase.h>

#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "captured_output.hpp"
#include "pool_fixture.hpp"
#include "sent_message.hpp"

namespace {

namespace osal = mox::fake::osal;
using mox::test::bytes_at;
using mox::test::CapturedSyslog;
using mox::test::sent_bytes;
using mox::test::stdout_of;
using mox::test::word_at;

constexpr gint32 kOwnPort = 77;

struct FreeMessage {
    void operator()(gpointer message) const { ipc_msg_free(message); }
};
using MessagePtr = std::unique_ptr<void, FreeMessage>;

// A buffer with these payload bytes.
MessagePtr message_of(const std::string& payload) {
    MessagePtr message(ipc_msg_alloc(payload.size()));
    std::memcpy(static_cast<char*>(message.get()) + 76, payload.data(), payload.size());
    return message;
}

class Message : public mox::test::PoolFixture {
protected:
    void SetUp() override {
        mox::test::PoolFixture::SetUp();
        ipc_msg_set_port(kOwnPort);
    }
    static gint32 send(const std::string& payload, gint32 target = 5,
                       guint32 type = MOX_MSG_PROPERTY_EVENT) {
        return ipc_msg_send(target, type, message_of(payload).get(), payload.size());
    }
    static gint32 batch(const std::vector<gint32>& ports, const std::string& payload) {
        GSList* list = mox::test::port_list(ports);
        const gint32 result =
            ipc_msg_batch(list, MOX_MSG_DUMP, payload.size(), message_of(payload).get());
        g_slist_free(list);
        return result;
    }
    static std::string error_line(const std::string& text) {
        return std::string("[ ") + mox::test::DebugLevel::module() + " ] \x1b[0;31mERROR:\x1b[0m " +
               text;
    }
};

TEST(MessageTypes, HaveTheEstablishedNumbers) {
    const std::vector<int> numbers{MOX_MSG_RECV_IPMI_REQUEST,
                                   MOX_MSG_RECV_IPMI_RESPONSE,
                                   MOX_MSG_PROPERTY_EVENT,
                                   MOX_MSG_ADD_OBJECT,
                                   MOX_MSG_DEL_OBJECT,
                                   MOX_MSG_SEND_IPMI_REQUEST,
                                   MOX_MSG_SEND_IPMI_RESPONSE,
                                   MOX_MSG_DUMP,
                                   MOX_MSG_END};
    EXPECT_EQ(numbers, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(Message, CarriesItsHeaderAtTheDocumentedOffsets) {
    ASSERT_EQ(send("abc", 5, MOX_MSG_DEL_OBJECT), 0);
    ASSERT_EQ(osal::sent().size(), 1U);
    EXPECT_EQ(osal::sent()[0].queue_id, 5);
    const std::vector<guint8> bytes = sent_bytes(0);
    ASSERT_EQ(bytes.size(), 79U);
    EXPECT_EQ(word_at(bytes, 0), 1U);
    EXPECT_EQ(bytes_at(bytes, 4, 8), std::string("MOXMSG\0\0", 8));
    EXPECT_EQ(word_at(bytes, 12), 77U);
    EXPECT_EQ(word_at(bytes, 16), 5U);
    EXPECT_EQ(word_at(bytes, 20), 4U);
    EXPECT_EQ(word_at(bytes, 24), 1U);
    EXPECT_EQ(word_at(bytes, 28), 3U);
    EXPECT_EQ(word_at(bytes, 32), 0U);
    EXPECT_EQ(bytes_at(bytes, 36, 40), std::string(40, '\0'));
    EXPECT_EQ(bytes_at(bytes, 76, 3), "abc");
}

TEST_F(Message, KeepsTheSequenceAndTheReservedWordsOfTheBuffer) {
    const MessagePtr message = message_of("x");
    auto* head = static_cast<MOX_MSG_HEAD_S*>(message.get());
    head->sequence = 9;
    head->reserved2[0] = 10;
    head->reserved2[9] = 11;
    ASSERT_EQ(ipc_msg_send(5, MOX_MSG_DUMP, message.get(), 1), 0);
    const std::vector<guint8> bytes = sent_bytes(0);
    EXPECT_EQ(word_at(bytes, 32), 9U);
    EXPECT_EQ(word_at(bytes, 36), 10U);
    EXPECT_EQ(word_at(bytes, 72), 11U);
}

TEST_F(Message, MayHaveNoPayload) {
    ASSERT_EQ(send(""), 0);
    EXPECT_EQ(sent_bytes(0).size(), 76U);
    EXPECT_EQ(word_at(sent_bytes(0), 28), 0U);
}

TEST_F(Message, OfTheLargestPayloadIsSent) {
    ASSERT_EQ(send(std::string(8192, 'x')), 0);
    EXPECT_EQ(sent_bytes(0).size(), 8268U);
    EXPECT_EQ(word_at(sent_bytes(0), 28), 8192U);
}

TEST_F(Message, WithOneByteTooManyIsRefusedAndLogged) {
    CapturedSyslog log;
    gint32 result = 0;
    stdout_of([&] { result = send(std::string(8193, 'x')); });
    EXPECT_EQ(result, -2016);
    EXPECT_EQ(log.text(), error_line("message size(8193) too big.\n"));
    EXPECT_EQ(osal::send_calls(), 0U);
}

TEST_F(Message, ThatIsTooBigIsRefusedForItEvenWithoutAnOwnPort) {
    ipc_msg_set_port(0);
    gint32 result = 0;
    stdout_of([&] { result = send(std::string(8193, 'x')); });
    EXPECT_EQ(result, -2016);
}

TEST_F(Message, WithoutAnOwnPortIsRefusedWithoutAWord) {
    ipc_msg_set_port(0);
    const mox::test::DebugLevel level("5");
    CapturedSyslog log;
    gint32 result = 0;
    const std::string shown = stdout_of([&] { result = send("abc"); });
    EXPECT_EQ(result, -2018);
    EXPECT_EQ(shown, "");
    EXPECT_TRUE(log.lines().empty()) << log.text();
    EXPECT_EQ(osal::send_calls(), 0U);
}

TEST_F(Message, WithoutABufferIsRefused) {
    EXPECT_EQ(ipc_msg_send(5, MOX_MSG_DUMP, nullptr, 0), -2001);
    EXPECT_EQ(osal::send_calls(), 0U);
}

TEST_F(Message, ReturnsTheQueueLayersCodeUnchanged) {
    osal::fail_send(1, -4711);
    EXPECT_EQ(send("abc"), -4711);
    EXPECT_EQ(osal::send_calls(), 1U);
}

TEST_F(Message, IsToldAtTheMassLevelBeforeItIsSent) {
    const mox::test::DebugLevel level("4");
    osal::fail_send(1);
    const std::string shown = stdout_of([] { send("abc", 5, MOX_MSG_DEL_OBJECT); });
    EXPECT_EQ(shown, std::string("[ 0:0:0.000 ][ ") + mox::test::DebugLevel::module() +
                         " ] <-----send msg: target:5 type: 4, data size:3----->\n");
}

TEST_F(Message, IsSentFromSeveralThreads) {
    std::vector<std::thread> threads;
    for (gint32 target = 1; target <= 4; ++target) {
        threads.emplace_back([target] {
            for (int i = 0; i < 50; ++i) EXPECT_EQ(send("abc", target), 0);
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (gint32 target = 1; target <= 4; ++target) {
        EXPECT_EQ(osal::sent_to(target).size(), 50U);
        EXPECT_EQ(word_at(osal::sent_to(target)[49].bytes, 16), static_cast<guint32>(target));
    }
}

TEST_F(Message, PortIsKeptAsItWasSet) {
    ipc_msg_set_port(-3);
    EXPECT_EQ(g_myself_port, -3);
    ASSERT_EQ(send("abc"), 0);
    EXPECT_EQ(word_at(sent_bytes(0), 12), 0xFFFFFFFDU);
}

using MessageBuffer = Message;

// The sanitizer sees the last of the bytes asked for.
TEST_F(MessageBuffer, IsZeroedAndHoldsHeaderPayloadAndFourSpareBytes) {
    const MessagePtr message(ipc_msg_alloc(10));
    const auto* bytes = static_cast<const char*>(message.get());
    EXPECT_EQ(std::string(bytes, 90), std::string(90, '\0'));
}

TEST_F(MessageBuffer, ThatIsNullMayBeFreed) {
    ipc_msg_free(nullptr);
}

TEST_F(MessageBuffer, StaysTheCallersAfterAFailedSend) {
    const MessagePtr message = message_of("abc");
    osal::fail_send(1);
    EXPECT_NE(ipc_msg_send(5, MOX_MSG_DUMP, message.get(), 3), 0);
    EXPECT_EQ(ipc_msg_send(5, MOX_MSG_DUMP, message.get(), 3), 0);
    EXPECT_EQ(bytes_at(sent_bytes(0), 76, 3), "abc");
}

using MessageBatch = Message;

TEST_F(MessageBatch, ReachesEveryPortInListOrderWithItsOwnTarget) {
    EXPECT_EQ(batch({9, 3, 6}, "abc"), 0);
    const auto sent = osal::sent();
    ASSERT_EQ(sent.size(), 3U);
    const std::vector<gint32> order{9, 3, 6};
    for (std::size_t i = 0; i < order.size(); ++i) {
        EXPECT_EQ(sent[i].queue_id, order[i]);
        EXPECT_EQ(word_at(sent[i].bytes, 16), static_cast<guint32>(order[i]));
        EXPECT_EQ(word_at(sent[i].bytes, 20), 7U);
        EXPECT_EQ(bytes_at(sent[i].bytes, 76, 3), "abc");
    }
}

TEST_F(MessageBatch, EndsWithTheFirstFailure) {
    osal::fail_sends_to(3, -4711);
    EXPECT_EQ(batch({9, 3, 6}, "abc"), -4711);
    EXPECT_EQ(osal::sent_to(9).size(), 1U);
    EXPECT_EQ(osal::sent_to(6).size(), 0U);
    EXPECT_EQ(osal::send_calls(), 2U);
}

TEST_F(MessageBatch, ToNobodyIsASuccess) {
    ipc_msg_set_port(0);
    EXPECT_EQ(ipc_msg_batch(nullptr, MOX_MSG_DUMP, 9000, nullptr), 0);
}

TEST_F(MessageBatch, WithoutAnOwnPortIsRefused) {
    ipc_msg_set_port(0);
    EXPECT_EQ(batch({9, 3}, "abc"), -2018);
}

using QueueDrain = Message;

TEST_F(QueueDrain, DiscardsEveryWaitingMessage) {
    for (int i = 0; i < 3; ++i) send(std::string(8192, 'x'));
    ipc_clear_queue(5);
    EXPECT_EQ(osal::receive_calls(), 4U);
    std::vector<guint8> buffer(8268);
    EXPECT_EQ(osal_process_queue_receive(5, buffer.data(), buffer.size(), 0), -1255);
}

TEST_F(QueueDrain, OfAnEmptyQueueAsksOnce) {
    ipc_clear_queue(5);
    EXPECT_EQ(osal::receive_calls(), 1U);
}

TEST_F(QueueDrain, OfANegativeQueueDoesNothing) {
    ipc_clear_queue(-1);
    EXPECT_EQ(osal::receive_calls(), 0U);
}

TEST_F(QueueDrain, OfQueueZeroIsTried) {
    ipc_clear_queue(0);
    EXPECT_EQ(osal::receive_calls(), 1U);
}

TEST_F(QueueDrain, EndsWhenTheQueueIsGone) {
    send("abc");
    osal::remove_queue(5);
    ipc_clear_queue(5);
    EXPECT_EQ(osal::receive_calls(), 1U);
}

using DumpRequest = Message;

TEST_F(DumpRequest, CarriesThePathWithoutItsLastCharacter) {
    ASSERT_EQ(ipc_msg_send_dump(5, "/tmp/x"), 0);
    ASSERT_EQ(osal::sent().size(), 1U);
    const std::vector<guint8> bytes = sent_bytes(0);
    EXPECT_EQ(osal::sent()[0].queue_id, 5);
    EXPECT_EQ(word_at(bytes, 20), 7U);
    EXPECT_EQ(word_at(bytes, 28), 6U);
    ASSERT_EQ(bytes.size(), 82U);
    EXPECT_EQ(bytes_at(bytes, 76, 6), std::string("/tmp/\0", 6));
}

TEST_F(DumpRequest, OfAnEmptyPathHasNoPayload) {
    ASSERT_EQ(ipc_msg_send_dump(5, ""), 0);
    EXPECT_EQ(sent_bytes(0).size(), 76U);
}

TEST_F(DumpRequest, OfOneCharacterIsATerminator) {
    ASSERT_EQ(ipc_msg_send_dump(5, "x"), 0);
    EXPECT_EQ(bytes_at(sent_bytes(0), 76, 1), std::string("\0", 1));
}

TEST_F(DumpRequest, WithoutAQueueOrAPathIsRefused) {
    EXPECT_EQ(ipc_msg_send_dump(0, "/tmp/x"), -2001);
    EXPECT_EQ(ipc_msg_send_dump(5, nullptr), -2001);
    EXPECT_EQ(osal::send_calls(), 0U);
}

TEST_F(DumpRequest, ReturnsTheSendsResult) {
    osal::fail_send(1, -4711);
    EXPECT_EQ(ipc_msg_send_dump(5, "/tmp/x"), -4711);
    ipc_msg_set_port(0);
    EXPECT_EQ(ipc_msg_send_dump(5, "/tmp/x"), -2018);
    gint32 result = 0;
    stdout_of([&] { result = ipc_msg_send_dump(5, std::string(8193, 'p').c_str()); });
    EXPECT_EQ(result, -2016);
}

}  // namespace
