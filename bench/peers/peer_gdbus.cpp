// The number is a property of an object that GLib shows on D-Bus; a change is a signal with the new
// value. Owner and listener are connected directly, by a pair of sockets.
#include <gio/gio.h>

#include <deque>
#include <memory>
#include <vector>

#include "rounds.hpp"
#include "socket_pairs.hpp"

namespace {

using namespace mox::peers;

constexpr char kPath[] = "/Fan1";
constexpr char kInterface[] = "local.Sensor";
constexpr char kSignal[] = "SpeedChanged";
constexpr int kBatch = 1000;
constexpr int kLongestWaitMs = 20000;

constexpr char kDescription[] =
    "<node><interface name='local.Sensor'>"
    "<property name='Speed' type='i' access='read'/>"
    "<signal name='SpeedChanged'><arg type='i'/></signal>"
    "</interface></node>";

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
using Connection = std::unique_ptr<GDBusConnection, Unref>;

void good(GError* error, const char* what) {
    if (error != nullptr) {
        const std::string text = std::string(what) + ": " + error->message;
        g_error_free(error);
        fail(text);
    }
}

Connection connection_over(int socket, bool is_server) {
    GError* error = nullptr;
    const std::unique_ptr<GSocket, Unref> own(g_socket_new_from_fd(socket, &error));
    good(error, "no socket");
    const std::unique_ptr<GSocketConnection, Unref> stream(
        g_socket_connection_factory_create_connection(own.get()));
    const std::unique_ptr<gchar, decltype(&g_free)> guid(
        is_server ? g_dbus_generate_guid() : nullptr, g_free);
    Connection connection(
        g_dbus_connection_new_sync(G_IO_STREAM(stream.get()), guid.get(),
                                   is_server ? G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_SERVER
                                             : G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT,
                                   nullptr, nullptr, &error));
    good(error, "no connection");
    return connection;
}

class GdbusPeer : public Peer {
public:
    void prepare(const Setting& setting) override {
        setting_ = setting;
        sockets_.make(setting.listeners);
    }

    void open_owner(Exchange&) override {}

    // Each connection is made by both sides at the same time.
    void meet_listeners() override {
        GError* error = nullptr;
        GDBusNodeInfo* description = g_dbus_node_info_new_for_xml(kDescription, &error);
        good(error, "no description of the object");
        for (std::size_t at = 0; at < sockets_.count(); ++at) {
            connections_.push_back(connection_over(sockets_.owners_end(at), true));
            g_dbus_connection_register_object(connections_.back().get(), kPath,
                                              description->interfaces[0], &kAccess, this, nullptr,
                                              &error);
            good(error, "the object cannot be shown");
        }
        g_dbus_node_info_unref(description);
    }

    void change(std::int32_t value) override {
        value_ = value;
        for (const Connection& connection : connections_) {
            GError* error = nullptr;
            g_dbus_connection_emit_signal(connection.get(), nullptr, kPath, kInterface, kSignal,
                                          g_variant_new("(i)", value), &error);
            good(error, "the signal was not sent");
        }
    }

    void change_in_stream(std::int32_t value) override {
        change(value);
        if (value % kBatch == 0) {
            flush();
        }
    }

    void flush() override {
        for (const Connection& connection : connections_) {
            GError* error = nullptr;
            g_dbus_connection_flush_sync(connection.get(), nullptr, &error);
            good(error, "the signals were not sent");
        }
    }

    void answer() override {
        for (;;) {
            g_main_context_iteration(nullptr, TRUE);
        }
    }

    void open_listener(Exchange&, int number) override {
        connections_.push_back(
            connection_over(sockets_.listeners_end(static_cast<std::size_t>(number)), false));
        if (!setting_.is_read) {
            g_dbus_connection_signal_subscribe(connections_.front().get(), nullptr, kInterface,
                                               kSignal, kPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                               take_change, this, nullptr);
        }
    }

    std::int32_t next_change() override {
        while (changes_.empty()) {
            g_main_context_iteration(nullptr, TRUE);
        }
        const std::int32_t value = changes_.front();
        changes_.pop_front();
        return value;
    }

    std::int32_t read() override {
        GError* error = nullptr;
        GVariant* answer = g_dbus_connection_call_sync(
            connections_.front().get(), nullptr, kPath, "org.freedesktop.DBus.Properties", "Get",
            g_variant_new("(ss)", kInterface, "Speed"), G_VARIANT_TYPE("(v)"),
            G_DBUS_CALL_FLAGS_NONE, kLongestWaitMs, nullptr, &error);
        good(error, "the property cannot be read");
        GVariant* value = nullptr;
        g_variant_get(answer, "(v)", &value);
        const std::int32_t number = g_variant_get_int32(value);
        g_variant_unref(value);
        g_variant_unref(answer);
        return number;
    }

private:
    static GVariant* show_value(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                const gchar*, GError**, gpointer peer) {
        return g_variant_new_int32(static_cast<const GdbusPeer*>(peer)->value_);
    }

    // One turn of the main loop may take several changes.
    static void take_change(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                            const gchar*, GVariant* parameters, gpointer peer) {
        std::int32_t value = 0;
        g_variant_get(parameters, "(i)", &value);
        static_cast<GdbusPeer*>(peer)->changes_.push_back(value);
    }

    static constexpr GDBusInterfaceVTable kAccess = {nullptr, show_value, nullptr, {}};

    Setting setting_;
    SocketPairs sockets_;
    std::vector<Connection> connections_;  // the owner's: one for each listener
    std::int32_t value_ = kFirstValue;
    std::deque<std::int32_t> changes_;
};

}  // namespace

int main(int argc, char** argv) {
    GdbusPeer peer;
    return run(argc, argv, peer);
}
