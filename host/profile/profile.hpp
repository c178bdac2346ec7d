// What a profile says, as plain values: the classes with their properties and the objects with all
// their values.
//
// A Profile that load_profile() gives is whole and consistent: every name that it mentions exists,
// every value fits its type, and nothing in it can make the building of the model fail but a pool
// that is too small.
#ifndef MOXHOST_PROFILE_PROFILE_HPP
#define MOXHOST_PROFILE_PROFILE_HPP

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace mox::host {

inline constexpr std::size_t max_profile_bytes = 16U << 20U;
inline constexpr std::size_t max_name_bytes = 31;
inline constexpr std::size_t max_properties = 1024;  // of one class, inherited ones included
inline constexpr std::uint32_t default_refresh_ms = 1000;

enum class PropertyKind { value, reference };

// How long a property's saved values are meant to live; the numbers are the persistence library's.
enum class PersistMode { none = -1, power_off = 0, reset = 1, permanent = 2 };

struct PropertyDef {
    std::string name;
    std::string type;  // GVariant type string; "s" for a reference
    PropertyKind kind = PropertyKind::value;
};

struct ClassDef {
    std::string name;
    std::string parent;                       // "" for a root class
    std::string module;                       // "" when the owner itself has the class
    std::vector<PropertyDef> properties;      // its own
    std::vector<PropertyDef> all_properties;  // inherited ones first, the root class's before all
};

struct PropertyValue {
    std::string name;
    std::string type;
    PropertyKind kind = PropertyKind::value;
    std::string bytes;     // the value in serialized form, host byte order
    std::string accessor;  // "" for none
    std::string mode;
    PersistMode persist = PersistMode::none;
};

enum class ObjectKind { logical, physical };

struct ObjectDef {
    std::string name;
    std::string class_name;
    ObjectKind kind = ObjectKind::logical;
    std::uint32_t position = 1;
    std::string mutex_object;               // "" for none
    std::vector<PropertyValue> properties;  // every property of its class, in class order
};

struct Profile {
    std::uint32_t refresh_ms = default_refresh_ms;
    std::vector<ClassDef> classes;   // in the file's order
    std::vector<ObjectDef> objects;  // in the file's order
};

// Reads and checks a profile; touches nothing else.
// Returns the profile, or one line "FILE: PLACE: CAUSE" (without a line end) for the first fault
// that was found.
std::variant<Profile, std::string> load_profile(const std::string& path);

}  // namespace mox::host

#endif
