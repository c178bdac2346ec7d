// The type of a value decides its pattern.
#include "module_process.hpp"

#include <cstring>

#include "patterns.hpp"
#include "shared_page.hpp"

namespace mox::kills {
std::string bytes_fault(const gchar* type, const void* bytes, std::size_t size) {
    switch (type[0]) {
        case 's':
            return text_fault(bytes, size);
        case 'a':
            return list_fault(bytes, size);
        case 'd':
            return real_fault(bytes, size);
        default:
            return "";
    }
}

MoxHostModule* join_as(const std::string& run_dir, const char* name, MOX_MODULE_TYPE type) {
    CallError error;
    MoxHostModule* const module = moxhost_join(run_dir.c_str(), name, type, error.out());
    if (module == nullptr) {
        throw Failed(std::string(name) + " cannot join: " + error.text());
    }
    return module;
}

gint32 read_pattern(const char* object, const char* property, std::string& fault) {
    TLV_S value = {};
    const gint32 result =
        lom_get_property_data(lom_get_object_handle(object), property, FALSE, &value, FALSE);
    if (result == MOX_OK) {
        fault = bytes_fault(value.type, value.data, value.size);
    }
    g_free(value.data);
    return result;
}

GVariant* value_for(const char* property, int number) {
    if (std::strcmp(property, "List") == 0) {
        const std::vector<std::int32_t> list = list_of(number % 1000);
        return g_variant_new_fixed_array(G_VARIANT_TYPE_INT32, list.data(), list.size(),
                                         sizeof list[0]);
    }
    if (std::strcmp(property, "Real") == 0) {
        return g_variant_new_double(real_of(number));
    }
    if (std::strcmp(property, "Number") == 0) {
        return g_variant_new_int32(number % 1000);
    }
    const bool is_short = std::strcmp(property, "Short") == 0;
    const int letter = is_short ? number % 3 * kLengths : number;
    return g_variant_new_string(text_of(letter).c_str());
}

gint32 write_value(const char* object, const char* property, int number) {
    GVariant* const value = g_variant_ref_sink(value_for(property, number));
    const gint32 result = lom_set_property_value(lom_get_object_handle(object), property, value,
                                                 PER_MODE_NOSUPPORT, FALSE);
    g_variant_unref(value);
    return result;
}

}  // namespace mox::kills
