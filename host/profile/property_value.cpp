// Every number is checked against its type's range before it becomes a typed value.
#include "profile/property_value.hpp"

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>

#include "profile/json_members.hpp"
#include "wire/quoted_text.hpp"

namespace mox::host {
namespace {

struct VariantDelete {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
using VariantPtr = std::unique_ptr<GVariant, VariantDelete>;

struct ErrorDelete {
    void operator()(GError* error) const { g_error_free(error); }
};

bool holds(JsonNode* node, GType type) {
    return JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == type;
}

VariantPtr owned(GVariant* value) {
    return VariantPtr(g_variant_ref_sink(value));
}

std::string bytes_of(GVariant* value) {
    std::string bytes(g_variant_get_size(value), '\0');
    if (!bytes.empty()) {
        g_variant_store(value, bytes.data());
    }
    return bytes;
}

class Reader {
public:
    Reader(std::string place, Faults& faults) : place_(std::move(place)), faults_(faults) {}

    // Null, and faults, when the node does not fit.
    VariantPtr read(JsonNode* node, const GVariantType* type) const {
        if (g_variant_type_equal(type, G_VARIANT_TYPE_STRING) != FALSE) {
            return string(node);
        }
        if (holds(node, G_TYPE_STRING)) {
            return from_text(json_node_get_string(node), type);
        }
        if (JSON_NODE_HOLDS_ARRAY(node) && g_variant_type_is_array(type) != FALSE) {
            return array(json_node_get_array(node), type);
        }
        if (holds(node, G_TYPE_BOOLEAN) &&
            g_variant_type_equal(type, G_VARIANT_TYPE_BOOLEAN) != FALSE) {
            return owned(g_variant_new_boolean(json_node_get_boolean(node)));
        }
        const bool is_whole = holds(node, G_TYPE_INT64);
        if (is_whole || holds(node, G_TYPE_DOUBLE)) {
            if (g_variant_type_equal(type, G_VARIANT_TYPE_DOUBLE) != FALSE) {
                return real(node);
            }
            if (is_whole) {
                return whole(json_node_get_int(node), type);
            }
        }
        return misfit(node, type);
    }

private:
    VariantPtr fail(const std::string& cause) const {
        faults_.add(place_, cause);
        return nullptr;
    }

    static std::string text_of(const GVariantType* type) {
        return quoted({g_variant_type_peek_string(type), g_variant_type_get_string_length(type)});
    }

    VariantPtr misfit(JsonNode* node, const GVariantType* type) const {
        return fail(std::string(kind_of(node)) + " does not fit type " + text_of(type));
    }

    VariantPtr string(JsonNode* node) const {
        if (!holds(node, G_TYPE_STRING)) {
            return misfit(node, G_VARIANT_TYPE_STRING);
        }
        return owned(g_variant_new_string(json_node_get_string(node)));
    }

    VariantPtr from_text(const gchar* text, const GVariantType* type) const {
        if (const std::string escape = wire::bad_escape(text); !escape.empty()) {
            return fail("text " + quoted(text) + " is no value of type " + text_of(type) + ": " +
                        escape + " stands for no character");
        }
        GError* raw_error = nullptr;
        GVariant* const value = g_variant_parse(type, text, nullptr, nullptr, &raw_error);
        const std::unique_ptr<GError, ErrorDelete> error(raw_error);
        if (value == nullptr) {
            return fail("text " + quoted(text) + " is no value of type " + text_of(type) + ": " +
                        error->message);
        }
        return VariantPtr(value);  // a parsed value does not float
    }

    VariantPtr array(JsonArray* elements, const GVariantType* type) const {
        GVariantBuilder builder;
        g_variant_builder_init(&builder, type);
        bool is_good = true;
        for (guint at = 0; at < json_array_get_length(elements); ++at) {
            const VariantPtr element =
                Reader(place_ + " [" + std::to_string(at) + "]", faults_)
                    .read(json_array_get_element(elements, at), g_variant_type_element(type));
            is_good = is_good && element != nullptr;
            if (is_good) {
                g_variant_builder_add_value(&builder, element.get());
            }
        }
        if (!is_good) {
            g_variant_builder_clear(&builder);
            return nullptr;
        }
        return owned(g_variant_builder_end(&builder));
    }

    VariantPtr real(JsonNode* node) const {
        if (holds(node, G_TYPE_DOUBLE)) {
            return owned(g_variant_new_double(json_node_get_double(node)));
        }
        // Whole numbers up to 2^53 have a double of their own.
        constexpr gint64 exact = gint64{1} << 53U;
        const gint64 number = json_node_get_int(node);
        if (number > exact || number < -exact) {
            return fail("number " + std::to_string(number) + " has no exact value of type \"d\"");
        }
        return owned(g_variant_new_double(static_cast<double>(number)));
    }

    template <typename Number>
    VariantPtr ranged(gint64 number, const GVariantType* type, GVariant* make(Number)) const {
        using Limits = std::numeric_limits<Number>;
        if (number < gint64{Limits::min()} || number > gint64{Limits::max()}) {
            return fail("number " + std::to_string(number) + " is outside type " + text_of(type) +
                        ", " + std::to_string(Limits::min()) + " to " +
                        std::to_string(Limits::max()));
        }
        return owned(make(static_cast<Number>(number)));
    }

    VariantPtr whole(gint64 number, const GVariantType* type) const {
        switch (*g_variant_type_peek_string(type)) {
            case 'y':
                return ranged<guint8>(number, type, g_variant_new_byte);
            case 'n':
                return ranged<gint16>(number, type, g_variant_new_int16);
            case 'q':
                return ranged<guint16>(number, type, g_variant_new_uint16);
            case 'i':
                return ranged<gint32>(number, type, g_variant_new_int32);
            case 'u':
                return ranged<guint32>(number, type, g_variant_new_uint32);
            case 'x':
                return owned(g_variant_new_int64(number));
            default:
                return fail("a whole number does not fit type " + text_of(type));
        }
    }

    std::string place_;
    Faults& faults_;
};

}  // namespace

std::optional<std::string> value_bytes(JsonNode* node, const std::string& type,
                                       const std::string& place, Faults& faults) {
    const VariantPtr value = Reader(place, faults).read(node, G_VARIANT_TYPE(type.c_str()));
    return value ? std::optional(bytes_of(value.get())) : std::nullopt;
}

std::string zero_bytes(const std::string& type) {
    if (type[0] == 'a') {
        return {};
    }
    // The zero of every other type that is stored is all zero bytes: as many as a parsed 0, one for
    // "" and FALSE.
    const char* const text = type == "s" ? "''" : type == "b" ? "false" : "0";
    const VariantPtr value(
        g_variant_parse(G_VARIANT_TYPE(type.c_str()), text, nullptr, nullptr, nullptr));
    return bytes_of(value.get());
}

}  // namespace mox::host
