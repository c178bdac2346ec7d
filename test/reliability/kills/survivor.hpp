// A module that lives through the whole run: it reads and writes every object again and again,
// listens, and looks at all that it sees.
#ifndef MOX_KILLS_SURVIVOR_HPP
#define MOX_KILLS_SURVIVOR_HPP

#include <cstdint>
#include <string>

namespace mox::kills {

// number: its place in SharedPage::survivors. Never returns in the process that start_process made
// for it; ends the process with a failure as soon as something is not as promised.
[[noreturn]] void survive(const std::string& run_dir, int number, std::uint32_t seed);

}  // namespace mox::kills

#endif
