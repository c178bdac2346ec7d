// Owners of what GLib and the host library hand out: freed at the end of the scope.
#ifndef MOX_TOOL_GLIB_OWNERS_HPP
#define MOX_TOOL_GLIB_OWNERS_HPP

#include <glib.h>
#include <moxhost/moxhost.h>

#include <cstddef>
#include <memory>
#include <string>

namespace mox::tool {

struct FreeMemory {
    void operator()(gpointer memory) const { g_free(memory); }
};
struct FreeStrings {
    void operator()(gchar** strings) const { g_strfreev(strings); }
};
struct UnrefVariant {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
struct UnrefLoop {
    void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
};
struct FreeOptions {
    void operator()(GOptionContext* context) const { g_option_context_free(context); }
};

using TextPtr = std::unique_ptr<gchar, FreeMemory>;
using StringsPtr = std::unique_ptr<gchar*, FreeStrings>;
using VariantPtr = std::unique_ptr<GVariant, UnrefVariant>;
using LoopPtr = std::unique_ptr<GMainLoop, UnrefLoop>;
using OptionsPtr = std::unique_ptr<GOptionContext, FreeOptions>;

// Receives the GError of a call that can fail: call(..., error.out()).
class ErrorHolder {
public:
    ErrorHolder() = default;
    ~ErrorHolder() { g_clear_error(&error_); }
    ErrorHolder(const ErrorHolder&) = delete;
    ErrorHolder& operator=(const ErrorHolder&) = delete;

    GError** out() {
        g_clear_error(&error_);
        return &error_;
    }
    bool is(GQuark domain, int code) const {
        return g_error_matches(error_, domain, code) != FALSE;
    }
    // The status behind an error of the host library; MOX_OK for one that has none.
    gint32 status() const { return moxhost_error_status(error_); }
    std::string text() const { return error_ != nullptr ? error_->message : "no cause was given"; }

private:
    GError* error_ = nullptr;
};

}  // namespace mox::tool

#endif
