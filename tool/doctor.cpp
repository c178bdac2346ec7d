// It asks the machine, not an owner, so it needs none, and joins none: the pool's address must be
// as free here as in a program that has just started.
#include "doctor.hpp"

#include <moxhost/moxhost.h>

#include <algorithm>

#include "doctor_address.hpp"
#include "doctor_directories.hpp"
#include "doctor_limits.hpp"
#include "doctor_locks.hpp"
#include "doctor_owner.hpp"
#include "json_writer.hpp"
#include "verb_table.hpp"
#include "wire/directories.hpp"

namespace mox::tool {
namespace {

gchar* wanted_state_dir = nullptr;

const GOptionEntry options[] = {{"state-dir", 's', 0, G_OPTION_ARG_FILENAME, &wanted_state_dir,
                                 "directory of lasting saved values, as of moxd", "DIR"},
                                {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};

const char* word_of(Verdict verdict) {
    switch (verdict) {
        case Verdict::ok:
            return "ok";
        case Verdict::warn:
            return "warn";
        case Verdict::fail:
            break;
    }
    return "FAIL";
}

Style style_of(Verdict verdict) {
    switch (verdict) {
        case Verdict::ok:
            return Style::good;
        case Verdict::warn:
            return Style::warning;
        case Verdict::fail:
            break;
    }
    return Style::bad;
}

std::string padded(const std::string& text, std::size_t width) {
    return text + std::string(width - std::min(width, text.size()), ' ');
}

void print_lines(Output& out, const std::vector<Finding>& findings) {
    constexpr std::size_t verdict_width = 4;
    std::size_t check_width = 0;
    for (const Finding& finding : findings) {
        check_width = std::max(check_width, finding.check.size());
    }
    const std::string indent(verdict_width + check_width + 4, ' ');
    for (const Finding& finding : findings) {
        const std::string word = word_of(finding.verdict);
        out.line(out.styled(style_of(finding.verdict), word) +
                 std::string(verdict_width - word.size() + 2, ' ') +
                 padded(finding.check, check_width + 2) + shown(finding.found));
        if (!finding.cure.empty()) out.line(indent + "cure: " + shown(finding.cure));
        if (!finding.command.empty()) out.line(indent + shown(finding.command));
    }
}

void print_json(Output& out, const std::vector<Finding>& findings) {
    JsonWriter json;
    json.begin_array();
    for (const Finding& finding : findings) {
        json.begin_object();
        json.member("check", finding.check);
        json.member("result", finding.verdict == Verdict::fail ? "fail" : word_of(finding.verdict));
        json.member("found", finding.found);
        if (!finding.cure.empty()) json.member("cure", finding.cure);
        if (!finding.command.empty()) json.member("command", finding.command);
        json.end_object();
    }
    json.end_array();
    json.print(out);
}

void run(Call& call) {
    if (wanted_state_dir != nullptr && *wanted_state_dir == '\0') {
        throw WrongUsage("--state-dir has no value");
    }
    const gchar* const run_dir = call.run_dir.empty() ? nullptr : call.run_dir.c_str();
    const std::vector<Finding> findings =
        examine(host::wire::owner_directory(run_dir), host::wire::state_directory(wanted_state_dir),
                "/proc/sys/kernel");
    if (call.wants_json) {
        print_json(call.out, findings);
    } else {
        print_lines(call.out, findings);
    }
    std::string failed;
    for (const Finding& finding : findings) {
        if (finding.verdict == Verdict::fail)
            failed += (failed.empty() ? "" : ", ") + finding.check;
    }
    if (!failed.empty()) {
        throw Failed("this machine cannot run it as it is: " + failed + " failed; see the cures");
    }
}

}  // namespace

std::vector<Finding> examine(const std::string& run_dir, const std::string& state_dir,
                             const std::string& limits) {
    const FoundOwner owner = find_owner(run_dir, MOXHOST_CALL_TIMEOUT_MS);
    const FoundSegment segment = find_segment();
    // What a living owner has taken needs no room any more.
    const bool has_pool = segment.exists && segment.creator_is_alive;
    const guint64 pool_bytes = has_pool ? segment.bytes : wanted_pool_bytes();
    std::vector<Finding> findings{judge_owner(owner, run_dir), check_address(pool_bytes)};
    for (Finding& finding : check_limits(limits, count_ipc_use(pool_bytes, has_pool))) {
        findings.push_back(std::move(finding));
    }
    findings.push_back(check_locks());
    findings.push_back(judge_segment(segment, owner));
    findings.push_back(check_leftovers());
    findings.push_back(check_run_directory(run_dir));
    findings.push_back(check_state_directory(state_dir));
    return findings;
}

const Verb doctor_verb = {
    .name = "doctor",
    .arguments = "",
    .summary = "tell whether this machine can run the owner and its modules",
    .description =
        "Checks, with or without an owner: the pool's fixed address, the limits on\n"
        "messages and segments, locks between processes, what dead owners left, and\n"
        "the owner's directories. One line for each check: ok, warn (it runs, with\n"
        "less than it could have) or FAIL, what was found, and below it the cure, with a\n"
        "command for a shell on a line of its own. An owner that does not answer a call\n"
        "within 2 seconds fails. Exit code 1 when a check fails; warnings alone give 0.\n"
        "Run it as the user that is to run the owner.",
    .example = "moxctl doctor\nmoxctl doctor --json",
    .options = options,
    .run = run,
};

}  // namespace mox::tool
