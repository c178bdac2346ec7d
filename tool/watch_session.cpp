// No exception passes through the main loop: what goes wrong is kept until the loop has ended.
//
// After a loss at the output nothing is shown until half of the ring is free again: one loss that
// is told, and a run of events in full, read better than every other event.
#include "watch_session.hpp"

#include <glib-unix.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstring>

namespace mox::tool {
namespace {

constexpr guint look_interval_ms = 100;
constexpr const char* class_mark = "|";

template <std::size_t size>
std::string text_of(const gchar (&field)[size]) {
    return {field, std::find(field, field + size, '\0')};
}

VariantPtr variant_of(const gchar* type, const guint8* bytes, gsize size) {
    GBytes* const copy = g_bytes_new(bytes, size);  // aligned as values must be
    VariantPtr value{
        g_variant_ref_sink(g_variant_new_from_bytes(G_VARIANT_TYPE(type), copy, FALSE))};
    g_bytes_unref(copy);
    return value;
}

// When a message came, by the wall clock as it is now.
gint64 wall_time_us(gint64 arrival_ns) {
    return g_get_real_time() - (g_get_monotonic_time() - arrival_ns / 1000);
}

}  // namespace

WatchSession::WatchSession(const Membership& owner, const WatchOptions& options,
                           WatchFilter& filter, const WatchLines& lines, WatchWriter& writer)
    : owner_(owner),
      options_(options),
      filter_(filter),
      lines_(lines),
      writer_(writer),
      loop_(g_main_loop_new(nullptr, FALSE)) {}

WatchSession::~WatchSession() {
    moxhost_set_message_func(owner_.module(), nullptr, nullptr);
    moxhost_set_lost_func(owner_.module(), nullptr, nullptr);
    for (const guint source : sources_) {
        if (source != 0) g_source_remove(source);
    }
}

void WatchSession::end(WatchEnd how) {
    if (end_ == WatchEnd::none) end_ = how;
    g_main_loop_quit(loop_.get());
}

void WatchSession::listen() {
    const auto on_message = [](MoxHostModule*, const MOX_MSG_S* message, gint64 arrival_ns,
                               gpointer self) {
        auto* const session = static_cast<WatchSession*>(self);
        try {
            session->receive(*message, arrival_ns);
        } catch (const std::exception&) {
            session->problem_ = std::current_exception();
            g_main_loop_quit(session->loop_.get());
        }
    };
    moxhost_set_message_func(owner_.module(), on_message, this);
    moxhost_set_lost_func(
        owner_.module(),
        [](MoxHostModule*, gpointer self) {
            static_cast<WatchSession*>(self)->end(WatchEnd::owner_gone);
        },
        this);
    for (const auto& [class_name, property] : filter_.pairs()) {
        ErrorHolder error;
        if (moxhost_listen(owner_.module(), class_name.c_str(), property.c_str(), error.out()) ==
            FALSE) {
            std::string place = class_name;
            place.append(".").append(property);
            throw Failed("cannot listen to " + place + ": " + error.text());
        }
    }
}

void WatchSession::attach_sources() {
    const auto on_signal = [](gpointer self) -> gboolean {
        static_cast<WatchSession*>(self)->end(WatchEnd::interrupted);
        return G_SOURCE_CONTINUE;
    };
    const auto on_look = [](gpointer self) -> gboolean {
        static_cast<WatchSession*>(self)->look_around();
        return G_SOURCE_CONTINUE;
    };
    const auto on_time = [](gpointer self) -> gboolean {
        static_cast<WatchSession*>(self)->end(WatchEnd::timed_out);
        return G_SOURCE_CONTINUE;
    };
    sources_ = {g_unix_signal_add(SIGINT, on_signal, this),
                g_unix_signal_add(SIGTERM, on_signal, this),
                g_unix_signal_add(SIGHUP, on_signal, this),
                g_timeout_add(look_interval_ms, on_look, this), 0};
    if (options_.timeout_s) {
        GSource* const timer = g_timeout_source_new(0);
        const double wait_us = *options_.timeout_s * G_USEC_PER_SEC;
        g_source_set_ready_time(timer, g_get_monotonic_time() + static_cast<gint64>(wait_us));
        g_source_set_callback(timer, on_time, this, nullptr);
        sources_.back() = g_source_attach(timer, nullptr);
        g_source_unref(timer);
    }
}

WatchEnd WatchSession::run() {
    attach_sources();
    listen();
    if (const std::string heading = lines_.heading(); !heading.empty()) writer_.push(heading, 0);
    if (end_ == WatchEnd::none && !problem_) g_main_loop_run(loop_.get());
    losses_.note_queue(moxhost_messages_lost(owner_.module()));
    if (problem_) std::rethrow_exception(problem_);
    return end_;
}

void WatchSession::look_around() {
    if (writer_.has_failed()) end(WatchEnd::output_gone);
    losses_.note_queue(moxhost_messages_lost(owner_.module()));
    const std::string lost = losses_.lines(lines_);
    if (!lost.empty() && (!is_behind_ || writer_.has_caught_up()) && writer_.push(lost, 0)) {
        losses_.note_told();
        is_behind_ = false;
    }
}

void WatchSession::receive(const MOX_MSG_S& message, gint64 arrival_ns) {
    if (end_ != WatchEnd::none) return;
    losses_.note_queue(moxhost_messages_lost(owner_.module()));
    const gint64 time_us = wall_time_us(arrival_ns);
    switch (message.head.msg_type) {
        case MOX_MSG_PROPERTY_EVENT:
            receive_change(message, time_us);
            break;
        case MOX_MSG_ADD_OBJECT:
            receive_added(message, time_us);
            break;
        case MOX_MSG_DEL_OBJECT:
            receive_removed(message, time_us);
            break;
        default:
            break;  // not an event
    }
}

// The host library has checked the sizes in the messages and the ends of the names.
void WatchSession::receive_change(const MOX_MSG_S& message, gint64 time_us) {
    MSG_EVENT_DATA_HEAD_S head;
    std::memcpy(&head, message.data, sizeof head);
    const std::string object = text_of(head.object_name);
    const std::string property = text_of(head.property_name);
    const VariantPtr value =
        variant_of(text_of(head.type).c_str(), message.data + sizeof head, head.size);
    if (!filter_.wants(object, property, value.get())) return;
    if (show(lines_.changed(time_us, object, property, value.get()))) {
        filter_.note_shown(object, property, value.get());
    }
}

void WatchSession::receive_added(const MOX_MSG_S& message, gint64 time_us) {
    MSG_NEW_OBJ_EVENT_S head;
    std::memcpy(&head, message.data, offsetof(MSG_NEW_OBJ_EVENT_S, data));
    const VariantPtr names =
        variant_of("as", message.data + offsetof(MSG_NEW_OBJ_EVENT_S, data), head.size);
    const StringsPtr texts(g_variant_dup_strv(names.get(), nullptr));
    WatchedObject object{"", "", head.position};
    // Groups of a mark, a class, and the names of its new objects.
    for (gchar** at = texts.get(); *at != nullptr; ++at) {
        if (std::strcmp(*at, class_mark) == 0 && at[1] != nullptr) {
            object.class_name = *++at;
            continue;
        }
        object.name = *at;
        if (filter_.wants_added(object)) show(lines_.added(time_us, object));
    }
}

void WatchSession::receive_removed(const MOX_MSG_S& message, gint64 time_us) {
    MSG_DEL_RU_EVENT_S removal;
    std::memcpy(&removal, message.data, sizeof removal);
    for (const WatchedObject& object : filter_.take_removed(removal.position)) {
        show(lines_.removed(time_us, object));
    }
}

bool WatchSession::show(const std::string& line) {
    if (end_ != WatchEnd::none) return false;
    const bool has_room = !is_behind_ || writer_.has_caught_up();
    const std::string lost = has_room ? losses_.lines(lines_) : "";
    if (!has_room || !writer_.push(lost + line, 1)) {
        is_behind_ = true;
        losses_.note_output();
        return false;
    }
    if (!lost.empty()) losses_.note_told();
    is_behind_ = false;
    ++shown_;
    if (options_.count && shown_ == *options_.count) end(WatchEnd::counted);
    return true;
}

}  // namespace mox::tool
