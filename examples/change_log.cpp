#include "change_log.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "value_text.hpp"

namespace mox::examples {
namespace {

struct Event {
    std::string object;
    std::string property;
    VariantPtr value;
};

// A name field of a message, which ends at its NUL or at its end.
template <std::size_t size>
std::string text_of(const gchar (&field)[size]) {
    return {field, std::find(field, field + size, '\0')};
}

// Reads a property event out of a message; what a message says about its sizes is not trusted.
Event decode(const MOX_MSG_S& message) {
    MSG_EVENT_DATA_HEAD_S head;
    if (message.head.length < sizeof head || message.head.length > IPC_MSG_MAX_PAYLOAD) {
        throw WatchError("an event arrived that is too short or too long");
    }
    std::memcpy(&head, message.data, sizeof head);
    const std::string type = text_of(head.type);
    if (head.size > message.head.length - sizeof head ||
        !g_variant_type_string_is_valid(type.c_str())) {
        throw WatchError("an event arrived that is damaged: of " + text_of(head.object_name));
    }
    const BytesPtr bytes{g_bytes_new(message.data + sizeof head, head.size)};
    VariantPtr value{g_variant_ref_sink(
        g_variant_new_from_bytes(G_VARIANT_TYPE(type.c_str()), bytes.get(), FALSE))};
    return {text_of(head.object_name), text_of(head.property_name), std::move(value)};
}

std::string clock_time(gint64 wall_us) {
    const auto seconds = static_cast<std::time_t>(wall_us / G_USEC_PER_SEC);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%H:%M:%S", &local);
    const auto milliseconds = static_cast<int>(wall_us % G_USEC_PER_SEC / 1000);
    std::snprintf(text + length, sizeof text - length, ".%03d", milliseconds);
    return text;
}

}  // namespace

ChangeLog::ChangeLog(const WatchedModel& model)
    : wall_offset_us_{g_get_real_time() - g_get_monotonic_time()} {
    for (const WatchedObject& object : model.objects) {
        object_width_ = std::max(object_width_, static_cast<int>(object.name.size()));
        for (const WatchedProperty& property : object.properties) {
            if (property.accessor.empty()) continue;
            property_width_ = std::max(property_width_, static_cast<int>(property.name.size()));
            Known& known = known_[object.name + "." + property.name];
            known.object = object.handle;
            known.object_name = object.name;
            known.property = property.name;
            known.value.reset(g_variant_ref(property.value.get()));
        }
    }
}

void ChangeLog::print_heading() const {
    std::printf("  %-12s  %-*s  %-*s  %14s -> %-14s %9s\n", "TIME", object_width_, "OBJECT",
                property_width_, "PROPERTY", "OLD", "NEW", "DELAY");
}

void ChangeLog::receive(MoxHostModule* module, const MOX_MSG_S& message, gint64 arrival_ns) {
    if (message.head.msg_type != MOX_MSG_PROPERTY_EVENT) return;
    ++received_;
    Event event = decode(message);
    const auto found = known_.find(event.object + "." + event.property);
    if (found == known_.end()) {
        throw WatchError("an event arrived that nobody listens to: " + event.object + "." +
                         event.property);
    }
    Known& known = found->second;
    if (is_printing_) print(module, known, event.value.get(), arrival_ns);
    known.value = std::move(event.value);
    known.has_event = true;
}

void ChangeLog::print(MoxHostModule* module, Known& known, GVariant* value, gint64 arrival_ns) {
    const gint64 changed_ns =
        moxhost_change_time_ns(module, known.object_name.c_str(), known.property.c_str());
    // Unknown, too, when the owner has looked at the hardware again since the event arrived.
    std::string delay = "?";
    if (changed_ns > 0 && changed_ns <= arrival_ns) {
        delays_us_.push_back(static_cast<double>(arrival_ns - changed_ns) / 1000);
        delay = std::to_string((arrival_ns - changed_ns) / 1000);
    }
    if (!g_variant_equal(read_pool(known.object, known.property).get(), value)) ++overtaken_;
    std::printf("  %s  %-*s  %-*s  %14s -> %-14s %6s us\n",
                clock_time(wall_offset_us_ + arrival_ns / 1000).c_str(), object_width_,
                known.object_name.c_str(), property_width_, known.property.c_str(),
                text_of_value(known.value.get()).c_str(), text_of_value(value).c_str(),
                delay.c_str());
    ++printed_;
}

std::vector<std::string> ChangeLog::differing_from_pool() const {
    std::vector<std::string> differing;
    for (const auto& [name, known] : known_) {
        if (!known.has_event) continue;
        const VariantPtr in_pool = read_pool(known.object, known.property);
        if (!g_variant_equal(in_pool.get(), known.value.get())) differing.push_back(name);
    }
    return differing;
}

}  // namespace mox::examples
