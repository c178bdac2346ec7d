// Where a value of the pool comes from, as the accessor and chip objects in the pool tell it, and a
// reader of its own for such a place: it shares nothing with the driver library, so that the two
// can be held against each other.
#ifndef MOX_EXAMPLES_VALUE_SOURCE_HPP
#define MOX_EXAMPLES_VALUE_SOURCE_HPP

#include <optional>
#include <string>
#include <vector>

namespace mox::examples {

struct ValueSource {
    std::string path;
    std::vector<std::string> line_name;  // the words that the line begins with
    unsigned line_number = 0;            // from 1; 0: the file is one stream of fields
    unsigned field = 1;                  // from 1; behind the line's name
    double scale = 0;                    // 0: none
    bool is_text = true;                 // decimal text; nothing else is read here
};

// Finds the source behind an accessor object. Throws WatchError when the pool does not tell it.
ValueSource find_source(const std::string& accessor);

// Finds the source's number in the text of its file; nothing when it is not there.
std::optional<double> number_at(const ValueSource& source, const std::string& text);

// True for the kernel's counters, which never fall.
bool only_grows(const ValueSource& source);

}  // namespace mox::examples

#endif
