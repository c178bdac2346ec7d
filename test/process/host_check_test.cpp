// moxd --check: a profile judged without an owner.
#include "host_owner.hpp"

namespace mox::test {
namespace {

ChildProcess& check(HostOwner& owner, const std::string& profile) {
    const std::string path = owner.dir().write("profile.json", profile).string();
    return owner.run({MOXD_PATH, "--check", path});
}

TEST(OwnerCheck, OfAGoodProfileCountsWhatItHas) {
    HostOwner owner;
    const ChildProcess& process = check(owner, R"({
        "classes": [{"name": "A"}, {"name": "B"}],
        "objects": [{"name": "a", "class": "A", "position": 2}],
        "boards": [{"name": "x", "position": 7, "objects": [{"name": "b", "class": "B"},
                                                            {"name": "c", "class": "B"}]}]})");
    EXPECT_EQ(owner.process().wait(), 0);
    EXPECT_EQ(process.output(),
              owner.profile_path() + ": no faults, 2 classes, 3 objects, 1 boards\n");
    EXPECT_EQ(process.errors(), "");
}

TEST(OwnerCheck, NamesEveryFaultInALineOfItsOwn) {
    HostOwner owner;
    const ChildProcess& process = check(owner, R"({
        "classes": [{"name": "A", "properties": [{"name": "P", "type": "z"}]}, {"name": "B", "parent": "C"}],
        "objects": [{"name": "a", "class": "D"}, {"name": "b", "class": "B", "mutex": "nobody"}]})");
    EXPECT_EQ(owner.process().wait(), 2);
    const std::string file = owner.profile_path() + ": ";
    EXPECT_EQ(process.errors(),
              file + "classes[0] \"A\" property \"P\": unknown type string \"z\"\n" + file +
                  "classes[1] \"B\": \"parent\" names class \"C\", which does not exist\n" + file +
                  "objects[0] \"a\": \"class\" names class \"D\", which does not exist\n" + file +
                  "objects[1] \"b\": \"mutex\" names object \"nobody\", which does not exist\n");
    EXPECT_EQ(process.output(), "");
}

TEST(OwnerCheck, OfATextThatIsNoJsonNamesThatAlone) {
    HostOwner owner;
    const ChildProcess& process = check(owner, "{\"classes\": [,], \"objects\": [}");
    EXPECT_EQ(owner.process().wait(), 2);
    EXPECT_EQ(process.errors(),
              owner.profile_path() + ": line 1, column 14: expected a value, found \",\"\n");
}

TEST(OwnerCheck, StartsNothing) {
    HostOwner owner;
    check(owner, sensor_profile(owner.dir().path("chip")));
    EXPECT_EQ(owner.process().wait(), 0) << owner.process().errors();
    EXPECT_EQ(system_v_objects(), 0);
    EXPECT_FALSE(std::filesystem::exists(owner.run_dir()));
    EXPECT_FALSE(std::filesystem::exists(owner.state_dir()));
}

TEST(OwnerCheck, WorksBesideARunningOwner) {
    HostOwner owner;
    ASSERT_TRUE(owner.start()) << owner.process().errors();
    HostOwner checker;
    check(checker, R"({"classes": [], "objects": []})");
    EXPECT_EQ(checker.process().wait(), 0) << checker.process().errors();
    EXPECT_EQ(owner.stop(), 0);
}

}  // namespace
}  // namespace mox::test
