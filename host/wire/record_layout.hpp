// The layouts of what two processes share in memory and on queues, as one text that both sides
// compare.
#ifndef MOXHOST_WIRE_RECORD_LAYOUT_HPP
#define MOXHOST_WIRE_RECORD_LAYOUT_HPP

#include <string>

namespace mox::host::wire {

inline constexpr unsigned word_bits = sizeof(void*) * 8;

// Sizes and offsets of this process's build: "Record=size;Record.field=offset;...".
std::string record_layout();

// The first entry in which two layouts differ, in words; "" when they are equal. Both texts may be
// anything.
std::string layout_difference(const std::string& owner, const std::string& module);

}  // namespace mox::host::wire

#endif
