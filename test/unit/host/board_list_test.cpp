#include "profile/board_list.hpp"

#include "loaded_profile.hpp"

namespace mox::test {
namespace {

using Strings = std::vector<std::string>;

constexpr const char* classes =
    R"({"name": "Chip", "properties": [{"name": "Path", "type": "s"}, {"name": "PrevChip", "type": "s"}]},
       {"name": "Accessor", "properties": [{"name": "Chip", "type": "s"}]},
       {"name": "Fan", "properties": [{"name": "Speed", "type": "i"}, {"name": "Twin", "type": "sp"}]},
       {"name": "Expression", "properties": [{"name": "X", "type": "sp"}, {"name": "Y", "type": "i"},
         {"name": "Z", "type": "i"}, {"name": "Xcache", "type": "d"}, {"name": "Ycache", "type": "d"},
         {"name": "Zcache", "type": "d"}, {"name": "Formula", "type": "s"}, {"name": "Value", "type": "d"}]})";

std::string fan(const std::string& name, const std::string& more = "") {
    return R"({"name": ")" + name + R"(", "class": "Fan")" + more + "}";
}

std::string board(const std::string& name, int position, const std::string& objects) {
    return R"({"name": ")" + name + R"(", "position": )" + std::to_string(position) +
           R"(, "objects": [)" + objects + "]}";
}

// The faults of a profile with two boards, of an object each, and one outside.
Strings faults_with(const std::string& outside, const std::string& first,
                    const std::string& second) {
    return faults_of(
        boards_text(classes, outside, board("psu1", 5, first) + "," + board("psu2", 6, second)));
}

TEST(ProfileBoards, ComeBehindAllOtherObjectsInTheFilesOrder) {
    const Profile profile = profile_of(boards_text(
        classes, fan("a") + "," + fan("b"),
        board("psu2", 9, fan("c") + "," + fan("d")) + "," + board("psu1", 4, fan("e"))));
    ASSERT_EQ(profile.boards.size(), 2U);
    EXPECT_EQ(profile.boards[0].name, "psu2");
    EXPECT_EQ(profile.boards[0].position, 9U);
    EXPECT_TRUE(profile.boards[0].plugged);
    Strings objects;
    for (const host::ObjectDef& object : profile.objects) {
        objects.push_back(object.name + '@' + object.board + ' ' + std::to_string(object.position));
    }
    EXPECT_EQ(objects, (Strings{"a@ 1", "b@ 1", "c@psu2 9", "d@psu2 9", "e@psu1 4"}));
}

TEST(ProfileBoards, MayBeAbsentAtTheStart) {
    const Profile profile = profile_of(boards_text(
        classes, "", R"({"name": "psu1", "position": 5, "plugged": false, "objects": []})"));
    ASSERT_EQ(profile.boards.size(), 1U);
    EXPECT_FALSE(profile.boards[0].plugged);
}

TEST(ProfileBoards, OutsideTheirFormAreRefusedEach) {
    EXPECT_EQ(faults_of(boards_text(
                  classes, "", R"(5, {}, {"name": "x", "position": 0, "plugged": 1, "objects": {}},
                            {"name": "y", "position": 4294967295, "objects": [], "slot": 1})")),
              (Strings{
                  "boards[0]: must be an object, not a whole number",
                  "boards[1]: \"name\" is missing",
                  "boards[1]: \"position\" is missing",
                  "boards[1]: \"objects\" is missing",
                  "boards[2] \"x\": \"position\" is 0, it must be 1 to 4294967294",
                  "boards[2] \"x\": \"plugged\" must be a boolean, not a whole number",
                  "boards[2] \"x\": \"objects\" must be a list, not an object",
                  "boards[3]: unknown member \"slot\"; known are name, position, plugged, objects",
                  "boards[3] \"y\": \"position\" is 4294967295, it must be 1 to 4294967294",
              }));
    EXPECT_EQ(faults_of(R"({"classes": [], "objects": [], "boards": {}})"),
              (Strings{"top level: \"boards\" must be a list, not an object"}));
}

TEST(ProfileBoards, OfOneNameAreRefused) {
    EXPECT_EQ(faults_of(boards_text(classes, "", board("x", 5, "") + "," + board("x", 6, ""))),
              (Strings{"boards[1] \"x\": an earlier board has this name"}));
    EXPECT_EQ(faults_of(boards_text(classes, "", board(std::string(32, 'n'), 5, ""))),
              (Strings{"boards[0]: \"name\" \"" + std::string(32, 'n') +
                       "\" has 32 bytes; names have 1 to 31"}));
    EXPECT_EQ(faults_of(boards_text(classes, "", board(std::string(31, 'n'), 5, ""))), Strings{});
}

TEST(ProfileBoards, AtAPositionThatIsTakenAreRefused) {
    EXPECT_EQ(faults_of(boards_text(classes, "", board("x", 5, "") + "," + board("y", 5, ""))),
              (Strings{"boards[1] \"y\": \"position\" is 5, that of board \"x\""}));
    EXPECT_EQ(faults_of(boards_text(classes, fan("a", R"(, "position": 7)") + "," + fan("b"),
                                    board("x", 7, "") + "," + board("y", 1, ""))),
              (Strings{"boards[0] \"x\": \"position\" is 7, that of object \"a\", which is on no "
                       "board",
                       "boards[1] \"y\": \"position\" is 1, that of object \"b\", which is on no "
                       "board"}));
}

TEST(ProfileBoardObjects, HaveNoPositionOfTheirOwn) {
    EXPECT_EQ(faults_with("", "", fan("Fan7", R"(, "position": 3)")),
              (Strings{"boards[1] \"psu2\" objects[0]: unknown member \"position\"; known are "
                       "name, class, type, mutex, properties"}));
}

TEST(ProfileBoardObjects, AreNamedWithTheirBoardInFaults) {
    EXPECT_EQ(faults_with("", "", fan("Fan7", R"(, "properties": {"Speed": "x", "Q": 1})")).back(),
              "boards[1] \"psu2\" objects[0] \"Fan7\" property \"Q\": class \"Fan\" has no such "
              "property");
}

TEST(ProfileBoardObjects, HaveNamesThatNoOtherObjectOfTheProfileHas) {
    EXPECT_EQ(faults_with(fan("a"), fan("b"), fan("a") + "," + fan("b")),
              (Strings{"boards[1] \"psu2\" objects[0] \"a\": an earlier object has this name",
                       "boards[1] \"psu2\" objects[1] \"b\": an earlier object has this name"}));
}

TEST(ProfileBoardObjects, MayLeadToTheirBoardAndToWhatIsAlwaysThere) {
    EXPECT_EQ(faults_with(fan("a"),
                          fan("b", R"(, "mutex": "a", "properties": {"Twin": "a.Speed"})") + "," +
                              fan("c", R"(, "mutex": "d", "properties": {"Twin": "d.Speed"})") +
                              "," + fan("d"),
                          ""),
              Strings{});
}

TEST(ProfileBoardObjects, MayNotLeadToAnotherBoard) {
    const std::string cause =
        "leads to object \"b\" of board \"psu1\"; the object itself is of board \"psu2\" and may "
        "lead only there and to what is on none";
    EXPECT_EQ(
        faults_with("", fan("b"), fan("c", R"(, "mutex": "b", "properties": {"Twin": "b.Speed"})")),
        (Strings{"boards[1] \"psu2\" objects[0] \"c\": " + cause,
                 "boards[1] \"psu2\" objects[0] \"c\" property \"Twin\": " + cause}));
}

TEST(ProfileBoardObjects, MayNotBeLedToByWhatIsAlwaysThere) {
    const std::string cause =
        "leads to object \"b\" of board \"psu1\"; the object itself is on no board and may lead to "
        "such objects only";
    EXPECT_EQ(
        faults_with(fan("c", R"(, "mutex": "b", "properties": {"Twin": "b.Speed"})"), fan("b"), ""),
        (Strings{"objects[0] \"c\": " + cause, "objects[0] \"c\" property \"Twin\": " + cause}));
}

TEST(ProfileBoardObjects, MayNotHaveAccessorsOrChipsOfAnotherBoard) {
    const std::string elsewhere =
        "; the object itself is of board \"psu2\" and may lead only there and to what is on none";
    EXPECT_EQ(
        faults_with(
            "",
            R"({"name": "chip", "class": "Chip", "type": "Physical"},
               {"name": "acc", "class": "Accessor", "type": "Physical", "properties": {"Chip": "chip"}})",
            fan("f", R"(, "properties": {"Speed": {"accessor": "acc"}})") +
                R"(,{"name": "c2", "class": "Chip", "type": "Physical", "properties": {"PrevChip": "chip"}})"),
        (Strings{"boards[1] \"psu2\" objects[0] \"f\" property \"Speed\": leads to object \"acc\" "
                 "of board \"psu1\"" +
                     elsewhere,
                 "boards[1] \"psu2\" objects[1] \"c2\" property \"PrevChip\": leads to object "
                 "\"chip\" of board \"psu1\"" +
                     elsewhere}));
}

TEST(ProfileBoardObjects, MayNotBeInputsOfOtherFormulas) {
    const std::string formula =
        R"({"name": "f", "class": "Expression", "properties": {"X": "b.Speed", "Formula": "X"}})";
    EXPECT_EQ(faults_with("", fan("b") + "," + formula, ""), Strings{});
    EXPECT_EQ(faults_with(formula, fan("b"), ""),
              (Strings{"objects[0] \"f\" property \"X\": leads to object \"b\" of board \"psu1\"; "
                       "the object itself is on no board and may lead to such objects only"}));
}

}  // namespace
}  // namespace mox::test
