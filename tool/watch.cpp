// The verb watch. However it ends, the owner is left before the output is waited for.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

#include "verb_table.hpp"
#include "watch_options.hpp"
#include "watch_session.hpp"

namespace mox::tool {
namespace {

// What one watch came to.
struct Result {
    WatchEnd end = WatchEnd::none;
    guint64 shown = 0;
    guint64 lost_in_queue = 0;
    guint64 lost_at_output = 0;
    std::string last_lines;

    guint64 lost() const { return lost_in_queue + lost_at_output; }
};

Result watch(const Call& call, const WatchOptions& options, std::unique_ptr<WatchWriter>& writer) {
    const Membership owner(call);
    WatchFilter filter(owner, options);
    const WatchLines lines(call.out, call.wants_json, filter.object_width(),
                           filter.property_width());
    writer = std::make_unique<WatchWriter>(call.out);
    WatchSession session(owner, options, filter, lines, *writer);
    const WatchEnd end = session.run();
    return {end, session.shown_events(), session.losses().in_queue(), session.losses().at_output(),
            session.last_lines()};
}

std::string in_words(guint64 events) {
    return std::to_string(events) + (events == 1 ? " event" : " events");
}

std::string number_text(double number) {
    std::array<gchar, G_ASCII_DTOSTR_BUF_SIZE> text{};
    return g_ascii_formatd(text.data(), static_cast<gint>(text.size()), "%g", number);
}

void print_summary(const Result& result) {
    std::string text =
        in_words(result.shown) + " shown, " + std::to_string(result.lost()) + " lost";
    if (result.lost() > 0) {
        text += ": " + std::to_string(result.lost_in_queue) + " in the queue, " +
                std::to_string(result.lost_at_output) + " at the output";
    }
    std::fprintf(stderr, "moxctl: %s\n", text.c_str());
}

// Throws Failed for an end that is not what was asked for.
void judge(const Result& result, const WatchOptions& options) {
    if (result.end == WatchEnd::owner_gone) {
        throw Failed("the owner is gone, after " + in_words(result.shown) +
                     ": start moxd anew, then watch again");
    }
    if (result.end == WatchEnd::timed_out && options.count) {
        throw Failed("only " + std::to_string(result.shown) + " of " + in_words(*options.count) +
                     " came in " + number_text(*options.timeout_s) +
                     " seconds; a longer --timeout or a smaller --count may do");
    }
}

void run(Call& call) {
    const WatchOptions options = read_watch_options();
    std::unique_ptr<WatchWriter> writer;
    Result result = watch(call, options, writer);
    const bool is_interrupted = result.end == WatchEnd::interrupted;
    const bool is_written =
        writer->finish(result.last_lines, is_interrupted ? WatchWriter::Patience::short_time
                                                         : WatchWriter::Patience::while_it_moves);
    if (!is_written) {
        // What was taken for shown, and is not.
        const guint64 unwritten = result.shown - writer->events_written();
        result.shown -= unwritten;
        result.lost_at_output += unwritten;
    }
    if (is_interrupted || result.lost() > 0) print_summary(result);
    if (!is_written) {
        std::fprintf(stderr,
                     "moxctl: nobody takes the standard output; what waited for it is lost\n");
        std::_Exit(static_cast<int>(is_interrupted ? ExitCode::done : ExitCode::failed));
    }
    writer->rethrow();
    judge(result, options);
}

}  // namespace

const Verb watch_verb = {
    .name = "watch",
    .arguments = "",
    .summary = "print changes of values, new and removed objects as they come",
    .description =
        "Prints a line for each event: time, object, property and value. All filters\n"
        "that are given hold together, each at most once. It goes on until --count,\n"
        "--timeout, Ctrl-C or the end of the owner.\n"
        "\n"
        "Events are taken as they come, also while the output is slow: up to 1 MiB of\n"
        "lines wait for it, what comes beyond that is lost. Where events were lost a\n"
        "line says how many, and the error output says it again at the end. Losses in\n"
        "the queue are counted before the filters.\n"
        "\n"
        "With --json each event is an object on a line of its own, a loss is\n"
        "{\"lost\": N, \"where\": ...}.\n"
        "\n"
        "Exit code 1 when the owner is gone, or when fewer than --count events came\n"
        "before --timeout.",
    .example =
        "moxctl watch --class Sensor --property Reading --min-change 0.5\n"
        "moxctl watch --object Fan1 --count 10 --timeout 60 --json",
    .options = watch_option_entries,
    .run = run,
};

}  // namespace mox::tool
