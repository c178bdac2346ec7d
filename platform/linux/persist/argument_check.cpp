// Arguments are looked at in their order, so the code names the first one that is wrong.
#include "argument_check.hpp"

#include <cstring>

#include "value_check.hpp"

namespace mox::persist {

bool is_name(const gchar* name) {
    constexpr gsize longest = 255;
    if (name == nullptr || *name == '\0') return false;
    const gsize length = strnlen(name, longest + 1);
    return length <= longest &&
           g_utf8_validate(name, static_cast<gssize>(length), nullptr) != FALSE;
}

bool is_mode(PER_MODE_E mode) {
    return mode == PER_MODE_POWER_OFF || mode == PER_MODE_RESET || mode == PER_MODE_PERMANENT;
}

gint32 check_names(const gchar* object_name, const gchar* name) {
    if (!is_name(object_name)) return PER_ERROR_PARA_0_INVALID;
    return is_name(name) ? PER_OK : PER_ERROR_PARA_1_INVALID;
}

gint32 check_save(const gchar* object_name, const gchar* name, const gchar* type, guint32 size,
                  gconstpointer data, PER_MODE_E mode) {
    const gint32 names = check_names(object_name, name);
    if (names != PER_OK) return names;
    if (type == nullptr || !is_persisted_type(type)) return PER_ERROR_PARA_2_INVALID;
    if (size > largest_value) return PER_ERROR_PARA_3_INVALID;
    if (data == nullptr && size != 0) return PER_ERROR_PARA_4_INVALID;
    const ValueCheck check = check_value(type, size, data);
    if (check == ValueCheck::out_of_memory) return PER_ERROR_MALLOC_FAIL;
    if (check == ValueCheck::bad) return PER_ERROR_PARA_4_INVALID;
    return is_mode(mode) ? PER_OK : PER_ERROR_PARA_6_INVALID;
}

}  // namespace mox::persist
