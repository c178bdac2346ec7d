// The transport has checked the arguments against the interface before a method sees them.
#include "owner/call_arguments.hpp"

#include "profile/profile.hpp"
#include "wire/interface.hpp"

namespace mox::host {

void refuse(const char* name, std::string cause) {
    throw Refusal{name, std::move(cause)};
}

const char* string_at(GVariant* arguments, gsize index) {
    const gchar* text = nullptr;
    g_variant_get_child(arguments, index, "&s", &text);
    return text;
}

gint32 number_at(GVariant* arguments, gsize index) {
    gint32 number = 0;
    g_variant_get_child(arguments, index, "i", &number);
    return number;
}

gboolean flag_at(GVariant* arguments, gsize index) {
    gboolean flag = FALSE;
    g_variant_get_child(arguments, index, "b", &flag);
    return flag;
}

ValuePtr value_at(GVariant* arguments, gsize index) {
    GVariant* value = nullptr;
    g_variant_get_child(arguments, index, "v", &value);
    return ValuePtr(value);
}

std::string name_at(GVariant* arguments, gsize index, const char* what) {
    std::string name = string_at(arguments, index);
    if (name.empty() || name.size() > max_name_bytes) {
        refuse(wire::error_bad_argument, std::string("the ") + what + " name has " +
                                             std::to_string(name.size()) +
                                             " bytes; names have 1 to 31");
    }
    return name;
}

GVariant* bytes_value(gconstpointer data, gsize size) {
    return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, data, size, 1);
}

GVariant* status_value(gint32 status) {
    return g_variant_new(wire::status_reply, status);
}

}  // namespace mox::host
