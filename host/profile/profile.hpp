// What a profile says, as plain values: the classes with their properties and methods, the objects
// with all their values, and the boards: named parts that are plugged and unplugged while the owner
// runs.
//
// A Profile that load_profile() gives is whole and consistent: every name that it mentions exists,
// every value fits its type, and nothing in it can make the building of the model fail but a pool
// that is too small.
#ifndef MOXHOST_PROFILE_PROFILE_HPP
#define MOXHOST_PROFILE_PROFILE_HPP

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace mox::host {

inline constexpr std::size_t max_profile_bytes = 16U << 20U;
inline constexpr std::size_t max_name_bytes = 31;
inline constexpr std::size_t max_properties = 1024;  // of one class, inherited ones included
inline constexpr std::uint32_t max_id = 65535;       // of classes, properties and methods
inline constexpr std::uint32_t lowest_position = 1;  // of objects and boards
inline constexpr std::uint32_t highest_position = 4294967294U;
inline constexpr std::uint32_t default_refresh_ms = 1000;

enum class PropertyKind { value, reference };

// How long a property's saved values are meant to live; the numbers are the persistence library's.
enum class PersistMode { none = -1, power_off = 0, reset = 1, permanent = 2 };

struct PropertyDef {
    std::string name;
    std::string type;  // GVariant type string; "s" for a reference
    PropertyKind kind = PropertyKind::value;
    std::uint16_t id = 0;  // unique in its class, inherited ones included
    bool exported = true;
    bool key = false;
};

// A constant that belongs to a method.
struct MethodConstant {
    std::string name;
    std::string type;   // GVariant type string
    std::string bytes;  // the value in serialized form, host byte order
};

struct MethodDef {
    std::string name;
    std::uint16_t id = 0;            // unique in its class
    std::vector<std::string> input;  // type strings, in the order of the parameters
    std::vector<std::string> output;
    std::vector<MethodConstant> constants;
};

struct ClassDef {
    std::string name;
    std::uint16_t id = 0;                     // unique in the profile
    std::string parent;                       // "" for a root class
    std::string module;                       // "" when the owner itself has the class
    std::vector<PropertyDef> properties;      // its own
    std::vector<PropertyDef> all_properties;  // inherited ones first, the root class's before all
    std::vector<MethodDef> methods;           // its own
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
    std::uint32_t position = 1;             // its board's, when it is of one
    std::string board;                      // "" for what is always there
    std::string mutex_object;               // "" for none
    std::vector<PropertyValue> properties;  // every property of its class, in class order
};

// A part of the model that comes and goes as a whole. What it is made of are the objects that name
// it; those lead to objects of their own board and to such that are always there, nothing else
// leads to them.
struct BoardDef {
    std::string name;
    std::uint32_t position = 0;  // no other board's, and no object's outside the board
    bool plugged = true;         // whether it is there from the start
};

// What the modules of a name may do beside reading and writing the objects of their own classes. A
// class stands for those that derive from it, too; "*" stands for every class.
struct ModuleRights {
    std::string name;  // a module's, or how the names begin, with "*" behind it
    std::vector<std::string> read;
    std::vector<std::string> write;          // gives the right to read, too
    std::vector<std::string> override_them;  // likewise
    bool manage = false;                     // plug and unplug boards, restore the defaults
};

struct Profile {
    std::string group;  // of the users that may join besides the owner's own; "" for none
    // Without a list every module may join and read, write its own classes, override and manage.
    std::optional<std::vector<ModuleRights>> modules;
    std::uint32_t refresh_ms = default_refresh_ms;
    std::vector<ClassDef> classes;   // in the file's order
    std::vector<BoardDef> boards;    // in the file's order
    std::vector<ObjectDef> objects;  // in the file's order, those of boards behind all others
};

// A profile as far as it could be read, and one line "FILE: PLACE: CAUSE" (without a line end) for
// each fault; whole and consistent when there is none.
struct CheckedProfile {
    std::string file;  // its name as the lines have it
    Profile profile;
    std::vector<std::string> faults;
};

// Reads and checks a profile to its end; touches nothing else. Only a file that cannot be read, or
// whose text is no JSON, has one fault and no more.
CheckedProfile check_profile(const std::string& path);

// The same for those who need no more than the first fault's line.
std::variant<Profile, std::string> load_profile(const std::string& path);

}  // namespace mox::host

#endif
