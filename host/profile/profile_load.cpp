// The order of the checks: file, text, top level, classes, modules, objects, boards, links,
// formulas.
#include <json-glib/json-glib.h>

#include <memory>

#include "profile/board_list.hpp"
#include "profile/class_list.hpp"
#include "profile/expression_check.hpp"
#include "profile/fault.hpp"
#include "profile/json_members.hpp"
#include "profile/json_text.hpp"
#include "profile/module_list.hpp"
#include "profile/object_links.hpp"
#include "profile/object_list.hpp"
#include "profile/profile.hpp"
#include "profile/profile_file.hpp"

namespace mox::host {
namespace {

constexpr const char* top_place = "top level";
constexpr std::uint32_t shortest_refresh_ms = 10;
constexpr std::uint32_t longest_refresh_ms = 3600000;

struct ParserDelete {
    void operator()(JsonParser* parser) const { g_object_unref(parser); }
};
using ParserPtr = std::unique_ptr<JsonParser, ParserDelete>;

// The parser owns the tree.
ParserPtr parse(const std::string& text) {
    ParserPtr parser(json_parser_new_immutable());
    GError* error = nullptr;
    if (json_parser_load_from_data(parser.get(), text.data(), static_cast<gssize>(text.size()),
                                   &error) == FALSE) {
        const std::string cause = error->message;
        g_error_free(error);
        throw Fault{"text", cause};
    }
    return parser;
}

// Whether a step finds no fault.
template <typename Step>
bool is_good(const Faults& faults, Step step) {
    const std::size_t before = faults.count();
    step();
    return faults.count() == before;
}

// has_all: no member is unknown; an unknown one may be a list whose name is misspelt.
void read_lists(const Members& top, bool has_all, Profile& profile, Faults& faults) {
    std::vector<JsonNode*> classes;
    std::vector<JsonNode*> objects;
    std::vector<JsonNode*> boards;
    if (!is_good(faults, [&] { classes = top.list("classes"); }) || !has_all) {
        faults.doubt_class({});
    }
    const bool has_objects = is_good(faults, [&] { objects = top.list("objects"); });
    const bool has_boards = is_good(faults, [&] { boards = top.list_or_none("boards"); });
    if (!has_objects || !has_boards || !has_all) {
        faults.doubt_object({});
    }
    profile.classes = read_classes(classes, faults);
    const ClassIndex index(profile.classes);
    if (top.find("modules") != nullptr) {
        profile.modules = read_modules(top.list("modules"), index, faults);
    }
    ObjectList list;
    read_objects(objects, {}, index, faults, list);
    profile.boards = read_boards(boards, index, faults, list);
    check_object_links(list, index, faults);
    check_expressions(profile.classes, index, list, faults);
    profile.objects = std::move(list.objects);
}

void read_profile(const std::string& path, Profile& profile, Faults& faults) {
    const std::string text = read_profile_file(path);
    check_json_text(text);
    const ParserPtr parser = parse(text);
    const Members top(json_parser_get_root(parser.get()), top_place, faults,
                      {"refresh_ms", "classes", "objects", "boards", "group", "modules"});
    const bool has_all = faults.count() == 0;
    if (top.is_object()) {
        profile.group = top.link("group");
        profile.refresh_ms = top.whole("refresh_ms", shortest_refresh_ms, longest_refresh_ms)
                                 .value_or(default_refresh_ms);
        read_lists(top, has_all, profile, faults);
    }
}

// A file's name may hold anything but NUL and "/": a fault stays one line.
std::string one_line(std::string text) {
    for (char& character : text) {
        if (static_cast<unsigned char>(character) < 0x20U) {
            character = '?';
        }
    }
    return text;
}

}  // namespace

CheckedProfile check_profile(const std::string& path) {
    CheckedProfile result;
    result.file = one_line(path);
    Faults faults;
    try {
        read_profile(path, result.profile, faults);
    } catch (const Fault& fault) {
        faults.add(fault.place, fault.cause);
    }
    for (const Fault& fault : faults.list()) {
        result.faults.push_back(one_line(result.file + ": " + fault.place + ": " + fault.cause));
    }
    return result;
}

std::variant<Profile, std::string> load_profile(const std::string& path) {
    CheckedProfile result = check_profile(path);
    if (!result.faults.empty()) {
        return result.faults.front();
    }
    return std::move(result.profile);
}

}  // namespace mox::host
