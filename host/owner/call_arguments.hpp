// A module's call: its arguments, its reply and its refusal.
#ifndef MOXHOST_OWNER_CALL_ARGUMENTS_HPP
#define MOXHOST_OWNER_CALL_ARGUMENTS_HPP

#include <gio/gio.h>

#include <memory>
#include <string>

namespace mox::host {

// Thrown by a method; becomes a D-Bus error of that name.
struct Refusal {
    const char* name;
    std::string cause;
};

[[noreturn]] void refuse(const char* name, std::string cause);

struct VariantUnref {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
using ValuePtr = std::unique_ptr<GVariant, VariantUnref>;

// The arguments have the types that the interface gives them, their strings are UTF-8.
const char* string_at(GVariant* arguments, gsize index);
gint32 number_at(GVariant* arguments, gsize index);
gboolean flag_at(GVariant* arguments, gsize index);
ValuePtr value_at(GVariant* arguments, gsize index);

// A name of 1 to 31 bytes; refuses any other. what: such as "module".
std::string name_at(GVariant* arguments, gsize index, const char* what);

// Bytes for a reply, floating. data: null for size 0.
GVariant* bytes_value(gconstpointer data, gsize size);

// A reply that is a status alone, floating.
GVariant* status_value(gint32 status);

}  // namespace mox::host

#endif
