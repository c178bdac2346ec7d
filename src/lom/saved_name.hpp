// The name under which the store knows a property: without its prefix, which travels as a flag.
#ifndef MOX_LOM_SAVED_NAME_HPP
#define MOX_LOM_SAVED_NAME_HPP

#include <glib.h>

namespace mox {

struct SavedName {
    explicit SavedName(const gchar* property_name)
        : has_prefix(g_str_has_prefix(property_name, "d:")),
          name(property_name + (has_prefix ? 2 : 0)) {}

    gboolean has_prefix;
    const gchar* name;
};

}  // namespace mox

#endif
