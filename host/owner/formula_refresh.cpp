// The object store's own refresh reads properties with accessors only.
#include "owner/formula_refresh.hpp"

#include <lom.h>
#include <pub.h>

#include "profile/expression_check.hpp"
#include "wire/status_text.hpp"

namespace mox::host {

FormulaRefresh::FormulaRefresh(const Profile& profile) {
    for (const ObjectDef& object : profile.objects) {
        if (object.class_name == expression_class) {
            formulas_.push_back({object.name, MOX_OK});
        }
    }
}

void FormulaRefresh::read_all() {
    for (Formula& formula : formulas_) {
        GVariant* value = nullptr;
        const gint32 result = lom_get_property_value(lom_name_to_handle(formula.object.c_str()),
                                                     expression_result, TRUE, &value, FALSE);
        if (result == MOX_OK) {
            g_variant_unref(value);
        }
        if (result != MOX_OK && result != formula.last_result) {
            pub_debug_print(MX_DBG_ERR, "formula %s: %s.\n", formula.object.c_str(),
                            wire::status_text(result).c_str());
        } else if (result == MOX_OK && formula.last_result != MOX_OK) {
            pub_debug_print(MX_DBG_INFO, "formula %s is computed again.\n", formula.object.c_str());
        }
        formula.last_result = result;
    }
}

}  // namespace mox::host
