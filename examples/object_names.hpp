// Object names for things that have names of their own.
#ifndef MOX_EXAMPLES_OBJECT_NAMES_HPP
#define MOX_EXAMPLES_OBJECT_NAMES_HPP

#include <set>
#include <string>

namespace mox::examples {

// Hands out names that an object may have: 1 to 31 characters, no ".", each only once.
class ObjectNames {
public:
    // Gives the wished name, with what does not fit replaced and a number behind it when it is
    // taken.
    std::string take(const std::string& wish);

private:
    std::set<std::string> taken_;
};

}  // namespace mox::examples

#endif
