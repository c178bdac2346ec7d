// The source of values that a formula computes: the property "Value" of an object of class
// "Expression". The formula is evaluated only when an input differs from its cache; otherwise the
// stored result is what it would give.
#include <expression.h>

#include <algorithm>
#include <cstring>

#include "base/bounded_copy.hpp"
#include "base/glib_ptr.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"

namespace {

constexpr gsize kNumberSize = 8;  // the largest result or input

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

thread_local const Evaluation* Evaluation::innermost = nullptr;
thread_local guint Evaluation::begun = 0;

bool is_formula_result(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property) {
    return g_strcmp0(object.class_name, "Expression") == 0 &&
           g_strcmp0(property.name, "Value") == 0;
}

// Whether an input is another than the one of the last evaluation. Without a cache it always is.
bool differs_from_cache(OBJECT_HEAD_S& object, const gchar* cache_name, const TLV_S& input,
                        gboolean is_remote) {
    TLV_S cache = {};
    const gint32 result = _get_property_raw_data(&object, cache_name, FALSE, &cache, is_remote);
    const mox::GPtr<void> data(cache.data);
    return result != MOX_OK || cache.size < input.size ||
           (input.size > 0 && std::memcmp(cache.data, input.data, input.size) != 0);
}

gdouble number_of(const TLV_S& input) {
    guint8 bytes[kNumberSize] = {};  // an input may be shorter than its type is long
    if (input.data != nullptr) {
        std::memcpy(bytes, input.data, std::min<gsize>(input.size, kNumberSize));
    }
    return pub_raw_to_double(input.type, input.size, bytes);
}

// Reads one input live. Its package passes to kept when that is given.
gint32 read_input(OBJECT_HEAD_S& object, const mox::FormulaInput& input, gboolean is_remote,
                  gdouble& number, bool& is_changed, TLV_S* kept) {
    TLV_S tlv = {};
    const gint32 result = _get_property_raw_data(&object, input.name, TRUE, &tlv, is_remote);
    mox::GPtr<void> data(tlv.data);
    if (result != MOX_OK) {
        return result;
    }
    is_changed = differs_from_cache(object, input.cache_name, tlv, is_remote);
    number = number_of(tlv);
    if (kept != nullptr) {
        *kept = tlv;
        static_cast<void>(data.release());
    }
    return MOX_OK;
}

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
                const gdouble (&numbers)[kExpressionInputs], TLV_S& tlv, gboolean is_remote) {
    gint32 result = MOX_OK;
    const mox::CharPtr formula = read_formula(object, is_remote, result);
    if (result != MOX_OK) {
        return result;
    }
    GVariant* floating =
        exp_get_value(property.type, numbers[0], numbers[1], numbers[2], formula.get());
    if (floating == nullptr) {
        return MOX_OK;  // no value: the package stays as it is
    }
    const mox::VariantPtr value(g_variant_ref_sink(floating));
    return fill(property, value.get(), tlv);
}

}  // namespace

gboolean _get_expression_data(OBJECT_HEAD_S* object_head, SERIALISED_PROPERTY_S* property_node,
                              TLV_S* ptlv, TLV_S* expr_para, gint32* retv, gboolean* is_updated,
                              gboolean is_remote) {
    *is_updated = FALSE;
    *retv = MOX_OK;
    gdouble numbers[kExpressionInputs] = {};
    if (!is_formula_result(*object_head, *property_node)) {
        return FALSE;
    }
    if (!Evaluation::may_begin(*object_head)) {
        pub_debug_print(MX_DBG_ERR, "formula of %s needs its own result, or too many others.\n",
                        object_head->object_name);
        *retv = MOX_ERR_INTERNAL;
        return TRUE;
    }
    const Evaluation evaluation(*object_head);
    for (gsize index = 0; index < kExpressionInputs; ++index) {
        bool is_changed = false;
        *retv = read_input(*object_head, mox::kFormulaInputs[index], is_remote, numbers[index],
                           is_changed, expr_para == nullptr ? nullptr : &expr_para[index]);
        if (*retv != MOX_OK) {
            return TRUE;
        }
        *is_updated = *is_updated || is_changed;
    }
    if (!*is_updated) {
        *retv = _get_property_memory_data(object_head, "Value", ptlv);
        return TRUE;
    }
    // Whichever process notices the change stores and announces the new result.
    mox::publish(object_head->capability, OBJECT_READ_WRITE);
    *retv = evaluate(*object_head, *property_node, numbers, *ptlv, is_remote);
    return TRUE;
}
