// An input, taken apart from its front. Every piece that is handed out has a heap block of its
// exact size, so that one byte read beyond it is found. What the input does not have is zero or
// empty.
#ifndef MOX_TEST_FUZZ_INPUT_HPP
#define MOX_TEST_FUZZ_INPUT_HPP

#include <glib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace mox::fuzz {

struct UnrefVariant {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
using VariantPtr = std::unique_ptr<GVariant, UnrefVariant>;

using Bytes = std::vector<guint8>;

class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : at_(data), left_(size) {}

    std::size_t left() const { return left_; }

    template <typename Number>
    Number take() {
        Number number{};
        const std::size_t there = std::min(left_, sizeof number);
        if (there > 0) {
            std::memcpy(&number, at_, there);
        }
        skip(there);
        return number;
    }

    // A number below the bound, which is above 0.
    std::size_t below(std::size_t bound) { return take<guint8>() % bound; }

    Bytes bytes(std::size_t size) {
        const std::size_t there = std::min(left_, size);
        Bytes result(at_, at_ + there);
        result.shrink_to_fit();
        skip(there);
        return result;
    }
    Bytes rest() { return bytes(left_); }

    // The bytes up to the next line's end, as text without NUL in it.
    std::string line() {
        std::string text;
        while (left_ > 0) {
            const auto character = static_cast<char>(take<guint8>());
            if (character == '\n') {
                break;
            }
            if (character != '\0') {
                text += character;
            }
        }
        return text;
    }
    std::string rest_of_text() {
        std::string text(reinterpret_cast<const char*>(at_), left_);
        skip(left_);
        return text.substr(0, text.find('\0'));
    }

private:
    void skip(std::size_t count) {
        at_ += count;
        left_ -= count;
    }

    const std::uint8_t* at_;
    std::size_t left_;
};

// The type that a text names, when values can have it; null otherwise.
inline const GVariantType* type_named(const std::string& text) {
    return g_variant_type_string_is_valid(text.c_str()) != FALSE &&
                   g_variant_type_is_definite(G_VARIANT_TYPE(text.c_str())) != FALSE
               ? G_VARIANT_TYPE(text.c_str())
               : nullptr;
}
const GVariantType* type_named(std::string&& text) = delete;  // the type is the text itself

// A value over any bytes, which need not be its normal form.
inline VariantPtr untrusted(const GVariantType* type, const Bytes& bytes) {
    gpointer copy = g_memdup2(bytes.data(), bytes.size());
    return VariantPtr(
        g_variant_ref_sink(g_variant_new_from_data(type, copy, bytes.size(), FALSE, g_free, copy)));
}

inline void read_through(GVariant* value) {
    g_free(g_variant_print(value, TRUE));
    g_variant_unref(g_variant_get_normal_form(value));
}

}  // namespace mox::fuzz

#endif
