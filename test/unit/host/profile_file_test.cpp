#include "profile/profile_file.hpp"

#include <sys/stat.h>

#include <cstdlib>

#include "loaded_profile.hpp"

namespace mox::test {
namespace {

// The fault of a path, without the path.
std::string fault_of_path(const std::string& path) {
    const auto result = load_profile(path);
    const auto* const line = std::get_if<std::string>(&result);
    return line == nullptr ? "none" : line->substr(path.size());
}

TEST(ProfileFile, ThatDoesNotExistIsRefused) {
    EXPECT_EQ(fault_of_path("/nowhere/profile.json"),
              ": file: cannot be opened: No such file or directory");
}

TEST(ProfileFile, ThatIsADirectoryIsRefused) {
    EXPECT_EQ(fault_of_path("/tmp"), ": file: is a directory");
}

TEST(ProfileFile, ThatIsADeviceIsRefused) {
    EXPECT_EQ(fault_of_path("/dev/zero"), ": file: is not a regular file");
}

TEST(ProfileFile, ThatIsAPipeWithoutAWriterIsRefusedAtOnce) {
    char name[] = "/tmp/mox-pipe-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    const std::string path = std::string(name) + "/pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(fault_of_path(path), ": file: is not a regular file");
    std::filesystem::remove_all(name);
}

TEST(ProfileFile, ThatIsEmptyIsRefused) {
    EXPECT_EQ(fault_of(""), "file: is empty");
}

TEST(ProfileFile, OfMoreThan16MiBIsRefused) {
    const ProfileFile file("");
    std::filesystem::resize_file(file.path(), host::max_profile_bytes + 1);
    EXPECT_EQ(fault_of_path(file.path()), ": file: has more than 16 MiB");
}

TEST(ProfileFile, WithALineEndInItsNameGivesOneLine) {
    EXPECT_EQ(std::get<std::string>(load_profile("/no\nwhere")),
              "/no?where: file: cannot be opened: No such file or directory");
}

}  // namespace
}  // namespace mox::test
