// The messages that modules receive, put together byte by byte at the offsets that receivers rely
// on. Nothing of the library is used here, so that a message that it sends can be held against one.
#ifndef MOX_TEST_PROCESS_WIRE_BYTES_HPP
#define MOX_TEST_PROCESS_WIRE_BYTES_HPP

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace mox::test {

using Bytes = std::vector<unsigned char>;

inline constexpr std::size_t kHeaderBytes = 76;
inline constexpr std::size_t kEventHeadBytes = 76;
inline constexpr std::size_t kLargestPayload = 8192;
inline constexpr std::size_t kLargestMessage = kHeaderBytes + kLargestPayload;

inline constexpr std::uint32_t kPropertyEvent = 2;
inline constexpr std::uint32_t kNewObjects = 3;
inline constexpr std::uint32_t kRemovedObjects = 4;
inline constexpr std::uint32_t kDumpRequest = 7;

// Who sends a message to whom: queue ids.
struct Route {
    std::uint32_t source;
    std::uint32_t target;
};

// The bytes of a value as it lies in this machine's memory.
template <typename Value>
Bytes bytes_of(const Value& value) {
    Bytes bytes(sizeof(value));
    std::memcpy(bytes.data(), &value, sizeof(value));
    return bytes;
}

// The text and the NUL behind it.
inline Bytes terminated(const std::string& text) {
    return Bytes(text.c_str(), text.c_str() + text.size() + 1);
}

inline void put(Bytes& message, std::size_t offset, const Bytes& bytes) {
    std::memcpy(message.data() + offset, bytes.data(), bytes.size());
}

inline void put_number(Bytes& message, std::size_t offset, std::uint32_t number) {
    put(message, offset, bytes_of(number));
}

inline void put_text(Bytes& message, std::size_t offset, const std::string& text) {
    put(message, offset, Bytes(text.begin(), text.end()));
}

// A message with its header; what the header does not name is zero.
inline Bytes message_bytes(const Route& route, std::uint32_t msg_type, const Bytes& payload) {
    Bytes message(kHeaderBytes + payload.size());
    put_number(message, 0, 1);  // mtype
    put_text(message, 4, "MOXMSG");
    put_number(message, 12, route.source);
    put_number(message, 16, route.target);
    put_number(message, 20, msg_type);
    put_number(message, 24, 1);  // msg_ver
    put_number(message, 28, static_cast<std::uint32_t>(payload.size()));
    put(message, kHeaderBytes, payload);
    return message;
}

// The payload of a property event.
struct ChangedProperty {
    std::string object_name;
    std::string property_name;
    std::string type;
    Bytes value;
};

inline Bytes property_event_bytes(const Route& route, const ChangedProperty& changed) {
    Bytes payload(kEventHeadBytes + changed.value.size());
    put_text(payload, 0, changed.object_name);
    put_text(payload, 32, changed.property_name);
    put_text(payload, 64, changed.type);
    put_number(payload, 72, static_cast<std::uint32_t>(changed.value.size()));
    put(payload, kEventHeadBytes, changed.value);
    return message_bytes(route, kPropertyEvent, payload);
}

// An array of strings as it is serialized when it has less than 256 bytes: the strings, each with
// its NUL, then a byte for where each of them ends.
inline Bytes string_array(const std::vector<std::string>& texts) {
    Bytes bytes;
    Bytes ends;
    for (const std::string& text : texts) {
        const Bytes one = terminated(text);
        bytes.insert(bytes.end(), one.begin(), one.end());
        ends.push_back(static_cast<unsigned char>(bytes.size()));
    }
    bytes.insert(bytes.end(), ends.begin(), ends.end());
    return bytes;
}

inline Bytes new_objects_bytes(const Route& route, std::uint32_t position,
                               const std::vector<std::string>& names) {
    const Bytes array = string_array(names);
    Bytes payload(8 + array.size());
    put_number(payload, 0, static_cast<std::uint32_t>(array.size()));
    put_number(payload, 4, position);
    put(payload, 8, array);
    return message_bytes(route, kNewObjects, payload);
}

// The name of the header field, or the part of the payload, that a byte belongs to.
inline std::string field_at(std::size_t offset) {
    struct Field {
        std::size_t end;
        const char* name;
    };
    constexpr Field fields[] = {{4, "mtype"},       {12, "msg_head"}, {16, "ipc_source"},
                                {20, "ipc_target"}, {24, "msg_type"}, {28, "msg_ver"},
                                {32, "length"},     {36, "sequence"}, {76, "reserved2"}};
    for (const Field& field : fields) {
        if (offset < field.end) return field.name;
    }
    return "payload byte " + std::to_string(offset - kHeaderBytes);
}

// Where a message differs from the one expected, in words; "" when it does not.
inline std::string first_difference(const Bytes& expected, const Bytes& got) {
    if (got.size() != expected.size()) {
        return std::to_string(got.size()) + " bytes, expected " + std::to_string(expected.size());
    }
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (got[i] == expected[i]) continue;
        char text[96];
        std::snprintf(text, sizeof(text), "byte %zu is %02x, expected %02x: ", i, got[i],
                      expected[i]);
        return text + field_at(i);
    }
    return "";
}

}  // namespace mox::test

#endif
