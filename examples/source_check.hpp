// Holds the values in the pool against the files they come from.
//
// A file is read before the owner refreshes the pool and again afterwards, so the owner's own
// reading lies between the two. Equal readings leave the pool one value to hold; of a counter that
// moved, any value between them. Everything else says nothing, and the value is looked at again.
#ifndef MOX_EXAMPLES_SOURCE_CHECK_HPP
#define MOX_EXAMPLES_SOURCE_CHECK_HPP

#include <moxhost/moxhost.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "value_source.hpp"
#include "watched_objects.hpp"

namespace mox::examples {

struct SourceCheckResult {
    std::size_t agreed = 0;
    std::vector<std::string> moving;     // never still enough to be compared
    std::vector<std::string> absent;     // the file has no such value now
    std::vector<std::string> disagreed;  // with the values that differ
};

class SourceCheck {
public:
    // Takes all properties of the model that have an accessor. Throws WatchError.
    explicit SourceCheck(const WatchedModel& model);

    // Has the owner refresh the pool once and judges the values that are still open. Throws
    // WatchError.
    void run_round(MoxHostModule* module);

    bool is_decided() const { return open_.empty(); }

    // What came out, with the values that are still open put where they belong: a value disagreed
    // when it did so more often than it could not be compared; chance makes few of a busy machine's
    // values return to where they were just around the owner's reading.
    SourceCheckResult result() const;

private:
    struct Item {
        OBJ_HANDLE object = 0;
        std::string object_name;
        std::string property;
        ValueSource source;
        std::size_t differed = 0;
        std::size_t moved = 0;
        std::string difference;  // the last one, in words
    };
    enum class Verdict { agrees, differs, moves, absent };
    using Texts = std::map<std::string, std::optional<std::string>>;  // path -> content

    Texts read_files() const;
    static Verdict judge(const Item& item, double in_pool, std::optional<double> before,
                         std::optional<double> after);
    bool settle(Item& item, double in_pool, const Texts& before, const Texts& after);

    std::vector<Item> open_;
    std::size_t agreed_ = 0;
};

}  // namespace mox::examples

#endif
