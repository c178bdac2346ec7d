// A transcript: commands, what they print, and their exit codes, as a text file.
//
//   @profile sensors.json          what stands before the first step: the owner's profile (beside
//   the
//   @owner --name boss             transcript); more arguments for moxd; files of the test's own
//   @file chip 5                   directory; no-owner instead of profile: none is started
//   # a comment
//   $ moxctl get Tank Level        runs a command and waits for its end
//   5                              what it prints on the standard output, exactly
//   ! moxctl: what went wrong      behind that, with this mark, what it prints on the error output
//   [exit 1]                       behind that, its exit code when that is not 0
//   & moxctl watch --count 1       starts a command; one at a time, ended by wait
//   ? moxctl modules               runs a command until it prints this and ends so, 20 seconds long
//   $ wait                         waits for the end of what & started; that command's output
//   follows % file chip 7                  writes a file; % owner stop, pause or continue acts on
//   the owner
//
// A command is split as a shell would do it, without anything else of a shell; it is moxctl or
// moxd, with NAME=VALUE before it where it needs that in its environment. Every line counts, blank
// ones too. {dir} stands for the test's own directory and {run} for the owner's run directory, in
// commands, output, files and profiles. In output, these stand for what differs each time, and for
// nothing else:
//
//   {number} digits    {pid} digits, the first not 0    {time} as 12:34:56.789
//   {moment} as 2026-01-31 12:34:56    {spaces} one space or more    {decimal} as 12.5
#ifndef MOX_TEST_TRANSCRIPT_TRANSCRIPT_HPP
#define MOX_TEST_TRANSCRIPT_TRANSCRIPT_HPP

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace mox::test {

// What a command is to print, and how it is to end.
struct Expectation {
    std::vector<std::string> output;
    std::vector<std::string> errors;
    int exit_code = 0;
};

enum class StepKind { run, start, repeat, wait, act };

struct Step {
    StepKind kind = StepKind::run;
    std::size_t line = 0;  // of the file, from 1
    std::string command;
    Expectation expected;
};

struct Transcript {
    std::string profile;  // file name; "" for no owner
    std::vector<std::string> owner_arguments;
    std::vector<std::pair<std::string, std::string>> files;  // name, text
    std::vector<Step> steps;
};

// Reads a transcript. Throws std::runtime_error that names the line which is none of the above.
Transcript read_transcript(const std::filesystem::path& path);

// What {names} stand for, by name without braces.
using Names = std::map<std::string, std::string>;

// The text with the names that are known replaced.
std::string with_names(std::string text, const Names& names);

// Whether a line is the expected one; expected may hold patterns.
bool is_line(const std::string& expected, const std::string& line);

bool are_lines(const std::vector<std::string>& expected, const std::vector<std::string>& lines);

// A text's lines. A text that does not end its last line gets the line "(no end of line)" more.
std::vector<std::string> lines_of(const std::string& text);

}  // namespace mox::test

#endif
