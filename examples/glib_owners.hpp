// Owners of what GLib hands out: freed at the end of the scope.
#ifndef MOX_EXAMPLES_GLIB_OWNERS_HPP
#define MOX_EXAMPLES_GLIB_OWNERS_HPP

#include <glib.h>

#include <memory>
#include <string>

namespace mox::examples {

struct UnrefVariant {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
struct UnrefBytes {
    void operator()(GBytes* bytes) const { g_bytes_unref(bytes); }
};
struct FreeStrings {
    void operator()(gchar** strings) const { g_strfreev(strings); }
};
struct UnrefLoop {
    void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
};

using VariantPtr = std::unique_ptr<GVariant, UnrefVariant>;
using BytesPtr = std::unique_ptr<GBytes, UnrefBytes>;
using StringsPtr = std::unique_ptr<gchar*, FreeStrings>;
using LoopPtr = std::unique_ptr<GMainLoop, UnrefLoop>;

// Receives the GError of a call that can fail: call(..., failure.out()).
class Failure {
public:
    Failure() = default;
    ~Failure() { g_clear_error(&error_); }
    Failure(const Failure&) = delete;
    Failure& operator=(const Failure&) = delete;

    GError** out() {
        g_clear_error(&error_);
        return &error_;
    }
    std::string text() const { return error_ != nullptr ? error_->message : "no cause was given"; }

private:
    GError* error_ = nullptr;
};

}  // namespace mox::examples

#endif
