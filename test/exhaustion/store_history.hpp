// What was handed to the store and what it answered, and so what may be found in it.
//
//   StoreHistory history;
//   history.save("Speed", PER_MODE_RESET, Value{"uint32 5"});   each call is made and remembered
//   history.restore_defaults();
//   history.check_now();        while the store is open: the reported values, or the code of a
//   fault history.check_reopened();   the reported values; of calls that failed what they found or
//   left
//
// What holds: a value that was reported as saved is the only one to be found. After a call that
// failed, either what was there or what was to be there is found, and nothing else ever is.
#ifndef MOX_TEST_EXHAUSTION_STORE_HISTORY_HPP
#define MOX_TEST_EXHAUSTION_STORE_HISTORY_HPP

#include <map>
#include <set>
#include <string>
#include <utility>

#include "../unit/platform/persist_fixture.hpp"

namespace mox::test {

// What the calls of the store may give beside PER_OK and PER_NEW_ITEM when files fail.
bool is_documented_failure(gint32 code);

class StoreHistory {
public:
    gint32 save(const std::string& name, PER_MODE_E mode, const Value& value);
    void save_status(const std::string& name, guint32 state);
    void remove_status(const std::string& name);
    void restore_defaults();

    void check_now() const;
    void check_reopened() const;

private:
    // The texts of what may be found: the type and the bytes, or "" for nothing.
    using Choices = std::set<std::string>;

    static std::string text_of(const Saved& saved);
    static Saved saved_of(const std::string& name, PER_MODE_E mode);
    static std::string status_of(const std::string& name);
    void settle(Choices& choices, gint32 code, const std::string& wanted) const;
    void check(bool is_fault_possible) const;

    std::map<std::pair<std::string, PER_MODE_E>, Choices> values_;
    std::map<std::string, Choices> states_;
};

}  // namespace mox::test

#endif
