// A test's own membership, and calls that the library would not make.
#ifndef MOX_TEST_PROCESS_HOST_MODULE_HPP
#define MOX_TEST_PROCESS_HOST_MODULE_HPP

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <lom.h>
#include <moxhost/moxhost.h>

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host_owner.hpp"
#include "wire/record_layout.hpp"

namespace mox::test {

// A GError's code and text.
class HostError {
public:
    ~HostError() { g_clear_error(&error_); }
    HostError() = default;
    HostError(const HostError&) = delete;
    HostError& operator=(const HostError&) = delete;

    GError** out() { return &error_; }
    std::string text() const { return error_ == nullptr ? "" : error_->message; }
    gint32 status() const { return moxhost_error_status(error_); }
    int code() const {
        return error_ != nullptr && error_->domain == MOXHOST_ERROR ? error_->code : -1;
    }

private:
    GError* error_ = nullptr;
};

struct LeaveModule {
    void operator()(MoxHostModule* module) const { moxhost_leave(module); }
};
using ModulePtr = std::unique_ptr<MoxHostModule, LeaveModule>;

// Joins; fails the test, with the cause, when that is refused.
inline ModulePtr join(const HostOwner& owner, const char* name = "tester",
                      MOX_MODULE_TYPE type = MODULE_APP) {
    HostError error;
    ModulePtr module(moxhost_join(owner.run_dir().c_str(), name, type, error.out()));
    EXPECT_NE(module, nullptr) << error.text();
    return module;
}

// Plays a module in a process of its own and waits for its end; before this process has threads,
// because a process joins once. body: runs joined; what it expects is expected there.
inline void in_module(const HostOwner& owner, const char* name,
                      const std::function<void(MoxHostModule*)>& body,
                      MOX_MODULE_TYPE type = MODULE_APP) {
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        alarm(60);
        {
            const ModulePtr module = join(owner, name, type);
            if (module != nullptr) {
                body(module.get());
            }
        }
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "module " << name << " failed (above), status " << status;
}

inline std::vector<std::string> strings_of(gchar** strings) {
    std::vector<std::string> result;
    for (gchar** at = strings; at != nullptr && *at != nullptr; ++at) {
        result.emplace_back(*at);
    }
    g_strfreev(strings);
    return result;
}

enum class From { memory, owners_hardware };

// A property's value as text, or the code.
inline std::string value_of(const char* object, const char* property, From from = From::memory) {
    GVariant* value = nullptr;
    const gboolean is_live = from == From::owners_hardware ? TRUE : FALSE;
    const gint32 result =
        lom_get_property_value(lom_get_object_handle(object), property, is_live, &value, is_live);
    if (result != MOX_OK) {
        return "code " + std::to_string(result);
    }
    gchar* const text = g_variant_print(value, FALSE);
    std::string printed = text;
    g_free(text);
    g_variant_unref(value);
    return printed;
}

// One of the four words of an object's bitmap: which modules hold a copy.
inline guint32 holders_of(const char* object) {
    guint32 size = 0;
    gpointer copy = nullptr;
    if (lom_copy_object(object, &size, &copy, 0, FALSE) != MOX_OK) {
        return 0;
    }
    const guint32 word = static_cast<guint32>(
        g_atomic_int_get(reinterpret_cast<gint*>(static_cast<OBJECT_HEAD_S*>(copy)->ref_bitmap)));
    g_free(copy);
    return word;
}

// An event as a listener sees it.
struct SeenEvent {
    std::string name;  // object.property
    std::string value;
    gint64 arrival_ns;
    gint64 change_ns;
};

// Collects the events that a module receives.
class EventLog {
public:
    explicit EventLog(MoxHostModule* module) : module_(module) {
        moxhost_set_message_func(module, on_message, this);
    }
    ~EventLog() { moxhost_set_message_func(module_, nullptr, nullptr); }
    EventLog(const EventLog&) = delete;
    EventLog& operator=(const EventLog&) = delete;

    const std::vector<SeenEvent>& events() const { return events_; }
    const std::vector<guint32>& kinds() const { return kinds_; }

    // Runs the main loop until so many messages are there.
    bool wait_for(std::size_t count) {
        return eventually([this, count] {
            while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
            }
            return kinds_.size() >= count;
        });
    }

private:
    static void on_message(MoxHostModule* module, const MOX_MSG_S* message, gint64 arrival_ns,
                           gpointer self) {
        auto* const log = static_cast<EventLog*>(self);
        log->kinds_.push_back(message->head.msg_type);
        if (message->head.msg_type != MOX_MSG_PROPERTY_EVENT) {
            return;
        }
        MSG_EVENT_DATA_HEAD_S head;
        std::memcpy(&head, message->data, sizeof head);
        GVariant* const value = g_variant_ref_sink(
            g_variant_new_from_data(G_VARIANT_TYPE(head.type), message->data + sizeof head,
                                    head.size, FALSE, nullptr, nullptr));
        gchar* const text = g_variant_print(value, FALSE);
        log->events_.push_back(
            {std::string(head.object_name) + '.' + head.property_name, text, arrival_ns,
             moxhost_change_time_ns(module, head.object_name, head.property_name)});
        g_free(text);
        g_variant_unref(value);
    }

    MoxHostModule* module_;
    std::vector<SeenEvent> events_;
    std::vector<guint32> kinds_;
};

// A connection that speaks the owner's protocol by itself.
class RawPeer {
public:
    explicit RawPeer(const HostOwner& owner) {
        const std::string address = "unix:path=" + owner.run_dir() + "/moxd.sock";
        connection_ = g_dbus_connection_new_for_address_sync(
            address.c_str(), G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT, nullptr, nullptr,
            nullptr);
    }
    ~RawPeer() {
        if (connection_ != nullptr) {
            g_dbus_connection_close_sync(connection_, nullptr, nullptr);
            g_object_unref(connection_);
        }
    }
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;

    // The reply as text, or "error NAME: MESSAGE".
    std::string call(const char* method, GVariant* arguments) {
        GError* error = nullptr;
        GVariant* const reply = g_dbus_connection_call_sync(
            connection_, nullptr, "/mox/owner", "mox.Owner1", method, arguments, nullptr,
            G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &error);
        if (reply == nullptr) {
            std::string text = std::string("error ") + error->message;
            g_error_free(error);
            return text;
        }
        gchar* const printed = g_variant_print(reply, FALSE);
        std::string text = printed;
        g_free(printed);
        g_variant_unref(reply);
        return text;
    }

    // What a module of this build says, and what one of another build might.
    std::string join(const std::string& name) {
        return join(name, host::wire::word_bits, host::wire::record_layout());
    }
    std::string join(const std::string& name, guint32 word_bits, const std::string& layout) {
        return call("Join", g_variant_new("(siius)", name.c_str(), MODULE_APP, getpid(), word_bits,
                                          layout.c_str()));
    }

private:
    GDBusConnection* connection_ = nullptr;
};

}  // namespace mox::test

#endif
