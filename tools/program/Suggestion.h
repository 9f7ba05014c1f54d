// What somebody may have meant with a word that is none.
#pragma once
#include <span>
#include <string>
#include <string_view>

namespace mova {

// How many letters must be put in, taken out, replaced or swapped with their neighbour to make one word the other;
// a letter's case does not count.
std::size_t editDistance(std::string_view one, std::string_view other);

// The word that is nearest, where it is near enough to be meant (a third of the letters may differ, but one always
// may); the first of several. A word that begins with what was written is near as well. Else empty.
std::string nearestWord(std::string_view written, std::span<const std::string> words);

// What a message of an unknown word ends with: "; did you mean …?", or nothing.
std::string suggestion(std::string_view written, std::span<const std::string> words);

}  // namespace mova
