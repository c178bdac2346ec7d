// The connection to the owner, one in a process: the hooks of the object store carry no data of
// ours.
#ifndef MOXHOST_MODULE_OWNER_LINK_HPP
#define MOXHOST_MODULE_OWNER_LINK_HPP

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace mox::host {

struct VariantDelete {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
using VariantPtr = std::unique_ptr<GVariant, VariantDelete>;

// Every call is bounded by MOXHOST_CALL_TIMEOUT_MS and may come from any thread; none runs sources
// of the caller's main context.
class OwnerLink {
public:
    // What the connection tells by itself, in the thread-default main context of open().
    struct Events {
        std::function<void()> on_lost;                  // it broke before close(); once
        std::function<void(guint32 position)> on_gone;  // the owner removed a position's objects
    };

    // Connects; false with error set.
    bool open(const std::string& run_dir, Events events, GError** error);

    // Nothing happens on a link that is not open. From the thread that opened it.
    void close();

    // Calls the owner. arguments: a floating tuple, or null for none. Returns the reply, of
    // reply_type; null with error set.
    VariantPtr call(const char* method, GVariant* arguments, const char* reply_type,
                    GError** error);

    // Sends a call that has no answer; does not wait. arguments: a floating tuple. Nothing happens
    // without a connection.
    void tell(const char* method, GVariant* arguments);

    // Whether the connection has broken, or there is none.
    bool is_lost();

private:
    static void on_closed(GDBusConnection* connection, gboolean by_peer, GError* error,
                          gpointer self);
    static void on_signal(GDBusConnection* connection, const gchar* sender, const gchar* path,
                          const gchar* interface_name, const gchar* signal, GVariant* arguments,
                          gpointer self);

    // Null when there is none; a reference of the caller's own.
    GDBusConnection* take_connection();

    std::mutex mutex_;
    GDBusConnection* connection_ = nullptr;  // under the mutex
    gulong closed_handler_ = 0;
    guint subscription_ = 0;
    Events events_;
};

// The process's link; lives as long as the process.
OwnerLink& owner_link();

}  // namespace mox::host

#endif
