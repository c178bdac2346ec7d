// A visitor identifies itself in a thread of the library; all else is done in the main loop's.
#include "owner/front_door.hpp"

#include <gio/gunixconnection.h>
#include <gio/gunixsocketaddress.h>

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
// Each takes a thread of the library until it has identified itself.
constexpr std::size_t most_visitors = 64;
// As long as a module waits for the owner.
constexpr guint patience_ms = 2000;
constexpr guint pause_ms = 100;
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
    std::shared_ptr<Doorway> doorway;
    ObjectPtr<GSocket> socket;
    guint timer = 0;
};

struct FrontDoor::Doorway : std::enable_shared_from_this<Doorway> {
    std::string path;
    std::string guid;
    Admit admit;  // null once the door is gone
    ObjectPtr<GSocket> socket;
    ObjectPtr<GDBusAuthObserver> observer;
    GSource* source = nullptr;
    guint pause = 0;
    std::set<Visitor*> visitors;
    RefusalLog log;

    void turn_away(const std::string& cause) { log.add("a connection", "connection: " + cause); }
};

FrontDoor::FrontDoor(const std::string& socket_path, GDBusAuthObserver* observer, Admit admit)
    : doorway_(std::make_shared<Doorway>()) {
    Doorway& doorway = *doorway_;
    doorway.path = socket_path;
    doorway.admit = std::move(admit);
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
    g_source_attach(doorway.source, g_main_context_get_thread_default());
}

gboolean FrontDoor::on_pause_end(gpointer data) {
    Doorway& doorway = *static_cast<Doorway*>(data);
    doorway.pause = 0;
    watch(doorway);
    return G_SOURCE_REMOVE;
}

gboolean FrontDoor::on_visitors(GSocket* socket, GIOCondition, gpointer data) {
    auto* const doorway = static_cast<Doorway*>(data);
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
    // It still waits, and would be met again at once.
    doorway->turn_away(cause);
    g_source_unref(doorway->source);
    doorway->source = nullptr;
    doorway->pause = g_timeout_add(pause_ms, on_pause_end, doorway);
    return G_SOURCE_REMOVE;
}

void FrontDoor::let_in(const std::shared_ptr<Doorway>& doorway, GSocket* socket) {
    const std::string shortage = wire::missing_descriptors(descriptors_at_work);
    if (!shortage.empty()) {
        doorway->turn_away(shortage);
        return;
    }
    if (doorway->visitors.size() >= most_visitors) {
        doorway->turn_away("too many others are about to identify themselves");
        return;
    }
    auto* const visitor = new Visitor{doorway, nullptr, 0};
    visitor->socket.reset(static_cast<GSocket*>(g_object_ref(socket)));
    visitor->timer = g_timeout_add(patience_ms, on_late, visitor);
    doorway->visitors.insert(visitor);
    const ObjectPtr<GSocketConnection> stream(
        g_socket_connection_factory_create_connection(socket));
    g_dbus_connection_new(
        G_IO_STREAM(stream.get()), doorway->guid.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_SERVER |
                                          G_DBUS_CONNECTION_FLAGS_DELAY_MESSAGE_PROCESSING),
        doorway->observer.get(), nullptr, on_identified, visitor);
}

// Its thread reads the end of what it says, and gives up.
gboolean FrontDoor::on_late(gpointer data) {
    auto* const visitor = static_cast<Visitor*>(data);
    visitor->timer = 0;
    visitor->doorway->turn_away("it does not identify itself");
    g_socket_shutdown(visitor->socket.get(), TRUE, TRUE, nullptr);
    return G_SOURCE_REMOVE;
}

void FrontDoor::on_identified(GObject*, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Visitor> visitor(static_cast<Visitor*>(data));
    Doorway& doorway = *visitor->doorway;
    if (visitor->timer != 0) {
        g_source_remove(visitor->timer);
    }
    doorway.visitors.erase(visitor.get());
    // Who was refused has its line already.
    const ObjectPtr<GDBusConnection> connection(g_dbus_connection_new_finish(result, nullptr));
    if (connection && doorway.admit && doorway.admit(connection.get())) {
        g_dbus_connection_start_message_processing(connection.get());
    }
}

}  // namespace mox::host
