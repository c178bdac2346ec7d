// The valve is read first, so that the reader has a copy of it in every pool that is looked at. The
// board's objects are listed, not copied: a copy would keep them behind their unplugging.
#include "look.hpp"

#include <lom.h>
#include <moxhost/operator.h>

#include "model.hpp"
#include "shared_page.hpp"

namespace mox::kill_owner {
namespace {

std::string cause_of(const char* what, GError* error) {
    const std::string cause = std::string(what) + ": " + error->message;
    g_error_free(error);
    return cause;
}

std::string look_at_pool(MoxHostModule* module, Seen& seen) {
    GError* error = nullptr;
    MoxHostPoolInfo info = {};
    if (moxhost_pool_info(module, &info, &error) == FALSE) {
        return cause_of("the use of the pool", error);
    }
    seen.blocks = static_cast<std::uint32_t>(info.blocks);
    seen.objects = static_cast<std::uint32_t>(info.objects);
    seen.classes = static_cast<std::uint32_t>(info.classes);
    seen.removed = static_cast<std::uint32_t>(info.removed);
    return "";
}

std::string look_at_board(MoxHostModule* module, Seen& seen) {
    GError* error = nullptr;
    gboolean is_plugged = FALSE;
    if (moxhost_board_state(module, board, &is_plugged, nullptr, &error) == FALSE) {
        return cause_of("the state of the board", error);
    }
    gsize count = 0;
    MoxHostObjectInfo* const infos = moxhost_object_infos(module, board_class, &count, &error);
    if (infos == nullptr) {
        return cause_of("the objects of the board", error);
    }
    g_free(infos);
    seen.is_plugged = is_plugged != FALSE ? 1 : 0;
    seen.board_count = static_cast<std::uint32_t>(count);
    return "";
}

std::string look_at_valve(const char* property, std::atomic<std::int32_t>& seen) {
    std::int32_t number = 0;
    const gint32 status = read_valve(property, number);
    seen = number;
    return status == MOX_OK
               ? ""
               : std::string(valve) + '.' + property + " gives " + std::to_string(status);
}

}  // namespace

gint32 read_valve(const char* property, std::int32_t& number) {
    const OBJ_HANDLE handle = lom_get_object_handle(valve);
    GVariant* value = nullptr;
    const gint32 status = handle == 0
                              ? gint32{MOX_ERR_OBJECT_NOT_FOUND}
                              : lom_get_property_value(handle, property, FALSE, &value, FALSE);
    if (status == MOX_OK) {
        number = g_variant_is_of_type(value, G_VARIANT_TYPE_INT32) != FALSE
                     ? g_variant_get_int32(value)
                     : note_code(g_variant_get_string(value, nullptr));
        g_variant_unref(value);
    }
    return status;
}

std::string look(MoxHostModule* module) {
    Seen& seen = page().seen;
    std::string cause = look_at_valve(note_name, seen.note);
    if (cause.empty()) cause = look_at_valve(goal_name, seen.goal);
    if (cause.empty()) cause = look_at_board(module, seen);
    if (cause.empty()) cause = look_at_pool(module, seen);
    return cause;
}

}  // namespace mox::kill_owner
