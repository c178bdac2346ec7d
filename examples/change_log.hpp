// What happened while we watched: each property event that arrived, printed as a line, counted,
// timed, and compared with what the pool holds.
#ifndef MOX_EXAMPLES_CHANGE_LOG_HPP
#define MOX_EXAMPLES_CHANGE_LOG_HPP

#include <moxhost/moxhost.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "glib_owners.hpp"
#include "watched_objects.hpp"

namespace mox::examples {

class ChangeLog {
public:
    // Takes the model's values as the ones before the first change.
    explicit ChangeLog(const WatchedModel& model);

    // Prints the columns' names.
    void print_heading() const;

    // Takes in one message of the queue; other messages than property events are ignored.
    // arrival_ns: CLOCK_MONOTONIC. Throws WatchError for an event that cannot be understood.
    void receive(MoxHostModule* module, const MOX_MSG_S& message, gint64 arrival_ns);

    // Prints no more lines; events are counted on.
    void stop_printing() { is_printing_ = false; }

    std::size_t received() const { return received_; }
    std::size_t printed() const { return printed_; }

    // Printed events at whose arrival the pool held something newer than the event's value.
    std::size_t overtaken() const { return overtaken_; }

    // From the change in the owner to the arrival here, of the printed events for which it is
    // known.
    const std::vector<double>& delays_us() const { return delays_us_; }

    // The properties ("object.property") whose last event brought another value than the pool holds
    // now. Empty when all that was sent has arrived and nothing is just being changed.
    std::vector<std::string> differing_from_pool() const;

private:
    struct Known {
        OBJ_HANDLE object = 0;
        std::string object_name;
        std::string property;
        VariantPtr value;
        bool has_event = false;
    };

    void print(MoxHostModule* module, Known& known, GVariant* value, gint64 arrival_ns);

    std::map<std::string, Known> known_;  // "object.property"
    int object_width_ = 0;
    int property_width_ = 0;
    gint64 wall_offset_us_ = 0;  // wall clock minus CLOCK_MONOTONIC
    bool is_printing_ = true;
    std::size_t received_ = 0;
    std::size_t printed_ = 0;
    std::size_t overtaken_ = 0;
    std::vector<double> delays_us_;
};

}  // namespace mox::examples

#endif
