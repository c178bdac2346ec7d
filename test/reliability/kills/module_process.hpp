// What the module processes of the run have in common: joining, and reading and writing the values
// of patterns.hpp.
#ifndef MOX_KILLS_MODULE_PROCESS_HPP
#define MOX_KILLS_MODULE_PROCESS_HPP

#include <lom.h>
#include <moxhost/moxhost.h>
#include <moxhost/operator.h>

#include <memory>
#include <string>

namespace mox::kills {

// A GError's text, freed.
class CallError {
public:
    CallError() = default;
    ~CallError() { g_clear_error(&error_); }
    CallError(const CallError&) = delete;
    CallError& operator=(const CallError&) = delete;

    GError** out() {
        g_clear_error(&error_);
        return &error_;
    }
    std::string text() const { return error_ == nullptr ? "no cause given" : error_->message; }
    bool is(MoxHostError code) const {
        return g_error_matches(error_, MOXHOST_ERROR, code) != FALSE;
    }

private:
    GError* error_ = nullptr;
};

// Joins or throws.
MoxHostModule* join_as(const std::string& run_dir, const char* name, MOX_MODULE_TYPE type);

// Reads the stored value of a property that has a pattern: those of class Cell but Number, and the
// store's Title. Returns the status; the fault, "" for none, is set when it is MOX_OK.
gint32 read_pattern(const char* object, const char* property, std::string& fault);

// Makes a new value, floating, for a property of class Cell that has a pattern, or Number.
GVariant* value_for(const char* property, int number);

// Writes it, not saved.
gint32 write_value(const char* object, const char* property, int number);

// What is wrong with the bytes of a value of such a property, by its type; "" for a whole one.
std::string bytes_fault(const gchar* type, const void* bytes, std::size_t size);

}  // namespace mox::kills

#endif
