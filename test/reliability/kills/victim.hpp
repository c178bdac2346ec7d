// A victim's life, from its fork to the kill.
#ifndef MOX_KILLS_VICTIM_HPP
#define MOX_KILLS_VICTIM_HPP

#include <cstdint>
#include <string>

#include "operations.hpp"

namespace mox::kills {

// Values of SharedPage::is_traced.
enum Tracing : std::int32_t { not_traced = 0, tracer_comes = 1, tracer_is_there = 2 };

// Does an operation: once when it is traced, with SIGUSR1 at the start, before it and behind it;
// else again and again, if it repeats, from the moment when SharedPage::is_victim_ready is set.
[[noreturn]] void be_victim(const std::string& run_dir, const Operation& operation,
                            std::uint32_t seed);

}  // namespace mox::kills

#endif
