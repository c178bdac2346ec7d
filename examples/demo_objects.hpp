// The names that the demonstration's profile and its steps share.
#ifndef MOX_EXAMPLES_DEMO_OBJECTS_HPP
#define MOX_EXAMPLES_DEMO_OBJECTS_HPP

namespace mox::examples {

// The module that owns the class "Demo": only it may write the object below.
inline constexpr const char* demo_module = "demo_values";
inline constexpr const char* demo_class = "Demo";
inline constexpr const char* demo_object = "demo";
inline constexpr const char* threshold_property = "Threshold";  // saved permanently
inline constexpr const char* setting_property = "Setting";      // lies in a file
inline constexpr unsigned profile_threshold = 80;

// The formula object: how much of the memory the programs' own data and the cached files take. Free
// memory would not do: the kernel keeps pages that a program gives back on lists of each processor,
// and counts them as free much later.
inline constexpr const char* formula_object = "memory_used";
inline constexpr const char* formula_text = "100 * (Y + Z) / X";
inline constexpr const char* formula_inputs[] = {"MemTotal", "AnonPages", "Cached"};  // X, Y and Z

}  // namespace mox::examples

#endif
