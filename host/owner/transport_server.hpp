// The owner's socket and its connections.
#ifndef MOXHOST_OWNER_TRANSPORT_SERVER_HPP
#define MOXHOST_OWNER_TRANSPORT_SERVER_HPP

#include <gio/gio.h>

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "owner/front_door.hpp"
#include "owner/owner_group.hpp"
#include "owner/owner_methods.hpp"

namespace mox::host {

// Serves in the thread-default main context of the thread that makes it; the socket is removed with
// it.
class TransportServer {
public:
    // run_dir: held by this process, so a socket found there is a dead owner's. group: may connect,
    // too. methods: outlives the server. Throws a StartError when the socket cannot be made.
    TransportServer(const std::string& run_dir, const std::optional<OwnerGroup>& group,
                    OwnerMethods& methods);
    ~TransportServer();
    TransportServer(const TransportServer&) = delete;
    TransportServer& operator=(const TransportServer&) = delete;

    const std::string& socket_path() const { return socket_path_; }

    // Sends a signal of the interface to every joined module; waits for none. arguments: a tuple,
    // consumed when it floats.
    void tell_modules(const char* signal, GVariant* arguments);

private:
    struct Client {
        TransportServer* server;
        Session session;
        guint registration = 0;
        gulong closed_handler = 0;
        gint64 since_us = 0;
    };

    static void on_closed(GDBusConnection* connection, gboolean by_peer, GError* error,
                          gpointer self);
    static void on_call(GDBusConnection* connection, const gchar* sender, const gchar* object_path,
                        const gchar* interface_name, const gchar* method, GVariant* arguments,
                        GDBusMethodInvocation* invocation, gpointer self);

    void set_modes(const std::optional<OwnerGroup>& group) const;
    bool admit(GDBusConnection* connection);
    void drop(GDBusConnection* connection);
    void drop_strangers();

    std::string socket_path_;
    OwnerMethods& methods_;
    std::map<GDBusConnection*, Client> clients_;
    std::unique_ptr<FrontDoor> door_;
};

}  // namespace mox::host

#endif
