// The end of what the ledger keeps.

#pragma once

namespace recorder {

// Forgets what runs removed so long ago, in each database that is open: a run's rows once its
// newest removal is `keepDays` days of the ledger's age old (recorder/database/age.h). They can't
// be put back any more. Rows go in small transactions; what is left after a failure goes at the
// next call. Throws Error.
void ForgetExpired(long keepDays);

} // namespace recorder
