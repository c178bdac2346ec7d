// moxd: the owner process. Exit status 0 after a clean stop, 1 when it could not start, 2 for a
// wrong profile. With --check it starts nothing: 0 for a good profile, 2 for a wrong one.
#include <glib-unix.h>
#include <moxlib/moxbase.h>
#include <pub.h>

#include <csignal>
#include <cstdio>
#include <memory>

#include "owner/owner.hpp"
#include "owner/start_error.hpp"
#include "profile/profile.hpp"
#include "wire/directories.hpp"
#include "wire/spare_descriptors.hpp"

namespace {

constexpr int exit_no_start = 1;
constexpr int exit_bad_profile = 2;

struct FreeString {
    void operator()(gchar* text) const { g_free(text); }
};
using StringPtr = std::unique_ptr<gchar, FreeString>;

struct Options {
    StringPtr profile;
    StringPtr run_dir;
    StringPtr state_dir;
    StringPtr volatile_dir;
    StringPtr name;
    StringPtr check;
    gboolean wants_version = FALSE;
};

// Reads the command line; false when it is wrong, after a line that says so.
bool read_options(int argc, char** argv, Options& options) {
    gchar* profile = nullptr;
    gchar* run_dir = nullptr;
    gchar* state_dir = nullptr;
    gchar* volatile_dir = nullptr;
    gchar* name = nullptr;
    gchar* check = nullptr;
    const GOptionEntry entries[] = {
        {"profile", 'p', 0, G_OPTION_ARG_FILENAME, &profile, "the classes and objects to serve",
         "FILE"},
        {"run-dir", 'r', 0, G_OPTION_ARG_FILENAME, &run_dir,
         "directory of the socket (default: $MOX_RUN_DIR, $XDG_RUNTIME_DIR/moxd, /run/moxd)",
         "DIR"},
        {"state-dir", 's', 0, G_OPTION_ARG_FILENAME, &state_dir,
         "directory of lasting saved values (default: $MOX_STATE_DIR, $XDG_STATE_HOME/moxd, "
         "/var/lib/moxd as root, ~/.local/state/moxd)",
         "DIR"},
        {"volatile-dir", 0, 0, G_OPTION_ARG_FILENAME, &volatile_dir,
         "directory of values saved until the machine starts anew (default: the run directory)",
         "DIR"},
        {"name", 'n', 0, G_OPTION_ARG_STRING, &name, "the owner's module name (default: moxd)",
         "NAME"},
        {"check", 'c', 0, G_OPTION_ARG_FILENAME, &check,
         "name all faults of a profile and end, without starting anything", "FILE"},
        {"version", 'V', 0, G_OPTION_ARG_NONE, &options.wants_version, "print the version and end",
         nullptr},
        {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
    GOptionContext* const context = g_option_context_new("- owner of the object model");
    g_option_context_add_main_entries(context, entries, nullptr);
    GError* error = nullptr;
    const bool parsed = g_option_context_parse(context, &argc, &argv, &error) != FALSE;
    g_option_context_free(context);
    options.profile.reset(profile);
    options.run_dir.reset(run_dir);
    options.state_dir.reset(state_dir);
    options.volatile_dir.reset(volatile_dir);
    options.check.reset(check);
    options.name.reset(name != nullptr ? name : g_strdup("moxd"));
    if (!parsed) {
        std::fprintf(stderr, "moxd: %s; see moxd --help\n", error->message);
        g_error_free(error);
        return false;
    }
    if (argc > 1) {
        std::fprintf(stderr, "moxd: \"%s\" is not understood; see moxd --help\n", argv[1]);
        return false;
    }
    return true;
}

// Whether the options make sense; false after a line that says what does not.
bool check_options(const Options& options) {
    const std::size_t name_length = std::char_traits<char>::length(options.name.get());
    if (name_length == 0 || name_length > mox::host::max_name_bytes) {
        std::fprintf(stderr, "moxd: --name must have 1 to 31 bytes\n");
        return false;
    }
    if (options.profile && options.check) {
        std::fprintf(stderr, "moxd: give --profile to serve or --check to look, not both\n");
        return false;
    }
    if (!options.profile && !options.check && options.wants_version == FALSE) {
        std::fprintf(stderr, "moxd: --profile FILE is missing; see moxd --help\n");
        return false;
    }
    return true;
}

// Prints a line for each fault, or the one that there is none.
int check(const char* path) {
    const mox::host::CheckedProfile checked = mox::host::check_profile(path);
    for (const std::string& fault : checked.faults) {
        std::fprintf(stderr, "%s\n", fault.c_str());
    }
    if (!checked.faults.empty()) {
        return exit_bad_profile;
    }
    const mox::host::Profile& profile = checked.profile;
    std::printf("%s: no faults, %zu classes, %zu objects, %zu boards\n", checked.file.c_str(),
                profile.classes.size(), profile.objects.size(), profile.boards.size());
    return 0;
}

struct UnrefLoop {
    void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
};

gboolean stop(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

mox::host::Directories directories_of(const Options& options) {
    const std::string run_dir = mox::host::wire::run_directory(options.run_dir.get());
    const gchar* const wanted = options.volatile_dir.get();
    const bool is_given = wanted != nullptr && wanted[0] != '\0';
    return {run_dir, mox::host::wire::state_directory(options.state_dir.get()),
            is_given ? mox::host::wire::run_directory(wanted) : run_dir};
}

int serve(mox::host::Profile profile, const mox::host::Directories& directories, const char* name) {
    // A line is whole in a pipe or a journal as soon as it is written.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::string cause =
        mox::host::wire::missing_descriptors(mox::host::wire::owner_descriptors);
    if (!cause.empty()) {
        std::fprintf(stderr, "moxd: %s\n", cause.c_str());
        return exit_no_start;
    }
    pub_log_init(nullptr, name);
    std::signal(SIGPIPE, SIG_IGN);
    const std::unique_ptr<GMainLoop, UnrefLoop> loop(g_main_loop_new(nullptr, FALSE));
    // From here on a signal waits for the loop: it cannot interrupt the start and leave half of it
    // behind.
    for (const int signal_number : {SIGTERM, SIGINT, SIGHUP}) {
        g_unix_signal_add(signal_number, stop, loop.get());
    }
    try {
        mox::host::Owner owner(std::move(profile), directories, name);
        std::printf("%s\n", owner.ready_line().c_str());
        std::fflush(stdout);
        owner.run(loop.get());
    } catch (const mox::host::StartError& error) {
        std::fprintf(stderr, "moxd: %s\n", error.cause.c_str());
        return exit_no_start;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!read_options(argc, argv, options) || !check_options(options)) {
        return exit_no_start;
    }
    if (options.wants_version != FALSE) {
        std::printf("moxd %s\n", MOXHOST_VERSION);
        return 0;
    }
    if (options.check) {
        return check(options.check.get());
    }
    std::variant<mox::host::Profile, std::string> profile =
        mox::host::load_profile(options.profile.get());
    if (const auto* const fault = std::get_if<std::string>(&profile)) {
        std::fprintf(stderr, "%s\nmoxd: not started; moxd --check FILE names every fault\n",
                     fault->c_str());
        return exit_bad_profile;
    }
    return serve(std::get<mox::host::Profile>(std::move(profile)), directories_of(options),
                 options.name.get());
}
