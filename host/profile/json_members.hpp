// One JSON object of a profile, read member by member: unknown members, wrong kinds of value and
// numbers out of range are faults at the object's place. What is wrong reads as if it were absent.
#ifndef MOXHOST_PROFILE_JSON_MEMBERS_HPP
#define MOXHOST_PROFILE_JSON_MEMBERS_HPP

#include <json-glib/json-glib.h>

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "profile/fault.hpp"

namespace mox::host {

// Whether the text is 1 to 31 bytes without control characters; a fault when it is not. what: such
// as `"name"`.
bool is_name(std::string_view text, const std::string& place, const std::string& what,
             Faults& faults);

// What kind of value a node holds, for messages: "a string", "a list".
const char* kind_of(JsonNode* node);

class Members {
public:
    // Notes a node that is no object, which has no members then, and members that are not in known.
    Members(JsonNode* node, std::string place, Faults& faults,
            std::initializer_list<std::string_view> known);

    bool is_object() const { return object_ != nullptr; }

    // The place that faults name from now on.
    void set_place(std::string place) { place_ = std::move(place); }
    const std::string& place() const { return place_; }

    // The member's node, or null.
    JsonNode* find(const char* member) const;

    // A text; the fallback when the member is absent.
    std::string text(const char* member, const char* fallback) const;

    // A text that must be there; nothing when it is not, or no text.
    std::optional<std::string> needed_text(const char* member) const;

    // The entry's "name", which must be there. One that is not allowed is noted, and given: others
    // may name the entry by it.
    std::string own_name() const;

    // The name of another entry; "" when the member is absent or no name.
    std::string link(const char* member) const;

    bool flag(const char* member, bool fallback) const;

    std::optional<std::uint32_t> whole(const char* member, std::uint32_t lowest,
                                       std::uint32_t highest) const;

    // A number from 0 to 65535.
    std::optional<std::uint16_t> id() const;

    // The elements of a list that must be there, and of one that need not.
    std::vector<JsonNode*> list(const char* member) const;
    std::vector<JsonNode*> list_or_none(const char* member) const;

    // The members of an object, in the file's order; none when it is absent.
    struct Member {
        std::string name;
        JsonNode* node;
    };
    std::vector<Member> map(const char* member) const;

    // Notes a fault at the object's place.
    void fail(const std::string& cause) const { faults_.add(place_, cause); }

    // Notes that the member is missing when it is.
    bool has(const char* member) const;

private:
    JsonObject* object_ = nullptr;
    std::string place_;
    Faults& faults_;
};

}  // namespace mox::host

#endif
