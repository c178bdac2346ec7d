// moxctl: looks into the model of a running owner, and changes values where a verb says so.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <span>

#include "command_line.hpp"
#include "output.hpp"

namespace mox::tool {
namespace {

// A descriptor that was closed before would be taken by the next socket or file, and what is
// written to the error output would go there.
void keep_free(int descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) {
        return;
    }
    const int nowhere = open("/dev/null", O_RDWR);
    if (nowhere >= 0 && nowhere != descriptor) {
        dup2(nowhere, descriptor);
        close(nowhere);
    }
}

// Bugs are told; what the layers below the library warn of, such as a chip that cannot be used, is
// in the owner's log, too.
GLogWriterOutput write_bugs_only(GLogLevelFlags level, const GLogField* fields, gsize count,
                                 gpointer user_data) {
    return (level & (G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL)) != 0
               ? g_log_writer_default(level, fields, count, user_data)
               : G_LOG_WRITER_HANDLED;
}

// From here on, the log lines of the library do not meet what the tool prints.
void move_log_aside(bool wants_log) {
    if (!wants_log) {
        g_log_set_writer_func(write_bugs_only, nullptr, nullptr);
    }
    std::fflush(stdout);
    const int target = wants_log ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (target < 0 || dup2(target, STDOUT_FILENO) < 0) {
        throw Failed("the log of the library cannot be moved off the standard output");
    }
    close(target);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
}

// What was printed before a failure comes before the line that tells of it.
void run_verb(const Verb& verb, Call& call) {
    try {
        verb.run(call);
    } catch (const Failed&) {
        try {
            call.out.flush();
        } catch (const OutputClosed&) {
            // The failure is told all the same.
        }
        throw;
    }
}

void run(const CommandLine& line, Output& out) {
    if (line.verb == nullptr) {
        out.text(line.wanted_text);
    } else {
        move_log_aside(line.wants_log);
        Call call{line.arguments, line.run_dir, line.wants_json, out};
        run_verb(*line.verb, call);
    }
    out.flush();
}

void complain(const std::string& text, std::span<char* const> arguments) {
    std::fprintf(stderr, "moxctl: %s\n", shown(with_cut_arguments(text, arguments)).c_str());
}

ExitCode tool_main(int argc, char** argv) {
    std::string hint = "moxctl --help";
    const std::span<char* const> words(argv, static_cast<std::size_t>(argc));
    const std::span<char* const> arguments = words.subspan(std::min<std::size_t>(1, words.size()));
    try {
        // Wrong usage is told as such also where the output cannot be used.
        const CommandLine line = read_command_line(argc, argv, hint);
        Output out(STDOUT_FILENO);
        keep_free(STDIN_FILENO);
        keep_free(STDERR_FILENO);
        run(line, out);
        return ExitCode::done;
    } catch (const OutputClosed&) {
        return ExitCode::done;
    } catch (const WrongUsage& error) {
        complain(error.what() + ("; see " + hint), arguments);
        return ExitCode::wrong_usage;
    } catch (const std::exception& error) {
        complain(error.what(), arguments);
        return ExitCode::failed;
    }
}

}  // namespace
}  // namespace mox::tool

int main(int argc, char** argv) {
    // Characters only: numbers are printed and read the same everywhere.
    std::setlocale(LC_CTYPE, "");
    // A closed pipe is an error of the write, so that the owner is left in order.
    std::signal(SIGPIPE, SIG_IGN);
    return static_cast<int>(mox::tool::tool_main(argc, argv));
}
