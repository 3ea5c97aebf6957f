// Values as SQL literals.

#pragma once

#include <string>
#include <string_view>

namespace recorder {

// `text` as a literal that is read back unchanged: file names hold quotes, newlines and bytes of no
// encoding. It must hold no NUL.
[[nodiscard]] std::string Quote(std::string_view text);

} // namespace recorder
