// What a check of the machine found.
#ifndef MOX_TOOL_DOCTOR_FINDING_HPP
#define MOX_TOOL_DOCTOR_FINDING_HPP

#include <string>

namespace mox::tool {

enum class Verdict {
    ok,
    warn,  // it runs, with less than it could have
    fail   // it does not run, or not all of it
};

struct Finding {
    std::string check;  // one word
    Verdict verdict;
    std::string found;
    std::string cure = {};     // in words, for what is not ok; else ""
    std::string command = {};  // for a shell; "" where none helps
};

}  // namespace mox::tool

#endif
