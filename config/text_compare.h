#pragma once
// Case-insensitive comparison of ASCII words: option keys, section names,
// collection keywords and mode tags are all matched this way.
#include <string_view>

namespace ostravel {

// ASCII comparison without regard to case.
bool EqualsNoCase(std::string_view a, std::string_view b);
bool StartsWithNoCase(std::string_view s, std::string_view prefix);

}  // namespace ostravel
