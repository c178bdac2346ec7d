#include "profile/json_text.hpp"

#include "loaded_profile.hpp"

namespace mox::test {
namespace {

TEST(JsonText, GivesLineAndColumnOfASyntaxError) {
    EXPECT_EQ(fault_of("{\n  \"classes\": [],\n  \"objects\" []\n}"),
              "line 3, column 13: expected ':', found \"[\"");
}

TEST(JsonText, CountsColumnsInCharacters) {
    EXPECT_EQ(fault_of("{\"\xc3\xa4\xc3\xb6\xc3\xbc\": x}"),
              "line 1, column 9: expected a value, found \"x\"");
}

TEST(JsonText, ThatIsNoJsonAtAllIsRefused) {
    EXPECT_EQ(fault_of("hello"), "line 1, column 1: expected a value, found \"h\"");
}

TEST(JsonText, ThatBreaksOffIsRefused) {
    EXPECT_EQ(fault_of("{\"classes\": ["),
              "line 1, column 14: expected a value, found the end of the file");
    EXPECT_EQ(fault_of("{\"classes"), "line 1, column 2: the string that begins here never ends");
}

TEST(JsonText, WithATrailingCommaIsRefused) {
    EXPECT_EQ(fault_of("{\"classes\": [],}"), "line 1, column 16: expected '\"', found \"}\"");
}

TEST(JsonText, WithSomethingBehindTheDocumentIsRefused) {
    EXPECT_EQ(fault_of("{} {}"), "line 1, column 4: something follows the end of the document");
}

TEST(JsonText, WithACommentIsRefused) {
    EXPECT_EQ(fault_of("/* \" */ {}"), "line 1, column 1: expected a value, found \"/\"");
}

TEST(JsonText, WithAnAssignmentIsRefused) {
    EXPECT_EQ(fault_of("var x = {}"), "line 1, column 1: expected a value, found \"v\"");
}

TEST(JsonText, WithAMemberTwiceIsRefused) {
    EXPECT_EQ(fault_of("{\"classes\": [],\n \"cl\\u0061sses\": []}"),
              "line 2, column 2: member \"classes\" appears twice in one object");
}

TEST(JsonText, WithANumberBeyond64BitsIsRefused) {
    EXPECT_EQ(fault_of("[18446744073709551617]"),
              "line 1, column 2: number \"18446744073709551617\" is out of range");
    EXPECT_EQ(fault_of("[1e999]"), "line 1, column 2: number \"1e999\" is out of range");
}

TEST(JsonText, WithANumberOfAnotherNotationIsRefused) {
    EXPECT_EQ(fault_of("[0x10]"), "line 1, column 3: expected ',' or ']', found \"x\"");
    EXPECT_EQ(fault_of("[010]"), "line 1, column 2: a number with a leading zero");
    EXPECT_EQ(fault_of("[1.]"), "line 1, column 4: expected a digit, found \"]\"");
    EXPECT_EQ(fault_of("[-]"), "line 1, column 3: expected a digit, found \"]\"");
    EXPECT_EQ(fault_of("[NaN]"), "line 1, column 2: expected a value, found \"N\"");
}

TEST(JsonText, NestedTooDeeplyIsRefused) {
    EXPECT_EQ(fault_of(std::string(1000000, '[')),
              "line 1, column 34: nested deeper than 32 levels");
    EXPECT_EQ(fault_of(std::string(33, '[') + std::string(33, ']')),
              "top level: must be an object, not a list");
}

TEST(JsonText, WithANulIsRefused) {
    EXPECT_EQ(fault_of(std::string("{\0}", 3)), "line 1, column 2: a NUL byte");
    EXPECT_EQ(fault_of(R"(["a\u0000b"])"), "line 1, column 4: a NUL character in a string");
}

TEST(JsonText, ThatIsNotUtf8IsRefused) {
    EXPECT_EQ(fault_of("[\"a\xff\"]"), "line 1, column 4: not UTF-8");
    EXPECT_EQ(fault_of("[\"\xc3"), "line 1, column 3: not UTF-8");
}

TEST(JsonText, WithAWrongEscapeIsRefused) {
    EXPECT_EQ(fault_of(R"(["\x"])"), "line 1, column 3: an unknown escape");
    EXPECT_EQ(fault_of(R"(["\u12"])"), "line 1, column 3: an escape \\u without its four digits");
    EXPECT_EQ(fault_of(R"(["\ud800"])"), "line 1, column 3: half a surrogate pair");
    EXPECT_EQ(fault_of(R"(["\udc00"])"), "line 1, column 3: half a surrogate pair");
    EXPECT_EQ(fault_of(R"(["\ud800\u0041"])"), "line 1, column 3: half a surrogate pair");
    EXPECT_EQ(fault_of("[\"\t\"]"),
              "line 1, column 3: a control character in a string; write it as an escape");
}

TEST(JsonText, WithEveryKindOfValueIsAccepted) {
    EXPECT_NO_THROW(
        host::check_json_text(" {\"a\": [1, -2, 0.5, 1e3, -1.5E-3, true, false, null, "
                              "\"\\n\\ud83d\\ude00\"], \"b\": {}}\r\n\t"));
}

}  // namespace
}  // namespace mox::test
