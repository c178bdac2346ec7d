// The order of the checks: file, text, top level, classes, objects, links, formulas. The first
// fault ends the work.
#include <json-glib/json-glib.h>

#include <memory>

#include "profile/class_list.hpp"
#include "profile/expression_check.hpp"
#include "profile/fault.hpp"
#include "profile/json_members.hpp"
#include "profile/json_text.hpp"
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

Profile read_profile(const std::string& path) {
    const std::string text = read_profile_file(path);
    check_json_text(text);
    const ParserPtr parser = parse(text);
    const Members top(json_parser_get_root(parser.get()), top_place,
                      {"refresh_ms", "classes", "objects"});
    Profile profile;
    profile.refresh_ms =
        top.whole("refresh_ms", shortest_refresh_ms, longest_refresh_ms, default_refresh_ms);
    profile.classes = read_classes(top.list("classes"));
    const ClassIndex index(profile.classes);
    profile.objects = read_objects(top.list("objects"), index);
    check_object_links(profile.objects, index);
    check_expressions(profile, index);
    return profile;
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

std::variant<Profile, std::string> load_profile(const std::string& path) {
    try {
        return read_profile(path);
    } catch (const Fault& fault) {
        return one_line(path + ": " + fault.place + ": " + fault.cause);
    }
}

}  // namespace mox::host
