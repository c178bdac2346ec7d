// The mutex guards the pointer only: a call keeps its own reference and waits without it, so
// closing never waits for a call and a call never meets a connection that is gone.
#include "module/owner_link.hpp"

#include "module/host_error.hpp"
#include "wire/directories.hpp"
#include "wire/interface.hpp"
#include "wire/peer.hpp"
#include "wire/spare_descriptors.hpp"

namespace mox::host {
namespace {

struct ObjectDelete {
    void operator()(gpointer object) const { g_object_unref(object); }
};
using ConnectionPtr = std::unique_ptr<GDBusConnection, ObjectDelete>;

struct ErrorDelete {
    void operator()(GError* error) const { g_error_free(error); }
};
using ErrorPtr = std::unique_ptr<GError, ErrorDelete>;

// What GLib opens while it waits for an answer; it ends the process when it cannot.
constexpr int descriptors_to_wait = 1;

struct Attempt {
    bool is_done = false;
    ErrorPtr error;
};

void on_connected(GObject* source, GAsyncResult* result, gpointer data) {
    auto* const attempt = static_cast<Attempt*>(data);
    GError* error = nullptr;
    g_async_initable_init_finish(G_ASYNC_INITABLE(source), result, &error);
    attempt->error.reset(error);
    attempt->is_done = true;
}

gboolean give_up(gpointer cancellable) {
    g_cancellable_cancel(static_cast<GCancellable*>(cancellable));
    return G_SOURCE_REMOVE;
}

// Waits for the connection in a main context of its own, with a time limit: a stopped owner's
// socket still accepts. Returns what went wrong, null when it is connected.
ErrorPtr connect_in_time(GDBusConnection* connection) {
    GMainContext* const context = g_main_context_new();
    GCancellable* const cancellable = g_cancellable_new();
    GSource* const limit = g_timeout_source_new(MOXHOST_CALL_TIMEOUT_MS);
    g_source_set_callback(limit, give_up, cancellable, nullptr);
    g_source_attach(limit, context);
    g_main_context_push_thread_default(context);
    Attempt attempt;
    g_async_initable_init_async(G_ASYNC_INITABLE(connection), G_PRIORITY_DEFAULT, cancellable,
                                on_connected, &attempt);
    while (!attempt.is_done) {
        g_main_context_iteration(context, TRUE);
    }
    g_main_context_pop_thread_default(context);
    g_source_destroy(limit);
    g_source_unref(limit);
    g_object_unref(cancellable);
    g_main_context_unref(context);
    return std::move(attempt.error);
}

void set_connect_error(const GError& cause, const std::string& run_dir, GError** error) {
    const std::string where = wire::socket_path(run_dir);
    if (g_error_matches(&cause, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE) {
        set_error(error, MOXHOST_ERROR_TIMEOUT,
                  "the owner at " + where + " did not answer within " +
                      std::to_string(MOXHOST_CALL_TIMEOUT_MS) +
                      " ms; see whether it is stopped, or waits for an object's lock");
    } else if (g_error_matches(&cause, G_IO_ERROR, G_IO_ERROR_PERMISSION_DENIED) != FALSE) {
        set_error(error, MOXHOST_ERROR_NO_OWNER,
                  "no owner at " + where + ": " + cause.message +
                      "; this user is not let in: join as the owner's user, or be of the group "
                      "that its profile names");
    } else {
        set_error(error, MOXHOST_ERROR_NO_OWNER,
                  "no owner at " + where + ": " + cause.message +
                      "; start moxd with this run directory, as this user");
    }
}

// The code for an error that the owner's reply names.
MoxHostError code_of(const char* name) {
    if (g_strcmp0(name, wire::error_mismatch) == 0) return MOXHOST_ERROR_MISMATCH;
    if (g_strcmp0(name, wire::error_not_found) == 0) return MOXHOST_ERROR_NOT_FOUND;
    if (g_strcmp0(name, wire::error_failed) == 0) return MOXHOST_ERROR_FAILED;
    if (g_strcmp0(name, wire::error_state) == 0) return MOXHOST_ERROR_STATE;
    return MOXHOST_ERROR_REFUSED;
}

// The connection's own thread may have made the message, so GLib reads it: see tsan_glib.cpp.
std::string message_of(const GError& error) {
    gchar* const copy = g_strdup(error.message);
    std::string message = copy;
    g_free(copy);
    return message;
}

void set_call_error(const char* method, GError& cause, GError** error) {
    gchar* const name = g_dbus_error_get_remote_error(&cause);
    const std::string call = std::string("call ") + method;
    if (name != nullptr) {
        g_dbus_error_strip_remote_error(&cause);
        set_error(error, code_of(name), call + " refused: " + message_of(cause));
    } else if (g_error_matches(&cause, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != FALSE) {
        set_error(error, MOXHOST_ERROR_TIMEOUT,
                  call + ": the owner did not answer within " +
                      std::to_string(MOXHOST_CALL_TIMEOUT_MS) +
                      " ms; see whether it is stopped, or waits for an object's lock");
    } else {
        set_error(error, MOXHOST_ERROR_LOST,
                  call + ": " + message_of(cause) + "; the connection to the owner is gone");
    }
    g_free(name);
}

// Why the process at the other end is not to be joined; "" when it is. The socket tells who made
// it; the D-Bus handshake tells only the server about its client.
std::string distrust(GDBusConnection* connection, const std::string& run_dir) {
    const auto owner = wire::peer_of(g_dbus_connection_get_stream(connection));
    return owner ? wire::distrust(*owner, wire::this_process(), run_dir)
                 : std::string("runs as a user that the system does not tell");
}

}  // namespace

bool OwnerLink::open(const std::string& run_dir, Events events, GError** error) {
    const std::string address = wire::socket_address(run_dir);
    if (address.empty()) {
        set_error(error, MOXHOST_ERROR_NO_OWNER,
                  "run directory " + run_dir + " is too long for a socket; use a shorter one");
        return false;
    }
    // Made here and not in the waiting context: it tells its end in the context that was the
    // default when it was made.
    ConnectionPtr connection(static_cast<GDBusConnection*>(
        g_object_new(G_TYPE_DBUS_CONNECTION, "address", address.c_str(), "flags",
                     G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT, nullptr)));
    const ErrorPtr failure = connect_in_time(connection.get());
    if (failure) {
        set_connect_error(*failure, run_dir, error);
        return false;
    }
    const std::string cause = distrust(connection.get(), run_dir);
    if (!cause.empty()) {
        set_error(error, MOXHOST_ERROR_NO_OWNER,
                  "what answers at " + wire::socket_path(run_dir) + " " + cause +
                      "; start moxd as this user, or with a group that this user is of");
        return false;
    }
    events_ = std::move(events);
    closed_handler_ = g_signal_connect(connection.get(), "closed", G_CALLBACK(on_closed), this);
    subscription_ = g_dbus_connection_signal_subscribe(
        connection.get(), nullptr, wire::interface_name, wire::gone_signal, wire::object_path,
        nullptr, G_DBUS_SIGNAL_FLAGS_NONE, on_signal, this, nullptr);
    const std::lock_guard lock(mutex_);
    connection_ = connection.release();
    return true;
}

void OwnerLink::close() {
    ConnectionPtr connection;
    {
        const std::lock_guard lock(mutex_);
        connection.reset(connection_);
        connection_ = nullptr;
    }
    if (connection) {
        g_signal_handler_disconnect(connection.get(), closed_handler_);
        g_dbus_connection_signal_unsubscribe(connection.get(), subscription_);
        events_ = {};
        if (wire::missing_descriptors(descriptors_to_wait).empty()) {
            g_dbus_connection_close_sync(connection.get(), nullptr, nullptr);
        } else {
            g_dbus_connection_close(connection.get(), nullptr, nullptr, nullptr);
        }
    }
}

VariantPtr OwnerLink::call(const char* method, GVariant* arguments, const char* reply_type,
                           GError** error) {
    const VariantPtr sunk(arguments == nullptr ? nullptr : g_variant_ref_sink(arguments));
    const ConnectionPtr connection(take_connection());
    if (!connection) {
        set_error(error, MOXHOST_ERROR_LOST,
                  std::string("call ") + method + ": there is no connection to the owner");
        return nullptr;
    }
    const std::string shortage = wire::missing_descriptors(descriptors_to_wait);
    if (!shortage.empty()) {
        set_error(error, MOXHOST_ERROR_FAILED,
                  std::string("call ") + method + ": the owner cannot be asked: " + shortage);
        return nullptr;
    }
    GError* cause = nullptr;
    VariantPtr reply(g_dbus_connection_call_sync(
        connection.get(), nullptr, wire::object_path, wire::interface_name, method, sunk.get(),
        G_VARIANT_TYPE(reply_type), G_DBUS_CALL_FLAGS_NO_AUTO_START, MOXHOST_CALL_TIMEOUT_MS,
        nullptr, &cause));
    if (!reply) {
        const ErrorPtr owned(cause);
        set_call_error(method, *cause, error);
    }
    return reply;
}

void OwnerLink::tell(const char* method, GVariant* arguments) {
    const VariantPtr sunk(g_variant_ref_sink(arguments));
    const ConnectionPtr connection(take_connection());
    if (connection) {
        // Without a call-back it is marked as a call that wants no reply.
        g_dbus_connection_call(connection.get(), nullptr, wire::object_path, wire::interface_name,
                               method, sunk.get(), nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1,
                               nullptr, nullptr, nullptr);
    }
}

bool OwnerLink::is_lost() {
    const ConnectionPtr connection(take_connection());
    return !connection || g_dbus_connection_is_closed(connection.get()) != FALSE;
}

GDBusConnection* OwnerLink::take_connection() {
    const std::lock_guard lock(mutex_);
    return connection_ == nullptr ? nullptr
                                  : static_cast<GDBusConnection*>(g_object_ref(connection_));
}

void OwnerLink::on_closed(GDBusConnection*, gboolean, GError*, gpointer self) {
    const auto* const link = static_cast<const OwnerLink*>(self);
    if (link->events_.on_lost) {
        link->events_.on_lost();
    }
}

void OwnerLink::on_signal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                          GVariant* arguments, gpointer self) {
    const auto* const link = static_cast<const OwnerLink*>(self);
    if (link->events_.on_gone && g_variant_is_of_type(arguments, G_VARIANT_TYPE(wire::gone_type))) {
        guint32 position = 0;
        g_variant_get(arguments, wire::gone_type, &position);
        link->events_.on_gone(position);
    }
}

OwnerLink& owner_link() {
    static auto* const link = new OwnerLink;
    return *link;
}

}  // namespace mox::host
