// Arguments: the first wrong one is named by its number, and nothing is stored.
#include <string>

#include "persist_fixture.hpp"

namespace mox::test {
namespace {

const std::string long_name(255, 'n');
const std::string too_long_name(256, 'n');
constexpr const char* not_utf8 = "Fan\xFF";

class SaveArguments : public OpenStore {
protected:
    static gint32 save_byte(const char* object, const char* name, const char* type = "y") {
        return cfg_save_v2(object, name, type, 1, "\x05", FALSE, PER_MODE_PERMANENT);
    }
};

TEST_F(SaveArguments, NameTheObjectByAText) {
    for (const char* bad :
         {static_cast<const char*>(nullptr), "", not_utf8, too_long_name.c_str()}) {
        EXPECT_EQ(save_byte(bad, "Speed"), PER_ERROR_PARA_0_INVALID);
    }
    EXPECT_EQ(save_byte(long_name.c_str(), "Speed"), PER_OK);
}

TEST_F(SaveArguments, NameThePropertyByAText) {
    for (const char* bad :
         {static_cast<const char*>(nullptr), "", not_utf8, too_long_name.c_str()}) {
        EXPECT_EQ(save_byte("Fan1", bad), PER_ERROR_PARA_1_INVALID);
    }
    EXPECT_EQ(save_byte("Fan1", long_name.c_str()), PER_OK);
}

TEST_F(SaveArguments, HaveATypeThatIsKept) {
    for (const char* bad : {static_cast<const char*>(nullptr), "", "!", "yy", "v", "(y)", "{yy}",
                            "my", "*", "?", "r", "a*", "a", "rx", "rpx", "rpaa", "rp ", "aaaaay"}) {
        EXPECT_EQ(save_byte("Fan1", "Speed", bad), PER_ERROR_PARA_2_INVALID)
            << (bad == nullptr ? "null" : bad);
    }
    EXPECT_FALSE(is_saved("Fan1", "Speed", PER_MODE_PERMANENT));
}

TEST_F(SaveArguments, RefuseASizeThatNothingHolds) {
    constexpr guint32 largest = 16U << 20;
    const std::string bytes(largest + 1, 'b');
    EXPECT_EQ(cfg_save_v2("Fan1", "Log", "ay", largest + 1, bytes.data(), FALSE, PER_MODE_RESET),
              PER_ERROR_PARA_3_INVALID);
    EXPECT_EQ(cfg_save_v2("Fan1", "Log", "ay", G_MAXUINT32, bytes.data(), FALSE, PER_MODE_RESET),
              PER_ERROR_PARA_3_INVALID);
    EXPECT_EQ(cfg_save_v2("Fan1", "Log", "ay", largest, bytes.data(), FALSE, PER_MODE_RESET),
              PER_OK);
    EXPECT_EQ(read("Fan1", "Log", PER_MODE_RESET).bytes.size(), largest);
}

TEST_F(SaveArguments, RefuseNoDataForASize) {
    EXPECT_EQ(cfg_save_v2("Fan1", "Speed", "y", 1, nullptr, FALSE, PER_MODE_PERMANENT),
              PER_ERROR_PARA_4_INVALID);
}

TEST_F(SaveArguments, RefuseBytesThatAreNoValueOfTheirType) {
    const Value bad[] = {
        {"b", std::string("\x02", 1)},          // neither true nor false
        {"u", std::string("\0\0\0", 3)},        // too short
        {"u", std::string("\0\0\0\0\0", 5)},    // too long
        {"u", {}},                              // nothing where something must be
        {"s", {}},                              // no terminator
        {"s", "text"},                          // no terminator
        {"s", std::string("te\0t\0", 5)},       // one too many
        {"s", std::string("\xFF\0", 2)},        // no UTF-8
        {"au", std::string("\0\0\0\0\0", 5)},   // one item and a bit
        {"as", std::string("text\0\x09", 6)},   // ends behind its end
        {"rp", "text"},                         // a marked string is a string
        {"rpa", std::string("text\0\x09", 6)},  // marked strings are strings
    };
    for (const Value& value : bad) {
        EXPECT_EQ(save("Fan1", "Speed", value), PER_ERROR_PARA_4_INVALID)
            << value.type << ' ' << ::testing::PrintToString(value.bytes);
    }
    EXPECT_FALSE(is_saved("Fan1", "Speed", PER_MODE_PERMANENT));
}

TEST_F(SaveArguments, RefuseAModeUnderWhichNothingIsKept) {
    for (const int mode : {-2, -1, 3, 4}) {
        EXPECT_EQ(
            cfg_save_v2("Fan1", "Speed", "y", 1, "\x05", FALSE, static_cast<PER_MODE_E>(mode)),
            PER_ERROR_PARA_6_INVALID);
    }
}

TEST_F(SaveArguments, AreLookedAtInTheirOrder) {
    EXPECT_EQ(cfg_save_v2(nullptr, nullptr, nullptr, 1, nullptr, FALSE, PER_MODE_BUTT),
              PER_ERROR_PARA_0_INVALID);
    EXPECT_EQ(cfg_save_v2("Fan1", nullptr, nullptr, 1, nullptr, FALSE, PER_MODE_BUTT),
              PER_ERROR_PARA_1_INVALID);
    EXPECT_EQ(cfg_save_v2("Fan1", "Speed", nullptr, 1, nullptr, FALSE, PER_MODE_BUTT),
              PER_ERROR_PARA_2_INVALID);
    EXPECT_EQ(cfg_save_v2("Fan1", "Speed", "y", 1, nullptr, FALSE, PER_MODE_BUTT),
              PER_ERROR_PARA_4_INVALID);
}

TEST_F(SaveArguments, ThatAreRefusedLeaveTheFormerValue) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 7"}), PER_OK);
    EXPECT_EQ(save("Fan1", "Speed", Value{"b", "\x05"}), PER_ERROR_PARA_4_INVALID);
    EXPECT_EQ(read("Fan1", "Speed"), saved_as(Value{"byte 7"}));
}

class ReadArguments : public OpenStore {};

TEST_F(ReadArguments, AreNamedByTheirNumbers) {
    CFG_READ_S record{};
    EXPECT_EQ(cfg_read_v2(nullptr, "Speed", &record, FALSE, PER_MODE_RESET),
              PER_ERROR_PARA_0_INVALID);
    EXPECT_EQ(cfg_read_v2("Fan1", "", &record, FALSE, PER_MODE_RESET), PER_ERROR_PARA_1_INVALID);
    EXPECT_EQ(cfg_read_v2("Fan1", "Speed", nullptr, FALSE, PER_MODE_RESET),
              PER_ERROR_PARA_2_INVALID);
    EXPECT_EQ(cfg_read_v2("Fan1", "Speed", &record, FALSE, PER_MODE_NOSUPPORT),
              PER_ERROR_PARA_4_INVALID);
    EXPECT_EQ(cfg_read_v2("Fan1", "Speed", &record, FALSE, PER_MODE_BUTT),
              PER_ERROR_PARA_4_INVALID);
    EXPECT_EQ(record.type, nullptr);
    EXPECT_EQ(record.data_out, nullptr);
}

class AskArguments : public OpenStore {};

TEST_F(AskArguments, AreNamedByTheirNumbersAndSetNothing) {
    gboolean saved = 77;
    EXPECT_EQ(cfg_is_saved("", "Speed", FALSE, PER_MODE_RESET, &saved), PER_ERROR_PARA_0_INVALID);
    EXPECT_EQ(cfg_is_saved("Fan1", nullptr, FALSE, PER_MODE_RESET, &saved),
              PER_ERROR_PARA_1_INVALID);
    EXPECT_EQ(cfg_is_saved("Fan1", "Speed", FALSE, PER_MODE_BUTT, &saved),
              PER_ERROR_PARA_3_INVALID);
    EXPECT_EQ(cfg_is_saved("Fan1", "Speed", FALSE, PER_MODE_RESET, nullptr),
              PER_ERROR_PARA_4_INVALID);
    EXPECT_EQ(saved, 77);
}

TEST_F(AskArguments, OfTheNewestModeAreNamedByTheirNumbers) {
    PER_MODE_E mode = PER_MODE_BUTT;
    EXPECT_EQ(cfg_newest_mode(nullptr, "Speed", FALSE, &mode), PER_ERROR_PARA_0_INVALID);
    EXPECT_EQ(cfg_newest_mode("Fan1", not_utf8, FALSE, &mode), PER_ERROR_PARA_1_INVALID);
    EXPECT_EQ(cfg_newest_mode("Fan1", "Speed", FALSE, nullptr), PER_ERROR_PARA_3_INVALID);
    EXPECT_EQ(mode, PER_MODE_BUTT);
}

class StatusArguments : public OpenStore {};

TEST_F(StatusArguments, AreNamedByTheirNumbers) {
    guint32 state = 77;
    EXPECT_EQ(cfg_status_save(nullptr, "Speed", 1), PER_ERROR_PARA_0_INVALID);
    EXPECT_EQ(cfg_status_save("Fan1", "", 1), PER_ERROR_PARA_1_INVALID);
    EXPECT_EQ(cfg_status_remove(not_utf8, "Speed"), PER_ERROR_PARA_0_INVALID);
    EXPECT_EQ(cfg_status_remove("Fan1", too_long_name.c_str()), PER_ERROR_PARA_1_INVALID);
    EXPECT_EQ(cfg_status_read("", "Speed", &state), PER_ERROR_PARA_0_INVALID);
    EXPECT_EQ(cfg_status_read("Fan1", nullptr, &state), PER_ERROR_PARA_1_INVALID);
    EXPECT_EQ(cfg_status_read("Fan1", "Speed", nullptr), PER_ERROR_PARA_2_INVALID);
    EXPECT_EQ(state, 77U);
}

class OpenArguments : public PersistTest {};

TEST_F(OpenArguments, AreTwoPaths) {
    for (const char* bad : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(cfg_store_open(bad, volatile_dir().c_str()), PER_ERROR_PARA_0_INVALID);
        EXPECT_EQ(cfg_store_open(state_dir().c_str(), bad), PER_ERROR_PARA_1_INVALID);
    }
    EXPECT_TRUE(std::filesystem::is_empty(directory()));
}

class ErrorText : public ::testing::Test {};

TEST_F(ErrorText, IsAnotherForEveryCode) {
    std::map<std::string, gint32> texts;
    for (gint32 code = PER_ERROR_PARA_0_INVALID; code <= PER_ERROR_CLEAR_CFG_FLAG; ++code) {
        ASSERT_NE(cfg_error_text(code), nullptr);
        EXPECT_TRUE(texts.emplace(cfg_error_text(code), code).second) << code;
    }
    EXPECT_TRUE(texts.emplace(cfg_error_text(PER_OK), PER_OK).second);
    EXPECT_TRUE(texts.emplace(cfg_error_text(PER_NEW_ITEM), PER_NEW_ITEM).second);
    EXPECT_TRUE(texts.emplace(cfg_error_text(-1), -1).second);
}

}  // namespace
}  // namespace mox::test
