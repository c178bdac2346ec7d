// The inputs of a formula: their values as one read found them, and whether they are those of the
// last evaluation.
#ifndef MOX_LOM_FORMULA_INPUT_HPP
#define MOX_LOM_FORMULA_INPUT_HPP

#include <lom/object.h>

#include "lom/property.hpp"

namespace mox {

// The values of X, Y and Z in packages whose data is freed with them; small ones need no memory of
// their own.
class FormulaInputs {
public:
    FormulaInputs() = default;
    ~FormulaInputs();
    FormulaInputs(const FormulaInputs&) = delete;
    FormulaInputs& operator=(const FormulaInputs&) = delete;

    using Packages = TLV_S[kExpressionInputs];

    // Reads all of them live, in order, up to the first failure, whose code it returns.
    gint32 read(OBJECT_HEAD_S& object, gboolean is_remote);

    // Whether one of them is another than the one of the last evaluation; without a cache it always
    // is. When none is, the stored result is copied into tlv under the same hold of the semaphore,
    // so that it belongs to these inputs, and result is 0, MOX_ERR_PROPERTY_NOT_FOUND without
    // a property "Value", or MOX_ERR_INTERNAL as in copy_stored_value.
    bool differ_from_caches(OBJECT_HEAD_S& object, gboolean is_remote, TLV_S& tlv,
                            gint32& result) const;

    const Packages& packages() const { return packages_; }
    gdouble number(gsize index) const;

private:
    static constexpr gsize kSmall = 8;  // bytes of every number

    gint32 read_stored(gsize index, const OBJECT_HEAD_S& object,
                       const SERIALISED_PROPERTY_S& property);
    gint32 read_found(gsize index, OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property,
                      gboolean is_remote);

    Packages packages_ = {};
    alignas(kSmall) guint8 small_[kExpressionInputs][kSmall];
};

}  // namespace mox

#endif
