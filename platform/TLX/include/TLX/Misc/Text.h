#pragma once

#include <string>
#include <string_view>

#include <TLX/Export.h>

// Bytes of unknown origin made fit to be passed on: drives, tools and files may hold anything. [any
// thread]
namespace TLX::Misc {

// The bytes as UTF-8: what is none becomes U+FFFD, one for each broken character; the rest stays as
// it is.
[[nodiscard]] VX_EXPORT std::string ToUtf8(std::string_view bytes);

// The bytes as one line for people. UTF-8, in which nothing moves the cursor, hides, or changes the
// order in which the rest is shown: control characters are \xNN, and other characters that are not
// seen as themselves (C1 controls, writing directions, zero width, line separators, tags) \u{N}.
// Texts that are printable stay as they are, so that it may be applied twice.
[[nodiscard]] VX_EXPORT std::string Printable(std::string_view bytes);

// The first characters, up to that many, as Printable shows them; "..." follows when that is not
// all. Blanks and line ends at both ends do not count.
[[nodiscard]] VX_EXPORT std::string PrintableStart(std::string_view bytes, std::size_t characters);

}  // namespace TLX::Misc
