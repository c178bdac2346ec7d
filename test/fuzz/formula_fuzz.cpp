// The evaluation of formulas: a result's type, three inputs of every type of number, a text.
#include <expression.h>
#include <pub.h>

#include <string>

#include "fuzz_input.hpp"
#include "fuzz_target.hpp"

namespace {

// An input as a formula gets it: a stored number of some type, made a double.
gdouble take_input(mox::fuzz::FuzzInput& input) {
    static constexpr const char* types[] = {"d", "i", "n", "q", "u", "y", "b", "s"};
    const char* const type = types[input.below(G_N_ELEMENTS(types))];
    const guint64 bytes = input.take<guint64>();
    return pub_raw_to_double(type, sizeof bytes, &bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static constexpr const char* types[] = {"d", "i", "n", "q", "u", "y", "b", "s", "ad", ""};
    mox::fuzz::FuzzInput input(data, size);
    const std::string type = types[input.below(G_N_ELEMENTS(types))];
    const gdouble varx = take_input(input);
    const gdouble vary = take_input(input);
    const gdouble varz = take_input(input);
    const std::string formula = input.rest_of_text();
    GVariant* const value = exp_get_value(type.c_str(), varx, vary, varz, formula.c_str());
    const bool is_number = type.size() == 1 && std::string("dinquy").find(type) != type.npos;
    mox::fuzz::promise(value != nullptr || !is_number, "a number's type always has a result");
    if (value != nullptr) {
        mox::fuzz::promise(type[0] == g_variant_get_type_string(value)[0],
                           "the result has the type that was asked for");
        g_variant_unref(g_variant_ref_sink(value));
    }
    return 0;
}
