// How many bytes of the pool the model's parts take, as they were requested from the allocator: its
// own heads and rounding come on top.
#ifndef MOXHOST_MODEL_POOL_FOOTPRINT_HPP
#define MOXHOST_MODEL_POOL_FOOTPRINT_HPP

#include <classnode.h>
#include <lom.h>

#include <cstdint>
#include <string>

namespace mox::host {

struct ObjectFootprint {
    std::uint32_t values = 0;  // bytes of the stored values
    std::uint32_t whole = 0;   // records, names and the room for values
};

// record: of this process's table, or a copy of one; its properties are its own, not those of an
// object that it stands for.
ObjectFootprint footprint_of(const OBJECT_HEAD_S& record);

// A class's shared record and its listeners, and its part of the schema. Zero for an unknown class.
std::uint32_t class_footprint(const std::string& class_name);

}  // namespace mox::host

#endif
