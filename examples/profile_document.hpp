// The profile that the owner process loads: sensors with the accessors and chips behind them, as
// JSON.
#ifndef MOX_EXAMPLES_PROFILE_DOCUMENT_HPP
#define MOX_EXAMPLES_PROFILE_DOCUMENT_HPP

#include <string>
#include <vector>

#include "machine_sensors.hpp"

namespace mox::examples {

// Makes the text of a profile.
// refresh_ms: period at which the owner reads the hardware anew.
std::string make_profile(const std::vector<Sensor>& sensors, unsigned refresh_ms);

}  // namespace mox::examples

#endif
