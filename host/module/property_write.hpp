// What every call that writes a property has to check and to say.
#ifndef MOXHOST_MODULE_PROPERTY_WRITE_HPP
#define MOXHOST_MODULE_PROPERTY_WRITE_HPP

#include "module/host_error.hpp"
#include "module/owner_link.hpp"

namespace mox::host {

// Sets the error and gives false for a name that cannot be sent.
bool check_names(const gchar* object_name, const gchar* property_name, GError** error);

// Sets the error and gives false for a null value.
bool check_value(GVariant* value, GError** error);

// Takes the caller's floating reference, or one of its own; null for null.
VariantPtr taken(GVariant* value);

// Whether a status comes from the hardware's driver.
bool is_of_driver(gint32 status);

// Says what became of a property, in words behind its name, and the status.
void set_write_error(const gchar* object_name, const gchar* property_name, const char* outcome,
                     gint32 status, GError** error);

// True for a success; otherwise error says which property, what failed and the code.
bool is_done(gint32 status, const gchar* object_name, const gchar* property_name, GError** error);

// Has the owner write: method takes (ssv) and answers with a status. value: not null, checked here
// for its size. False with error set.
bool write_by_owner(const char* method, const gchar* object_name, const gchar* property_name,
                    GVariant* value, GError** error);

}  // namespace mox::host

#endif
