// Properties that name another object's property: their text, "object.property", is followed from
// record to record, to any depth, without recursion. The referencing properties' own states play no
// part in the read.
#include "lom/object_ref.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"
#include "lom/reference_path.hpp"

namespace {

gint32 follow(mox::ReferenceTarget& target, gboolean is_volatile, TLV_S& tlv, gboolean is_remote) {
    mox::ObjectRef object;
    SERIALISED_PROPERTY_S* property = nullptr;
    const gint32 result = mox::find_referenced(target, object, property);
    return result != MOX_OK ? result
                            : mox::read_property(*object, *property, is_volatile, tlv, is_remote);
}

}  // namespace

gboolean _get_reference_property_data(SERIALISED_PROPERTY_S* property_node, gboolean is_volatile,
                                      TLV_S* ptlv, gint32* retv, gboolean is_remote) {
    mox::ReferenceTarget target;
    *retv = mox::split_reference(*property_node, target);
    if (*retv == MOX_OK) {
        *retv = follow(target, is_volatile, *ptlv, is_remote);
    }
    return TRUE;
}

namespace mox {

gint32 find_referenced(ReferenceTarget& target, ObjectRef& object,
                       SERIALISED_PROPERTY_S*& property) {
    CycleWatch watch;
    for (;;) {
        object = find_anywhere(target.object_name);
        if (!object) {
            return MOX_ERR_OBJECT_NOT_FOUND;
        }
        property = _get_property_node(object.get(), target.property_name());
        if (property == nullptr) {
            return MOX_ERR_PROPERTY_NOT_FOUND;
        }
        if (!is_reference(*property)) {
            return MOX_OK;
        }
        if (watch.is_repeated(property)) {
            return MOX_ERR_INTERNAL;
        }
        const gint32 result = split_stored_reference(*object, *property, target);
        if (result != MOX_OK) {
            return result;
        }
    }
}

gint32 read_reference(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property,
                      gboolean is_volatile, TLV_S& tlv, gboolean is_remote) {
    ReferenceTarget target;
    const gint32 result = split_stored_reference(object, property, target);
    return result != MOX_OK ? result : follow(target, is_volatile, tlv, is_remote);
}

}  // namespace mox
