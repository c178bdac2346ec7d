// The list of exported names agrees with the headers, with the library, and with what the two
// callers call.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace {

using Names = std::set<std::string>;

bool is_name_character(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

std::string content_of(const std::filesystem::path& path) {
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Every word of a text that could be a name.
Names words_of(const std::string& text) {
    Names words;
    std::string word;
    for (const char c : text + ' ') {
        if (is_name_character(c)) {
            word += c;
        } else if (!word.empty()) {
            words.insert(word);
            word.clear();
        }
    }
    return words;
}

// The names of the list, without its comments.
Names listed_names() {
    Names names;
    std::ifstream file(MOX_SYMBOL_LIST);
    for (std::string line; std::getline(file, line);)
        names.merge(words_of(line.substr(0, line.find('#'))));
    return names;
}

// The functions that a header marks with MOX_API: the word before the first parenthesis behind the
// mark.
Names declared_in(const std::string& header) {
    static const std::string mark = "MOX_API ";
    Names names;
    for (std::size_t at = header.find(mark); at != std::string::npos;
         at = header.find(mark, at + 1)) {
        const bool is_definition = at >= 8 && header.compare(at - 8, 8, "#define ") == 0;
        const std::size_t end = header.find('(', at);
        if (is_definition || end == std::string::npos) continue;
        std::size_t begin = end;
        while (begin > at && is_name_character(header[begin - 1])) --begin;
        names.insert(header.substr(begin, end - begin));
    }
    return names;
}

Names declared_names() {
    Names names;
    for (const char* folder : {MOX_SOURCE_DIR "/inc", MOX_SOURCE_DIR "/include"}) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (entry.path().extension() == ".h")
                names.merge(declared_in(content_of(entry.path())));
        }
    }
    return names;
}

TEST(ExportedNames, AreTheOnesThatTheHeadersDeclare) {
    const Names listed = listed_names();
    const Names declared = declared_names();
    EXPECT_GT(declared.size(), 100U);
    for (const std::string& name : declared)
        EXPECT_EQ(listed.count(name), 1U) << name << " is not listed";
    for (const std::string& name : listed)
        EXPECT_EQ(declared.count(name), 1U) << name << " is not declared";
}

// The library stays loaded: what its libraries keep for the life of the process would look lost.
TEST(ExportedNames, AreFoundInTheLibrary) {
    void* library = dlopen(MOX_LIBRARY, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    ASSERT_NE(library, nullptr) << dlerror();
    for (const std::string& name : declared_names())
        EXPECT_NE(dlsym(library, name.c_str()), nullptr) << name;
}

TEST(ExportedNames, AreAllCalledByTheTwoPrograms) {
    const Names called =
        words_of(content_of(MOX_EXPORTED_CALLS) + content_of(MOX_EXPORTED_PROPERTY_CALLS));
    for (const std::string& name : declared_names())
        EXPECT_EQ(called.count(name), 1U) << name << " is not called";
}

}  // namespace
