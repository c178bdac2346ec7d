// Who may connect is decided twice: by the modes of directory and socket, and by what the system
// tells of the peer. Only that mechanism is offered; a peer cannot fall back to a
// weaker one.
#include "owner/transport_server.hpp"

#include <pub.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <vector>

#include "owner/call_arguments.hpp"
#include "owner/doorkeeper.hpp"
#include "owner/start_error.hpp"
#include "wire/directories.hpp"
#include "wire/interface.hpp"

namespace mox::host {
namespace {

// Both run in a thread of the server's own.
gboolean allow_mechanism(GDBusAuthObserver*, const gchar* mechanism, gpointer) {
    return g_str_equal(mechanism, "EXTERNAL");
}

gboolean authorize_peer(GDBusAuthObserver*, GIOStream* stream, GCredentials*, gpointer keeper) {
    return static_cast<Doorkeeper*>(keeper)->judge(stream) ? TRUE : FALSE;
}

// An observer that keeps its own doorkeeper: a connection may be judged while the server goes.
GDBusAuthObserver* make_observer(const std::optional<OwnerGroup>& group) {
    GDBusAuthObserver* const observer = g_dbus_auth_observer_new();
    g_signal_connect(observer, "allow-mechanism", G_CALLBACK(allow_mechanism), nullptr);
    const GClosureNotify forget = [](gpointer keeper, GClosure*) {
        delete static_cast<Doorkeeper*>(keeper);
    };
    g_signal_connect_data(observer, "authorize-authenticated-peer", G_CALLBACK(authorize_peer),
                          new Doorkeeper(group), forget, static_cast<GConnectFlags>(0));
    return observer;
}

}  // namespace

TransportServer::TransportServer(const std::string& run_dir, const std::optional<OwnerGroup>& group,
                                 OwnerMethods& methods)
    : socket_path_(wire::socket_path(run_dir)), methods_(methods) {
    const std::string address = wire::socket_address(run_dir);
    if (address.empty()) {
        throw StartError{"socket path " + socket_path_ +
                         " is too long for a socket; give a shorter --run-dir"};
    }
    unlink(socket_path_.c_str());
    GDBusAuthObserver* const observer = make_observer(group);
    try {
        door_ = std::make_unique<FrontDoor>(
            socket_path_, observer,
            [this](GDBusConnection* connection) { return admit(connection); },
            [this] { drop_strangers(); });
        set_modes(group);
        door_->open();
    } catch (const StartError&) {
        g_object_unref(observer);
        unlink(socket_path_.c_str());
        throw;
    }
    g_object_unref(observer);
}

// Nobody can connect yet.
void TransportServer::set_modes(const std::optional<OwnerGroup>& group) const {
    constexpr mode_t private_mode = 0600;
    constexpr mode_t group_mode = 0660;
    const bool is_done =
        (!group || chown(socket_path_.c_str(), static_cast<uid_t>(-1), group->id) == 0) &&
        chmod(socket_path_.c_str(), group ? group_mode : private_mode) == 0;
    if (!is_done) {
        throw StartError{"the modes of socket " + socket_path_ +
                         " cannot be set: " + std::generic_category().message(errno)};
    }
}

TransportServer::~TransportServer() {
    door_.reset();
    while (!clients_.empty()) {
        drop(clients_.begin()->first);
    }
    unlink(socket_path_.c_str());
}

void TransportServer::tell_modules(const char* signal, GVariant* arguments) {
    const ValuePtr owned(g_variant_ref_sink(arguments));
    for (const auto& [connection, client] : clients_) {
        if (client.session.module != nullptr) {
            // Fails on a connection that is about to be dropped.
            g_dbus_connection_emit_signal(connection, nullptr, wire::object_path,
                                          wire::interface_name, signal, owned.get(), nullptr);
        }
    }
}

bool TransportServer::admit(GDBusConnection* connection) {
    // One that its peer has closed since it was let in has told so before anybody could hear it,
    // and would be kept for ever. "closed" is told in this thread, so that of any other one is
    // heard.
    if (g_dbus_connection_is_closed(connection) != FALSE) {
        return false;
    }
    static constexpr GDBusInterfaceVTable calls = {on_call, nullptr, nullptr, {}};
    GError* error = nullptr;
    const guint registration = g_dbus_connection_register_object(
        connection, wire::object_path, wire::interface_info(), &calls, this, nullptr, &error);
    if (registration == 0) {
        pub_debug_print(MX_DBG_ERR, "connection refused: %s.\n", error->message);
        g_error_free(error);
        return false;
    }
    Client& client = clients_[static_cast<GDBusConnection*>(g_object_ref(connection))];
    client.server = this;
    client.since_us = g_get_monotonic_time();
    client.registration = registration;
    client.closed_handler = g_signal_connect(connection, "closed", G_CALLBACK(on_closed), this);
    return true;
}

void TransportServer::on_closed(GDBusConnection* connection, gboolean, GError*, gpointer self) {
    static_cast<TransportServer*>(self)->drop(connection);
}

void TransportServer::drop(GDBusConnection* connection) {
    const auto found = clients_.find(connection);
    if (found == clients_.end()) {
        return;
    }
    methods_.end(found->second.session);
    g_signal_handler_disconnect(connection, found->second.closed_handler);
    g_dbus_connection_unregister_object(connection, found->second.registration);
    clients_.erase(found);
    g_dbus_connection_close(connection, nullptr, nullptr, nullptr);
    g_object_unref(connection);
}

// Who came in and did not join: a module does so at once.
void TransportServer::drop_strangers() {
    constexpr gint64 most_us = 2000000;
    const gint64 now = g_get_monotonic_time();
    std::vector<GDBusConnection*> strangers;
    for (const auto& [connection, client] : clients_) {
        if (client.session.module == nullptr && now - client.since_us > most_us) {
            strangers.push_back(connection);
        }
    }
    for (GDBusConnection* const stranger : strangers) {
        drop(stranger);
    }
}

void TransportServer::on_call(GDBusConnection* connection, const gchar*, const gchar*, const gchar*,
                              const gchar* method, GVariant* arguments,
                              GDBusMethodInvocation* invocation, gpointer self) {
    auto* const server = static_cast<TransportServer*>(self);
    const auto found = server->clients_.find(connection);
    if (found == server->clients_.end()) {
        g_dbus_method_invocation_return_dbus_error(invocation, wire::error_refused,
                                                   "this connection is closed");
        return;
    }
    server->methods_.answer(found->second.session, method, arguments, invocation);
}

}  // namespace mox::host
