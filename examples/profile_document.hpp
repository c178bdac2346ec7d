// The profile that the owner process loads: sensors with the accessors and chips behind them, and
// what the steps of the demonstration write, as JSON.
#ifndef MOX_EXAMPLES_PROFILE_DOCUMENT_HPP
#define MOX_EXAMPLES_PROFILE_DOCUMENT_HPP

#include <string>
#include <vector>

#include "machine_sensors.hpp"

namespace mox::examples {

// Makes the text of a profile.
// refresh_ms: period at which the owner reads the hardware anew. setting_file: absolute path of the
// file behind the demonstration's writable value; empty leaves out that object, the formula, the
// ports and their board.
std::string make_profile(const std::vector<Sensor>& sensors, unsigned refresh_ms,
                         const std::string& setting_file);

}  // namespace mox::examples

#endif
