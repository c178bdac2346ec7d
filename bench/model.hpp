// The model that the benchmarks run on: a pool that this process owns, and objects in it.
#ifndef MOX_BENCH_MODEL_HPP
#define MOX_BENCH_MODEL_HPP

#include <lom.h>

#include <string>

namespace mox::bench {

inline constexpr const char* kClassName = "Sensor";
inline constexpr const char* kProperty = "Value";
inline constexpr const char* kAnnouncingClass = "Alarm";

// Creates the pool, the hooks and the class, once. Ends the process with a message when that is not
// possible.
void make_model();

// Attaches the pool that another process has made.
void attach_model();

// Makes sure that objects numbered 0 to count - 1 of a family exist: "<family>_<number>" with
// property_count "u" properties, the first named kProperty.
void make_objects(const std::string& family, int count, guint32 property_count);

// Makes 1000 objects of a family, with six properties each, and gives number 500, which may be
// written.
OBJ_HANDLE make_writable_object(const std::string& family);

std::string object_name(const std::string& family, int number);

// Builds one object of kAnnouncingClass with two "u" properties, kProperty and "Value1", which may
// be written.
OBJ_HANDLE make_announcing_object(const std::string& name);

// Builds one object with a "u" and a 64-byte "s" property.
OBJ_HANDLE make_text_object(const std::string& name);

// A file of 4 bytes that stands for a chip; made once, removed when the program ends. Ends the
// process with a message when it cannot be made.
const std::string& chip_file();

// Builds a chip over a file of 4 bytes, an accessor on it and an object whose kProperty reads
// through it.
OBJ_HANDLE make_hardware_object(const std::string& name, const std::string& file);

// Builds an object whose kProperty, a "d", is what the formula gives for the first three properties
// of the object inputs.
OBJ_HANDLE make_formula_object(const std::string& name, const std::string& formula,
                               const std::string& inputs);

// Bytes in use in the pool, as its report says.
long pool_used();

}  // namespace mox::bench

#endif
