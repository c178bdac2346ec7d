// Saving and reading back through the process behind the remote hooks: the same arguments go there
// as would go to this process's store.
#include <gtest/gtest.h>

#include "save_fixture.hpp"

namespace mox::test {
namespace {

// What the hooks were asked for, and what they answer.
Texts asked;
gsize held = 0;
gint32 answer = 0;
bool was_zeroed = false;

std::string mode_text(gboolean has_prefix, PER_MODE_E mode) {
    return std::string(has_prefix == TRUE ? " prefix" : "") + " mode " + std::to_string(mode);
}

gint32 remote_save(const gchar* object, const gchar* name, const gchar* type, guint32 size,
                   gconstpointer data, gboolean has_prefix, PER_MODE_E mode) {
    std::string text = std::string("save ") + object + "." + name + " " + type + ":";
    const auto* const bytes = static_cast<const guint8*>(data);
    for (guint32 index = 0; index < size; ++index) text += " " + std::to_string(bytes[index]);
    asked.push_back(text + mode_text(has_prefix, mode));
    held += fake::osal::held();
    return answer;
}

gint32 remote_read(const gchar* object, const gchar* name, CFG_READ_S* read, gboolean has_prefix,
                   PER_MODE_E mode) {
    asked.push_back(std::string("read ") + object + "." + name + mode_text(has_prefix, mode));
    held += fake::osal::held();
    was_zeroed = read->type == nullptr && read->size == 0 && read->data_out == nullptr;
    if (answer == 0) fake::persist_fill(read, "u", bytes_of<guint32>(77));
    return answer;
}

class RemoteStore : public SaveFixture {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        asked.clear();
        held = 0;
        answer = 0;
        was_zeroed = false;
        lom_set_remote_save_property_func(remote_save);
        lom_set_remote_get_saved_value_func(remote_read);
    }

    void TearDown() override {
        EXPECT_EQ(held, 0U) << "a hook was called with a semaphore held";
        SaveFixture::TearDown();
    }

    static gint32 save_far(const std::string& property, gboolean is_static = FALSE) {
        return lom_save_property_value(handle_of("Fan1"), property.c_str(), nullptr, PER_MODE_RESET,
                                       TRUE, is_static);
    }

    static std::string read_far(const std::string& object, const std::string& property) {
        GVariant* value = nullptr;
        const gint32 code =
            lom_get_saved_value(handle_of(object), property.c_str(), &value, PER_MODE_RESET, TRUE);
        return printed_result(code, value);
    }
};

TEST_F(RemoteStore, ReceivesWhatTheStoreHereWould) {
    EXPECT_EQ(save_far("Speed"), 0);
    EXPECT_EQ(save_far("d:Level"), 0);
    EXPECT_EQ(save_far("Marked"), 0);
    EXPECT_EQ(asked,
              (Texts{"save Fan1.Speed u: 176 4 0 0 mode 1", "save Fan1.Level y: 3 prefix mode 1",
                     "save Fan1.Marked ro: 120 0 mode 1"}));
    EXPECT_EQ(fake::persist_texts(), Texts{});
}

TEST_F(RemoteStore, GivesItsCode) {
    answer = -4711;
    EXPECT_EQ(save_far("Speed"), -4711);
    EXPECT_EQ(read_far("Fan1", "Speed"), "code -4711");
}

TEST_F(RemoteStore, HasTheStateOfAStaticValueRecordedHere) {
    EXPECT_EQ(save_far("Speed", TRUE), 0);
    EXPECT_EQ(fake::persist_texts(), Texts{"status Fan1.Speed = 114"});
    EXPECT_EQ(state_of("Fan1", "Speed"), "static");
}

TEST_F(RemoteStore, ThatRefusesAStaticValueLeavesItUnmarked) {
    answer = -4711;
    save_far("Speed", TRUE);
    EXPECT_EQ(fake::persist_texts(), Texts{});
    EXPECT_EQ(state_of("Fan1", "Speed"), "");
}

TEST_F(RemoteStore, IsNotThereToSaveWithoutItsHook) {
    lom_set_remote_save_property_func(nullptr);
    EXPECT_EQ(save_far("Speed", TRUE), -2000);
    EXPECT_EQ(fake::persist_texts(), Texts{});
}

TEST_F(RemoteStore, IsNotThereToReadWithoutItsHook) {
    lom_set_remote_get_saved_value_func(nullptr);
    EXPECT_EQ(read_far("Fan1", "Speed"), "code -2000");
    EXPECT_EQ(fake::persist_texts(), Texts{});
}

TEST_F(RemoteStore, IsAskedForASavedValue) {
    EXPECT_EQ(read_far("Fan1", "Speed"), "uint32 77");
    EXPECT_EQ(read_far("Fan1", "d:Level"), "uint32 77");
    EXPECT_EQ(asked, (Texts{"read Fan1.Speed mode 1", "read Fan1.Level prefix mode 1"}));
    EXPECT_EQ(fake::persist_texts(), Texts{});
}

TEST_F(RemoteStore, ReceivesARecordOfZeros) {
    read_far("Fan1", "Speed");
    EXPECT_TRUE(was_zeroed);
}

TEST_F(RemoteStore, IsAskedForTheTargetOfAReference) {
    add_view("Fan1.Speed");
    EXPECT_EQ(read_far("View", "Twin"), "uint32 77");
    EXPECT_EQ(asked, Texts{"read Fan1.Speed mode 1"});
}

TEST_F(RemoteStore, IsNotAskedForWhatTheChecksRefuse) {
    lom_set_writable(handle_of("Fan1"), OBJECT_READ_ONLY);
    EXPECT_EQ(save_far("Speed"), -2014);
    EXPECT_EQ(read_far("Fan1", "Speed"), "code -2014");
    EXPECT_EQ(asked, Texts{});
}

TEST_F(RemoteStore, IsAskedAlsoOfAnOverriddenPropertyForItsSavedValue) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(save_far("Speed"), -2019);
    EXPECT_EQ(read_far("Fan1", "Speed"), "uint32 77");
}

TEST_F(RemoteStore, ThatDeliversNoTypeIsAnInternalFailure) {
    lom_set_remote_get_saved_value_func(
        [](const gchar*, const gchar*, CFG_READ_S* read, gboolean, PER_MODE_E) -> gint32 {
            fake::persist_fill(read, "u", bytes_of<guint32>(1));
            g_free(std::exchange(read->type, nullptr));
            return 0;
        });
    EXPECT_EQ(read_far("Fan1", "Speed"), "code -2000");
}

TEST_F(RemoteStore, ThatDeliversASizeWithoutBytesIsAnInternalFailure) {
    lom_set_remote_get_saved_value_func(
        [](const gchar*, const gchar*, CFG_READ_S* read, gboolean, PER_MODE_E) -> gint32 {
            fake::persist_fill(read, "u", {});
            read->size = 4;
            return 0;
        });
    EXPECT_EQ(read_far("Fan1", "Speed"), "code -2000");
}

}  // namespace
}  // namespace mox::test
