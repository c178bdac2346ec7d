// Times are local. For programs they have microseconds and the distance from UTC.
#include "watch_lines.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "json_writer.hpp"
#include "value_text.hpp"

namespace mox::tool {
namespace {

constexpr std::size_t time_width = 12;

std::tm local_time(gint64 time_us) {
    const auto seconds = static_cast<std::time_t>(time_us / G_USEC_PER_SEC);
    std::tm local{};
    localtime_r(&seconds, &local);
    return local;
}

std::string clock_time(gint64 time_us) {
    const std::tm local = local_time(time_us);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min,
                  local.tm_sec, static_cast<int>(time_us % G_USEC_PER_SEC / 1000));
    return text.data();
}

std::string exact_time(gint64 time_us) {
    const std::tm local = local_time(time_us);
    std::array<char, 32> day{};
    std::strftime(day.data(), day.size(), "%Y-%m-%dT%H:%M:%S", &local);
    const long minutes = std::labs(local.tm_gmtoff) / 60;
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%s.%06d%c%02ld:%02ld", day.data(),
                  static_cast<int>(time_us % G_USEC_PER_SEC), local.tm_gmtoff < 0 ? '-' : '+',
                  minutes / 60, minutes % 60);
    return text.data();
}

std::string padded(const std::string& text, std::size_t width) {
    return text + std::string(width - std::min(width, width_of(text)), ' ');
}

}  // namespace

WatchLines::WatchLines(const Output& out, bool is_json, std::size_t object_width,
                       std::size_t property_width)
    : out_(out),
      is_json_(is_json),
      object_width_(std::max(object_width, std::size_t{6})),
      property_width_(std::max(property_width, std::size_t{8})) {}

std::string WatchLines::row(const std::string& time, const std::string& object,
                            const std::string& property, const std::string& rest) const {
    return time + "  " + padded(object, object_width_) + "  " + padded(property, property_width_) +
           "  " + rest + "\n";
}

std::string WatchLines::heading() const {
    if (is_json_) return "";
    const std::string line = row(padded("TIME", time_width), "OBJECT", "PROPERTY", "VALUE");
    return out_.styled(Style::heading, line.substr(0, line.size() - 1)) + "\n";
}

std::string WatchLines::changed(gint64 time_us, const std::string& object,
                                const std::string& property, GVariant* value) const {
    if (!is_json_) {
        return row(out_.styled(Style::faint, clock_time(time_us)), shown(object), shown(property),
                   plain_text(value));
    }
    JsonWriter json;
    json.begin_object();
    json.member("time", exact_time(time_us));
    json.member("event", "changed");
    json.member("object", object);
    json.member("property", property);
    add_value(json, value);
    json.end_object();
    return json.one_line() + "\n";
}

std::string WatchLines::notice(const char* event, gint64 time_us,
                               const WatchedObject& object) const {
    if (!is_json_) {
        return row(out_.styled(Style::faint, clock_time(time_us)), shown(object.name), "-",
                   std::string(event) + ": class " + shown(object.class_name) + ", position " +
                       std::to_string(object.position));
    }
    JsonWriter json;
    json.begin_object();
    json.member("time", exact_time(time_us));
    json.member("event", event);
    json.member("object", object.name);
    json.member("class", object.class_name);
    json.member("position", object.position);
    json.end_object();
    return json.one_line() + "\n";
}

std::string WatchLines::added(gint64 time_us, const WatchedObject& object) const {
    return notice("added", time_us, object);
}

std::string WatchLines::removed(gint64 time_us, const WatchedObject& object) const {
    return notice("removed", time_us, object);
}

std::string WatchLines::lost(guint64 events, LostAt where) const {
    const bool is_queue = where == LostAt::queue;
    if (is_json_) {
        JsonWriter json;
        json.begin_object();
        json.member("lost", events);
        json.member("where", is_queue ? "queue" : "output");
        json.end_object();
        return json.one_line() + "\n";
    }
    const std::string line = std::to_string(events) +
                             (events == 1 ? " event was lost (" : " events were lost (") +
                             (is_queue ? "the queue was full)" : "the output did not keep up)");
    return out_.styled(Style::bad, line) + "\n";
}

}  // namespace mox::tool
