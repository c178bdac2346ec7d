// A module may save the properties of what it may write, and read what is saved of what it may
// read. The store's codes are the answers, unchanged.
#include "owner/store_methods.hpp"

#include <lom.h>
#include <moxplat/persist_store.h>

#include "owner/restore_defaults.hpp"
#include "wire/interface.hpp"
#include "wire/status_text.hpp"

namespace mox::host {
namespace {

guint32 state_at(GVariant* arguments, gsize index) {
    guint32 state = 0;
    g_variant_get_child(arguments, index, "u", &state);
    return state;
}

PER_MODE_E mode_at(GVariant* arguments, gsize index) {
    const gint32 mode = number_at(arguments, index);
    // A number that names no mode becomes the end marker, which the store refuses as it would the
    // number.
    return mode < PER_MODE_NOSUPPORT || mode > PER_MODE_BUTT ? PER_MODE_BUTT
                                                             : static_cast<PER_MODE_E>(mode);
}

// A read's record, released whatever comes of the reply.
struct SavedValue {
    SavedValue() = default;
    ~SavedValue() { cfg_read_free(&read); }
    SavedValue(const SavedValue&) = delete;
    SavedValue& operator=(const SavedValue&) = delete;

    CFG_READ_S read = {};
};

}  // namespace

GVariant* StoreMethods::answer(const JoinedModule& module, const std::string& method,
                               GVariant* arguments) const {
    if (method == "SaveValue") return status_value(save_value(module, arguments));
    if (method == "StatusSave") return status_value(status_save(module, arguments));
    if (method == "StatusRemove") return status_value(status_remove(module, arguments));
    if (method == "ReadSaved") return read_saved(module, arguments);
    if (method == "IsSaved") return is_saved(module, arguments);
    if (method == "RestoreDefaults") {
        access_.check_manage(module, method, nullptr);
        return restore_defaults();
    }
    return nullptr;
}

// Whether the module may save the property that the first two arguments name; 0 when it may.
gint32 StoreMethods::judge(const JoinedModule& module, const char* method, GVariant* arguments,
                           bool has_prefix) const {
    const ObjectDef* const object = model_.find_object(string_at(arguments, 0));
    if (object == nullptr) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    if (!access_.may(module, method, Access::write, *object)) {
        return MOX_ERR_NOT_PERMITTED;
    }
    const std::string name = string_at(arguments, 1);
    return find_property(*object, has_prefix ? "d:" + name : name) == nullptr
               ? MOX_ERR_PROPERTY_NOT_FOUND
               : MOX_OK;
}

gint32 StoreMethods::save_value(const JoinedModule& module, GVariant* arguments) const {
    const gboolean has_prefix = flag_at(arguments, 4);
    const gint32 verdict = judge(module, "SaveValue", arguments, has_prefix != FALSE);
    if (verdict != MOX_OK) {
        return verdict;
    }
    GVariant* const child = g_variant_get_child_value(arguments, 3);
    const ValuePtr data(child);
    const gsize size = g_variant_get_size(child);
    if (size > wire::max_remote_bytes) {
        return MOX_ERR_MESSAGE_TOO_BIG;
    }
    return cfg_save_v2(string_at(arguments, 0), string_at(arguments, 1), string_at(arguments, 2),
                       static_cast<guint32>(size), size == 0 ? nullptr : g_variant_get_data(child),
                       has_prefix, mode_at(arguments, 5));
}

gint32 StoreMethods::status_save(const JoinedModule& module, GVariant* arguments) const {
    const gint32 verdict = judge(module, "StatusSave", arguments, false);
    return verdict != MOX_OK ? verdict
                             : cfg_status_save(string_at(arguments, 0), string_at(arguments, 1),
                                               state_at(arguments, 2));
}

gint32 StoreMethods::status_remove(const JoinedModule& module, GVariant* arguments) const {
    const gint32 verdict = judge(module, "StatusRemove", arguments, false);
    return verdict != MOX_OK ? verdict
                             : cfg_status_remove(string_at(arguments, 0), string_at(arguments, 1));
}

GVariant* StoreMethods::read_saved(const JoinedModule& module, GVariant* arguments) const {
    SavedValue saved;
    gint32 status = MOX_ERR_NOT_PERMITTED;
    if (access_.may_by_name(module, "ReadSaved", Access::read, string_at(arguments, 0))) {
        status = cfg_read_v2(string_at(arguments, 0), string_at(arguments, 1), &saved.read,
                             flag_at(arguments, 2), mode_at(arguments, 3));
    }
    const CFG_READ_S& read = saved.read;
    if (status == PER_OK && read.size > wire::max_remote_bytes) {
        status = MOX_ERR_MESSAGE_TOO_BIG;
    }
    const bool is_good = status == PER_OK;
    return g_variant_new("(is@ay)", status, is_good && read.type != nullptr ? read.type : "",
                         bytes_value(is_good ? read.data_out : nullptr, is_good ? read.size : 0));
}

GVariant* StoreMethods::is_saved(const JoinedModule& module, GVariant* arguments) const {
    gboolean saved = FALSE;
    gint32 status = MOX_ERR_NOT_PERMITTED;
    if (access_.may_by_name(module, "IsSaved", Access::read, string_at(arguments, 0))) {
        status = cfg_is_saved(string_at(arguments, 0), string_at(arguments, 1),
                              flag_at(arguments, 2), mode_at(arguments, 3), &saved);
    }
    return g_variant_new(wire::is_saved_reply, status, saved);
}

GVariant* StoreMethods::restore_defaults() const {
    const gint32 status = host::restore_defaults(model_);
    if (status != PER_OK) {
        refuse(wire::error_failed, "the defaults were not restored: " + wire::status_text(status));
    }
    return g_variant_new(wire::empty_reply);
}

}  // namespace mox::host
