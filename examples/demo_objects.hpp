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

// The module that owns the class "Port": one port is always there, the others come with the board,
// which is not plugged at the start.
inline constexpr const char* tour_module = "model_tour";
inline constexpr const char* port_class = "Port";
inline constexpr const char* number_property = "Number";
inline constexpr const char* label_property = "Label";  // saved permanently when it is written
inline constexpr const char* port_labels[] = {"management", "left", "right"};  // of port 0 to 2
inline constexpr const char* fixed_port = "port0";
inline constexpr const char* board_ports[] = {"port1", "port2"};
inline constexpr const char* board_name = "expansion";
inline constexpr unsigned board_position = 7;
inline constexpr const char* board_listener_module = "board_listener";

// The methods of the class "Port", each with one parameter, a result of type "b" and a constant.
inline constexpr const char* reset_method = "Reset";  // "u"
inline constexpr const char* reset_constant = "Timeout";
inline constexpr unsigned reset_timeout = 30;           // seconds
inline constexpr const char* rename_method = "Rename";  // "s"
inline constexpr const char* rename_constant = "Longest";
inline constexpr unsigned rename_longest = 31;  // characters

}  // namespace mox::examples

#endif
