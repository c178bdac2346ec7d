#include "transcript.hpp"

#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace mox::test {
namespace {

bool begins(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

[[noreturn]] void fault(const std::filesystem::path& path, std::size_t line,
                        const std::string& what) {
    throw std::runtime_error(path.string() + ":" + std::to_string(line) + ": " + what);
}

// The first word of a text, and the rest behind one space.
std::pair<std::string, std::string> split_word(const std::string& text) {
    const std::size_t space = text.find(' ');
    return space == std::string::npos ? std::pair{text, std::string()}
                                      : std::pair{text.substr(0, space), text.substr(space + 1)};
}

// Takes a line of the head; false when it is none.
bool take_setting(Transcript& transcript, const std::string& line) {
    const auto [name, text] = split_word(line);
    if (name == "@profile") {
        transcript.profile = text;
    } else if (name == "@owner") {
        std::istringstream words(text);
        for (std::string word; words >> word;) transcript.owner_arguments.push_back(word);
    } else if (name == "@file") {
        transcript.files.push_back(split_word(text));
    } else {
        return name == "@no-owner";
    }
    return true;
}

// Takes a line that begins a step; false when it is none.
bool take_step(Transcript& transcript, const std::string& line, std::size_t number) {
    static const std::map<char, StepKind> kinds{{'$', StepKind::run},
                                                {'&', StepKind::start},
                                                {'?', StepKind::repeat},
                                                {'%', StepKind::act}};
    const auto kind = kinds.find(line.empty() ? ' ' : line[0]);
    if (kind == kinds.end() || line.size() < 3 || line[1] != ' ') {
        return false;
    }
    Step step;
    step.line = number;
    step.command = line.substr(2);
    step.kind = step.command == "wait" ? StepKind::wait : kind->second;
    transcript.steps.push_back(step);
    return true;
}

// Takes a line of what a step expects.
void take_expected(const std::filesystem::path& path, Step& step, const std::string& line,
                   std::size_t number, bool& has_ended) {
    if (has_ended || step.kind == StepKind::act || step.kind == StepKind::start) {
        fault(path, number, "no output is expected here");
    }
    static const std::regex exit_line(R"(\[exit ([0-9]+)\])");
    std::smatch match;
    if (std::regex_match(line, match, exit_line)) {
        step.expected.exit_code = std::stoi(match[1]);
        has_ended = true;
    } else if (begins(line, "! ")) {
        step.expected.errors.push_back(line.substr(2));
    } else if (!step.expected.errors.empty()) {
        fault(path, number, "output stands behind the error output");
    } else {
        step.expected.output.push_back(line);
    }
}

}  // namespace

Transcript read_transcript(const std::filesystem::path& path) {
    std::ifstream file(path);
    if (!file) {
        fault(path, 0, "cannot be read");
    }
    Transcript transcript;
    bool has_ended = false;
    std::string line;
    for (std::size_t number = 1; std::getline(file, line); ++number) {
        if (begins(line, "# ") || line == "#") {
            continue;
        }
        if (take_step(transcript, line, number)) {
            has_ended = false;
        } else if (!transcript.steps.empty()) {
            take_expected(path, transcript.steps.back(), line, number, has_ended);
        } else if (!take_setting(transcript, line)) {
            fault(path, number, "is no setting, comment or step");
        }
    }
    if (transcript.steps.empty()) {
        fault(path, 0, "has no step");
    }
    return transcript;
}

std::string with_names(std::string text, const Names& names) {
    for (const auto& [name, value] : names) {
        const std::string from = "{" + name + "}";
        for (std::size_t at = text.find(from); at != std::string::npos;
             at = text.find(from, at + value.size())) {
            text.replace(at, from.size(), value);
        }
    }
    return text;
}

bool is_line(const std::string& expected, const std::string& line) {
    static const std::map<std::string, std::string> patterns{
        {"{number}", "[0-9]+"},
        {"{pid}", "[1-9][0-9]*"},
        {"{time}", "[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\\.[0-9]{3}"},
        {"{moment}", "[0-9]{4}-[01][0-9]-[0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-5][0-9]"},
        {"{spaces}", " +"},
        {"{decimal}", "[0-9]+\\.[0-9]+"}};
    std::string pattern;
    for (std::size_t at = 0; at < expected.size();) {
        const std::size_t end = expected[at] == '{' ? expected.find('}', at) : std::string::npos;
        const auto found = end == std::string::npos
                               ? patterns.end()
                               : patterns.find(expected.substr(at, end - at + 1));
        if (found != patterns.end()) {
            pattern += found->second;
            at = end + 1;
            continue;
        }
        if (std::string(R"(^$\.*+?()[]{}|)").find(expected[at]) != std::string::npos) {
            pattern += '\\';
        }
        pattern += expected[at++];
    }
    return std::regex_match(line, std::regex(pattern));
}

bool are_lines(const std::vector<std::string>& expected, const std::vector<std::string>& lines) {
    if (expected.size() != lines.size()) {
        return false;
    }
    for (std::size_t at = 0; at < lines.size(); ++at) {
        if (!is_line(expected[at], lines[at])) {
            return false;
        }
    }
    return true;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    if (!text.empty() && text.back() != '\n') {
        lines.emplace_back("(no end of line)");
    }
    return lines;
}

}  // namespace mox::test
