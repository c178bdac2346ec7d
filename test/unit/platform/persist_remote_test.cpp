// Calls that another process answers: handed on after their arguments were checked, with results
// passed through and bytes checked again.
#include <vector>

#include "captured_log.hpp"
#include "persist_fixture.hpp"

namespace mox::test {
namespace {

// What the other process was asked, and what it answers.
struct OtherProcess {
    std::vector<std::string> calls;
    gint32 code = PER_OK;
    const char* type = "y";
    std::string bytes = "\x05";
    gboolean saved = TRUE;
};

OtherProcess* other = nullptr;

std::string text_of(gboolean has_prefix, PER_MODE_E mode) {
    return std::string(has_prefix != FALSE ? " prefix" : "") + " mode " + std::to_string(mode);
}

gint32 remote_save(const gchar* object, const gchar* name, const gchar* type, guint32 size,
                   gconstpointer data, gboolean has_prefix, PER_MODE_E mode) {
    other->calls.push_back(std::string("save ") + object + '.' + name + ' ' + type + ' ' +
                           std::string(static_cast<const char*>(data), size) +
                           text_of(has_prefix, mode));
    return other->code;
}

gint32 remote_read(const gchar* object, const gchar* name, CFG_READ_S* read, gboolean has_prefix,
                   PER_MODE_E mode) {
    other->calls.push_back(std::string("read ") + object + '.' + name + text_of(has_prefix, mode));
    read->type = g_strdup(other->type);
    read->size = static_cast<guint32>(other->bytes.size());
    read->data_out = other->bytes.empty() ? nullptr : g_memdup2(other->bytes.data(), read->size);
    return other->code;
}

gint32 remote_is_saved(const gchar* object, const gchar* name, gboolean has_prefix, PER_MODE_E mode,
                       gboolean* saved) {
    other->calls.push_back(std::string("is_saved ") + object + '.' + name +
                           text_of(has_prefix, mode));
    if (other->code == PER_OK) *saved = other->saved;
    return other->code;
}

gint32 remote_status_save(const gchar* object, const gchar* property, guint32 state) {
    other->calls.push_back(std::string("status_save ") + object + '.' + property + ' ' +
                           std::to_string(state));
    return other->code;
}

gint32 remote_status_remove(const gchar* object, const gchar* property) {
    other->calls.push_back(std::string("status_remove ") + object + '.' + property);
    return other->code;
}

constexpr CFG_REMOTE_S every_call = {remote_save, remote_read, remote_is_saved, remote_status_save,
                                     remote_status_remove};

class RemoteStore : public PersistTest {
public:
    ~RemoteStore() override { other = nullptr; }
    RemoteStore(const RemoteStore&) = delete;
    RemoteStore& operator=(const RemoteStore&) = delete;

protected:
    RemoteStore() { other = &other_; }
    void SetUp() override { cfg_store_set_remote(&every_call); }

    OtherProcess other_;
};

TEST_F(RemoteStore, GetsEveryCallWithItsArguments) {
    gboolean saved = FALSE;
    EXPECT_EQ(cfg_save_v2("Fan1", "Name", "s", 2, "a", TRUE, PER_MODE_RESET), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_POWER_OFF), saved_as(Value{"byte 5"}));
    EXPECT_EQ(cfg_is_saved("Fan1", "Speed", TRUE, PER_MODE_PERMANENT, &saved), PER_OK);
    EXPECT_EQ(cfg_status_save("Fan1", "d:Speed", 6), PER_OK);
    EXPECT_EQ(cfg_status_remove("Fan1", "d:Speed"), PER_OK);
    EXPECT_NE(saved, FALSE);
    const std::vector<std::string> expected = {
        std::string("save Fan1.Name s a\0 prefix mode 1", 33), "read Fan1.Speed mode 0",
        "is_saved Fan1.Speed prefix mode 2", "status_save Fan1.d:Speed 6",
        "status_remove Fan1.d:Speed"};
    EXPECT_EQ(other_.calls, expected);
}

TEST_F(RemoteStore, HasItsCodesPassedThrough) {
    gboolean saved = 77;
    CFG_READ_S record{};
    for (const gint32 code :
         {gint32{PER_ERROR_FILE_WRITE_FAIL}, gint32{PER_NEW_ITEM}, gint32{-7}}) {
        other_.code = code;
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), code);
        EXPECT_EQ(cfg_read_v2("Fan1", "Speed", &record, FALSE, PER_MODE_RESET), code);
        EXPECT_EQ(cfg_is_saved("Fan1", "Speed", FALSE, PER_MODE_RESET, &saved), code);
        EXPECT_EQ(cfg_status_save("Fan1", "Speed", 1), code);
        EXPECT_EQ(cfg_status_remove("Fan1", "Speed"), code);
        EXPECT_EQ(record.type, nullptr);
        EXPECT_EQ(record.size, 0U);
        EXPECT_EQ(record.data_out, nullptr);
    }
    EXPECT_EQ(saved, 77);
}

TEST_F(RemoteStore, IsNotAskedWithArgumentsThatAreNotValid) {
    CFG_READ_S record{};
    gboolean saved = FALSE;
    EXPECT_EQ(save("", "Speed", Value{"byte 1"}), PER_ERROR_PARA_0_INVALID);
    EXPECT_EQ(save("Fan1", "Speed", Value{"b", "\x05"}), PER_ERROR_PARA_4_INVALID);
    EXPECT_EQ(cfg_read_v2("Fan1", "Speed", &record, FALSE, PER_MODE_BUTT),
              PER_ERROR_PARA_4_INVALID);
    EXPECT_EQ(cfg_is_saved("Fan1", "", FALSE, PER_MODE_RESET, &saved), PER_ERROR_PARA_1_INVALID);
    EXPECT_EQ(cfg_status_save(nullptr, "Speed", 1), PER_ERROR_PARA_0_INVALID);
    EXPECT_EQ(cfg_status_remove("Fan1", nullptr), PER_ERROR_PARA_1_INVALID);
    EXPECT_TRUE(other_.calls.empty());
}

TEST_F(RemoteStore, HasItsBytesChecked) {
    const Value answers[] = {
        {"b", "\x05"}, {"u", "\x05"}, {"s", "text"}, {"(y)", "\x05"}, {"y", {}}};
    for (const Value& answer : answers) {
        other_.type = answer.type.c_str();
        other_.bytes = answer.bytes;
        CapturedLog log;
        EXPECT_EQ(read("Fan1", "Speed"), failed_with(PER_ERROR_DATA_INVALID)) << answer.type;
        EXPECT_EQ(log.count("moxplat-persist: another process answered a read of Fan1.Speed"), 1U);
    }
    other_.type = "ai";
    other_.bytes.clear();
    EXPECT_EQ(read("Fan1", "Speed"), saved_as(Value{"@ai []"}));
}

TEST_F(RemoteStore, WithoutATypeIsChecked) {
    other_.type = nullptr;
    CapturedLog log;
    EXPECT_EQ(read("Fan1", "Speed"), failed_with(PER_ERROR_DATA_INVALID));
}

TEST_F(RemoteStore, IsNotAskedWhileAStoreIsOpenHere) {
    ASSERT_EQ(open_store(), PER_OK);
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed"), saved_as(Value{"byte 1"}));
    EXPECT_TRUE(is_saved("Fan1", "Speed", PER_MODE_PERMANENT));
    EXPECT_EQ(cfg_status_save("Fan1", "Speed", 1), PER_OK);
    EXPECT_EQ(cfg_status_remove("Fan1", "Speed"), PER_OK);
    EXPECT_TRUE(other_.calls.empty());
    cfg_store_close();
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_OK);
    EXPECT_EQ(other_.calls.size(), 1U);
}

TEST_F(RemoteStore, IsNotAskedForWhatOnlyTheOwnerNeeds) {
    PER_MODE_E mode = PER_MODE_BUTT;
    guint32 state = 0;
    EXPECT_EQ(cfg_newest_mode("Fan1", "Speed", FALSE, &mode), PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(cfg_status_read("Fan1", "Speed", &state), PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(cfg_store_restore_defaults(), PER_ERROR_CFG_INIT_FAIL);
}

TEST_F(RemoteStore, EndsWithNull) {
    cfg_store_set_remote(nullptr);
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_ERROR_CFG_INIT_FAIL);
    EXPECT_TRUE(other_.calls.empty());
}

TEST_F(RemoteStore, WithAMissingCallIsNotTakenOver) {
    for (int missing = 0; missing < 5; ++missing) {
        CFG_REMOTE_S calls = every_call;
        if (missing == 0) calls.save = nullptr;
        if (missing == 1) calls.read = nullptr;
        if (missing == 2) calls.is_saved = nullptr;
        if (missing == 3) calls.status_save = nullptr;
        if (missing == 4) calls.status_remove = nullptr;
        CapturedLog log;
        cfg_store_set_remote(&calls);
        EXPECT_EQ(log.count("one of them is missing"), 1U) << missing;
    }
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_OK);
    EXPECT_EQ(other_.calls.size(), 1U);
}

}  // namespace
}  // namespace mox::test
