// The source of values that a formula computes: the property "Value" of an object of class
// "Expression". The formula is evaluated only when an input differs from its cache; otherwise the
// stored result is what it would give.
#include <expression.h>

#include <cstring>

#include "base/bounded_copy.hpp"
#include "base/glib_ptr.hpp"
#include "lom/formula_input.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"

namespace {

constexpr gsize kNumberSize = 8;  // the largest result

// The formulas that this thread is evaluating, innermost first: one that asks for itself through
// its own inputs would never end, and each takes stack. What one read may begin in all is bounded
// too: formulas over formulas, each with three inputs, cost three times more with every step.
class Evaluation {
public:
    explicit Evaluation(const OBJECT_HEAD_S& object)
        : object_(&object), outer_(innermost), depth_(outer_ == nullptr ? 1 : outer_->depth_ + 1) {
        innermost = this;
        begun = outer_ == nullptr ? 1 : begun + 1;
    }
    ~Evaluation() { innermost = outer_; }
    Evaluation(const Evaluation&) = delete;
    Evaluation& operator=(const Evaluation&) = delete;

    // Whether the object's formula can be begun: not within itself, nor within or after too many
    // others of the same read.
    static bool may_begin(const OBJECT_HEAD_S& object) {
        if (innermost != nullptr && (innermost->depth_ >= kDeepest || begun >= kMost)) {
            return false;
        }
        const Evaluation* at = innermost;
        while (at != nullptr && at->object_ != &object) {
            at = at->outer_;
        }
        return at == nullptr;
    }

private:
    static constexpr guint kDeepest = 64;
    static constexpr guint kMost = 1000;
    static thread_local const Evaluation* innermost;
    static thread_local guint begun;  // by the outermost one and within it

    const OBJECT_HEAD_S* object_;
    const Evaluation* outer_;
    guint depth_;
};

thread_local const Evaluation* Evaluation::innermost __attribute__((tls_model("initial-exec"))) =
    nullptr;
thread_local guint Evaluation::begun __attribute__((tls_model("initial-exec"))) = 0;

// The formula's text, terminated whatever is stored. Null when it cannot be read.
mox::CharPtr read_formula(OBJECT_HEAD_S& object, gboolean is_remote, gint32& result) {
    TLV_S tlv = {};
    result = _get_property_raw_data(&object, "Formula", FALSE, &tlv, is_remote);
    const mox::GPtr<void> data(tlv.data);
    return result != MOX_OK
               ? nullptr
               : mox::CharPtr(g_strndup(static_cast<const gchar*>(tlv.data), tlv.size));
}

// Puts a result into a package of the property's type and size.
gint32 fill(const SERIALISED_PROPERTY_S& property, GVariant* value, TLV_S& tlv) {
    guint8 bytes[kNumberSize] = {};
    std::memcpy(bytes, g_variant_get_data(value), g_variant_get_size(value));
    const gsize size = mox::read_published(property.size);
    gpointer data = g_try_malloc0(size);
    if (data == nullptr && size != 0) {
        return MOX_ERR_INTERNAL;  // a declared size beyond all memory
    }
    std::memcpy(tlv.type, property.type, PUB_TYPE_LENGTH);
    tlv.size = static_cast<guint32>(size);
    tlv.data = data;
    MOX_LOG_COPY(MOX_COPY_FAILED_TRAILING_BLANK, "lom",
                 mox::copy_what_fits(data, size, bytes, sizeof(bytes), size));
    return MOX_OK;
}

gint32 evaluate(OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property,
                const mox::FormulaInputs& inputs, TLV_S& tlv, gboolean is_remote) {
    gint32 result = MOX_OK;
    const mox::CharPtr formula = read_formula(object, is_remote, result);
    if (result != MOX_OK) {
        return result;
    }
    GVariant* floating = exp_get_value(property.type, inputs.number(0), inputs.number(1),
                                       inputs.number(2), formula.get());
    if (floating == nullptr) {
        return MOX_OK;  // no value: the package stays as it is
    }
    const mox::VariantPtr value(g_variant_ref_sink(floating));
    return fill(property, value.get(), tlv);
}

}  // namespace

gboolean _get_expression_data(OBJECT_HEAD_S* object_head, SERIALISED_PROPERTY_S* property_node,
                              TLV_S* ptlv, mox::FormulaInputs* inputs, gint32* retv,
                              gboolean* is_updated, gboolean is_remote) {
    *is_updated = FALSE;
    *retv = MOX_OK;
    if (!mox::is_formula_result(*object_head, *property_node)) {
        return FALSE;
    }
    if (!Evaluation::may_begin(*object_head)) {
        pub_debug_print(MX_DBG_ERR, "formula of %s needs its own result, or too many others.\n",
                        object_head->object_name);
        *retv = MOX_ERR_INTERNAL;
        return TRUE;
    }
    const Evaluation evaluation(*object_head);
    *retv = inputs->read(*object_head, is_remote);
    if (*retv != MOX_OK) {
        return TRUE;
    }
    *is_updated = inputs->differ_from_caches(*object_head, is_remote, *ptlv, *retv);
    if (!*is_updated) {
        return TRUE;
    }
    // Whichever process notices the change stores and announces the new result.
    mox::publish(object_head->capability, OBJECT_READ_WRITE);
    *retv = evaluate(*object_head, *property_node, *inputs, *ptlv, is_remote);
    return TRUE;
}

namespace mox {

bool is_formula_result(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property) {
    return std::strcmp(property.name, "Value") == 0 &&
           g_strcmp0(object.class_name, "Expression") == 0;
}

}  // namespace mox
