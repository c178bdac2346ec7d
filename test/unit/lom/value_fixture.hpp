// Reading values, and what a read leaves behind: values as text, packages that free themselves, the
// events that were sent and the messages that were logged.
//
//   EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");   or "code -2010"
//   listen("Fan", "Speed", 7);
//   EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 1300"});
//   EXPECT_EQ(messages_of([] { ... }), Texts{"ERR Accessor Acc is not exist.\n"});
//
// Every test ends with a look at the platform: no message was sent, no driver call and no call of
// the store was made by a thread that held an object's semaphore, and no saved value is left over.
#ifndef MOX_TEST_VALUE_FIXTURE_HPP
#define MOX_TEST_VALUE_FIXTURE_HPP

#include <classnode.h>
#include <ipcmsg.h>
#include <moxfake/persist.h>

#include <algorithm>
#include <cctype>
#include <utility>

#include "object_fixture.hpp"

namespace mox::test {

using Texts = std::vector<std::string>;

inline OBJ_HANDLE handle_of(const std::string& object) {
    return lom_name_to_handle(object.c_str());
}

inline std::string printed(GVariant* value) {
    gchar* const text = g_variant_print(value, TRUE);
    const std::string result = text;
    g_free(text);
    return result;
}

// A read as text: the value with its type, such as "uint32 3", or "code -2009".
inline std::string read_value(const std::string& object, const std::string& property,
                              gboolean is_volatile, gboolean is_remote) {
    GVariant* value = nullptr;
    const gint32 code =
        lom_get_property_value(handle_of(object), property.c_str(), is_volatile, &value, is_remote);
    if (code != MOX_OK) return "code " + std::to_string(code);
    const std::string text = printed(value);
    g_variant_unref(value);
    return text;
}
inline std::string stored_value(const std::string& object, const std::string& property) {
    return read_value(object, property, FALSE, FALSE);
}
inline std::string live_value(const std::string& object, const std::string& property) {
    return read_value(object, property, TRUE, FALSE);
}
inline std::string remote_value(const std::string& object, const std::string& property) {
    return read_value(object, property, TRUE, TRUE);
}

// A read's code and package; the package's data is freed with it.
struct Package {
    gint32 code = 0;
    TLV_S tlv = {};

    Package() = default;
    ~Package() { g_free(tlv.data); }
    Package(const Package&) = delete;
    Package& operator=(const Package&) = delete;

    // All six bytes of the type field.
    std::string type() const { return {tlv.type, sizeof tlv.type}; }
    std::vector<guint8> bytes() const {
        const auto* const first = static_cast<const guint8*>(tlv.data);
        return first == nullptr ? std::vector<guint8>{}
                                : std::vector<guint8>{first, first + tlv.size};
    }
};

// A type string in its six-byte field, zeros behind it.
inline std::string type_field(std::string type) {
    type.resize(PUB_TYPE_LENGTH);
    return type;
}

inline void set_writable(const std::string& object) {
    lom_set_writable(handle_of(object), OBJECT_READ_WRITE);
}

// The property's entry in its object's table.
inline LOCAL_PROPERTY_S& entry_of(const std::string& object, const std::string& property) {
    return *static_cast<LOCAL_PROPERTY_S*>(
        g_hash_table_lookup(record_of(object)->property_hash, property.c_str()));
}

// How often an object's semaphore was taken, and failing it.
inline gsize takes_of(const std::string& object) {
    const OBJECT_HEAD_S* const record = record_of(object);
    return mox::fake::osal::takes(record->semid, record->sem_member);
}
inline void fail_semaphore_of(const std::string& object) {
    const OBJECT_HEAD_S* const record = record_of(object);
    mox::fake::osal::fail_takes_of(record->semid, record->sem_member);
}

inline CLS_HANDLE class_of(const std::string& name) {
    const CLS_HANDLE known = cls_get_class(name.c_str());
    return known != nullptr ? known : cls_create_class(name.c_str());
}

// Has a queue listen to changes of a class's property.
inline void listen(const std::string& class_name, const std::string& property, gint32 port) {
    cls_add_listener_port(class_of(class_name), property.c_str(), port, 8);
}

// A property event as text.
inline std::string event_text(const mox::fake::osal::SentMessage& message) {
    MOX_MSG_S whole = {};
    std::memcpy(&whole, message.bytes.data(), std::min(message.bytes.size(), sizeof whole));
    if (whole.head.msg_type != MOX_MSG_PROPERTY_EVENT) return "another message";
    MSG_EVENT_DATA_HEAD_S event = {};
    std::memcpy(&event, whole.data, sizeof event);
    GVariant* const value = g_variant_ref_sink(
        g_variant_new_from_data(G_VARIANT_TYPE(event.type), whole.data + sizeof event, event.size,
                                FALSE, nullptr, nullptr));
    std::string text = std::to_string(message.queue_id) + ": " + event.object_name + "." +
                       event.property_name + " = " + printed(value);
    g_variant_unref(value);
    return text;
}

// The events of this test, in order: "queue: object.property = value".
inline Texts sent_events() {
    Texts texts;
    for (const auto& message : mox::fake::osal::sent()) texts.push_back(event_text(message));
    return texts;
}

// What the body logs, in order: "ERR " (shown on the console, too) or "LOG " (in the log only), and
// the text as it was written. Assertions belong behind the call: the body's output is caught.
template <typename Body>
Texts messages_of(Body&& body) {
    CapturedSyslog log;
    const std::string console = stdout_of(body);
    const std::string prefix = std::string("[ ") + DebugLevel::module() + " ] ";
    const std::string error = "\x1b[0;31mERROR:\x1b[0m ";
    Texts texts;
    for (const SyslogLine& line : log.lines()) {
        const bool is_shown = console.find(line.text) != std::string::npos;
        std::string text = line.text;
        if (text.rfind(prefix, 0) != 0) return {"a message without its prefix: " + text};
        text.erase(0, prefix.size());
        if (text.rfind(error, 0) == 0 && is_shown) {
            text.replace(0, error.size(), "ERR ");
        } else {
            text.insert(0, is_shown ? "shown " : "LOG ");
        }
        texts.push_back(text);
    }
    return texts;
}

// The texts with every number as "#": of copies that failed, line and code are not settled.
inline Texts without_numbers(const Texts& texts) {
    Texts results;
    for (const std::string& text : texts) {
        std::string result;
        bool was_digit = false;
        for (const char letter : text) {
            const bool is_digit = std::isdigit(static_cast<unsigned char>(letter)) != 0;
            if (!is_digit) result += letter;
            if (is_digit && !was_digit) result += '#';
            was_digit = is_digit;
        }
        results.push_back(result);
    }
    return results;
}

// A physical object whose properties are names of others: {"Chip", "Cpld"}.
inline void add_physical(const std::string& class_name, const std::string& name,
                         const std::vector<std::pair<std::string, std::string>>& links = {}) {
    ObjectPlan plan{.name = name, .class_name = class_name, .object_type = "Physical"};
    for (const auto& [property, target] : links) plan.properties.push_back(text(property, target));
    add_object(plan);
}

class ValueFixture : public ObjectFixture {
protected:
    static constexpr gint32 kOwnPort = 99;

    void SetUp() override {
        ObjectFixture::SetUp();
        mox::fake::persist_reset();
        ipc_msg_set_port(kOwnPort);
    }

    void TearDown() override {
        for (const auto& message : mox::fake::osal::sent()) {
            EXPECT_EQ(message.semaphores_held, 0U) << "sending to " << message.queue_id;
        }
        for (const auto& read : mox::fake::driver_reads()) {
            EXPECT_EQ(read.semaphores_held, 0U) << "reading " << read.accessor;
        }
        for (const auto& write : mox::fake::driver_writes()) {
            EXPECT_EQ(write.semaphores_held, 0U) << "writing " << write.accessor;
        }
        for (const auto& call : mox::fake::persist_calls()) {
            EXPECT_EQ(call.semaphores_held, 0U) << "keeping " << call.object << "." << call.name;
        }
        EXPECT_EQ(mox::fake::driver_live_properties(), 0U) << "named values were not freed";
        EXPECT_EQ(mox::fake::persist_live_reads(), 0) << "saved values were not freed";
        ObjectFixture::TearDown();
    }
};

}  // namespace mox::test

#endif
