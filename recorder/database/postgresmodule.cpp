// The function of the module "postgresql".

#include "recorder/database/postgres.h"

extern "C" recorder::OpenPostgresFunction KestoraModuleEntry;

recorder::Database* KestoraModuleEntry(const recorder::PostgresSettings& settings,
                                       int lockTimeoutMs, recorder::PostgresAccess access) {
    return std::make_unique<recorder::PostgresDatabase>(settings, lockTimeoutMs, access).release();
}
