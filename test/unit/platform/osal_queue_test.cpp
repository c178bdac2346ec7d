// Message queues: what goes in comes out byte for byte, and whatever cannot go in gives a code at
// once.
#include <gtest/gtest.h>
#include <moxplat/osal.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mount.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <numeric>
#include <thread>
#include <vector>

#include "captured_log.hpp"
#include "child_process.hpp"
#include "system_v.hpp"

namespace {

using mox::test::CapturedLog;
using mox::test::ChildProcess;
using mox::test::Parent;
using mox::test::read_setting;
using mox::test::write_setting;

using Bytes = std::vector<guint8>;

// A message of `size` bytes with its type in front and a pattern behind it.
Bytes message_of(gsize size, gint32 type = 1) {
    Bytes message(size);
    std::iota(message.begin(), message.end(), static_cast<guint8>(7));
    std::memcpy(message.data(), &type, MIN(size, sizeof type));
    return message;
}

class QueueTest : public ::testing::Test {
protected:
    gint32 queue_ = -1;

    QueueTest() { EXPECT_EQ(osal_process_queue_create(&queue_), OSAL_OK); }
    ~QueueTest() override { EXPECT_EQ(osal_process_release_all(), OSAL_OK); }

    gint32 send(const Bytes& message) const {
        return osal_process_queue_send(queue_, message.data(), message.size());
    }

    // The next message; empty when there is none.
    Bytes receive() const {
        Bytes message(OSAL_QUEUE_MESSAGE_MAX);
        const gint32 size = osal_process_queue_receive(queue_, message.data(), message.size(), 0);
        message.resize(size < 0 ? 0 : static_cast<gsize>(size));
        return message;
    }

    gint32 receive_code(gint32 wait) const {
        Bytes message(OSAL_QUEUE_MESSAGE_MAX);
        return osal_process_queue_receive(queue_, message.data(), message.size(), wait);
    }
};

using Queue = QueueTest;
using QueueSend = QueueTest;
using QueueReceive = QueueTest;
using QueueId = QueueTest;
using QueueLimits = QueueTest;

TEST_F(Queue, CarriesTheLargestMessageByteForByte) {
    const Bytes message = message_of(8268);
    EXPECT_EQ(send(message), OSAL_OK);
    EXPECT_EQ(receive(), message);
}

TEST_F(Queue, CarriesMessagesOfEverySmallSizeByteForByte) {
    for (gsize size = 4; size < 200; ++size) {
        const Bytes message = message_of(size);
        ASSERT_EQ(send(message), OSAL_OK);
        ASSERT_EQ(receive(), message);
    }
}

TEST_F(Queue, KeepsTheMessageType) {
    const Bytes message = message_of(12, G_MAXINT32);
    EXPECT_EQ(send(message), OSAL_OK);
    EXPECT_EQ(receive(), message);
}

TEST_F(Queue, KeepsTheOrderAcrossMessageTypes) {
    for (const gint32 type : {3, 1, 2}) ASSERT_EQ(send(message_of(8, type)), OSAL_OK);
    for (const gint32 type : {3, 1, 2}) EXPECT_EQ(receive(), message_of(8, type));
}

TEST_F(Queue, CarriesAMessageToAnotherProcess) {
    ChildProcess child{[this](const Parent&) { return send(message_of(156)) == OSAL_OK ? 0 : 1; }};
    EXPECT_EQ(receive_code(1), 156);
    EXPECT_EQ(child.status(), 0);
}

TEST_F(Queue, IsOpenToItsUserOnly) {
    msqid_ds about = {};
    ASSERT_EQ(msgctl(queue_, IPC_STAT, &about), 0);
    EXPECT_EQ(about.msg_perm.mode & 0777, 0600);
}

TEST_F(QueueSend, GivesACodeAtOnceWhenTheQueueIsFullAndWorksAgainWithRoom) {
    const Bytes message = message_of(8268);
    gint32 code = OSAL_OK;
    int sent = 0;
    while ((code = send(message)) == OSAL_OK && sent < 1000) ++sent;
    EXPECT_EQ(code, OSAL_ERR_FULL);
    EXPECT_GE(sent, 31);
    EXPECT_EQ(receive(), message);
    EXPECT_EQ(send(message), OSAL_OK);
}

TEST_F(QueueSend, RefusesAMessageAboveTheMaximum) {
    EXPECT_EQ(send(message_of(8269)), OSAL_ERR_TOO_BIG);
    EXPECT_EQ(receive_code(0), OSAL_ERR_EMPTY);
}

TEST_F(QueueSend, RefusesAMessageAboveTheSystemsLimitAndNamesTheSetting) {
    const long limit = read_setting("msgmax");
    ASSERT_TRUE(write_setting("msgmax", 100));
    CapturedLog log;
    EXPECT_EQ(send(message_of(104)), OSAL_OK);
    EXPECT_EQ(send(message_of(105)), OSAL_ERR_TOO_BIG);
    EXPECT_EQ(log.count("kernel.msgmax"), 1U);
    EXPECT_TRUE(write_setting("msgmax", limit));
}

TEST_F(QueueSend, RefusesAMessageAboveTheWholeQueuesRoomAndNamesTheSetting) {
    msqid_ds about = {};
    ASSERT_EQ(msgctl(queue_, IPC_STAT, &about), 0);
    about.msg_qbytes = 100;
    ASSERT_EQ(msgctl(queue_, IPC_SET, &about), 0);
    CapturedLog log;
    EXPECT_EQ(send(message_of(105)), OSAL_ERR_TOO_BIG);
    EXPECT_EQ(log.count("kernel.msgmnb"), 1U);
    EXPECT_EQ(send(message_of(104)), OSAL_OK);
}

TEST_F(QueueSend, RefusesWhatIsNoMessage) {
    EXPECT_EQ(osal_process_queue_send(queue_, nullptr, 8), OSAL_ERR_ARGUMENT);
    EXPECT_EQ(send(message_of(3)), OSAL_ERR_ARGUMENT);
    EXPECT_EQ(send(message_of(8, 0)), OSAL_ERR_ARGUMENT);
    EXPECT_EQ(send(message_of(8, -1)), OSAL_ERR_ARGUMENT);
}

TEST_F(QueueReceive, GivesTheEmptyCodeWhenThereIsNothing) {
    EXPECT_EQ(receive_code(0), -1255);
}

TEST_F(QueueReceive, LeavesAMessageThatDoesNotFitInTheQueue) {
    const Bytes message = message_of(100);
    ASSERT_EQ(send(message), OSAL_OK);
    Bytes small(99);
    EXPECT_EQ(osal_process_queue_receive(queue_, small.data(), small.size(), 0), OSAL_ERR_TOO_BIG);
    EXPECT_EQ(receive(), message);
}

TEST_F(QueueReceive, FillsABufferOfExactlyTheMessagesSize) {
    const Bytes message = message_of(100);
    ASSERT_EQ(send(message), OSAL_OK);
    Bytes buffer(100);
    EXPECT_EQ(osal_process_queue_receive(queue_, buffer.data(), buffer.size(), 0), 100);
    EXPECT_EQ(buffer, message);
}

TEST_F(QueueReceive, RefusesABufferThatIsNone) {
    guint8 byte = 0;
    EXPECT_EQ(osal_process_queue_receive(queue_, nullptr, 8, 0), OSAL_ERR_ARGUMENT);
    EXPECT_EQ(osal_process_queue_receive(queue_, &byte, 1, 0), OSAL_ERR_ARGUMENT);
}

TEST_F(QueueReceive, WaitsForAMessageWhenAskedTo) {
    gint32 code = 0;
    std::thread receiver{[&] { code = receive_code(1); }};
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    EXPECT_EQ(send(message_of(20)), OSAL_OK);
    receiver.join();
    EXPECT_EQ(code, 20);
}

TEST_F(QueueReceive, EndsItsWaitWithACodeWhenTheQueueIsRemoved) {
    gint32 code = 0;
    std::thread receiver{[&] { code = receive_code(1); }};
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    EXPECT_EQ(osal_process_queue_delete(queue_), OSAL_OK);
    receiver.join();
    EXPECT_EQ(code, OSAL_ERR_BAD_ID);
}

TEST_F(QueueReceive, GoesOnWaitingAfterASignal) {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    struct sigaction before = {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
    gint32 code = 0;
    std::thread receiver{[&] { code = receive_code(1); }};
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    ASSERT_EQ(pthread_kill(receiver.native_handle(), SIGUSR1), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    EXPECT_EQ(send(message_of(20)), OSAL_OK);
    receiver.join();
    EXPECT_EQ(code, 20);
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(QueueId, IsNeverZero) {
    EXPECT_GT(queue_, 0);
}

TEST_F(QueueId, DiffersFromQueueToQueue) {
    gint32 further = -1;
    ASSERT_EQ(osal_process_queue_create(&further), OSAL_OK);
    EXPECT_GT(further, 0);
    EXPECT_NE(further, queue_);
    EXPECT_EQ(send(message_of(8)), OSAL_OK);
    Bytes buffer(100);
    EXPECT_EQ(osal_process_queue_receive(further, buffer.data(), buffer.size(), 0), OSAL_ERR_EMPTY);
}

TEST_F(QueueId, OfARemovedQueueGivesACodeAtOnce) {
    ASSERT_EQ(send(message_of(8)), OSAL_OK);
    ASSERT_EQ(osal_process_queue_delete(queue_), OSAL_OK);
    EXPECT_EQ(send(message_of(8)), OSAL_ERR_BAD_ID);
    EXPECT_EQ(receive_code(0), OSAL_ERR_BAD_ID);
    EXPECT_EQ(receive_code(1), OSAL_ERR_BAD_ID);
    EXPECT_EQ(osal_process_queue_delete(queue_), OSAL_ERR_BAD_ID);
}

TEST_F(QueueId, ThatNamesNoQueueGivesACode) {
    const Bytes message = message_of(8);
    Bytes buffer(100);
    for (const gint32 id : {-1, G_MININT32, G_MAXINT32, queue_ + 1}) {
        EXPECT_EQ(osal_process_queue_send(id, message.data(), message.size()), OSAL_ERR_BAD_ID);
        EXPECT_EQ(osal_process_queue_receive(id, buffer.data(), buffer.size(), 0), OSAL_ERR_BAD_ID);
        EXPECT_EQ(osal_process_queue_delete(id), OSAL_ERR_BAD_ID);
    }
}

TEST_F(QueueLimits, AreRaisedWhenAQueueIsMade) {
    ASSERT_TRUE(write_setting("msgmax", 8192));
    ASSERT_TRUE(write_setting("msgmnb", 16384));
    ASSERT_EQ(osal_process_queue_create(&queue_), OSAL_OK);
    EXPECT_GE(read_setting("msgmax"), 8264);
    EXPECT_GE(read_setting("msgmnb"), 65536);
    EXPECT_EQ(send(message_of(8268)), OSAL_OK);
}

TEST_F(QueueLimits, AreNeverLowered) {
    ASSERT_TRUE(write_setting("msgmax", 100000));
    ASSERT_TRUE(write_setting("msgmnb", 1000000));
    gint32 further = -1;
    ASSERT_EQ(osal_process_queue_create(&further), OSAL_OK);
    EXPECT_EQ(read_setting("msgmax"), 100000);
    EXPECT_EQ(read_setting("msgmnb"), 1000000);
}

// Makes the settings read-only for this process, root or not.
bool forbid_settings() {
    const char* const settings = "/proc/sys/kernel";
    const unsigned long flags = MS_BIND | MS_REMOUNT | MS_RDONLY | MS_NOSUID | MS_NODEV | MS_NOEXEC;
    return unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount(settings, settings, nullptr, MS_BIND, nullptr) == 0 &&
           mount(nullptr, settings, nullptr, flags, nullptr) == 0;
}

TEST_F(QueueLimits, AreNamedOnceWhereTheyCannotBeRaised) {
    ASSERT_TRUE(write_setting("msgmax", 8192));
    ASSERT_TRUE(write_setting("msgmnb", 16384));
    ChildProcess child{[](const Parent&) {
        if (!forbid_settings()) return 1;
        CapturedLog log;
        gint32 queue = -1;
        if (osal_process_queue_create(&queue) != OSAL_OK) return 2;
        if (log.count("kernel.msgmax is 8192, 8264 is needed") != 1) return 3;
        if (log.count("kernel.msgmnb is 16384") != 1) return 4;
        if (osal_process_queue_create(&queue) != OSAL_OK || log.lines().size() != 2) return 5;
        const Bytes message = message_of(8268);
        if (osal_process_queue_send(queue, message.data(), 8196) != OSAL_OK) return 6;
        if (osal_process_queue_send(queue, message.data(), 8197) != OSAL_ERR_TOO_BIG) return 7;
        return osal_process_release_all() == OSAL_OK ? 0 : 8;
    }};
    EXPECT_EQ(child.status(), 0);
}

TEST(QueueCreation, NeedsAPlaceForTheId) {
    EXPECT_EQ(osal_process_queue_create(nullptr), OSAL_ERR_ARGUMENT);
}

TEST(QueueCreation, GivesACodeAndNamesTheSettingWhenTheSystemIsFull) {
    const long limit = read_setting("msgmni");
    ASSERT_TRUE(write_setting("msgmni", 0));
    CapturedLog log;
    gint32 queue = 5;
    EXPECT_EQ(osal_process_queue_create(&queue), OSAL_ERR_LIMIT);
    EXPECT_TRUE(write_setting("msgmni", limit));
    EXPECT_EQ(queue, -1);
    EXPECT_EQ(log.count("kernel.msgmni"), 1U);
    EXPECT_EQ(osal_process_release_all(), OSAL_OK);
}

}  // namespace
