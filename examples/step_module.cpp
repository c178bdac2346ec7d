#include "step_module.hpp"

#include <lom.h>

#include <cstring>

namespace mox::examples {
namespace {

constexpr guint event_limit_ms = 10000;

// What a wait for an event ends with.
struct Wait {
    LoopPtr loop{g_main_loop_new(nullptr, FALSE)};
    std::string property;
    std::optional<unsigned> value;
    bool is_late = false;
};

void on_message(MoxHostModule*, const MOX_MSG_S* message, gint64, gpointer user_data) {
    auto* wait = static_cast<Wait*>(user_data);
    MSG_EVENT_DATA_HEAD_S head;
    guint32 value = 0;
    if (message->head.msg_type != MOX_MSG_PROPERTY_EVENT ||
        message->head.length < sizeof head + sizeof value) {
        return;
    }
    std::memcpy(&head, message->data, sizeof head);
    if (wait->property != head.property_name || std::strcmp(head.type, "u") != 0) return;
    std::memcpy(&value, message->data + sizeof head, sizeof value);
    wait->value = value;
    g_main_loop_quit(wait->loop.get());
}

void on_lost(MoxHostModule*, gpointer user_data) {
    g_main_loop_quit(static_cast<Wait*>(user_data)->loop.get());
}

gboolean on_time(gpointer user_data) {
    auto* wait = static_cast<Wait*>(user_data);
    wait->is_late = true;
    g_main_loop_quit(wait->loop.get());
    return G_SOURCE_CONTINUE;
}

unsigned count_of(const VariantPtr& value, const char* property) {
    if (!g_variant_is_of_type(value.get(), G_VARIANT_TYPE_UINT32)) {
        throw WatchError(std::string{property} + " has an unexpected type");
    }
    return g_variant_get_uint32(value.get());
}

}  // namespace

void expect(bool is_right, const std::string& fault) {
    if (!is_right) throw WatchError(fault);
}

void expect_value(const char* what, unsigned seen, unsigned wanted) {
    expect(seen == wanted,
           std::string{what} + " is " + std::to_string(seen) + ", not " + std::to_string(wanted));
}

StepModule::StepModule(const std::string& run_dir, const char* name) {
    Failure failure;
    module_ =
        moxhost_join(run_dir.empty() ? nullptr : run_dir.c_str(), name, MODULE_APP, failure.out());
    if (module_ == nullptr) throw WatchError("cannot join the owner: " + failure.text());
}

StepModule::~StepModule() {
    moxhost_leave(module_);
}

OBJ_HANDLE StepModule::find(const char* object) const {
    const OBJ_HANDLE handle = lom_get_object_handle(object);
    if (handle == 0) throw WatchError(std::string{"the owner has no object "} + object);
    return handle;
}

unsigned StepModule::stored(const char* object, const char* property) const {
    return count_of(read_pool(find(object), property), property);
}

double StepModule::stored_number(const char* object, const char* property) const {
    const VariantPtr value = read_pool(find(object), property);
    if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE_DOUBLE)) {
        return g_variant_get_double(value.get());
    }
    return count_of(value, property);
}

unsigned StepModule::live(const char* object, const char* property) const {
    GVariant* value = nullptr;
    const gint32 code = lom_get_property_value(find(object), property, TRUE, &value, TRUE);
    if (code != MOX_OK) {
        throw WatchError(std::string{"the live value of "} + property + " cannot be read: code " +
                         std::to_string(code));
    }
    return count_of(VariantPtr{value}, property);
}

void StepModule::set(const char* object, const char* property, unsigned value) {
    Failure failure;
    if (!moxhost_set_property(module_, object, property, g_variant_new_uint32(value),
                              failure.out())) {
        throw WatchError(failure.text());
    }
}

void StepModule::apply(const char* object, const char* property, unsigned value) {
    Failure failure;
    if (!moxhost_apply_property(module_, object, property, g_variant_new_uint32(value),
                                failure.out())) {
        throw WatchError(failure.text());
    }
}

void StepModule::refresh() {
    Failure failure;
    if (!moxhost_refresh(module_, failure.out())) {
        throw WatchError("the owner does not refresh its hardware: " + failure.text());
    }
}

unsigned StepModule::wait_for_event(const char* class_name, const char* property,
                                    void (*on_ready)()) {
    Wait wait;
    wait.property = property;
    moxhost_set_message_func(module_, on_message, &wait);
    moxhost_set_lost_func(module_, on_lost, &wait);
    Failure failure;
    const guint timer = g_timeout_add(event_limit_ms, on_time, &wait);
    const bool is_listening = moxhost_listen(module_, class_name, property, failure.out()) != FALSE;
    if (is_listening) {
        on_ready();
        g_main_loop_run(wait.loop.get());
    }
    g_source_remove(timer);
    moxhost_set_message_func(module_, nullptr, nullptr);
    moxhost_set_lost_func(module_, nullptr, nullptr);
    if (wait.value) return *wait.value;
    const std::string name = std::string{class_name} + "." + property;
    if (!is_listening) throw WatchError("cannot listen to " + name + ": " + failure.text());
    throw WatchError("no event of " + name + ": " +
                     (wait.is_late ? "none came in time" : "the owner is gone"));
}

}  // namespace mox::examples
