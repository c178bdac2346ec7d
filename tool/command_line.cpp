// Two parses: the framework's options up to the verb, then the verb's own and the framework's
// again.
#include "command_line.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <span>
#include <string_view>

#include "glib_owners.hpp"

namespace mox::tool {
namespace {

// What the framework's options set; read once the parse has succeeded.
gchar* run_dir = nullptr;
gboolean wants_json = FALSE;
gboolean wants_log = FALSE;
gboolean wants_help = FALSE;
gboolean wants_version = FALSE;

constexpr GOptionEntry run_dir_entry = {
    "run-dir",
    'r',
    0,
    G_OPTION_ARG_FILENAME,
    &run_dir,
    "directory of the owner's socket (default: $MOX_RUN_DIR, $XDG_RUNTIME_DIR/moxd, /run/moxd)",
    "DIR"};
constexpr GOptionEntry json_entry = {
    "json", 'j', 0, G_OPTION_ARG_NONE, &wants_json, "print JSON for programs", nullptr};
constexpr GOptionEntry log_entry = {
    "log",  0, 0, G_OPTION_ARG_NONE, &wants_log, "show the library's log on the error output",
    nullptr};
constexpr GOptionEntry help_entry = {
    "help", 'h', 0, G_OPTION_ARG_NONE, &wants_help, "print this help and end", nullptr};
constexpr GOptionEntry version_entry = {
    "version", 'V', 0, G_OPTION_ARG_NONE, &wants_version, "print the version and end", nullptr};
constexpr GOptionEntry no_entry = {};

constexpr std::array global_entries{run_dir_entry, json_entry,    log_entry,
                                    help_entry,    version_entry, no_entry};
constexpr std::array verb_entries{run_dir_entry, json_entry, log_entry, help_entry, no_entry};

// Stands before an argument that the option parser is not to take for an option.
constexpr char guard = '\x01';

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

// GLib's help in characters that every terminal has.
std::string help_of(GOptionContext* context) {
    const TextPtr text{g_option_context_get_help(context, TRUE, nullptr)};
    return replaced(replaced(text.get(), "Application Options:", "Options:"), "\u2026", "...");
}

std::string verb_list() {
    std::size_t width = 0;
    for (const Verb* verb : all_verbs()) {
        width = std::max(width, verb->is_hidden ? 0 : std::string(verb->name).size());
    }
    std::string text = "Verbs:\n";
    for (const Verb* verb : all_verbs()) {
        if (!verb->is_hidden) {
            std::string name = verb->name;
            name.resize(width + 3, ' ');
            text += "  " + name + verb->summary + "\n";
        }
    }
    return text +
           "\nmoxctl VERB --help tells a verb's arguments and options, and shows an example.";
}

OptionsPtr global_context() {
    OptionsPtr context{g_option_context_new("VERB [ARGUMENT...]")};
    g_option_context_set_help_enabled(context.get(), FALSE);
    g_option_context_set_strict_posix(context.get(), TRUE);
    g_option_context_set_summary(context.get(),
                                 "Looks into the model of a running owner. Only set, override and "
                                 "cancel change it.");
    g_option_context_add_main_entries(context.get(), global_entries.data(), nullptr);
    g_option_context_set_description(context.get(), verb_list().c_str());
    return context;
}

// rest: receives the arguments.
OptionsPtr verb_context(const Verb& verb, gchar*** rest) {
    OptionsPtr context{g_option_context_new(nullptr)};
    g_option_context_set_help_enabled(context.get(), FALSE);
    g_option_context_set_summary(context.get(), verb.description);
    if (verb.options != nullptr) {
        g_option_context_add_main_entries(context.get(), verb.options, nullptr);
    }
    g_option_context_add_main_entries(context.get(), verb_entries.data(), nullptr);
    const GOptionEntry rest_entries[] = {
        {G_OPTION_REMAINING, 0, 0, G_OPTION_ARG_FILENAME_ARRAY, rest, nullptr,
         *verb.arguments == '\0' ? nullptr : verb.arguments},
        no_entry};
    g_option_context_add_main_entries(context.get(), rest_entries, nullptr);
    const std::string example = replaced(std::string("\n") + verb.example, "\n", "\n  ");
    g_option_context_set_description(context.get(), ("Example:" + example).c_str());
    return context;
}

void parse(GOptionContext* context, StringsPtr& words) {
    ErrorHolder error;
    gchar** list = words.release();
    const bool is_good = g_option_context_parse_strv(context, &list, error.out()) != FALSE;
    words.reset(list);
    if (!is_good) {
        throw WrongUsage(error.text());
    }
}

bool looks_like_number(const std::string& word) {
    return word.size() > 1 && word[0] == '-' &&
           (std::isdigit(static_cast<unsigned char>(word[1])) != 0 || word[1] == '.' ||
            word == "-inf" || word == "-nan");
}

// The words behind the verb, behind a program's name, as the option parser is to see them.
StringsPtr verb_words(const Verb& verb, gchar** from) {
    std::vector<std::string> words{"moxctl"};
    for (gchar** at = from; *at != nullptr; ++at) {
        const bool is_value = verb.takes_value && (looks_like_number(*at) || **at == guard);
        words.push_back(is_value ? guard + std::string(*at) : *at);
    }
    gchar** const list = g_new0(gchar*, words.size() + 1);
    for (std::size_t at = 0; at < words.size(); ++at) {
        list[at] = g_strdup(words[at].c_str());
    }
    return StringsPtr{list};
}

std::vector<std::string> arguments_of(const Verb& verb, const StringsPtr& rest) {
    std::vector<std::string> arguments;
    for (gchar** at = rest.get(); at != nullptr && *at != nullptr; ++at) {
        arguments.emplace_back(verb.takes_value && **at == guard ? *at + 1 : *at);
    }
    return arguments;
}

// The parser takes a value for an option that has none, and forgets it.
void refuse_values(std::span<const GOptionEntry> entries, const StringsPtr& words) {
    for (gchar** at = words.get(); *at != nullptr && std::string_view("--") != *at; ++at) {
        const std::string_view word = *at;
        const std::string_view option = word.substr(0, word.find('='));
        for (const GOptionEntry& entry : entries) {
            if (entry.long_name != nullptr && entry.arg == G_OPTION_ARG_NONE && option != word &&
                option == std::string("--") + entry.long_name) {
                throw WrongUsage(std::string(option) + " takes no value");
            }
        }
    }
}

std::span<const GOptionEntry> own_entries(const Verb& verb) {
    std::size_t count = 0;
    while (verb.options != nullptr && verb.options[count].long_name != nullptr) ++count;
    return {verb.options, count};
}

void check_arguments(const Verb& verb, const std::vector<std::string>& arguments) {
    if (arguments.size() < verb.fewest) {
        throw WrongUsage(std::string("an argument is missing: ") + verb.name + " " +
                         verb.arguments);
    }
    if (arguments.size() > verb.most) {
        throw WrongUsage("\"" + arguments[verb.most] + "\" is an argument too many for " +
                         verb.name);
    }
    // All but a value are names.
    const auto names_end = arguments.end() - (verb.takes_value ? 1 : 0);
    if (std::find(arguments.begin(), names_end, "") != names_end) {
        throw WrongUsage(std::string("an argument is empty: ") + verb.name + " " + verb.arguments);
    }
}

void take_options(CommandLine& line) {
    if (run_dir != nullptr) {
        if (*run_dir == '\0') {
            throw WrongUsage("--run-dir has no value");
        }
        line.run_dir = run_dir;
        g_clear_pointer(&run_dir, g_free);
    }
    line.wants_json = wants_json != FALSE;
    line.wants_log = wants_log != FALSE;
}

void read_verb(const Verb& verb, gchar** from, CommandLine& line) {
    const std::string program = std::string("moxctl ") + verb.name;
    g_set_prgname(program.c_str());
    gchar** rest = nullptr;
    const OptionsPtr context = verb_context(verb, &rest);
    StringsPtr words = verb_words(verb, from);
    refuse_values(verb_entries, words);
    refuse_values(own_entries(verb), words);
    parse(context.get(), words);
    line.arguments = arguments_of(verb, StringsPtr{rest});
    take_options(line);
    if (wants_help != FALSE) {
        line.wanted_text = help_of(context.get());
        return;
    }
    check_arguments(verb, line.arguments);
    line.verb = &verb;
}

}  // namespace

CommandLine read_command_line(int argc, char** argv, std::string& hint) {
    g_set_prgname("moxctl");
    CommandLine line;
    const OptionsPtr context = global_context();
    gchar** const copy = argc > 0 ? g_strdupv(argv) : g_new0(gchar*, 1);
    StringsPtr words{copy};
    refuse_values(global_entries, words);
    parse(context.get(), words);
    take_options(line);
    if (wants_help != FALSE) {
        line.wanted_text = help_of(context.get());
        return line;
    }
    if (wants_version != FALSE) {
        line.wanted_text = "moxctl " MOXCTL_VERSION "\n";
        return line;
    }
    gchar** const list = words.get();
    if (list[0] == nullptr || list[1] == nullptr) {
        throw WrongUsage("a verb is missing");
    }
    const Verb* const verb = find_verb(list[1]);
    if (verb == nullptr) {
        throw WrongUsage(std::string("there is no verb \"") + list[1] + "\"");
    }
    hint = std::string("moxctl ") + verb->name + " --help";
    read_verb(*verb, list + 2, line);
    return line;
}

std::vector<std::string> option_names(const Verb* verb) {
    std::vector<std::string> names;
    const GOptionEntry* const own = verb != nullptr ? verb->options : nullptr;
    const GOptionEntry* const shared =
        verb != nullptr ? verb_entries.data() : global_entries.data();
    for (const GOptionEntry* entry : {own, shared}) {
        for (; entry != nullptr && entry->long_name != nullptr; ++entry) {
            const gchar* const value = entry->arg_description;
            const std::string end = value == nullptr ? "" : std::string(" ") + value;
            names.push_back(std::string("--") + entry->long_name + end);
            if (entry->short_name != 0) {
                names.push_back(std::string("-") + entry->short_name + end);
            }
        }
    }
    return names;
}

}  // namespace mox::tool
