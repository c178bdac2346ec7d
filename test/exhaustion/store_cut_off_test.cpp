// A store of which only the beginning is left, as after a file system that lost the rest.
#include <random>

#include "../unit/platform/captured_log.hpp"
#include "store_history.hpp"

namespace mox::test {
namespace {

class CutOffStore : public PersistTest {
protected:
    static constexpr unsigned lengths = 40;

    // A store with a folded file and a log of further saves, as a killed owner leaves it.
    void SetUp() override {
        ASSERT_EQ(open_store(), PER_OK);
        for (unsigned value = 1; value <= 20; ++value) save_both(value);
        ASSERT_EQ(reopen_store(), PER_OK);
        for (unsigned value = 21; value <= 40; ++value) save_both(value);
        files_ = snapshot();
        cfg_store_close();
        ASSERT_GT(files_.at("values.db-wal").size(), 20000U);
    }

    // The store with one of its files cut: it opens, and what it gives was saved once.
    void open_with(const std::string& cut_name, std::size_t length) {
        const std::string directory = path_of("cut");
        std::filesystem::remove_all(directory);
        std::filesystem::create_directory(directory);
        for (const auto& [name, content] : files_) {
            if (name.rfind("values.db", 0) != 0) continue;
            std::ofstream{directory + "/" + name, std::ios::binary}
                << (name == cut_name ? content.substr(0, length) : content);
        }
        const CapturedLog log;
        const gint32 code = cfg_store_open(directory.c_str(), volatile_dir().c_str());
        EXPECT_TRUE(code == PER_OK || code == PER_ERROR_DATA_INVALID) << code;
        const bool is_aside = std::filesystem::exists(directory + "/values.db.damaged-1") ||
                              std::filesystem::exists(directory + "/values.db.damaged-1-wal");
        EXPECT_EQ(is_aside, code == PER_ERROR_DATA_INVALID);
        check_values(code == PER_ERROR_DATA_INVALID);
        EXPECT_EQ(save("Fan1", "Speed", Value{"uint32 99"}), PER_OK);
        EXPECT_EQ(read("Fan1", "Speed"), saved_as(Value{"uint32 99"}));
        cfg_store_close();
    }

    std::size_t size_of(const std::string& name) const { return files_.at(name).size(); }

private:
    static std::string label_of(unsigned value) {
        return std::string(300, static_cast<char>('a' + value % 26));
    }

    static void save_both(unsigned value) {
        ASSERT_EQ(save("Fan1", "Speed", Value{("uint32 " + std::to_string(value)).c_str()}),
                  PER_OK);
        ASSERT_EQ(save("Fan1", "Label", Value{"s", label_of(value) + '\0'}), PER_OK);
    }

    // Label is saved behind Speed: it is as new as that or one older.
    static void check_values(bool is_kept_aside) {
        const Saved speed = read("Fan1", "Speed");
        const Saved label = read("Fan1", "Label");
        if (is_kept_aside) {
            EXPECT_EQ(speed, nothing_saved());
            EXPECT_EQ(label, nothing_saved());
            return;
        }
        unsigned found = 0;
        for (unsigned value = 20; value <= 40; ++value) {
            if (speed == saved_as(Value{("uint32 " + std::to_string(value)).c_str()}))
                found = value;
        }
        EXPECT_NE(found, 0U) << ::testing::PrintToString(speed);
        EXPECT_TRUE(label == saved_as(Value{"s", label_of(found) + '\0'}) ||
                    label == saved_as(Value{"s", label_of(found - 1) + '\0'}))
            << "beside " << found << " " << ::testing::PrintToString(label);
    }

    std::map<std::string, std::string> files_;
};

TEST_F(CutOffStore, GivesASavedValueWhereverItsLogEnds) {
    std::mt19937 random{7};
    for (unsigned round = 0; round < lengths; ++round) {
        const std::size_t length = random() % size_of("values.db-wal");
        SCOPED_TRACE("log of " + std::to_string(length) + " bytes");
        open_with("values.db-wal", length);
    }
}

TEST_F(CutOffStore, IsKeptAsideOrGivesASavedValueWhereverItsFileEnds) {
    std::mt19937 random{8};
    for (unsigned round = 0; round < lengths; ++round) {
        const std::size_t length = random() % size_of("values.db");
        SCOPED_TRACE("file of " + std::to_string(length) + " bytes");
        open_with("values.db", length);
    }
}

}  // namespace
}  // namespace mox::test
