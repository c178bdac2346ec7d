// Who may connect is decided twice: the directory lets nobody else in, and the socket tells the
// peer's user, which must be this one. Only that mechanism is offered; a peer cannot fall back to a
// weaker one.
#include "owner/transport_server.hpp"

#include <pub.h>
#include <unistd.h>

#include <cstring>

#include "owner/call_arguments.hpp"
#include "owner/start_error.hpp"
#include "wire/directories.hpp"
#include "wire/interface.hpp"

namespace mox::host {
namespace {

// Both run in a thread of the server's own.
gboolean allow_mechanism(GDBusAuthObserver*, const gchar* mechanism, gpointer) {
    return g_str_equal(mechanism, "EXTERNAL");
}

gboolean authorize_peer(GDBusAuthObserver*, GIOStream*, GCredentials* credentials, gpointer) {
    return credentials != nullptr && g_credentials_get_unix_user(credentials, nullptr) == geteuid();
}

}  // namespace

TransportServer::TransportServer(const std::string& run_dir, OwnerMethods& methods)
    : socket_path_(wire::socket_path(run_dir)), methods_(methods) {
    const std::string address = wire::socket_address(run_dir);
    if (address.empty()) {
        throw StartError{"socket path " + socket_path_ +
                         " is too long for a socket; give a shorter --run-dir"};
    }
    unlink(socket_path_.c_str());
    GDBusAuthObserver* const observer = g_dbus_auth_observer_new();
    g_signal_connect(observer, "allow-mechanism", G_CALLBACK(allow_mechanism), nullptr);
    g_signal_connect(observer, "authorize-authenticated-peer", G_CALLBACK(authorize_peer), nullptr);
    gchar* const guid = g_dbus_generate_guid();
    GError* error = nullptr;
    server_ = g_dbus_server_new_sync(address.c_str(),
                                     G_DBUS_SERVER_FLAGS_AUTHENTICATION_REQUIRE_SAME_USER, guid,
                                     observer, nullptr, &error);
    g_free(guid);
    g_object_unref(observer);
    if (server_ == nullptr) {
        const std::string cause = error->message;
        g_error_free(error);
        throw StartError{"socket " + socket_path_ + " cannot be made: " + cause};
    }
    g_signal_connect(server_, "new-connection", G_CALLBACK(on_new_connection), this);
    g_dbus_server_start(server_);
}

TransportServer::~TransportServer() {
    g_signal_handlers_disconnect_by_data(server_, this);
    g_dbus_server_stop(server_);
    g_object_unref(server_);
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

gboolean TransportServer::on_new_connection(GDBusServer*, GDBusConnection* connection,
                                            gpointer self) {
    return static_cast<TransportServer*>(self)->admit(connection) ? TRUE : FALSE;
}

bool TransportServer::admit(GDBusConnection* connection) {
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
