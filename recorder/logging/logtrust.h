// Whether the log may be written: one that somebody else could have planted is not.

#pragma once

namespace recorder {

// Looks at the log as it is now, and says nothing. Throws Error when it is not trusted.
void RequireTrustedLog();

} // namespace recorder
