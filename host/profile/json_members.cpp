// Every number is range-checked here as a 64-bit number: the parser itself would narrow silently.
#include "profile/json_members.hpp"

#include <algorithm>

#include "profile/fault.hpp"
#include "profile/profile.hpp"

namespace mox::host {
namespace {

bool holds(JsonNode* node, GType type) {
    return JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == type;
}

std::string in_quotes(const char* member) {
    return std::string("\"") + member + '"';
}

}  // namespace

void check_name(std::string_view text, const std::string& place, const std::string& what) {
    if (text.empty()) {
        throw Fault{place, what + " is empty; names have 1 to 31 bytes"};
    }
    if (text.size() > max_name_bytes) {
        throw Fault{place, what + " " + quoted(text) + " has " + std::to_string(text.size()) +
                               " bytes; names have 1 to 31"};
    }
    const bool printable = std::none_of(text.begin(), text.end(), [](char character) {
        return static_cast<unsigned char>(character) < 0x20U || character == 0x7F;
    });
    if (!printable) {
        throw Fault{place, what + " " + quoted(text) + " holds a control character"};
    }
}

const char* kind_of(JsonNode* node) {
    switch (json_node_get_node_type(node)) {
        case JSON_NODE_OBJECT:
            return "an object";
        case JSON_NODE_ARRAY:
            return "a list";
        case JSON_NODE_NULL:
            return "null";
        case JSON_NODE_VALUE:
            break;
    }
    if (holds(node, G_TYPE_BOOLEAN)) return "a boolean";
    if (holds(node, G_TYPE_STRING)) return "a string";
    return holds(node, G_TYPE_INT64) ? "a whole number" : "a number with a fraction";
}

Members::Members(JsonNode* node, std::string place, std::initializer_list<std::string_view> known)
    : place_(std::move(place)) {
    if (!JSON_NODE_HOLDS_OBJECT(node)) {
        fail(std::string("must be an object, not ") + kind_of(node));
    }
    object_ = json_node_get_object(node);
    JsonObjectIter iterator;
    const gchar* member = nullptr;
    JsonNode* value = nullptr;
    json_object_iter_init_ordered(&iterator, object_);
    while (json_object_iter_next_ordered(&iterator, &member, &value) != FALSE) {
        if (std::find(known.begin(), known.end(), std::string_view(member)) == known.end()) {
            std::string names;
            for (const std::string_view name : known) {
                names += (names.empty() ? "" : ", ") + std::string(name);
            }
            fail("unknown member " + quoted(member) + "; known are " + names);
        }
    }
}

void Members::fail(const std::string& cause) const {
    throw Fault{place_, cause};
}

JsonNode* Members::find(const char* member) const {
    return json_object_get_member(object_, member);
}

std::string Members::text(const char* member, const char* fallback) const {
    JsonNode* const node = find(member);
    if (node == nullptr) {
        return fallback;
    }
    if (!holds(node, G_TYPE_STRING)) {
        fail(in_quotes(member) + " must be a string, not " + kind_of(node));
    }
    return json_node_get_string(node);
}

std::string Members::name(const char* member) const {
    if (find(member) == nullptr) {
        fail(in_quotes(member) + " is missing");
    }
    return name_or_none(member);
}

std::string Members::name_or_none(const char* member) const {
    if (find(member) == nullptr) {
        return {};
    }
    std::string result = text(member, "");
    check_name(result, place_, in_quotes(member));
    return result;
}

std::uint32_t Members::whole(const char* member, std::uint32_t lowest, std::uint32_t highest,
                             std::uint32_t fallback) const {
    JsonNode* const node = find(member);
    if (node == nullptr) {
        return fallback;
    }
    if (!holds(node, G_TYPE_INT64)) {
        fail(in_quotes(member) + " must be a whole number, not " + kind_of(node));
    }
    const gint64 number = json_node_get_int(node);
    if (number < gint64{lowest} || number > gint64{highest}) {
        fail(in_quotes(member) + " is " + std::to_string(number) + ", it must be " +
             std::to_string(lowest) + " to " + std::to_string(highest));
    }
    return static_cast<std::uint32_t>(number);
}

std::vector<JsonNode*> Members::list(const char* member) const {
    JsonNode* const node = find(member);
    if (node == nullptr) {
        fail(in_quotes(member) + " is missing");
    }
    if (!JSON_NODE_HOLDS_ARRAY(node)) {
        fail(in_quotes(member) + " must be a list, not " + kind_of(node));
    }
    JsonArray* const array = json_node_get_array(node);
    std::vector<JsonNode*> elements;
    for (guint at = 0; at < json_array_get_length(array); ++at) {
        elements.push_back(json_array_get_element(array, at));
    }
    return elements;
}

std::vector<Members::Member> Members::map(const char* member) const {
    JsonNode* const node = find(member);
    std::vector<Member> members;
    if (node == nullptr) {
        return members;
    }
    if (!JSON_NODE_HOLDS_OBJECT(node)) {
        fail(in_quotes(member) + " must be an object, not " + kind_of(node));
    }
    JsonObjectIter iterator;
    const gchar* name = nullptr;
    JsonNode* value = nullptr;
    json_object_iter_init_ordered(&iterator, json_node_get_object(node));
    while (json_object_iter_next_ordered(&iterator, &name, &value) != FALSE) {
        members.push_back({name, value});
    }
    return members;
}

}  // namespace mox::host
