// Every number is range-checked here as a 64-bit number: the parser itself would narrow silently.
#include "profile/json_members.hpp"

#include <algorithm>

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

bool is_name(std::string_view text, const std::string& place, const std::string& what,
             Faults& faults) {
    const bool printable = std::none_of(text.begin(), text.end(), [](char character) {
        return static_cast<unsigned char>(character) < 0x20U || character == 0x7F;
    });
    if (text.empty()) {
        faults.add(place, what + " is empty; names have 1 to 31 bytes");
    } else if (text.size() > max_name_bytes) {
        faults.add(place, what + " " + quoted(text) + " has " + std::to_string(text.size()) +
                              " bytes; names have 1 to 31");
    } else if (!printable) {
        faults.add(place, what + " " + quoted(text) + " holds a control character");
    } else {
        return true;
    }
    return false;
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

Members::Members(JsonNode* node, std::string place, Faults& faults,
                 std::initializer_list<std::string_view> known)
    : place_(std::move(place)), faults_(faults) {
    if (!JSON_NODE_HOLDS_OBJECT(node)) {
        fail(std::string("must be an object, not ") + kind_of(node));
        return;
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

JsonNode* Members::find(const char* member) const {
    return object_ == nullptr ? nullptr : json_object_get_member(object_, member);
}

bool Members::has(const char* member) const {
    if (object_ != nullptr && find(member) == nullptr) {
        fail(in_quotes(member) + " is missing");
    }
    return find(member) != nullptr;
}

std::string Members::text(const char* member, const char* fallback) const {
    JsonNode* const node = find(member);
    if (node == nullptr) {
        return fallback;
    }
    if (!holds(node, G_TYPE_STRING)) {
        fail(in_quotes(member) + " must be a string, not " + kind_of(node));
        return fallback;
    }
    return json_node_get_string(node);
}

std::optional<std::string> Members::needed_text(const char* member) const {
    if (!has(member)) {
        return std::nullopt;
    }
    std::string result = text(member, "");
    return holds(find(member), G_TYPE_STRING) ? std::optional(std::move(result)) : std::nullopt;
}

std::string Members::own_name() const {
    const std::optional<std::string> result = needed_text("name");
    if (result) {
        is_name(*result, place_, in_quotes("name"), faults_);
    }
    return result.value_or("");
}

std::string Members::link(const char* member) const {
    if (find(member) == nullptr) {
        return {};
    }
    const std::optional<std::string> result = needed_text(member);
    const bool is_good = result && is_name(*result, place_, in_quotes(member), faults_);
    return is_good ? *result : std::string();
}

bool Members::flag(const char* member, bool fallback) const {
    JsonNode* const node = find(member);
    if (node == nullptr) {
        return fallback;
    }
    if (!holds(node, G_TYPE_BOOLEAN)) {
        fail(in_quotes(member) + " must be a boolean, not " + kind_of(node));
        return fallback;
    }
    return json_node_get_boolean(node) != FALSE;
}

std::optional<std::uint32_t> Members::whole(const char* member, std::uint32_t lowest,
                                            std::uint32_t highest) const {
    JsonNode* const node = find(member);
    if (node == nullptr) {
        return std::nullopt;
    }
    if (!holds(node, G_TYPE_INT64)) {
        fail(in_quotes(member) + " must be a whole number, not " + kind_of(node));
        return std::nullopt;
    }
    const gint64 number = json_node_get_int(node);
    if (number < gint64{lowest} || number > gint64{highest}) {
        fail(in_quotes(member) + " is " + std::to_string(number) + ", it must be " +
             std::to_string(lowest) + " to " + std::to_string(highest));
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(number);
}

std::optional<std::uint16_t> Members::id() const {
    const std::optional<std::uint32_t> number = whole("id", 0, max_id);
    return number ? std::optional(static_cast<std::uint16_t>(*number)) : std::nullopt;
}

std::vector<JsonNode*> Members::list(const char* member) const {
    return has(member) ? list_or_none(member) : std::vector<JsonNode*>();
}

std::vector<JsonNode*> Members::list_or_none(const char* member) const {
    JsonNode* const node = find(member);
    std::vector<JsonNode*> elements;
    if (node == nullptr) {
        return elements;
    }
    if (!JSON_NODE_HOLDS_ARRAY(node)) {
        fail(in_quotes(member) + " must be a list, not " + kind_of(node));
        return elements;
    }
    JsonArray* const array = json_node_get_array(node);
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
        return members;
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
