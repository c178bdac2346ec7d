#include "value_text.hpp"

#include <array>
#include <charconv>
#include <memory>

namespace mox::examples {

std::string text_of_real(double number) {
    // The longest double in digits has 309 of them before the point.
    std::array<char, 1100> text;
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    return {text.data(), result.ptr};
}

std::string text_of_value(GVariant* value) {
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_DOUBLE)) {
        return text_of_real(g_variant_get_double(value));
    }
    const std::unique_ptr<gchar, decltype(&g_free)> text{g_variant_print(value, FALSE), g_free};
    return text.get();
}

}  // namespace mox::examples
