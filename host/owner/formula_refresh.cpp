// The object store's own refresh reads properties with accessors only.
#include "owner/formula_refresh.hpp"

#include <lom.h>
#include <pub.h>

#include "profile/expression_check.hpp"
#include "wire/status_text.hpp"

namespace mox::host {

FormulaRefresh::FormulaRefresh(const ModelIndex& model) : model_(model) {
    for (const ObjectDef& object : model.profile().objects) {
        if (object.class_name == expression_class) {
            formulas_.push_back({&object, MOX_OK});
        }
    }
}

void FormulaRefresh::read_all() {
    for (Formula& formula : formulas_) {
        if (!model_.is_there(*formula.object)) {
            formula.last_result = MOX_OK;
            continue;
        }
        const gchar* const name = formula.object->name.c_str();
        GVariant* value = nullptr;
        const gint32 result = lom_get_property_value(lom_name_to_handle(name), expression_result,
                                                     TRUE, &value, FALSE);
        if (result == MOX_OK) {
            g_variant_unref(value);
        }
        if (result != MOX_OK && result != formula.last_result) {
            pub_debug_print(MX_DBG_ERR, "formula %s: %s.\n", name,
                            wire::status_text(result).c_str());
        } else if (result == MOX_OK && formula.last_result != MOX_OK) {
            pub_debug_print(MX_DBG_INFO, "formula %s is computed again.\n", name);
        }
        formula.last_result = result;
    }
}

}  // namespace mox::host
