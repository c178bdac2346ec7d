// What watch is asked for.
#ifndef MOX_TOOL_WATCH_OPTIONS_HPP
#define MOX_TOOL_WATCH_OPTIONS_HPP

#include <glib.h>

#include <optional>
#include <string>

namespace mox::tool {

struct WatchOptions {
    // "" for any. All that are given hold together.
    std::string class_name;
    std::string object;
    std::string property;
    std::optional<double> min_change;  // above 0
    std::optional<guint64> count;      // 1 or more
    std::optional<double> timeout_s;   // above 0
};

// What the parser leaves: lists of texts.
struct GivenToWatch {
    gchar** class_texts = nullptr;
    gchar** object_texts = nullptr;
    gchar** property_texts = nullptr;
    gchar** change_texts = nullptr;
    gchar** count_texts = nullptr;
    gchar** timeout_texts = nullptr;
};
inline GivenToWatch given_to_watch;

inline constexpr GOptionEntry watch_option_entries[] = {
    {"class", 'c', 0, G_OPTION_ARG_FILENAME_ARRAY, &given_to_watch.class_texts,
     "only objects of this class and of those that derive from it", "CLASS"},
    {"object", 'o', 0, G_OPTION_ARG_FILENAME_ARRAY, &given_to_watch.object_texts,
     "only this object", "OBJECT"},
    {"property", 'p', 0, G_OPTION_ARG_FILENAME_ARRAY, &given_to_watch.property_texts,
     "only this property; no new or removed objects", "PROPERTY"},
    {"min-change", 'm', 0, G_OPTION_ARG_FILENAME_ARRAY, &given_to_watch.change_texts,
     "a number only when it differs by X or more from the one last shown", "X"},
    {"count", 'n', 0, G_OPTION_ARG_FILENAME_ARRAY, &given_to_watch.count_texts,
     "end after N events", "N"},
    {"timeout", 't', 0, G_OPTION_ARG_FILENAME_ARRAY, &given_to_watch.timeout_texts,
     "end after so many seconds", "SECONDS"},
    {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};

// Reads what the parser has left. Throws WrongUsage.
WatchOptions read_watch_options();

}  // namespace mox::tool

#endif
