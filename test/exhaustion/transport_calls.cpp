// Each function asks the plan, then makes the real call unless the owner must not see it.
#include "transport_calls.hpp"

#include <dlfcn.h>
#include <gio/gio.h>
#include <sys/mman.h>

#include <array>
#include <cstring>

namespace mox::test {
namespace {

TransportPlan plan_now;
unsigned calls = 0;
unsigned failures = 0;

TransportFault next_fault() {
    ++calls;
    const bool fails =
        plan_now.n != 0 && (calls == plan_now.n || (plan_now.from_then_on && calls > plan_now.n));
    if (!fails) return TransportFault::none;
    ++failures;
    return plan_now.fault;
}

// Names of methods, each once, in memory that is its children's too; no two of them call at once.
struct MethodNames {
    std::array<std::array<char, 32>, 100> names;
    std::size_t count;
};

MethodNames* const methods = static_cast<MethodNames*>(
    mmap(nullptr, sizeof(MethodNames), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

void note_method(const char* method) {
    for (std::size_t at = 0; at < methods->count; ++at) {
        if (std::strcmp(methods->names[at].data(), method) == 0) return;
    }
    auto& name = methods->names.at(methods->count++);
    std::strncpy(name.data(), method, name.size() - 1);
}

template <typename Function>
Function* next_of(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void set_timed_out(GError** error) {
    g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT, "Timeout was reached");
}

void set_refused(GError** error) {
    GError* const refusal =
        g_dbus_error_new_for_dbus_error("mox.Owner1.Error.Failed", "the test wants it so");
    g_propagate_error(error, refusal);
}

}  // namespace

void plan_transport(const TransportPlan& plan) {
    plan_now = plan;
    calls = 0;
    failures = 0;
}

unsigned transport_calls() {
    return calls;
}

unsigned transport_failures() {
    return failures;
}

std::set<std::string> transport_methods() {
    std::set<std::string> names;
    for (std::size_t at = 0; at < methods->count; ++at) names.insert(methods->names[at].data());
    return names;
}

// Libraries find these only when the program shows them.
#pragma GCC visibility push(default)
extern "C" {

GVariant* g_dbus_connection_call_sync(GDBusConnection* connection, const gchar* bus_name,
                                      const gchar* path, const gchar* interface,
                                      const gchar* method, GVariant* arguments,
                                      const GVariantType* reply_type, GDBusCallFlags flags,
                                      gint timeout_ms, GCancellable* cancellable, GError** error) {
    note_method(method);
    const TransportFault fault = next_fault();
    if (fault == TransportFault::refused) {
        set_refused(error);
        return nullptr;
    }
    if (fault == TransportFault::timed_out) {
        set_timed_out(error);
        return nullptr;
    }
    if (fault == TransportFault::closed) {
        g_dbus_connection_close_sync(connection, nullptr, nullptr);
    }
    GVariant* const reply = next_of<decltype(g_dbus_connection_call_sync)>(
        "g_dbus_connection_call_sync")(connection, bus_name, path, interface, method, arguments,
                                       reply_type, flags, timeout_ms, cancellable, error);
    if (fault != TransportFault::reply_lost || reply == nullptr) return reply;
    g_variant_unref(reply);
    set_timed_out(error);
    return nullptr;
}

// Of a call that has no answer, only what does not reach the owner fails.
void g_dbus_connection_call(GDBusConnection* connection, const gchar* bus_name, const gchar* path,
                            const gchar* interface, const gchar* method, GVariant* arguments,
                            const GVariantType* reply_type, GDBusCallFlags flags, gint timeout_ms,
                            GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
    note_method(method);
    const TransportFault fault = next_fault();
    if (fault == TransportFault::refused || fault == TransportFault::timed_out) return;
    if (fault == TransportFault::closed) {
        g_dbus_connection_close_sync(connection, nullptr, nullptr);
    }
    next_of<decltype(g_dbus_connection_call)>("g_dbus_connection_call")(
        connection, bus_name, path, interface, method, arguments, reply_type, flags, timeout_ms,
        cancellable, done, data);
}

// The end of connecting.
gboolean g_async_initable_init_finish(GAsyncInitable* made, GAsyncResult* result, GError** error) {
    const gboolean is_connected = next_of<decltype(g_async_initable_init_finish)>(
        "g_async_initable_init_finish")(made, result, error);
    const TransportFault fault = next_fault();
    if (fault == TransportFault::none || is_connected == FALSE) return is_connected;
    const GIOErrorEnum code = fault == TransportFault::refused  ? G_IO_ERROR_PERMISSION_DENIED
                              : fault == TransportFault::closed ? G_IO_ERROR_CONNECTION_REFUSED
                                                                : G_IO_ERROR_CANCELLED;
    g_set_error_literal(error, G_IO_ERROR, code, "the test wants it so");
    return FALSE;
}

}  // extern "C"
#pragma GCC visibility pop

}  // namespace mox::test
