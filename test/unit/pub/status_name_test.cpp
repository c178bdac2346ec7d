// Every status code of the public headers has its name, and its row in the table of codes.
#include <gtest/gtest.h>
#include <moxlib/moxbase.h>

#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>

namespace {

std::string text_of(const std::string& path) {
    std::ifstream file{std::string(MOX_SOURCE_DIR) + "/" + path};
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// The codes of all headers that define some, by their names; 0 is the library's own.
std::map<std::string, gint32> codes_of_headers() {
    const std::regex definition{
        R"(\n\s+((?:MOX_ERR|OSAL_ERR|DRIVER_ERR|PER_ERROR|PER_NEW)_\w+) = (-?\d+))"};
    std::map<std::string, gint32> codes{{"MOX_OK", 0}};
    for (const char* const path :
         {"include/moxlib/moxbase.h", "platform/include/moxplat/osal.h",
          "platform/include/moxplat/driver.h", "platform/include/moxplat/persist.h"}) {
        const std::string text = text_of(path);
        const gsize before = codes.size();
        for (std::sregex_iterator at{text.begin(), text.end(), definition}, end; at != end; ++at) {
            codes[(*at)[1]] = std::stoi((*at)[2]);
        }
        EXPECT_GT(codes.size(), before + 5) << path;
    }
    return codes;
}

TEST(StatusName, IsThatOfTheHeaders) {
    for (const auto& [name, code] : codes_of_headers()) {
        EXPECT_EQ(mox_status_name(code), name) << code;
    }
}

TEST(StatusName, OfANumberThatIsNoCodeIsUnknown) {
    for (const gint32 number : {-1, 2, -1999, -2017, G_MAXINT32, G_MININT32}) {
        EXPECT_STREQ(mox_status_name(number), "unknown") << number;
    }
}

TEST(TableOfCodes, HasARowForEveryCode) {
    const std::string table = text_of("docs/ERRORS.md");
    for (const auto& [name, code] : codes_of_headers()) {
        const std::string row = "| " + std::to_string(code) + " | `" + name + "` | ";
        EXPECT_NE(table.find(row), std::string::npos) << row;
    }
}

}  // namespace
