// A module that is executed anew with its owner, and writes what it meets into a file, a line each.
//
//   restart_peer RUN_DIR REPORT MODE [argument...]
//
// MODE: stay, leave (in the lost function), nested (all that comes runs in a loop inside another).
// Exit status 0 after SIGTERM or a leave, 3 when it could not be executed anew, 1 for all else.
#include <glib-unix.h>
#include <lom.h>
#include <moxhost/moxhost.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

struct Run {
    GMainLoop* loop;
    std::string report;
    std::string mode;
    int status;
};

void tell(const Run& run, const std::string& line) {
    std::ofstream(run.report, std::ios::app) << line << std::endl;
}

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "none" : value;
}

// What an execution must not lose, and what it must not keep.
void tell_start(const Run& run, int argc, char** argv) {
    std::string words;
    for (int at = 4; at < argc; ++at) {
        words += std::string(" [") + argv[at] + "]";
    }
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    struct sigaction ignored = {};
    struct sigaction pipe = {};
    sigaction(SIGUSR2, nullptr, &ignored);
    sigaction(SIGPIPE, nullptr, &pipe);
    const std::filesystem::directory_iterator open("/proc/self/fd");
    const std::string count = std::to_string(moxhost_restart_count());
    tell(run, "arguments " + count + ":" + words);
    tell(run, "environment " + count + ": " + variable("MOX_TEST_GIVEN") + ' ' +
                  variable("MOX_TEST_KEPT") + ' ' + variable("MOX_RESTARTS"));
    tell(run, "directory " + count + ": " + std::filesystem::current_path().string());
    tell(run, "signals " + count + ": " +
                  (sigismember(&mask, SIGUSR1) == 1 ? "blocked " : "open ") +
                  (ignored.sa_handler == SIG_IGN ? "ignored " : "default ") +
                  (pipe.sa_handler == SIG_IGN ? "ignored" : "default"));
    tell(run,
         "descriptors " + count + ": " +
             std::to_string(std::distance(begin(open), std::filesystem::directory_iterator())));
}

// What a program may do to itself, and its next life must not find.
void change_process() {
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &mask, nullptr);
    std::signal(SIGUSR2, SIG_IGN);
    std::filesystem::current_path("/");
}

std::string level() {
    GVariant* value = nullptr;
    if (lom_get_property_value(lom_get_object_handle("Tank"), "Level", FALSE, &value, FALSE) !=
        MOX_OK) {
        return "unknown";
    }
    const std::string text = std::to_string(g_variant_get_int32(value));
    g_variant_unref(value);
    return text;
}

void on_lost(MoxHostModule* module, gpointer user_data) {
    auto* const run = static_cast<Run*>(user_data);
    tell(*run, "lost");
    if (run->mode == "leave") {
        moxhost_leave(module);
        // Long enough for a restart that ought not to come.
        g_timeout_add(
            1500,
            [](gpointer loop) -> gboolean {
                g_main_loop_quit(static_cast<GMainLoop*>(loop));
                return G_SOURCE_REMOVE;
            },
            run->loop);
    }
}

void on_restart(MoxHostModule* module, const GError* failure, gpointer user_data) {
    auto* const run = static_cast<Run*>(user_data);
    if (failure == nullptr) {
        tell(*run, "about to restart");
        g_setenv("MOX_TEST_KEPT", "kept", TRUE);
        return;
    }
    tell(*run, std::string("not restarted: ") + failure->message);
    tell(*run, "directory afterwards: " + std::filesystem::current_path().string());
    moxhost_leave(module);
    run->status = 3;
    g_main_loop_quit(run->loop);
}

gboolean on_end(gpointer user_data) {
    g_main_loop_quit(static_cast<Run*>(user_data)->loop);
    return G_SOURCE_CONTINUE;
}

gboolean run_inside(gpointer user_data) {
    g_main_loop_run(static_cast<Run*>(user_data)->loop);
    return G_SOURCE_REMOVE;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        return 1;
    }
    Run run{g_main_loop_new(nullptr, FALSE), std::filesystem::absolute(argv[2]), argv[3], 0};
    tell_start(run, argc, argv);
    GError* error = nullptr;
    MoxHostModule* const module = moxhost_join(argv[1], "peer", MODULE_APP, &error);
    if (module == nullptr) {
        tell(run, std::string("not joined: ") + error->message);
        return 1;
    }
    moxhost_set_lost_func(module, on_lost, &run);
    if (moxhost_restart_with_owner(module, on_restart, &run, &error) == FALSE) {
        tell(run, std::string("no restart: ") + error->message);
        return 1;
    }
    change_process();
    g_unix_signal_add(SIGTERM, on_end, &run);
    tell(run, "joined " + std::to_string(moxhost_restart_count()) + ": process " +
                  std::to_string(getpid()) + ", level " + level());
    if (run.mode == "nested") {
        GMainLoop* const outer = g_main_loop_new(nullptr, FALSE);
        g_idle_add(run_inside, &run);
        g_main_loop_run(outer);
        g_main_loop_unref(outer);
    }
    g_main_loop_run(run.loop);
    if (run.status == 0 && run.mode != "leave") {
        moxhost_leave(module);
    }
    g_main_loop_unref(run.loop);
    return run.status;
}
