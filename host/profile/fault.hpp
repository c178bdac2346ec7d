// Faults of a profile: where each is and what is wrong. A check that finds one notes it and goes on
// with what can still be judged.
#ifndef MOXHOST_PROFILE_FAULT_HPP
#define MOXHOST_PROFILE_FAULT_HPP

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace mox::host {

// Thrown by the steps that nothing can follow: reading the file, and its text.
struct Fault {
    std::string place;
    std::string cause;
};

// All faults of a profile, in the order of the checks.
//
// A class or an object with a fault is a doubtful one: it is there for whoever names it, but
// nothing is said about what it has or leads to, because that may be right as soon as its own fault
// is.
class Faults {
public:
    void add(const std::string& place, const std::string& cause);

    std::size_t count() const { return list_.size(); }
    const std::vector<Fault>& list() const { return list_; }

    // Whether a fault was noted for exactly this place.
    bool has(const std::string& place) const { return places_.count(place) != 0; }

    // A name of "" stands for an entry without a good name: any name that is not found may be its.
    void doubt_class(const std::string& name) { classes_.insert(name); }
    void doubt_object(const std::string& name) { objects_.insert(name); }
    bool is_doubtful_class(const std::string& name) const { return classes_.count(name) != 0; }
    bool is_doubtful_object(const std::string& name) const { return objects_.count(name) != 0; }
    bool has_nameless_class() const { return is_doubtful_class({}); }
    bool has_nameless_object() const { return is_doubtful_object({}); }

private:
    std::vector<Fault> list_;
    std::set<std::string> places_;
    std::set<std::string> classes_;
    std::set<std::string> objects_;
};

// The text in double quotes, control characters shown as escapes and a long text cut: a fault stays
// one line.
std::string quoted(std::string_view text);

// `list[index]`, and `list[index] "name"` once the name is known.
std::string place_in(const std::string& list, std::size_t index);
std::string place_in(const std::string& list, std::size_t index, std::string_view name);

}  // namespace mox::host

#endif
