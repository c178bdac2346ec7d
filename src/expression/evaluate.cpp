// Formulas through the C interface of the formula library: a parser for each evaluation, nothing
// kept between two. That interface hands out all its texts in one static buffer, into which it
// writes without a look at the length: evaluations of all threads are done one after the other, and
// a text that leaves no room in the buffer for a message around it never gets there.
#include <expression.h>
#include <muParserDLL.h>
#include <pub.h>

#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "base/glib_ptr.hpp"
#include "base/mutex_guard.hpp"
#include "expression/complaints.hpp"
#include "expression/integer.hpp"
#include "expression/operators.hpp"

namespace {

constexpr gsize kLongestFormula = 1930;

GMutex g_evaluation_mutex;

struct ReleaseParser {
    void operator()(muParserHandle_t parser) const { mupRelease(parser); }
};
using ParserPtr = std::unique_ptr<std::remove_pointer_t<muParserHandle_t>, ReleaseParser>;

thread_local mox::Complaints g_complaints;

// The three lines about a wrong formula. The library hands out each text in the same buffer.
void complain_of_parsed_formula(muParserHandle_t parser) {
    const auto add = [](gchar* line) { mox::complain(mox::CharPtr(line).get()); };
    add(g_strdup_printf("wrong format in formula string: %s\n", mupGetExpr(parser)));
    add(g_strdup_printf("Message:  %s\n", mupGetErrorMsg(parser)));
    add(g_strdup_printf("Token:    %s\n", mupGetErrorToken(parser)));
}

void complain_of_length(const gchar* formula) {
    mox::complain("wrong format in formula string: " +
                  std::string(formula, strnlen(formula, PUB_NAME_LENGTH)) + '\n');
    mox::complain("Message:  the formula is longer than 1930 characters\n");
    mox::complain("Token:    \n");
}

// They bind as multiplication does, and are never computed ahead: a remainder by zero is told of
// once for each evaluation.
void define_operators(muParserHandle_t parser) {
    constexpr muInt_t precedence = 6;
    constexpr muInt_t left_associative = 0;
    constexpr muBool_t no_optimisation = 0;
    mupDefineOprt(parser, "%", mox::remainder_operator, precedence, left_associative,
                  no_optimisation);
    mupDefineOprt(parser, "&", mox::and_operator, precedence, left_associative, no_optimisation);
    mupDefineOprt(parser, "|", mox::or_operator, precedence, left_associative, no_optimisation);
}

// The formula's number. Returns whether there was a parser; a wrong formula counts as 0.
bool evaluate(const gchar* formula, gdouble varx, gdouble vary, gdouble varz, gdouble& result) {
    const mox::MutexGuard one_at_a_time(g_evaluation_mutex);
    const ParserPtr parser(mupCreate(muBASETYPE_FLOAT));
    if (!parser) {
        return false;
    }
    if (strnlen(formula, kLongestFormula + 1) > kLongestFormula) {
        complain_of_length(formula);
        return true;
    }
    mupSetErrorHandler(parser.get(), complain_of_parsed_formula);
    define_operators(parser.get());
    mupSetExpr(parser.get(), formula);
    mupDefineConst(parser.get(), "X", varx);
    mupDefineConst(parser.get(), "Y", vary);
    mupDefineConst(parser.get(), "Z", varz);
    result = mupEval(parser.get());
    return true;
}

GVariant* value_of_type(gchar type, gdouble result) {
    switch (type) {
        case 'd':
            return g_variant_new_double(result);
        case 'i':
            return g_variant_new_int32(mox::to_int32(result));
        case 'n':
            return g_variant_new_int16(static_cast<gint16>(mox::to_int32(result)));
        case 'q':
            return g_variant_new_uint16(static_cast<guint16>(mox::to_uint32(result)));
        case 'u':
            return g_variant_new_uint32(mox::to_uint32(result));
        case 'y':
            return g_variant_new_byte(static_cast<guint8>(mox::to_uint32(result)));
        default:
            return nullptr;
    }
}

}  // namespace

void mox::complain(std::string line) {
    g_complaints.push_back(std::move(line));
}

mox::Complaints mox::take_complaints() {
    return std::exchange(g_complaints, {});
}

GVariant* exp_get_value(const gchar* type, gdouble varx, gdouble vary, gdouble varz,
                        const gchar* formula_str) {
    gdouble result = 0.0;
    if (formula_str == nullptr) {
        return nullptr;
    }
    const bool is_evaluated = evaluate(formula_str, varx, vary, varz, result);
    for (const std::string& line : mox::take_complaints()) {
        pub_debug_print(MX_DBG_ERR, "%s", line.c_str());
    }
    return !is_evaluated || type == nullptr ? nullptr : value_of_type(type[0], result);
}
