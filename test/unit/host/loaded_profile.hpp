// Loads profiles for tests: from texts, by way of a file that goes with the test.
#ifndef MOX_TEST_UNIT_HOST_LOADED_PROFILE_HPP
#define MOX_TEST_UNIT_HOST_LOADED_PROFILE_HPP

#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <variant>
#include <vector>

#include "profile/profile.hpp"

namespace mox::test {

using host::load_profile;
using host::Profile;

// A file with a text; a misuse of GLib or of the JSON library while it exists ends the test.
class ProfileFile {
public:
    explicit ProfileFile(const std::string& text) {
        g_log_set_always_fatal(
            static_cast<GLogLevelFlags>(G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING));
        char name[] = "/tmp/mox-profile-XXXXXX";
        const int file = mkstemp(name);
        EXPECT_GE(file, 0);
        close(file);
        path_ = name;
        std::ofstream(path_, std::ios::binary) << text;
    }
    ~ProfileFile() { std::filesystem::remove(path_); }
    ProfileFile(const ProfileFile&) = delete;
    ProfileFile& operator=(const ProfileFile&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// The fault of a profile text as "PLACE: CAUSE"; "none" for a good one.
inline std::string fault_of(const std::string& text) {
    const ProfileFile file(text);
    const auto result = load_profile(file.path());
    const auto* const line = std::get_if<std::string>(&result);
    if (line == nullptr) {
        return "none";
    }
    const std::string prefix = file.path() + ": ";
    EXPECT_EQ(line->rfind(prefix, 0), 0U) << *line;
    EXPECT_EQ(line->find('\n'), std::string::npos) << *line;
    return line->substr(prefix.size());
}

// All faults of a profile text, as fault_of() gives one.
inline std::vector<std::string> faults_of(const std::string& text) {
    const ProfileFile file(text);
    std::vector<std::string> faults = host::check_profile(file.path()).faults;
    for (std::string& line : faults) {
        EXPECT_EQ(line.rfind(file.path() + ": ", 0), 0U) << line;
        line.erase(0, file.path().size() + 2);
    }
    return faults;
}

// A good profile; fails the test, and is empty, when it is not.
inline Profile profile_of(const std::string& text) {
    const ProfileFile file(text);
    auto result = load_profile(file.path());
    if (auto* const line = std::get_if<std::string>(&result)) {
        ADD_FAILURE() << *line;
        return {};
    }
    return std::get<Profile>(std::move(result));
}

// A profile of these classes and objects, each given as JSON without the brackets of the list.
inline std::string profile_text(const std::string& classes, const std::string& objects) {
    return R"({"classes": [)" + classes + R"(], "objects": [)" + objects + "]}";
}

// The same with boards.
inline std::string boards_text(const std::string& classes, const std::string& objects,
                               const std::string& boards) {
    return R"({"classes": [)" + classes + R"(], "objects": [)" + objects + R"(], "boards": [)" +
           boards + "]}";
}

// A profile with one object "o" of one class "C" with one property "P".
inline std::string value_text(const std::string& type, const std::string& value) {
    return profile_text(
        R"({"name": "C", "properties": [{"name": "P", "type": ")" + type + R"("}]})",
        R"({"name": "o", "class": "C", "properties": {"P": )" + value + "}}");
}

}  // namespace mox::test

#endif
