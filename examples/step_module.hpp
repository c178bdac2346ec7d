// A membership for the steps of the demonstration: short calls whose failures are thrown as
// WatchError, in words for the person at the terminal.
#ifndef MOX_EXAMPLES_STEP_MODULE_HPP
#define MOX_EXAMPLES_STEP_MODULE_HPP

#include <moxhost/moxhost.h>

#include <optional>
#include <string>

#include "watched_objects.hpp"

namespace mox::examples {

// Throws WatchError with the fault unless what was seen is right.
void expect(bool is_right, const std::string& fault);
void expect_value(const char* what, unsigned seen, unsigned wanted);

// Joins when it is made, and leaves at the end of its scope. There can be one in a process.
class StepModule {
public:
    // run_dir: empty means the usual one.
    StepModule(const std::string& run_dir, const char* name);
    ~StepModule();
    StepModule(const StepModule&) = delete;
    StepModule& operator=(const StepModule&) = delete;

    MoxHostModule* handle() const { return module_; }

    OBJ_HANDLE find(const char* object) const;

    // The stored value, from the pool; a number is one of either type, whole or floating.
    unsigned stored(const char* object, const char* property) const;
    double stored_number(const char* object, const char* property) const;

    // The live value: the owner looks at the hardware now, unless the property is overridden.
    unsigned live(const char* object, const char* property) const;

    // Writes with the mode of saving that the profile gives.
    void set(const char* object, const char* property, unsigned value);

    // The same, and on through the accessor to the hardware.
    void apply(const char* object, const char* property, unsigned value);

    void refresh();

    // Waits until another value of a property of a class is announced, 10 seconds at most, and
    // gives it. on_ready is called when nothing can be missed any more.
    unsigned wait_for_event(const char* class_name, const char* property, void (*on_ready)());

private:
    MoxHostModule* module_;
};

}  // namespace mox::examples

#endif
