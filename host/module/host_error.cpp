// The status of an error lies in the error's private data, so it goes where copies of the error go.
#include "module/host_error.hpp"

namespace {

struct MoxHostErrorPrivate {
    gint32 status;
};

void moxhost_error_private_init(MoxHostErrorPrivate* data) {
    data->status = MOX_OK;
}

void moxhost_error_private_copy(const MoxHostErrorPrivate* from, MoxHostErrorPrivate* to) {
    *to = *from;
}

void moxhost_error_private_clear(MoxHostErrorPrivate*) {}

}  // namespace

G_DEFINE_EXTENDED_ERROR(MoxHostError, moxhost_error)

gint32 moxhost_error_status(const GError* error) {
    return error == nullptr || error->domain != MOXHOST_ERROR
               ? static_cast<gint32>(MOX_OK)
               : moxhost_error_get_private(error)->status;
}

namespace mox::host {

void set_status_error(GError** error, gint32 status, const std::string& message) {
    GError* const made = g_error_new_literal(MOXHOST_ERROR, MOXHOST_ERROR_FAILED, message.c_str());
    moxhost_error_get_private(made)->status = status;
    g_propagate_error(error, made);
}

}  // namespace mox::host
