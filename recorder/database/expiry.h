// The expiry of rows in the ledger.

#pragma once

namespace recorder {

// Deletes from the ledger of each open database the rows of every run whose last removal is at
// least `keepDays` days of the ledger's age old (recorder/database/age.h). They can't be restored
// any more. Deletes in small transactions; after a failure the next call deletes the rest. Throws
// Error.
void ForgetExpired(long keepDays);

} // namespace recorder
