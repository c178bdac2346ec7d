// Runs every transcript of this folder against a real owner, each in a test of its own. The format
// stands in transcript.hpp.
#include "transcript.hpp"

#include <glib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "../process/host_owner.hpp"

namespace mox::test {
namespace {

struct FreeStrings {
    void operator()(gchar** strings) const { g_strfreev(strings); }
};

// Plays one transcript.
class Stage {
public:
    Stage(const std::filesystem::path& folder, const Transcript& transcript)
        : names_{{"dir", owner_.dir().path("").parent_path().string()}, {"run", owner_.run_dir()}} {
        for (const auto& [name, text] : transcript.files) {
            write(name, text);
        }
        if (!transcript.profile.empty()) {
            start_owner(folder / transcript.profile, transcript.owner_arguments);
        }
    }

    void play(const Step& step) {
        SCOPED_TRACE("line " + std::to_string(step.line) + ": " + step.command);
        switch (step.kind) {
            case StepKind::run:
                compare(step.expected, *run(step.command));
                return;
            case StepKind::start:
                ASSERT_EQ(background_, nullptr) << "one command at a time runs beside";
                background_ = run(step.command);
                return;
            case StepKind::repeat:
                repeat(step);
                return;
            case StepKind::wait:
                ASSERT_NE(background_, nullptr) << "nothing runs beside";
                compare(step.expected, *background_);
                background_.reset();
                return;
            case StepKind::act:
                act(step.command);
                return;
        }
    }

private:
    void start_owner(const std::filesystem::path& profile,
                     const std::vector<std::string>& arguments) {
        ASSERT_TRUE(std::filesystem::exists(profile)) << profile;
        std::vector<std::string> command = owner_.command(with_names(content_of(profile), names_));
        for (const std::string& argument : arguments) {
            command.push_back(with_names(argument, names_));
        }
        ASSERT_TRUE(owner_.start_command(command)) << owner_.process().errors();
    }

    void write(const std::string& name, const std::string& text) {
        owner_.dir().write(name, with_names(text, names_) + "\n");
    }

    // The command for the system: with a clean environment but for what the test was given.
    std::vector<std::string> system_command(const std::string& command) {
        gchar** split = nullptr;
        GError* error = nullptr;
        if (g_shell_parse_argv(with_names(command, names_).c_str(), nullptr, &split, &error) ==
            FALSE) {
            const std::string cause = error->message;
            g_error_free(error);
            throw std::runtime_error(command + ": " + cause);
        }
        const std::unique_ptr<gchar*, FreeStrings> owned(split);
        std::vector<std::string> words{"/usr/bin/env", "-u",     "NO_COLOR",
                                       "LC_ALL=C",     "TZ=UTC", "MOX_RUN_DIR=" + owner_.run_dir()};
        bool has_program = false;
        for (gchar** at = split; *at != nullptr; ++at) {
            std::string word = *at;
            if (!has_program && word.find('=') == std::string::npos) {
                has_program = true;
                word = program_of(word);
            }
            words.push_back(word);
        }
        return words;
    }

    static std::string program_of(const std::string& name) {
        if (name == "moxctl") return MOXCTL_PATH;
        if (name == "moxd") return MOXD_PATH;
        throw std::runtime_error("a transcript runs moxctl and moxd only, not " + name);
    }

    std::unique_ptr<ChildProcess> run(const std::string& command) {
        const std::string number = std::to_string(++commands_);
        return std::make_unique<ChildProcess>(system_command(command),
                                              owner_.dir().path("stdout" + number),
                                              owner_.dir().path("stderr" + number));
    }

    void repeat(const Step& step) {
        std::unique_ptr<ChildProcess> last;
        const bool is_as_expected = eventually([this, &step, &last] {
            last = run(step.command);
            const int status = last->wait();
            return status == step.expected.exit_code &&
                   are_lines(expected_lines(step.expected.output), lines_of(last->output())) &&
                   are_lines(expected_lines(step.expected.errors), lines_of(last->errors()));
        });
        EXPECT_TRUE(is_as_expected) << "it printed at last:\n" << last->output() << last->errors();
    }

    std::vector<std::string> expected_lines(const std::vector<std::string>& lines) const {
        std::vector<std::string> result;
        for (const std::string& line : lines) {
            result.push_back(with_names(line, names_));
        }
        return result;
    }

    void compare_lines(const std::vector<std::string>& expected, const std::string& text,
                       const char* where) const {
        const std::vector<std::string> wanted = expected_lines(expected);
        const std::vector<std::string> lines = lines_of(text);
        std::size_t at = 0;
        while (at < std::min(wanted.size(), lines.size()) && is_line(wanted[at], lines[at])) {
            ++at;
        }
        EXPECT_TRUE(are_lines(wanted, lines))
            << "line " << at + 1 << " of the " << where << " is not the expected one:\n"
            << "  expected: " << (at < wanted.size() ? wanted[at] : "(no line)") << "\n"
            << "  printed:  " << (at < lines.size() ? lines[at] : "(no line)") << "\n"
            << "all of it:\n"
            << text;
    }

    void compare(const Expectation& expected, ChildProcess& process) const {
        const int status = process.wait();
        compare_lines(expected.output, process.output(), "output");
        compare_lines(expected.errors, process.errors(), "error output");
        EXPECT_EQ(status, expected.exit_code) << "exit code";
    }

    void act(const std::string& command) {
        if (command == "owner stop") {
            EXPECT_EQ(owner_.stop(), 0);
        } else if (command == "owner pause") {
            owner_.process().signal(SIGSTOP);
        } else if (command == "owner continue") {
            owner_.process().signal(SIGCONT);
        } else if (command.compare(0, 5, "file ") == 0) {
            const std::size_t space = command.find(' ', 5);
            ASSERT_NE(space, std::string::npos);
            write(command.substr(5, space - 5), command.substr(space + 1));
        } else {
            FAIL() << "nothing can be done by this";
        }
    }

    HostOwner owner_;
    Names names_;
    std::unique_ptr<ChildProcess> background_;
    int commands_ = 0;
};

class MoxctlTranscript : public ::testing::TestWithParam<std::string> {};

TEST_P(MoxctlTranscript, IsWhatTheCommandsDo) {
    const std::filesystem::path folder = TRANSCRIPT_DIR;
    const Transcript transcript = read_transcript(folder / (GetParam() + ".transcript"));
    Stage stage(folder, transcript);
    for (const Step& step : transcript.steps) {
        if (!HasFatalFailure()) {
            stage.play(step);
        }
    }
}

std::vector<std::string> transcripts() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(TRANSCRIPT_DIR)) {
        if (entry.path().extension() == ".transcript") {
            names.push_back(entry.path().stem().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

INSTANTIATE_TEST_SUITE_P(Of, MoxctlTranscript, ::testing::ValuesIn(transcripts()),
                         [](const auto& file) { return file.param; });

TEST(TranscriptLine, IsComparedCharacterByCharacter) {
    EXPECT_TRUE(is_line("a.b (c) [d] {e}", "a.b (c) [d] {e}"));
    EXPECT_FALSE(is_line("a.b", "axb"));
    EXPECT_FALSE(is_line("ab", "ab "));
    EXPECT_FALSE(is_line("", "x"));
}

TEST(TranscriptLine, TakesDigitsOnlyForANumber) {
    EXPECT_TRUE(is_line("pid {number}.", "pid 120."));
    EXPECT_FALSE(is_line("pid {number}.", "pid ."));
    EXPECT_FALSE(is_line("pid {number}.", "pid -1."));
    EXPECT_FALSE(is_line("{pid}", "012"));
}

TEST(TranscriptLine, TakesATimeOfTheDayForATime) {
    EXPECT_TRUE(is_line("{time} x", "23:59:01.007 x"));
    EXPECT_FALSE(is_line("{time} x", "23:59:01 x"));
    EXPECT_FALSE(is_line("{time} x", "23:79:01.007 x"));
}

TEST(TranscriptLine, CountsAMissingEndOfLine) {
    EXPECT_EQ(lines_of("a\n\nb\n"), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(lines_of("a"), (std::vector<std::string>{"a", "(no end of line)"}));
}

TEST(TranscriptFile, WithALineThatBelongsNowhereIsRefused) {
    const TempDir dir;
    EXPECT_THROW(read_transcript(dir.write("a", "hello\n$ moxctl list\n")), std::runtime_error);
    EXPECT_THROW(read_transcript(dir.write("b", "$ moxctl list\n[exit 1]\nmore\n")),
                 std::runtime_error);
    EXPECT_THROW(read_transcript(dir.write("c", "$ moxctl list\n! error\noutput\n")),
                 std::runtime_error);
    EXPECT_THROW(read_transcript(dir.write("d", "# nothing happens\n")), std::runtime_error);
}

}  // namespace
}  // namespace mox::test
