// New-object notices: what is gathered, what is sent, and when it is forgotten.
#include "ipcmsg/newobj_event.hpp"

#include <classnode.h>
#include <gtest/gtest.h>
#include <ipcmsg.h>
#include <moxlib/moxbase.h>

#include <string>
#include <vector>

#include "captured_output.hpp"
#include "pool_fixture.hpp"
#include "sent_message.hpp"

namespace {

namespace osal = mox::fake::osal;
using mox::test::CapturedSyslog;
using mox::test::names_of;
using mox::test::sent_bytes;
using mox::test::stdout_of;
using mox::test::word_at;

using Names = std::vector<std::string>;

class NewObjects : public mox::test::PoolFixture {
protected:
    void SetUp() override {
        mox::test::PoolFixture::SetUp();
        ipc_msg_set_port(77);
        class_a = cls_create_class("A");
        class_b = cls_create_class("B");
        ipc_msg_newobj_init();
    }
    static void gather(gint32 port, CLS_HANDLE class_handle, const Names& names) {
        GSList* list = nullptr;
        for (const std::string& name : names)
            list = g_slist_append(list, const_cast<char*>(name.c_str()));
        ipc_msg_collect_obj(port, class_handle, list);
        g_slist_free(list);
    }
    static std::string error_line(const std::string& text) {
        return std::string("[ ") + mox::test::DebugLevel::module() + " ] \x1b[0;31mERROR:\x1b[0m " +
               text;
    }
    CLS_HANDLE class_a = nullptr;
    CLS_HANDLE class_b = nullptr;
};

TEST_F(NewObjects, OfOnePortAreSentInOneMessageInGroups) {
    gather(5, class_a, {"a1", "a2"});
    gather(5, class_b, {"b1"});
    ipc_msg_newobj_event(5);
    ASSERT_EQ(osal::sent().size(), 1U);
    EXPECT_EQ(names_of(sent_bytes(0)), (Names{"|", "A", "a1", "a2", "|", "B", "b1"}));
    EXPECT_EQ(word_at(sent_bytes(0), 80), 5U);
}

TEST_F(NewObjects, AreSentAtTheDocumentedOffsets) {
    gather(6, class_a, {"a1"});
    ipc_msg_newobj_event(0xFFFFFFFFU);
    ASSERT_EQ(osal::sent().size(), 1U);
    EXPECT_EQ(osal::sent()[0].queue_id, 6);
    const std::vector<guint8> bytes = sent_bytes(0);
    const std::string serialized("|\0A\0a1\0\x02\x04\x07", 10);
    EXPECT_EQ(word_at(bytes, 20), 3U);
    EXPECT_EQ(word_at(bytes, 28), 18U);
    EXPECT_EQ(word_at(bytes, 76), 10U);
    EXPECT_EQ(word_at(bytes, 80), 0xFFFFFFFFU);
    EXPECT_EQ(mox::test::bytes_at(bytes, 84, 10), serialized);
    EXPECT_EQ(bytes.size(), 94U);
}

TEST_F(NewObjects, WhoseNameIsNotUtf8AreLeftOutAndLogged) {
    const std::string output = stdout_of([&] { gather(5, class_a, {"a1", "cut\xc3", "a2"}); });
    EXPECT_EQ(output, error_line("no notice of a new object: a name is not UTF-8.\n"));
    ipc_msg_newobj_event(5);
    ASSERT_EQ(osal::sent().size(), 1U);
    EXPECT_EQ(names_of(sent_bytes(0)), (Names{"|", "A", "a1", "a2"}));
}

TEST_F(NewObjects, OfAClassWhoseNameIsNotUtf8AreNotGathered) {
    const CLS_HANDLE class_c = cls_create_class("C\xc3");
    stdout_of([&] { gather(5, class_c, {"c1"}); });
    ipc_msg_newobj_event(5);
    EXPECT_TRUE(osal::sent().empty());
}

TEST_F(NewObjects, OfSeveralPortsAreSentInOneMessageEach) {
    gather(5, class_a, {"a1"});
    gather(6, class_b, {"b1"});
    gather(5, class_a, {"a2"});
    ipc_msg_newobj_event(1);
    ASSERT_EQ(osal::sent().size(), 2U);
    ASSERT_EQ(osal::sent_to(5).size(), 1U);
    ASSERT_EQ(osal::sent_to(6).size(), 1U);
    EXPECT_EQ(names_of(osal::sent_to(5)[0].bytes), (Names{"|", "A", "a1", "|", "A", "a2"}));
    EXPECT_EQ(names_of(osal::sent_to(6)[0].bytes), (Names{"|", "B", "b1"}));
}

TEST_F(NewObjects, AreSentAgainByASecondFlush) {
    gather(5, class_a, {"a1"});
    ipc_msg_newobj_event(1);
    ipc_msg_newobj_event(1);
    ASSERT_EQ(osal::sent().size(), 2U);
    EXPECT_EQ(sent_bytes(0), sent_bytes(1));
}

TEST_F(NewObjects, MayBeGatheredBetweenTwoFlushes) {
    gather(5, class_a, {"a1"});
    ipc_msg_newobj_event(1);
    gather(5, class_b, {"b1"});
    ipc_msg_newobj_event(2);
    ASSERT_EQ(osal::sent().size(), 2U);
    EXPECT_EQ(names_of(sent_bytes(1)), (Names{"|", "A", "a1", "|", "B", "b1"}));
}

TEST_F(NewObjects, AreCopied) {
    {
        const Names names{"a1"};
        gather(5, class_a, names);
    }
    ipc_msg_newobj_event(1);
    EXPECT_EQ(names_of(sent_bytes(0)), (Names{"|", "A", "a1"}));
}

TEST_F(NewObjects, AreForgottenByTheFreeing) {
    gather(5, class_a, {"a1"});
    ipc_msg_newobj_free();
    EXPECT_EQ(g_new_obj_event_hash, nullptr);
    ipc_msg_newobj_init();
    ipc_msg_newobj_event(1);
    EXPECT_EQ(osal::send_calls(), 0U);
}

TEST_F(NewObjects, AreNotGatheredNorSentBeforeTheTableIsMade) {
    ipc_msg_newobj_free();
    gather(5, class_a, {"a1"});
    ipc_msg_newobj_event(1);
    ipc_msg_newobj_free();
    EXPECT_EQ(osal::send_calls(), 0U);
}

TEST_F(NewObjects, AreNotGatheredForPortZero) {
    gather(0, class_a, {"a1"});
    EXPECT_EQ(g_hash_table_size(g_new_obj_event_hash), 0U);
}

TEST_F(NewObjects, AreNotGatheredForAnEmptyList) {
    gather(5, class_a, {});
    EXPECT_EQ(g_hash_table_size(g_new_obj_event_hash), 0U);
}

TEST_F(NewObjects, AreNotGatheredForNoClass) {
    gather(5, nullptr, {"a1"});
    EXPECT_EQ(g_hash_table_size(g_new_obj_event_hash), 0U);
}

TEST_F(NewObjects, AreNotGatheredForAClassWithoutAName) {
    MODULE_CLASS_NODE_S empty = {};
    gather(5, &empty, {"a1"});
    EXPECT_EQ(g_hash_table_size(g_new_obj_event_hash), 0U);
}

TEST_F(NewObjects, OfAFailingPortAreLoggedAndTheOthersStillSent) {
    gather(5, class_a, {"a1"});
    gather(6, class_b, {"b1"});
    osal::fail_sends_to(5, -4711);
    CapturedSyslog log;
    stdout_of([] { ipc_msg_newobj_event(0x1F); });
    EXPECT_EQ(log.text(), error_line("send new object event of position 1f failed(-4711).\n"));
    EXPECT_EQ(osal::sent_to(6).size(), 1U);
}

TEST_F(NewObjects, OfMoreThanAMessageHoldsAreLogged) {
    gather(5, class_a, Names(1000, "a-rather-long-name"));
    CapturedSyslog log;
    stdout_of([] { ipc_msg_newobj_event(1); });
    EXPECT_TRUE(log.contains(") too big.\n"));
    EXPECT_TRUE(log.contains("send new object event of position 1 failed(-2016).\n"));
    EXPECT_EQ(osal::sent().size(), 0U);
}

TEST_F(NewObjects, WithoutAnOwnPortAreLoggedAndKept) {
    ipc_msg_set_port(0);
    gather(5, class_a, {"a1"});
    CapturedSyslog log;
    stdout_of([] { ipc_msg_newobj_event(1); });
    EXPECT_EQ(log.text(), error_line("send new object event of position 1 failed(-2018).\n"));
    ipc_msg_set_port(77);
    ipc_msg_newobj_event(1);
    EXPECT_EQ(osal::sent().size(), 1U);
}

TEST_F(NewObjects, OfNobodyAreNoMessage) {
    ipc_msg_newobj_event(1);
    EXPECT_EQ(osal::send_calls(), 0U);
}

class RemovedObjects : public NewObjects {};

TEST_F(RemovedObjects, AreToldByTheirPosition) {
    ASSERT_EQ(ipc_msg_delobj_event(5, 0x01020304U), 0);
    ASSERT_EQ(osal::sent().size(), 1U);
    const std::vector<guint8> bytes = sent_bytes(0);
    EXPECT_EQ(osal::sent()[0].queue_id, 5);
    EXPECT_EQ(word_at(bytes, 20), 4U);
    EXPECT_EQ(word_at(bytes, 28), 4U);
    EXPECT_EQ(word_at(bytes, 76), 0x01020304U);
    EXPECT_EQ(bytes.size(), 80U);
}

TEST_F(RemovedObjects, AreNotToldToPortZero) {
    EXPECT_EQ(ipc_msg_delobj_event(0, 1), -2001);
    EXPECT_EQ(osal::send_calls(), 0U);
}

TEST_F(RemovedObjects, ReturnTheSendsResult) {
    osal::fail_send(1, -4711);
    EXPECT_EQ(ipc_msg_delobj_event(5, 1), -4711);
    ipc_msg_set_port(0);
    EXPECT_EQ(ipc_msg_delobj_event(5, 1), -2018);
}

}  // namespace
