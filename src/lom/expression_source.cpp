// The source of values that a formula computes. This build has no formulas: no property is the
// result of one.
#include "lom/property.hpp"

gboolean _get_expression_data([[maybe_unused]] OBJECT_HEAD_S* object_head,
                              [[maybe_unused]] SERIALISED_PROPERTY_S* property_node,
                              [[maybe_unused]] TLV_S* ptlv, [[maybe_unused]] TLV_S* expr_para,
                              gint32* retv, gboolean* is_updated,
                              [[maybe_unused]] gboolean is_remote) {
    *retv = MOX_OK;
    *is_updated = FALSE;
    return FALSE;
}
