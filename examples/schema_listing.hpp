// The schema as this process finds it in the pool, on the terminal.
#ifndef MOX_EXAMPLES_SCHEMA_LISTING_HPP
#define MOX_EXAMPLES_SCHEMA_LISTING_HPP

#include <classtree.h>
#include <moxhost/moxhost.h>

#include <cstddef>
#include <string>

namespace mox::examples {

// Prints one line for each class, and one class whole: its properties, and its methods with
// parameters and constants. Throws WatchError when the schema is not in itself consistent.
void print_schema(const std::string& whole_class);

// Holds the schema against every object that the owner lists: an object has exactly the properties
// of its class, with their types. Gives the number of objects. Throws WatchError.
std::size_t check_objects(MoxHostModule* module);

// The types of a method's parameters, such as "(us)". Throws WatchError.
std::string parameters_of(const char* class_name, const char* method, PARA_TYPE direction);

// The value of a method's constant of type "u". Throws WatchError.
unsigned constant_of(const char* class_name, const char* method, const char* constant);

}  // namespace mox::examples

#endif
