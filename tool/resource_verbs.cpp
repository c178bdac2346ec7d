// modules and queues: who takes part, and where messages wait. The tool's own membership, which
// ends with the listing, is left out.
#include <algorithm>
#include <vector>

#include "json_writer.hpp"
#include "membership.hpp"
#include "table.hpp"
#include "verb_table.hpp"

namespace mox::tool {
namespace {

constexpr double nearly_full = 80;  // percent

std::vector<MoxHostModuleInfo> other_modules(const Membership& owner) {
    const gint32 own_id = moxhost_reg_info(owner.module())->module_id;
    const ModuleInfos infos = module_infos(owner);
    std::vector<MoxHostModuleInfo> others;
    std::copy_if(infos.begin(), infos.end(), std::back_inserter(others),
                 [own_id](const MoxHostModuleInfo& info) { return info.id != own_id; });
    return others;
}

bool is_owner(const MoxHostModuleInfo& info) {
    return info.id == 0;
}

const char* type_of(const MoxHostModuleInfo& info) {
    return is_owner(info) ? "owner" : module_type_words(info.type);
}

std::string time_text(gint64 time_us, const char* format) {
    GDateTime* const utc = g_date_time_new_from_unix_utc(time_us / G_USEC_PER_SEC);
    if (utc == nullptr) return "";
    GDateTime* const local = g_date_time_to_local(utc);
    const TextPtr text(g_date_time_format(local, format));
    g_date_time_unref(local);
    g_date_time_unref(utc);
    return text.get();
}

Cell lost_cell(guint64 lost) {
    return {std::to_string(lost), lost == 0 ? Style::plain : Style::bad};
}

void run_modules(Call& call) {
    const Membership owner(call);
    const std::vector<MoxHostModuleInfo> infos = other_modules(owner);
    if (call.wants_json) {
        JsonWriter json;
        json.begin_array();
        for (const MoxHostModuleInfo& info : infos) {
            json.begin_object();
            json.member("module", info.name);
            json.member("type", type_of(info));
            json.member("pid", info.pid);
            json.member("id", info.id);
            json.member("since", time_text(info.joined_us, "%Y-%m-%dT%H:%M:%S%:z"));
            json.member("since_us", info.joined_us);
            json.member("copies", info.copies);
            json.member("listens", info.listens);
            json.member("sent", info.events_sent);
            json.member("lost", info.events_lost);
            json.end_object();
        }
        json.end_array();
        json.print(call.out);
        return;
    }
    Table table({{"MODULE"},
                 {"TYPE"},
                 {"PID", Align::right},
                 {"ID", Align::right},
                 {"SINCE"},
                 {"COPIES", Align::right},
                 {"LISTENS", Align::right},
                 {"SENT BY OWNER", Align::right},
                 {"LOST BY ANY", Align::right}});
    for (const MoxHostModuleInfo& info : infos) {
        table.add({info.name, type_of(info), std::to_string(info.pid), std::to_string(info.id),
                   time_text(info.joined_us, "%Y-%m-%d %H:%M:%S"), std::to_string(info.copies),
                   std::to_string(info.listens), std::to_string(info.events_sent),
                   lost_cell(info.events_lost)});
    }
    table.print(call.out);
}

double percent_of(const MoxHostModuleInfo& info) {
    return info.limit_bytes == 0 ? 0
                                 : 100 * static_cast<double>(info.queued_bytes) /
                                       static_cast<double>(info.limit_bytes);
}

// What is nearly full is marked also where there is no colour.
Cell full_cell(double percent) {
    const bool is_nearly_full = percent > nearly_full;
    const std::string text = std::to_string(static_cast<int>(percent)) + " %";
    return {is_nearly_full ? "! " + text : text, is_nearly_full ? Style::bad : Style::plain};
}

void run_queues(Call& call) {
    const Membership owner(call);
    const std::vector<MoxHostModuleInfo> infos = other_modules(owner);
    if (call.wants_json) {
        JsonWriter json;
        json.begin_array();
        for (const MoxHostModuleInfo& info : infos) {
            json.begin_object();
            json.member("module", info.name);
            json.member("queue", info.queue_id);
            json.member("messages", info.queued);
            json.member("bytes", info.queued_bytes);
            json.member("limit", info.limit_bytes);
            json.member("nearly_full", percent_of(info) > nearly_full);
            json.member("listens", info.listens);
            json.member("lost", info.events_lost);
            json.end_object();
        }
        json.end_array();
        json.print(call.out);
        return;
    }
    Table table({{"MODULE"},
                 {"QUEUE", Align::right},
                 {"MESSAGES", Align::right},
                 {"BYTES", Align::right},
                 {"LIMIT", Align::right},
                 {"FULL", Align::right},
                 {"LOST", Align::right}});
    for (const MoxHostModuleInfo& info : infos) {
        table.add({info.name, std::to_string(info.queue_id), std::to_string(info.queued),
                   std::to_string(info.queued_bytes), std::to_string(info.limit_bytes),
                   full_cell(percent_of(info)), lost_cell(info.events_lost)});
    }
    table.print(call.out);
}

}  // namespace

const Verb modules_verb = {
    .name = "modules",
    .arguments = "",
    .summary = "list the owner and the modules that have joined",
    .description =
        "Prints for each: name, type, process id, id, since when it has joined, how many\n"
        "objects it has copies of, how many properties of classes it listens to, how\n"
        "many property events the owner has sent to it, and how many messages of any\n"
        "process did not reach its queue. This command itself is left out.",
    .example = "moxctl modules\nmoxctl modules --json",
    .run = run_modules,
};

const Verb queues_verb = {
    .name = "queues",
    .arguments = "",
    .summary = "show what waits in each module's message queue",
    .description =
        "Prints for each module: its queue, the messages and bytes that wait in it, the\n"
        "bytes that it holds at most, how full it is (\"!\" above 80 %), and how many\n"
        "messages did not reach it. A queue that stays full belongs to a module that\n"
        "does not take its messages.",
    .example = "moxctl queues\nmoxctl queues --json",
    .run = run_queues,
};

}  // namespace mox::tool
