// The model of the run: what each module writes, and what is plugged.
#ifndef MOX_KILL_OWNER_MODEL_HPP
#define MOX_KILL_OWNER_MODEL_HPP

#include <array>
#include <string>

#include "shared_page.hpp"

namespace mox::kill_owner {

// Of the modules, in the page's order.
inline constexpr std::array<const char*, modules> module_names = {"saver0", "saver1", "reader"};

// The savers' objects, and their properties in the order of what is saved: numbers that are saved
// under each mode, and a text that repeats one number.
inline constexpr std::array<const char*, savers> stores = {"Store0", "Store1"};
inline constexpr std::array<const char*, saved_kinds> saved_names = {"Always", "Off", "Reset",
                                                                     "Text"};

inline constexpr const char* live_name = "Live";  // of a store, not saved

inline constexpr const char* sensor = "Tank";  // its Level comes from the chip
inline constexpr const char* board = "fans";   // not plugged at the start
inline constexpr const char* board_class = "Fan";
inline constexpr unsigned board_objects = 3;
inline constexpr const char* valve =
    "Valve";  // the visitor's: a text Note, and a Goal behind a dial
inline constexpr const char* note_name = "Note";
inline constexpr const char* goal_name = "Goal";

// Whether a kind of what is saved is lost by the restore to defaults; it is 0 then.
inline bool is_lost_by_restore(std::size_t kind) {
    return kind == 1 || kind == 2;
}

// chip, dial: the files behind the accessors.
std::string profile(const std::string& chip, const std::string& dial);

// A number as the text that is saved for it, and back; -1 for a text that is none, such as one of
// two halves.
std::string text_of(std::int32_t number);
std::int32_t number_of(const std::string& text);

// What stands for a valve's note: its length for one of the letters that visitors write, 0 for the
// one that is forced, -1 for one that nobody wrote.
inline constexpr const char* forced_note = "forced";
std::int32_t note_code(const std::string& note);

}  // namespace mox::kill_owner

#endif
