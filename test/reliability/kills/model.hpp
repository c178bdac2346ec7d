// The model of the run: the profile that moxd gets, and the names that the processes use.
#ifndef MOX_KILLS_MODEL_HPP
#define MOX_KILLS_MODEL_HPP

#include <array>
#include <string>

namespace mox::kills {

inline constexpr const char* kVictimName = "victim";  // owns all classes, one at a time

// Objects of class Cell that are always there; the second shares the lock of the first.
inline constexpr std::array<const char*, 3> kCells = {"Cell1", "Cell2", "Cell3"};
// Objects of class Cell on the board that is plugged at the start.
inline constexpr std::array<const char*, 2> kBoardCells = {"Slot1", "Slot2"};
inline constexpr const char* kPlugged = "front";   // board
inline constexpr const char* kUnplugged = "rear";  // board that is not plugged at the start
inline constexpr const char* kStore = "Vault";     // the object whose properties are saved
inline constexpr const char* kGauge = "Gauge";     // its Level comes from a file
inline constexpr const char* kSum = "Sum";         // a formula

// The properties of the store, in the order of SharedPage::saved.
inline constexpr std::array<const char*, 4> kSavedNames = {"Permanent", "PowerOff", "Reset",
                                                           "Title"};

// The profile's text. chip: the file behind the accessor, which holds a number.
std::string profile_text(const std::string& chip);

}  // namespace mox::kills

#endif
