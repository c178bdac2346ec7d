// After the end of the connection a timer looks whether an owner accepts connections at the run
// directory. The time between two looks grows with the number of owners that were lost soon, one
// after the other, so that a program does not spend the machine's time on an owner that cannot
// live; it is bounded, so that a module is back well within a second all the same.
#include "module/restart.hpp"

#include <pub.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "module/host_error.hpp"
#include "module/module.hpp"
#include "module/owner_link.hpp"
#include "module/restart_program.hpp"
#include "wire/directories.hpp"

namespace mox::host {
namespace {

constexpr guint shortest_wait_ms = 50;
constexpr guint most_doublings = 2;
constexpr gint64 soon_us = 10 * G_USEC_PER_SEC;    // a life that counts as short
constexpr gint64 told_by_us = G_USEC_PER_SEC / 2;  // what the lost function may take
constexpr gint64 patience_us = MOXHOST_RESTART_PATIENCE_MS * gint64{1000};

// There is at most one module in a process; module is null without one.
struct Watch {
    MoxHostModule* module = nullptr;
    GMainContext* context = nullptr;
    std::string socket_path;
    gint64 joined_us = 0;
    gint64 lost_us = 0;   // 0 while the connection is there
    gint64 found_us = 0;  // when an owner was seen first; 0 before
    bool is_wanted = false;
    MoxHostRestartFunc func = nullptr;
    gpointer user_data = nullptr;
    Program program;
    GSource* timer = nullptr;
};

Watch& watch() {
    static auto* const only_watch = new Watch;
    return *only_watch;
}

// A socket that a dead owner left behind refuses. One whose owner is too busy to take a connection
// is asked again.
bool is_accepting(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) {
        return false;
    }
    const bool accepts =
        connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(descriptor);
    return accepts;
}

guint short_lives_now(const Watch& of) {
    const bool is_short = of.lost_us - of.joined_us < soon_us;
    return is_short ? std::min(restarts().short_lives + 1, most_doublings) : 0;
}

void stop_looking() {
    Watch& own = watch();
    if (own.timer != nullptr) {
        g_source_destroy(own.timer);
        g_source_unref(own.timer);
        own.timer = nullptr;
    }
}

// The call-backs may leave, and may ask for a restart again.
void restart() {
    Watch& own = watch();
    stop_looking();
    if (own.func != nullptr) {
        own.func(own.module, nullptr, own.user_data);
    }
    if (own.module == nullptr) {
        return;
    }
    pub_debug_print(MX_DBG_INSIGHT, "a new owner is there: %s is executed anew.\n",
                    own.program.path.c_str());
    const std::string cause =
        execute_anew(own.program, {restarts().count + 1, short_lives_now(own)});
    pub_debug_print(MX_DBG_ERR,
                    "a new owner is there, but %s; this module stays without one: end the program "
                    "and start it again.\n",
                    cause.c_str());
    own.is_wanted = false;
    stop_looking();
    if (own.func != nullptr) {
        GError* failure = nullptr;
        set_error(&failure, MOXHOST_ERROR_FAILED,
                  cause + "; end this program and have it started again");
        own.func(own.module, failure, own.user_data);
        g_error_free(failure);
    }
}

// The lost function comes first, but a main context that does not run cannot hold the restart up.
bool is_lost_told(const Watch& of) {
    return !of.module->inbox->owes_lost() || g_get_monotonic_time() - of.found_us > told_by_us;
}

gboolean look(gpointer) {
    Watch& own = watch();
    if (!is_accepting(own.socket_path)) {
        return G_SOURCE_CONTINUE;
    }
    if (own.found_us == 0) {
        own.found_us = g_get_monotonic_time();
    }
    if (is_lost_told(own)) {
        restart();
    }
    return G_SOURCE_CONTINUE;  // unless it was destroyed meanwhile
}

void look_from_now_on() {
    Watch& own = watch();
    if (!own.is_wanted || own.lost_us == 0 || own.timer != nullptr) {
        return;
    }
    own.found_us = 0;
    own.timer = g_timeout_source_new(shortest_wait_ms << short_lives_now(own));
    g_source_set_callback(own.timer, look, nullptr, nullptr);
    g_source_attach(own.timer, own.context);
}

}  // namespace

void note_joined(MoxHostModule* module, const std::string& run_dir) {
    Watch& own = watch();
    own.module = module;
    own.context = g_main_context_ref_thread_default();
    own.socket_path = wire::socket_path(run_dir);
    own.joined_us = g_get_monotonic_time();
}

void note_connection_lost() {
    Watch& own = watch();
    if (own.module != nullptr && own.lost_us == 0) {
        own.lost_us = g_get_monotonic_time();
        look_from_now_on();
    }
}

void note_leaving() {
    Watch& own = watch();
    stop_looking();
    if (own.context != nullptr) {
        g_main_context_unref(own.context);
    }
    own = Watch{};
}

gint64 join_patience_us() {
    return restarts().count == 0 ? 0 : patience_us;
}

bool may_pass(const GError& failure) {
    // An owner that died in the middle of the join is LOST; one whose pool was replaced before it
    // was attached is NO_POOL.
    for (const int code : {MOXHOST_ERROR_NO_OWNER, MOXHOST_ERROR_LOST, MOXHOST_ERROR_TIMEOUT,
                           MOXHOST_ERROR_NO_POOL}) {
        if (g_error_matches(&failure, MOXHOST_ERROR, code) != FALSE) {
            return true;
        }
    }
    return false;
}

}  // namespace mox::host

using namespace mox::host;

gboolean moxhost_restart_with_owner(MoxHostModule*, MoxHostRestartFunc func, gpointer user_data,
                                    GError** error) {
    Program program;
    const std::string cause = read_program(program);
    if (!cause.empty()) {
        set_error(error, MOXHOST_ERROR_FAILED, cause);
        return FALSE;
    }
    Watch& own = watch();
    own.program = std::move(program);
    own.func = func;
    own.user_data = user_data;
    own.is_wanted = true;
    look_from_now_on();
    return TRUE;
}

guint moxhost_restart_count() {
    return restarts().count;
}
