// What a watch of the values that the module "writer" writes has told, line by line.
#ifndef MOX_TEST_PROCESS_WATCH_TOLD_HPP
#define MOX_TEST_PROCESS_WATCH_TOLD_HPP

#include <regex>
#include <string>

#include "watch_stage.hpp"

namespace mox::test {

// What the lines of a watch told.
struct Told {
    int shown = 0;
    int lost_in_queue = 0;
    int lost_at_output = 0;
    int last = 0;  // number of the last value
    std::string fault;

    int lost() const { return lost_in_queue + lost_at_output; }

    void take(const std::string& line) {
        static const std::regex change("[0-9:.]{12}  Meter1  Text      '([0-9]{8})x*'");
        static const std::regex loss(
            "([0-9]+) events? w(?:as|ere) lost \\((the queue was full|the output did not keep "
            "up)\\)");
        std::smatch match;
        if (std::regex_match(line, match, change)) {
            const int number = std::stoi(match[1]);
            if (number <= last) fault = "not in order: " + line;
            last = number;
            ++shown;
        } else if (std::regex_match(line, match, loss)) {
            (match[2] == "the queue was full" ? lost_in_queue : lost_at_output) +=
                std::stoi(match[1]);
        } else {
            fault = "no such line is expected: " + line;
        }
    }
};

// Reads until a value is shown that was written last, so that all before it are shown or lost.
inline void read_to_the_end(WatchProcess& watch, WriterProcess& writer, Told& told, int& written) {
    for (int tries = 0; tries < 50 && told.last != written; ++tries) {
        for (auto line = watch.line(500); line; line = watch.line(500)) {
            told.take(*line);
            if (told.last == written) return;
        }
        writer.begin(1);
        written = writer.finish();
        ASSERT_GT(written, 0) << "the queue was not emptied";
    }
}

}  // namespace mox::test

#endif
