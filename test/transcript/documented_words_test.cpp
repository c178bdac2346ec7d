// The man pages and the shell's completion know every verb and every option that the help tells.
#include <algorithm>
#include <regex>
#include <set>

#include "moxctl_run.hpp"

namespace mox::test {
namespace {

using Words = std::set<std::string>;

// What the help of a command tells: its output.
std::string help_of(const HostOwner& owner, const std::vector<std::string>& command) {
    const RunResult result = run_command(owner, command);
    EXPECT_EQ(result.status, 0) << result.errors;
    return result.output;
}

// The long options in a help text.
Words options_in(const std::string& help) {
    static const std::regex option(R"((?:^|\n)  (?:-[A-Za-z], )?(--[a-z-]+))");
    Words words;
    for (auto at = std::sregex_iterator(help.begin(), help.end(), option);
         at != std::sregex_iterator(); ++at) {
        words.insert((*at)[1]);
    }
    return words;
}

// The verbs in the help of moxctl.
Words verbs_in(const std::string& help) {
    static const std::regex verb(R"(\n  ([a-z]+)   )");
    const std::string list = help.substr(help.find("Verbs:\n"));
    Words words;
    for (auto at = std::sregex_iterator(list.begin(), list.end(), verb);
         at != std::sregex_iterator(); ++at) {
        words.insert((*at)[1]);
    }
    return words;
}

// A man page's text without its font changes, and with plain minus signs.
std::string page(const char* name) {
    std::string text = content_of(std::string(TOOL_DIR "/man/") + name);
    text = std::regex_replace(text, std::regex(R"(\\-)"), "-");
    return std::regex_replace(text, std::regex(R"(\\f[BIRP])"), "");
}

// The part of a page from one heading to the next of the same macro or a higher one; "" when there
// is none.
std::string section(const std::string& text, const std::string& heading) {
    const std::size_t start = text.find("\n" + heading + "\n");
    if (start == std::string::npos) {
        return "";
    }
    const std::size_t from = start + heading.size() + 2;
    return text.substr(from, std::min(text.find("\n.SS ", from), text.find("\n.SH ", from)) - from);
}

// The options that head a paragraph of a page's part.
Words described_in(const std::string& part) {
    static const std::regex head(R"(\.TP\n\.(?:B|BR) (.*))");
    static const std::regex option("--[a-z-]+");
    Words words;
    for (auto at = std::sregex_iterator(part.begin(), part.end(), head);
         at != std::sregex_iterator(); ++at) {
        const std::string line = (*at)[1];
        for (auto name = std::sregex_iterator(line.begin(), line.end(), option);
             name != std::sregex_iterator(); ++name) {
            words.insert(name->str());
        }
    }
    return words;
}

Words without(const Words& words, const Words& others) {
    Words rest;
    std::set_difference(words.begin(), words.end(), others.begin(), others.end(),
                        std::inserter(rest, rest.end()));
    return rest;
}

// What bash offers for a command line, in its order. setup: shell lines before.
std::vector<std::string> offered(const HostOwner& owner, const std::string& line) {
    const std::string script =
        "source " TOOL_DIR
        "/moxctl.bash; export PATH=\"${0%/*}:$PATH\" MOX_RUN_DIR=\"$1\"\n"
        "COMP_LINE=$2 COMP_POINT=${#2}; _moxctl; printf '%s\\n' \"${COMPREPLY[@]}\"";
    const RunResult result = run_command(
        owner, {"/bin/bash", "--norc", "-c", script, MOXCTL_PATH, owner.run_dir(), line});
    EXPECT_EQ(result.errors, "") << line;
    std::vector<std::string> words = lines_of(result.output);
    words.erase(std::remove(words.begin(), words.end(), ""), words.end());
    return words;
}

Words offered_words(const HostOwner& owner, const std::string& line) {
    const std::vector<std::string> words = offered(owner, line);
    return {words.begin(), words.end()};
}

using List = std::vector<std::string>;

class MoxctlWords : public ::testing::Test {
protected:
    const HostOwner& nobody() const { return owner_; }
    Words verbs() const { return verbs_in(help_of(owner_, {MOXCTL_PATH, "--help"})); }
    Words options(const std::string& verb) const {
        return options_in(help_of(owner_, {MOXCTL_PATH, verb, "--help"}));
    }

private:
    HostOwner owner_;  // not started
};

TEST_F(MoxctlWords, OfTheHelpAreFound) {
    EXPECT_TRUE(verbs().count("list") == 1 && verbs().count("doctor") == 1);
    EXPECT_EQ(options("list"), (Words{"--class", "--run-dir", "--json", "--log", "--help"}));
}

TEST_F(MoxctlWords, HaveASectionOfTheManPageForEachVerb) {
    const std::string text = page("moxctl.1");
    for (const std::string& verb : verbs()) {
        EXPECT_NE(section(text, ".SS " + verb), "") << verb;
    }
}

TEST_F(MoxctlWords, OfEachVerbsOptionsAreDescribedInItsSectionOfTheManPage) {
    const std::string text = page("moxctl.1");
    const Words shared = described_in(section(text, ".SH OPTIONS"));
    for (const std::string& verb : verbs()) {
        EXPECT_EQ(without(options(verb), shared), described_in(section(text, ".SS " + verb)))
            << verb;
    }
    EXPECT_EQ(options_in(help_of(nobody(), {MOXCTL_PATH, "--help"})), shared);
}

TEST_F(MoxctlWords, OfTheOwnersOptionsAreDescribedInItsManPage) {
    EXPECT_EQ(options_in(help_of(nobody(), {MOXD_PATH, "--help"})),
              described_in(section(page("moxd.8"), ".SH OPTIONS")));
}

TEST_F(MoxctlWords, OfAllVerbsAreCompleted) {
    EXPECT_EQ(offered_words(nobody(), "moxctl "), verbs());
    EXPECT_EQ(offered(nobody(), "moxctl int"), List{"introspect"});
    EXPECT_EQ(offered(nobody(), "moxctl --json intr"), List{"introspect"});
}

TEST_F(MoxctlWords, OfAllOptionsAreCompleted) {
    EXPECT_EQ(offered_words(nobody(), "moxctl --"),
              options_in(help_of(nobody(), {MOXCTL_PATH, "--help"})));
    for (const std::string& verb : verbs()) {
        EXPECT_EQ(offered_words(nobody(), "moxctl " + verb + " --"), options(verb)) << verb;
    }
}

TEST_F(MoxctlWords, OfTheModelAreNotOfferedWithoutAnOwner) {
    EXPECT_EQ(offered(nobody(), "moxctl show "), List{});
    EXPECT_EQ(offered(nobody(), "moxctl list --class "), List{});
}

TEST(MoxctlCompletion, OffersTheNamesOfTheModel) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const HostOwner& owner = sensors.owner();
    EXPECT_EQ(offered(owner, "moxctl show Ta"), List{"Tank"});
    EXPECT_EQ(offered(owner, "moxctl tree S"), List{"Sensor"});
    EXPECT_EQ(offered(owner, "moxctl get Tank "), (List{"Label", "Level"}));
    EXPECT_EQ(offered(owner, "moxctl get --json Tank Label Le"), List{"Level"});
    EXPECT_EQ(offered(owner, "moxctl override Oven T"), List{"Twin"});
}

TEST(MoxctlCompletion, OffersNothingWhereAValueOrNothingIsWanted) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    EXPECT_EQ(offered(sensors.owner(), "moxctl set Tank Level "), List{});
    EXPECT_EQ(offered(sensors.owner(), "moxctl show Tank "), List{});
    EXPECT_EQ(offered(sensors.owner(), "moxctl list "), List{});
    EXPECT_EQ(offered(sensors.owner(), "moxctl nope "), List{});
}

TEST(MoxctlCompletion, OffersTheValuesOfAnOption) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const HostOwner& owner = sensors.owner();
    EXPECT_EQ(offered(owner, "moxctl list --class Th"), List{"Thermometer"});
    EXPECT_EQ(offered(owner, "moxctl list -c Th"), List{"Thermometer"});
    EXPECT_EQ(offered(owner, "moxctl list --class=Th"), List{"Thermometer"});
    EXPECT_EQ(offered(owner, "moxctl watch --object Tank --property Le"), List{"Level"});
    EXPECT_EQ(offered(owner, "moxctl --run-dir " + owner.run_dir() + " show Tan"), List{"Tank"});
    EXPECT_EQ(offered(owner, "moxctl --run-dir /nowhere show Tan"), List{});
}

TEST(MoxctlCompletion, TakesNamesWithBlanksAndThoseThatLookLikeOptions) {
    HostOwner owner;
    ASSERT_TRUE(
        owner.start(R"({"classes": [{"name": "Box", "properties": [{"name": "Lid", "type": "i"}]}],
        "objects": [{"name": "big box", "class": "Box"}, {"name": "-box", "class": "Box"}]})"))
        << owner.process().errors();
    EXPECT_EQ(offered(owner, "moxctl show b"), List{"big\\ box"});
    EXPECT_EQ(offered(owner, "moxctl show big\\ "), List{"big\\ box"});
    EXPECT_EQ(offered(owner, "moxctl get big\\ box "), List{"Lid"});
    EXPECT_EQ(offered(owner, "moxctl get "), (List{"big\\ box", "Box:C"}));
    EXPECT_EQ(offered(owner, "moxctl get -- -"), List{"-box"});
    EXPECT_EQ(offered(owner, "moxctl get --json -- -box L"), List{"Lid"});
    EXPECT_EQ(run_moxctl(owner, {"get", "--", "-box", "Lid"}).output, "0\n");
}

TEST(MoxctlCompletion, RepeatsNothingBeforeAColon) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    EXPECT_EQ(offered(sensors.owner(), "moxctl show Sensor:"), List{"C"});
}

}  // namespace
}  // namespace mox::test
