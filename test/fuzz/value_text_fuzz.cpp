// The value syntax of moxctl: a text for a property of any type, and back.
#include "value_text.hpp"

#include <cmath>
#include <cstring>
#include <string>

#include "fuzz_input.hpp"
#include "fuzz_target.hpp"
#include "verb.hpp"

namespace {

using mox::fuzz::promise;

constexpr const char* types[] = {"b",  "y",  "n",  "q",  "i",   "u",    "x",     "t",
                                 "d",  "s",  "ab", "ay", "an",  "aq",   "ai",    "au",
                                 "ax", "at", "ad", "as", "aas", "(is)", "a{sv}", "v"};

// Different bytes may mean "no number", and are told apart by nobody.
bool has_no_number(const std::string& text) {
    return text.find("nan") != std::string::npos;
}

void look_at(GVariant* value, const std::string& type) {
    promise(g_variant_is_of_type(value, G_VARIANT_TYPE(type.c_str())) != FALSE,
            "what was read is of the type that was asked for");
    const std::string exact = mox::tool::exact_text(value);
    promise(!mox::tool::plain_text(value).empty(), "every value has a text");
    GError* error = nullptr;
    GVariant* const again = g_variant_parse(nullptr, exact.c_str(), nullptr, nullptr, &error);
    g_clear_error(&error);
    promise(again != nullptr, "the exact text can be read back");
    promise(has_no_number(exact) || g_variant_equal(value, again) != FALSE,
            "the exact text reads back as the same value");
    g_variant_unref(again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    mox::fuzz::FuzzInput input(data, size);
    const std::string type = types[input.below(G_N_ELEMENTS(types))];
    const mox::fuzz::Bytes rest = input.rest();
    const std::string text(rest.begin(), rest.end());
    try {
        const mox::tool::VariantPtr value = mox::tool::value_of_text(text, type, "Fan1.Speed");
        look_at(value.get(), type);
    } catch (const mox::tool::Failed&) {
        // Refused with a cause, as it should be.
    }
    return 0;
}
