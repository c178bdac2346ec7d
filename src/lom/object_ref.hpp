// A reference on an object record for the length of a scope: every path that looked an object up
// drops it.
#ifndef MOX_LOM_OBJECT_REF_HPP
#define MOX_LOM_OBJECT_REF_HPP

#include <memory>

#include "lom/object_table.hpp"
#include "lom/release.hpp"

namespace mox {

struct DropReference {
    void operator()(OBJECT_HEAD_S* object) const { _object_unref(object); }
};
using ObjectRef = std::unique_ptr<OBJECT_HEAD_S, DropReference>;

// Finds an object in this process only.
inline ObjectRef find_local(const gchar* object_name) {
    return ObjectRef(_get_object_ptr_option(object_name, TRUE));
}
inline ObjectRef find_local(OBJ_HANDLE obj_handle) {
    return find_local(lom_handle_to_name(obj_handle));
}

// Finds an object, fetching it from its owner when it is not known here.
inline ObjectRef find_anywhere(const gchar* object_name) {
    return ObjectRef(_get_object_ptr_option(object_name, FALSE));
}

}  // namespace mox

#endif
