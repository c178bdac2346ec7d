// Stores for the tests of the persistence library: each test has a directory of its own, with the
// store's two directories below it, and nothing open at its end.
//
// The process that has the store open must not open the store's files itself: closing any
// descriptor of a file drops the process's locks on it. So files are looked at by a child.
#ifndef MOX_TEST_UNIT_PLATFORM_PERSIST_FIXTURE_HPP
#define MOX_TEST_UNIT_PLATFORM_PERSIST_FIXTURE_HPP

#include <gtest/gtest.h>
#include <moxplat/persist_store.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace mox::test {

// A value as it is handed to the store, from GVariant text: `Value{"uint32 5"}`.
struct Value {
    explicit Value(const char* text) {
        GVariant* value = g_variant_ref_sink(g_variant_new_parsed(text));
        type = g_variant_get_type_string(value);
        const gsize size = g_variant_get_size(value);
        if (size != 0) bytes.assign(static_cast<const char*>(g_variant_get_data(value)), size);
        g_variant_unref(value);
    }
    Value(std::string type_string, std::string raw)
        : type{std::move(type_string)}, bytes{std::move(raw)} {}

    std::string type;
    std::string bytes;
};

// What a read gave.
struct Saved {
    gint32 code = PER_OK;
    std::string type;
    std::string bytes;

    bool operator==(const Saved& other) const {
        return code == other.code && type == other.type && bytes == other.bytes;
    }
    friend void PrintTo(const Saved& saved, std::ostream* stream) {
        *stream << "code " << saved.code << ' ' << saved.type << ' '
                << ::testing::PrintToString(saved.bytes);
    }
};

inline Saved saved_as(const Value& value) {
    return {PER_OK, value.type, value.bytes};
}
inline Saved nothing_saved() {
    return {PER_ERROR_CFG_ITEM_NOT_INITED, {}, {}};
}
inline Saved failed_with(gint32 code) {
    return {code, {}, {}};
}

inline gint32 save(const char* object, const char* name, const Value& value,
                   PER_MODE_E mode = PER_MODE_PERMANENT, gboolean has_prefix = FALSE) {
    return cfg_save_v2(object, name, value.type.c_str(), static_cast<guint32>(value.bytes.size()),
                       value.bytes.empty() ? nullptr : value.bytes.data(), has_prefix, mode);
}

inline Saved read(const char* object, const char* name, PER_MODE_E mode = PER_MODE_PERMANENT,
                  gboolean has_prefix = FALSE) {
    CFG_READ_S record{};
    Saved saved;
    saved.code = cfg_read_v2(object, name, &record, has_prefix, mode);
    if (record.type != nullptr) saved.type = record.type;
    if (record.data_out != nullptr) {
        saved.bytes.assign(static_cast<const char*>(record.data_out), record.size);
    }
    cfg_read_free(&record);
    return saved;
}

inline bool is_saved(const char* object, const char* name, PER_MODE_E mode,
                     gboolean has_prefix = FALSE) {
    gboolean saved = FALSE;
    EXPECT_EQ(cfg_is_saved(object, name, has_prefix, mode, &saved), PER_OK);
    return saved != FALSE;
}

// The mode saved last; PER_MODE_BUTT when nothing is saved.
inline PER_MODE_E newest_mode(const char* object, const char* name, gboolean has_prefix = FALSE) {
    PER_MODE_E mode = PER_MODE_BUTT;
    const gint32 code = cfg_newest_mode(object, name, has_prefix, &mode);
    EXPECT_EQ(code, mode == PER_MODE_BUTT ? PER_ERROR_CFG_ITEM_NOT_INITED : PER_OK);
    return mode;
}

// Runs the body in a forked process; its failed assertions are printed there and fail the test.
template <typename Body>
void expect_in_child(Body&& body) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        body();
        std::fflush(stdout);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the child's status " << status;
}

inline std::string content_of(const std::string& path) {
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
}

// Writes bytes into a file at an offset, which may make it longer.
inline void overwrite(const std::string& path, std::size_t offset, const std::string& bytes) {
    std::fstream file{path, std::ios::binary | std::ios::in | std::ios::out};
    ASSERT_TRUE(file.is_open()) << path;
    file.seekp(static_cast<std::streamoff>(offset));
    file << bytes;
    ASSERT_TRUE(file.flush().good()) << path;
}

// Changes a file of a closed store by SQL, and folds the change into the file.
inline void change(const std::string& path, const std::string& sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(database);
    EXPECT_EQ(sqlite3_close(database), SQLITE_OK);
}

class PersistTest : public ::testing::Test {
public:
    ~PersistTest() override {
        cfg_store_close();
        cfg_store_set_remote(nullptr);
        std::filesystem::remove_all(directory_);
    }
    PersistTest(const PersistTest&) = delete;
    PersistTest& operator=(const PersistTest&) = delete;

protected:
    PersistTest() {
        std::string name = (std::filesystem::temp_directory_path() / "store-XXXXXX").string();
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        directory_ = name;
    }

    const std::string& directory() const { return directory_; }
    std::string path_of(const std::string& name) const { return directory_ + "/" + name; }
    std::string state_dir() const { return path_of("state"); }
    std::string volatile_dir() const { return path_of("run"); }
    std::string values_file() const { return state_dir() + "/values.db"; }
    std::string reset_file() const { return volatile_dir() + "/reset.db"; }

    gint32 open_store() const {
        return cfg_store_open(state_dir().c_str(), volatile_dir().c_str());
    }
    gint32 reopen_store() const {
        cfg_store_close();
        return open_store();
    }

    // Every file of both directories, as it is now.
    std::map<std::string, std::string> snapshot() const {
        const std::string copy = path_of("copy");
        expect_in_child([&] {
            std::filesystem::remove_all(copy);
            std::filesystem::create_directory(copy);
            for (const std::string& from : {state_dir(), volatile_dir()}) {
                std::filesystem::copy(from, copy);
            }
        });
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator{copy}) {
            files[entry.path().filename().string()] = content_of(entry.path().string());
        }
        return files;
    }

private:
    std::string directory_;
};

// A test that begins with an open, empty store.
class OpenStore : public PersistTest {
protected:
    void SetUp() override { ASSERT_EQ(open_store(), PER_OK); }
};

}  // namespace mox::test

#endif
