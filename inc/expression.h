/* expression.h: evaluating a formula over three inputs. */
#ifndef MOX_EXPRESSION_H
#define MOX_EXPRESSION_H

#include <moxlib/moxbase.h>

G_BEGIN_DECLS

/* Evaluates a formula.
 * type: type string of the result, one of "d", "i", "n", "q", "u", "y" (its first character
 * decides). varx, vary, varz: what "X", "Y" and "Z" stand for. formula_str: arithmetic of the
 * formula library, at most 1930 characters, with "%" (remainder), "&" and "|" on unsigned 32-bit
 * integers. Returns a new floating value, freed by the caller with g_variant_unref; null for a null
 * argument, any other type, or when no parser can be made. A formula that is wrong is logged and
 * counts as 0; a remainder by zero is logged and is 0. A result becomes an integer by dropping its
 * fraction and keeping the low bits; what is no number or infinite becomes 0. Any thread:
 * evaluations are done one after the other. Any process. */
MOX_API GVariant* exp_get_value(const gchar* type, gdouble varx, gdouble vary, gdouble varz,
                                const gchar* formula_str);

G_END_DECLS

#endif
