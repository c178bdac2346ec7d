// What watch prints: a line for each event, for people or as an object of JSON.
#ifndef MOX_TOOL_WATCH_LINES_HPP
#define MOX_TOOL_WATCH_LINES_HPP

#include <glib.h>

#include <string>

#include "output.hpp"
#include "watch_filter.hpp"

namespace mox::tool {

// Where messages were lost.
enum class LostAt {
    queue,  // before watch got them
    output  // because the standard output was not taken
};

// All texts end with a line's end. Times are microseconds since 1970.
class WatchLines {
public:
    // Columns are aligned for names of the given widths; longer ones push the rest aside.
    WatchLines(const Output& out, bool is_json, std::size_t object_width,
               std::size_t property_width);

    std::string heading() const;  // "" for JSON
    std::string changed(gint64 time_us, const std::string& object, const std::string& property,
                        GVariant* value) const;
    std::string added(gint64 time_us, const WatchedObject& object) const;
    std::string removed(gint64 time_us, const WatchedObject& object) const;
    std::string lost(guint64 events, LostAt where) const;

private:
    std::string row(const std::string& time, const std::string& object, const std::string& property,
                    const std::string& rest) const;
    std::string notice(const char* event, gint64 time_us, const WatchedObject& object) const;

    const Output& out_;
    bool is_json_;
    std::size_t object_width_;
    std::size_t property_width_;
};

}  // namespace mox::tool

#endif
