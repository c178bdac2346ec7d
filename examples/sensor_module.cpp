// sensor_module: the smallest useful module, the one to start your own from. It joins the owner,
// listens to one property of one class and prints its changes until it is interrupted. When the
// owner is stopped and started again it goes on with the new one.
//
//   sensor_module CLASS.PROPERTY [RUN_DIR]      for example: sensor_module System.Load
#include <glib-unix.h>
#include <moxhost/moxhost.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

#include "value_text.hpp"

namespace {

struct Run {
    GMainLoop* loop;
    bool is_lost;  // the owner went away, for good
};

// Called in the main loop for every message of our queue; damaged ones never come this far. The
// value travels in the event itself, in the serialised form of its type; it also stands in the pool
// (lom_get_property_value).
void on_message(MoxHostModule*, const MOX_MSG_S* message, gint64, gpointer) {
    if (message->head.msg_type != MOX_MSG_PROPERTY_EVENT) return;
    MSG_EVENT_DATA_HEAD_S head;
    std::memcpy(&head, message->data, sizeof head);
    GBytes* bytes = g_bytes_new(message->data + sizeof head, head.size);
    GVariant* value =
        g_variant_ref_sink(g_variant_new_from_bytes(G_VARIANT_TYPE(head.type), bytes, FALSE));
    std::printf("%s.%s = %s\n", head.object_name, head.property_name,
                mox::examples::text_of_value(value).c_str());
    g_variant_unref(value);
    g_bytes_unref(bytes);
}

// Called in the main loop when the owner has gone. Nothing more is to be done here: the library
// waits for the next owner.
void on_lost(MoxHostModule*, gpointer) {
    std::fprintf(stderr, "sensor_module: the owner is gone\n");
}

// Called in the main loop when the next owner is there, before this program is executed anew: the
// place to save what is not in the model. With a failure when that could not be done.
void on_restart(MoxHostModule*, const GError* failure, gpointer user_data) {
    if (failure == nullptr) return;
    auto* run = static_cast<Run*>(user_data);
    std::fprintf(stderr, "sensor_module: %s\n", failure->message);
    run->is_lost = true;
    g_main_loop_quit(run->loop);
}

gboolean on_interrupt(gpointer user_data) {
    g_main_loop_quit(static_cast<Run*>(user_data)->loop);
    return G_SOURCE_CONTINUE;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string name = argc > 1 ? argv[1] : "";
    const std::size_t point = name.find('.');
    if (argc > 3 || point == std::string::npos) {
        std::fprintf(stderr, "usage: sensor_module CLASS.PROPERTY [RUN_DIR]\n");
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // each change is seen at once, in a pipe, too

    // Joining attaches the pool; from here on every lom_ and cls_ call sees the owner's objects.
    const gchar* run_dir = argc > 2 ? argv[2] : nullptr;  // null: where moxd puts its socket
    GError* error = nullptr;
    MoxHostModule* module = moxhost_join(run_dir, "sensor_module", MODULE_APP, &error);
    Run run{g_main_loop_new(nullptr, FALSE), false};
    if (module != nullptr) {
        moxhost_set_message_func(module, on_message, nullptr);
        moxhost_set_lost_func(module, on_lost, nullptr);
        g_unix_signal_add(SIGINT, on_interrupt, &run);
        const bool is_listening = moxhost_restart_with_owner(module, on_restart, &run, &error) &&
                                  moxhost_listen(module, name.substr(0, point).c_str(),
                                                 name.substr(point + 1).c_str(), &error);
        // An owner that has gone since the join is no fault: the next one is waited for.
        if (is_listening || g_error_matches(error, MOXHOST_ERROR, MOXHOST_ERROR_LOST)) {
            g_clear_error(&error);
            g_main_loop_run(run.loop);
        }
        moxhost_leave(module);
    }
    g_main_loop_unref(run.loop);
    if (error != nullptr) std::fprintf(stderr, "sensor_module: %s\n", error->message);
    const bool is_good = error == nullptr && !run.is_lost;
    g_clear_error(&error);
    return is_good ? 0 : 1;
}
