#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vxhost {

// The one of the known words that was probably meant, for a word that is none of them: the least
// slips away (a letter too many, missing, wrong, or two swapped), and not more than one in three
// letters. Empty when none is that near. Bytes, upper and lower case told apart.
std::string Nearest(std::string_view word, const std::vector<std::string>& known);

}  // namespace vxhost
