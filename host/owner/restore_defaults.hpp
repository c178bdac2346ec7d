// Back to the profile's values, but for what is saved permanently.
#ifndef MOXHOST_OWNER_RESTORE_DEFAULTS_HPP
#define MOXHOST_OWNER_RESTORE_DEFAULTS_HPP

#include <glib.h>

#include <memory>
#include <string>

#include "model/model_index.hpp"

namespace mox::host {

// Forgets the values saved under PER_MODE_POWER_OFF and PER_MODE_RESET. Every property whose newest
// saved value was one of them is written with its permanent value, else with the profile's, and
// announced when that is another value; an overridden property keeps its forced value (logged).
// Returns PER_OK, or the store's code. With PER_ERROR_CLEAR_CFG_FLAG the store has forgotten all
// but the reset values, and properties and save states are what it still holds; with any other code
// nothing is forgotten and no property is changed.
gint32 restore_defaults(const ModelIndex& model);

struct UnrefValue {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};

// The newest saved value of a property, else the profile's.
struct ValueLeft {
    std::string bytes;
    std::unique_ptr<GVariant, UnrefValue> value;
};
ValueLeft value_left(const PropertyPlace& place);

}  // namespace mox::host

#endif
