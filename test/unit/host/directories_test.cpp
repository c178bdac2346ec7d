// Which directories programs choose when they are told none.
#include "wire/directories.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using mox::host::wire::owner_directory;
using mox::host::wire::run_directory;
using mox::host::wire::state_directory;

// Two directories, the session's and the system's; no variable is set.
class OwnerDirectory : public ::testing::Test {
protected:
    OwnerDirectory() {
        char name[] = "/tmp/mox-test-XXXXXX";
        if (mkdtemp(name) == nullptr) std::abort();
        root_ = name;
        std::filesystem::create_directories(session());
        std::filesystem::create_directories(system());
        unsetenv("MOX_RUN_DIR");
        setenv("XDG_RUNTIME_DIR", root_.c_str(), 1);
    }
    ~OwnerDirectory() override { std::filesystem::remove_all(root_); }

    std::string session() const { return root_ + "/moxd"; }
    std::string system() const { return root_ + "/system"; }
    static void put_socket(const std::string& directory) {
        std::ofstream{directory + "/moxd.sock"};
    }

    std::string root_;
};

TEST_F(OwnerDirectory, IsTheSessionsWhenAnOwnerIsThere) {
    put_socket(session());
    put_socket(system());
    EXPECT_EQ(owner_directory(nullptr, system()), session());
}

TEST_F(OwnerDirectory, IsTheSystemsWhenOnlyThereAnOwnerIs) {
    put_socket(system());
    EXPECT_EQ(owner_directory(nullptr, system()), system());
}

TEST_F(OwnerDirectory, IsTheSessionsWhenNoOwnerIsAnywhere) {
    EXPECT_EQ(owner_directory(nullptr, system()), session());
}

TEST_F(OwnerDirectory, ThatWasChosenIsKept) {
    put_socket(system());
    EXPECT_EQ(owner_directory("/a/../b", system()), "/b");
    setenv("MOX_RUN_DIR", "/c", 1);
    EXPECT_EQ(owner_directory(nullptr, system()), "/c");
    EXPECT_EQ(owner_directory("", system()), "/c");
}

TEST_F(OwnerDirectory, OfAnOwnerIsTheSessionsOrTheSystems) {
    EXPECT_EQ(run_directory(nullptr), session());
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(run_directory(nullptr), "/run/moxd");
}

TEST(StateDirectory, IsTheFirstThatIsSet) {
    unsetenv("MOX_STATE_DIR");
    unsetenv("XDG_STATE_HOME");
    EXPECT_EQ(state_directory(nullptr), geteuid() == 0
                                            ? "/var/lib/moxd"
                                            : std::string(g_get_home_dir()) + "/.local/state/moxd");
    setenv("XDG_STATE_HOME", "/x/state", 1);
    EXPECT_EQ(state_directory(nullptr), "/x/state/moxd");
    setenv("MOX_STATE_DIR", "/y", 1);
    EXPECT_EQ(state_directory(nullptr), "/y");
    EXPECT_EQ(state_directory("/z/../w"), "/w");
    unsetenv("MOX_STATE_DIR");
    unsetenv("XDG_STATE_HOME");
}

}  // namespace
