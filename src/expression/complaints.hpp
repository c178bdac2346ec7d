// What an evaluation has to say. It is kept while the formula library's lock is held and logged
// when that is free again: a log line may take as long as whoever reads the log.
#ifndef MOX_EXPRESSION_COMPLAINTS_HPP
#define MOX_EXPRESSION_COMPLAINTS_HPP

#include <string>
#include <vector>

namespace mox {

using Complaints = std::vector<std::string>;

// Adds a line to what the running evaluation of this thread has to say.
void complain(std::string line);

// Takes what the evaluation of this thread had to say, and leaves nothing.
Complaints take_complaints();

}  // namespace mox

#endif
