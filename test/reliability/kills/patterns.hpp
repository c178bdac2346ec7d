// The values that all processes of the run write: each tells by any part of it what the whole must
// be, so a mixture of two of them, or a cut one, is never taken for a value.
#ifndef MOX_KILLS_PATTERNS_HPP
#define MOX_KILLS_PATTERNS_HPP

#include <cstdint>
#include <string>
#include <vector>

namespace mox::kills {

inline constexpr int kLetters = 26;
inline constexpr std::size_t kLongestText = 1999;  // letters; a byte more with the terminator
inline constexpr int kShortLetter = 0;             // of a text of 8 letters
inline constexpr int kLongestLetter = 6;           // of a text of kLongestText letters
inline constexpr int kLengths = 7;                 // letters that are so many apart are as long

// A text of one letter, 'A' + letter, whose length depends on the letter.
std::string text_of(int letter);

// An array whose numbers are all the same and tell how many there are; number: 0 or more.
std::vector<std::int32_t> list_of(int number);

// A double whose two halves are the same 32 bits.
double real_of(int number);

// What is wrong with the bytes of a value of each kind; "" for a whole one.
std::string text_fault(const void* bytes, std::size_t size);
std::string list_fault(const void* bytes, std::size_t size);
std::string real_fault(const void* bytes, std::size_t size);

}  // namespace mox::kills

#endif
