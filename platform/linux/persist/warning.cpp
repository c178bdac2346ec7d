// A thread's scope is found by a pointer of the thread's own.
#include "warning.hpp"

#include <cstdarg>

namespace mox::persist {
namespace {

thread_local KeptWarnings* scope_of_thread = nullptr;

}  // namespace

void warn(const gchar* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    gchar* const text = g_strdup_vprintf(format, arguments);
    va_end(arguments);
    if (scope_of_thread != nullptr) {
        scope_of_thread->keep(text);
    } else {
        g_warning("%s", text);
    }
    g_free(text);
}

KeptWarnings::KeptWarnings() {
    scope_of_thread = this;
}

KeptWarnings::~KeptWarnings() {
    scope_of_thread = nullptr;
    for (const std::string& line : lines_) g_warning("%s", line.c_str());
}

}  // namespace mox::persist
