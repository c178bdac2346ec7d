// An owner that answers what a test wants it to, instead of moxd.
#ifndef MOX_TEST_PROCESS_HOST_FALSE_OWNER_HPP
#define MOX_TEST_PROCESS_HOST_FALSE_OWNER_HPP

#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <string>

#include "wire/interface.hpp"

namespace mox::test {

inline constexpr const char* no_reply = "";  // an error with a name of its own

using Replies = std::map<std::string, std::string>;  // values as text, by method

// Answers every call on its connections from a table; a method that is not in it gets "()".
inline GDBusMessage* answer_from_table(GDBusConnection* connection, GDBusMessage* message,
                                       gboolean is_incoming, gpointer data) {
    const auto& replies = *static_cast<const Replies*>(data);
    if (is_incoming == FALSE ||
        g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
        return message;
    }
    const auto found = replies.find(g_dbus_message_get_member(message));
    const std::string text = found == replies.end() ? "()" : found->second;
    GDBusMessage* reply = nullptr;
    if (text == no_reply) {
        reply = g_dbus_message_new_method_error_literal(message, "no.such.Name", "odd");
    } else {
        reply = g_dbus_message_new_method_reply(message);
        g_dbus_message_set_body(reply, g_variant_new_parsed(text.c_str()));
    }
    g_dbus_connection_send_message(connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                   nullptr);
    g_object_unref(reply);
    g_object_unref(message);
    return nullptr;
}

inline gboolean keep_connection(GDBusServer*, GDBusConnection* connection, gpointer replies) {
    g_object_ref(connection);
    g_dbus_connection_add_filter(connection, answer_from_table, replies, nullptr);
    // What a module must not take for word of removed objects.
    g_dbus_connection_emit_signal(connection, nullptr, host::wire::object_path,
                                  host::wire::interface_name, host::wire::gone_signal,
                                  g_variant_new("(s)", "everything"), nullptr);
    return TRUE;
}

[[noreturn]] inline void play_owner(const std::string& run_dir, Replies replies) {
    alarm(60);
    gchar* const guid = g_dbus_generate_guid();
    GDBusServer* const server =
        g_dbus_server_new_sync(("unix:path=" + run_dir + "/moxd.sock").c_str(),
                               G_DBUS_SERVER_FLAGS_NONE, guid, nullptr, nullptr, nullptr);
    if (server == nullptr || chmod((run_dir + "/moxd.sock").c_str(), 0600) != 0) {
        _exit(1);
    }
    g_signal_connect(server, "new-connection", G_CALLBACK(keep_connection), &replies);
    g_dbus_server_start(server);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
    _exit(0);
}

}  // namespace mox::test

#endif
