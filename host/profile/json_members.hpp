// One JSON object of a profile, read member by member: unknown members, wrong kinds of value and
// numbers out of range are faults at the object's place.
#ifndef MOXHOST_PROFILE_JSON_MEMBERS_HPP
#define MOXHOST_PROFILE_JSON_MEMBERS_HPP

#include <json-glib/json-glib.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace mox::host {

// Throws a Fault unless the text is 1 to 31 bytes without control characters. what: such as
// `"name"`.
void check_name(std::string_view text, const std::string& place, const std::string& what);

// What kind of value a node holds, for messages: "a string", "a list".
const char* kind_of(JsonNode* node);

class Members {
public:
    // Throws when the node is no object or has a member that is not in known.
    Members(JsonNode* node, std::string place, std::initializer_list<std::string_view> known);

    // The place that faults name from now on.
    void set_place(std::string place) { place_ = std::move(place); }

    // The member's node, or null.
    JsonNode* find(const char* member) const;

    // A text; the fallback when the member is absent.
    std::string text(const char* member, const char* fallback) const;

    // A name that must be there, and one that need not ("").
    std::string name(const char* member) const;
    std::string name_or_none(const char* member) const;

    std::uint32_t whole(const char* member, std::uint32_t lowest, std::uint32_t highest,
                        std::uint32_t fallback) const;

    // The elements of a list that must be there.
    std::vector<JsonNode*> list(const char* member) const;

    // The members of an object, in the file's order; none when it is absent.
    struct Member {
        std::string name;
        JsonNode* node;
    };
    std::vector<Member> map(const char* member) const;

    [[noreturn]] void fail(const std::string& cause) const;

private:
    JsonObject* object_ = nullptr;
    std::string place_;
};

}  // namespace mox::host

#endif
