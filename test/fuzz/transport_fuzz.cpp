// The owner's calls, over its own socket: methods with arguments of their types and of others. The
// owner serves in this thread, between the steps of its client; what earlier inputs did to the
// model stays.
#include <gio/gio.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>
#include <variant>

#include "fuzz_input.hpp"
#include "fuzz_model.hpp"
#include "fuzz_target.hpp"
#include "ipc_namespace.hpp"
#include "owner/owner.hpp"
#include "owner/start_error.hpp"
#include "profile/profile.hpp"
#include "scratch_dir.hpp"
#include "wire/directories.hpp"
#include "wire/interface.hpp"
#include "wire/record_layout.hpp"

namespace {

using mox::fuzz::Bytes;
using mox::fuzz::FuzzInput;
using mox::fuzz::promise;
using mox::fuzz::VariantPtr;

constexpr int most_calls = 16;  // of one input
constexpr int longest_wait_ms = 8000;

// The owner with its directories, and one connection to it.
class System {
public:
    System() {
        const std::string profile = scratch_.path("model.json");
        std::ofstream(profile) << mox::fuzz::model_profile;
        auto loaded = mox::host::load_profile(profile);
        if (const auto* const fault = std::get_if<std::string>(&loaded)) {
            promise(false, fault->c_str());
        }
        try {
            owner_ = std::make_unique<mox::host::Owner>(
                std::get<mox::host::Profile>(std::move(loaded)),
                mox::host::Directories{scratch_.path("run"), scratch_.path("state"),
                                       scratch_.path("run")},
                "moxd");
        } catch (const mox::host::StartError& error) {
            promise(false, error.cause.c_str());
        }
        connect();
    }
    ~System() {
        if (client_ != nullptr) {
            g_dbus_connection_close_sync(client_, nullptr, nullptr);
            g_object_unref(client_);
        }
        owner_.reset();
    }
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    // Sends one call and serves until it is answered. arguments: floating or not, of any type.
    // Returns whether it was answered and not refused.
    bool call(const char* method, GVariant* arguments) {
        GDBusMessage* const message = g_dbus_message_new_method_call(
            nullptr, mox::host::wire::object_path, mox::host::wire::interface_name, method);
        g_dbus_message_set_body(message, arguments);
        Reply reply;
        g_dbus_connection_send_message_with_reply(client_, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                                  longest_wait_ms, nullptr, nullptr, on_reply,
                                                  &reply);
        g_object_unref(message);
        while (!reply.is_there) {
            g_main_context_iteration(nullptr, TRUE);
        }
        promise(!reply.is_late, "every call is answered in time");
        return reply.is_good;
    }

    // Refused when the connection has joined already.
    bool join() {
        return call("Join",
                    g_variant_new("(siius)", "fuzz", 2, getpid(), mox::host::wire::word_bits,
                                  mox::host::wire::record_layout().c_str()));
    }

    bool is_connected() const { return g_dbus_connection_is_closed(client_) == FALSE; }

    void connect() {
        g_clear_object(&client_);
        const std::string address = mox::host::wire::socket_address(scratch_.path("run"));
        g_dbus_connection_new_for_address(address.c_str(),
                                          G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT, nullptr,
                                          nullptr, on_connected, this);
        while (client_ == nullptr) {
            g_main_context_iteration(nullptr, TRUE);
        }
    }

private:
    struct Reply {
        bool is_there = false;
        bool is_good = false;
        bool is_late = false;
    };

    static void on_connected(GObject*, GAsyncResult* result, gpointer self) {
        auto* const system = static_cast<System*>(self);
        system->client_ = g_dbus_connection_new_for_address_finish(result, nullptr);
        promise(system->client_ != nullptr, "the owner lets its user connect");
        g_dbus_connection_set_exit_on_close(system->client_, FALSE);
    }

    static void on_reply(GObject* connection, GAsyncResult* result, gpointer data) {
        auto& reply = *static_cast<Reply*>(data);
        GError* error = nullptr;
        GDBusMessage* const message = g_dbus_connection_send_message_with_reply_finish(
            G_DBUS_CONNECTION(connection), result, &error);
        reply.is_there = true;
        reply.is_late = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != FALSE;
        reply.is_good = message != nullptr && g_dbus_message_get_message_type(message) ==
                                                  G_DBUS_MESSAGE_TYPE_METHOD_RETURN;
        g_clear_error(&error);
        if (message != nullptr) {
            g_object_unref(message);
        }
    }

    mox::fuzz::ScratchDir scratch_;
    std::unique_ptr<mox::host::Owner> owner_;
    GDBusConnection* client_ = nullptr;
};

std::unique_ptr<System> the_system;

const GDBusMethodInfo* method_named(const std::string& name) {
    return g_dbus_interface_info_lookup_method(mox::host::wire::interface_info(), name.c_str());
}

// The type of a method's arguments, as one tuple.
std::string arguments_type(const GDBusMethodInfo& method) {
    std::string type = "(";
    for (GDBusArgInfo** argument = method.in_args; argument != nullptr && *argument != nullptr;
         ++argument) {
        type += (*argument)->signature;
    }
    return type + ")";
}

std::string name_from(FuzzInput& input) {
    static constexpr const char* names[] = {
        "Fan1",  "Fan2",  "Fan3",  "All",   "Probe1",     "Sum",     "Fan",   "Everything",
        "spare", "Label", "Speed", "Goal",  "Twin",       "d:Count", "Count", "Texts",
        "Bytes", "Dict",  "Value", "Level", "Expression", "",        "u",     "as"};
    const std::size_t choice = input.below(G_N_ELEMENTS(names) + 1);
    return choice < G_N_ELEMENTS(names) ? names[choice] : input.line();
}

// A value of any type that the model has, or of one that the input names.
VariantPtr value_from(FuzzInput& input) {
    static constexpr const char* types[] = {"u", "i",  "s",  "b",  "y",     "n", "q",
                                            "d", "as", "ay", "ad", "a{sv}", "x"};
    const std::size_t choice = input.below(G_N_ELEMENTS(types) + 1);
    const std::string named = choice < G_N_ELEMENTS(types) ? types[choice] : input.line();
    const GVariantType* const type = mox::fuzz::type_named(named);
    const VariantPtr any = mox::fuzz::untrusted(type == nullptr ? G_VARIANT_TYPE("ay") : type,
                                                input.bytes(input.take<guint8>()));
    return VariantPtr(g_variant_get_normal_form(any.get()));
}

VariantPtr argument_from(const char* signature, FuzzInput& input) {
    if (g_str_equal(signature, "s")) {
        const std::string name = name_from(input);
        const bool is_text = g_utf8_validate(name.c_str(), -1, nullptr) != FALSE;
        return VariantPtr(g_variant_ref_sink(g_variant_new_string(is_text ? name.c_str() : "?")));
    }
    if (g_str_equal(signature, "v")) {
        return VariantPtr(g_variant_ref_sink(g_variant_new_variant(value_from(input).get())));
    }
    const std::size_t size = g_str_equal(signature, "ay") ? input.take<guint8>() : 4;
    const VariantPtr any = mox::fuzz::untrusted(G_VARIANT_TYPE(signature), input.bytes(size));
    return VariantPtr(g_variant_get_normal_form(any.get()));
}

// A call that is right as far as types go.
void structured_call(FuzzInput& input) {
    GDBusMethodInfo** const methods = mox::host::wire::interface_info()->methods;
    std::size_t count = 0;
    while (methods[count] != nullptr) {
        ++count;
    }
    const GDBusMethodInfo& method = *methods[input.below(count)];
    GVariantBuilder arguments;
    g_variant_builder_init(&arguments, G_VARIANT_TYPE_TUPLE);
    for (GDBusArgInfo** argument = method.in_args; argument != nullptr && *argument != nullptr;
         ++argument) {
        g_variant_builder_add_value(&arguments, argument_from((*argument)->signature, input).get());
    }
    the_system->call(method.name, g_variant_builder_end(&arguments));
}

// "Method ARGUMENTS" as GVariant text; behind "*" of whatever type they are.
void text_call(const std::string& line) {
    const std::size_t space = std::min(line.find(' '), line.size());
    const std::string name = line.substr(0, space);
    const bool is_free = space + 1 < line.size() && line[space + 1] == '*';
    const std::string text = line.substr(std::min(line.size(), space + (is_free ? 2 : 1)));
    const GDBusMethodInfo* const method = method_named(name);
    if (g_dbus_is_member_name(name.c_str()) == FALSE || (method == nullptr && !is_free)) {
        return;
    }
    const std::string type = is_free ? "" : arguments_type(*method);
    GVariant* const arguments = g_variant_parse(is_free ? nullptr : G_VARIANT_TYPE(type.c_str()),
                                                text.c_str(), nullptr, nullptr, nullptr);
    if (arguments == nullptr) {
        return;
    }
    const VariantPtr held(arguments);
    const bool is_tuple = g_variant_is_of_type(arguments, G_VARIANT_TYPE_TUPLE) != FALSE;
    the_system->call(name.c_str(), is_tuple ? arguments : g_variant_new_tuple(&arguments, 1));
}

// Any bytes as the arguments of a method, of its type or of any other tuple's.
void raw_call(FuzzInput& input) {
    GDBusMethodInfo** const methods = mox::host::wire::interface_info()->methods;
    std::size_t count = 0;
    while (methods[count] != nullptr) {
        ++count;
    }
    const GDBusMethodInfo& method = *methods[input.below(count)];
    const bool has_own_type = input.below(2) == 0;
    const std::string text = has_own_type ? arguments_type(method) : "(" + input.line() + ")";
    const GVariantType* const type = mox::fuzz::type_named(text);
    if (type != nullptr && g_variant_type_is_tuple(type) != FALSE) {
        const VariantPtr any = mox::fuzz::untrusted(type, input.rest());
        const VariantPtr normal(g_variant_get_normal_form(any.get()));
        the_system->call(method.name, normal.get());
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const std::string cause = mox::test::enter_ipc_namespace();
    promise(cause.empty(), cause.c_str());
    g_log_set_writer_func(
        [](GLogLevelFlags, const GLogField*, gsize, gpointer) { return G_LOG_WRITER_HANDLED; },
        nullptr, nullptr);
    the_system = std::make_unique<System>();
    promise(the_system->join(), "a module may join");
    std::atexit([] { the_system.reset(); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    if (!the_system->is_connected()) {
        the_system->connect();
    }
    the_system->join();
    const std::size_t kind = input.below(3);
    for (int calls = 0; calls < most_calls && input.left() > 0; ++calls) {
        if (kind == 0) {
            text_call(input.line());
        } else if (kind == 1) {
            structured_call(input);
        } else {
            raw_call(input);
        }
    }
    return 0;
}
