// One side of an exchange of messages between a 32-bit and a 64-bit process; cross_width.sh runs
// it.
//
//   event_peer receive          makes a queue, prints "queue <id>", and holds every byte of each
//                               message against the documented layout, one line a message
//   event_peer send <queue>     sends these messages with the library's own calls
//   event_peer layout           prints sizes and offsets of the records that travel
//   event_peer bits             prints the word size
//
// Exit status: 0, 1 when something differs or fails, 2 for a wrong command line.
#include <ipcmsg.h>
#include <moxplat/osal.h>
#include <pub.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "wire_bytes.hpp"

namespace {

using namespace mox::test;
using Clock = std::chrono::steady_clock;

constexpr unsigned kWordBits = sizeof(void*) * 8;
constexpr gint32 kSenderPort = 0x0a0b0c0d;
constexpr std::chrono::seconds kLongestWait{20};

constexpr guint32 kSpeed = 0x89abcdefU;
constexpr double kRatio = -1.25e-7;
constexpr guint32 kPosition = 0x12345678U;

std::string patterned_text(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text += static_cast<char>('!' + i % 94);
    return text;
}

// The largest value that an event can carry, its NUL included.
std::string largest_text() {
    return patterned_text(kLargestPayload - kEventHeadBytes - 1);
}

Bytes largest_raw_payload() {
    Bytes payload;
    for (std::size_t i = 0; i < kLargestPayload; ++i) {
        payload.push_back(static_cast<unsigned char>(i % 251));
    }
    return payload;
}

// One message of the exchange: how the library sends it, and what is to arrive.
struct Case {
    const char* name;
    std::function<gint32(gint32 queue)> send;
    std::function<Bytes(const Route& route)> expected;
};

gint32 send_property(gint32 queue, const char* property, GVariant* floating) {
    GVariant* const value = g_variant_ref_sink(floating);
    GSList* const listeners = g_slist_append(nullptr, GINT_TO_POINTER(queue));
    const gint32 code =
        ipc_msg_property_event(listeners, "Fan1", property, g_variant_get_type_string(value),
                               g_variant_get_size(value), value);
    g_slist_free(listeners);
    g_variant_unref(value);
    return code;
}

gint32 send_raw(gint32 queue, const Bytes& payload) {
    gpointer message = ipc_msg_alloc(payload.size());
    if (!payload.empty()) {
        std::memcpy(static_cast<char*>(message) + kHeaderBytes, payload.data(), payload.size());
    }
    const gint32 code = ipc_msg_send(queue, MOX_MSG_SEND_IPMI_REQUEST, message, payload.size());
    ipc_msg_free(message);
    return code;
}

std::vector<Case> property_cases() {
    return {
        {"property event, value of type u",
         [](gint32 queue) { return send_property(queue, "Speed", g_variant_new_uint32(kSpeed)); },
         [](const Route& route) {
             return property_event_bytes(route, {"Fan1", "Speed", "u", bytes_of(kSpeed)});
         }},
        {"property event, value of type d",
         [](gint32 queue) { return send_property(queue, "Ratio", g_variant_new_double(kRatio)); },
         [](const Route& route) {
             return property_event_bytes(route, {"Fan1", "Ratio", "d", bytes_of(kRatio)});
         }},
        {"property event, value of type s with 64 characters",
         [](gint32 queue) {
             return send_property(queue, "Label", g_variant_new_string(patterned_text(64).c_str()));
         },
         [](const Route& route) {
             return property_event_bytes(route,
                                         {"Fan1", "Label", "s", terminated(patterned_text(64))});
         }},
        {"property event, largest value",
         [](gint32 queue) {
             return send_property(queue, "Label", g_variant_new_string(largest_text().c_str()));
         },
         [](const Route& route) {
             return property_event_bytes(route, {"Fan1", "Label", "s", terminated(largest_text())});
         }},
    };
}

std::vector<Case> other_cases() {
    return {
        {"message with the largest payload",
         [](gint32 queue) { return send_raw(queue, largest_raw_payload()); },
         [](const Route& route) {
             return message_bytes(route, MOX_MSG_SEND_IPMI_REQUEST, largest_raw_payload());
         }},
        {"message without a payload", [](gint32 queue) { return send_raw(queue, {}); },
         [](const Route& route) { return message_bytes(route, MOX_MSG_SEND_IPMI_REQUEST, {}); }},
        {"notice of removed objects",
         [](gint32 queue) { return ipc_msg_delobj_event(queue, kPosition); },
         [](const Route& route) {
             return message_bytes(route, kRemovedObjects, bytes_of(kPosition));
         }},
    };
}

std::vector<Case> cases() {
    std::vector<Case> all = property_cases();
    for (Case& one : other_cases()) all.push_back(std::move(one));
    return all;
}

// The next message, or an empty one when none came in time or the queue failed.
Bytes receive(gint32 queue) {
    const Clock::time_point deadline = Clock::now() + kLongestWait;
    Bytes buffer(kLargestMessage + 4);
    gint32 got = OSAL_ERR_EMPTY;
    while (got == OSAL_ERR_EMPTY && Clock::now() < deadline) {
        got = osal_process_queue_receive(queue, buffer.data(), buffer.size(), 0);
        if (got == OSAL_ERR_EMPTY) std::this_thread::sleep_for(std::chrono::milliseconds{1});
    }
    if (got < 0) {
        std::printf("FAIL no message: %s\n", osal_error_text(got));
        return {};
    }
    buffer.resize(static_cast<std::size_t>(got));
    return buffer;
}

int run_receiver() {
    gint32 queue = -1;
    if (const gint32 code = osal_process_queue_create(&queue); code != OSAL_OK) {
        std::printf("FAIL no queue: %s\n", osal_error_text(code));
        return 1;
    }
    std::printf("queue %d\n", queue);
    std::fflush(stdout);
    const Route route = {kSenderPort, static_cast<std::uint32_t>(queue)};
    int failures = 0;
    for (const Case& one : cases()) {
        const Bytes expected = one.expected(route);
        const Bytes got = receive(queue);
        if (got.empty()) {
            ++failures;
            break;
        }
        const std::string difference = first_difference(expected, got);
        std::printf("%s %s: %zu bytes%s%s\n", difference.empty() ? "ok" : "FAIL", one.name,
                    got.size(), difference.empty() ? "" : ", ", difference.c_str());
        failures += difference.empty() ? 0 : 1;
    }
    osal_process_release_all();
    return failures == 0 ? 0 : 1;
}

int run_sender(const char* argument) {
    char* end = nullptr;
    const long queue = std::strtol(argument, &end, 10);
    if (end == argument || *end != '\0' || queue < 1 || queue > G_MAXINT32) {
        std::fprintf(stderr, "event_peer: \"%s\" is no queue id\n", argument);
        return 2;
    }
    ipc_msg_set_port(kSenderPort);
    for (const Case& one : cases()) {
        const gint32 code = one.send(static_cast<gint32>(queue));
        if (code != MOX_OK) {
            std::fprintf(stderr, "event_peer: %s not sent: code %d, %s\n", one.name, code,
                         osal_error_text(code));
            return 1;
        }
    }
    return 0;
}

#define PRINT_SIZE(record) std::printf("%s: %zu bytes\n", #record, sizeof(record))
#define PRINT_OFFSET(record, name) \
    std::printf("%s.%s: %zu\n", #record, #name, offsetof(record, name))

void print_header_layout() {
    PRINT_SIZE(MOX_MSG_HEAD_S);
    PRINT_OFFSET(MOX_MSG_HEAD_S, mtype);
    PRINT_OFFSET(MOX_MSG_HEAD_S, msg_head);
    PRINT_OFFSET(MOX_MSG_HEAD_S, ipc_source);
    PRINT_OFFSET(MOX_MSG_HEAD_S, ipc_target);
    PRINT_OFFSET(MOX_MSG_HEAD_S, msg_type);
    PRINT_OFFSET(MOX_MSG_HEAD_S, msg_ver);
    PRINT_OFFSET(MOX_MSG_HEAD_S, length);
    PRINT_OFFSET(MOX_MSG_HEAD_S, sequence);
    PRINT_OFFSET(MOX_MSG_HEAD_S, reserved2);
    PRINT_SIZE(MOX_MSG_S);
    PRINT_OFFSET(MOX_MSG_S, data);
    PRINT_SIZE(QUE_MSG_S);
    PRINT_OFFSET(QUE_MSG_S, buffer);
}

int print_layout() {
    print_header_layout();
    PRINT_SIZE(MSG_EVENT_DATA_HEAD_S);
    PRINT_OFFSET(MSG_EVENT_DATA_HEAD_S, object_name);
    PRINT_OFFSET(MSG_EVENT_DATA_HEAD_S, property_name);
    PRINT_OFFSET(MSG_EVENT_DATA_HEAD_S, type);
    PRINT_OFFSET(MSG_EVENT_DATA_HEAD_S, size);
    PRINT_OFFSET(MSG_EVENT_DATA_HEAD_S, data);
    PRINT_SIZE(MSG_NEW_OBJ_EVENT_S);
    PRINT_OFFSET(MSG_NEW_OBJ_EVENT_S, size);
    PRINT_OFFSET(MSG_NEW_OBJ_EVENT_S, position);
    PRINT_OFFSET(MSG_NEW_OBJ_EVENT_S, data);
    PRINT_SIZE(MSG_DEL_RU_EVENT_S);
    PRINT_OFFSET(MSG_DEL_RU_EVENT_S, position);
    PRINT_SIZE(RPC_DATA_S);
    PRINT_OFFSET(RPC_DATA_S, type);
    PRINT_OFFSET(RPC_DATA_S, size);
    PRINT_OFFSET(RPC_DATA_S, data);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "receive" && argc == 2) return run_receiver();
    if (command == "send" && argc == 3) return run_sender(argv[2]);
    if (command == "layout" && argc == 2) return print_layout();
    if (command == "bits" && argc == 2) {
        std::printf("%u\n", kWordBits);
        return 0;
    }
    std::fprintf(stderr, "usage: event_peer receive | send <queue> | layout | bits\n");
    return 2;
}
