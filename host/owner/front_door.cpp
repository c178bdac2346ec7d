// A visitor identifies itself in a thread of its own; all else is done in the main loop's.
#include "owner/front_door.hpp"

#include <gio/gunixconnection.h>
#include <gio/gunixsocketaddress.h>

#include <atomic>
#include <set>
#include <utility>

#include "owner/refusal_log.hpp"
#include "owner/start_error.hpp"
#include "wire/spare_descriptors.hpp"

namespace mox::host {
namespace {

// What the owner's work takes at once besides its connections: a chip's file, files of the store,
// and what the library below makes for itself.
constexpr int descriptors_at_work = 12;
// Each takes a thread until it has identified itself.
constexpr std::size_t most_visitors = 64;
// As long as a module waits for the owner.
constexpr guint patience_ms = 2000;
// What each has at least when there are too many: a process that means it needs some milliseconds.
constexpr gint64 least_patience_us = 250000;
constexpr guint crowd_pause_ms = 10;
constexpr guint shortage_pause_ms = 100;
// Processes that wait to be let in, while the owner is at work or pauses.
constexpr gint backlog = 128;

struct ObjectDelete {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename Object>
using ObjectPtr = std::unique_ptr<Object, ObjectDelete>;

// Throws the error as the reason why there is no socket.
[[noreturn]] void fail(const std::string& socket_path, GError* error) {
    const std::string cause = error->message;
    g_error_free(error);
    throw StartError{"socket " + socket_path + " cannot be made: " + cause};
}

}  // namespace

struct FrontDoor::Visitor {
    Visitor(std::shared_ptr<Doorway> doorway_it_came_to, GSocket* its_socket)
        : doorway(std::move(doorway_it_came_to)),
          socket(static_cast<GSocket*>(g_object_ref(its_socket))) {}

    std::shared_ptr<Doorway> doorway;
    ObjectPtr<GSocket> socket;
    gint64 since_us = g_get_monotonic_time();
    guint timer = 0;
    // The thread's, until it is done.
    ObjectPtr<GDBusConnection> connection;  // null when it did not identify itself, or was refused
    std::atomic<bool> is_done = false;
};

struct FrontDoor::Doorway : std::enable_shared_from_this<Doorway> {
    std::string path;
    std::string guid;
    Admit admit;  // null once the door is gone
    MakeRoom make_room;
    ObjectPtr<GSocket> socket;
    ObjectPtr<GDBusAuthObserver> observer;
    GSource* source = nullptr;
    guint pause = 0;
    std::set<Visitor*> visitors;
    RefusalLog log;

    void turn_away(const std::string& cause) { log.add("a connection", "connection: " + cause); }

    // Its thread reads the end of what it says, and gives up.
    void turn_away(Visitor& visitor, const std::string& cause) {
        if (!visitor.is_done) {
            turn_away(cause);
            g_socket_shutdown(visitor.socket.get(), TRUE, TRUE, nullptr);
        }
    }
};

FrontDoor::FrontDoor(const std::string& socket_path, GDBusAuthObserver* observer, Admit admit,
                     MakeRoom make_room)
    : doorway_(std::make_shared<Doorway>()) {
    Doorway& doorway = *doorway_;
    doorway.path = socket_path;
    doorway.admit = std::move(admit);
    doorway.make_room = std::move(make_room);
    doorway.observer.reset(static_cast<GDBusAuthObserver*>(g_object_ref(observer)));
    gchar* const guid = g_dbus_generate_guid();
    doorway.guid = guid;
    g_free(guid);
    // Connections of this kind are made of accepted sockets once their type is known.
    g_type_ensure(G_TYPE_UNIX_CONNECTION);
    GError* error = nullptr;
    doorway.socket.reset(g_socket_new(G_SOCKET_FAMILY_UNIX, G_SOCKET_TYPE_STREAM,
                                      G_SOCKET_PROTOCOL_DEFAULT, &error));
    if (!doorway.socket) {
        fail(socket_path, error);
    }
    g_socket_set_blocking(doorway.socket.get(), FALSE);
    const ObjectPtr<GSocketAddress> address(g_unix_socket_address_new(socket_path.c_str()));
    if (g_socket_bind(doorway.socket.get(), address.get(), FALSE, &error) == FALSE) {
        fail(socket_path, error);
    }
}

FrontDoor::~FrontDoor() {
    Doorway& doorway = *doorway_;
    doorway.admit = nullptr;
    if (doorway.source != nullptr) {
        g_source_destroy(doorway.source);
        g_source_unref(doorway.source);
    }
    if (doorway.pause != 0) {
        g_source_remove(doorway.pause);
    }
    g_socket_close(doorway.socket.get(), nullptr);
    for (Visitor* const visitor : doorway.visitors) {
        g_socket_shutdown(visitor->socket.get(), TRUE, TRUE, nullptr);
    }
}

void FrontDoor::open() {
    GError* error = nullptr;
    g_socket_set_listen_backlog(doorway_->socket.get(), backlog);
    if (g_socket_listen(doorway_->socket.get(), &error) == FALSE) {
        fail(doorway_->path, error);
    }
    watch(*doorway_);
}

void FrontDoor::watch(Doorway& doorway) {
    doorway.source = g_socket_create_source(doorway.socket.get(), G_IO_IN, nullptr);
    // The function that a source of this kind calls; by way of a type that fits any.
    g_source_set_callback(doorway.source,
                          reinterpret_cast<GSourceFunc>(reinterpret_cast<void (*)()>(on_visitors)),
                          &doorway, nullptr);
    g_source_attach(doorway.source, nullptr);
}

gboolean FrontDoor::on_pause_end(gpointer data) {
    Doorway& doorway = *static_cast<Doorway*>(data);
    doorway.pause = 0;
    watch(doorway);
    return G_SOURCE_REMOVE;
}

// Who waits at the socket would be met again at once.
gboolean FrontDoor::pause(Doorway& doorway, guint ms) {
    g_source_unref(doorway.source);
    doorway.source = nullptr;
    doorway.pause = g_timeout_add(ms, on_pause_end, &doorway);
    return G_SOURCE_REMOVE;
}

bool FrontDoor::has_room(Doorway& doorway) {
    if (doorway.visitors.size() < most_visitors) {
        return true;
    }
    const gint64 now = g_get_monotonic_time();
    for (Visitor* const visitor : doorway.visitors) {
        if (now - visitor->since_us > least_patience_us) {
            doorway.turn_away(*visitor, "it does not identify itself, and others wait");
        }
    }
    return false;
}

gboolean FrontDoor::on_visitors(GSocket* socket, GIOCondition, gpointer data) {
    auto* const doorway = static_cast<Doorway*>(data);
    if (!has_room(*doorway)) {
        return pause(*doorway, crowd_pause_ms);
    }
    GError* error = nullptr;
    const ObjectPtr<GSocket> visitor(g_socket_accept(socket, nullptr, &error));
    if (visitor) {
        let_in(doorway->shared_from_this(), visitor.get());
        return G_SOURCE_CONTINUE;
    }
    const bool is_gone_again = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK) != FALSE;
    const std::string cause = error->message;
    g_error_free(error);
    if (is_gone_again) {
        return G_SOURCE_CONTINUE;
    }
    doorway->turn_away(cause);
    doorway->make_room();
    return pause(*doorway, shortage_pause_ms);
}

void FrontDoor::let_in(const std::shared_ptr<Doorway>& doorway, GSocket* socket) {
    std::string shortage = wire::missing_descriptors(descriptors_at_work);
    if (!shortage.empty()) {
        doorway->make_room();
        shortage = wire::missing_descriptors(descriptors_at_work);
    }
    if (!shortage.empty()) {
        doorway->turn_away(shortage);
        return;
    }
    auto* const visitor = new Visitor(doorway, socket);
    visitor->timer = g_timeout_add(patience_ms, on_late, visitor);
    doorway->visitors.insert(visitor);
    GThread* const thread = g_thread_try_new("visitor", identify, visitor, nullptr);
    if (thread == nullptr) {
        doorway->turn_away("there is no thread for it");
        on_identified(visitor);
        return;
    }
    g_thread_unref(thread);
}

// In the visitor's thread.
gpointer FrontDoor::identify(gpointer data) {
    auto* const visitor = static_cast<Visitor*>(data);
    visitor->connection.reset(connection_with(*visitor));
    visitor->is_done = true;
    g_idle_add_full(G_PRIORITY_DEFAULT, on_identified, visitor, nullptr);
    return nullptr;
}

// Null for one that was refused, which has its line already.
GDBusConnection* FrontDoor::connection_with(const Visitor& visitor) {
    const ObjectPtr<GSocketConnection> stream(
        g_socket_connection_factory_create_connection(visitor.socket.get()));
    return g_dbus_connection_new_sync(
        G_IO_STREAM(stream.get()), visitor.doorway->guid.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_SERVER |
                                          G_DBUS_CONNECTION_FLAGS_DELAY_MESSAGE_PROCESSING),
        visitor.doorway->observer.get(), nullptr, nullptr);
}

gboolean FrontDoor::on_late(gpointer data) {
    auto* const visitor = static_cast<Visitor*>(data);
    visitor->timer = 0;
    visitor->doorway->turn_away(*visitor, "it does not identify itself");
    return G_SOURCE_REMOVE;
}

gboolean FrontDoor::on_identified(gpointer data) {
    const std::unique_ptr<Visitor> visitor(static_cast<Visitor*>(data));
    // Seen as done, the visitor is this thread's alone; without a thread it always was.
    GDBusConnection* const connection = visitor->is_done ? visitor->connection.get() : nullptr;
    Doorway& doorway = *visitor->doorway;
    if (visitor->timer != 0) {
        g_source_remove(visitor->timer);
    }
    doorway.visitors.erase(visitor.get());
    if (connection != nullptr && doorway.admit && doorway.admit(connection)) {
        g_dbus_connection_start_message_processing(connection);
    }
    return G_SOURCE_REMOVE;
}

}  // namespace mox::host
